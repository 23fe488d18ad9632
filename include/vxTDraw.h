// vxTDraw.h - the widget drawing layer: immediate-mode OpenGL primitives, the
// 2D matrix stack of the widgets, the shared widget colours, text through the
// host's font display lists, and small helpers that save and restore GL state.
//
// Every widget draws through this layer. It draws into whatever GL context is
// current on the calling thread (the host's viewer inside the compositing
// host; the caller's own, e.g. an off-screen one, elsewhere) and never creates
// a context or a window. Every function that issues GL calls needs that
// context current; those that do not are marked "no GL" below. With no
// context current GL calls are silently ignored (libglvnd's behaviour), so
// nothing crashes, but nothing is drawn.
//
// Coordinates: the primitives take coordinates in the current GL space (the
// modelview and projection the caller set up), as floats. Window coordinates
// (scissor boxes, VxGLBoxFeedback) are GL's: pixels from the lower-left corner
// of the viewport's window, y up. Angles of arcs are in degrees, counter-
// clockwise from +x; arrows take a direction vector; the matrix stack's
// matrices follow hvMaths.h (row vectors, radians).
//
// Colours are VxRGBf (three floats, nominally 0..1). A primitive that takes
// no colour draws in the current GL colour; one that takes colours sets them
// with glColor3f and leaves the current colour at the last one it used.
//
// Threading: drawing happens on the host's drawing thread only; the statics
// here (colours, matrix stack, stipple save, quadric, font base) are plain
// unguarded process-wide state, initialised when the library is loaded.
//
// Link: Veltrix::veltrix brings OpenGL (libOpenGL/libGLX through libglvnd)
// and GLU with it; the library itself reads the screen size through Xlib.
#ifndef VX_T_DRAW_H
#define VX_T_DRAW_H

#include "hvMaths.h"
#include "vxAsciiFont.h"
#include "vxColour.h"
#include "vxExport.h"
#include "vxRefCounter.h"

#include <GL/gl.h>
#include <GL/glu.h>

// ---------------------------------------------------------------------------
// Global drawing state
// ---------------------------------------------------------------------------

// Non-zero when the plug-in draws through OpenGL; 0 when the library is
// loaded. Set by the plug-in for the widgets; the primitives draw regardless.
extern VX_API int gVxIsOpenGL;
// The display-list base of the font: 0 (none) until VxGLInitFont.
extern VX_API int gVxGlFontBase;
// The font size last given to VxGLSetFontSize (0 at load); stored for the
// widgets, the lists themselves have one size.
extern VX_API int gVxGlFontSize;

// Widget colours (r, g, b), constant from library load on, gathered here so
// that every widget colour lives in one table.
extern VX_API const VxRGBf k2DMoveTranColour;      // (0.7, 0, 0)
extern VX_API const VxRGBf k2DMoveRotColour;       // (0, 0.6, 0)
extern VX_API const VxRGBf k2DMoveScaleColour;     // (0, 0, 0.9)
extern VX_API const VxRGBf k2DMoveTranColourComp;  // (0, 1, 1)
extern VX_API const VxRGBf k2DMoveRotColourComp;   // (1, 0, 1)
extern VX_API const VxRGBf k2DMoveScaleColourComp; // (1, 1, 0)
extern VX_API const VxRGBf kPolygonColour;         // (0.7, 0.7, 0)
extern VX_API const VxRGBf kLineColour;            // (0.1, 0.1, 0.7)
extern VX_API const VxRGBf kArrowColour;           // (0.1, 0.9, 0.1)
extern VX_API const VxRGBf kCropLColour;           // (0.9, 0.9, 0.1)
extern VX_API const VxRGBf kCropRColour;           // (0.1, 0.9, 0.9)
extern VX_API const VxRGBf kCropTColour;           // (1.0, 0.5, 0.2)
extern VX_API const VxRGBf kCropBColour;           // (0.9, 0.1, 0.9)
extern VX_API const VxRGBf kBoxColour;             // (1, 0, 0)
extern VX_API const VxRGBf kTabColour;             // (0.9, 0.9, 0.9)
extern VX_API const VxRGBf kWaveColour;            // (0.7, 0.7, 0)
extern VX_API const VxRGBf kSunDialSunColour;      // (1.0, 1.0, 0.2)
extern VX_API const VxRGBf kSunDialDialColour;     // (0.85, 0.85, 0)
extern VX_API const VxRGBf kSphereRingColour;      // (0.45, 0.45, 0.45)
extern VX_API const VxRGBf kRegionPickerColour;    // (1, 0, 0)

// ---------------------------------------------------------------------------
// VxTDraw: shared colours, the widgets' matrix stack and the primitives
// ---------------------------------------------------------------------------

class VX_API VxTDraw {
public:
    // Shared colours (set at load; widgets copy or use them).
    static VxRGBf _gBackCol;         // (0.6, 0.6, 0.6) group background
    static VxRGBf _gShadeDark;       // (0.1, 0.1, 0.1) dark edge; shadow of hint text
    static VxRGBf _gShadeLight;      // (0.8, 0.8, 0.8) light edge
    static VxRGBf _gActiveCol;       // (1, 1, 1) a handle while pressed
    static VxRGBf _gPoisedCol;       // (0.6, 0.6, 0.6) a handle while hovered
    static VxRGBf _gHintBoxColour;   // (1, 1, 0) hint text
    static float _gShadeFrac;        // 0.6: the dark half of a coloured shaded outline
    static unsigned short _gStipple; // 0x0F0F: line stipple of the dashed primitives

    // The GL line stipple (pattern, repeat factor) found by the dashed
    // primitive in progress; they put it back when done.
    static int _gOldStipple;
    static int _gOldStippleRepeat;

    // The 2D matrix stack of the widgets, kept beside GL's (no GL). Matrices
    // act on row vectors (hvMaths.h). _gMatrixStack[_gMatrixStackDepth] is the
    // top, depth 0..31; _gMatrixTopInverse is always the inverse of the top,
    // for mapping pen positions back into a widget's own coordinates. At load
    // the top and its inverse are the identity at depth 0.
    static HvMatrix33 _gMatrixStack[32];
    static int _gMatrixStackDepth;
    static HvMatrix33 _gMatrixTopInverse;

    // Depth 0, top and inverse the identity (no GL).
    static void matrixReset();
    // Below depth 31: one level deeper, the new top a copy of the old. At
    // depth 31 (the 33rd push) nothing changes (no GL).
    static void matrixPush();
    // Above depth 0: one level up. At depth 0 nothing changes (no GL).
    static void matrixPop();
    // top = m * top: m acts first, in the widget's local coordinates (no GL).
    static void matrixMult(const HvMatrix33& m);
    // top = T(t) * top, T the translation by t (no GL).
    static void matrixTranslate(const HvVec2& t);
    // glMultMatrixf with the top as a 4x4: its 2D linear part and translation,
    // z row and column of the identity. Needs a current GL context.
    static void matrixPutOntoGLStack();

    // --- Boxes and tabs. (x0, y0) and (x1, y1) are opposite corners; the
    // shaded outlines assume x0 < x1 and y0 < y1 with y up: "in" is light on
    // the bottom and right edges and dark on the top and left (a sunken
    // look), "out" the reverse. The coloured forms use c for the light half
    // and c * _gShadeFrac for the dark half.
    static void solidBox(float x0, float y0, float x1, float y1);
    static void outlineBox(float x0, float y0, float x1, float y1);
    static void shadedInBox(float x0, float y0, float x1, float y1);
    static void shadedOutBox(float x0, float y0, float x1, float y1);
    static void shadedInBox(float x0, float y0, float x1, float y1, const VxRGBf& c);
    static void shadedOutBox(float x0, float y0, float x1, float y1, const VxRGBf& c);
    // A tab is the box with its top right-hand corner cut at 45 degrees by the
    // box height h = y1 - y0: vertices (x0, y0), (x1, y0), (x1 - h, y1),
    // (x0, y1). The shaded tab outlines go light (x0, y0)-(x1, y0)-(x1 - h, y1)
    // and dark (x1 - h, y1)-(x0, y1)-(x0, y0) for "in", the colours swapped
    // for "out". A tab narrower than its height crosses itself; size tabs
    // wider than high.
    static void shadedInTab(float x0, float y0, float x1, float y1);
    static void shadedOutTab(float x0, float y0, float x1, float y1);
    static void solidTab(float x0, float y0, float x1, float y1);

    // --- Dashed lines. stippledLine draws one line with pattern _gStipple,
    // factor 1. The dashed forms draw twice: colour a with _gStipple, then
    // colour b with its complement (0xF0F0), so the outline alternates a and
    // b every 4 pixels. All of them save the GL stipple pattern and factor and
    // put them back, but do not enable GL_LINE_STIPPLE: the caller enables it
    // (without it they draw solid lines, in b on top).
    static void stippledLine(float x0, float y0, float x1, float y1);
    static void dashedLine(float x0, float y0, float x1, float y1, const VxRGBf& a,
                           const VxRGBf& b);
    static void dashedBox(float x0, float y0, float x1, float y1, const VxRGBf& a, const VxRGBf& b);
    static void dashedCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b);
    static void dashedArc(float x, float y, float r, float from, float to, const VxRGBf& a,
                          const VxRGBf& b);
    static void dashedPolygon(float x, float y, float r, int n, const VxRGBf& a, const VxRGBf& b);

    // --- Hollow and outlined forms. The hollow ones draw at line width 3 in
    // a, then at width 1 in b (a core of b in a rim of a) and leave the line
    // width at 1. outlinedCircle fills in a and outlines in b.
    static void hollowLine(float x0, float y0, float x1, float y1, const VxRGBf& a,
                           const VxRGBf& b);
    static void hollowCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b);
    static void outlinedCircle(float x, float y, float r, const VxRGBf& a, const VxRGBf& b);

    // --- Circles, arcs, polygons: nothing for r <= 0 (or NaN). Arcs run from
    // `from` to `to` degrees counter-clockwise from +x.
    static void circle(float x, float y, float r);
    static void solidCircle(float x, float y, float r);
    static void arc(float x, float y, float r, float from, float to);
    // Light arc 45..225 degrees (upper left), dark 225..405 (lower right).
    static void shadedInCircle(float x, float y, float r);
    // Light arc 225..405, dark 45..225.
    static void shadedOutCircle(float x, float y, float r);
    // Line loop of n vertices (n >= 3, else nothing) at radius r around
    // (x, y), the first at angle step / 2 - pi / 2 with step = 2 pi / n, so a
    // flat edge lies at the bottom.
    static void polygon(float x, float y, float r, int n);

    // --- Arrow heads at the origin pointing along dir (rotated by
    // atan2(dir.y, dir.x); a zero dir points along +x). The head's three
    // vertices are (-size.x, size.y), (0, 0), (-size.x, -size.y) before the
    // rotation: arrow draws them as an open line strip, closedArrow as a
    // line loop (a triangle outline), solidArrow as a filled triangle, and
    // outlinedArrow fills in a and then outlines in b. The forms with `at`
    // draw the same head with its tip at `at`.
    static void arrow(HvVec2 dir, HvVec2 size);
    static void closedArrow(HvVec2 dir, HvVec2 size);
    static void solidArrow(HvVec2 dir, HvVec2 size);
    static void outlinedArrow(HvVec2 dir, HvVec2 size, const VxRGBf& a, const VxRGBf& b);
    static void arrow(HvVec2 at, HvVec2 dir, HvVec2 size);
    static void closedArrow(HvVec2 at, HvVec2 dir, HvVec2 size);
    static void solidArrow(HvVec2 at, HvVec2 dir, HvVec2 size);
    static void outlinedArrow(HvVec2 at, HvVec2 dir, HvVec2 size, const VxRGBf& a, const VxRGBf& b);

    // --- A sine wave from the origin along x: a line strip through
    // (i s, amplitude sin(2 pi i s / length)) for i = 0 .. |length|, s the
    // sign of length (one full period, one vertex per unit). Nothing for a
    // length of 0 or NaN; |length| is capped at 65536 vertices.
    static void wave(float amplitude, float length);
    static void dashedWave(float amplitude, float length, const VxRGBf& a, const VxRGBf& b);

    // A lamp symbol at (x, y): a circle of radius 20 and the rectangle
    // (-14, -14)-(14, -46) outlined in the current colour, and a yellow
    // (1, 1, 0) zigzag filament through (-18, 0) ... (18, 0). The current
    // colour is unchanged afterwards.
    static void lightObject(float x, float y);

    // The hint text: in _gShadeDark at (x, y), then in _gHintBoxColour at
    // (x + 1, y + 1), through VxGLDrawStr. Nothing for null text or before
    // VxGLInitFont.
    static void drawHint(const char* text, float x, float y);
};

// ---------------------------------------------------------------------------
// GLU quadric helpers
// ---------------------------------------------------------------------------

// Creates the shared quadric when there is none (smooth normals); true when
// one exists afterwards. Needs no context (GLU allocates only).
VX_API bool VxDInitQuadric();
// Deletes the quadric the library created. One set by VxDSetMyQuadric stays
// its owner's: it is only forgotten.
VX_API void VxDCleanup();
VX_API GLUquadric* VxDGetMyQuadric();
// Shares the caller's quadric (null returns to the library's own, created
// again on first use). The caller keeps ownership.
VX_API void VxDSetMyQuadric(GLUquadric* q);
// Does nothing; kept for plug-ins that call it at start-up.
VX_API void VxDInit();

// Circle outline and disc at (x, y), radius r, 180 slices; nothing for
// r <= 0. They push and pop the GL matrix (one level of its stack).
VX_API void VxDCircle(float x, float y, float r);
VX_API void VxDCircleF(float x, float y, float r);
// Arc outline and pie slice from `from` to `to` degrees (counter-clockwise
// from +x), 360 slices; nothing for r <= 0.
VX_API void VxDArc(float x, float y, float r, float from, float to);
VX_API void VxDArcF(float x, float y, float r, float from, float to);

// ---------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------

// Sets the font base to 8 and returns true. It builds no lists: the display
// lists from 8 on are the host's font (list 8 + c draws character c). Outside
// the compositing host build them with VxStandaloneHostBuildFont. No GL.
VX_API bool VxGLInitFont();
// When a base is set: deletes the 128 lists from it and clears the base.
VX_API void VxGLFreeFont();
// Stores the size in gVxGlFontSize. No GL.
VX_API void VxGLSetFontSize(int size);
// When a base is set: raster position (x, y) in the current GL space (the
// characters' lower-left corner), then n characters of s through the lists,
// the list base saved and restored. Nothing for null s, n <= 0, or before
// VxGLInitFont. The raster position and colour follow GL's rules: the colour
// is the one current at this call, and a position outside the viewport draws
// nothing.
VX_API void VxGLDrawStr(const char* s, int n, float x, float y);
// The same for a nul-terminated string.
VX_API void VxGLDrawStr(const char* s, float x, float y);

// The size of the default screen of the default X display ($DISPLAY), in
// pixels; 1280 x 1024 when no display can be opened. Opens and closes a
// connection on every call. No GL.
VX_API void VxGLGetScreenResolution(int& w, int& h);

// Maps a world box (in the current GL space, z = 0) to window pixels through
// the current modelview, projection and viewport: window is the bounding box
// of the four projected corners, clipped to the viewport. False (window
// untouched) when a corner lies on or behind the eye plane, the result is not
// finite, or nothing of the box lies inside the viewport. A box whose edges
// lie on pixel edges maps to those edges exactly under an orthographic
// pixel projection.
VX_API bool VxGLBoxFeedback(HvBox2 world, HvBox2& window);

// ---------------------------------------------------------------------------
// State-saving helpers
// ---------------------------------------------------------------------------

// One GL display list (glGenLists(1) at construction), shared by reference
// count: the count starts at 1, holders addReference and dropReference, and
// whoever drops the last reference deletes the holder. The list is deleted at
// destruction if glIsList still knows it. Construct and destroy it with the
// context current that owns the list.
class VX_API VxTGLList : public VxRefCounter {
public:
    VxTGLList();
    ~VxTGLList() override;
    VxTGLList(const VxTGLList&) = delete;
    VxTGLList& operator=(const VxTGLList&) = delete;

    GLuint list() const { return id; } // 0 when glGenLists failed
    void call() const;                 // glCallList when the list exists

    GLuint id;
};

// Scissoring that puts back what it found. Every call needs a current GL
// context. A second scissor call while one is active keeps the state saved by
// the first, so tshUnScissor always returns to what the helper found. The
// destructor calls tshUnScissor.
class VX_API VxTScissorHelper {
public:
    VxTScissorHelper() : box{0, 0, 0, 0}, wasEnabled(0), active(0) {}
    ~VxTScissorHelper();
    VxTScissorHelper(const VxTScissorHelper&) = delete;
    VxTScissorHelper& operator=(const VxTScissorHelper&) = delete;

    // Saves the scissor test's enable state and box (does not make the helper
    // active).
    void tshCacheCurrentScissor();
    // Saves, enables the scissor test and scissors to the inclusive pixel
    // corners (x0, y0)-(x1, y1): box (x0, y0, x1 - x0 + 1, y1 - y0 + 1).
    void tshScreenScissor(int x0, int y0, int x1, int y1);
    // Projects the world box (x0..x1, y0..y1) to window pixels with
    // VxGLBoxFeedback; when that succeeds saves, enables and scissors to
    // (wx0, wy0, wx1 - wx0, wy1 - wy0), each truncated to an int (window
    // coordinates are pixel edges, so no + 1), and returns true; otherwise
    // changes nothing and returns false.
    bool tshWorldScissor(float x0, float y0, float x1, float y1);
    // When active: restores the saved box, disables the test if it was
    // disabled before, and clears active.
    void tshUnScissor();

    int box[4];              // the saved scissor box (x, y, width, height)
    unsigned wasEnabled : 1; // the scissor test was on when saved
    unsigned active : 1;     // a scissor of ours is in place
};

// Blending that puts back what it found. Every call needs a current GL
// context. Setting it again while active keeps the state saved first. The
// destructor calls tbhUnsetBlending.
class VX_API VxTBlendingHelper {
public:
    VxTBlendingHelper() : src(GL_ONE), dst(GL_ZERO), wasEnabled(0), active(0) {}
    ~VxTBlendingHelper();
    VxTBlendingHelper(const VxTBlendingHelper&) = delete;
    VxTBlendingHelper& operator=(const VxTBlendingHelper&) = delete;

    // Saves the blend enable state and factors, enables blending with
    // glBlendFunc(src, dst).
    void tbhSetBlending(int srcFactor, int dstFactor);
    // When active: restores the factors, disables blending if it was
    // disabled before, and clears active.
    void tbhUnsetBlending();

    int src, dst;            // the saved source and destination factors
    unsigned wasEnabled : 1; // blending was on when saved
    unsigned active : 1;     // our blending is in place
};

#endif
