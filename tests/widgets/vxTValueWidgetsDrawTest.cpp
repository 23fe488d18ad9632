// The value widgets drawn by a manager in Mesa's off-screen renderer, read
// back pixel by pixel. One drawing unit is one pixel, y up.
#include "vxGLTestContext.h"

#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTManager.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

using Pixel = std::array<int, 3>;

Pixel rgb(const VxRGBf& c) {
    return {int(std::lround(c.r * 255)), int(std::lround(c.g * 255)), int(std::lround(c.b * 255))};
}

::testing::AssertionResult near(const Pixel& got, const Pixel& want) {
    for (int i = 0; i < 3; ++i)
        if (std::abs(got[i] - want[i]) > 1)
            return ::testing::AssertionFailure()
                   << "(" << got[0] << ", " << got[1] << ", " << got[2] << ") is not (" << want[0]
                   << ", " << want[1] << ", " << want[2] << ")";
    return ::testing::AssertionSuccess();
}

TEST(VxTValueWidgetsGL, SlidersTogglesTabsAndPlot) {
    VxGLTestContext gl;
    ASSERT_TRUE(gl.ok()) << "OSMesa could not create a context";
    VxTManager m;
    // A horizontal slider at half: the band, 4 wide, in its colour; its
    // background only when `transparent` is set.
    VxTSlider s("s", 0.5f, 1);
    s.tOrigin(HvVec2(10, 10));
    s.tSize(HvVec2(100, 20));
    s.colour = VxRGBf(1, 0, 0);
    // A vertical hue ramp: red at the bottom, green a third of the way up.
    VxTSliderColRamp ramp("ramp", 1.0f, 0);
    ramp.tOrigin(HvVec2(150, 10));
    ramp.tSize(HvVec2(20, 180));
    VxTToggle on("on", 1), off("off", 0);
    on.tOrigin(HvVec2(10, 50));
    on.tSize(HvVec2(16, 16));
    off.tOrigin(HvVec2(40, 50));
    off.tSize(HvVec2(16, 16));
    // Overlapping tabs: the selected one is drawn over its neighbours.
    VxTTabBox box("tabs");
    box.tOrigin(HvVec2(0, 0)); // a group's origin is its children's
    box.childOffset(HvVec2(30, 0));
    VxTTabButton t1("", 0), t2("", 1), t3("", 0);
    for (VxTTabButton* t : {&t1, &t2, &t3}) {
        t->tSize(HvVec2(40, 20));
        box.tAddChild(t);
    }
    VxTGroup tabs("tabsAt");
    box.tParent(&tabs);
    VxTFunctionPlot plot("plot");
    plot.tOrigin(HvVec2(10, 150));
    plot.tSize(HvVec2(100, 40));
    plot.tfpFunction([](float, void*) { return 0.5125f; }, nullptr); // row 170
    plot.colour = VxRGBf(0, 0, 1);
    for (VxTObject* w : {static_cast<VxTObject*>(&s), static_cast<VxTObject*>(&ramp),
                         static_cast<VxTObject*>(&on), static_cast<VxTObject*>(&off),
                         static_cast<VxTObject*>(&box), static_cast<VxTObject*>(&plot)})
        m.tmAddChild(w);
    box.tOrigin(HvVec2(0, 0));

    m.tmDraw();
    EXPECT_TRUE(near(gl.pixel(60, 20), {255, 0, 0}));
    EXPECT_TRUE(near(gl.pixel(30, 20), {0, 0, 0}));
    const Pixel low = gl.pixel(160, 12), third = gl.pixel(160, 70);
    EXPECT_TRUE(low[0] > 200 && low[1] < 60 && low[2] < 60);
    EXPECT_TRUE(third[1] > 200 && third[0] < 60 && third[2] < 60);
    EXPECT_TRUE(near(gl.pixel(18, 58), rgb(kToggleColour)));
    EXPECT_TRUE(near(gl.pixel(48, 58), rgb(VxTDraw::_gShadeDark)));
    EXPECT_TRUE(near(gl.pixel(35, 5), rgb(kTabColour))); // t2 over t1
    EXPECT_TRUE(near(gl.pixel(62, 3), rgb(kTabColour))); // t2 over t3
    EXPECT_TRUE(near(gl.pixel(85, 5), rgb(VxTDraw::_gBackCol)));
    EXPECT_TRUE(near(gl.pixel(60, 170), {0, 0, 255}));

    // Pressed: the band turns white; `transparent` fills the background.
    gl.clear();
    m.tmUIMessage(VxTPointerMessage(kVxTPenPressed, kVxTDeviceMouse, HvVec2(60, 26)));
    s.transparent = 1;
    m.tmDraw();
    EXPECT_TRUE(near(gl.pixel(60, 20), rgb(VxTDraw::_gActiveCol)));
    EXPECT_TRUE(near(gl.pixel(30, 20), rgb(VxTDraw::_gBackCol)));
    // Pressing a toggle shows the state a release would give.
    m.tmUIMessage(VxTPointerMessage(kVxTPenReleased, kVxTDeviceMouse, HvVec2(60, 26)));
    m.tmUIMessage(VxTPointerMessage(kVxTPenPressed, kVxTDeviceMouse, HvVec2(48, 58)));
    m.tmDraw();
    EXPECT_TRUE(near(gl.pixel(48, 58), rgb(kToggleColour)));
    GLboolean blend = GL_TRUE, smooth = GL_TRUE;
    glGetBooleanv(GL_BLEND, &blend);
    glGetBooleanv(GL_LINE_SMOOTH, &smooth);
    EXPECT_TRUE(blend == GL_FALSE && smooth == GL_FALSE); // put back as found
}

} // namespace
