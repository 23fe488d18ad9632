// hvMaths.h - fixed-size vectors, boxes and matrices.
//
// The small value types that every geometric part of Veltrix passes around:
//
//   HvVec1 ... HvVec4        float vectors with components x, y, z, w
//   HvBox1 ... HvBox4        axis-aligned boxes, one closed [lo, hi] interval per axis
//   HvMatrix22, 33, 44       square float matrices
//
// plus exported constants of these types (hvIdMat33, hvZeroVec2, hvInitBox2, ...),
// the projective quad-to-quad map VxFourCornerTransform and HvBoundsToBox.
//
// Conventions
//
//  - Points are ROW vectors multiplied on the left: v' = v * M. Hence a
//    translation lives in the last row of a matrix, the product A * B applies A
//    first and B second, and every in-place builder (Translate, Scale, Rotate,
//    RotateX/Y/Z, Shear, Perspective) post-multiplies, M <- M * T, so that the
//    new step acts after the transformation the matrix already holds:
//
//        HvMatrix33 m;                  // identity
//        m.Scale(2, 2).Translate(5, 0); // scale about the origin, then move
//        HvVec2 p = HvVec2(1, 1) * m;   // (7, 2)
//
//  - Matrices are stored row-major: element (row i, column j) is m[i * n + j],
//    also reachable as M(i, j) or M[i][j].
//  - Angles are in radians; their cosine and sine are taken in double precision
//    and rounded to float.
//  - Arithmetic is single precision unless a function says otherwise. Anything
//    that accumulates products (dot products, vector-matrix and matrix products,
//    determinants, builders) runs inside the library, built without fused
//    multiply-add, so results are bit-identical whatever flags a plug-in is
//    compiled with.
//  - Floating-point overflow and division by zero follow IEEE 754 (infinities
//    and NaNs); the few places where that would silently corrupt a result are
//    guarded and documented below.
//  - Indices out of range are clamped into range, never undefined.
//
// All types are plain values: no heap, no virtual functions, no hidden state.
// Each is laid out as consecutive floats (asserted below), so arrays of them can
// be handed to code that expects packed floats. Every function in this header
// may be called from any thread, including inside a processor fork. Nothing
// here writes anything; the few arguments that would divide by zero get the
// safe results documented with them.
#ifndef HV_MATHS_H
#define HV_MATHS_H

#include "vxExport.h"

// Shared implementation of the vector, box and matrix families. Each family is
// written once here as a base template over the concrete type (the concrete type
// supplies its data members; the base supplies the operations), so that HvVec2
// and HvVec4, say, cannot drift apart.
namespace HvDetail {

constexpr int ClampIndex(int i, int n) {
    return i < 0 ? 0 : (i >= n ? n - 1 : i);
}

// Operations common to HvVec1 ... HvVec4. V lists its components in the
// pointer-to-member table V::kAxes, which is what operator[] indexes.
template <class V, int N>
struct VX_API VecOps {
    static constexpr int kSize = N;

    // Component i (0 = x, 1 = y, 2 = z, 3 = w). An out-of-range index is
    // clamped: a negative index gives x, a too-large one the last component.
    float& operator[](int i) { return self().*V::kAxes[ClampIndex(i, N)]; }
    const float& operator[](int i) const { return self().*V::kAxes[ClampIndex(i, N)]; }

    V& operator+=(const V& b) {
        for (int i = 0; i < N; ++i)
            (*this)[i] += b[i];
        return self();
    }
    V& operator-=(const V& b) {
        for (int i = 0; i < N; ++i)
            (*this)[i] -= b[i];
        return self();
    }
    V& operator*=(float s) {
        for (int i = 0; i < N; ++i)
            (*this)[i] *= s;
        return self();
    }
    // Each component is divided by s (not multiplied by 1/s), so the result is
    // correctly rounded; s == 0 gives IEEE infinities or NaNs.
    V& operator/=(float s) {
        for (int i = 0; i < N; ++i)
            (*this)[i] /= s;
        return self();
    }

    friend V operator-(const V& a) {
        V r;
        for (int i = 0; i < N; ++i)
            r[i] = -a[i];
        return r;
    }
    friend V operator+(V a, const V& b) { return a += b; }
    friend V operator-(V a, const V& b) { return a -= b; }
    friend V operator*(V a, float s) { return a *= s; }
    friend V operator*(float s, V a) { return a *= s; }
    friend V operator/(V a, float s) { return a /= s; }

    // Component-wise; a NaN component makes two vectors unequal.
    friend bool operator==(const V& a, const V& b) {
        for (int i = 0; i < N; ++i)
            if (!(a[i] == b[i]))
                return false;
        return true;
    }
    friend bool operator!=(const V& a, const V& b) { return !(a == b); }

private:
    V& self() { return static_cast<V&>(*this); }
    const V& self() const { return static_cast<const V&>(*this); }
};

// Operations common to HvBox1 ... HvBox4, over the matching point type P.
// B lists its interval ends in the tables B::kLo and B::kHi.
template <class B, class P, int N>
struct VX_API BoxOps {
    static constexpr int kSize = N;

    // Lower and upper end of axis i (0 = x ... 3 = w), index clamped as for
    // vectors.
    float& lo(int i) { return self().*B::kLo[ClampIndex(i, N)]; }
    float lo(int i) const { return self().*B::kLo[ClampIndex(i, N)]; }
    float& hi(int i) { return self().*B::kHi[ClampIndex(i, N)]; }
    float hi(int i) const { return self().*B::kHi[ClampIndex(i, N)]; }

    // True when any axis is empty (lo > hi); such a box contains no point.
    bool IsEmpty() const {
        for (int i = 0; i < N; ++i)
            if (lo(i) > hi(i))
                return true;
        return false;
    }

    // Grows the box just enough to contain p. Starting from hvInitBoxN this
    // builds the bounding box of a set of points. NaN components are ignored.
    B& Include(const P& p) {
        for (int i = 0; i < N; ++i) {
            if (p[i] < lo(i))
                lo(i) = p[i];
            if (p[i] > hi(i))
                hi(i) = p[i];
        }
        return self();
    }

    // Grows the box to the smallest box holding both. An empty b changes
    // nothing; if this box is empty it becomes b.
    B& Include(const B& b) {
        if (b.IsEmpty())
            return self();
        if (IsEmpty())
            return self() = b;
        for (int i = 0; i < N; ++i) {
            if (b.lo(i) < lo(i))
                lo(i) = b.lo(i);
            if (b.hi(i) > hi(i))
                hi(i) = b.hi(i);
        }
        return self();
    }

    // Shrinks the box to its overlap with b; the result is empty (IsEmpty())
    // when they do not overlap.
    B& Intersect(const B& b) {
        for (int i = 0; i < N; ++i) {
            if (b.lo(i) > lo(i))
                lo(i) = b.lo(i);
            if (b.hi(i) < hi(i))
                hi(i) = b.hi(i);
        }
        return self();
    }

    // True when lo <= p <= hi on every axis (the intervals are closed).
    bool Contains(const P& p) const {
        for (int i = 0; i < N; ++i)
            if (!(lo(i) <= p[i] && p[i] <= hi(i)))
                return false;
        return true;
    }

    // Extent hi - lo of every axis; an empty axis has size 0.
    P Size() const {
        P s;
        for (int i = 0; i < N; ++i)
            s[i] = hi(i) > lo(i) ? hi(i) - lo(i) : 0.0f;
        return s;
    }

    // Midpoint of every axis, formed as lo/2 + hi/2 so that boxes reaching
    // towards FLT_MAX do not overflow. Meaningless for an empty box.
    P Centre() const {
        P c;
        for (int i = 0; i < N; ++i)
            c[i] = 0.5f * lo(i) + 0.5f * hi(i);
        return c;
    }

    friend bool operator==(const B& a, const B& b) {
        for (int i = 0; i < N; ++i)
            if (!(a.lo(i) == b.lo(i) && a.hi(i) == b.hi(i)))
                return false;
        return true;
    }
    friend bool operator!=(const B& a, const B& b) { return !(a == b); }

private:
    B& self() { return static_cast<B&>(*this); }
    const B& self() const { return static_cast<const B&>(*this); }
};

// Operations common to HvMatrix22, 33 and 44. M holds float m[N * N] and
// defines the order-specific members (Determinant, Adjoint, Invert and the
// product operator*=, which are compiled into the library).
template <class M, int N>
struct VX_API MatrixOps {
    static constexpr int kOrder = N;

    // Element (row, col); both indices are clamped into 0 .. N-1.
    float& operator()(int row, int col) {
        return self().m[ClampIndex(row, N) * N + ClampIndex(col, N)];
    }
    float operator()(int row, int col) const {
        return self().m[ClampIndex(row, N) * N + ClampIndex(col, N)];
    }

    // Pointer to the first element of a row, so that M[i][j] reads element
    // (i, j). The row index is clamped; the column index is a plain array index
    // into the row and must lie in 0 .. N-1 (use M(i, j) for a clamped column).
    float* operator[](int row) { return self().m + ClampIndex(row, N) * N; }
    const float* operator[](int row) const { return self().m + ClampIndex(row, N) * N; }

    M& Transpose() {
        float* m = self().m;
        for (int i = 0; i < N; ++i)
            for (int j = i + 1; j < N; ++j) {
                const float t = m[i * N + j];
                m[i * N + j] = m[j * N + i];
                m[j * N + i] = t;
            }
        return self();
    }

    M& operator+=(const M& b) {
        for (int k = 0; k < N * N; ++k)
            self().m[k] += b.m[k];
        return self();
    }
    M& operator-=(const M& b) {
        for (int k = 0; k < N * N; ++k)
            self().m[k] -= b.m[k];
        return self();
    }

    // Compatibility rule: A / B and A /= B are the plain product A * B, not
    // A * B^-1. Existing plug-ins were written against that behaviour and rely
    // on it, so it must not be "fixed"; to divide by B, multiply by Invert(B).
    M& operator/=(const M& b) { return self() *= b; }

    friend M operator+(M a, const M& b) { return a += b; }
    friend M operator-(M a, const M& b) { return a -= b; }
    friend M operator*(M a, const M& b) { return a *= b; }
    friend M operator/(M a, const M& b) { return a *= b; }

    // Element-wise; a NaN element makes two matrices unequal.
    friend bool operator==(const M& a, const M& b) {
        for (int k = 0; k < N * N; ++k)
            if (!(a.m[k] == b.m[k]))
                return false;
        return true;
    }
    friend bool operator!=(const M& a, const M& b) { return !(a == b); }

    // Free forms of the in-place members: return the changed copy.
    friend M Transpose(const M& a) {
        M r = a;
        return r.Transpose();
    }
    friend M Adjoint(const M& a) {
        M r = a;
        return r.Adjoint();
    }
    friend M Invert(const M& a) {
        M r = a;
        return r.Invert();
    }

private:
    M& self() { return static_cast<M&>(*this); }
    const M& self() const { return static_cast<const M&>(*this); }
};

} // namespace HvDetail

// ---------------------------------------------------------------------------
// Vectors
//
// HvVec1 ... HvVec4 hold 1 to 4 floats, x, y, z, w in that order, zero when
// default-constructed. HvVec4 serves both as a homogeneous point and as a plane
// equation (a, b, c, d). Each has, from its base:
//
//   v[i]                       component i, index clamped into range
//   -v, v + u, v - u, v += u, v -= u
//   v * s, s * v, v / s, v *= s, v /= s   (s a float; / divides each component)
//   v == u, v != u             component-wise
//   HvVecN::kSize              number of components
//
// HvVecN::kAxes is the table of members behind v[i]; it keeps indexing within
// the named members instead of relying on pointer arithmetic across them.
// ---------------------------------------------------------------------------

struct VX_API HvVec1 : HvDetail::VecOps<HvVec1, 1> {
    float x = 0.0f;

    constexpr HvVec1() = default;
    // Explicit, so that a stray float never turns into a vector.
    constexpr explicit HvVec1(float vx) : x(vx) {}

    static constexpr float HvVec1::*kAxes[1] = {&HvVec1::x};
};

struct VX_API HvVec2 : HvDetail::VecOps<HvVec2, 2> {
    float x = 0.0f;
    float y = 0.0f;

    constexpr HvVec2() = default;
    constexpr HvVec2(float vx, float vy) : x(vx), y(vy) {}

    static constexpr float HvVec2::*kAxes[2] = {&HvVec2::x, &HvVec2::y};
};

struct VX_API HvVec3 : HvDetail::VecOps<HvVec3, 3> {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;

    constexpr HvVec3() = default;
    constexpr HvVec3(float vx, float vy, float vz) : x(vx), y(vy), z(vz) {}

    static constexpr float HvVec3::*kAxes[3] = {&HvVec3::x, &HvVec3::y, &HvVec3::z};
};

struct VX_API HvVec4 : HvDetail::VecOps<HvVec4, 4> {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    float w = 0.0f;

    constexpr HvVec4() = default;
    constexpr HvVec4(float vx, float vy, float vz, float vw) : x(vx), y(vy), z(vz), w(vw) {}

    static constexpr float HvVec4::*kAxes[4] = {&HvVec4::x, &HvVec4::y, &HvVec4::z, &HvVec4::w};
};

// Sum of the component products, accumulated in float from x to w.
VX_API float Dot(const HvVec1& a, const HvVec1& b);
VX_API float Dot(const HvVec2& a, const HvVec2& b);
VX_API float Dot(const HvVec3& a, const HvVec3& b);
VX_API float Dot(const HvVec4& a, const HvVec4& b);

// Euclidean length, sqrt(Dot(v, v)) in float: components beyond about 1e19
// overflow to infinity; below about 1e-19 the squares lose precision, and below
// about 4e-23 they vanish.
VX_API float Length(const HvVec1& v);
VX_API float Length(const HvVec2& v);
VX_API float Length(const HvVec3& v);
VX_API float Length(const HvVec4& v);

// v / Length(v). A vector whose length is 0 (or whose squared length underflows
// to 0) is returned as the zero vector rather than as NaNs.
VX_API HvVec1 Normalise(const HvVec1& v);
VX_API HvVec2 Normalise(const HvVec2& v);
VX_API HvVec3 Normalise(const HvVec3& v);
VX_API HvVec4 Normalise(const HvVec4& v);

// Right-handed cross product: Cross(x axis, y axis) = z axis.
VX_API HvVec3 Cross(const HvVec3& a, const HvVec3& b);

// ---------------------------------------------------------------------------
// Boxes
//
// HvBox1 ... HvBox4 hold one closed interval per axis, stored interleaved:
// xmin, xmax, then ymin, ymax, zmin, zmax, wmin, wmax; all zero when
// default-constructed. An axis whose min exceeds its max is empty, and so is the
// box. The constructors take the ends in storage order. Each box has, from its
// base: lo(i), hi(i) (index clamped), IsEmpty(), Include(point),
// Include(box), Intersect(box), Contains(point), Size(), Centre(), ==, !=;
// the point type of HvBoxN is HvVecN.
// ---------------------------------------------------------------------------

struct VX_API HvBox1 : HvDetail::BoxOps<HvBox1, HvVec1, 1> {
    float xmin = 0.0f, xmax = 0.0f;

    constexpr HvBox1() = default;
    constexpr HvBox1(float x0, float x1) : xmin(x0), xmax(x1) {}

    static constexpr float HvBox1::*kLo[1] = {&HvBox1::xmin};
    static constexpr float HvBox1::*kHi[1] = {&HvBox1::xmax};
};

struct VX_API HvBox2 : HvDetail::BoxOps<HvBox2, HvVec2, 2> {
    float xmin = 0.0f, xmax = 0.0f;
    float ymin = 0.0f, ymax = 0.0f;

    constexpr HvBox2() = default;
    constexpr HvBox2(float x0, float x1, float y0, float y1)
        : xmin(x0), xmax(x1), ymin(y0), ymax(y1) {}

    static constexpr float HvBox2::*kLo[2] = {&HvBox2::xmin, &HvBox2::ymin};
    static constexpr float HvBox2::*kHi[2] = {&HvBox2::xmax, &HvBox2::ymax};
};

struct VX_API HvBox3 : HvDetail::BoxOps<HvBox3, HvVec3, 3> {
    float xmin = 0.0f, xmax = 0.0f;
    float ymin = 0.0f, ymax = 0.0f;
    float zmin = 0.0f, zmax = 0.0f;

    constexpr HvBox3() = default;
    constexpr HvBox3(float x0, float x1, float y0, float y1, float z0, float z1)
        : xmin(x0), xmax(x1), ymin(y0), ymax(y1), zmin(z0), zmax(z1) {}

    static constexpr float HvBox3::*kLo[3] = {&HvBox3::xmin, &HvBox3::ymin, &HvBox3::zmin};
    static constexpr float HvBox3::*kHi[3] = {&HvBox3::xmax, &HvBox3::ymax, &HvBox3::zmax};
};

struct VX_API HvBox4 : HvDetail::BoxOps<HvBox4, HvVec4, 4> {
    float xmin = 0.0f, xmax = 0.0f;
    float ymin = 0.0f, ymax = 0.0f;
    float zmin = 0.0f, zmax = 0.0f;
    float wmin = 0.0f, wmax = 0.0f;

    constexpr HvBox4() = default;
    constexpr HvBox4(float x0, float x1, float y0, float y1, float z0, float z1, float w0, float w1)
        : xmin(x0), xmax(x1), ymin(y0), ymax(y1), zmin(z0), zmax(z1), wmin(w0), wmax(w1) {}

    static constexpr float HvBox4::*kLo[4] = {&HvBox4::xmin, &HvBox4::ymin, &HvBox4::zmin,
                                              &HvBox4::wmin};
    static constexpr float HvBox4::*kHi[4] = {&HvBox4::xmax, &HvBox4::ymax, &HvBox4::zmax,
                                              &HvBox4::wmax};
};

// ---------------------------------------------------------------------------
// Matrices
//
// HvMatrix22, 33, 44 hold float m[n * n], row-major, acting on row vectors
// (see the conventions at the top). A default-constructed matrix is the
// IDENTITY, not zero; the element constructor takes all elements in row-major
// order. Each matrix has, from its base:
//
//   M(i, j), M[i][j]           element access (see MatrixOps for clamping)
//   +, -, +=, -=               element-wise
//   A * B, A *= B              product, this on the left: A first, then B
//   A / B, A /= B              ALSO the plain product A * B (compatibility rule)
//   ==, !=                     element-wise; NaN elements compare unequal
//   Transpose()                in place; free Transpose(M) returns a copy
//   Adjoint(M), Invert(M)      free forms of the members, returning a copy
//
// Each element of a product is accumulated in float over k = 0 .. n-1 in order.
//
// The members below change the matrix in place and return it, so calls chain.
// Determinant() leaves the matrix alone.
//
//   Determinant()    cofactor expansion down the first column: 2x2 in float;
//                    3x3 and 4x4 formed in double and rounded to float.
//   Adjoint()        the adjugate (transposed cofactor matrix), in float.
//   Invert()         3x3 and 4x4: adjugate in double divided by the
//                    determinant (3x3 in double, 4x4 the float Determinant()
//                    widened); if |det| < 2^-50 the matrix becomes the
//                    identity, silently. 2x2: r = 1 / det in float and the
//                    identity only if |r| < 2^-50, so a singular 2x2 matrix
//                    yields infinite or NaN elements. Both rules are long
//                    standing behaviour that plug-ins depend on.
//   Orthogonalise()  (3x3, 4x4) modified Gram-Schmidt over the rows in order,
//                    every component of a row taking part (the fourth of a 4x4
//                    row too): each row loses its projections onto the rows
//                    already finished, then is divided by its length; a row of
//                    length 0 becomes a zero row. Free form Orthogonalise(M).
// ---------------------------------------------------------------------------

struct VX_API HvMatrix22 : HvDetail::MatrixOps<HvMatrix22, 2> {
    float m[4];

    constexpr HvMatrix22() : m{1.0f, 0.0f, 0.0f, 1.0f} {}
    constexpr HvMatrix22(float m00, float m01, float m10, float m11) : m{m00, m01, m10, m11} {}

    float Determinant() const;
    HvMatrix22& Adjoint();
    HvMatrix22& Invert();
    HvMatrix22& operator*=(const HvMatrix22& b);
};

// 2D homogeneous transforms of row vectors (x, y, 1); the translation is in
// row 2 (elements 6 and 7).
struct VX_API HvMatrix33 : HvDetail::MatrixOps<HvMatrix33, 3> {
    float m[9];

    constexpr HvMatrix33() : m{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f} {}
    constexpr HvMatrix33(float m00, float m01, float m02, float m10, float m11, float m12,
                         float m20, float m21, float m22)
        : m{m00, m01, m02, m10, m11, m12, m20, m21, m22} {}

    float Determinant() const;
    HvMatrix33& Adjoint();
    HvMatrix33& Invert();
    HvMatrix33& Orthogonalise();
    HvMatrix33& operator*=(const HvMatrix33& b);

    // Builders, each post-multiplying M <- M * T.

    // Move by (tx, ty): every row gains its column 2 times (tx, ty) in
    // columns 0 and 1.
    HvMatrix33& Translate(float tx, float ty);
    // Scale x by sx and y by sy: columns 0 and 1 multiplied.
    HvMatrix33& Scale(float sx, float sy);
    // Rotate by a radians, x' = c x - s y, y' = s x + c y (anticlockwise with y
    // up): new column 0 = c col0 - s col1, new column 1 = s col0 + c col1.
    HvMatrix33& Rotate(float a);
    // Two shears, deliberately asymmetric: first, post-multiplied, x' = x + a y
    // (every row: M[i][0] += a M[i][1]); then, PRE-multiplied, row 0 gains b
    // times row 1 (M[0][j] += b M[1][j]). So the a shear acts after the held
    // transformation and the b shear before it. Shear(0, b) changes row 0 only,
    // Shear(a, 0) column 0 only.
    HvMatrix33& Shear(float a, float b);
};

// 3D homogeneous transforms of row vectors (x, y, z, 1); the translation is in
// row 3 (elements 12, 13, 14).
struct VX_API HvMatrix44 : HvDetail::MatrixOps<HvMatrix44, 4> {
    float m[16];

    constexpr HvMatrix44()
        : m{1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
            0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f} {}
    constexpr HvMatrix44(float m00, float m01, float m02, float m03, float m10, float m11,
                         float m12, float m13, float m20, float m21, float m22, float m23,
                         float m30, float m31, float m32, float m33)
        : m{m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33} {}

    float Determinant() const;
    HvMatrix44& Adjoint();
    HvMatrix44& Invert();
    HvMatrix44& Orthogonalise();
    HvMatrix44& operator*=(const HvMatrix44& b);

    // Builders, each post-multiplying M <- M * T.

    // Move by (tx, ty, tz): every row gains its column 3 times (tx, ty, tz) in
    // columns 0, 1, 2.
    HvMatrix44& Translate(float tx, float ty, float tz);
    // Columns 0, 1, 2 multiplied by sx, sy, sz.
    HvMatrix44& Scale(float sx, float sy, float sz);
    // Rotations by a radians about one axis, with c = cos a, s = sin a:
    //   RotateX: y' = c y - s z, z' = s y + c z
    //   RotateY: x' = c x + s z, z' = c z - s x
    //   RotateZ: x' = c x - s y, y' = s x + c y
    HvMatrix44& RotateX(float a);
    HvMatrix44& RotateY(float a);
    HvMatrix44& RotateZ(float a);
    // Projection onto the plane z = 0 from distance d: w' = w + z / d, z' = 0
    // (every row: M[i][3] += M[i][2] * r with r = 1/d rounded to float, then
    // M[i][2] = 0). d == 0 (either sign) has no reciprocal: the matrix is left
    // unchanged. A d so small that 1/d overflows float follows the rule with
    // an infinite r (infinities, and NaN where they meet a zero).
    HvMatrix44& Perspective(float d);
};

inline HvMatrix33 Orthogonalise(const HvMatrix33& a) {
    HvMatrix33 r = a;
    return r.Orthogonalise();
}
inline HvMatrix44 Orthogonalise(const HvMatrix44& a) {
    HvMatrix44 r = a;
    return r.Orthogonalise();
}

// ---------------------------------------------------------------------------
// Vectors times matrices
// ---------------------------------------------------------------------------

// Row vector times matrix of the same order, v * M: component j is
// sum over k of v[k] * M[k][j], accumulated in float over k in order.
VX_API HvVec2 operator*(const HvVec2& v, const HvMatrix22& m);
VX_API HvVec3 operator*(const HvVec3& v, const HvMatrix33& m);
VX_API HvVec4 operator*(const HvVec4& v, const HvMatrix44& m);

// Points through a homogeneous matrix one order larger: the point is extended
// with w = 1, multiplied, and divided by the resulting w. If that w is exactly 0
// (a point at infinity) the undivided components are returned instead of
// infinities. For an affine HvMatrix33 this is x' = x m00 + y m10 + m20,
// y' = x m01 + y m11 + m21.
VX_API HvVec2 operator*(const HvVec2& p, const HvMatrix33& m);
VX_API HvVec3 operator*(const HvVec3& p, const HvMatrix44& m);

// The projective map carrying the quad `second` onto the quad `first`, in the
// row-vector convention: (x, y, 1) * M, then divide by the third component.
// Each argument points to four corners in Z order, matching the corners
// (0,0), (1,0), (0,1), (1,1) of the unit square, not in cyclic order. Built in
// float from the square-to-quad maps of both quads. Two identical quads give
// the identity up to rounding, the unit square to itself exactly.
// A null argument, or a quad whose projective part would divide by zero (four
// corners on one line that do not form a parallelogram, say), gives the
// identity. A flat parallelogram as `second` has a singular map, which
// inverts to the identity as Invert always does. Any other quad follows the
// construction, even where float arithmetic overflows into infinities or NaN.
VX_API HvMatrix33 VxFourCornerTransform(HvVec2* first, HvVec2* second);

// Bounding box of the rectangle (x0, y0) - (x1, y1) after mapping: its four
// corners are passed through m as points (HvVec2 * HvMatrix33 above) and
// enclosed in the smallest HvBox2 containing them.
VX_API HvBox2 HvBoundsToBox(float x0, float y0, float x1, float y1, const HvMatrix33& m);

// ---------------------------------------------------------------------------
// Constants
//
// Constant-initialised: they hold their values before any code of a plug-in
// runs, including its static constructors.
// ---------------------------------------------------------------------------

extern VX_API const HvMatrix22 hvIdMat22; // identity matrices
extern VX_API const HvMatrix33 hvIdMat33;
extern VX_API const HvMatrix44 hvIdMat44;

extern VX_API const HvVec1 hvZeroVec1; // all components 0
extern VX_API const HvVec2 hvZeroVec2;
extern VX_API const HvVec3 hvZeroVec3;
extern VX_API const HvVec4 hvZeroVec4;

extern VX_API const HvVec1 hvOneVec1; // all components 1
extern VX_API const HvVec2 hvOneVec2;
extern VX_API const HvVec3 hvOneVec3;
extern VX_API const HvVec4 hvOneVec4;

extern VX_API const HvVec1 hvXAxis1; // (1)
extern VX_API const HvVec2 hvXAxis2; // (1, 0)
extern VX_API const HvVec2 hvYAxis2; // (0, 1)
extern VX_API const HvVec3 hvXAxis3; // (1, 0, 0)
extern VX_API const HvVec3 hvYAxis3; // (0, 1, 0)
extern VX_API const HvVec3 hvZAxis3; // (0, 0, 1)
// The axes of 4-space are homogeneous POINTS on the axes, w = 1, not
// directions: hvXAxis4 * M picks up M's translation row as well.
extern VX_API const HvVec4 hvXAxis4; // (1, 0, 0, 1)
extern VX_API const HvVec4 hvYAxis4; // (0, 1, 0, 1)
extern VX_API const HvVec4 hvZAxis4; // (0, 0, 1, 1)
extern VX_API const HvVec4 hvWAxis4; // (0, 0, 0, 1)

// Every axis (FLT_MAX, -FLT_MAX): the empty box that Include grows into a
// bounding box.
extern VX_API const HvBox1 hvInitBox1;
extern VX_API const HvBox2 hvInitBox2;
extern VX_API const HvBox3 hvInitBox3;
extern VX_API const HvBox4 hvInitBox4;

extern VX_API const HvBox1 hvOneBox1; // every axis (0, 1)
extern VX_API const HvBox2 hvOneBox2;
extern VX_API const HvBox3 hvOneBox3;
extern VX_API const HvBox4 hvOneBox4;

extern VX_API const HvBox1 hvUnitBox1; // every axis (-1, 1)
extern VX_API const HvBox2 hvUnitBox2;
extern VX_API const HvBox3 hvUnitBox3;
extern VX_API const HvBox4 hvUnitBox4;

extern VX_API const HvBox1 hvZeroBox1; // every axis (0, 0)
extern VX_API const HvBox2 hvZeroBox2;
extern VX_API const HvBox3 hvZeroBox3;
extern VX_API const HvBox4 hvZeroBox4;

// Layout guarantees: every type is exactly its floats, with nothing added by
// the shared bases.
static_assert(sizeof(HvVec1) == 1 * sizeof(float) && sizeof(HvVec4) == 4 * sizeof(float),
              "HvVec must be packed floats");
static_assert(sizeof(HvVec2) == 2 * sizeof(float) && sizeof(HvVec3) == 3 * sizeof(float),
              "HvVec must be packed floats");
static_assert(sizeof(HvBox1) == 2 * sizeof(float) && sizeof(HvBox4) == 8 * sizeof(float),
              "HvBox must be packed floats");
static_assert(sizeof(HvMatrix33) == 9 * sizeof(float) && sizeof(HvMatrix44) == 16 * sizeof(float),
              "HvMatrix must be packed floats");

#endif
