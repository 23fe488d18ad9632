// The drawing layer in a real GL context (Mesa's off-screen renderer), read
// back pixel by pixel. One drawing unit is one pixel, y up.
#include "vxGLPixels.h"
#include "vxGLTestContext.h"

#include <vxStandaloneHost.h>
#include <vxTDraw.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <set>
#include <vector>

namespace {

const Pixel kBlack{0, 0, 0}, kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255};
const VxRGBf kR(1, 0, 0), kG(0, 1, 0), kB(0, 0, 1);

class VxTDrawGL : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(gl.ok()) << "OSMesa could not create a context";
        VxTDraw::matrixReset();
    }
    GLint geti(GLenum e) {
        GLint v = 0;
        glGetIntegerv(e, &v);
        return v;
    }
    VxGLTestContext gl;
};

} // namespace

TEST(VxTDrawMatrix, PushPopTopAndInverse) {
    VxTDraw::matrixReset();
    VxTDraw::matrixTranslate(HvVec2(10, 0));
    HvMatrix33 scale;
    scale.Scale(2, 2);
    VxTDraw::matrixMult(scale); // the new step acts first, in local coordinates
    const HvVec2 p = HvVec2(1, 1) * VxTDraw::_gMatrixStack[0];
    EXPECT_EQ(p, HvVec2(12, 2));
    EXPECT_EQ(HvVec2(12, 2) * VxTDraw::_gMatrixTopInverse, HvVec2(1, 1));

    for (int i = 0; i < 31; ++i)
        VxTDraw::matrixPush();
    EXPECT_EQ(VxTDraw::_gMatrixStackDepth, 31);
    VxTDraw::matrixTranslate(HvVec2(0, 5)); // local (0, 5) -> (10, 10)
    const HvMatrix33 top = VxTDraw::_gMatrixStack[31];
    VxTDraw::matrixPush(); // the 33rd: ignored
    EXPECT_EQ(VxTDraw::_gMatrixStackDepth, 31);
    EXPECT_EQ(VxTDraw::_gMatrixStack[31], top);
    EXPECT_EQ(HvVec2(0, 0) * top, HvVec2(10, 10));
    EXPECT_EQ(HvVec2(10, 10) * VxTDraw::_gMatrixTopInverse, HvVec2(0, 0));

    for (int i = 0; i < 40; ++i)
        VxTDraw::matrixPop(); // pops at depth 0 are ignored
    EXPECT_EQ(VxTDraw::_gMatrixStackDepth, 0);
    EXPECT_EQ(HvVec2(1, 1) * VxTDraw::_gMatrixStack[0], HvVec2(12, 2));
    EXPECT_EQ(HvVec2(12, 2) * VxTDraw::_gMatrixTopInverse, HvVec2(1, 1));
    VxTDraw::matrixReset();
    EXPECT_EQ(VxTDraw::_gMatrixStack[0], HvMatrix33());
    EXPECT_EQ(VxTDraw::_gMatrixTopInverse, HvMatrix33());
}

TEST_F(VxTDrawGL, MatrixOntoGLStackAndSolidBox) {
    glColor3f(1, 0, 0);
    VxTDraw::solidBox(10, 20, 30, 50);
    EXPECT_EQ(gl.litCount(), 20 * 30);
    EXPECT_EQ(gl.pixel(10, 20), kRed);
    EXPECT_EQ(gl.pixel(29, 49), kRed);
    EXPECT_EQ(gl.pixel(30, 49), kBlack);
    EXPECT_EQ(gl.pixel(29, 50), kBlack);

    gl.clear();
    VxTDraw::matrixTranslate(HvVec2(20, 30));
    HvMatrix33 scale;
    scale.Scale(10, 5);
    VxTDraw::matrixMult(scale);
    VxTDraw::matrixPutOntoGLStack();
    VxTDraw::solidBox(0, 0, 1, 2); // -> (20, 30) .. (30, 40)
    glLoadIdentity();
    EXPECT_EQ(gl.litCount(), 100);
    EXPECT_EQ(gl.pixel(20, 30), kRed);
    EXPECT_EQ(gl.pixel(29, 39), kRed);
}

TEST_F(VxTDrawGL, DashedAlternateEveryFourPixelsAndRestoreStipple) {
    glEnable(GL_LINE_STIPPLE);
    glLineStipple(3, 0xAAAA);
    VxTDraw::dashedLine(10.5f, 100.5f, 74.5f, 100.5f, kR, kB);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(gl.pixel(10 + i, 100), (i / 4) % 2 ? kBlue : kRed) << "pixel " << i;
    EXPECT_EQ(geti(GL_LINE_STIPPLE_PATTERN), 0xAAAA);
    EXPECT_EQ(geti(GL_LINE_STIPPLE_REPEAT), 3);
    EXPECT_EQ(VxTDraw::_gOldStipple, 0xAAAA);
    EXPECT_TRUE(glIsEnabled(GL_LINE_STIPPLE));

    gl.clear();
    glColor3f(0, 1, 0);
    VxTDraw::stippledLine(10.5f, 50.5f, 26.5f, 50.5f);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(gl.pixel(10 + i, 50), (i / 4) % 2 ? kBlack : kGreen) << "pixel " << i;

    // Every dashed form draws both colours and puts the caller's stipple back.
    const std::vector<std::function<void()>> forms = {
        [] { VxTDraw::dashedBox(20.5f, 20.5f, 200.5f, 200.5f, kR, kB); },
        [] { VxTDraw::dashedCircle(128, 128, 60, kR, kB); },
        [] { VxTDraw::dashedArc(128, 128, 60, 0, 180, kR, kB); },
        [] { VxTDraw::dashedPolygon(128, 128, 60, 6, kR, kB); },
        [] {
            glTranslatef(20, 128, 0);
            VxTDraw::dashedWave(40, 200, kR, kB);
            glLoadIdentity();
        }};
    for (size_t f = 0; f < forms.size(); ++f) {
        gl.clear();
        glLineStipple(2, 0x1234);
        forms[f]();
        EXPECT_EQ(geti(GL_LINE_STIPPLE_PATTERN), 0x1234) << "form " << f;
        EXPECT_EQ(geti(GL_LINE_STIPPLE_REPEAT), 2) << "form " << f;
        int red = 0, blue = 0;
        for (int y = 0; y < VxGLTestContext::kSize; ++y)
            for (int x = 0; x < VxGLTestContext::kSize; ++x) {
                const Pixel p = gl.pixel(x, y);
                red += p == kRed;
                blue += p == kBlue;
            }
        EXPECT_GT(red, 20) << "form " << f;
        EXPECT_GT(blue, 20) << "form " << f;
    }
    // Without the caller's stipple enabled both passes are solid: b on top.
    glDisable(GL_LINE_STIPPLE);
    gl.clear();
    VxTDraw::dashedLine(10.5f, 100.5f, 74.5f, 100.5f, kR, kB);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(gl.pixel(10 + i, 100), kBlue) << "pixel " << i;
}

TEST_F(VxTDrawGL, HollowLinesLeaveWidthOne) {
    glLineWidth(5);
    VxTDraw::hollowLine(20.5f, 100.5f, 80.5f, 100.5f, kR, kG);
    GLfloat width = 0;
    glGetFloatv(GL_LINE_WIDTH, &width);
    EXPECT_EQ(width, 1.0f);
    EXPECT_EQ(gl.pixel(50, 100), kGreen); // the core
    EXPECT_EQ(gl.pixel(50, 101), kRed);   // the rim
    EXPECT_EQ(gl.pixel(50, 99), kRed);
    EXPECT_EQ(gl.pixel(50, 102), kBlack);

    glLineWidth(5);
    VxTDraw::hollowCircle(128, 128, 50, kR, kG);
    glGetFloatv(GL_LINE_WIDTH, &width);
    EXPECT_EQ(width, 1.0f);
}

TEST_F(VxTDrawGL, RoundShapesOfNoRadiusDrawNothing) {
    glColor3f(1, 1, 1);
    for (float r : {0.0f, -3.0f, std::nanf("")}) {
        VxTDraw::circle(128, 128, r);
        VxTDraw::solidCircle(128, 128, r);
        VxTDraw::arc(128, 128, r, 0, 90);
        VxDArcF(128, 128, r, 0, 90);
        VxTDraw::polygon(128, 128, r, 5);
        VxTDraw::shadedInCircle(128, 128, r);
        VxTDraw::shadedOutCircle(128, 128, r);
        VxTDraw::hollowCircle(128, 128, r, kR, kG);
        VxTDraw::outlinedCircle(128, 128, r, kR, kG);
        VxTDraw::dashedCircle(128, 128, r, kR, kG);
        VxTDraw::dashedArc(128, 128, r, 0, 90, kR, kG);
        VxTDraw::dashedPolygon(128, 128, r, 5, kR, kG);
    }
    VxTDraw::polygon(128, 128, 40, 2); // fewer than three sides
    VxTDraw::dashedPolygon(128, 128, 40, 0, kR, kG);
    EXPECT_EQ(gl.litCount(), 0);

    // The same calls with a radius do draw: a ring, a disc, and a filled
    // circle outlined in its second colour.
    glColor3f(1, 1, 1);
    VxTDraw::circle(128, 128, 40);
    EXPECT_EQ(gl.pixel(128, 128), kBlack);
    EXPECT_GT(gl.litCount(), 200);
    gl.clear();
    VxTDraw::solidCircle(128, 128, 40);
    EXPECT_EQ(gl.pixel(128, 128), Pixel({255, 255, 255}));
    EXPECT_NEAR(gl.litCount(), 3.14159 * 40 * 40, 150);
    VxTDraw::outlinedCircle(128, 128, 40, kR, kG);
    EXPECT_EQ(gl.pixel(128, 128), kRed);
    EXPECT_EQ(gl.pixel(128, 167), kGreen);
}

TEST_F(VxTDrawGL, ArcsRunCounterClockwiseFromX) {
    glColor3f(1, 1, 1);
    VxDArcF(128, 128, 50, 0, 90); // the upper right quarter
    EXPECT_NE(gl.pixel(150, 150), kBlack);
    EXPECT_EQ(gl.pixel(106, 150), kBlack);
    EXPECT_EQ(gl.pixel(150, 106), kBlack);
    gl.clear();
    VxTDraw::shadedInCircle(128, 128, 50); // light upper left, dark lower right
    EXPECT_TRUE(near(gl.pixel(92, 163), rgb(VxTDraw::_gShadeLight)));
    EXPECT_TRUE(near(gl.pixel(163, 92), rgb(VxTDraw::_gShadeDark)));
}

TEST_F(VxTDrawGL, PolygonHasAFlatBottomEdge) {
    glColor3f(1, 1, 1);
    for (int n : {3, 4, 5, 7}) {
        gl.clear();
        VxTDraw::polygon(128.5f, 128.5f, 60, n);
        int lowest = -1, run = 0;
        for (int y = 0; y < 256 && lowest < 0; ++y)
            for (int x = 0; x < 256; ++x)
                if (gl.pixel(x, y) != kBlack) {
                    lowest = y;
                    ++run;
                }
        // An edge, not a vertex, at the bottom: a long run in the lowest row.
        EXPECT_GT(run, 30) << n << " sides";
        EXPECT_NEAR(lowest, 128.5 - 60 * std::cos(M_PI / n), 1.0) << n << " sides";
    }
}

TEST_F(VxTDrawGL, ShadedBoxesAndTabs) {
    const Pixel light = rgb(VxTDraw::_gShadeLight), dark = rgb(VxTDraw::_gShadeDark);
    VxTDraw::shadedInBox(20.5f, 20.5f, 100.5f, 80.5f); // light bottom and right
    EXPECT_TRUE(near(gl.pixel(50, 20), light));
    EXPECT_TRUE(near(gl.pixel(100, 50), light));
    EXPECT_TRUE(near(gl.pixel(50, 80), dark));
    EXPECT_TRUE(near(gl.pixel(20, 50), dark));
    gl.clear();
    VxTDraw::shadedOutBox(20.5f, 20.5f, 100.5f, 80.5f, kR); // dark red bottom and right
    EXPECT_TRUE(near(gl.pixel(50, 20), {153, 0, 0}));
    EXPECT_TRUE(near(gl.pixel(100, 50), {153, 0, 0}));
    EXPECT_EQ(gl.pixel(50, 80), kRed);
    EXPECT_EQ(gl.pixel(20, 50), kRed);

    // A tab 100 wide and 40 high: its right end is cut from (80, 60) down to
    // (120, 20).
    gl.clear();
    glColor3f(1, 1, 1);
    VxTDraw::solidTab(20, 20, 120, 60);
    EXPECT_NE(gl.pixel(30, 55), kBlack);
    EXPECT_NE(gl.pixel(85, 25), kBlack);
    EXPECT_EQ(gl.pixel(95, 55), kBlack);
    EXPECT_EQ(gl.pixel(118, 50), kBlack);
    gl.clear();
    VxTDraw::shadedInTab(20.5f, 20.5f, 120.5f, 60.5f);
    EXPECT_TRUE(near(gl.pixel(50, 20), light));  // bottom
    EXPECT_TRUE(near(gl.pixel(100, 40), light)); // the cut
    EXPECT_TRUE(near(gl.pixel(50, 60), dark));   // top
    EXPECT_TRUE(near(gl.pixel(20, 40), dark));   // left
    EXPECT_EQ(gl.pixel(110, 60), kBlack);        // the corner is gone
    gl.clear();
    VxTDraw::shadedOutTab(20.5f, 20.5f, 120.5f, 60.5f);
    EXPECT_TRUE(near(gl.pixel(100, 40), dark));
    EXPECT_TRUE(near(gl.pixel(50, 60), light));
}

TEST_F(VxTDrawGL, ArrowHeadsPointAlongTheirDirection) {
    glColor3f(1, 0, 0);
    const HvVec2 tip(100.5f, 100.5f), size(20, 10);
    VxTDraw::solidArrow(tip, HvVec2(1, 0), size); // base at x = 80.5, y 90.5 .. 110.5
    EXPECT_EQ(gl.pixel(95, 100), kRed);
    EXPECT_EQ(gl.pixel(85, 106), kRed);
    EXPECT_EQ(gl.pixel(85, 109), kBlack);
    EXPECT_EQ(gl.pixel(104, 100), kBlack);
    gl.clear();
    VxTDraw::solidArrow(tip, HvVec2(0, 3), size); // pointing up
    EXPECT_EQ(gl.pixel(100, 95), kRed);
    EXPECT_EQ(gl.pixel(100, 104), kBlack);
    EXPECT_EQ(gl.pixel(95, 100), kBlack);

    gl.clear();
    VxTDraw::arrow(tip, HvVec2(1, 0), size); // open: no base
    EXPECT_EQ(gl.pixel(80, 100), kBlack);
    EXPECT_EQ(gl.pixel(90, 105), kRed);
    gl.clear();
    VxTDraw::closedArrow(tip, HvVec2(1, 0), size);
    EXPECT_EQ(gl.pixel(80, 100), kRed);
    EXPECT_EQ(gl.pixel(90, 100), kBlack);
    gl.clear();
    VxTDraw::outlinedArrow(tip, HvVec2(1, 0), size, kG, kB);
    EXPECT_EQ(gl.pixel(90, 100), kGreen);
    EXPECT_EQ(gl.pixel(80, 100), kBlue);
    gl.clear();
    glColor3f(1, 0, 0);
    glTranslatef(100.5f, 100.5f, 0);
    VxTDraw::solidArrow(HvVec2(-1, 0), size); // at the origin, pointing left
    glLoadIdentity();
    EXPECT_EQ(gl.pixel(105, 100), kRed);
    EXPECT_EQ(gl.pixel(96, 100), kBlack);
    gl.clear();
    VxTDraw::solidArrow(tip, HvVec2(0, 0), size); // no direction: along +x
    EXPECT_EQ(gl.pixel(95, 100), kRed);
    EXPECT_EQ(gl.pixel(104, 100), kBlack);
}

TEST_F(VxTDrawGL, WaveAndLampSymbol) {
    glColor3f(1, 1, 1);
    VxTDraw::wave(30, 0);
    VxTDraw::wave(30, std::nanf(""));
    EXPECT_EQ(gl.litCount(), 0);
    glTranslatef(20.5f, 128.5f, 0);
    VxTDraw::wave(30, 200); // one period: up over the first half, down over the second
    glLoadIdentity();
    EXPECT_NE(gl.pixel(70, 158), kBlack);
    EXPECT_NE(gl.pixel(170, 98), kBlack);
    EXPECT_EQ(gl.pixel(70, 98), kBlack);
    gl.clear();
    glTranslatef(220.5f, 128.5f, 0);
    VxTDraw::wave(30, -200); // to the left, and still up first
    VxTDraw::wave(1, 1e9f);  // capped: one vertex per unit for 65536 units at most
    glLoadIdentity();
    EXPECT_NE(gl.pixel(170, 158), kBlack);
    EXPECT_EQ(gl.pixel(170, 98), kBlack);

    gl.clear();
    glColor3f(0, 0, 1);
    VxTDraw::lightObject(128.5f, 160.5f);
    GLfloat c[4];
    glGetFloatv(GL_CURRENT_COLOR, c);
    EXPECT_EQ(c[2], 1.0f);
    EXPECT_EQ(c[0], 0.0f);
    EXPECT_EQ(gl.pixel(128, 180), kBlue);                // the top of the bulb
    EXPECT_EQ(gl.pixel(128, 114), kBlue);                // the bottom of the base
    EXPECT_EQ(gl.pixel(110, 160), Pixel({255, 255, 0})); // the filament's start
}

TEST_F(VxTDrawGL, ScissorHelperRestoresWhatItFound) {
    glColor3f(1, 1, 1);
    {
        VxTScissorHelper s;
        s.tshScreenScissor(10, 20, 29, 39); // inclusive corners
        EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
        VxTDraw::solidBox(0, 0, 256, 256);
        EXPECT_EQ(gl.litCount(), 20 * 20);
        s.tshUnScissor();
        EXPECT_FALSE(glIsEnabled(GL_SCISSOR_TEST));
        gl.clear();
        glScalef(2, 2, 1);
        EXPECT_TRUE(s.tshWorldScissor(5, 10, 25, 30)); // window 10..50, 20..60, no + 1
        glLoadIdentity();
        GLint box[4];
        glGetIntegerv(GL_SCISSOR_BOX, box);
        EXPECT_EQ(std::vector<GLint>(box, box + 4), std::vector<GLint>({10, 20, 40, 40}));
        VxTDraw::solidBox(0, 0, 256, 256);
        EXPECT_EQ(gl.litCount(), 40 * 40);
    } // the destructor unscissors
    EXPECT_FALSE(glIsEnabled(GL_SCISSOR_TEST));

    glEnable(GL_SCISSOR_TEST);
    glScissor(1, 2, 3, 4);
    VxTScissorHelper s;
    s.tshCacheCurrentScissor(); // saves, but is not a scissor of ours
    glScissor(5, 6, 7, 8);
    s.tshUnScissor();
    GLint box[4];
    glGetIntegerv(GL_SCISSOR_BOX, box);
    EXPECT_EQ(box[0], 5);
    glScissor(1, 2, 3, 4);
    EXPECT_FALSE(s.tshWorldScissor(300, 300, 400, 400)); // off the window: no change
    EXPECT_FALSE(s.active);
    s.tshScreenScissor(0, 0, 9, 9);
    s.tshScreenScissor(5, 5, 9, 9); // a second one keeps the first saved state
    s.tshUnScissor();
    glGetIntegerv(GL_SCISSOR_BOX, box);
    EXPECT_EQ(std::vector<GLint>(box, box + 4), std::vector<GLint>({1, 2, 3, 4}));
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
    glDisable(GL_SCISSOR_TEST);
}

TEST_F(VxTDrawGL, BlendingHelperRestoresWhatItFound) {
    {
        VxTBlendingHelper b;
        b.tbhSetBlending(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        EXPECT_TRUE(glIsEnabled(GL_BLEND));
        EXPECT_EQ(geti(GL_BLEND_SRC), GL_SRC_ALPHA);
        EXPECT_EQ(geti(GL_BLEND_DST), GL_ONE_MINUS_SRC_ALPHA);
        b.tbhUnsetBlending();
        EXPECT_FALSE(glIsEnabled(GL_BLEND));
        EXPECT_EQ(geti(GL_BLEND_SRC), GL_ONE);
        EXPECT_EQ(geti(GL_BLEND_DST), GL_ZERO);
        b.tbhSetBlending(GL_ONE, GL_ONE);
    } // the destructor unsets
    EXPECT_FALSE(glIsEnabled(GL_BLEND));

    glEnable(GL_BLEND);
    glBlendFunc(GL_DST_COLOR, GL_ZERO);
    VxTBlendingHelper b;
    b.tbhSetBlending(GL_ONE, GL_ONE);
    b.tbhSetBlending(GL_SRC_ALPHA, GL_ONE);
    b.tbhUnsetBlending();
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_EQ(geti(GL_BLEND_SRC), GL_DST_COLOR);
    EXPECT_EQ(geti(GL_BLEND_DST), GL_ZERO);
    glDisable(GL_BLEND);
}

TEST_F(VxTDrawGL, BoxFeedbackProjectsToWindowPixels) {
    HvBox2 w;
    ASSERT_TRUE(VxGLBoxFeedback(HvBox2(10, 50, 20, 60), w));
    EXPECT_EQ(w, HvBox2(10, 50, 20, 60));
    glTranslatef(100, 0, 0);
    glRotatef(90, 0, 0, 1); // (x, y) -> (100 - y, x)
    ASSERT_TRUE(VxGLBoxFeedback(HvBox2(10, 50, 20, 60), w));
    EXPECT_NEAR(w.xmin, 40, 1e-3);
    EXPECT_NEAR(w.xmax, 80, 1e-3);
    EXPECT_NEAR(w.ymin, 10, 1e-3);
    EXPECT_NEAR(w.ymax, 50, 1e-3);
    glLoadIdentity();
    ASSERT_TRUE(VxGLBoxFeedback(HvBox2(-10, 50, 200, 300), w)); // clipped to the viewport
    EXPECT_EQ(w, HvBox2(0, 50, 200, 256));
    EXPECT_FALSE(VxGLBoxFeedback(HvBox2(300, 400, 10, 20), w));
    EXPECT_FALSE(VxGLBoxFeedback(HvBox2(-40, -20, 10, 20), w));
    EXPECT_EQ(w, HvBox2(0, 50, 200, 256)); // untouched on failure

    // With a perspective view the plane z = 0 through the eye cannot be mapped.
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluPerspective(60, 1, 1, 100);
    EXPECT_FALSE(VxGLBoxFeedback(HvBox2(-1, 1, -1, 1), w));
    glTranslatef(0, 0, -10);
    EXPECT_TRUE(VxGLBoxFeedback(HvBox2(-1, 1, -1, 1), w));
    EXPECT_NEAR(w.xmin + w.xmax, 256, 1e-3);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(VxTDrawGL, DisplayListHolder) {
    auto* l = new VxTGLList;
    const GLuint id = l->list();
    EXPECT_EQ(l->refCount, 1);
    ASSERT_NE(id, 0u);
    glNewList(id, GL_COMPILE);
    glColor3f(0, 1, 0);
    VxTDraw::solidBox(0, 0, 4, 4);
    glEndList();
    EXPECT_TRUE(glIsList(id));
    l->call();
    EXPECT_EQ(gl.pixel(2, 2), kGreen);
    delete l;
    EXPECT_FALSE(glIsList(id));
}

TEST_F(VxTDrawGL, QuadricSharing) {
    GLUquadric* mine = gluNewQuadric();
    VxDSetMyQuadric(mine);
    EXPECT_EQ(VxDGetMyQuadric(), mine);
    glColor3f(1, 1, 1);
    VxTDraw::solidCircle(128, 128, 10);
    EXPECT_NE(gl.pixel(128, 128), kBlack);
    VxDCleanup(); // forgets, but does not delete, a lent quadric
    EXPECT_EQ(VxDGetMyQuadric(), nullptr);
    gluDeleteQuadric(mine);
    EXPECT_TRUE(VxDInitQuadric());
    EXPECT_NE(VxDGetMyQuadric(), nullptr);
    VxDCleanup();
}

TEST_F(VxTDrawGL, HintDrawsShadowThenHintColourThroughTheHostFont) {
    VxGLFreeFont();
    EXPECT_EQ(VxStandaloneHostBuildFont(nullptr, 7, 14, 7), 0);
    EXPECT_EQ(VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), 0, 14, 7), 0);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
    ASSERT_EQ(VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), kVxGlyphWidth, kVxGlyphHeight,
                                        kVxGlyphAdvance),
              95);
    EXPECT_EQ(geti(GL_UNPACK_ALIGNMENT), 8);
    EXPECT_TRUE(glIsList(8 + ' '));
    EXPECT_FALSE(glIsList(8 + '\n')); // no glyph, no list
    VxTDraw::drawHint("Ag", 50, 60);  // no font base yet: nothing
    EXPECT_EQ(gl.litCount(), 0);

    ASSERT_TRUE(VxGLInitFont());
    EXPECT_EQ(gVxGlFontBase, 8);
    VxTDraw::drawHint("Ag", 50, 60);
    // Glyph pixel (column c, row r from the top) of character i lies at
    // (50 + 7 i + c, 60 + 13 - r); the hint copy one pixel up and right.
    std::set<std::pair<int, int>> shadow, hint;
    const char* text = "Ag";
    for (int i = 0; i < 2; ++i) {
        VxGlyphI* g = nullptr;
        ASSERT_TRUE(gVxAsciiFont.getGlyph(text[i], g));
        for (int r = 0; r < 14; ++r)
            for (int c = 0; c < 7; ++c)
                if (g->value(c, r)) {
                    shadow.insert({50 + 7 * i + c, 73 - r});
                    hint.insert({51 + 7 * i + c, 74 - r});
                }
    }
    const Pixel dark = rgb(VxTDraw::_gShadeDark), yellow = rgb(VxTDraw::_gHintBoxColour);
    for (int y = 50; y < 80; ++y)
        for (int x = 45; x < 70; ++x) {
            const Pixel want = hint.count({x, y}) ? yellow : shadow.count({x, y}) ? dark : kBlack;
            EXPECT_TRUE(near(gl.pixel(x, y), want)) << "at " << x << ", " << y;
        }
    gl.clear();
    VxTDraw::drawHint(nullptr, 50, 60);
    VxGLDrawStr("A", 0, 50, 60);
    EXPECT_EQ(gl.litCount(), 0);

    VxGLFreeFont();
    EXPECT_EQ(gVxGlFontBase, 0);
    EXPECT_FALSE(glIsList(8 + 'A'));
    VxGLDrawStr("A", 50, 60);
    EXPECT_EQ(gl.litCount(), 0);
}
