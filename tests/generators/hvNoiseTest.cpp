// Noise tests: a slow model written straight from the algorithm (tables and
// values compared bit for bit), the documented edge cases, the row evaluator
// against the one-sample functions, and golden digests that pin the bits of
// every evaluation on every compiler.
#include "hvNoise.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace {

uint32_t Bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

#define EXPECT_SAME_BITS(a, b) EXPECT_EQ(Bits(a), Bits(b)) << (a) << " vs " << (b)
#define ASSERT_SAME_BITS(a, b) ASSERT_EQ(Bits(a), Bits(b)) << (a) << " vs " << (b)

float Uniform(std::mt19937& g, float lo, float hi) {
    return std::uniform_real_distribution<float>(lo, hi)(g);
}

// ---- The model: every step spelled out, nothing shared with the library.

float ModelU(uint32_t n) { // the integer hash, mapped to -1 .. 1
    const uint32_t m = n ^ (n << 13);
    const uint32_t h = (m * (m * m * 15731u + 789221u) + 1376312589u) & 0x7fffffffu;
    return 1.0f - static_cast<float>(h) * 9.313225746154785e-10f;
}

std::vector<float> ModelTable(int seed) {
    std::vector<float> t;
    const uint32_t s = static_cast<uint32_t>(seed);
    for (uint32_t i = 0; i < 1024; ++i) {
        const float z = ModelU(i * (s + 1));
        const double r = static_cast<float>(std::sqrt(1.0 - double(z) * double(z)));
        const double theta = double(ModelU(i * (s + 104761 * i))) * 6.283185307179586;
        t.insert(t.end(), {float(std::cos(theta) * r), float(std::sin(theta) * r), z});
    }
    return t;
}

// d-dimensional value (d = 1 ... 4), or with `gradient` the blended gradient
// component `comp`, by looping over the 2^d corners in order.
float Model(const float* t, int d, const float* p, bool gradient = false, int comp = 0) {
    const uint32_t prime[4] = {1946899, 1633007, 2950153, 1287173};
    uint32_t c[4];
    float f[4];
    for (int a = 0; a < d; ++a) {
        if (!std::isfinite(p[a]))
            return 0.0f;
        const double x = p[a];
        const bool fits = std::fabs(x) < 9.2e18;
        const int64_t cell = (fits ? static_cast<int64_t>(std::trunc(x)) : 0) - (x < 0 ? 1 : 0);
        c[a] = static_cast<uint32_t>(cell);
        f[a] = fits ? static_cast<float>(x - double(cell)) : (x < 0 ? 1.0f : 0.0f);
    }
    std::vector<float> v;
    for (int corner = 0; corner < (1 << d); ++corner) {
        uint32_t index = 0;
        for (int a = 0; a < d; ++a)
            index += (c[a] + ((corner >> a) & 1)) * prime[a];
        const float* g = t + 3 * (index & 1023);
        float dot = 0.0f;
        for (int a = 0; a < d; ++a) {
            const float o = (corner >> a) & 1 ? f[a] - 1.0f : f[a];
            dot = a == 0 ? g[a] * o : dot + g[a] * o;
        }
        v.push_back(gradient ? g[comp] : dot);
    }
    for (int a = 0; a < d; ++a) { // blend pairs along x, then y, ...
        const float s = f[a] * f[a] * (3.0f - 2.0f * f[a]);
        for (size_t j = 0; 2 * j + 1 < v.size(); ++j)
            v[j] = v[2 * j] + s * (v[2 * j + 1] - v[2 * j]);
        v.resize(v.size() / 2);
    }
    return v[0];
}

float ModelOctaves(const HvFractalNoise& n, int octaves, int d, const float* p) {
    float sum = 0.0f;
    for (int k = 0; k < octaves; ++k) {
        float q[4];
        for (int a = 0; a < d; ++a)
            q[a] =
                k == 0 ? p[a] : static_cast<float>(double(p[a] * float(1 << k)) + 1.0 / (1 << k));
        const float* t = n.noise[k].table;
        const float v = d >= 3 && q[2] == 0.0f ? Model(t, 2, q) : Model(t, d, q);
        sum = k == 0 ? v : sum + v * (1.0f / float(1 << k));
    }
    return sum;
}

// ---- Tests

TEST(HvNoise, RandomNumbers) {
    Vxsrand(0);
    const uint32_t s1 = 12345u, s2 = s1 * 1103515245u + 12345u;
    EXPECT_EQ(Vxrand(), int((((s1 >> 16) & 255) << 7) ^ ((s2 >> 16) & 255)));
    Vxsrand(77);
    unsigned int state = 77;
    for (int i = 0; i < 10000; ++i) {
        const int r = Vxrand_r(&state);
        ASSERT_EQ(Vxrand(), r);
        ASSERT_TRUE(r >= 0 && r <= 32767);
    }
    EXPECT_EQ(Vxrand_r(nullptr), 0);
}

TEST(HvNoise, TablesFollowTheHash) {
    for (int seed : {0, 1, -7, 4242, INT_MAX}) {
        const HvGNoise n(seed);
        const std::vector<float> model = ModelTable(seed);
        for (int i = 0; i < 3072; ++i)
            ASSERT_EQ(Bits(n.table[i]), Bits(model[i])) << "seed " << seed << " float " << i;
        EXPECT_EQ(Bits(n.table[3072]), Bits(n.table[0]));
    }
    EXPECT_EQ(0, std::memcmp(HvGNoise().table, HvGNoise(1).table, sizeof(HvGNoise::table)));
    // Octave k + 1 of seed s is octave k of seed s + 1, also across the int wrap.
    for (int seed : {10, INT_MAX - 3}) {
        const HvFractalNoise a(seed), b(static_cast<int>(static_cast<unsigned>(seed) + 1u));
        for (int k = 0; k + 1 < 8; ++k)
            EXPECT_EQ(0,
                      std::memcmp(a.noise[k + 1].table, b.noise[k].table, sizeof(HvGNoise::table)));
    }
}

TEST(HvNoise, ValuesAndGradientsMatchTheModel) {
    const HvFractalNoise n(31);
    const HvGNoise& g = n.noise[0];
    std::mt19937 rng(5);
    for (int i = 0; i < 4000; ++i) {
        const float range = i % 4 == 0 ? 3.0f : 300.0f;
        float p[4];
        for (float& c : p)
            c = i % 7 == 0 ? std::round(Uniform(rng, -range, range)) : Uniform(rng, -range, range);
        ASSERT_SAME_BITS(g.Value(p[0]), Model(g.table, 1, p));
        ASSERT_SAME_BITS(g.Value(p[0], p[1]), Model(g.table, 2, p));
        ASSERT_SAME_BITS(g.Value(p[0], p[1], p[2]), Model(g.table, 3, p));
        ASSERT_SAME_BITS(g.Value(p[0], p[1], p[2], p[3]), Model(g.table, 4, p));
        float gx, gy, gz;
        g.Gradient(gx, p[0]);
        ASSERT_SAME_BITS(gx, Model(g.table, 1, p, true, 0));
        g.Gradient(gx, gy, p[0], p[1]);
        ASSERT_SAME_BITS(gy, Model(g.table, 2, p, true, 1));
        g.Gradient(gx, gy, gz, p[0], p[1], p[2]);
        ASSERT_SAME_BITS(gx, Model(g.table, 3, p, true, 0));
        ASSERT_SAME_BITS(gz, Model(g.table, 3, p, true, 2));
        if (i % 10 == 0) {
            ASSERT_SAME_BITS(n.value8(p[0], p[1], p[2]), ModelOctaves(n, 8, 3, p));
            ASSERT_SAME_BITS(n.value5(p[0], p[1]), ModelOctaves(n, 5, 2, p));
            ASSERT_SAME_BITS(n.value3(p[0]), ModelOctaves(n, 3, 1, p));
            ASSERT_SAME_BITS(n.value7(p[0], p[1], p[2], p[3]), ModelOctaves(n, 7, 4, p));
        }
    }
    // Beyond 2^24 and 2^31 the cell rule still holds, modulo 2^32.
    for (float big : {16777216.0f, -16777218.0f, 2147483648.0f, -2147483648.0f, 1e12f, -3e38f}) {
        const float p[3] = {big, 0.37f, -1.6f};
        EXPECT_SAME_BITS(g.Value(p[0], p[1], p[2]), Model(g.table, 3, p)) << big;
        EXPECT_TRUE(std::isfinite(n.value8(p[0], p[1], p[2])));
    }
}

TEST(HvNoise, EdgeCases) {
    const HvGNoise g(9);
    std::mt19937 rng(11);
    for (int i = 0; i < 500; ++i) {
        // 0 at lattice points.
        float l[4];
        for (float& c : l)
            c = std::round(Uniform(rng, -1000, 1000));
        EXPECT_EQ(g.Value(l[0]), 0.0f);
        EXPECT_EQ(g.Value(l[0], l[1]), 0.0f);
        EXPECT_EQ(g.Value(l[0], l[1], l[2]), 0.0f);
        EXPECT_EQ(g.Value(l[0], l[1], l[2], l[3]), 0.0f);
        // z == 0 (either sign) is the 2-D noise, whatever w is.
        const float u = Uniform(rng, -50, 50), v = Uniform(rng, -50, 50);
        EXPECT_SAME_BITS(g.Value(u, v, 0.0f), g.Value(u, v));
        EXPECT_SAME_BITS(g.Value(u, v, -0.0f), g.Value(u, v));
        EXPECT_SAME_BITS(g.Value(u, v, 0.0f, Uniform(rng, -9, 9)), g.Value(u, v));
        // Wrapped noise repeats, is the plain noise away from the wrap and for period 0.
        const int period = 1 + i % 37;
        EXPECT_SAME_BITS(g.ValueWrapped(u + float(period), period), g.ValueWrapped(u, period));
        EXPECT_SAME_BITS(g.ValueWrapped(u, 0), g.Value(u));
        if (u >= 0 && u < float(period - 1)) {
            EXPECT_SAME_BITS(g.ValueWrapped(u, period), g.Value(u));
        }
        // The lattice hash repeats every 1024 cells.
        const float q = std::round(u * 64) / 64, r = std::round(v * 64) / 64;
        EXPECT_SAME_BITS(g.Value(q + 1024, r, 0.3f), g.Value(q, r, 0.3f));
        EXPECT_SAME_BITS(g.Value(q, r, 0.25f - 1024), g.Value(q, r, 0.25f - 2048));
    }
    EXPECT_TRUE(std::isfinite(g.ValueWrapped(-2147483648.0f, -1)));
    EXPECT_TRUE(std::isfinite(g.ValueWrapped(-5.5f, INT_MIN)));
    const float inf = std::numeric_limits<float>::infinity();
    for (float bad : {inf, -inf, std::nanf("")}) {
        EXPECT_EQ(g.Value(bad), 0.0f);
        EXPECT_EQ(g.Value(0.5f, bad, 0.5f), 0.0f);
        EXPECT_EQ(g.ValueWrapped(bad, 4), 0.0f);
        float gx = 1, gy = 1, gz = 1;
        g.Gradient(gx, gy, gz, bad, 0.5f, 0.5f);
        EXPECT_TRUE(gx == 0 && gy == 0 && gz == 0);
    }
    const std::pair<int, float> bounds[] = {
        {0, 0.5f}, {1, 0.5f}, {3, 0.875f}, {20, 1 - 1 / 256.0f}};
    for (auto [octaves, bound] : bounds)
        EXPECT_EQ(HvFractalNoise::iterMax(octaves), bound) << octaves;

    // A rotation turns the gradients; a singular matrix only renormalises.
    HvGNoise r(9), s(9);
    HvMatrix44 rot, flat;
    rot.RotateZ(0.7f).RotateX(-0.2f);
    r.XfmTable(rot);
    flat.Scale(1.0f, 1.0f, 0.0f);
    s.XfmTable(flat);
    for (int i = 0; i < 1024; ++i) {
        const float* a = g.table + 3 * i;
        const HvVec4 want = HvVec4(a[0], a[1], a[2], 1.0f) * rot;
        EXPECT_NEAR(r.table[3 * i], want.x, 2e-6f);
        EXPECT_NEAR(r.table[3 * i + 2], want.z, 2e-6f);
        EXPECT_NEAR(s.table[3 * i + 1], a[1], 2e-6f);
    }
    EXPECT_EQ(Bits(r.table[3072]), Bits(r.table[0]));
}

TEST(HvNoise, RowsMatchSingleSamples) {
    const HvFractalNoise n(-12);
    std::mt19937 rng(3);
    std::vector<float> out(203);
    // The one-sample sums of 3 ... 8 octaves (the model for the unnamed 1 and 2).
    using Sum = float (HvFractalNoise::*)(float, float, float) const;
    const Sum sums[6] = {&HvFractalNoise::value3, &HvFractalNoise::value4, &HvFractalNoise::value5,
                         &HvFractalNoise::value6, &HvFractalNoise::value7, &HvFractalNoise::value8};
    for (int row = 0; row < 600; ++row) {
        const int count = 1 + row % 203, octaves = row % 10;
        const int o = octaves < 1 ? 1 : (octaves > 8 ? 8 : octaves);
        const float scale = row % 5 == 0 ? 70000.0f : 200.0f;
        const float x0 = Uniform(rng, -scale, scale), dx = Uniform(rng, -2, 2) * scale / 100;
        float y = Uniform(rng, -scale, scale), z = Uniform(rng, -scale, scale);
        // The 2-D shortcut at octave 0 and at octave 1, and whole y.
        z = row % 6 == 1 ? 0.0f : row % 6 == 2 ? -0.25f : z;
        y = row % 6 == 3 ? std::round(y) : y;
        n.valueRow(octaves, out.data(), count, x0, dx, y, z);
        for (int i = 0; i < count; ++i) {
            const float p[3] = {x0 + static_cast<float>(i) * dx, y, z};
            const float want = o >= 3 ? (n.*sums[o - 3])(p[0], y, z) : ModelOctaves(n, o, 3, p);
            ASSERT_SAME_BITS(out[i], want) << "row " << row << " sample " << i;
        }
    }
    // NaN, empty and null rows: zeros, or nothing written.
    out.assign(8, 7.0f);
    n.valueRow(8, out.data(), 8, std::nanf(""), 1.0f, 0.5f, 0.5f);
    n.valueRow(8, out.data(), 0, 0.0f, 1.0f, 0.5f, 0.5f);
    n.valueRow(8, nullptr, 8, 0.0f, 1.0f, 0.5f, 0.5f);
    EXPECT_EQ(out[0], 0.0f);
}

// FNV-1a of the bit patterns of a fixed grid of evaluations. Computed once from
// this implementation after it was checked against the model above; any change
// of bits on any compiler or machine fails here.
uint32_t GoldenDigest(int seed) {
    const HvFractalNoise n(seed);
    const HvGNoise& g = n.noise[0];
    uint32_t h = 2166136261u;
    auto add = [&h](std::initializer_list<float> fs) {
        for (float f : fs) {
            for (int i = 0; i < 4; ++i)
                h = (h ^ ((Bits(f) >> (8 * i)) & 255u)) * 16777619u;
        }
    };
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
            for (int k = 0; k < 5; ++k) {
                const float x = -7.3f + 1.618f * float(i), y = 3.1f - 0.977f * float(j);
                const float z = -1.25f + 0.625f * float(k), w = 0.3f * float(i + j) - 2.0f;
                float gx, gy, gz;
                add({g.Value(x), g.Value(x, y), g.Value(x, y, z), g.Value(x, y, z, w),
                     g.ValueWrapped(x, 3 + k)});
                g.Gradient(gx, gy, gz, x, y, z);
                add({gx, gy, gz});
                g.Gradient(gx, gy, x, y);
                add({gx, gy});
                g.Gradient(gx, z);
                add({gx, n.value3(x), n.value6(x, y), n.value8(x, y, z), n.value4(x, y, z),
                     n.value1(x, y, z, w), n.value8(x, y, z, w)});
                const HvVec3 g1 = n.gradient1(x, y, z), g8 = n.gradient8(x, y, z);
                add({g1.x, g8.y, g8.z});
            }
    return h;
}

TEST(HvNoise, GoldenDigests) {
    EXPECT_EQ(GoldenDigest(0), 397447185u);
    EXPECT_EQ(GoldenDigest(1), 1713708281u);
    EXPECT_EQ(GoldenDigest(12345), 4122406868u);
    EXPECT_EQ(GoldenDigest(-3), 1242905438u);
}

} // namespace
