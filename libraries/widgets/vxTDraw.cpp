// The widget drawing layer: shared colours, the widgets' matrix stack and the
// immediate-mode primitives.
#include "vxTDraw.h"

#include <cmath>

int gVxIsOpenGL = 0;

const VxRGBf k2DMoveTranColour(0.7f, 0.0f, 0.0f);
const VxRGBf k2DMoveRotColour(0.0f, 0.6f, 0.0f);
const VxRGBf k2DMoveScaleColour(0.0f, 0.0f, 0.9f);
const VxRGBf k2DMoveTranColourComp(0.0f, 1.0f, 1.0f);
const VxRGBf k2DMoveRotColourComp(1.0f, 0.0f, 1.0f);
const VxRGBf k2DMoveScaleColourComp(1.0f, 1.0f, 0.0f);
const VxRGBf kPolygonColour(0.7f, 0.7f, 0.0f);
const VxRGBf kLineColour(0.1f, 0.1f, 0.7f);
const VxRGBf kArrowColour(0.1f, 0.9f, 0.1f);
const VxRGBf kCropLColour(0.9f, 0.9f, 0.1f);
const VxRGBf kCropRColour(0.1f, 0.9f, 0.9f);
const VxRGBf kCropTColour(1.0f, 0.5f, 0.2f);
const VxRGBf kCropBColour(0.9f, 0.1f, 0.9f);
const VxRGBf kBoxColour(1.0f, 0.0f, 0.0f);
const VxRGBf kTabColour(0.9f, 0.9f, 0.9f);
const VxRGBf kWaveColour(0.7f, 0.7f, 0.0f);
const VxRGBf kSunDialSunColour(1.0f, 1.0f, 0.2f);
const VxRGBf kSunDialDialColour(0.85f, 0.85f, 0.0f);
const VxRGBf kSphereRingColour(0.45f, 0.45f, 0.45f);
const VxRGBf kRegionPickerColour(1.0f, 0.0f, 0.0f);

VxRGBf VxTDraw::_gBackCol(0.6f, 0.6f, 0.6f);
VxRGBf VxTDraw::_gShadeDark(0.1f, 0.1f, 0.1f);
VxRGBf VxTDraw::_gShadeLight(0.8f, 0.8f, 0.8f);
VxRGBf VxTDraw::_gActiveCol(1.0f, 1.0f, 1.0f);
VxRGBf VxTDraw::_gPoisedCol(0.6f, 0.6f, 0.6f);
VxRGBf VxTDraw::_gHintBoxColour(1.0f, 1.0f, 0.0f);
float VxTDraw::_gShadeFrac = 0.6f;
unsigned short VxTDraw::_gStipple = 0x0F0F;
int VxTDraw::_gOldStipple = 0;
int VxTDraw::_gOldStippleRepeat = 0;
HvMatrix33 VxTDraw::_gMatrixStack[32];
int VxTDraw::_gMatrixStackDepth = 0;
HvMatrix33 VxTDraw::_gMatrixTopInverse;

namespace {

constexpr double kPi = 3.14159265358979323846;

void colour(const VxRGBf& c) {
    glColor3f(c.r, c.g, c.b);
}

// The dashed primitives draw the same outline twice, in complementary
// stipple patterns, around the caller's stipple state.
template <class Draw>
void dashed(const VxRGBf& a, const VxRGBf& b, Draw draw) {
    GLint pattern = 0, repeat = 0;
    glGetIntegerv(GL_LINE_STIPPLE_PATTERN, &pattern);
    glGetIntegerv(GL_LINE_STIPPLE_REPEAT, &repeat);
    VxTDraw::_gOldStipple = pattern;
    VxTDraw::_gOldStippleRepeat = repeat;
    colour(a);
    glLineStipple(1, VxTDraw::_gStipple);
    draw();
    colour(b);
    glLineStipple(1, static_cast<GLushort>(~VxTDraw::_gStipple));
    draw();
    glLineStipple(VxTDraw::_gOldStippleRepeat, static_cast<GLushort>(VxTDraw::_gOldStipple));
}

void strip3(float ax, float ay, float bx, float by, float cx, float cy) {
    glBegin(GL_LINE_STRIP);
    glVertex2f(ax, ay);
    glVertex2f(bx, by);
    glVertex2f(cx, cy);
    glEnd();
}

void polygonLoop(float x, float y, float r, int n) {
    if (!(r > 0.0f) || n < 3)
        return;
    const double step = 2.0 * kPi / n;
    glBegin(GL_LINE_LOOP);
    for (int i = 0; i < n; ++i) {
        const double a = step / 2.0 - kPi / 2.0 + i * step;
        glVertex2f(static_cast<float>(x + r * std::cos(a)),
                   static_cast<float>(y + r * std::sin(a)));
    }
    glEnd();
}

// The head's three vertices, rotated to point along dir and moved to at.
struct Head {
    float v[3][2];
};
Head arrowHead(HvVec2 at, HvVec2 dir, HvVec2 size) {
    const double a = std::atan2(static_cast<double>(dir.y), static_cast<double>(dir.x));
    const double c = std::cos(a), s = std::sin(a);
    const double local[3][2] = {{-size.x, size.y}, {0.0, 0.0}, {-size.x, -size.y}};
    Head h;
    for (int i = 0; i < 3; ++i) {
        h.v[i][0] = static_cast<float>(at.x + c * local[i][0] - s * local[i][1]);
        h.v[i][1] = static_cast<float>(at.y + s * local[i][0] + c * local[i][1]);
    }
    return h;
}
void drawHead(GLenum mode, const Head& h) {
    glBegin(mode);
    for (const auto& p : h.v)
        glVertex2f(p[0], p[1]);
    glEnd();
}

// A sunken outline: light on the bottom and right edges, dark on the top and
// left; raised swaps the colours.
void shadeBox(float x0, float y0, float x1, float y1, const VxRGBf& light, const VxRGBf& dark,
              bool sunken) {
    colour(sunken ? light : dark);
    strip3(x0, y0, x1, y0, x1, y1);
    colour(sunken ? dark : light);
    strip3(x1, y1, x0, y1, x0, y0);
}

constexpr float kMaxWaveLength = 65536.0f;

} // namespace

// --- The matrix stack ----------------------------------------------------

namespace {
void refreshInverse() {
    VxTDraw::_gMatrixTopInverse = Invert(VxTDraw::_gMatrixStack[VxTDraw::_gMatrixStackDepth]);
}
} // namespace

void VxTDraw::matrixReset() {
    _gMatrixStackDepth = 0;
    _gMatrixStack[0] = HvMatrix33();
    _gMatrixTopInverse = HvMatrix33();
}

void VxTDraw::matrixPush() {
    if (_gMatrixStackDepth <= 30) {
        _gMatrixStack[_gMatrixStackDepth + 1] = _gMatrixStack[_gMatrixStackDepth];
        ++_gMatrixStackDepth;
    }
    refreshInverse();
}

void VxTDraw::matrixPop() {
    if (_gMatrixStackDepth >= 1)
        --_gMatrixStackDepth;
    refreshInverse();
}

void VxTDraw::matrixMult(const HvMatrix33& m) {
    HvMatrix33& top = _gMatrixStack[_gMatrixStackDepth];
    top = m * top;
    refreshInverse();
}

void VxTDraw::matrixTranslate(const HvVec2& t) {
    HvMatrix33 tm;
    tm.Translate(t.x, t.y);
    HvMatrix33& top = _gMatrixStack[_gMatrixStackDepth];
    top = tm * top;
    refreshInverse();
}

void VxTDraw::matrixPutOntoGLStack() {
    // Row vectors times a row-major matrix lay out exactly as GL's column
    // vectors times a column-major one, so the rows go in as they are.
    const HvMatrix33& t = _gMatrixStack[_gMatrixStackDepth];
    const GLfloat g[16] = {t(0, 0), t(0, 1), 0.0f, 0.0f, t(1, 0), t(1, 1), 0.0f, 0.0f,
                           0.0f,    0.0f,    1.0f, 0.0f, t(2, 0), t(2, 1), 0.0f, 1.0f};
    glMultMatrixf(g);
}

// --- Boxes and tabs -----------------------------------------------------------

void VxTDraw::solidBox(float x0, float y0, float x1, float y1) {
    glRectf(x0, y0, x1, y1);
}

void VxTDraw::outlineBox(float x0, float y0, float x1, float y1) {
    glBegin(GL_LINE_LOOP);
    glVertex2f(x0, y0);
    glVertex2f(x1, y0);
    glVertex2f(x1, y1);
    glVertex2f(x0, y1);
    glEnd();
}

void VxTDraw::shadedInBox(float x0, float y0, float x1, float y1) {
    shadeBox(x0, y0, x1, y1, _gShadeLight, _gShadeDark, true);
}

void VxTDraw::shadedOutBox(float x0, float y0, float x1, float y1) {
    shadeBox(x0, y0, x1, y1, _gShadeLight, _gShadeDark, false);
}

void VxTDraw::shadedInBox(float x0, float y0, float x1, float y1, const VxRGBf& c) {
    shadeBox(x0, y0, x1, y1, c, c * _gShadeFrac, true);
}

void VxTDraw::shadedOutBox(float x0, float y0, float x1, float y1, const VxRGBf& c) {
    shadeBox(x0, y0, x1, y1, c, c * _gShadeFrac, false);
}

void VxTDraw::shadedInTab(float x0, float y0, float x1, float y1) {
    const float xc = x1 - (y1 - y0);
    colour(_gShadeLight);
    strip3(x0, y0, x1, y0, xc, y1);
    colour(_gShadeDark);
    strip3(xc, y1, x0, y1, x0, y0);
}

void VxTDraw::shadedOutTab(float x0, float y0, float x1, float y1) {
    const float xc = x1 - (y1 - y0);
    colour(_gShadeLight);
    strip3(xc, y1, x0, y1, x0, y0);
    colour(_gShadeDark);
    strip3(x0, y0, x1, y0, xc, y1);
}

void VxTDraw::solidTab(float x0, float y0, float x1, float y1) {
    glBegin(GL_QUADS);
    glVertex2f(x1 - (y1 - y0), y1);
    glVertex2f(x0, y1);
    glVertex2f(x0, y0);
    glVertex2f(x1, y0);
    glEnd();
}

// --- Dashed lines ---------------------------------------------------------------

void VxTDraw::stippledLine(float x0, float y0, float x1, float y1) {
    GLint pattern = 0, repeat = 0;
    glGetIntegerv(GL_LINE_STIPPLE_PATTERN, &pattern);
    glGetIntegerv(GL_LINE_STIPPLE_REPEAT, &repeat);
    _gOldStipple = pattern;
    _gOldStippleRepeat = repeat;
    glLineStipple(1, _gStipple);
    glBegin(GL_LINES);
    glVertex2f(x0, y0);
    glVertex2f(x1, y1);
    glEnd();
    glLineStipple(_gOldStippleRepeat, static_cast<GLushort>(_gOldStipple));
}

void VxTDraw::dashedLine(float x0, float y0, float x1, float y1, const VxRGBf& a, const VxRGBf& b) {
    dashed(a, b, [&] {
        glBegin(GL_LINES);
        glVertex2f(x0, y0);
        glVertex2f(x1, y1);
        glEnd();
    });
}

void VxTDraw::dashedBox(float x0, float y0, float x1, float y1, const VxRGBf& a, const VxRGBf& b) {
    dashed(a, b, [&] { outlineBox(x0, y0, x1, y1); });
}

void VxTDraw::dashedCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b) {
    if (!(r > 0.0f))
        return;
    dashed(a, b, [&] { VxDCircle(x, y, r); });
}

void VxTDraw::dashedArc(float x, float y, float r, float from, float to, const VxRGBf& a,
                        const VxRGBf& b) {
    if (!(r > 0.0f))
        return;
    dashed(a, b, [&] { VxDArc(x, y, r, from, to); });
}

void VxTDraw::dashedPolygon(float x, float y, float r, int n, const VxRGBf& a, const VxRGBf& b) {
    if (!(r > 0.0f) || n < 3)
        return;
    dashed(a, b, [&] { polygonLoop(x, y, r, n); });
}

// --- Hollow and outlined forms ----------------------------------------------------

void VxTDraw::hollowLine(float x0, float y0, float x1, float y1, const VxRGBf& a, const VxRGBf& b) {
    for (int pass = 0; pass < 2; ++pass) {
        glLineWidth(pass == 0 ? 3.0f : 1.0f);
        colour(pass == 0 ? a : b);
        glBegin(GL_LINES);
        glVertex2f(x0, y0);
        glVertex2f(x1, y1);
        glEnd();
    }
}

void VxTDraw::hollowCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b) {
    glLineWidth(3.0f);
    colour(a);
    VxDCircle(x, y, r);
    glLineWidth(1.0f);
    colour(b);
    VxDCircle(x, y, r);
}

void VxTDraw::outlinedCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b) {
    if (!(r > 0.0f))
        return;
    colour(a);
    VxDCircleF(x, y, r);
    colour(b);
    VxDCircle(x, y, r);
}

// --- Circles, arcs, polygons ------------------------------------------------------

void VxTDraw::circle(float x, float y, float r) {
    VxDCircle(x, y, r);
}

void VxTDraw::solidCircle(float x, float y, float r) {
    VxDCircleF(x, y, r);
}

void VxTDraw::arc(float x, float y, float r, float from, float to) {
    VxDArc(x, y, r, from, to);
}

void VxTDraw::shadedInCircle(float x, float y, float r) {
    if (!(r > 0.0f))
        return;
    colour(_gShadeLight);
    VxDArc(x, y, r, 45.0f, 225.0f);
    colour(_gShadeDark);
    VxDArc(x, y, r, 225.0f, 405.0f);
}

void VxTDraw::shadedOutCircle(float x, float y, float r) {
    if (!(r > 0.0f))
        return;
    colour(_gShadeLight);
    VxDArc(x, y, r, 225.0f, 405.0f);
    colour(_gShadeDark);
    VxDArc(x, y, r, 45.0f, 225.0f);
}

void VxTDraw::polygon(float x, float y, float r, int n) {
    polygonLoop(x, y, r, n);
}

// --- Arrows -------------------------------------------------------------------------

void VxTDraw::arrow(HvVec2 dir, HvVec2 size) {
    arrow(HvVec2(0.0f, 0.0f), dir, size);
}
void VxTDraw::closedArrow(HvVec2 dir, HvVec2 size) {
    closedArrow(HvVec2(0.0f, 0.0f), dir, size);
}
void VxTDraw::solidArrow(HvVec2 dir, HvVec2 size) {
    solidArrow(HvVec2(0.0f, 0.0f), dir, size);
}
void VxTDraw::outlinedArrow(HvVec2 dir, HvVec2 size, const VxRGBf& a, const VxRGBf& b) {
    outlinedArrow(HvVec2(0.0f, 0.0f), dir, size, a, b);
}

void VxTDraw::arrow(HvVec2 at, HvVec2 dir, HvVec2 size) {
    drawHead(GL_LINE_STRIP, arrowHead(at, dir, size));
}
void VxTDraw::closedArrow(HvVec2 at, HvVec2 dir, HvVec2 size) {
    drawHead(GL_LINE_LOOP, arrowHead(at, dir, size));
}
void VxTDraw::solidArrow(HvVec2 at, HvVec2 dir, HvVec2 size) {
    drawHead(GL_TRIANGLES, arrowHead(at, dir, size));
}
void VxTDraw::outlinedArrow(HvVec2 at, HvVec2 dir, HvVec2 size, const VxRGBf& a, const VxRGBf& b) {
    const Head h = arrowHead(at, dir, size);
    colour(a);
    drawHead(GL_TRIANGLES, h);
    colour(b);
    drawHead(GL_LINE_LOOP, h);
}

// --- Waves ----------------------------------------------------------------------------

void VxTDraw::wave(float amplitude, float length) {
    if (!(std::fabs(length) > 0.0f)) // 0 or NaN
        return;
    const float s = length > 0.0f ? 1.0f : -1.0f;
    const float span = std::fabs(length) < kMaxWaveLength ? std::fabs(length) : kMaxWaveLength;
    glBegin(GL_LINE_STRIP);
    for (int i = 0; i <= static_cast<int>(span); ++i) {
        const double x = i * s;
        glVertex2f(static_cast<float>(x),
                   static_cast<float>(amplitude * std::sin(2.0 * kPi * x / length)));
    }
    glEnd();
}

void VxTDraw::dashedWave(float amplitude, float length, const VxRGBf& a, const VxRGBf& b) {
    dashed(a, b, [&] { wave(amplitude, length); });
}

// --- Symbols and hints ------------------------------------------------------------------

void VxTDraw::lightObject(float x, float y) {
    VxDCircle(x, y, 20.0f);
    outlineBox(x - 14.0f, y - 14.0f, x + 14.0f, y - 46.0f);
    static const float filament[7][2] = {{-18, 0}, {-12, -6}, {-6, 6}, {0, -6},
                                         {6, 6},   {12, -6},  {18, 0}};
    glPushAttrib(GL_CURRENT_BIT);
    glColor3f(1.0f, 1.0f, 0.0f);
    glBegin(GL_LINE_STRIP);
    for (const auto& p : filament)
        glVertex2f(x + p[0], y + p[1]);
    glEnd();
    glPopAttrib();
}

void VxTDraw::drawHint(const char* text, float x, float y) {
    if (!text)
        return;
    colour(_gShadeDark);
    VxGLDrawStr(text, x, y);
    colour(_gHintBoxColour);
    VxGLDrawStr(text, x + 1.0f, y + 1.0f);
}
