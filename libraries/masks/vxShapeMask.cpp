// vxShapeMask.cpp - circle and box masks with soft edges, and the line
// intersection routines that give their row and column intervals.
#include "vxShapeMask.h"

#include <algorithm>
#include <cmath>

namespace {

// Thresholds, as exact powers of two. Below kTinyAspect the aspect is treated
// as 0 (its reciprocal would overflow float); below kTinySize a half-extent
// makes the mask empty; below kTinyCoefficient a quadratic coefficient counts
// as zero.
constexpr float kTinyAspect = 0x1p-125f;
constexpr float kTinySize = 0x1p-119f;
constexpr float kTinyCoefficient = 0x1p-124f;
constexpr float kTinyDirection = 0x1p-119f;

// The far end of the image segment along which intervals are found. Box
// intervals are limited to it; existing effects expect exactly this.
constexpr float kSegmentEnd = 1000.0f;

// Row vector times an affine matrix, summed in this order so that every
// caller (and every worker) gets the same bits.
inline HvVec2 Map(const HvMatrix33& m, const HvVec2& p) {
    return HvVec2(p.x * m.m[0] + p.y * m.m[3] + m.m[6], p.x * m.m[1] + p.y * m.m[4] + m.m[7]);
}

// One edge of the parametric clip: the segment satisfies p t <= q. Narrows
// [t0, t1]; false once it is empty. p == 0 is a segment parallel to the edge,
// kept whole when on the inner side (q >= 0).
inline bool ClipEdge(float p, float q, float& t0, float& t1) {
    if (p == 0.0f)
        return q >= 0.0f;
    const float r = q / p;
    if (p < 0.0f) {
        if (r > t1)
            return false;
        if (r > t0)
            t0 = r;
    } else {
        if (r < t0)
            return false;
        if (r < t1)
            t1 = r;
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------
// Intersection routines
// ---------------------------------------------------------------------------

int VxQuadraticRoots(float& r0, float& r1, float a, float b, float c) {
    if (std::fabs(a) < kTinyCoefficient) {
        if (std::fabs(b) < kTinyCoefficient)
            return 0;
        r0 = r1 = -c / b;
        return 1;
    }
    const float disc = b * b - 4.0f * a * c;
    // A tangent is a miss, on purpose: a row that only grazes a shape has no
    // pixels to process. Written as !(disc > eps) so that NaN is a miss too.
    if (!(disc > kTinyCoefficient))
        return 0;
    // q takes the sign of b so that b and the root never cancel; the second
    // root comes from the product of the roots, c / a = r0 r1.
    const float sign = b < 0.0f ? -1.0f : 1.0f;
    const float q = -0.5f * (b + sign * std::sqrt(disc));
    r0 = q / a;
    r1 = c / q;
    return 2;
}

int VxCircleLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy) {
    const float a = dx * dx + dy * dy;
    const float b = 2.0f * (ax * dx + ay * dy);
    // |a|^2 - 1 cancels badly near the circle in float.
    const float c =
        static_cast<float>(static_cast<double>(ax) * ax + static_cast<double>(ay) * ay - 1.0);
    return VxQuadraticRoots(t0, t1, a, b, c);
}

bool VxBoxLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy, float x0,
                           float y0, float x1, float y1) {
    if (std::fabs(dx) < kTinyDirection && std::fabs(dy) < kTinyDirection)
        return false;
    float lo = 0.0f, hi = 1.0f;
    if (!ClipEdge(-dx, ax - x0, lo, hi) || !ClipEdge(dx, x1 - ax, lo, hi) ||
        !ClipEdge(-dy, ay - y0, lo, hi) || !ClipEdge(dy, y1 - ay, lo, hi))
        return false;
    t0 = lo;
    t1 = hi;
    return true;
}

bool VxBoxLineIntersection(float& t0, float& t1, float ax, float ay, float dx, float dy) {
    return VxBoxLineIntersection(t0, t1, ax, ay, dx, dy, -1.0f, -1.0f, 1.0f, 1.0f);
}

// ---------------------------------------------------------------------------
// VxShapeMask
// ---------------------------------------------------------------------------

VxShapeMask::VxShapeMask()
    : outerBox(), innerBox(), scale(1.0f), aspect(1.0f), hasOuter(0), hasInner(0), dirty(1) {}

VxShapeMask::~VxShapeMask() = default;

void VxShapeMask::setScale(float s) {
    scale = s;
    dirty = 1;
}

void VxShapeMask::setAspect(float a) {
    aspect = a;
    dirty = 1;
}

// ---------------------------------------------------------------------------
// VxCanonicalShapeMask
// ---------------------------------------------------------------------------

VxCanonicalShapeMask::VxCanonicalShapeMask()
    : rotation(0.0f), centreX(0.0f), centreY(0.0f), sizeX(100.0f), sizeY(100.0f), softness(0.01f),
      toCanonical(), toImage(), inverseStale(1) {}

VxCanonicalShapeMask::~VxCanonicalShapeMask() = default;

void VxCanonicalShapeMask::setCentre(float x, float y) {
    centreX = x;
    centreY = y;
    dirty = 1;
}

void VxCanonicalShapeMask::setSize(float x, float y) {
    sizeX = x;
    sizeY = y;
    dirty = 1;
}

void VxCanonicalShapeMask::setRotation(float radians) {
    rotation = radians;
    dirty = 1;
}

void VxCanonicalShapeMask::setSoftness(float s) {
    softness = s;
    dirty = 1;
}

void VxCanonicalShapeMask::setup() {
    if (dirty == 0)
        return;

    // Image -> canonical, each step acting after the ones before it.
    const float ys = std::fabs(aspect) < kTinyAspect ? 0.0f : 1.0f / aspect;
    toCanonical = HvMatrix33();
    toCanonical.Scale(scale, ys);
    toCanonical.Translate(-centreX, -centreY);
    toCanonical.Rotate(-rotation);
    toCanonical.Scale(static_cast<float>(1.0 / static_cast<double>(sizeX)),
                      static_cast<float>(1.0 / static_cast<double>(sizeY)));
    toImage = Invert(toCanonical);
    inverseStale = 0;

    if (std::fabs(sizeX) < kTinySize || std::fabs(sizeY) < kTinySize) {
        hasOuter = 0;
        hasInner = 0;
        dirty = 0;
        return;
    }

    outerBox = HvBoundsToBox(-1.0f, -1.0f, 1.0f, 1.0f, toImage);
    hasOuter = 1;

    if (softness > 1.0f) {
        hasInner = 0;
    } else {
        const float e = 1.0f - coreInset();
        innerBox = HvBoundsToBox(-e, -e, e, e, toImage);
        hasInner = 1;
    }

    dirty = 0;
}

float VxCanonicalShapeMask::ramp(float d) const {
    if (d > softness)
        return 1.0f;
    // Softness 0 on the boundary would be 0 / 0: the boundary is outside.
    if (softness == 0.0f)
        return 0.0f;
    return d / softness;
}

float VxCanonicalShapeMask::coreInset() const {
    return softness;
}

HvVec2 VxCanonicalShapeMask::toCanonicalPoint(const HvVec2& p) const {
    return Map(toCanonical, p);
}

HvVec2 VxCanonicalShapeMask::toImagePoint(const HvVec2& q) const {
    return Map(toImage, q);
}

void VxCanonicalShapeMask::canonicalSegment(const HvVec2& from, const HvVec2& to, HvVec2& a,
                                            HvVec2& d) const {
    a = Map(toCanonical, from);
    d = Map(toCanonical, to) - a;
}

void VxCanonicalShapeMask::imageRange(HvBox1& range, const HvVec2& a, const HvVec2& d, float t0,
                                      float t1, int axis) const {
    const float u = Map(toImage, a + d * t0)[axis];
    const float v = Map(toImage, a + d * t1)[axis];
    range = HvBox1(std::min(u, v), std::max(u, v));
}

// ---------------------------------------------------------------------------
// VxShapeMaskCircle
// ---------------------------------------------------------------------------

VxShapeMaskCircle::VxShapeMaskCircle() = default;
VxShapeMaskCircle::~VxShapeMaskCircle() = default;

bool VxShapeMaskCircle::interval(HvBox1& range, const HvVec2& from, const HvVec2& to, int axis,
                                 bool inner) {
    if (hasOuter == 0)
        return false;
    float radius = 1.0f;
    if (inner) {
        if (softness > 1.0f || hasInner == 0)
            return false;
        radius = 1.0f - coreInset();
        // softness 1: the core is the centre point alone, which a line can
        // only touch; like a tangent, that is a miss.
        if (!(radius > 0.0f))
            return false;
    }
    HvVec2 a, d;
    canonicalSegment(from, to, a, d);
    // The core is the unit circle shrunk by radius: shrinking the line's
    // coordinates instead leaves its parameter t unchanged.
    const HvVec2 as = inner ? a / radius : a, ds = inner ? d / radius : d;
    float t0 = 0.0f, t1 = 0.0f;
    if (VxCircleLineIntersection(t0, t1, as.x, as.y, ds.x, ds.y) == 0)
        return false;
    imageRange(range, a, d, t0, t1, axis);
    return true;
}

bool VxShapeMaskCircle::outerBoundingLine(HvBox1& range, float y) {
    return interval(range, HvVec2(0.0f, y), HvVec2(kSegmentEnd, y), 0, false);
}

bool VxShapeMaskCircle::outerBoundingColumn(HvBox1& range, float x) {
    return interval(range, HvVec2(x, 0.0f), HvVec2(x, kSegmentEnd), 1, false);
}

bool VxShapeMaskCircle::innerBoundingLine(HvBox1& range, float y) {
    return interval(range, HvVec2(0.0f, y), HvVec2(kSegmentEnd, y), 0, true);
}

bool VxShapeMaskCircle::innerBoundingColumn(HvBox1& range, float x) {
    return interval(range, HvVec2(x, 0.0f), HvVec2(x, kSegmentEnd), 1, true);
}

float VxShapeMaskCircle::density(const HvVec2& p) {
    if (hasOuter == 0)
        return 0.0f;
    const HvVec2 q = Map(toCanonical, p);
    const float r2 = q.x * q.x + q.y * q.y;
    if (r2 > 1.0f)
        return 0.0f;
    return ramp(1.0f - std::sqrt(r2));
}

float VxShapeMaskCircle::maxDensity() {
    return softness < 1.0f ? 1.0f : 1.0f / softness;
}

// ---------------------------------------------------------------------------
// VxShapeMaskBox
// ---------------------------------------------------------------------------

VxShapeMaskBox::VxShapeMaskBox() = default;
VxShapeMaskBox::~VxShapeMaskBox() = default;

bool VxShapeMaskBox::interval(HvBox1& range, const HvVec2& from, const HvVec2& to, int axis,
                              bool inner) {
    if (hasOuter == 0)
        return false;
    float e = 1.0f;
    if (inner) {
        if (softness > 1.0f || hasInner == 0)
            return false;
        e = 1.0f - coreInset();
    }
    HvVec2 a, d;
    canonicalSegment(from, to, a, d);
    float t0 = 0.0f, t1 = 0.0f;
    if (!VxBoxLineIntersection(t0, t1, a.x, a.y, d.x, d.y, -e, -e, e, e))
        return false;
    imageRange(range, a, d, t0, t1, axis);
    return true;
}

bool VxShapeMaskBox::outerBoundingLine(HvBox1& range, float y) {
    return interval(range, HvVec2(0.0f, y), HvVec2(kSegmentEnd, y), 0, false);
}

bool VxShapeMaskBox::outerBoundingColumn(HvBox1& range, float x) {
    return interval(range, HvVec2(x, 0.0f), HvVec2(x, kSegmentEnd), 1, false);
}

bool VxShapeMaskBox::innerBoundingLine(HvBox1& range, float y) {
    return interval(range, HvVec2(0.0f, y), HvVec2(kSegmentEnd, y), 0, true);
}

bool VxShapeMaskBox::innerBoundingColumn(HvBox1& range, float x) {
    return interval(range, HvVec2(x, 0.0f), HvVec2(x, kSegmentEnd), 1, true);
}

float VxShapeMaskBox::density(const HvVec2& p) {
    if (hasOuter == 0)
        return 0.0f;
    const HvVec2 q = Map(toCanonical, p);
    const float ax = std::fabs(q.x), ay = std::fabs(q.y);
    if (ax > 1.0f || ay > 1.0f)
        return 0.0f;
    const float d = static_cast<float>(1.0 - static_cast<double>(std::max(ax, ay)));
    return ramp(d);
}

float VxShapeMaskBox::maxDensity() {
    return softness < 1.0f ? 1.0f : 1.0f / softness;
}
