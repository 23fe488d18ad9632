// vxShapeMask.h - soft-edged circle and box masks, and the line intersection
// routines behind them.
//
// A shape mask is a soft-edged region of the image plane: an ellipse
// (VxShapeMaskCircle) or a rectangle (VxShapeMaskBox), placed, scaled and
// rotated. It answers two kinds of question:
//
//   density(p)              the mask value at image position p, 0 outside the
//                           shape, rising linearly across the soft edge to
//                           maxDensity() inside it
//   outer/innerBounding...  for one row (fixed y) or column (fixed x), the
//                           interval of image positions where the density can
//                           be non-zero (outer) or is at its maximum (inner)
//
// so that an effect can skip the pixels outside a shape and fill its core
// without evaluating the soft edge:
//
//   VxShapeMaskCircle m;
//   m.setCentre(320, 240); m.setSize(100, 60); m.setSoftness(0.1f);
//   m.setup();
//   HvBox1 out, in;
//   if (m.outerBoundingLine(out, y + 0.5f)) {
//       bool core = m.innerBoundingLine(in, y + 0.5f);
//       for each x in [out.xmin, out.xmax]:
//           value = core && in.xmin < x && x < in.xmax ? m.maxDensity()
//                                                      : m.density(HvVec2(x, y + 0.5f));
//   }
//
// Spaces
//   Every shape is evaluated in a canonical space in which it is the unit disc
//   (circle) or the square [-1, 1] x [-1, 1] (box). The 3x3 row-vector matrix
//   toCanonical carries image positions there and toImage (its inverse) back.
//   An image position p is first scaled, x by `scale` and y by 1 / `aspect`,
//   then moved by -centre, rotated by -rotation and divided by the
//   half-extents; so the centre and sizes are in the scaled image units.
//   Rotation is in radians, anticlockwise with y up (HvMatrix33::Rotate).
//
// Soft edge
//   With d the canonical distance inside the boundary (1 - radius for the
//   circle, 1 - max(|x|, |y|) for the box) and s = softness, the density is
//   1 where d > s and d / s elsewhere inside: 0 on the boundary, 1 at
//   canonical depth s. With s above 1 the shape never reaches 1; its peak at
//   the centre is 1 / s = maxDensity(). Keep s positive. The same rules hold
//   below: with s = 0 the density is 1 inside and 0 on the boundary itself
//   (where d / s would be 0 / 0); with s < 0 it is 1 everywhere inside,
//   boundary included, and the core (innerBox, the inner intervals), being
//   the shape shrunk by s, grows beyond the shape to where the density is 0.
//   Nothing is reported.
//
// Setup
//   The setters mark the mask dirty; setup() rebuilds the matrices and the
//   image-space bounding boxes and must run after the last change and before
//   any query. Queries never run setup themselves: they read the geometry of
//   the last setup (a mask never set up is empty). Writing a public parameter
//   directly is allowed too; then set `dirty` by hand.
//
// Limits kept by design
//   - Box intervals are found along the image segment x = 0 .. 1000 of a row
//     (y = 0 .. 1000 of a column) and never reach beyond it; circle intervals
//     are not limited.
//   - A line tangent to a circle counts as a miss; a row or column along a
//     box edge, or through a corner only, counts as a hit (of density 0).
//   - Half-extents below 2^-119 give an empty mask (hasOuter clear).
//   - toImage comes from HvMatrix33::Invert, which returns the identity when
//     the determinant of toCanonical, scale / (aspect sizeX sizeY), is below
//     2^-50: half-extents whose product passes about 1e15 (or a scale near 0)
//     leave the boxes and intervals meaningless, though density still works.
//   - outerBox and innerBox enclose the canonical square mapped to the
//     image; for an ellipse that is a box around it, tight only when the
//     rotation is a multiple of a right angle.
//
// Threading
//   Masks are plain objects without shared state. Configure and set up a mask
//   outside a processor fork; the queries then only read it and may be called
//   by every worker at once. The free intersection routines are pure.
#ifndef VX_SHAPE_MASK_H
#define VX_SHAPE_MASK_H

#include "hvMaths.h"
#include "vxExport.h"

// The root of the masks: the image-space bounding boxes, the scaling applied
// to image positions and the state flags. Abstract.
class VX_API VxShapeMask {
public:
    VxShapeMask();
    virtual ~VxShapeMask();

    // The interval of image x on the row at image y where the density can be
    // non-zero. False, with `range` unchanged, when the row misses the shape.
    virtual bool outerBoundingLine(HvBox1& range, float y) = 0;
    // The same for the column at image x; `range` holds image y.
    virtual bool outerBoundingColumn(HvBox1& range, float x) = 0;
    // The interval of image x on the row at image y where the density is at
    // its maximum. False, with `range` unchanged, when the row misses the core
    // or there is no full-density core.
    virtual bool innerBoundingLine(HvBox1& range, float y) = 0;
    // The same for the column at image x; `range` holds image y.
    virtual bool innerBoundingColumn(HvBox1& range, float x) = 0;
    // The mask density at image position p, from 0 to maxDensity().
    virtual float density(const HvVec2& p) = 0;
    // The largest density the mask reaches.
    virtual float maxDensity() = 0;
    // Rebuilds the derived geometry when dirty; see the file comment.
    virtual void setup() = 0;

    // Horizontal scale applied first to image positions.
    void setScale(float s);
    // Pixel aspect: image y is divided by it. Magnitudes below 2^-125 flatten
    // the mask's y axis to 0 rather than dividing by them.
    void setAspect(float a);

    HvBox2 outerBox;       // image-space box of the whole shape, soft edge included
    HvBox2 innerBox;       // image-space box of the full-density core
    float scale;           // horizontal scale of image positions, 1
    float aspect;          // pixel aspect, image y divided by it, 1
    unsigned hasOuter : 1; // outerBox is valid: the shape is not empty
    unsigned hasInner : 1; // innerBox is valid: there is a full-density core
    unsigned dirty : 1;    // setup() must run before the next query
};

// A mask defined in the canonical space (see the file comment): the shape's
// placement, its soft edge and the matrices between the two spaces. setup()
// is defined here; the leaves define the shape. Abstract.
class VX_API VxCanonicalShapeMask : public VxShapeMask {
public:
    VxCanonicalShapeMask();
    ~VxCanonicalShapeMask() override;

    // Rebuilds, when dirty: toCanonical as the identity followed by
    // Scale(scale, 1 / aspect), Translate(-centre), Rotate(-rotation) and
    // Scale(1 / sizeX, 1 / sizeY); toImage its inverse (the identity when
    // toCanonical is singular, as HvMatrix33::Invert gives); then outerBox,
    // the image box of the canonical square, and innerBox, that of the square
    // shrunk by softness (no core when softness > 1). Half-extents below
    // 2^-119 make the mask empty. Clears dirty.
    void setup() override;

    // Centre of the shape, in scaled image units.
    void setCentre(float x, float y);
    // Half-extents: radii of the ellipse, half-width and half-height of the
    // box, in scaled image units.
    void setSize(float x, float y);
    // Rotation of the shape about its centre, radians.
    void setRotation(float radians);
    // Width of the soft edge as a fraction of the half-extent (canonical
    // units); keep it positive.
    void setSoftness(float s);

    // The image position p in canonical space, through toCanonical.
    HvVec2 toCanonicalPoint(const HvVec2& p) const;
    // The canonical position q in image space, through toImage.
    HvVec2 toImagePoint(const HvVec2& q) const;

    float rotation;            // rotation of the shape, radians, 0
    float centreX, centreY;    // centre, 0, 0
    float sizeX, sizeY;        // half-extents, 100, 100
    float softness;            // soft-edge width, canonical units, 0.01
    HvMatrix33 toCanonical;    // image -> canonical, identity
    HvMatrix33 toImage;        // canonical -> image, the inverse of toCanonical
    unsigned inverseStale : 1; // set at construction, cleared by setup()

protected:
    // The density for canonical depth d inside the boundary (d >= 0): 1 when
    // d > softness, else d / softness, and 0 for d = softness = 0.
    float ramp(float d) const;
    // The amount the inner (full-density) shape is shrunk by: softness.
    float coreInset() const;
    // Maps the image segment from `from` to `to` into canonical space: start
    // a and difference d.
    void canonicalSegment(const HvVec2& from, const HvVec2& to, HvVec2& a, HvVec2& d) const;
    // Sets `range` to the image coordinate `axis` (0 = x, 1 = y) of a + t0 d
    // and a + t1 d, smaller first.
    void imageRange(HvBox1& range, const HvVec2& a, const HvVec2& d, float t0, float t1,
                    int axis) const;
};

// An ellipse: the unit disc of canonical space.
class VX_API VxShapeMaskCircle : public VxCanonicalShapeMask {
public:
    VxShapeMaskCircle();
    ~VxShapeMaskCircle() override;

    // Circle intervals come from the whole line through the row or column,
    // not limited to 0 .. 1000.
    bool outerBoundingLine(HvBox1& range, float y) override;
    bool outerBoundingColumn(HvBox1& range, float x) override;
    bool innerBoundingLine(HvBox1& range, float y) override;
    bool innerBoundingColumn(HvBox1& range, float x) override;
    float density(const HvVec2& p) override;
    float maxDensity() override;

private:
    bool interval(HvBox1& range, const HvVec2& from, const HvVec2& to, int axis, bool inner);
};

// A rectangle: the square [-1, 1] x [-1, 1] of canonical space.
class VX_API VxShapeMaskBox : public VxCanonicalShapeMask {
public:
    VxShapeMaskBox();
    ~VxShapeMaskBox() override;

    // Box intervals come from the segment x = 0 .. 1000 of the row (y = 0 ..
    // 1000 of the column) and never reach beyond it.
    bool outerBoundingLine(HvBox1& range, float y) override;
    bool outerBoundingColumn(HvBox1& range, float x) override;
    bool innerBoundingLine(HvBox1& range, float y) override;
    bool innerBoundingColumn(HvBox1& range, float x) override;
    float density(const HvVec2& p) override;
    float maxDensity() override;

private:
    bool interval(HvBox1& range, const HvVec2& from, const HvVec2& to, int axis, bool inner);
};

// ---------------------------------------------------------------------------
// Intersection routines, all in float. The mask intervals and the warp
// effects use them.
// ---------------------------------------------------------------------------

// The real roots of a t^2 + b t + c, returned in r0 and r1 (not sorted) with
// their number. With eps = 2^-124: |a| < eps is the linear case, no root when
// also |b| < eps, else the one root -c / b in both r0 and r1. Otherwise a
// discriminant b^2 - 4ac at or below eps gives no root (a tangent counts as a
// miss), and above it the two roots q / a and c / q with
// q = -(b + sign(b) sqrt(disc)) / 2, sign(0) = +1, which avoids cancellation.
// A NaN discriminant gives no root. r0 and r1 are written only when there are
// roots.
VX_API int VxQuadraticRoots(float& r0, float& r1, float a, float b, float c);

// The parameters t where the line a + t d meets the unit circle, |a + t d| = 1,
// as VxQuadraticRoots of (|d|^2, 2 a.d, |a|^2 - 1), the last formed in double.
// Returns the number of roots; 0 is a miss (tangents included).
VX_API int VxCircleLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy);

// Clips the segment a + t d, 0 <= t <= 1, to the box (x0, y0) - (x1, y1)
// (x0 <= x1, y0 <= y1), edges x0, x1, y0, y1 in turn narrowing [t0, t1]
// (Liang-Barsky). True with t0 <= t1 when part of the segment, possibly one
// point, lies in the closed box; false when none does or when |dx| and |dy|
// are both below 2^-119. t0 and t1 are written only on success.
VX_API bool VxBoxLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy,
                                  float x0, float y0, float x1, float y1);
// The same against the square (-1, -1) - (1, 1).
VX_API bool VxBoxLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy);

#endif
