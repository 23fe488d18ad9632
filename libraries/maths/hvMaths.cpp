// hvMaths.cpp - the arithmetic of the fixed-size vectors and matrices, and the
// exported constants.
//
// Everything here that accumulates products does so in a fixed order and is
// compiled without fused multiply-add, so that the same inputs give the same
// bits on every machine and in every worker: several generators store or
// compare results that pass through these functions.
#include "hvMaths.h"

#include <cfloat>
#include <cmath>
#include <limits>

// Narrowing double results to float relies on IEEE rounding (an out-of-range
// value becomes an infinity), as does the 2x2 inverse of a singular matrix.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "IEEE 754 arithmetic required");

namespace {

// Below this determinant an inverse would be dominated by rounding; Invert
// returns the identity instead.
constexpr double kSingular = 0x1p-50;

// term(0) + term(1) + ... + term(N-1), added in float from the left. Starting
// from term(0) rather than from 0 keeps the sign of a zero sum the same as a
// written-out expression would give.
template <int N, class Term>
float SumOfProducts(Term term) {
    float acc = term(0);
    for (int k = 1; k < N; ++k)
        acc += term(k);
    return acc;
}

template <class V>
float DotOf(const V& a, const V& b) {
    return SumOfProducts<V::kSize>([&](int k) { return a[k] * b[k]; });
}

template <class V>
V NormaliseOf(const V& v) {
    const float len = std::sqrt(DotOf(v, v));
    return len == 0.0f ? V() : v / len;
}

// Row vector times matrix, v * M, for a matrix of the vector's order.
template <class V, class M>
V RowTimesMatrix(const V& v, const M& m) {
    constexpr int n = M::kOrder;
    V r;
    for (int j = 0; j < n; ++j)
        r[j] = SumOfProducts<n>([&](int k) { return v[k] * m.m[k * n + j]; });
    return r;
}

// A point P through a matrix one order larger: extend with w = 1 into the
// homogeneous vector H, multiply, then project back by dividing by w. A zero w
// means a point at infinity; the undivided components are the most useful
// answer there, and avoid handing infinities to the caller.
template <class H, class P, class M>
P PointTimesMatrix(const P& p, const M& m) {
    constexpr int n = P::kSize;
    H h;
    for (int i = 0; i < n; ++i)
        h[i] = p[i];
    h[n] = 1.0f;
    h = RowTimesMatrix(h, m);
    P r;
    for (int i = 0; i < n; ++i)
        r[i] = h[n] == 0.0f ? h[i] : h[i] / h[n];
    return r;
}

// The (N-1) x (N-1) matrix left when row r and column c are struck out of a.
template <int N, class T>
void Minor(const T* a, int r, int c, T* out) {
    for (int i = 0, k = 0; i < N; ++i)
        for (int j = 0; j < N; ++j)
            if (i != r && j != c)
                out[k++] = a[i * N + j];
}

// Cofactor expansion down the first column, the signed terms added from the
// top. For N = 3 this is exactly
//   m0 (m4 m8 - m5 m7) - m3 (m8 m1 - m7 m2) + m6 (m1 m5 - m2 m4),
// the order in which this library has always formed 3x3 determinants; keeping
// it keeps them bit-identical.
template <int N, class T>
T ExpandDeterminant(const T* a) {
    if constexpr (N == 1) {
        return a[0];
    } else {
        T sum = 0;
        for (int i = 0; i < N; ++i) {
            T minor[(N - 1) * (N - 1)];
            Minor<N>(a, i, 0, minor);
            const T term = a[i * N] * ExpandDeterminant<N - 1>(minor);
            sum = i == 0 ? term : (i % 2 ? sum - term : sum + term);
        }
        return sum;
    }
}

// Classical adjugate: adj[j][i] is the cofactor of element (i, j).
template <int N, class T>
void Adjugate(const T* a, T* adj) {
    for (int i = 0; i < N; ++i)
        for (int j = 0; j < N; ++j) {
            T minor[(N - 1) * (N - 1)];
            Minor<N>(a, i, j, minor);
            const T d = ExpandDeterminant<N - 1>(minor);
            adj[j * N + i] = (i + j) % 2 ? -d : d;
        }
}

template <class M>
M& AdjugateInFloat(M& mat) {
    constexpr int n = M::kOrder;
    float adj[n * n];
    Adjugate<n>(mat.m, adj);
    for (int k = 0; k < n * n; ++k)
        mat.m[k] = adj[k];
    return mat;
}

// The elements widened to double, for the products that must not round.
template <class M>
struct Wide {
    double m[M::kOrder * M::kOrder];
    explicit Wide(const M& mat) {
        for (int k = 0; k < M::kOrder * M::kOrder; ++k)
            m[k] = mat.m[k];
    }
};

template <class M>
double DeterminantInDouble(const M& mat) {
    return ExpandDeterminant<M::kOrder>(Wide<M>(mat).m);
}

// Inverse as adjugate / determinant, both in double, rounded to float once at
// the end. A determinant below kSingular gives the identity without complaint:
// callers such as the shape masks invert whatever the user typed in and must
// get something usable back.
template <class M>
M& InvertByAdjugate(M& mat, double det) {
    constexpr int n = M::kOrder;
    if (std::fabs(det) < kSingular)
        return mat = M();
    double adj[n * n];
    Adjugate<n>(Wide<M>(mat).m, adj);
    for (int k = 0; k < n * n; ++k)
        mat.m[k] = static_cast<float>(adj[k] / det);
    return mat;
}

// Modified Gram-Schmidt over the rows: each row is made orthogonal to the
// finished rows one at a time, each projection taken from the row as already
// updated (more robust than subtracting all projections of the original row),
// then normalised. A row that vanishes (exactly) stays zero rather than NaN.
template <class M>
M& OrthogonaliseRows(M& mat) {
    constexpr int N = M::kOrder;
    float* m = mat.m;
    const auto rowDot = [](const float* a, const float* b) {
        return SumOfProducts<N>([&](int k) { return a[k] * b[k]; });
    };
    for (int r = 0; r < N; ++r) {
        float* row = m + r * N;
        for (int f = 0; f < r; ++f) {
            const float* done = m + f * N;
            const float p = rowDot(row, done);
            for (int k = 0; k < N; ++k)
                row[k] -= p * done[k];
        }
        const float len = std::sqrt(rowDot(row, row));
        for (int k = 0; k < N; ++k)
            row[k] = len == 0.0f ? 0.0f : row[k] / len;
    }
    return mat;
}

// a <- a * b, each element accumulated over k in order. A temporary keeps
// a *= a correct.
template <class M>
M& MultiplyInPlace(M& a, const M& b) {
    constexpr int n = M::kOrder;
    float r[n * n];
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            r[i * n + j] = SumOfProducts<n>([&](int k) { return a.m[i * n + k] * b.m[k * n + j]; });
    for (int k = 0; k < n * n; ++k)
        a.m[k] = r[k];
    return a;
}

// Post-multiplication by elementary transforms, applied column-wise so that no
// full product is needed.

// M * T with T the translation by t[0 .. N-2]: column j gains t[j] times the
// last column.
template <int N>
void TranslateColumns(float* m, const float* t) {
    for (int i = 0; i < N; ++i)
        for (int j = 0; j < N - 1; ++j)
            m[i * N + j] += m[i * N + N - 1] * t[j];
}

template <int N>
void ScaleColumns(float* m, const float* s) {
    for (int i = 0; i < N; ++i)
        for (int j = 0; j < N - 1; ++j)
            m[i * N + j] *= s[j];
}

// M * R with R the rotation by a in the plane of columns p and q:
// new p = c P - s Q, new q = s P + c Q.
template <int N>
void RotateColumns(float* m, int p, int q, float a) {
    const float c = static_cast<float>(std::cos(static_cast<double>(a)));
    const float s = static_cast<float>(std::sin(static_cast<double>(a)));
    for (int i = 0; i < N; ++i) {
        const float cp = m[i * N + p];
        const float cq = m[i * N + q];
        m[i * N + p] = c * cp - s * cq;
        m[i * N + q] = s * cp + c * cq;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Vectors

// One definition per vector type, all forwarding to the templates above.
#define HV_VECTOR_FUNCTIONS(V)                                                                     \
    float Dot(const V& a, const V& b) {                                                            \
        return DotOf(a, b);                                                                        \
    }                                                                                              \
    float Length(const V& v) {                                                                     \
        return std::sqrt(DotOf(v, v));                                                             \
    }                                                                                              \
    V Normalise(const V& v) {                                                                      \
        return NormaliseOf(v);                                                                     \
    }

HV_VECTOR_FUNCTIONS(HvVec1)
HV_VECTOR_FUNCTIONS(HvVec2)
HV_VECTOR_FUNCTIONS(HvVec3)
HV_VECTOR_FUNCTIONS(HvVec4)

#undef HV_VECTOR_FUNCTIONS

HvVec3 Cross(const HvVec3& a, const HvVec3& b) {
    return HvVec3(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

HvVec2 operator*(const HvVec2& v, const HvMatrix22& m) {
    return RowTimesMatrix(v, m);
}
HvVec3 operator*(const HvVec3& v, const HvMatrix33& m) {
    return RowTimesMatrix(v, m);
}
HvVec4 operator*(const HvVec4& v, const HvMatrix44& m) {
    return RowTimesMatrix(v, m);
}
HvVec2 operator*(const HvVec2& p, const HvMatrix33& m) {
    return PointTimesMatrix<HvVec3>(p, m);
}
HvVec3 operator*(const HvVec3& p, const HvMatrix44& m) {
    return PointTimesMatrix<HvVec4>(p, m);
}

// ---------------------------------------------------------------------------
// Matrices

// The members whose algorithm is the same for every order, defined once for
// each matrix type.
#define HV_MATRIX_MEMBERS(M)                                                                       \
    M& M::Adjoint() {                                                                              \
        return AdjugateInFloat(*this);                                                             \
    }                                                                                              \
    M& M::operator*=(const M& b) {                                                                 \
        return MultiplyInPlace(*this, b);                                                          \
    }

HV_MATRIX_MEMBERS(HvMatrix22)
HV_MATRIX_MEMBERS(HvMatrix33)
HV_MATRIX_MEMBERS(HvMatrix44)

#undef HV_MATRIX_MEMBERS

float HvMatrix22::Determinant() const {
    return ExpandDeterminant<2>(m);
}
float HvMatrix33::Determinant() const {
    return static_cast<float>(DeterminantInDouble(*this));
}
float HvMatrix44::Determinant() const {
    return static_cast<float>(DeterminantInDouble(*this));
}

// Compatibility rule: unlike the larger orders, the singularity test is on the
// reciprocal of the determinant. A singular matrix therefore comes back with
// infinite or NaN elements, and only a determinant above 2^50 gives the
// identity. Plug-ins were tuned against exactly this, so it is kept.
HvMatrix22& HvMatrix22::Invert() {
    const float r = 1.0f / Determinant();
    if (std::fabs(r) < static_cast<float>(kSingular))
        return *this = HvMatrix22();
    *this = HvMatrix22(m[3] * r, -m[1] * r, -m[2] * r, m[0] * r);
    return *this;
}

HvMatrix33& HvMatrix33::Invert() {
    return InvertByAdjugate(*this, DeterminantInDouble(*this));
}

// The determinant is the float one widened back to double (not the unrounded
// double expansion), so Invert agrees with what Determinant() reports.
HvMatrix44& HvMatrix44::Invert() {
    return InvertByAdjugate(*this, static_cast<double>(Determinant()));
}

HvMatrix33& HvMatrix33::Orthogonalise() {
    return OrthogonaliseRows(*this);
}
HvMatrix44& HvMatrix44::Orthogonalise() {
    return OrthogonaliseRows(*this);
}

// ---------------------------------------------------------------------------
// Builders

HvMatrix33& HvMatrix33::Translate(float tx, float ty) {
    const float t[2] = {tx, ty};
    TranslateColumns<3>(m, t);
    return *this;
}

HvMatrix33& HvMatrix33::Scale(float sx, float sy) {
    const float s[2] = {sx, sy};
    ScaleColumns<3>(m, s);
    return *this;
}

HvMatrix33& HvMatrix33::Rotate(float a) {
    RotateColumns<3>(m, 0, 1, a);
    return *this;
}

// The two halves act on opposite sides of the held transformation. That is
// the behaviour plug-ins have always had from Shear, so it stays.
HvMatrix33& HvMatrix33::Shear(float a, float b) {
    for (int i = 0; i < 3; ++i)
        m[i * 3 + 0] += m[i * 3 + 1] * a;
    for (int j = 0; j < 3; ++j)
        m[0 * 3 + j] += b * m[1 * 3 + j];
    return *this;
}

HvMatrix44& HvMatrix44::Translate(float tx, float ty, float tz) {
    const float t[3] = {tx, ty, tz};
    TranslateColumns<4>(m, t);
    return *this;
}

HvMatrix44& HvMatrix44::Scale(float sx, float sy, float sz) {
    const float s[3] = {sx, sy, sz};
    ScaleColumns<4>(m, s);
    return *this;
}

HvMatrix44& HvMatrix44::RotateX(float a) {
    RotateColumns<4>(m, 1, 2, a);
    return *this;
}

// Columns taken as (2, 0): new col2 = c col2 - s col0 and new col0 =
// s col2 + c col0, i.e. x' = c x + s z, z' = c z - s x.
HvMatrix44& HvMatrix44::RotateY(float a) {
    RotateColumns<4>(m, 2, 0, a);
    return *this;
}

HvMatrix44& HvMatrix44::RotateZ(float a) {
    RotateColumns<4>(m, 0, 1, a);
    return *this;
}

HvMatrix44& HvMatrix44::Perspective(float d) {
    // 1 / 0 has no value: a zero distance leaves the matrix as it is. Any other
    // d follows the rule, even where 1 / d rounds to an infinite float.
    if (d == 0.0f)
        return *this;
    const float rf = static_cast<float>(1.0 / static_cast<double>(d));
    for (int i = 0; i < 4; ++i) {
        m[i * 4 + 3] += m[i * 4 + 2] * rf;
        m[i * 4 + 2] = 0.0f;
    }
    return *this;
}

// ---------------------------------------------------------------------------
// Constants. constexpr guarantees constant initialisation: the values sit in
// the library image and are valid before any static constructor runs.

constexpr HvMatrix22 hvIdMat22;
constexpr HvMatrix33 hvIdMat33;
constexpr HvMatrix44 hvIdMat44;

constexpr HvVec1 hvZeroVec1;
constexpr HvVec2 hvZeroVec2;
constexpr HvVec3 hvZeroVec3;
constexpr HvVec4 hvZeroVec4;

constexpr HvVec1 hvOneVec1(1.0f);
constexpr HvVec2 hvOneVec2(1.0f, 1.0f);
constexpr HvVec3 hvOneVec3(1.0f, 1.0f, 1.0f);
constexpr HvVec4 hvOneVec4(1.0f, 1.0f, 1.0f, 1.0f);

constexpr HvVec1 hvXAxis1(1.0f);
constexpr HvVec2 hvXAxis2(1.0f, 0.0f);
constexpr HvVec2 hvYAxis2(0.0f, 1.0f);
constexpr HvVec3 hvXAxis3(1.0f, 0.0f, 0.0f);
constexpr HvVec3 hvYAxis3(0.0f, 1.0f, 0.0f);
constexpr HvVec3 hvZAxis3(0.0f, 0.0f, 1.0f);
constexpr HvVec4 hvXAxis4(1.0f, 0.0f, 0.0f, 1.0f);
constexpr HvVec4 hvYAxis4(0.0f, 1.0f, 0.0f, 1.0f);
constexpr HvVec4 hvZAxis4(0.0f, 0.0f, 1.0f, 1.0f);
constexpr HvVec4 hvWAxis4(0.0f, 0.0f, 0.0f, 1.0f);

constexpr HvBox1 hvInitBox1(FLT_MAX, -FLT_MAX);
constexpr HvBox2 hvInitBox2(FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX);
constexpr HvBox3 hvInitBox3(FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX);
constexpr HvBox4 hvInitBox4(FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX, FLT_MAX,
                            -FLT_MAX);

constexpr HvBox1 hvOneBox1(0.0f, 1.0f);
constexpr HvBox2 hvOneBox2(0.0f, 1.0f, 0.0f, 1.0f);
constexpr HvBox3 hvOneBox3(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f);
constexpr HvBox4 hvOneBox4(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f);

constexpr HvBox1 hvUnitBox1(-1.0f, 1.0f);
constexpr HvBox2 hvUnitBox2(-1.0f, 1.0f, -1.0f, 1.0f);
constexpr HvBox3 hvUnitBox3(-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f);
constexpr HvBox4 hvUnitBox4(-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f);

constexpr HvBox1 hvZeroBox1;
constexpr HvBox2 hvZeroBox2;
constexpr HvBox3 hvZeroBox3;
constexpr HvBox4 hvZeroBox4;
