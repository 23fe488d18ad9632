// Textures: the samplers against slow models built on the stepping model of
// each axis, buffers and ownership for every pixel type, and the heap hand-back.
#include "vxTexture.h"
#include "vxTexModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

using FTex = VxTexture<float, float>;

double Pixel(const FTex& t, long long i, long long j) {
    const long long si = Src(t.xIndexer, i), sj = Src(t.yIndexer, j);
    return si < 0 || sj < 0 ? t.defaultPixel : t.data[sj * t.xIndexer.resolution + si];
}

// Random pixels, crop, edge methods, offsets and default, up to 9 x 9.
void Randomise(FTex& t, std::mt19937& rng) {
    auto uni = [&](float a, float b) { return std::uniform_real_distribution<float>(a, b)(rng); };
    t.xIndexer.SetResolution(1 + static_cast<int>(rng() % 9));
    t.yIndexer.SetResolution(1 + static_cast<int>(rng() % 9));
    t.MakeData();
    for (int i = 0; i < t.xIndexer.resolution * t.yIndexer.resolution; ++i)
        t.data[i] = uni(0, 1);
    t.SetCrop(rng() % 9, rng() % 9, rng() % 9, rng() % 9);
    t.SetEdgeMethod(VxTexEdgeEnum(rng() % 4), VxTexEdgeEnum(rng() % 4));
    if (rng() % 2)
        t.SetOffset(uni(-3, 3), uni(-3, 3));
    t.SetDefaultPixel(uni(-1, 0));
}

double ModelBiLerp(const FTex& t, float x, float y) {
    const float px = x - 0.5f - t.xIndexer.offsetF, py = y - 0.5f - t.yIndexer.offsetF;
    const auto i = static_cast<long long>(std::floor(px)),
               j = static_cast<long long>(std::floor(py));
    const double fx = px - std::floor(px), fy = py - std::floor(py);
    return (Pixel(t, i, j) * (1 - fx) + Pixel(t, i + 1, j) * fx) * (1 - fy) +
           (Pixel(t, i, j + 1) * (1 - fx) + Pixel(t, i + 1, j + 1) * fx) * fy;
}

// Every pixel cell weighted by its overlap with the area; a zero extent is
// the one cell under it.
double ModelArea(const FTex& t, double x0, double y0, double x1, double y1) {
    const double ox = t.xIndexer.offsetF, oy = t.yIndexer.offsetF;
    const double lx = std::min(x0, x1) - ox, hx = std::max(x0, x1) - ox;
    const double ly = std::min(y0, y1) - oy, hy = std::max(y0, y1) - oy;
    auto cover = [](double c, double lo, double hi) {
        return lo == hi ? double(std::floor(lo) == c)
                        : std::max(0.0, std::min(hi, c + 1) - std::max(lo, c));
    };
    double sum = 0, total = 0;
    for (double j = std::floor(ly); j <= hy; ++j)
        for (double i = std::floor(lx); i <= hx; ++i) {
            const double w = cover(i, lx, hx) * cover(j, ly, hy);
            sum += w * Pixel(t, static_cast<long long>(i), static_cast<long long>(j));
            total += w;
        }
    return sum / total;
}

// Quarter steps hit pixel centres, pixel boundaries and fractions alike.
float Pos(std::mt19937& rng) {
    return static_cast<float>(rng() % 160) * 0.25f - 16.0f;
}

// The two-float pixel types sample component by component as float textures;
// the second component holds a's pixels in reverse order.
template <class P>
void ExpectPerComponent(const FTex& a) {
    const int w = a.xIndexer.resolution, h = a.yIndexer.resolution;
    std::vector<float> rev(a.data, a.data + w * h);
    std::reverse(rev.begin(), rev.end());
    FTex b(w, h, rev.data());
    VxTexture<P, P> t(w, h);
    t.MakeData();
    b.xIndexer = t.xIndexer = a.xIndexer, b.yIndexer = t.yIndexer = a.yIndexer;
    for (int i = 0; i < w * h; ++i)
        t.data[i] = P(a.data[i], b.data[i]);
    b.SetDefaultPixel(a.defaultPixel - 1);
    t.SetDefaultPixel(P(a.defaultPixel, b.defaultPixel));
    for (float x = -4; x < 12; x += 0.75f) {
        const float y = x * 0.5f + 1;
        EXPECT_EQ(t.BiLerpPixel(x, y), P(a.BiLerpPixel(x, y), b.BiLerpPixel(x, y)));
        EXPECT_EQ(t.AreaSample(x, y, -x, 3),
                  P(a.AreaSample(x, y, -x, 3), b.AreaSample(x, y, -x, 3)));
    }
}

TEST(VxTextureSampling, SamplersMatchTheirModelsForEveryEdgeOffsetAndPixelType) {
    std::mt19937 rng(7);
    for (int n = 0; n < 500; ++n) {
        FTex t;
        Randomise(t, rng);
        // The bounded form is a clamp crop over its bounds met with the buffer.
        int b[4];
        for (int& v : b)
            v = static_cast<int>(rng() % 14) - 3;
        FTex c(t.xIndexer.resolution, t.yIndexer.resolution, t.data);
        c.SetOffset(t.xIndexer.offsetF, t.yIndexer.offsetF);
        c.SetEdgeMethod(kVxTexEdgeClamp, kVxTexEdgeClamp);
        c.SetCrop(b[0], b[2], b[1], b[3]);
        const bool misses =
            std::max(b[0], b[2]) < 0 || std::min(b[0], b[2]) >= c.xIndexer.resolution ||
            std::max(b[1], b[3]) < 0 || std::min(b[1], b[3]) >= c.yIndexer.resolution;
        for (int k = 0; k < 30; ++k) {
            const float x = Pos(rng), y = Pos(rng), x1 = k % 5 ? Pos(rng) : x,
                        y1 = k % 7 ? Pos(rng) : y;
            ASSERT_NEAR(t.BiLerpPixel(x, y), ModelBiLerp(t, x, y), 1e-5) << n;
            ASSERT_NEAR(t.BiLerpPixel(x, y, b[0], b[1], b[2], b[3]),
                        misses ? t.defaultPixel : ModelBiLerp(c, x, y), 1e-5)
                << n;
            // Lines and points included.
            ASSERT_NEAR(t.AreaSample(x, y, x1, y1), ModelArea(t, x, y, x1, y1), 2e-5) << n;
        }
        EXPECT_EQ(t.AreaSampleDelta(1.5f, 2.0f, -3.0f, 1.0f), t.AreaSample(0, 1.5f, 3, 2.5f));
        const float nan = std::numeric_limits<float>::quiet_NaN();
        EXPECT_EQ(t.AreaSample(nan, 0, 1, 1), t.defaultPixel);
        EXPECT_EQ(t.AreaSample(0, 0, std::numeric_limits<float>::infinity(), 1), t.defaultPixel);
        EXPECT_EQ(t.BiLerpPixel(nan, 0), t.defaultPixel);
        ExpectPerComponent<HvVec2>(t);
        ExpectPerComponent<VxComplex<float>>(t);
    }
    // Far away and over many periods, without walking the distance.
    float p[3] = {1, 2, 6};
    FTex t(3, 1, p);
    t.SetEdgeMethod(kVxTexEdgeWrap, kVxTexEdgeClamp);
    EXPECT_NEAR(t.AreaSample(-3e9f, 0, 3e9f, 1), 3.0, 1e-3);
    EXPECT_NEAR(t.AreaSample(1e30f, 0, 1e30f, 5), t.AreaSample(1e30f, 0, 1e30f, 1), 1e-6);
    t.SetEdgeMethod(kVxTexEdgeClamp, kVxTexEdgeClamp);
    EXPECT_NEAR(t.AreaSample(-1e20f, 0, 3, 1), 1.0, 1e-6);
    FTex empty;
    empty.SetDefaultPixel(3);
    EXPECT_EQ(empty.BiLerpPixel(0.5f, 0.5f), 3);
}

template <class P>
P Px(float a, float b) {
    if constexpr (std::is_same<P, float>::value)
        return a + b;
    else
        return P(a, b);
}

template <class P>
class VxTextureBuffers : public testing::Test {};
using PixelTypes = testing::Types<float, HvVec2, VxComplex<float>>;
TYPED_TEST_SUITE(VxTextureBuffers, PixelTypes, testing::internal::DefaultNameGenerator);

TYPED_TEST(VxTextureBuffers, MakeDataFreeImageReallocateAndViews) {
    using Tex = VxTexture<TypeParam, TypeParam>;
    Tex t(3, 2);
    t.MakeData();
    ASSERT_TRUE(t.data != nullptr);
    EXPECT_EQ(std::make_tuple(t.ownsData, t.allocFailed, t.data[5]),
              std::make_tuple(1, 0, TypeParam()));
    for (int i = 0; i < 6; ++i)
        t.data[i] = Px<TypeParam>(static_cast<float>(i), 1);

    // Views: onto itself nothing changes; else src's pixels, geometry, default.
    t.SetDefaultPixel(Px<TypeParam>(4, 4));
    t.setTextureFrom(t);
    EXPECT_EQ(std::make_tuple(t.ownsData, t.xIndexer.resolution), std::make_tuple(1, 3));
    Tex v;
    v.MakeData();
    v.setTextureFrom(t);
    EXPECT_EQ(std::make_tuple(v.data, v.ownsData, v.xIndexer.cropEnd, v.yIndexer.resolution,
                              v.defaultPixel),
              std::make_tuple(t.data, 0, 2, 2, Px<TypeParam>(4, 4)));
    t.setTextureFrom(v); // a view of its own buffer: kept, still owned
    EXPECT_EQ(std::make_tuple(t.data, t.ownsData), std::make_tuple(v.data, 1));

    // A view moves a copy and keeps its geometry; an owner frees its buffer,
    // so its resolutions go to 0, and hands the copy to its user.
    ASSERT_EQ(v.Reallocate(), 1);
    EXPECT_NE(v.data, t.data);
    EXPECT_EQ(std::make_tuple(v.data[4], v.xIndexer.resolution),
              std::make_tuple(Px<TypeParam>(4, 1), 3));
    VxImgFree(v.data);
    v.data = nullptr;
    EXPECT_EQ(v.Reallocate(), 0);
    ASSERT_EQ(t.Reallocate(), 1);
    EXPECT_EQ(std::make_tuple(t.ownsData, t.xIndexer.resolution, t.yIndexer.resolution, t.data[5]),
              std::make_tuple(0, 0, 0, Px<TypeParam>(5, 1)));
    EXPECT_EQ(t.Reallocate(), 0); // nothing to copy at a resolution of 0
    VxImgFree(t.data);

    // FreeImage: no buffer, no geometry.
    t.xIndexer.SetResolution(4);
    t.yIndexer.SetResolution(4);
    t.MakeData();
    t.FreeImage();
    EXPECT_EQ(std::make_tuple(t.data, t.xIndexer.resolution, t.yIndexer.resolution),
              std::make_tuple(nullptr, 0, 0));

    // Zero, negative and oversized resolutions allocate nothing.
    const int sizes[][3] = {{0, 5, 0},  {5, 0, 0},         {-1, 5, 1},
                            {5, -4, 1}, {50000, 50000, 1}, {65536, 32768, 1}};
    for (const auto& s : sizes) {
        Tex z;
        z.xIndexer.resolution = s[0], z.yIndexer.resolution = s[1];
        testing::internal::CaptureStderr();
        z.MakeData();
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), s[2] == 0);
        EXPECT_EQ(std::make_tuple(z.data, z.allocFailed, z.ownsData, z.Reallocate()),
                  std::make_tuple(nullptr, s[2], 1, 0));
    }
}

// The sampler's floor by truncation agrees with std::floor wherever it applies.
TEST(VxTextureDetail, SplitPositionIsFloor) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> wide(-3.0e9f, 3.0e9f), near(-40.0f, 40.0f);
    const float edges[] = {-0.0f,         0.0f,           -1.0f,       -0.5f,
                           0.999999f,     -1.0e-30f,      16777216.0f, -2147483392.0f,
                           2147483392.0f, -2147483648.0f, 3.0e38f};
    for (int i = 0; i < 20011; ++i) { // the 11 edges, then random positions
        const float p = i < 11 ? edges[i] : i % 2 ? wide(random) : near(random);
        int base = 0;
        float frac = 0;
        ASSERT_TRUE(VxTextureDetail::SplitPosition(p, base, frac));
        const float f = std::floor(p);
        if (f > -2147483520.0f && f < 2147483520.0f) {
            EXPECT_EQ(base, static_cast<int>(f)) << p;
            EXPECT_EQ(frac, p - f) << p;
        }
    }
}

// Textures cached in the heap survive its release: random textures made in a
// host block, some dropped, then the heap released and the block scribbled on.
TEST(VxTextureHeap, CachedTexturesKeepTheirPixelsInSystemMemory) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 rng(seed);
        const std::size_t size = 1 << 20;
        std::vector<unsigned char> block(size + 64);
        unsigned char* const base =
            block.data() + (64 - reinterpret_cast<std::uintptr_t>(block.data()) % 64);
        auto inBlock = [&](const void* p) { return p >= base && p < base + size; };
        VxSetHeapMemoryPtr(base, size);
        std::vector<std::pair<std::unique_ptr<VxTexture<float, float>>, std::vector<float>>> cached;
        for (int step = 0; step < 40; ++step) {
            if (rng() % 4 == 0 && !cached.empty()) {
                cached.erase(cached.begin() + long(rng() % cached.size()));
                continue;
            }
            auto t = std::make_unique<VxTexture<float, float>>(1 + rng() % 60, 1 + rng() % 60);
            t->MakeData();
            ASSERT_TRUE(inBlock(t->data));
            std::vector<float> p(std::size_t(t->xIndexer.resolution) * t->yIndexer.resolution);
            for (std::size_t i = 0; i < p.size(); ++i)
                t->data[i] = p[i] = float(rng() % 1000);
            cached.emplace_back(std::move(t), std::move(p));
        }
        // A chain over system pixels: its levels live in the heap.
        std::vector<float> top(64 * 32, 2.0f);
        VxMipTex<float, float> mip(64, 32, top.data());
        ASSERT_TRUE(inBlock(mip.levels[1]->data));

        testing::internal::CaptureStderr();
        VxReleaseHeapMemoryPtr();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        std::fill(block.begin(), block.end(), 0xdd);
        EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
        for (auto& [t, p] : cached) {
            // Moved out deliberately as a bare copy: no geometry, not owned.
            ASSERT_FALSE(inBlock(t->data));
            EXPECT_TRUE(std::equal(p.begin(), p.end(), t->data)) << seed;
            EXPECT_EQ(std::make_tuple(t->xIndexer.resolution, t->yIndexer.resolution, t->ownsData),
                      std::make_tuple(0, 0, 0));
            VxImgFree(t->data);
        }
        // Chain levels are moved like the others; the chain still holds them.
        ASSERT_EQ(mip.levelCount, 7);
        for (int k = 1; k < mip.levelCount; ++k)
            EXPECT_EQ(std::make_tuple(inBlock(mip.levels[k]->data),
                                      mip.levels[k]->xIndexer.resolution, mip.levels[k]->data[0]),
                      std::make_tuple(false, 0, 2.0f));
        EXPECT_EQ(mip.AreaSample(0, 0, 64, 32), 2.0f);
    }
}

} // namespace
