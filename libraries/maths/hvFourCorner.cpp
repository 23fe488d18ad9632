// hvFourCorner.cpp - projective maps between quads, and bounding boxes of
// mapped rectangles.
#include "hvMaths.h"

#include <cmath>
#include <initializer_list>

namespace {

// The projective map of the unit square onto the quad p[0..3] (Z order), in
// column-vector form: rows (a, b, x0), (d, e, y0), (g, h, 1). This is the
// classical square-to-quad construction; a parallelogram needs no projective
// part (g = h = 0). Returns false when the projective part would divide by a
// zero den (the quad is degenerate).
bool SquareToQuad(const HvVec2* p, HvMatrix33& out) {
    const float x0 = p[0].x, y0 = p[0].y, x1 = p[1].x, y1 = p[1].y;
    const float x2 = p[2].x, y2 = p[2].y, x3 = p[3].x, y3 = p[3].y;
    const float sx = x0 - x1 + x3 - x2;
    const float sy = y0 - y1 + y3 - y2;
    if (sx == 0.0f && sy == 0.0f) {
        out = HvMatrix33(x1 - x0, x3 - x1, x0, y1 - y0, y3 - y1, y0, 0.0f, 0.0f, 1.0f);
        return true;
    }
    const float dx1 = x1 - x3, dx2 = x2 - x3;
    const float dy1 = y1 - y3, dy2 = y2 - y3;
    const float den = dx1 * dy2 - dx2 * dy1;
    if (den == 0.0f)
        return false;
    const float g = (sx * dy2 - dx2 * sy) / den;
    const float h = (dx1 * sy - sx * dy1) / den;
    out = HvMatrix33(x1 - x0 + g * x1, x2 - x0 + h * x2, x0, y1 - y0 + g * y1, y2 - y0 + h * y2, y0,
                     g, h, 1.0f);
    return true;
}

} // namespace

HvMatrix33 VxFourCornerTransform(HvVec2* first, HvVec2* second) {
    if (!first || !second)
        return HvMatrix33();
    HvMatrix33 squareToFirst, squareToSecond;
    if (!SquareToQuad(first, squareToFirst) || !SquareToQuad(second, squareToSecond))
        return HvMatrix33();
    // second -> square -> first, still in column-vector form; the transpose
    // turns it into a matrix for row vectors.
    return Transpose(squareToFirst * squareToSecond.Invert());
}

HvBox2 HvBoundsToBox(float x0, float y0, float x1, float y1, const HvMatrix33& m) {
    HvBox2 box = hvInitBox2;
    for (const HvVec2& corner : {HvVec2(x0, y0), HvVec2(x1, y0), HvVec2(x0, y1), HvVec2(x1, y1)})
        box.Include(corner * m);
    return box;
}
