// Property and brute-force tests of the fixed-size vectors, boxes and matrices.
// Results are compared with slow, obviously correct models in long double
// (Leibniz determinants, explicit products with elementary matrices) over many
// random inputs from fixed seeds.
#include "hvMaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace {

using std::isfinite;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kEps = FLT_EPSILON;

template <class F>
void ForEachVec(F f) {
    f(HvVec1()), f(HvVec2()), f(HvVec3()), f(HvVec4());
}
template <class F>
void ForEachMatrix(F f) {
    f(HvMatrix22()), f(HvMatrix33()), f(HvMatrix44());
}

float Uniform(std::mt19937& g, float lo, float hi) {
    return std::uniform_real_distribution<float>(lo, hi)(g);
}
template <class V>
V RandomVec(std::mt19937& g, float lo = -10, float hi = 10) {
    V v;
    for (int i = 0; i < V::kSize; ++i)
        v[i] = Uniform(g, lo, hi);
    return v;
}
template <class M>
M RandomMatrix(std::mt19937& g, float lo = -2, float hi = 2, bool integers = false) {
    M a;
    for (float& e : a.m)
        e = integers ? std::round(Uniform(g, lo, hi)) : Uniform(g, lo, hi);
    return a;
}
// Diagonally dominant, hence comfortably invertible.
template <class M>
M RandomWellConditioned(std::mt19937& g) {
    M a = RandomMatrix<M>(g, -1, 1);
    for (int i = 0; i < M::kOrder; ++i)
        a(i, i) += (i % 2 ? -1.0f : 1.0f) * (M::kOrder + 1.0f);
    return a;
}

// Leibniz formula over all permutations; also returns the sum of |terms|, the
// scale against which rounding errors are judged.
template <class M>
long double Leibniz(const M& a, long double* sumAbs = nullptr) {
    constexpr int n = M::kOrder;
    int p[n];
    std::iota(p, p + n, 0);
    long double sum = 0, mag = 0;
    do {
        long double t = 1;
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j)
                t = p[i] > p[j] ? -t : t;
        for (int i = 0; i < n; ++i)
            t *= a.m[i * n + p[i]];
        sum += t;
        mag += std::fabs(t);
    } while (std::next_permutation(p, p + n));
    if (sumAbs)
        *sumAbs = mag;
    return sum;
}

// Exact sum of term(0..n-1) and the sum of their magnitudes, against which a
// float accumulation's rounding error is judged.
template <class F>
std::pair<long double, long double> ExactSum(int n, F term) {
    long double sum = 0, mag = 0;
    for (int k = 0; k < n; ++k)
        sum += term(k), mag += std::fabs(term(k));
    return {sum, mag};
}

template <class M>
void ExpectNear(const M& a, const M& b, float tol) {
    for (int k = 0; k < M::kOrder * M::kOrder; ++k)
        EXPECT_NEAR(a.m[k], b.m[k], tol) << "element " << k;
}

template <class M>
M ScaledIdentity(float s) {
    M r;
    for (int i = 0; i < M::kOrder; ++i)
        r(i, i) = s;
    return r;
}

} // namespace

TEST(HvVec, IndexingArithmeticAndEquality) {
    std::mt19937 g(11);
    ForEachVec([&](auto tag) {
        using V = decltype(tag);
        constexpr int n = V::kSize;
        const V a = RandomVec<V>(g), b = RandomVec<V>(g);
        V acc = a;
        EXPECT_TRUE((acc += b) == a + b && 3.0f * a == a * 3.0f);
        for (int i = 0; i < n; ++i) // every component, none skipped or mixed up
            EXPECT_TRUE((a - b)[i] == a[i] - b[i] && (-a / 2.0f)[i] == -a[i] / 2.0f);
        V v;
        EXPECT_EQ(v, a - a); // zero by default
        v[n + 9] = 7;        // clamped to the last component
        EXPECT_EQ(v[n - 1], 7.0f);
        v[-4] = 3; // clamped to x
        EXPECT_EQ(v[0], 3.0f);
        v[n - 1] = kNaN;
        EXPECT_NE(v, v);
    });
    HvVec4 w(1, 2, 3, 4);
    EXPECT_TRUE(&w[0] == &w.x && &w[1] == &w.y && &w[2] == &w.z && &w[3] == &w.w);
}

TEST(HvVec, DotLengthNormaliseAndCross) {
    std::mt19937 g(12);
    ForEachVec([&](auto tag) {
        using V = decltype(tag);
        for (int trial = 0; trial < 200; ++trial) {
            const V a = RandomVec<V>(g), b = RandomVec<V>(g);
            const auto [dot, mag] =
                ExactSum(V::kSize, [&](int k) { return (long double)a[k] * b[k]; });
            EXPECT_NEAR(Dot(a, b), dot, 4 * kEps * mag);
            EXPECT_NEAR(Length(Normalise(a)), 1.0f, 4 * kEps);
            EXPECT_LT(Length(Normalise(a) * Length(a) - a), 8 * kEps * Length(a));
        }
        EXPECT_EQ(Normalise(V()), V());
        EXPECT_EQ(Normalise(RandomVec<V>(g) * 1e-30f), V()); // squared length underflows
    });
    EXPECT_TRUE(Cross(hvXAxis3, hvYAxis3) == hvZAxis3 && Cross(hvYAxis3, hvZAxis3) == hvXAxis3);
    for (int trial = 0; trial < 200; ++trial) {
        const HvVec3 a = RandomVec<HvVec3>(g), b = RandomVec<HvVec3>(g), c = Cross(a, b);
        EXPECT_EQ(c, -Cross(b, a));
        const float scale = Length(a) * Length(b);
        EXPECT_LT(std::fabs(Dot(c, a)) + std::fabs(Dot(c, b)), 32 * kEps * scale * scale);
        // Lagrange's identity |a x b|^2 + (a.b)^2 = |a|^2 |b|^2.
        EXPECT_NEAR(Dot(c, c) + Dot(a, b) * Dot(a, b), scale * scale, 16 * kEps * scale * scale);
    }
}

TEST(HvVec, TimesMatrix) {
    std::mt19937 g(13);
    for (int trial = 0; trial < 200; ++trial) {
        const HvVec4 v = RandomVec<HvVec4>(g);
        const HvMatrix44 m = RandomMatrix<HvMatrix44>(g);
        for (int j = 0; j < 4; ++j) {
            const auto [exact, mag] =
                ExactSum(4, [&](int k) { return (long double)v[k] * m(k, j); });
            EXPECT_NEAR((v * m)[j], exact, 4 * kEps * mag);
            EXPECT_EQ((hvXAxis4 * m)[j], m(0, j) + m(3, j)); // w = 1 picks up the last row
        }
        // The 2D point form on an affine matrix is x m00 + y m10 + m20, exactly.
        HvMatrix33 a = RandomMatrix<HvMatrix33>(g);
        a(0, 2) = a(1, 2) = 0, a(2, 2) = 1;
        const HvVec2 p = RandomVec<HvVec2>(g), q = p * a;
        EXPECT_EQ(q, HvVec2(p.x * a(0, 0) + p.y * a(1, 0) + a(2, 0),
                            p.x * a(0, 1) + p.y * a(1, 1) + a(2, 1)));
        // Projective points are divided by w.
        const HvVec3 p3 = RandomVec<HvVec3>(g);
        const HvVec4 h = HvVec4(p3.x, p3.y, p3.z, 1) * m;
        EXPECT_EQ(p3 * m, HvVec3(h.x / h.w, h.y / h.w, h.z / h.w));
    }
    HvMatrix33 toInfinity;
    toInfinity(0, 2) = 1, toInfinity(2, 2) = -2; // w = x - 2
    EXPECT_EQ(HvVec2(2, 5) * toInfinity, HvVec2(2, 5));
    EXPECT_EQ(HvVec2(1, 1) * HvMatrix22(0, 1, -1, 0), HvVec2(-1, 1));
}

// Boxes of every dimension, written once over the box type.
template <class B, class V>
void CheckBoxes(const B& init, std::mt19937& g) {
    constexpr int n = V::kSize;
    EXPECT_TRUE(init.IsEmpty());
    for (int trial = 0; trial < 50; ++trial) {
        B hull = init;
        V pts[8];
        for (V& p : pts)
            hull.Include(p = RandomVec<V>(g));
        for (const V& p : pts)
            EXPECT_TRUE(hull.Contains(p));
        for (int i = 0; i < n; ++i) {
            EXPECT_TRUE(std::any_of(pts, pts + 8, [&](const V& p) { return p[i] == hull.lo(i); }));
            EXPECT_TRUE(std::any_of(pts, pts + 8, [&](const V& p) { return p[i] == hull.hi(i); }));
        }
        // Intersection and union against point membership, on a grid of
        // integer points that often lands exactly on faces.
        B a = init, b = init;
        a.Include(RandomVec<V>(g, -3, 3)).Include(RandomVec<V>(g, -3, 3));
        b.Include(RandomVec<V>(g, -3, 3)).Include(RandomVec<V>(g, -3, 3));
        B both = a, either = a;
        both.Intersect(b);
        either.Include(b);
        for (int probe = 0; probe < 40; ++probe) {
            V p = RandomVec<V>(g, -4, 4);
            for (int i = 0; i < n; ++i)
                p[i] = std::round(p[i]);
            EXPECT_EQ(both.Contains(p), a.Contains(p) && b.Contains(p));
            EXPECT_TRUE(either.Contains(p) || !(a.Contains(p) || b.Contains(p)));
        }
        EXPECT_EQ(B(either).Include(init), either); // an empty box adds nothing
        EXPECT_EQ(B(init).Include(a), a);
        B odd = a; // empty on one axis only
        odd.lo(n - 1) = odd.hi(n - 1) + 1;
        EXPECT_EQ(odd.Include(b), b);
    }
    B e = init;
    EXPECT_EQ(e.Size(), V()); // not -infinity
    e.lo(-1) = 1, e.hi(n + 3) = 3;
    EXPECT_TRUE(e.lo(0) == 1 && e.hi(n - 1) == 3);
}

TEST(HvBox, AllDimensions) {
    std::mt19937 g(15);
    CheckBoxes<HvBox1, HvVec1>(hvInitBox1, g);
    CheckBoxes<HvBox2, HvVec2>(hvInitBox2, g);
    CheckBoxes<HvBox3, HvVec3>(hvInitBox3, g);
    CheckBoxes<HvBox4, HvVec4>(hvInitBox4, g);
    EXPECT_EQ(HvBox2(-2, 4, 1, 2).Centre(), HvVec2(1, 1.5f));
    EXPECT_EQ(HvBox2(-2, 4, 1, 2).Size(), HvVec2(6, 1));
    EXPECT_EQ(HvBox1(FLT_MAX, FLT_MAX).Centre()[0], FLT_MAX); // no overflow
    EXPECT_FALSE(hvUnitBox2.Contains(HvVec2(kNaN, 0)));
    EXPECT_TRUE(HvBox2(0, 1, 0, 1).Intersect(HvBox2(2, 3, 0, 1)).IsEmpty());
}

TEST(HvMatrix, ProductsTransposeAndDivision) {
    std::mt19937 g(21);
    ForEachMatrix([&](auto tag) {
        using M = decltype(tag);
        constexpr int n = M::kOrder;
        for (int trial = 0; trial < 200; ++trial) {
            const M a = RandomMatrix<M>(g), b = RandomMatrix<M>(g);
            const M p = a * b;
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) {
                    const auto [exact, mag] =
                        ExactSum(n, [&](int k) { return (long double)a(i, k) * b(k, j); });
                    EXPECT_NEAR(p(i, j), exact, n * kEps * mag);
                }
            // Same products in the same order, so these hold exactly.
            EXPECT_EQ(Transpose(p), Transpose(b) * Transpose(a));
            EXPECT_TRUE(a * M() == a && M() * a == a);
            M sq = a;
            EXPECT_EQ(sq *= sq, a * a);
            // Dividing is the plain product, whatever B is.
            const M w = RandomWellConditioned<M>(g);
            M q = a;
            EXPECT_TRUE(a / w == a * w && a / b == a * b && (q /= w) == a * w);
            EXPECT_TRUE((a + b)(n - 1, 0) == a(n - 1, 0) + b(n - 1, 0) &&
                        (a - b)(0, n - 1) == a(0, n - 1) - b(0, n - 1));
        }
    });
}

TEST(HvMatrix, DeterminantAgainstLeibniz) {
    std::mt19937 g(22);
    ForEachMatrix([&](auto tag) {
        using M = decltype(tag);
        for (int trial = 0; trial < 300; ++trial) {
            // Integers up to 2^10: every intermediate is exact in double, so a
            // determinant formed in double and rounded once equals the exact
            // one rounded to float (a float expansion of a 3x3 would not).
            const M z = RandomMatrix<M>(g, -1024, 1024, true);
            EXPECT_EQ(z.Determinant(), static_cast<float>(Leibniz(z)));
            const M a = RandomMatrix<M>(g), b = RandomMatrix<M>(g);
            long double mag, magAB;
            const long double detA = Leibniz(a, &mag);
            EXPECT_NEAR(a.Determinant(), detA, 8 * kEps * mag);
            Leibniz(a * b, &magAB);
            EXPECT_NEAR((a * b).Determinant(), (long double)a.Determinant() * b.Determinant(),
                        32 * kEps * magAB);
        }
    });
}

TEST(HvMatrix, AdjointAndInverse) {
    std::mt19937 g(23);
    ForEachMatrix([&](auto tag) {
        using M = decltype(tag);
        for (int trial = 0; trial < 300; ++trial) {
            // Small integers keep every product exact: A adj(A) = det(A) I.
            const M z = RandomMatrix<M>(g, -9, 9, true);
            const M detI = ScaledIdentity<M>(z.Determinant());
            EXPECT_TRUE(z * Adjoint(z) == detI && Adjoint(z) * z == detI);
            const M a = RandomWellConditioned<M>(g);
            const M inv = Invert(a);
            ExpectNear(a * inv, M(), 8 * kEps);
            M self = a;
            EXPECT_EQ(self.Invert(), inv);
        }
    });
    // Orders 3 and 4 give the identity below |det| = 2^-50, not at it.
    const float tiny = 0x1p-25f;
    EXPECT_EQ(Invert(HvMatrix33(1e-8f, 0, 0, 0, 1e-8f, 0, 0, 0, 1)), hvIdMat33);
    EXPECT_EQ(Invert(HvMatrix33(2, 0, 0, 0, 3, 0, 0, 0, 0)), hvIdMat33);
    EXPECT_EQ(Invert(HvMatrix33(tiny, 0, 0, 0, tiny / 2, 0, 0, 0, 1)), hvIdMat33);
    EXPECT_EQ(Invert(HvMatrix33(tiny, 0, 0, 0, tiny, 0, 0, 0, 1)),
              HvMatrix33(1 / tiny, 0, 0, 0, 1 / tiny, 0, 0, 0, 1));
    HvMatrix44 d4;
    d4(0, 0) = d4(1, 1) = 1e-8f;
    EXPECT_EQ(Invert(d4), hvIdMat44);
    d4(0, 0) = d4(1, 1) = tiny;
    EXPECT_EQ(Invert(d4)(1, 1), 1 / tiny);
    // Order 3 divides by the double determinant, order 4 by the float one:
    // 4097^2 is not a float.
    const float k = 4097;
    EXPECT_EQ(Invert(HvMatrix33(k, 0, 0, 0, k, 0, 0, 0, 1))(0, 0), static_cast<float>(1.0 / k));
    EXPECT_EQ(Invert(HvMatrix44(k, 0, 0, 0, 0, k, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1))(0, 0),
              static_cast<float>(k / static_cast<double>(k * k)));
    // Order 2 tests 1/det instead: singular gives non-finite elements, and only
    // a determinant above 2^50 gives the identity.
    for (float e : Invert(HvMatrix22(1, 2, 2, 4)).m)
        EXPECT_FALSE(isfinite(e));
    EXPECT_EQ(Invert(HvMatrix22(0x1p26f, 0, 0, 0x1p25f)), hvIdMat22);
    EXPECT_EQ(Invert(HvMatrix22(0x1p25f, 0, 0, 0x1p25f)), HvMatrix22(tiny, 0, 0, tiny));
    EXPECT_EQ(Invert(HvMatrix22(1e-8f, 0, 0, 1e-8f))(0, 0), 1e8f);
}

TEST(HvMatrix, Orthogonalise) {
    std::mt19937 g(24);
    const auto check = [&](auto tag) {
        using M = decltype(tag);
        constexpr int n = M::kOrder;
        for (int trial = 0; trial < 300; ++trial) {
            const M a = RandomWellConditioned<M>(g);
            const M q = Orthogonalise(a);
            ExpectNear(q * Transpose(q), M(), 8 * kEps);
            // Gram-Schmidt is A = L Q with L lower triangular, positive
            // diagonal: row k of Q only uses rows 0..k of A.
            const M l = a * Transpose(q);
            for (int i = 0; i < n; ++i) {
                EXPECT_GT(l(i, i), 0.0f);
                for (int j = i + 1; j < n; ++j)
                    EXPECT_NEAR(l(i, j), 0.0f, 32 * kEps);
            }
        }
        // A row depending exactly on earlier rows, or zero, becomes zero.
        M dep = ScaledIdentity<M>(2);
        dep(n - 1, n - 1) = 0, dep(n - 1, 0) = 5;
        M expect;
        expect(n - 1, n - 1) = 0;
        EXPECT_EQ(Orthogonalise(dep), expect);
        const M zero = M() - M();
        EXPECT_EQ(Orthogonalise(zero), zero);
    };
    check(HvMatrix33());
    check(HvMatrix44());
    // The fourth component of a 4x4 row takes part.
    const HvMatrix44 w(0, 0, 0, 3, 0, 0, 2, 2, 1, 0, 0, 0, 0, 4, 0, 0);
    EXPECT_EQ(Orthogonalise(w), HvMatrix44(0, 0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0));
}

// Each builder must equal post-multiplication by its elementary matrix, written
// out by hand here. The products involve the same float operations, so the
// comparison is exact.
TEST(HvMatrix, BuildersPostMultiplyElementaryMatrices) {
    using M3 = HvMatrix33;
    using M4 = HvMatrix44;
    std::mt19937 g(25);
    for (int trial = 0; trial < 200; ++trial) {
        const M3 m3 = RandomMatrix<M3>(g);
        const M4 m4 = RandomMatrix<M4>(g);
        const float a = Uniform(g, -7, 7), b = Uniform(g, -3, 3), t = Uniform(g, -3, 3);
        const float c = float(std::cos(double(a))), s = float(std::sin(double(a)));
        EXPECT_EQ(M3(m3).Translate(a, b), m3 * M3(1, 0, 0, 0, 1, 0, a, b, 1));
        EXPECT_EQ(M3(m3).Scale(a, b), m3 * M3(a, 0, 0, 0, b, 0, 0, 0, 1));
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
        const float r = float(1.0 / double(t));
        EXPECT_EQ(M4(m4).Perspective(t), m4 * M4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, r, 0, 0, 0, 1));
        // Shear's halves touch only their own row or column.
        const M3 s0 = M3(m3).Shear(0, b), s1 = M3(m3).Shear(a, 0);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_TRUE((i == 0 || s0(i, j) == m3(i, j)) && (j == 0 || s1(i, j) == m3(i, j)));
    }
    // Meaning: anticlockwise rotations, steps applied in call order.
    const float q = float(M_PI / 2);
    EXPECT_LT(Length(hvXAxis2 * M3().Rotate(q) - hvYAxis2), 1e-7f);
    EXPECT_LT(Length(hvYAxis3 * M4().RotateX(q) - hvZAxis3), 1e-7f);
    EXPECT_LT(Length(hvZAxis3 * M4().RotateY(q) - hvXAxis3), 1e-7f);
    EXPECT_LT(Length(hvXAxis3 * M4().RotateZ(q) - hvYAxis3), 1e-7f);
    EXPECT_EQ(HvVec2(1, 1) * M3().Scale(2, 2).Translate(5, 0), HvVec2(7, 2));
    EXPECT_EQ(HvVec3(4, 6, 2) * M4().Perspective(2), HvVec3(2, 3, 0));
    // A zero (or subnormal) distance would need an infinite reciprocal.
    const M4 before = M4().RotateX(0.3f);
    for (float bad : {0.0f, -0.0f, 1e-40f}) {
        M4 p = before;
        testing::internal::CaptureStderr();
        p.Perspective(bad);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "HvMatrix44::Perspective - zero distance, matrix unchanged\n");
        EXPECT_EQ(p, before);
    }
}

TEST(HvFourCorner, MapsSecondQuadOntoFirst) {
    std::mt19937 g(31);
    for (int trial = 0; trial < 500; ++trial) {
        // Jittered squares are convex quads in Z order; every few trials an
        // exact (integer) parallelogram, which takes the affine branch.
        const auto snap = [&](HvVec2 p) {
            return trial % 4 ? p : HvVec2(std::round(p.x), std::round(p.y));
        };
        HvVec2 quad[2][4];
        for (auto& qd : quad) {
            const HvVec2 o = snap(RandomVec<HvVec2>(g)),
                         u = snap({Uniform(g, 2, 5), Uniform(g, -1, 1)}),
                         v = snap({Uniform(g, -1, 1), Uniform(g, 2, 5)});
            const HvVec2 jitter = trial % 4 ? RandomVec<HvVec2>(g, -0.5f, 0.5f) : HvVec2();
            qd[0] = o, qd[1] = o + u, qd[2] = o + v, qd[3] = o + u + v + jitter;
        }
        const HvMatrix33 m = VxFourCornerTransform(quad[0], quad[1]);
        for (int k = 0; k < 4; ++k)
            EXPECT_LT(Length(quad[1][k] * m - quad[0][k]), 2e-4f) << "corner " << k;
        ExpectNear(VxFourCornerTransform(quad[1], quad[1]), hvIdMat33, 1e-5f);
    }
    HvVec2 square[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    EXPECT_EQ(VxFourCornerTransform(square, square), hvIdMat33);
    HvVec2 line[4] = {{0, 0}, {1, 0}, {3, 0}, {2, 0}}; // not a parallelogram, den = 0
    for (auto args : {std::pair<HvVec2*, HvVec2*>(nullptr, square),
                      {square, nullptr},
                      {square, line},
                      {line, square}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(VxFourCornerTransform(args.first, args.second), hvIdMat33);
        const std::string msg = testing::internal::GetCapturedStderr();
        EXPECT_EQ(msg.rfind("VxFourCornerTransform - ", 0), 0u) << msg;
        EXPECT_EQ(std::count(msg.begin(), msg.end(), '\n'), 1) << msg;
    }
}

TEST(HvBoundsToBox, EnclosesTheMappedCorners) {
    std::mt19937 g(32);
    for (int trial = 0; trial < 200; ++trial) {
        HvMatrix33 m = RandomMatrix<HvMatrix33>(g);
        m(0, 2) = Uniform(g, 0, 0.01f), m(1, 2) = 0, m(2, 2) = 1; // mildly projective
        const HvVec2 p0 = RandomVec<HvVec2>(g), p1 = RandomVec<HvVec2>(g);
        const HvBox2 box = HvBoundsToBox(p0.x, p0.y, p1.x, p1.y, m);
        HvBox2 corners = hvInitBox2; // every corner inside, every face touched by one
        for (const HvVec2& c : {p0, p1, HvVec2(p0.x, p1.y), HvVec2(p1.x, p0.y)})
            EXPECT_TRUE(box.Contains(c * m) && corners.Include(c * m).Contains(c * m));
        EXPECT_EQ(box, corners);
    }
    // The canonical square of a shape mask, turned 45 degrees.
    const HvBox2 diamond = HvBoundsToBox(-1, -1, 1, 1, HvMatrix33().Rotate(float(M_PI / 4)));
    EXPECT_NEAR(diamond.xmax, std::sqrt(2.0f), 1e-6f);
    EXPECT_NEAR(diamond.ymin, -std::sqrt(2.0f), 1e-6f);
}

TEST(HvConstants, ValuesLayoutAndAccess) {
    EXPECT_EQ(hvIdMat22, HvMatrix22(1, 0, 0, 1));
    EXPECT_EQ(hvIdMat33, HvMatrix33(1, 0, 0, 0, 1, 0, 0, 0, 1));
    EXPECT_TRUE(hvOneVec4 == HvVec4(1, 1, 1, 1) && hvZeroVec3 == HvVec3() && hvXAxis1 == hvOneVec1);
    EXPECT_EQ(hvXAxis2 + hvYAxis2, hvOneVec2);
    EXPECT_EQ(hvXAxis3 + hvYAxis3 + hvZAxis3, hvOneVec3);
    EXPECT_EQ(hvXAxis4 + hvYAxis4 + hvZAxis4, HvVec4(1, 1, 1, 3)); // w = 1 on every axis
    EXPECT_EQ(hvWAxis4, HvVec4(0, 0, 0, 1));
    EXPECT_EQ(hvInitBox2, HvBox2(FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX));
    EXPECT_EQ(hvInitBox4.wmin, 3.40282347e+38f);
    EXPECT_TRUE(hvOneBox3 == HvBox3(0, 1, 0, 1, 0, 1) && hvZeroBox1 == HvBox1(0, 0));
    EXPECT_EQ(hvUnitBox4, HvBox4(-1, 1, -1, 1, -1, 1, -1, 1));
    EXPECT_TRUE(HvBox2(1, 2, 3, 4).lo(1) == 3 && HvBox2(1, 2, 3, 4).hi(0) == 2); // interleaved
    const HvMatrix33 a(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_TRUE(a(1, 2) == 6 && a[2][0] == 7);  // row-major
    EXPECT_TRUE(a(-3, 7) == 3 && a[5][1] == 8); // clamped
    HvMatrix22 nan;
    nan(1, 0) = kNaN;
    EXPECT_NE(nan, nan);
}
