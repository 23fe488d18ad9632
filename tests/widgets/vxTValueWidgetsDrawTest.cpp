// The value widgets drawn by a manager in Mesa's off-screen renderer, read
// back pixel by pixel. One drawing unit is one pixel, y up.
#include "vxGLPixels.h"
#include "vxGLTestContext.h"

#include <vxStandaloneHost.h>

#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTManager.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

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

// Pixels of colour c (within 1 per channel) in [x0, x1) x [y0, y1).
int Count(const VxGLTestContext& gl, int x0, int y0, int x1, int y1, const Pixel& c) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            n += near(gl.pixel(x, y), c) ? 1 : 0;
    return n;
}

TEST(VxTValueWidgetsGL, LabelsHintAndImageBox) {
    VxGLTestContext gl;
    ASSERT_TRUE(gl.ok()) << "OSMesa could not create a context";
    ASSERT_GT(VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), kVxGlyphWidth, kVxGlyphHeight,
                                        kVxGlyphAdvance),
              0);
    ASSERT_TRUE(VxGLInitFont());
    VxTManager m;
    // Labels: inside a horizontal slider 4 from its left end, centred across;
    // 4 above a vertical one. White, with a black shadow.
    VxTSlider h("h", 1.0f, 1), v("v", 0.0f, 0);
    h.tOrigin(HvVec2(10, 100));
    h.tSize(HvVec2(100, 20));
    v.tOrigin(HvVec2(150, 20));
    v.tSize(HvVec2(10, 100));
    for (VxTSlider* s : {&h, &v}) {
        s->tsSetLabel("W");
        s->labelFlags = 1;
        m.tmAddChild(s);
    }
    h.tHint("W");
    const Pixel white{255, 255, 255};
    m.tmDraw();
    EXPECT_GT(Count(gl, 14, 103, 21, 117, white), 10);
    EXPECT_GT(Count(gl, 150, 124, 157, 138, white), 10);
    // The hint of the widget under the pen, at the pen + (8, 8), in yellow.
    gl.clear();
    m.tmUIMessage(VxTPointerMessage(kVxTPenMoved, kVxTDeviceMouse, HvVec2(60, 110)));
    m.tmDraw();
    EXPECT_GT(Count(gl, 68, 118, 80, 134, rgb(VxTDraw::_gHintBoxColour)), 10);
    // No label without its bit.
    gl.clear();
    h.labelFlags = 0;
    m.tmDraw();
    EXPECT_EQ(Count(gl, 14, 103, 21, 117, white), 0);
    VxGLFreeFont();

    // The image box: its texture over its bounds, centred on its origin.
    gl.clear();
    GLuint tex = 0;
    glGenTextures(1, &tex);
    glBindTexture(GL_TEXTURE_2D, tex);
    const unsigned char green[4] = {0, 255, 0, 255};
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, green);
    VxTImageBox b("image");
    b.width = 40;
    b.height = 20;
    b.resetBounds();
    b.texture = tex;
    glPushMatrix();
    glTranslatef(200, 200, 0);
    b.myTDraw();
    glPopMatrix();
    EXPECT_TRUE(near(gl.pixel(200, 200), {0, 255, 0}));
    EXPECT_TRUE(near(gl.pixel(185, 205), {0, 255, 0}));
    EXPECT_TRUE(near(gl.pixel(230, 200), {0, 0, 0}));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    glDeleteTextures(1, &tex);
}

// A display list filling 0..20 x 0..20 in one colour.
VxTGLList* Square(float r, float g, float b) {
    auto* list = new VxTGLList;
    glNewList(list->id, GL_COMPILE);
    glColor3f(r, g, b);
    glRectf(0, 0, 20, 20);
    glEndList();
    return list;
}

TEST(VxTValueWidgetsGL, HandlesDisplayListsAndHover) {
    VxGLTestContext gl;
    ASSERT_TRUE(gl.ok()) << "OSMesa could not create a context";
    VxTManager m;
    m.showHints = 0;
    // Multi-slider handles in their colours; the pressed one in white.
    VxTMultiSlider ms("ms", 3, 1);
    ms.tOrigin(HvVec2(10, 10));
    ms.tSize(HvVec2(100, 20));
    ms.colours[1] = VxRGBf(0, 0, 1);
    // A multi-toggle draws the display list of the state it shows.
    VxTMultiToggle mt("mt");
    mt.tOrigin(HvVec2(150, 10));
    mt.tSize(HvVec2(20, 20));
    for (VxTGLList* list : {Square(1, 0, 0), Square(0, 1, 0)}) {
        mt.tmtAddState(list);
        list->dropReference();
    }
    VxTToggle t("t", 0);
    t.tOrigin(HvVec2(200, 10));
    t.tSize(HvVec2(16, 16));
    for (VxTObject* w :
         {static_cast<VxTObject*>(&ms), static_cast<VxTObject*>(&mt), static_cast<VxTObject*>(&t)})
        m.tmAddChild(w);
    const Pixel poised = rgb(VxTDraw::_gPoisedCol);
    m.tmDraw();
    EXPECT_TRUE(near(gl.pixel(60, 20), {0, 0, 255}));
    EXPECT_TRUE(near(gl.pixel(160, 20), {255, 0, 0}));
    EXPECT_EQ(Count(gl, 196, 6, 220, 30, poised), 0);

    auto pen = [&](int event, float x, float y) {
        m.tmUIMessage(VxTPointerMessage(event, kVxTDeviceMouse, HvVec2(x, y)));
        gl.clear();
        m.tmDraw();
    };
    pen(kVxTPenPressed, 60, 20);
    EXPECT_TRUE(near(gl.pixel(60, 20), rgb(VxTDraw::_gActiveCol)));
    pen(kVxTPenReleased, 60, 20);
    pen(kVxTPenPressed, 160, 20);
    EXPECT_TRUE(near(gl.pixel(160, 20), {0, 255, 0})); // the state a release gives
    pen(kVxTPenMoved, 240, 20);
    EXPECT_TRUE(near(gl.pixel(160, 20), {255, 0, 0})); // dragged out: the old one
    pen(kVxTPenMoved, 160, 20);
    pen(kVxTPenReleased, 160, 20);
    EXPECT_TRUE(near(gl.pixel(160, 20), {0, 255, 0}));
    EXPECT_EQ(mt.state, 1);
    // Hovering over the toggle outlines it.
    pen(kVxTPenMoved, 208, 18);
    EXPECT_GT(Count(gl, 196, 6, 220, 30, poised), 20);
}

} // namespace
