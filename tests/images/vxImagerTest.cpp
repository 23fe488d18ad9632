// The window holder: stored half-open windows, flag bits and field stepping.
#include "vxImager.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace {

std::vector<int> window(const Imager& im) {
    int x0, y0, x1, y1;
    im.getWindow(x0, y0, x1, y1);
    return {x0, y0, x1, y1};
}

TEST(Imager, WindowsAndFlags) {
    Imager im;
    EXPECT_EQ(im.flags, 0);
    EXPECT_EQ(im.callsToSample, 1);
    EXPECT_EQ(im.floatAux0 + im.floatAux1, 2.0f);
    EXPECT_EQ(im.interruptCheck, nullptr);

    im.setWindow(1, 2, 9, 19);
    EXPECT_EQ(std::vector<int>({im.x0, im.y0, im.x1, im.y1}), std::vector<int>({1, 2, 10, 20}));
    EXPECT_EQ(window(im), std::vector<int>({1, 2, 9, 19}));
    EXPECT_EQ(im.flags, Imager::kWindowGiven | Imager::kWindowActive);

    im.unsetWindow(); // only the active bit goes; the window stays
    EXPECT_EQ(im.flags, Imager::kWindowGiven);
    EXPECT_EQ(window(im), std::vector<int>({1, 2, 9, 19}));

    // Borders: one pixel more on the high side.
    im.setBorderedWindow(0, 0, 9, 9, 2, 3);
    EXPECT_EQ(window(im), std::vector<int>({-2, -3, 12, 13}));
    EXPECT_EQ(im.flags, Imager::kWindowGiven | Imager::kWindowBordered | Imager::kWindowActive);

    Imager copy;
    copy.copyWindow(&im);
    copy.copyWindow(nullptr); // ignored
    EXPECT_EQ(window(copy), window(im));
    EXPECT_EQ(copy.flags, Imager::kWindowGiven | Imager::kWindowActive);

    // Extreme bounds wrap rather than overflow.
    im.setWindow(0, 0, INT_MAX, INT_MAX);
    EXPECT_EQ(im.x1, INT_MIN);
    EXPECT_EQ(window(im)[2], INT_MAX);
}

TEST(Imager, FieldStepping) {
    Imager im;
    EXPECT_EQ(im.field(), kVxFieldProgressive);
    EXPECT_EQ(im.findFieldedInc(), 1);
    EXPECT_EQ(im.findFieldedStartY(3), 3);
    im.field(kVxFieldEven);
    EXPECT_EQ(im.findFieldedInc(), 2);
    const int ys[] = {-3, -2, -1, 0, 1, 2, 3, 4};
    const int even[] = {-2, 0, 0, 0, 2, 2, 4, 4}; // rounding toward zero for negatives, as ever
    const int odd[] = {-1, -1, 1, 1, 1, 3, 3, 5};
    for (int i = 0; i < 8; ++i) {
        im.field(kVxFieldEven);
        EXPECT_EQ(im.findFieldedStartY(ys[i]), even[i]) << ys[i];
        im.field(kVxFieldOdd);
        EXPECT_EQ(im.findFieldedStartY(ys[i]), odd[i]) << ys[i];
    }
    EXPECT_EQ(im.findFieldedInc(), 2);
}

} // namespace
