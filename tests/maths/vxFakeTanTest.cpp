#include "vxFakeTan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr float kPiF = 3.14159265358979f;

// Table sizes and entries, for even, odd, zero, negative and clamped n.
TEST(VxFakeTan, TablesHoldLatticeAngles) {
    const int ns[] = {-7, 0, 1, 5, 6, 31};
    const int sizes[] = {2, 2, 2, 6, 8, 32};
    for (int t = 0; t < 6; ++t) {
        VxFakeTan f(ns[t]);
        EXPECT_EQ(f.size, sizes[t]);
        EXPECT_EQ(f.half, f.size / 2);
        const float h = static_cast<float>(f.half);
        for (int c = -f.half; c <= f.half; ++c) {
            const float fc = static_cast<float>(c);
            EXPECT_EQ(f.bottom[c], std::atan2(-h, fc));
            EXPECT_EQ(f.top[c], std::atan2(h, fc));
            EXPECT_EQ(f.left[c], std::atan2(fc, -h));
            EXPECT_EQ(f.right[c], std::atan2(fc, h));
        }
    }
    EXPECT_EQ(VxFakeTan(VxFakeTan::kMaxSize + 5).size, VxFakeTan::kMaxSize + 2);
}

// The lookup as described: edge table by the larger coordinate, index
// truncated toward zero; close to atan2 and exact on the axes; edge cases.
TEST(VxFakeTan, LooksUpNearestLatticeAngle) {
    VxFakeTan f(64);
    const float h = static_cast<float>(f.half);
    for (int a = 0; a < 720; ++a) {
        const double angle = a * 3.14159265358979 / 360.0;
        for (float r : {0.01f, 1.0f, 300.0f}) {
            const float x = static_cast<float>(r * std::cos(angle));
            const float y = static_cast<float>(r * std::sin(angle));
            float expect;
            if (std::fabs(y) >= std::fabs(x)) {
                const int i = static_cast<int>(x * h / std::fabs(y));
                expect = y > 0 ? f.top[i] : f.bottom[i];
            } else {
                const int i = static_cast<int>(y * h / std::fabs(x));
                expect = x > 0 ? f.right[i] : f.left[i];
            }
            EXPECT_EQ(f.faketan2(y, x), expect);
            const float d = std::fabs(f.faketan2(y, x) - std::atan2(y, x));
            EXPECT_LT(std::min(d, 2 * kPiF - d), 1.0f / h);
        }
    }
    EXPECT_EQ(f.faketan2(0, 0), 0.0f);
    EXPECT_EQ(f.faketan2(0, 3), 0.0f);
    EXPECT_EQ(f.faketan2(0, -3), kPiF);
    EXPECT_EQ(f.faketan2(2, 0), std::atan2(1.0f, 0.0f));
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(f.faketan2(nan, 1), 0.0f);
    EXPECT_EQ(f.faketan2(1, nan), 0.0f);
    EXPECT_EQ(f.faketan2(inf, inf), f.top[f.half]);
    EXPECT_EQ(f.faketan2(-inf, -inf), f.bottom[-f.half]);
    EXPECT_EQ(f.faketan2(3e38f, 2.9e38f), f.top[static_cast<int>(2.9e38f / 3e38f * h)]);
}

// normalise: turns in [0, 1), rotated by the offset; copies are independent.
TEST(VxFakeTan, NormaliseGivesTurns) {
    VxFakeTan f(16);
    const VxFakeTan radians = f;
    f.normalise(0.0f);
    EXPECT_EQ(f.faketan2(0, -1), 0.5f);
    EXPECT_EQ(f.faketan2(-1, 0), 0.75f);
    EXPECT_EQ(f.faketan2(1, 0), 0.25f);
    EXPECT_EQ(radians.faketan2(0, -1), kPiF); // the copy kept its radians
    VxFakeTan assigned(3);
    assigned = f;
    EXPECT_EQ(assigned.size, f.size);
    EXPECT_EQ(assigned.faketan2(-1, 0), 0.75f);

    VxFakeTan g(16);
    g.normalise(1.0f);
    for (int c = -g.half; c <= g.half; ++c) {
        for (float* table : {g.bottom, g.top, g.left, g.right}) {
            EXPECT_GE(table[c], 0.0f);
            EXPECT_LT(table[c], 1.0f);
        }
        double t = (radians.bottom[c] + 1.0f) / 6.283185307179586;
        t -= std::floor(t);
        EXPECT_EQ(g.bottom[c], static_cast<float>(t));
    }

    float angle = -kPiF / 2;
    f.normaliseInner(0.0f, angle);
    EXPECT_EQ(angle, 0.75f);
    angle = 7 * kPiF;
    f.normaliseInner(kPiF, angle);
    EXPECT_LT(std::min(angle, 1.0f - angle), 1e-6f); // four whole turns, to float rounding
    angle = -1e-12f; // just below a whole turn rounds to 1: stored as 0
    f.normaliseInner(0.0f, angle);
    EXPECT_EQ(angle, 0.0f);
    angle = 1e30f;
    f.normaliseInner(std::numeric_limits<float>::infinity(), angle);
    EXPECT_EQ(angle, 0.0f);
}

// Halves round up, with the addition in double.
TEST(VxFakeTan, Round) {
    EXPECT_EQ(Round(-0.5f), 0.0f);
    EXPECT_EQ(Round(2.5f), 3.0f);
    EXPECT_EQ(Round(-1.5f), -1.0f);
    EXPECT_EQ(Round(-2.7f), -3.0f);
    EXPECT_EQ(Round(0.49999997f), 0.0f); // in float 0.49999997 + 0.5 would be 1
    EXPECT_EQ(Round(8388609.0f), 8388609.0f);
    const HvVec2 v = Round(HvVec2(-0.5f, 2.5f));
    EXPECT_EQ(v.x, 0.0f);
    EXPECT_EQ(v.y, 3.0f);
}

} // namespace
