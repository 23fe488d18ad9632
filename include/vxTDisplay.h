// vxTDisplay.h - display widgets: a plot of a function and a box showing
// part of an image. They draw but do not edit anything.
//
// Threading: the host's user-interface thread only; drawing needs the host's
// GL context.
#ifndef VX_T_DISPLAY_H
#define VX_T_DISPLAY_H

#include "vxExport.h"
#include "vxTObject.h"

// The graph of y = function(x, data) over origin..origin + size: x from
// xRange.x at the left edge to xRange.y at the right, y from yRange.x at the
// bottom to yRange.y at the top, sampled at `samples` + 1 evenly spaced x
// (at least 2 are used) and joined by a line in `colour`. Values beyond the
// range (or NaN) are drawn at the nearer edge (NaN at the bottom). The plot
// sits in a shaded-in frame. It is never hit: the pen passes through it to
// what lies below.
class VX_API VxTFunctionPlot : public VxTObject {
public:
    using Function = float (*)(float x, void* data);

    explicit VxTFunctionPlot(const char* name = nullptr);
    ~VxTFunctionPlot() override;
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override; // null
    void myTDraw() override;
    int myTDrag(HvVec2 pos) override; // false

    // The function to plot (null draws only the frame) and its data (not owned).
    void tfpFunction(Function f, void* data);
    // The y a point at plot-local x lies at, in local units (0..size.y): the
    // mapping myTDraw uses. No GL.
    float tfpPlotY(float localX) const;

    Function function; // null
    void* data;        // the plug-in's; null
    HvVec2 xRange;     // (0, 1)
    HvVec2 yRange;     // (0, 1)
    int samples;       // 64
};

// A box over part of an image of `extent` (width, height) drawing units
// whose centre lies at the origin: the part is the normalised sub-rectangle
// uMin..uMax by vMin..vMax (u across, v up). Its bounds are that part:
// origin = (-width / 2 + width uMin, -height / 2 + height vMin), size =
// (width (uMax - uMin), height (vMax - vMin)), recomputed by resetBounds().
// It draws the GL texture `texture` (when non-zero; not owned) over its
// bounds with texture coordinates (uMin, vMin)..(uMax, vMax), then outlines
// its bounds in `colour`. It is found (blocking what lies below) only while
// visible.
class VX_API VxTImageBox : public VxTObject {
public:
    explicit VxTImageBox(const char* name = nullptr);
    ~VxTImageBox() override;
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    void myTDraw() override;
    int myTDrag(HvVec2 pos) override; // false

    // Sets the bounds from extent and the sub-rectangle, then tells the
    // parent (tChildBoundsChanged).
    void resetBounds();

    float width, height;          // the image extent; 100 x 100
    float uMin, uMax, vMin, vMax; // the part shown; 0, 1, 0, 1
    unsigned int texture;         // GL texture name; 0: none
};

#endif
