// vxFakeTan.h - a table-driven angle function, and rounding to the nearest
// whole number.
//
// VxFakeTan replaces atan2 where an effect needs many angles and can live with
// a coarse one (polar warps, radial gradients): faketan2(y, x) is one division
// and a table lookup. The tables hold the angles of the lattice points on the
// border of a square of half size h: along the top edge (y = h), the bottom
// edge (y = -h), the right (x = h) and the left (x = -h), each indexed from -h
// to h. A direction (x, y) is projected onto the edge it points at, and the
// lookup truncates the position toward zero, so the result is the angle of a
// nearby lattice point: within 1/h radian of atan2(y, x), and exact on the
// axes.
//
//     VxFakeTan t(256);            // h = 129
//     t.normalise(0.0f);           // answers in turns, 0 .. 1
//     float turns = t.faketan2(y, x);
//
// Angles are in radians, in (-pi, pi] as atan2f gives them, until normalise()
// turns every entry into turns in [0, 1), rotated by an offset.
//
// Threading: build and normalise a table outside a fork; faketan2 only reads
// and may then be called by every worker at once.
#ifndef VX_FAKE_TAN_H
#define VX_FAKE_TAN_H

#include "hvMaths.h"
#include "vxExport.h"

#include <cmath>

class VX_API VxFakeTan {
public:
    // The largest n taken; a larger one is held at it (tables of 16 MB).
    static constexpr int kMaxSize = 1 << 20;

    // Tables for n: size = 2 * ((n + 2) / 2) (even, at least n + 1) and
    // half = size / 2. A negative n counts as 0 (size 2, half 1), and n above
    // kMaxSize as kMaxSize. Entry c (c = -half .. half) of each table is
    // bottom: atan2f(-half, c), top: atan2f(half, c), left: atan2f(c, -half),
    // right: atan2f(c, half).
    explicit VxFakeTan(int n);
    VxFakeTan(const VxFakeTan& other);
    VxFakeTan& operator=(const VxFakeTan& other);
    ~VxFakeTan();

    // Every entry becomes (entry + offset) / 2 pi (the sum in float, the
    // division in double), brought into [0, 1) by whole turns: faketan2 then
    // gives turns, rotated by offset radians. A value that rounds to 1 in float
    // is stored as 0, and a NaN or infinite one as 0.
    void normalise(float offset);
    // The same for one angle, in place.
    void normaliseInner(float offset, float& angle) const;

    // Approximately atan2(y, x). Where |y| >= |x|: 0 when y is 0 (so
    // faketan2(0, 0) is 0), else top (y > 0) or bottom (y < 0) at
    // trunc(x * half / |y|). Otherwise 0 when x is 0, else right (x > 0) or
    // left (x < 0) at trunc(y * half / |x|). The quotient is computed in float
    // (as x / |y| * half where x * half would overflow); when it is NaN (both
    // arguments infinite) the diagonal is taken, and it is kept within
    // -half .. half. A NaN argument gives 0.
    float faketan2(float y, float x) const;

    int size;      // table size n', even
    int half;      // h = size / 2; the tables run from -h to h
    float* bottom; // angles along y = -h, bottom[c] for c = -h .. h
    float* top;    // angles along y = h
    float* right;  // angles along x = h
    float* left;   // angles along x = -h

private:
    void allocate();
    float* storage_; // the four tables, size + 2 entries each (size + 1 used)
};

// floor(x + 0.5), the addition in double: halves round up, so Round(-0.5) is
// 0 and Round(2.5) is 3.
inline float Round(float x) {
    return static_cast<float>(std::floor(static_cast<double>(x) + 0.5));
}

// Each component rounded as Round(float).
inline HvVec2 Round(const HvVec2& v) {
    return HvVec2(Round(v.x), Round(v.y));
}

#endif
