#include "vxColour.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(VxColour, ConstructionAndArithmetic) {
    // Ints are taken as they are, not rescaled.
    EXPECT_EQ(VxRGBAf(1, 0, 0, 1), VxRGBAf(1.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(VxRGBAf(), VxRGBAf(0, 0, 0, 0));
    const VxRGBAf a(0.5f, 0.25f, 1.0f, 1.0f), b(0.25f, 0.25f, 0.5f, 0.0f);
    EXPECT_EQ(a - b, VxRGBAf(0.25f, 0.0f, 0.5f, 1.0f));
    EXPECT_EQ(b + (a - b) * 1.0f, a);
    EXPECT_EQ(a * 2.0f, VxRGBAf(1.0f, 0.5f, 2.0f, 2.0f));
    EXPECT_EQ(VxRGBAf(-1.0f, 2.0f, NAN, 0.5f).clamped(), VxRGBAf(0.0f, 1.0f, 0.0f, 0.5f));
    EXPECT_EQ(a[3], 1.0f);
    EXPECT_EQ(a[9], a.a);
    EXPECT_EQ(VxRGBAi(300, -2, 128, 255).clamped(), VxRGBAi(255, 0, 128, 255));
    EXPECT_EQ(VxRGBf(1, 2, 3) + VxRGBf(1, 1, 1), VxRGBf(2, 3, 4));
    EXPECT_EQ(VxRGBi(10, 20, 30) * 0.5f, VxRGBi(5, 10, 15));
    EXPECT_EQ(VxInvert(4.0f), 0.25f);
    EXPECT_EQ(VxInvert(0.0f), 0.0f);
}

TEST(VxColour, HsvRoundTripAndCorners) {
    auto near = [](const VxRGBf& x, const VxRGBf& y) {
        return std::fabs(x.r - y.r) < 1e-5f && std::fabs(x.g - y.g) < 1e-5f &&
               std::fabs(x.b - y.b) < 1e-5f;
    };
    EXPECT_TRUE(near(VxHSVtoRGB(0.0f, 1.0f, 1.0f), VxRGBf(1, 0, 0)));
    EXPECT_TRUE(near(VxHSVtoRGB(1.0f / 3.0f, 1.0f, 1.0f), VxRGBf(0, 1, 0)));
    EXPECT_TRUE(near(VxHSVtoRGB(2.0f / 3.0f, 1.0f, 1.0f), VxRGBf(0, 0, 1)));
    EXPECT_TRUE(near(VxHSVtoRGB(-1.0f / 3.0f, 1.0f, 1.0f), VxHSVtoRGB(2.0f / 3.0f, 1, 1)));
    EXPECT_TRUE(near(VxHSVtoRGB(0.3f, 0.0f, 0.4f), VxRGBf(0.4f, 0.4f, 0.4f)));
    EXPECT_TRUE(near(VxHSVtoRGB(NAN, 2.0f, 2.0f), VxRGBf(1, 0, 0)));
    EXPECT_TRUE(near(VxHSVtoRGB(-1e-9f, 1.0f, 1.0f), VxRGBf(1, 0, 0)));
    // Every colour of a grid survives RGB -> HSV -> RGB, and HSV stays in range.
    for (int r = 0; r <= 8; ++r)
        for (int g = 0; g <= 8; ++g)
            for (int b = 0; b <= 8; ++b) {
                const VxRGBf c(r / 8.0f, g / 8.0f, b / 8.0f);
                float h, s, v;
                VxRGBtoHSV(c, h, s, v);
                ASSERT_TRUE(h >= 0.0f && h < 1.0f && s >= 0.0f && s <= 1.0f && v >= 0.0f &&
                            v <= 1.0f);
                ASSERT_TRUE(near(VxHSVtoRGB(h, s, v), c)) << r << " " << g << " " << b;
            }
}
