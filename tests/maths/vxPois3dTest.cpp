#include "vxPois3d.h"

#include "vxHost.h"
#include "vxMultiProcessor.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace {

struct Problem {
    int lp = 1, l = 7, mp = 1, m = 8, np = 1, n = 5, ldimf = 9, mdimf = 9;
    float c1 = 1.3f, c2 = 0.7f;
    std::vector<float> a, b, c, f, w;

    // Diagonally dominant coefficients, varying with k unless periodic.
    void coefficients() {
        a.assign(static_cast<size_t>(n), 0.8f);
        b.assign(static_cast<size_t>(n), -2.0f);
        c.assign(static_cast<size_t>(n), 0.8f);
        if (np == 1) {
            for (int k = 0; k < n; ++k) {
                a[static_cast<size_t>(k)] = k == 0 ? 0.0f : 0.9f + 0.05f * static_cast<float>(k);
                c[static_cast<size_t>(k)] =
                    k == n - 1 ? 0.0f : 1.1f - 0.03f * static_cast<float>(k);
                b[static_cast<size_t>(k)] = -2.3f - 0.1f * static_cast<float>(k % 3);
            }
        }
    }
    // A pseudo-random right-hand side; the padding holds a marker.
    void rightHandSide() {
        f.assign(static_cast<size_t>(ldimf) * static_cast<size_t>(mdimf) * static_cast<size_t>(n),
                 -777.0f);
        unsigned s = 12345u;
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < m; ++j)
                for (int i = 0; i < l; ++i) {
                    s = s * 1103515245u + 12345u;
                    at(f, i, j, k) = static_cast<float>((s >> 8) & 0xffff) / 65536.0f - 0.5f;
                }
        w.assign(64, 5.0f);
    }
    float& at(std::vector<float>& v, int i, int j, int k) const {
        return v[(static_cast<size_t>(k) * static_cast<size_t>(mdimf) + static_cast<size_t>(j)) *
                     static_cast<size_t>(ldimf) +
                 static_cast<size_t>(i)];
    }
    int solve() {
        int ierror = -1;
        EXPECT_EQ(vxPois3d(&lp, &l, &c1, &mp, &m, &c2, &np, &n, a.data(), b.data(), c.data(),
                           &ldimf, &mdimf, f.data(), &ierror, w.data()),
                  1);
        return ierror;
    }
};

// X just outside the grid along an axis of `size` points, 1-based index q.
double ghost(int code, int size, int q, const std::function<double(int)>& x) {
    if (q >= 1 && q <= size)
        return x(q);
    const bool low = q == 0;
    switch (code) {
    case 0:
        return low ? x(size) : x(1);
    case 1:
        return 0.0;
    case 2:
        return low ? 0.0 : x(size - 1);
    case 3:
        return low ? x(2) : x(size - 1);
    default:
        return low ? x(2) : 0.0;
    }
}

// max |equation(X) - F| / max |F|, in double, straight from the equations.
double relativeResidual(Problem& p, std::vector<float>& rhs) {
    double worst = 0.0, scale = 0.0;
    for (int k = 1; k <= p.n; ++k)
        for (int j = 1; j <= p.m; ++j)
            for (int i = 1; i <= p.l; ++i) {
                auto X = [&](int ii, int jj, int kk) -> double {
                    kk = (kk + p.n - 1) % p.n + 1;
                    return p.at(p.f, ii - 1, jj - 1, kk - 1);
                };
                const double xi0 = ghost(p.lp, p.l, i - 1, [&](int q) { return X(q, j, k); });
                const double xi1 = ghost(p.lp, p.l, i + 1, [&](int q) { return X(q, j, k); });
                const double xj0 = ghost(p.mp, p.m, j - 1, [&](int q) { return X(i, q, k); });
                const double xj1 = ghost(p.mp, p.m, j + 1, [&](int q) { return X(i, q, k); });
                const size_t kk = static_cast<size_t>(k - 1);
                const double lhs = p.c1 * (xi0 - 2 * X(i, j, k) + xi1) +
                                   p.c2 * (xj0 - 2 * X(i, j, k) + xj1) + p.a[kk] * X(i, j, k - 1) +
                                   p.b[kk] * X(i, j, k) + p.c[kk] * X(i, j, k + 1);
                const double r = p.at(rhs, i - 1, j - 1, k - 1);
                worst = std::max(worst, std::fabs(lhs - r));
                scale = std::max(scale, std::fabs(r));
            }
    return worst / scale;
}

bool paddingKept(Problem& p) {
    for (int k = 0; k < p.n; ++k)
        for (int j = 0; j < p.mdimf; ++j)
            for (int i = 0; i < p.ldimf; ++i)
                if ((i >= p.l || j >= p.m) && p.at(p.f, i, j, k) != -777.0f)
                    return false;
    return true;
}

// Every boundary code on i and j, both on k, grids odd, even and prime, with
// padding: the solution satisfies the equations and the padding is untouched.
TEST(VxPois3d, SolvesEveryBoundaryCombination) {
    const int sizes[][3] = {{7, 8, 5}, {8, 13, 6}, {11, 9, 4}};
    for (int np = 0; np <= 1; ++np)
        for (int lp = 0; lp <= 4; ++lp)
            for (int mp = 0; mp <= 4; ++mp)
                for (const auto& s : sizes) {
                    Problem p;
                    p.lp = lp, p.mp = mp, p.np = np;
                    p.l = s[0], p.m = s[1], p.n = s[2];
                    p.ldimf = p.l + 2, p.mdimf = p.m + 1;
                    p.coefficients();
                    p.rightHandSide();
                    std::vector<float> rhs = p.f;
                    ASSERT_EQ(p.solve(), 0);
                    EXPECT_LT(relativeResidual(p, rhs), 1e-4)
                        << "codes " << lp << mp << np << " size " << p.l << "x" << p.m << "x"
                        << p.n;
                    EXPECT_TRUE(paddingKept(p));
                    EXPECT_EQ(p.w, std::vector<float>(64, 5.0f)); // W is not used
                }
}

// A larger Dirichlet Poisson problem (the usual use) stays accurate too.
TEST(VxPois3d, LaplacianOnLargerGrid) {
    Problem p;
    p.l = 31, p.m = 32, p.n = 17, p.ldimf = 31, p.mdimf = 32;
    p.c1 = p.c2 = 1.0f;
    p.coefficients();
    for (int k = 0; k < p.n; ++k) {
        p.a[static_cast<size_t>(k)] = k == 0 ? 0.0f : 1.0f;
        p.c[static_cast<size_t>(k)] = k == p.n - 1 ? 0.0f : 1.0f;
        p.b[static_cast<size_t>(k)] = -2.0f;
    }
    p.rightHandSide();
    std::vector<float> rhs = p.f;
    ASSERT_EQ(p.solve(), 0);
    EXPECT_LT(relativeResidual(p, rhs), 1e-4);

    // After the kept plans and workspace are freed, the next solve makes them again.
    vxPois3dRelease();
    p.f = rhs;
    ASSERT_EQ(p.solve(), 0);
    EXPECT_LT(relativeResidual(p, rhs), 1e-4);
}

// The pure periodic Laplacian is singular: its constant mode is not
// solvable, which shows as non-finite values rather than a crash.
TEST(VxPois3d, SingularSystemGivesNonFiniteValues) {
    Problem p;
    p.lp = p.mp = 0, p.np = 0;
    p.c1 = p.c2 = 1.0f;
    p.coefficients();
    std::fill(p.a.begin(), p.a.end(), 1.0f);
    std::fill(p.c.begin(), p.c.end(), 1.0f);
    std::fill(p.b.begin(), p.b.end(), -2.0f);
    p.rightHandSide();
    ASSERT_EQ(p.solve(), 0);
    EXPECT_FALSE(std::isfinite(p.at(p.f, 0, 0, 0)));
    EXPECT_TRUE(paddingKept(p));
}

struct ForkedSolves : VxMultiProcessor {
    std::vector<Problem>* problems = nullptr;
    std::vector<int>* errors = nullptr;
    void sample() override {
        int b = 0, e = 0;
        range(static_cast<int>(problems->size()), b, e);
        vxPois3dRelease(); // refused inside a fork: the other worker's plans stay
        for (int i = b; i < e; ++i) {
            Problem& p = (*problems)[static_cast<size_t>(i)];
            int ierror = -1;
            vxPois3d(&p.lp, &p.l, &p.c1, &p.mp, &p.m, &p.c2, &p.np, &p.n, p.a.data(), p.b.data(),
                     p.c.data(), &p.ldimf, &p.mdimf, p.f.data(), &ierror, nullptr);
            (*errors)[static_cast<size_t>(i)] = ierror;
        }
    }
};

// Inside a fork: a combination solved before uses its plans, one never seen
// is solved by the direct transforms; both give the same solution as a solve
// outside the fork.
TEST(VxPois3d, SolvesInsideAFork) {
    VxStandaloneHostSetWorkers(2);
    SpMpSetSize(2, 1, 2);
    std::vector<Problem> problems(4);
    std::vector<Problem> reference(4);
    for (int i = 0; i < 4; ++i) {
        Problem& p = problems[static_cast<size_t>(i)];
        p.lp = i, p.mp = 4 - i, p.np = i % 2;
        p.l = 5 + i, p.m = 19 - i, p.n = 6, p.ldimf = p.l, p.mdimf = p.m + 2;
        p.coefficients();
        p.rightHandSide();
        reference[static_cast<size_t>(i)] = p;
    }
    // The first two are planned outside the fork, the other two are new.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(reference[static_cast<size_t>(i)].solve(), 0);
    std::vector<int> errors(4, -1);
    ForkedSolves run;
    run.problems = &problems;
    run.errors = &errors;
    run.process();
    for (int i = 2; i < 4; ++i)
        ASSERT_EQ(reference[static_cast<size_t>(i)].solve(), 0);
    for (int i = 0; i < 4; ++i) {
        Problem& p = problems[static_cast<size_t>(i)];
        Problem& r = reference[static_cast<size_t>(i)];
        EXPECT_EQ(errors[static_cast<size_t>(i)], 0);
        EXPECT_TRUE(paddingKept(p));
        double diff = 0, size = 0;
        for (size_t q = 0; q < p.f.size(); ++q) {
            diff = std::max(diff, static_cast<double>(std::fabs(p.f[q] - r.f[q])));
            size = std::max(size, static_cast<double>(std::fabs(r.f[q])));
        }
        EXPECT_LT(diff, 1e-5 * size) << "problem " << i;
    }
    SpMpSetSize(1, 1, 1);
}

// Each error code, the last failing check winning; F, A, B, C and W are left
// exactly as they were.
TEST(VxPois3d, ErrorCodesInOrder) {
    struct Case {
        int lp, l, mp, m, np, n, ldimf, mdimf;
        float a0, cN, bLast;
        int expected;
    };
    const Case cases[] = {
        {5, 7, 1, 8, 1, 5, 9, 9, 0, 0, -2, 1},       {-1, 7, 1, 8, 1, 5, 9, 9, 0, 0, -2, 1},
        {1, 2, 1, 8, 1, 5, 9, 9, 0, 0, -2, 2},       {5, 2, 1, 8, 1, 5, 9, 9, 0, 0, -2, 2},
        {1, 7, 5, 8, 1, 5, 9, 9, 0, 0, -2, 3},       {1, 7, 1, 2, 1, 5, 9, 9, 0, 0, -2, 4},
        {9, 2, 9, 2, 1, 5, 9, 9, 0, 0, -2, 4},       {1, 7, 1, 8, 2, 5, 9, 9, 0, 0, -2, 5},
        {1, 7, 1, 8, -1, 5, 9, 9, 1, 1, -2, 5},      {1, 7, 1, 8, 1, 2, 9, 9, 0, 0, -2, 6},
        {1, 7, 1, 8, 1, 5, 6, 9, 0, 0, -2, 7},       {1, 7, 1, 8, 1, 5, 9, 7, 0, 0, -2, 8},
        {1, 9, 1, 9, 1, 5, 8, 8, 0, 0, -2, 8},       {1, 7, 1, 8, 0, 5, 9, 9, 0.8f, 0.8f, -3, 9},
        {1, 2, 1, 8, 0, 5, 9, 9, 0.8f, 0.8f, -3, 9}, {1, 7, 1, 8, 1, 5, 9, 9, 0.5f, 0, -2, 10},
        {1, 7, 1, 8, 1, 5, 9, 9, 0, 0.5f, -2, 10},   {0, 2, 1, 1, 1, 5, 9, 9, 1, 0, -2, 10},
        {1, 7, 1, 8, 0, 5, 9, 9, 0.8f, 0.8f, -2, 0}, {1, 7, 1, 8, 1, 5, 9, 9, 0, 0, -2, 0},
    };
    for (const Case& t : cases) {
        Problem p;
        p.lp = t.lp, p.l = t.l, p.mp = t.mp, p.m = t.m, p.np = t.np, p.n = t.n;
        p.ldimf = std::max(t.ldimf, 1), p.mdimf = std::max(t.mdimf, 1);
        const int keepL = p.l, keepM = p.m;
        p.l = std::min(p.l, p.ldimf), p.m = std::min(p.m, p.mdimf); // for filling only
        p.np = 0;
        p.coefficients();
        p.np = t.np;
        p.rightHandSide();
        p.l = keepL, p.m = keepM;
        p.a[0] = t.a0;
        p.c[static_cast<size_t>(p.n - 1)] = t.cN;
        p.b[static_cast<size_t>(p.n - 1)] = t.bLast;
        const std::vector<float> f = p.f, a = p.a, b = p.b, c = p.c;
        const int got = p.solve();
        EXPECT_EQ(got, t.expected) << "case lp " << t.lp << " l " << t.l << " mp " << t.mp << " m "
                                   << t.m << " np " << t.np << " n " << t.n;
        if (got != 0) {
            EXPECT_EQ(std::memcmp(f.data(), p.f.data(), f.size() * sizeof(float)), 0);
        }
        EXPECT_EQ(a, p.a);
        EXPECT_EQ(b, p.b);
        EXPECT_EQ(c, p.c);
        EXPECT_EQ(p.w, std::vector<float>(64, 5.0f));
    }

    // A null argument (other than W) is code 11 with F untouched; a null
    // IERROR does nothing.
    Problem p;
    p.coefficients();
    p.rightHandSide();
    const std::vector<float> f = p.f;
    int ierror = -1;
    EXPECT_EQ(vxPois3d(&p.lp, &p.l, &p.c1, &p.mp, &p.m, &p.c2, &p.np, &p.n, p.a.data(), p.b.data(),
                       p.c.data(), &p.ldimf, &p.mdimf, nullptr, &ierror, nullptr),
              1);
    EXPECT_EQ(ierror, 11);
    EXPECT_EQ(vxPois3d(&p.lp, &p.l, &p.c1, &p.mp, &p.m, &p.c2, &p.np, &p.n, nullptr, p.b.data(),
                       p.c.data(), &p.ldimf, &p.mdimf, p.f.data(), &ierror, nullptr),
              1);
    EXPECT_EQ(ierror, 11);
    EXPECT_EQ(vxPois3d(&p.lp, &p.l, &p.c1, &p.mp, &p.m, &p.c2, &p.np, &p.n, p.a.data(), p.b.data(),
                       p.c.data(), &p.ldimf, &p.mdimf, p.f.data(), nullptr, nullptr),
              1);
    EXPECT_EQ(f, p.f);
    // With N below 1 the coefficient arrays are not read at all (a read of
    // these empty ones would stop the address-sanitizer build).
    std::unique_ptr<float[]> none(new float[0]);
    for (int np : {0, 1}) {
        int zero = 0;
        EXPECT_EQ(vxPois3d(&p.lp, &p.l, &p.c1, &p.mp, &p.m, &p.c2, &np, &zero, none.get(),
                           none.get(), none.get(), &p.ldimf, &p.mdimf, p.f.data(), &ierror,
                           nullptr),
                  1);
        EXPECT_EQ(ierror, 6);
    }
    // Sizes beyond the address space: 11, nothing read or written.
    int huge = 1 << 30;
    EXPECT_EQ(vxPois3d(&p.lp, &huge, &p.c1, &p.mp, &huge, &p.c2, &p.np, &p.n, p.a.data(),
                       p.b.data(), p.c.data(), &huge, &huge, p.f.data(), &ierror, nullptr),
              1);
    EXPECT_EQ(ierror, 11);
    EXPECT_EQ(f, p.f);
}

} // namespace
