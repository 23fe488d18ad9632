// The GLU quadric helpers, text through the font display lists, the screen
// size, the world-to-window box projection and the state-saving helpers.
#include "vxTDraw.h"

#include <X11/Xlib.h>

#include <cmath>
#include <cstring>

int gVxGlFontBase = 0;
int gVxGlFontSize = 0;

namespace {

GLUquadric* gQuadric = nullptr;
// Whether gQuadric is the library's to delete (not one lent by a caller).
bool gQuadricOwned = false;

// The lists VxGLFreeFont deletes: one per 7-bit character.
constexpr GLsizei kFontLists = 128;

GLUquadric* quadric() {
    VxDInitQuadric();
    return gQuadric;
}

void disk(float x, float y, float inner, float r, GLenum style) {
    GLUquadric* q = quadric();
    if (!q || !(r > 0.0f))
        return;
    glPushMatrix();
    glTranslatef(x, y, 0.0f);
    gluQuadricDrawStyle(q, style);
    gluDisk(q, inner, r, 180, 1);
    glPopMatrix();
}

// GLU measures the start angle clockwise from +y and sweeps clockwise for a
// positive sweep; the library's arcs run counter-clockwise from +x.
void partialDisk(float x, float y, float inner, float r, float from, float to, GLenum style) {
    GLUquadric* q = quadric();
    if (!q || !(r > 0.0f))
        return;
    glPushMatrix();
    glTranslatef(x, y, 0.0f);
    gluQuadricDrawStyle(q, style);
    gluPartialDisk(q, inner, r, 360, 1, 90.0 - from, static_cast<double>(from) - to);
    glPopMatrix();
}

} // namespace

// --- Quadric ----------------------------------------------------------------------

bool VxDInitQuadric() {
    if (!gQuadric) {
        gQuadric = gluNewQuadric();
        gQuadricOwned = gQuadric != nullptr;
        if (gQuadric)
            gluQuadricNormals(gQuadric, GLU_SMOOTH);
    }
    return gQuadric != nullptr;
}

void VxDCleanup() {
    if (gQuadric && gQuadricOwned)
        gluDeleteQuadric(gQuadric);
    gQuadric = nullptr;
    gQuadricOwned = false;
}

GLUquadric* VxDGetMyQuadric() {
    return gQuadric;
}

void VxDSetMyQuadric(GLUquadric* q) {
    if (q == gQuadric)
        return;
    VxDCleanup();
    gQuadric = q;
    gQuadricOwned = false;
}

void VxDInit() {}

void VxDCircle(float x, float y, float r) {
    disk(x, y, r, r, GLU_SILHOUETTE);
}

void VxDCircleF(float x, float y, float r) {
    disk(x, y, 0.0f, r, GLU_FILL);
}

void VxDArc(float x, float y, float r, float from, float to) {
    partialDisk(x, y, r, r, from, to, GLU_SILHOUETTE);
}

void VxDArcF(float x, float y, float r, float from, float to) {
    partialDisk(x, y, 0.0f, r, from, to, GLU_FILL);
}

// --- Text ---------------------------------------------------------------------------

bool VxGLInitFont() {
    gVxGlFontBase = 8;
    return true;
}

void VxGLFreeFont() {
    if (gVxGlFontBase != 0)
        glDeleteLists(static_cast<GLuint>(gVxGlFontBase), kFontLists);
    gVxGlFontBase = 0;
}

void VxGLSetFontSize(int size) {
    gVxGlFontSize = size;
}

void VxGLDrawStr(const char* s, int n, float x, float y) {
    if (gVxGlFontBase == 0 || !s || n <= 0)
        return;
    glRasterPos2f(x, y);
    glPushAttrib(GL_LIST_BIT);
    glListBase(static_cast<GLuint>(gVxGlFontBase));
    glCallLists(n, GL_UNSIGNED_BYTE, s);
    glPopAttrib();
}

void VxGLDrawStr(const char* s, float x, float y) {
    if (s)
        VxGLDrawStr(s, static_cast<int>(std::strlen(s)), x, y);
}

void VxGLGetScreenResolution(int& w, int& h) {
    w = 1280;
    h = 1024;
    Display* d = XOpenDisplay(nullptr);
    if (!d)
        return;
    const int screen = DefaultScreen(d);
    w = DisplayWidth(d, screen);
    h = DisplayHeight(d, screen);
    XCloseDisplay(d);
}

bool VxGLBoxFeedback(HvBox2 world, HvBox2& window) {
    // Zeros stay when no context answers, and then nothing maps (w = 0).
    GLdouble mv[16] = {}, pr[16] = {};
    GLint vp[4] = {};
    glGetDoublev(GL_MODELVIEW_MATRIX, mv);
    glGetDoublev(GL_PROJECTION_MATRIX, pr);
    glGetIntegerv(GL_VIEWPORT, vp);

    // The corners through modelview and projection (column vectors,
    // column-major), divided by w, then the viewport transform. A corner at
    // or behind the eye plane (w <= 0) cannot be mapped to the window.
    const double cx[4] = {world.xmin, world.xmax, world.xmax, world.xmin};
    const double cy[4] = {world.ymin, world.ymin, world.ymax, world.ymax};
    double lo[2] = {HUGE_VAL, HUGE_VAL}, hi[2] = {-HUGE_VAL, -HUGE_VAL};
    for (int k = 0; k < 4; ++k) {
        double e[4], c[4];
        for (int i = 0; i < 4; ++i)
            e[i] = mv[i] * cx[k] + mv[4 + i] * cy[k] + mv[12 + i];
        for (int i = 0; i < 4; ++i)
            c[i] = pr[i] * e[0] + pr[4 + i] * e[1] + pr[8 + i] * e[2] + pr[12 + i] * e[3];
        if (!(c[3] > 0.0))
            return false;
        const double wx = vp[0] + (c[0] / c[3] + 1.0) * 0.5 * vp[2];
        const double wy = vp[1] + (c[1] / c[3] + 1.0) * 0.5 * vp[3];
        if (!std::isfinite(wx) || !std::isfinite(wy))
            return false;
        lo[0] = std::fmin(lo[0], wx);
        hi[0] = std::fmax(hi[0], wx);
        lo[1] = std::fmin(lo[1], wy);
        hi[1] = std::fmax(hi[1], wy);
    }
    const double vx0 = vp[0], vx1 = static_cast<double>(vp[0]) + vp[2];
    const double vy0 = vp[1], vy1 = static_cast<double>(vp[1]) + vp[3];
    lo[0] = std::fmax(lo[0], vx0);
    hi[0] = std::fmin(hi[0], vx1);
    lo[1] = std::fmax(lo[1], vy0);
    hi[1] = std::fmin(hi[1], vy1);
    // Nothing visible: the box misses the viewport, or only touches its edge.
    if (!(lo[0] < hi[0]) || !(lo[1] < hi[1]))
        return false;
    window = HvBox2(static_cast<float>(lo[0]), static_cast<float>(hi[0]), static_cast<float>(lo[1]),
                    static_cast<float>(hi[1]));
    return true;
}

// --- VxTGLList --------------------------------------------------------------------------

VxTGLList::VxTGLList() : id(glGenLists(1)) {
    refCount = 1;
}

VxTGLList::~VxTGLList() {
    if (id != 0 && glIsList(id))
        glDeleteLists(id, 1);
}

void VxTGLList::call() const {
    if (id != 0)
        glCallList(id);
}

// --- Scissor and blending helpers ----------------------------------------------------------

VxTScissorHelper::~VxTScissorHelper() {
    tshUnScissor();
}

void VxTScissorHelper::tshCacheCurrentScissor() {
    wasEnabled = glIsEnabled(GL_SCISSOR_TEST) ? 1 : 0;
    glGetIntegerv(GL_SCISSOR_BOX, box);
}

void VxTScissorHelper::tshScreenScissor(int x0, int y0, int x1, int y1) {
    if (!active)
        tshCacheCurrentScissor();
    glEnable(GL_SCISSOR_TEST);
    glScissor(x0, y0, x1 - x0 + 1, y1 - y0 + 1);
    active = 1;
}

bool VxTScissorHelper::tshWorldScissor(float x0, float y0, float x1, float y1) {
    HvBox2 window;
    if (!VxGLBoxFeedback(HvBox2(x0, x1, y0, y1), window))
        return false;
    if (!active)
        tshCacheCurrentScissor();
    glEnable(GL_SCISSOR_TEST);
    glScissor(static_cast<GLint>(window.xmin), static_cast<GLint>(window.ymin),
              static_cast<GLsizei>(window.xmax - window.xmin),
              static_cast<GLsizei>(window.ymax - window.ymin));
    active = 1;
    return true;
}

void VxTScissorHelper::tshUnScissor() {
    if (!active)
        return;
    glScissor(box[0], box[1], box[2], box[3]);
    if (!wasEnabled)
        glDisable(GL_SCISSOR_TEST);
    active = 0;
}

VxTBlendingHelper::~VxTBlendingHelper() {
    tbhUnsetBlending();
}

void VxTBlendingHelper::tbhSetBlending(int srcFactor, int dstFactor) {
    if (!active) {
        wasEnabled = glIsEnabled(GL_BLEND) ? 1 : 0;
        glGetIntegerv(GL_BLEND_SRC, &src);
        glGetIntegerv(GL_BLEND_DST, &dst);
    }
    glEnable(GL_BLEND);
    glBlendFunc(static_cast<GLenum>(srcFactor), static_cast<GLenum>(dstFactor));
    active = 1;
}

void VxTBlendingHelper::tbhUnsetBlending() {
    if (!active)
        return;
    glBlendFunc(static_cast<GLenum>(src), static_cast<GLenum>(dst));
    if (!wasEnabled)
        glDisable(GL_BLEND);
    active = 0;
}
