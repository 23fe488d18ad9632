// Mip chains against a brute-force block mean (odd axes included), setting
// propagation, and area sampling against the mean of the top level's pixels.
#include "vxTexture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

namespace {

using FTex = VxTexture<float, float>;
using Mip = VxMipTex<float, float>;

unsigned H(unsigned n) {
    n ^= n << 13;
    return (n * (n * n * 15731u + 789221u) + 1376312589u) & 0x7fffffffu;
}

double BruteMean(const FTex& t, int x0, int y0, int x1, int y1) {
    double sum = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            sum += t.data[y * t.xIndexer.resolution + x];
    return sum / ((x1 - x0) * (y1 - y0));
}

// Where the source pixels of each output start along an axis of n: pairs, a
// triple at the hashed index on an odd axis, a lone pixel kept as it is.
std::vector<int> Bounds(int n, unsigned salt) {
    const int half = std::max(n / 2, 1);
    const int k =
        n % 2 ? std::min(int(((1.0 - H(n + salt) / 1073741824.0) + 1.0) * 0.5 * half), half - 1)
              : -1;
    std::vector<int> b = {0};
    for (int j = 0; j < half; ++j)
        b.push_back(b.back() + (n == 1 ? 1 : j == k ? 3 : 2));
    EXPECT_EQ(b.back(), n);
    return b;
}

// Every level is the block mean of the crop of the level before, to 1 x 1.
void ExpectChainOfBlockMeans(const Mip& m) {
    for (int k = 1; k < m.levelCount; ++k) {
        const FTex &a = *m.levels[k - 1], &b = *m.levels[k];
        const int sx = a.xIndexer.cropStart, sy = a.yIndexer.cropStart;
        const auto bx = Bounds(a.xIndexer.cropLength, 65536), by = Bounds(a.yIndexer.cropLength, 0);
        const int w = int(bx.size()) - 1, h = int(by.size()) - 1;
        ASSERT_EQ(std::make_pair(b.xIndexer.resolution, b.yIndexer.resolution),
                  std::make_pair(w, h));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                ASSERT_NEAR(b.data[y * w + x],
                            BruteMean(a, sx + bx[x], sy + by[y], sx + bx[x + 1], sy + by[y + 1]),
                            1e-5);
    }
    const FTex& last = *m.levels[m.levelCount - 1];
    EXPECT_EQ(last.xIndexer.resolution * last.yIndexer.resolution, 1);
}

std::vector<float> RandomPixels(std::mt19937& rng, int n) {
    std::vector<float> p(n);
    for (float& v : p)
        v = static_cast<float>(rng() % 1000) / 999.0f;
    return p;
}

TEST(VxMipTex, LevelsAreBlockMeansDownToOnePixel) {
    std::mt19937 rng(3);
    for (int w = 1; w <= 13; ++w)
        for (int h = 1; h <= 13; ++h) {
            std::vector<float> p = RandomPixels(rng, w * h);
            Mip m(w, h, p.data());
            ExpectChainOfBlockMeans(m);
            if (w > 2 && h > 2) { // a crop's chain starts from the crop
                m.SetCrop(1, w - 1, 1, h - 2);
                EXPECT_EQ(m.invWidth, 1.0f / (w - 1));
                ExpectChainOfBlockMeans(m);
            }
        }
    // 1 x 1: one level, and no reduction below it; nothing at all without pixels.
    float p = 1;
    Mip one(1, 1, &p), none;
    EXPECT_EQ(one.levelCount, 1);
    bool failed = false;
    EXPECT_EQ(Mip::MipReductionFilter(&one, failed), nullptr);
    EXPECT_EQ(Mip::MipReductionFilter(nullptr, failed), nullptr);
    EXPECT_FALSE(failed);
    none.MakeMipMaps();
    EXPECT_EQ(none.levelCount, 0);
}

TEST(VxMipTex, SettingsReachEveryLevelAndViewsGetTheirOwnChain) {
    std::mt19937 rng(4);
    std::vector<float> p = RandomPixels(rng, 40 * 24);
    Mip m(40, 24, p.data());
    auto expectLevels = [&](float ox) {
        ASSERT_EQ(m.levelCount, 6);
        for (int k = 0; k < m.levelCount; ++k) {
            const FTex& l = *m.levels[k];
            EXPECT_EQ(std::make_tuple(l.xIndexer.edgeMethod, l.yIndexer.edgeMethod, l.defaultPixel,
                                      l.xIndexer.offsetF),
                      std::make_tuple(kVxTexEdgeMirror, kVxTexEdgeWrap, 0.25f, ox));
        }
    };
    m.SetEdgeMethod(kVxTexEdgeMirror, kVxTexEdgeWrap);
    m.SetDefaultPixel(0.25f);
    m.SetOffset(1.5f, -2.0f);
    expectLevels(1.5f);
    m.SetCrop(2, 33, 0, 23); // rebuilt, settings kept
    EXPECT_EQ(m.levels[1]->xIndexer.resolution, 16);
    expectLevels(1.5f);
    m.SetOffset(3, 4);
    expectLevels(3.0f);

    // Onto itself or one of its levels nothing changes; from another texture
    // it views those pixels with a chain of its own.
    FTex* level = m.levels[1];
    m.setTextureFrom(m);
    m.setTextureFrom(*level);
    EXPECT_EQ(m.levels[1], level);
    FTex src(7, 5, p.data());
    m.setTextureFrom(src);
    EXPECT_EQ(std::make_tuple(m.data, m.ownsData, m.invHeight, m.levelCount),
              std::make_tuple(p.data(), 0, 0.2f, 3));
    ExpectChainOfBlockMeans(m);
    m.NukeMipMaps();
    EXPECT_EQ(m.levelCount, 0);
}

TEST(VxMipTex, AreaSampleIsExactOverWholeBlocksOfTheChosenLevel) {
    std::mt19937 rng(5);
    // Power-of-two sides: every level's pixels are exact block means. Two or
    // three blocks of level k across choose level k.
    std::vector<float> p = RandomPixels(rng, 64 * 32);
    Mip m(64, 32, p.data());
    for (int n = 0; n < 400; ++n) {
        const int k = 1 + int(rng() % 4), b = 1 << k;
        const int w = b * (2 + int(rng() % 2)), h = std::min(32, b * (2 + int(rng() % 2)));
        const int x0 = b * int(rng() % ((64 - w) / b + 1)),
                  y0 = b * int(rng() % ((32 - h) / b + 1));
        ASSERT_EQ(m.ChooseLevel(w, h), k);
        ASSERT_NEAR(m.AreaSample(x0, y0, x0 + w, y0 + h), BruteMean(m, x0, y0, x0 + w, y0 + h),
                    1e-5);
    }
    // Odd sides: level 1 is exact too, with its triples; elsewhere the mean
    // stays within the pixels of the rows covered.
    std::vector<float> q = RandomPixels(rng, 27 * 13);
    Mip odd(27, 13, q.data());
    const int *bx = odd.levels[1]->auxBuffers[0], *by = odd.levels[1]->auxBuffers[1];
    int exact = 0;
    for (int n = 0; n < 2000; ++n) {
        const int i0 = rng() % 13, i1 = rng() % 13, j0 = rng() % 6, j1 = rng() % 6;
        const int x0 = bx[std::min(i0, i1)], x1 = bx[std::max(i0, i1) + 1];
        const int y0 = by[std::min(j0, j1)], y1 = by[std::max(j0, j1) + 1];
        if (odd.ChooseLevel(x1 - x0, y1 - y0) == 1 && ++exact) {
            ASSERT_NEAR(odd.AreaSample(x0, y0, x1, y1), BruteMean(odd, x0, y0, x1, y1), 1e-5);
        }
        const float got =
            odd.AreaSample(x0 + float(rng() % 8) / 8, y0, x1, y1 - float(rng() % 8) / 8);
        EXPECT_GE(got, *std::min_element(q.data() + y0 * 27, q.data() + y1 * 27) - 1e-6f);
        EXPECT_LE(got, *std::max_element(q.data() + y0 * 27, q.data() + y1 * 27) + 1e-6f);
    }
    EXPECT_GT(exact, 100);
    // Reaching past the crop, the edge methods decide at the top level.
    odd.SetEdgeMethod(kVxTexEdgeMirror, kVxTexEdgeClamp);
    FTex flat(27, 13, q.data());
    flat.SetEdgeMethod(kVxTexEdgeMirror, kVxTexEdgeClamp);
    EXPECT_EQ(odd.AreaSample(-20, -3, 9, 30), flat.AreaSample(-20, -3, 9, 30));
}

} // namespace

// The levels are moved through a heap release like any owned texture: pixels
// kept in system memory, resolutions 0; sampling reads the top level until the
// chain is made again.
TEST(VxMipTex, LevelsThroughAHeapRelease) {
    std::vector<unsigned char> block(1 << 16);
    const auto inBlock = [&block](const void* p) {
        const auto* c = static_cast<const unsigned char*>(p);
        return c >= block.data() && c < block.data() + block.size();
    };
    std::vector<float> pixels(16 * 16);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<float>(i % 7);
    VxSetHeapMemoryPtr(block.data(), block.size());
    Mip mip(16, 16, pixels.data());
    ASSERT_EQ(mip.levelCount, 5);
    ASSERT_TRUE(inBlock(mip.levels[1]->data));
    const std::vector<float> level1(mip.levels[1]->data, mip.levels[1]->data + 64);
    VxReleaseHeapMemoryPtr();
    for (int k = 1; k < mip.levelCount; ++k) {
        const FTex& level = *mip.levels[k];
        EXPECT_FALSE(level.data == nullptr || inBlock(level.data));
        EXPECT_EQ(level.ownsData, 0);
        EXPECT_EQ(level.xIndexer.resolution, 0);
        EXPECT_EQ(level.yIndexer.resolution, 0);
    }
    EXPECT_TRUE(std::equal(level1.begin(), level1.end(), mip.levels[1]->data));
    EXPECT_EQ(mip.ChooseLevel(8, 8), 0);
    EXPECT_EQ(mip.AreaSample(0, 0, 16, 16), mip.FTex::AreaSample(0, 0, 16, 16));
    mip.MakeMipMaps();
    EXPECT_EQ(mip.levelCount, 5);
    EXPECT_EQ(mip.levels[1]->xIndexer.resolution, 8);
    EXPECT_FALSE(inBlock(mip.levels[1]->data));
}
