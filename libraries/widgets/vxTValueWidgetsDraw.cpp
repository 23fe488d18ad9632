// The value widgets' drawing, through the drawing layer in the host's GL
// context. Every widget draws in its own coordinates (0..size), translated
// to its origin on the GL stack, and leaves the GL state as it found it.
#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include "vxString.h"

#include <cmath>

namespace {

void Colour(const VxRGBf& c) {
    glColor3f(c.r, c.g, c.b);
}

// Translates to `origin` on the GL stack for the widget's local drawing.
struct LocalSpace {
    explicit LocalSpace(const HvVec2& origin) {
        glPushMatrix();
        glTranslatef(origin.x, origin.y, 0.0f);
    }
    ~LocalSpace() { glPopMatrix(); }
};

// Text centred across a widget of height h sits this far up: the glyphs are
// 14 units high.
float TextY(float h) {
    return 0.5f * h - 7.0f;
}

// The widget frame and band of a slider, with blending and smooth lines on
// for the duration.
struct SliderState {
    SliderState() {
        blend.tbhSetBlending(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        smoothWasOn = glIsEnabled(GL_LINE_SMOOTH) == GL_TRUE;
        if (!smoothWasOn)
            glEnable(GL_LINE_SMOOTH);
    }
    ~SliderState() {
        if (!smoothWasOn)
            glDisable(GL_LINE_SMOOTH);
        blend.tbhUnsetBlending();
    }
    VxTBlendingHelper blend;
    bool smoothWasOn;
};

} // namespace

// ---------------------------------------------------------------------------
// Sliders
// ---------------------------------------------------------------------------

void VxTSlider::tsBand(float v, float& lo, float& hi) const {
    const float length = orientation == 0 ? size.y : size.x;
    const float at = v * length;
    lo = std::fmax(0.0f, std::fmin(length, at - 2.0f));
    hi = std::fmax(0.0f, std::fmin(length, at + 2.0f));
}

void VxTSlider::tsBandBox(float lo, float hi, bool fill) const {
    if (orientation == 0) {
        if (fill)
            VxTDraw::solidBox(0.0f, lo, size.x, hi);
        else
            VxTDraw::outlineBox(0.0f, lo, size.x, hi);
    } else if (orientation == 1) {
        if (fill)
            VxTDraw::solidBox(lo, 0.0f, hi, size.y);
        else
            VxTDraw::outlineBox(lo, 0.0f, hi, size.y);
    }
}

void VxTSlider::myTDraw() {
    LocalSpace local(origin);
    SliderState st;
    tsDrawSliderBackground();
    tsDrawLabel();
    float lo, hi;
    tsBand(value, lo, hi);
    if (isActive()) {
        Colour(VxTDraw::_gActiveCol);
        VxTDraw::outlineBox(0.0f, 0.0f, size.x, size.y);
        tsBandBox(lo, hi, true);
        Colour(VxTDraw::_gShadeDark);
    } else {
        if (isPoised())
            VxTDraw::shadedOutBox(0.0f, 0.0f, size.x, size.y);
        else
            VxTDraw::shadedInBox(0.0f, 0.0f, size.x, size.y);
        Colour(colour);
        tsBandBox(lo, hi, true);
        Colour(VxTDraw::_gShadeLight);
    }
    tsBandBox(lo, hi, false);
}

void VxTSlider::tsDrawSliderBackground() {
    if (!transparent)
        return;
    Colour(VxTDraw::_gBackCol);
    VxTDraw::solidBox(0.0f, 0.0f, size.x, size.y);
}

void VxTSlider::tsDrawLabel() {
    if (!label || !labelFlags || (orientation != 0 && orientation != 1))
        return;
    const float x = orientation == 1 ? 4.0f : 0.0f;
    const float y = orientation == 1 ? TextY(size.y) : size.y + 4.0f;
    if (!transparent) {
        glColor3f(0.0f, 0.0f, 0.0f);
        VxGLDrawStr(label, x + 1.0f, y - 1.0f);
    }
    glColor3f(1.0f, 1.0f, 1.0f);
    VxGLDrawStr(label, x, y);
}

void VxTDrawHueRamp(const HvVec2& size, int orientation) {
    if (orientation != 0 && orientation != 1)
        return;
    GLint shade = GL_FLAT;
    glGetIntegerv(GL_SHADE_MODEL, &shade);
    glShadeModel(GL_SMOOTH);
    const float length = orientation == 0 ? size.y : size.x;
    glBegin(GL_QUAD_STRIP);
    for (int i = 0; i <= 36; ++i) {
        Colour(VxHSVtoRGB(static_cast<float>(i) / 36.0f, 1.0f, 1.0f));
        const float at = static_cast<float>(i) * length / 36.0f;
        if (orientation == 0) {
            glVertex2f(0.0f, at);
            glVertex2f(size.x, at);
        } else {
            glVertex2f(at, 0.0f);
            glVertex2f(at, size.y);
        }
    }
    glEnd();
    glShadeModel(static_cast<GLenum>(shade));
}

void VxTSliderColRamp::tsDrawSliderBackground() {
    if (ramp)
        VxTDrawHueRamp(size, orientation);
    else
        VxTSlider::tsDrawSliderBackground();
}

void VxTMultiSliderColRamp::tsDrawSliderBackground() {
    if (ramp)
        VxTDrawHueRamp(size, orientation);
    else
        VxTSlider::tsDrawSliderBackground();
}

void VxTMultiSlider::tsmDrawHandles() {
    for (int i = 0; i < nValues; ++i) {
        float lo, hi;
        tsBand(values[i], lo, hi);
        const bool pressed = isActive() && i == selected;
        Colour(pressed ? VxTDraw::_gActiveCol : colours[i]);
        tsBandBox(lo, hi, true);
        Colour(pressed ? VxTDraw::_gShadeDark : VxTDraw::_gShadeLight);
        tsBandBox(lo, hi, false);
    }
}

void VxTMultiSlider::myTDraw() {
    LocalSpace local(origin);
    SliderState st;
    tsDrawSliderBackground();
    tsDrawLabel();
    if (isActive()) {
        Colour(VxTDraw::_gActiveCol);
        VxTDraw::outlineBox(0.0f, 0.0f, size.x, size.y);
    } else if (isPoised()) {
        VxTDraw::shadedOutBox(0.0f, 0.0f, size.x, size.y);
    } else {
        VxTDraw::shadedInBox(0.0f, 0.0f, size.x, size.y);
    }
    tsmDrawHandles();
}

// ---------------------------------------------------------------------------
// Toggles and tabs
// ---------------------------------------------------------------------------

void VxTToggle::ttDrawBackground() {
    const bool on = ttShownState() != 0;
    Colour(on ? colour : VxTDraw::_gShadeDark);
    VxTDraw::solidBox(0.0f, 0.0f, size.x, size.y);
    if (on)
        VxTDraw::shadedInBox(0.0f, 0.0f, size.x, size.y);
    else
        VxTDraw::shadedOutBox(0.0f, 0.0f, size.x, size.y);
    if (isPoised()) {
        Colour(VxTDraw::_gPoisedCol);
        VxTDraw::outlineBox(-1.0f, -1.0f, size.x + 1.0f, size.y + 1.0f);
    }
}

void VxTToggle::myTDraw() {
    LocalSpace local(origin);
    ttDrawBackground();
    if ((toggleFlags & kVxTToggleShowName) && name) {
        Colour(VxTDraw::_gActiveCol);
        VxGLDrawStr(name, size.x + 4.0f, TextY(size.y));
    }
}

void VxTTabButton::ttDrawBackground() {
    const bool on = ttShownState() != 0 || state != 0;
    Colour(on ? colour : VxTDraw::_gBackCol);
    VxTDraw::solidTab(0.0f, 0.0f, size.x, size.y);
    if (on)
        VxTDraw::shadedOutTab(0.0f, 0.0f, size.x, size.y);
    else
        VxTDraw::shadedInTab(0.0f, 0.0f, size.x, size.y);
    drawNameOffset(4.0f, TextY(size.y));
}

void VxTTabButton::drawNameOffset(float dx, float dy) {
    if (!name)
        return;
    Colour(VxTDraw::_gShadeDark);
    VxGLDrawStr(name, dx, dy);
}

void VxTTabBox::myTDraw() {
    VxTTabButton* selectedTab = currentSelection();
    for (VxListItem<VxTObject*>* item = children.tail; item; item = item->prev) {
        VxTTabButton* tab = dynamic_cast<VxTTabButton*>(item->value);
        if (tab && tab != selectedTab && tab->isVisible())
            tab->myTDraw();
    }
    if (selectedTab && selectedTab->isVisible())
        selectedTab->myTDraw();
}

void VxTMultiToggle::tmtDrawBackground() {
    if (noFrame)
        return;
    Colour(VxTDraw::_gShadeDark);
    VxTDraw::solidBox(0.0f, 0.0f, size.x, size.y);
    if (isActive() && inside)
        VxTDraw::shadedInBox(0.0f, 0.0f, size.x, size.y);
    else
        VxTDraw::shadedOutBox(0.0f, 0.0f, size.x, size.y);
}

void VxTMultiToggle::myTDraw() {
    LocalSpace local(origin);
    tmtDrawBackground();
    if (shown >= 0 && shown < count) {
        Colour(colour);
        lists[shown]->call();
    }
}

// ---------------------------------------------------------------------------
// Display widgets
// ---------------------------------------------------------------------------

void VxTFunctionPlot::myTDraw() {
    LocalSpace local(origin);
    VxTDraw::shadedInBox(0.0f, 0.0f, size.x, size.y);
    if (!function)
        return;
    const int n = samples < 1 ? 1 : samples;
    Colour(colour);
    glBegin(GL_LINE_STRIP);
    for (int i = 0; i <= n; ++i) {
        const float x = size.x * static_cast<float>(i) / static_cast<float>(n);
        glVertex2f(x, tfpPlotY(x));
    }
    glEnd();
}

void VxTImageBox::myTDraw() {
    const float x0 = origin.x, y0 = origin.y, x1 = origin.x + size.x, y1 = origin.y + size.y;
    if (texture) {
        const GLboolean wasOn = glIsEnabled(GL_TEXTURE_2D);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glColor3f(1.0f, 1.0f, 1.0f);
        glBegin(GL_QUADS);
        glTexCoord2f(uMin, vMin);
        glVertex2f(x0, y0);
        glTexCoord2f(uMax, vMin);
        glVertex2f(x1, y0);
        glTexCoord2f(uMax, vMax);
        glVertex2f(x1, y1);
        glTexCoord2f(uMin, vMax);
        glVertex2f(x0, y1);
        glEnd();
        glBindTexture(GL_TEXTURE_2D, 0);
        if (!wasOn)
            glDisable(GL_TEXTURE_2D);
    }
    Colour(colour);
    VxTDraw::outlineBox(x0, y0, x1, y1);
}
