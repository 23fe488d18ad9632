// Property and brute-force tests of the fixed-size vectors, boxes and matrices against slow,
// obviously correct models, over random inputs from fixed seeds.
#include "hvMaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <tuple>

namespace {

const float kNaN = std::nanf("");
constexpr float kEps = FLT_EPSILON;
using Real = long double;

// Calls f with a default-constructed value of each type in turn.
template <class... Ts, class F>
void ForEach(F f) {
    (f(Ts()), ...);
}
template <int N>
using VecN = std::tuple_element_t<N - 1, std::tuple<HvVec1, HvVec2, HvVec3, HvVec4>>;

float Uniform(std::mt19937& g, float lo, float hi) {
    return std::uniform_real_distribution<float>(lo, hi)(g);
}
template <class V>
V RandomVec(std::mt19937& g, float lo = -10, float hi = 10, bool integers = false) {
    V v;
    for (int i = 0; i < V::kSize; ++i)
        v[i] = integers ? std::round(Uniform(g, lo, hi)) : Uniform(g, lo, hi);
    return v;
}
template <class M>
M RandomMatrix(std::mt19937& g, float lo = -2, float hi = 2, bool integers = false) {
    M a;
    for (float& e : a.m)
        e = integers ? std::round(Uniform(g, lo, hi)) : Uniform(g, lo, hi);
    return a;
}
// diag(a, b, c, c, ...)
template <class M>
M Diag(float a, float b, float c = 1) {
    M r;
    for (int i = 0; i < M::kOrder; ++i)
        r(i, i) = i == 0 ? a : (i == 1 ? b : c);
    return r;
}
// A float sum of term(0 .. n-1) is within k epsilons, relative to the sum of |terms|, of exact.
template <class F>
void ExpectSum(float got, float k, int n, F term) {
    long double sum = 0, mag = 0;
    for (int i = 0; i < n; ++i)
        sum += term(i), mag += std::fabs(term(i));
    EXPECT_NEAR(got, sum, k * kEps * mag);
}

// Leibniz formula: the determinant and the sum of |terms|, the scale of its rounding error.
template <class M>
std::pair<long double, long double> Leibniz(const M& a) {
    constexpr int n = M::kOrder;
    int p[] = {0, 1, 2, 3}; // the first n are permuted
    long double sum = 0, mag = 0;
    do {
        long double t = 1;
        for (int i = 0; i < n; ++i) {
            t *= a(i, p[i]);
            for (int j = i + 1; j < n; ++j)
                t = p[i] > p[j] ? -t : t;
        }
        sum += t, mag += std::fabs(t);
    } while (std::next_permutation(p, p + n));
    return {sum, mag};
}

template <class M>
void ExpectNear(const M& a, const M& b, float tol) {
    for (int k = 0; k < M::kOrder * M::kOrder; ++k)
        EXPECT_NEAR(a.m[k], b.m[k], tol) << "element " << k;
}

} // namespace

TEST(HvVec, IndexingDotNormaliseCrossAndPoints) {
    std::mt19937 g(11);
    ForEach<HvVec1, HvVec2, HvVec3, HvVec4>([&](auto v) {
        using V = decltype(v);
        constexpr int n = V::kSize;
        for (int trial = 0; trial < 200; ++trial) {
            const V a = RandomVec<V>(g), b = RandomVec<V>(g);
            ExpectSum(Dot(a, b), 4, n, [&](int k) { return Real(a[k]) * b[k]; });
            EXPECT_LT(Length(Normalise(a) * Length(a) - a), 8 * kEps * Length(a));
        }
        // Zero, or a squared length that underflows, gives zero.
        EXPECT_TRUE(Normalise(V()) == V() && Normalise(RandomVec<V>(g) * 1e-30f) == V());
        EXPECT_EQ(v, v - v);                                    // zero by default
        EXPECT_TRUE(&v[n + 9] == &v[n - 1] && &v[-4] == &v[0]); // clamped
        v[n - 1] = kNaN;
        EXPECT_NE(v, v);
    });
    for (int trial = 0; trial < 200; ++trial) {
        const HvVec3 a = RandomVec<HvVec3>(g), b = RandomVec<HvVec3>(g), c = Cross(a, b);
        for (int i = 0; i < 3; ++i) { // c[i] = a[j] b[k] - a[k] b[j]
            const int j = (i + 1) % 3, k = (i + 2) % 3;
            ExpectSum(c[i], 2, 2, [&](int t) { return Real(t ? -a[k] : a[j]) * b[t ? j : k]; });
        }
        // Points are extended with w = 1, multiplied and divided by the new w.
        const HvMatrix33 m3 = RandomMatrix<HvMatrix33>(g);
        const HvMatrix44 m4 = RandomMatrix<HvMatrix44>(g);
        const HvVec3 h = HvVec3(a.x, a.y, 1) * m3;
        const HvVec4 h4 = HvVec4(a.x, a.y, a.z, 1) * m4;
        EXPECT_EQ(HvVec2(a.x, a.y) * m3, HvVec2(h.x / h.z, h.y / h.z));
        EXPECT_EQ(a * m4, HvVec3(h4.x / h4.w, h4.y / h4.w, h4.z / h4.w));
    }
    HvMatrix33 toInfinity; // w = x - 2; at w = 0 the point comes back undivided
    toInfinity(0, 2) = 1, toInfinity(2, 2) = -2;
    EXPECT_EQ(HvVec2(2, 5) * toInfinity, HvVec2(2, 5));
}

// Boxes of every dimension; integer corners and probes often meet exactly on faces.
template <class B>
void CheckBoxes(const B& init, std::mt19937& g) {
    using V = decltype(init.Centre());
    constexpr int n = V::kSize;
    EXPECT_TRUE(init.IsEmpty() && init.Size() == V()); // size 0, not -infinity
    for (int trial = 0; trial < 50; ++trial) {
        V pts[8];
        B a = init, b = init, hull = init;
        for (int k = 0; k < 8; ++k)
            hull.Include(pts[k] = RandomVec<V>(g, -4, 4, true)), (k < 4 ? a : b).Include(pts[k]);
        for (int i = 0; i < n; ++i) { // exactly the extremes on every axis
            const auto [lo, hi] = std::minmax_element(
                pts, pts + 8, [i](const V& p, const V& q) { return p[i] < q[i]; });
            EXPECT_TRUE(hull.lo(i) == (*lo)[i] && hull.hi(i) == (*hi)[i]);
        }
        EXPECT_EQ(B(a).Include(b), hull);
        B odd = a; // empty on one axis only: adds nothing, or is replaced
        odd.lo(n - 1) = odd.hi(n - 1) + 1;
        EXPECT_TRUE(B(b).Include(odd) == b && odd.Include(b) == b);
        const B both = B(a).Intersect(b);
        for (int probe = 0; probe < 40; ++probe) {
            const V p = RandomVec<V>(g, -5, 5, true);
            EXPECT_EQ(a.Contains(p), B(a).Include(p) == a); // closed intervals
            EXPECT_EQ(both.Contains(p), a.Contains(p) && b.Contains(p));
        }
        EXPECT_TRUE(&a.lo(-1) == &a.lo(0) && &a.hi(n + 3) == &a.hi(n - 1)); // clamped
    }
}

TEST(HvBox, AllDimensions) {
    std::mt19937 g(15);
    CheckBoxes(hvInitBox1, g), CheckBoxes(hvInitBox2, g);
    CheckBoxes(hvInitBox3, g), CheckBoxes(hvInitBox4, g);
    const HvBox2 box(-2, 4, 1, 2);
    EXPECT_TRUE(box.Centre() == HvVec2(1, 1.5f) && box.Size() == HvVec2(6, 1));
    EXPECT_EQ(HvBox1(FLT_MAX, FLT_MAX).Centre()[0], FLT_MAX); // no overflow
    EXPECT_FALSE(hvUnitBox2.Contains(HvVec2(kNaN, 0)));
}

TEST(HvMatrix, ProductsDeterminantAdjointInverseAndOrthogonalise) {
    std::mt19937 g(21);
    ForEach<HvMatrix22, HvMatrix33, HvMatrix44>([&](auto tag) {
        using M = decltype(tag);
        constexpr int n = M::kOrder;
        for (int trial = 0; trial < 300; ++trial) {
            const M a = RandomMatrix<M>(g), b = RandomMatrix<M>(g), p = a * b;
            const VecN<n> v = RandomVec<VecN<n>>(g);
            for (int j = 0; j < n; ++j) {
                ExpectSum((v * a)[j], n, n, [&](int k) { return Real(v[k]) * a(k, j); });
                for (int i = 0; i < n; ++i)
                    ExpectSum(p(i, j), n, n, [&](int k) { return Real(a(i, k)) * b(k, j); });
            }
            EXPECT_EQ(Transpose(p), Transpose(b) * Transpose(a)); // same products, same order
            M sq = a, quo = a; // A / B is the plain product, whatever B is
            EXPECT_TRUE((sq *= sq) == a * a && a / b == p && (quo /= b) == p);
            const auto [det, mag] = Leibniz(a);
            EXPECT_NEAR(a.Determinant(), det, 8 * kEps * mag);
            // Integers up to 2^10 are exact in double throughout, so the double determinant
            // rounded once is the exact one rounded (a float 3x3 expansion would not be).
            const M z = RandomMatrix<M>(g, -1024, 1024, true);
            EXPECT_EQ(z.Determinant(), static_cast<float>(Leibniz(z).first));
            // Small integers keep every product exact: A adj(A) = det(A) I.
            const M s = RandomMatrix<M>(g, -9, 9, true);
            const float d = s.Determinant();
            EXPECT_TRUE(s * Adjoint(s) == Diag<M>(d, d, d) && Adjoint(s) * s == Diag<M>(d, d, d));
            const M w = RandomMatrix<M>(g, -1, 1) + Diag<M>(5, -5, 5); // well conditioned
            ExpectNear(w * Invert(w), M(), 8 * kEps);
            if constexpr (n > 2) {
                const M q = Orthogonalise(w), l = w * Transpose(q);
                ExpectNear(q * Transpose(q), M(), 8 * kEps);
                // Gram-Schmidt in row order: A = L Q, L lower triangular, positive diagonal.
                for (int i = 0; i < n; ++i) {
                    EXPECT_GT(l(i, i), 0.0f);
                    for (int j = i + 1; j < n; ++j)
                        EXPECT_NEAR(l(i, j), 0.0f, 32 * kEps);
                }
            }
        }
        if constexpr (n > 2) {
            M dep = Diag<M>(2, 0, 3); // row 1 a multiple of row 0: zeroed, and the rest go on
            dep(1, 0) = 5;
            EXPECT_EQ(Orthogonalise(dep), Diag<M>(1, 0, 1));
        }
    });
}

TEST(HvMatrix, InvertSingularThresholds) {
    const float tiny = 0x1p-25f; // tiny^2 = 2^-50
    // Orders 3 and 4 give the identity below |det| = 2^-50, not at it. Order 3 divides by
    // the double determinant, order 4 by the float one, and 4097^2 is not a float.
    ForEach<HvMatrix33, HvMatrix44>([&](auto id) {
        using M = decltype(id);
        const float singular[][2] = {{1e-8f, 1e-8f}, {tiny, tiny / 2}, {2, 0}};
        for (const auto& c : singular)
            EXPECT_EQ(Invert(Diag<M>(c[0], c[1])), id) << c[0] << " " << c[1];
        EXPECT_EQ(Invert(Diag<M>(tiny, tiny)), Diag<M>(1 / tiny, 1 / tiny));
        const float k = 4097;
        const double det = M::kOrder == 3 ? double(k) * k : double(k * k);
        EXPECT_EQ(Invert(Diag<M>(k, k))(0, 0), static_cast<float>(k / det));
    });
    // Order 2 tests r = 1/det: singular gives non-finite elements, only det > 2^50 identity.
    for (float e : Invert(HvMatrix22(1, 2, 2, 4)).m)
        EXPECT_FALSE(std::isfinite(e));
    EXPECT_EQ(Invert(HvMatrix22(0x1p26f, 0, 0, 0x1p25f)), hvIdMat22);
    EXPECT_EQ(Invert(HvMatrix22(0x1p25f, 0, 0, 0x1p25f)), HvMatrix22(tiny, 0, 0, tiny));
    EXPECT_EQ(Invert(HvMatrix22(1e-8f, 0, 0, 1e-8f))(0, 0), 1e8f);
}

// Each builder must equal post-multiplication by its elementary matrix, written
// out here; the float operations are the same, so the comparison is exact.
TEST(HvMatrix, BuildersPostMultiplyElementaryMatrices) {
    using M3 = HvMatrix33;
    using M4 = HvMatrix44;
    std::mt19937 g(25);
    for (int trial = 0; trial < 200; ++trial) {
        const M3 m3 = RandomMatrix<M3>(g);
        const M4 m4 = RandomMatrix<M4>(g);
        const float a = Uniform(g, -7, 7), b = Uniform(g, -3, 3), t = Uniform(g, -3, 3);
        const float c = float(std::cos(double(a))), s = float(std::sin(double(a)));
        const float r = float(1.0 / double(t));
        EXPECT_EQ(M3(m3).Translate(a, b), m3 * M3(1, 0, 0, 0, 1, 0, a, b, 1));
        EXPECT_EQ(M3(m3).Scale(a, b), m3 * Diag<M3>(a, b));
        EXPECT_EQ(M3(m3).Rotate(a), m3 * M3(c, s, 0, -s, c, 0, 0, 0, 1));
        // Shear: x' = x + a y after the held transform, row 0 += b row 1 before.
        EXPECT_EQ(M3(m3).Shear(a, b),
                  M3(1, b, 0, 0, 1, 0, 0, 0, 1) * (m3 * M3(1, 0, 0, a, 1, 0, 0, 0, 1)));
        EXPECT_EQ(M4(m4).Translate(a, b, t),
                  m4 * M4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, a, b, t, 1));
        EXPECT_EQ(M4(m4).Scale(a, b, t), m4 * M4(a, 0, 0, 0, 0, b, 0, 0, 0, 0, t, 0, 0, 0, 0, 1));
        EXPECT_EQ(M4(m4).RotateX(a), m4 * M4(1, 0, 0, 0, 0, c, s, 0, 0, -s, c, 0, 0, 0, 0, 1));
        EXPECT_EQ(M4(m4).RotateY(a), m4 * M4(c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1));
        EXPECT_EQ(M4(m4).RotateZ(a), m4 * M4(c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
        EXPECT_EQ(M4(m4).Perspective(t), m4 * M4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, r, 0, 0, 0, 1));
    }
    // Meaning: anticlockwise rotations, steps applied in call order.
    const float q = float(M_PI / 2);
    EXPECT_LT(Length(hvXAxis2 * M3().Rotate(q) - hvYAxis2), 1e-7f);
    EXPECT_EQ(HvVec2(1, 1) * M3().Scale(2, 2).Translate(5, 0), HvVec2(7, 2));
    EXPECT_EQ(HvVec3(4, 6, 2) * M4().Perspective(2), HvVec3(2, 3, 0));
    // A zero distance has no reciprocal: unchanged, silently. A subnormal one
    // follows the rule with r = +inf.
    const M4 before = M4().RotateX(0.3f);
    testing::internal::CaptureStderr();
    for (float zero : {0.0f, -0.0f})
        EXPECT_EQ(M4(before).Perspective(zero), before);
    const M4 tiny = M4().Perspective(1e-40f);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(tiny.m[11], INFINITY);
    EXPECT_EQ(tiny.m[10], 0.0f);
}

TEST(HvProjective, FourCornerTransformAndBoundsToBox) {
    std::mt19937 g(31);
    for (int trial = 0; trial < 500; ++trial) {
        // Convex quads in Z order; every fourth an exact parallelogram (the affine branch).
        const bool exact = trial % 4 == 0;
        HvVec2 quad[2][4];
        for (auto& qd : quad) {
            const HvVec2 o = RandomVec<HvVec2>(g, -10, 10, exact),
                         u = RandomVec<HvVec2>(g, -1, 1, exact) + HvVec2(3, 0),
                         v = RandomVec<HvVec2>(g, -1, 1, exact) + HvVec2(0, 3);
            const HvVec2 jitter = exact ? HvVec2() : RandomVec<HvVec2>(g, -0.5f, 0.5f);
            qd[0] = o, qd[1] = o + u, qd[2] = o + v, qd[3] = o + u + v + jitter;
        }
        const HvMatrix33 m = VxFourCornerTransform(quad[0], quad[1]);
        for (int k = 0; k < 4; ++k)
            EXPECT_LT(Length(quad[1][k] * m - quad[0][k]), 2e-4f) << "corner " << k;
        ExpectNear(VxFourCornerTransform(quad[1], quad[1]), hvIdMat33, 1e-5f);
        // The mapped rectangle spanned by corners 0 and 3 of the quad.
        const HvVec2 p0 = quad[1][0], p1 = quad[1][3];
        HvBox2 rect = hvInitBox2;
        for (const HvVec2& c : {p0, p1, HvVec2(p0.x, p1.y), HvVec2(p1.x, p0.y)})
            rect.Include(c * m);
        EXPECT_EQ(HvBoundsToBox(p0.x, p0.y, p1.x, p1.y, m), rect);
    }
    HvVec2 square[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    EXPECT_EQ(VxFourCornerTransform(square, square), hvIdMat33);
    HvVec2 line[4] = {{0, 0}, {1, 0}, {3, 0}, {2, 0}}; // not a parallelogram, den = 0
    HvVec2* const bad[][2] = {{nullptr, square}, {square, nullptr}, {square, line}, {line, square}};
    testing::internal::CaptureStderr();
    for (auto& args : bad)
        EXPECT_EQ(VxFourCornerTransform(args[0], args[1]), hvIdMat33);
    // den overflows to NaN rather than being 0: the construction runs.
    HvVec2 huge[4] = {{0, 0}, {1, 0}, {0, 1}, {1e30f, -1e30f}};
    EXPECT_NE(VxFourCornerTransform(huge, square), hvIdMat33);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HvConstants, ValuesLayoutAndAccess) {
    EXPECT_EQ(hvXAxis4 + hvYAxis4 + hvZAxis4, HvVec4(1, 1, 1, 3)); // w = 1 on every axis
    EXPECT_TRUE(hvWAxis4 == HvVec4(0, 0, 0, 1) && hvXAxis3 + hvYAxis3 + hvZAxis3 == hvOneVec3);
    EXPECT_TRUE(hvIdMat22 == HvMatrix22(1, 0, 0, 1) && hvIdMat44 == HvMatrix44());
    EXPECT_EQ(hvInitBox2, HvBox2(FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX));
    EXPECT_TRUE(HvBox2(1, 2, 3, 4).lo(1) == 3 && HvBox2(1, 2, 3, 4).hi(0) == 2); // interleaved
    const HvVec4 w;
    EXPECT_TRUE(&w[0] == &w.x && &w[1] == &w.y && &w[2] == &w.z && &w[3] == &w.w);
    const HvMatrix33 a(1, 2, 3, 4, 5, 6, 7, 8, kNaN);
    EXPECT_TRUE(a(1, 2) == 6 && a[2][0] == 7 && a(-3, 7) == 3 && a[5][0] == 7); // clamped
    EXPECT_NE(a, a); // a NaN in the last element
}
