// The window holder: stored half-open windows, flag bits and field stepping.
#include "vxImager.h"

#include <gtest/gtest.h>

#include <climits>
#include <tuple>
#include <vector>

namespace {

// The stored (half-open) window, getWindow's inclusive one, then the flags.
std::vector<int> state(const Imager& im) {
    int x0, y0, x1, y1;
    im.getWindow(x0, y0, x1, y1);
    return {im.x0, im.y0, im.x1, im.y1, x0, y0, x1, y1, im.flags};
}

TEST(Imager, WindowsAndFlags) {
    Imager im;
    EXPECT_EQ(std::make_tuple(im.flags, im.callsToSample, im.floatAux0, im.floatAux1, im.intAux0,
                              im.intAux1, im.interruptCheck == nullptr),
              std::make_tuple(0, 1, 1.0f, 1.0f, 0, 0, true));
    const int given = Imager::kWindowGiven, active = Imager::kWindowActive;
    im.setWindow(1, 2, 9, 19);
    EXPECT_EQ(state(im), std::vector<int>({1, 2, 10, 20, 1, 2, 9, 19, given | active}));
    im.unsetWindow(); // only the active bit goes; the window stays
    EXPECT_EQ(state(im), std::vector<int>({1, 2, 10, 20, 1, 2, 9, 19, given}));
    // Borders: one pixel more on the high side.
    im.setBorderedWindow(0, 0, 9, 9, 2, 3);
    EXPECT_EQ(state(im), std::vector<int>({-2, -3, 13, 14, -2, -3, 12, 13,
                                           given | Imager::kWindowBordered | active}));
    Imager copy;
    copy.copyWindow(&im);
    copy.copyWindow(nullptr); // ignored
    std::vector<int> copied = state(im);
    copied[8] = given | active;
    EXPECT_EQ(state(copy), copied);
    // Extreme bounds wrap rather than overflow.
    im.setWindow(0, 0, INT_MAX, INT_MAX);
    EXPECT_EQ(std::make_pair(im.x1, state(im)[6]), std::make_pair(INT_MIN, INT_MAX));
}

TEST(Imager, FieldStepping) {
    Imager im;
    EXPECT_EQ(std::make_tuple(im.field(), im.findFieldedInc(), im.findFieldedStartY(-3)),
              std::make_tuple(kVxFieldProgressive, 1, -3));
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
    im.field(kVxFieldEven);
    EXPECT_EQ(im.findFieldedInc(), 2);
}

} // namespace
