// Arbitrary-size matrices against slow obvious models: sharing of storage,
// element access, reductions, arithmetic, the decompositions (the SVD also
// against LAPACK's sgesvd) and every misuse message.
#include "vxMatrixArb.h"
#include "vxMatrixArbModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

extern "C" void sgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, float* a,
                        const int* lda, float* s, float* u, const int* ldu, float* vt,
                        const int* ldvt, float* work, const int* lwork, int* info, size_t, size_t);

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

VxMatrixArb Identity(int n) {
    VxMatrixArb m(n, n);
    m.makeIdentity();
    return m;
}

double Leibniz(VxMatrixArb const& a, int n) {
    std::vector<int> p(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        p[static_cast<size_t>(i)] = i;
    double det = 0.0;
    do {
        double term = 1.0;
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j)
                term = p[static_cast<size_t>(i)] > p[static_cast<size_t>(j)] ? -term : term;
        for (int i = 0; i < n; ++i)
            term *= a.getElement(i, p[static_cast<size_t>(i)]);
        det += term;
    } while (std::next_permutation(p.begin(), p.end()));
    return det;
}

TEST(VxMatrixArb, TemporariesShareStorageAndOtherCopiesDoNot) {
    VxMatrixArb a = RandomMatrix(3, 4, 1);
    VxMatrixArb plain(a); // a is not a temporary: copied
    EXPECT_NE(plain.data(), a.data());
    EXPECT_TRUE(plain == a);
    {
        VxMatrixArb t = a * 2.0;
        VxMatrixArb shared(t);
        EXPECT_EQ(shared.data(), t.data());
        EXPECT_EQ(t.data()[0], 1.0); // share count: two owners
        shared.setElement(1, 1, 42.0);
        EXPECT_EQ(t.getElement(1, 1), 42.0);
        // Assignment ends the sharing: the other owner keeps its elements.
        shared = a;
        EXPECT_NE(shared.data(), t.data());
        EXPECT_EQ(t.data()[0], 0.0);
        EXPECT_EQ(shared.data()[0], 0.0);
        EXPECT_EQ(t.getElement(1, 1), 42.0);
        EXPECT_TRUE(shared == a);
        VxMatrixArb third(t);
        third.incrementReference(); // now counted for three owners ...
        EXPECT_EQ(t.data()[0], 2.0);
        third.data()[0] -= 1.0; // ... and back; ASan checks the storage is freed once
    }
    VxMatrixArb empty, target;
    target = a; // no storage: takes the source's shape
    EXPECT_TRUE(target == a);
    VxMatrixArb& alias = target;
    target = alias;
    EXPECT_TRUE(target == a);
    EXPECT_EQ(empty.data(), nullptr);
    empty.incrementReference();
    EXPECT_EQ(empty.convertToCStyleArray(0.0f), nullptr);
    empty.copyBackFromCStyleArray<float>(nullptr);
    EXPECT_EQ(VxMatrixArb(-1, 3).data(), nullptr);
    EXPECT_EQ(VxMatrixArb(3, -1).rows(), 0);
    CaptureStderr();
    VxMatrixArb huge(100000, 100000);
    EXPECT_EQ(GetCapturedStderr(),
              "Failure to allocate matrix memory of size [10000000001] bytes\n");
    EXPECT_EQ(huge.data(), nullptr);
    EXPECT_EQ(huge.rows(), 0);
    CaptureStderr();
    EXPECT_EQ(allocateData(0), nullptr);
    EXPECT_EQ(GetCapturedStderr(), "Failure to allocate matrix memory of size [0] bytes\n");
}

TEST(VxMatrixArb, ElementAccessChecksOnlyTheFlattenedPosition) {
    VxMatrixArb a = RandomMatrix(3, 4, 2);
    EXPECT_EQ(a.getElement(1, -1), a.getElement(0, 3));
    EXPECT_EQ(a.getElement(0, 4), a.getElement(1, 0));
    EXPECT_EQ(a.getIndexFromRowAndColumn(2, 3), 12);
    EXPECT_EQ(a.getRow(2), a.data() + 9);
    EXPECT_EQ(a.getRow(3), nullptr);
    EXPECT_EQ(a.getRow(-1), nullptr);
    const char* out = "Out of range VxMatrixArb indices used\n";
    EXPECT_DEATH(a.getElement(2, 4), out);
    EXPECT_DEATH(a.setElement(3, 0, 1.0), out);
    EXPECT_DEATH(a.getElement(0, -1), out); // the share count is not an element
    EXPECT_DEATH(a.getIndexFromRowAndColumn(-1, 0), out);
    EXPECT_DEATH(VxMatrixArb().getElement(0, 0), out);
}

TEST(VxMatrixArb, ReductionsAndTestsMatchLoops) {
    VxMatrixArb a = RandomMatrix(5, 3, 3, -10.0, 10.0);
    a.setElement(4, 2, -20.0);
    a.setElement(1, 1, -20.0);
    a.setElement(2, 0, 30.0);
    double sum = 0, abs = 0, sq = 0;
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 3; ++c) {
            sum += a.getElement(r, c);
            abs += std::fabs(a.getElement(r, c));
            sq += a.getElement(r, c) * a.getElement(r, c);
        }
    EXPECT_EQ(a.sum(), sum);
    EXPECT_EQ(a.absSum(), abs);
    EXPECT_EQ(a.mean(), sum / 15);
    EXPECT_EQ(a.frobeniusNorm(), std::sqrt(sq));
    EXPECT_EQ(a.maximum(), 30.0);
    EXPECT_EQ(a.minimum(), -20.0);
    VxMatrixArb withNaN(a);
    withNaN.setElement(0, 0, std::nan(""));
    EXPECT_EQ(withNaN.maximum(), 30.0);
    EXPECT_EQ(withNaN.minimum(), -20.0);
    int r = -1, c = -1;
    a.MinIndices(r, c); // the first of two equal minima
    EXPECT_EQ(r * 10 + c, 11);
    a.MaxIndices(r, c);
    EXPECT_EQ(r * 10 + c, 20);
    VxMatrixArb none;
    none.MaxIndices(r, c);
    EXPECT_EQ(r * 10 + c, 20);
    EXPECT_EQ(none.maximum(), -3.4028234663852886e38);
    EXPECT_EQ(none.minimum(), 3.4028234663852886e38);
    EXPECT_TRUE(std::isnan(none.mean()));
    EXPECT_TRUE(none.isZero(0.0));

    VxMatrixArb b = a - -1e-9;
    EXPECT_TRUE(a.isEqual(b, 2e-9));
    EXPECT_FALSE(a.isEqual(b, 0.0));
    EXPECT_FALSE(a.isEqual(a.transpose(), 1e9));
    EXPECT_TRUE((a - a).isZero(0.0));
    EXPECT_FALSE(b.isZero(1.0));
    VxMatrixArb id = Identity(4);
    EXPECT_TRUE(id.isIdentity());
    EXPECT_EQ(id.trace(), 4.0);
    id.setElement(0, 3, 1e-300);
    EXPECT_FALSE(id.isIdentity());
    const char* notSquare = "Matrix to invert isn't square\n";
    EXPECT_DEATH(a.isIdentity(), notSquare);
    EXPECT_DEATH(a.makeIdentity(), notSquare);
    EXPECT_DEATH(a.trace(), "Matrix is not square, can't calculate trace\n");
}

TEST(VxMatrixArb, ArithmeticMatchesElementLoops) {
    VxMatrixArb a = RandomMatrix(4, 6, 4), b = RandomMatrix(4, 6, 5);
    VxMatrixArb sum = a + b, diff = a - b, scaled = a * 3.0, divided = a / 3.0, less = a - 0.5;
    VxMatrixArb t = a.transpose(), sq = a.applyNew([](double x) { return x * x; });
    VxMatrixArb same = a.applyNew(nullptr), inPlace(a);
    inPlace.apply([](double x) { return -x; });
    inPlace.apply(nullptr);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 6; ++c) {
            const double x = a.getElement(r, c), y = b.getElement(r, c);
            EXPECT_EQ(sum.getElement(r, c), x + y);
            EXPECT_EQ(diff.getElement(r, c), x - y);
            EXPECT_EQ(scaled.getElement(r, c), x * 3.0);
            EXPECT_EQ(divided.getElement(r, c), x / 3.0);
            EXPECT_EQ(less.getElement(r, c), x - 0.5);
            EXPECT_EQ(t.getElement(c, r), x);
            EXPECT_EQ(sq.getElement(r, c), x * x);
            EXPECT_EQ(same.getElement(r, c), x);
            EXPECT_EQ(inPlace.getElement(r, c), -x);
        }
    VxMatrixArb c = RandomMatrix(6, 5, 6), m = RandomMatrix(4, 3, 7);
    EXPECT_TRUE(a * c == ColumnOrderProduct(a, c));
    EXPECT_TRUE(a.XtX() == ColumnOrderProduct(a, a, true));
    EXPECT_TRUE(a.XtM(m) == ColumnOrderProduct(a, m, true));
    VxMatrixArb into(2, 2);
    into.multiply(&a, &c, &into); // reshaped
    EXPECT_TRUE(into == ColumnOrderProduct(a, c));
    VxMatrixArb sq6 = RandomMatrix(6, 6, 8), alias(sq6);
    alias.multiply(&alias, &sq6, &alias); // result is an operand
    EXPECT_TRUE(alias == ColumnOrderProduct(sq6, sq6));
    alias.XtX(&alias);
    EXPECT_TRUE(alias == ColumnOrderProduct(ColumnOrderProduct(sq6, sq6),
                                            ColumnOrderProduct(sq6, sq6), true));
    EXPECT_EQ((VxMatrixArb(3, 0) * VxMatrixArb(0, 2)).sum(), 0.0);

    const char* subtract = "Dimensions of matrix subtract don't match\n";
    EXPECT_DEATH(a + c, subtract);
    EXPECT_DEATH(a - c, subtract);
    const char* multiply = "Dimensions of matrix multiply don't match\n";
    EXPECT_DEATH(a * b, multiply);
    EXPECT_DEATH(a.XtM(c), multiply);
    EXPECT_DEATH(a = c, "Dimensions of matrix assign don't match\n");
}

// The product kernel picked for the processor, and the narrower ones forced
// with VELTRIX_MATRIX_ISA, give the column-order sum bit for bit, across the
// block edges of k (256) and of the columns (512) and ragged tiles.
bool ProductsMatchTheModel() {
    const int sizes[][3] = {{1, 1, 1}, {7, 300, 13}, {9, 257, 530}, {33, 5, 17}, {4, 513, 8}};
    unsigned seed = 10;
    for (const auto& s : sizes) {
        VxMatrixArb a = RandomMatrix(s[0], s[1], seed++), b = RandomMatrix(s[1], s[2], seed++);
        if (!(a * b == ColumnOrderProduct(a, b)) || !(a.XtX() == ColumnOrderProduct(a, a, true)))
            return false;
    }
    return true;
}

// FNV-1a over the bits of a few SVDs (odd sizes, so the vector loops' tails run).
unsigned long long SvdDigest() {
    unsigned long long h = 14695981039346656037ull;
    for (int n : {5, 23, 64}) {
        VxMatrixArb U, W, V;
        RandomMatrix(n + 14, n, 90 + n).svd(U, W, V);
        for (const VxMatrixArb* f : {&U, &W, &V})
            for (long long i = 1; i <= static_cast<long long>(f->rows()) * f->columns(); ++i) {
                unsigned long long bits;
                std::memcpy(&bits, f->data() + i, sizeof bits);
                h = (h ^ bits) * 1099511628211ull;
            }
    }
    return h;
}

TEST(VxMatrixArb, EveryInstructionSetGivesTheSameBits) {
    EXPECT_TRUE(ProductsMatchTheModel());
    setenv("VX_TEST_SVD_DIGEST", std::to_string(SvdDigest()).c_str(), 1);
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a fresh process picks its kernels
    for (const char* isa : {"sse2", "avx2"}) {
        EXPECT_EXIT(
            {
                setenv("VELTRIX_MATRIX_ISA", isa, 1);
                const bool same = std::to_string(SvdDigest()) == getenv("VX_TEST_SVD_DIGEST");
                std::exit(ProductsMatchTheModel() && same ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << isa;
    }
}

TEST(VxMatrixArb, InvertAddsTheDiagonalBiasAndLuSolves) {
    VxMatrixArb inv = Identity(5).invert();
    VxMatrixArb expect = Identity(5) * (1.0 / 1.01);
    EXPECT_TRUE(inv.isEqual(expect, 1e-15));
    VxMatrixArb zeroRow = RandomMatrix(4, 4, 20);
    for (int c = 0; c < 4; ++c)
        zeroRow.setElement(2, c, 0.0);
    EXPECT_TRUE(zeroRow.invert().isIdentity());
    int index[4];
    EXPECT_EQ(zeroRow.lu_decompose(index), 0);
    VxMatrixArb ones(2, 2); // singular with no zero row: the zero pivot becomes 1e-20
    ones.setAllElements(1.0);
    EXPECT_EQ(std::abs(ones.lu_decompose(index)), 1);
    EXPECT_EQ(ones.getElement(1, 1), 1e-20);
    for (int n : {1, 2, 3, 8, 20}) {
        VxMatrixArb a = RandomMatrix(n, n, 30 + n);
        VxMatrixArb biased = a + Identity(n) * 0.01;
        EXPECT_TRUE((biased * a.invert()).isEqual(Identity(n), 1e-9)) << n;
        // LU alone: solve a x = b and check the residual; the parity is the
        // determinant's sign relative to the pivots' product.
        VxMatrixArb lu(a);
        std::vector<int> idx(static_cast<size_t>(n));
        const int parity = lu.lu_decompose(idx.data());
        if (n <= 4) {
            double det = parity;
            for (int i = 0; i < n; ++i)
                det *= lu.getElement(i, i);
            EXPECT_NEAR(det, Leibniz(a, n), 1e-12) << n;
        }
        std::vector<double> x(static_cast<size_t>(n), 0.0);
        x.back() = 1.0; // leading zeros in b
        lu.lu_backsub(idx.data(), x.data());
        for (int i = 0; i < n; ++i) {
            double s = 0.0;
            for (int j = 0; j < n; ++j)
                s += a.getElement(i, j) * x[static_cast<size_t>(j)];
            EXPECT_NEAR(s, i == n - 1 ? 1.0 : 0.0, 1e-9);
        }
    }
    VxMatrixArb tall = RandomMatrix(4, 2, 40);
    EXPECT_TRUE(tall.pseudoInverse().isEqual(
        ColumnOrderProduct(tall, tall, true).invert() * tall.transpose(), 0.0));
    EXPECT_DEATH(tall.invert(), "Matrix to invert isn't square\n");
    EXPECT_EQ(tall.lu_decompose(index), 0);
}

TEST(VxMatrixArb, CholeskyReconstructsAndReportsNonPositivePivots) {
    for (int n : {1, 2, 5, 16}) {
        VxMatrixArb b = RandomMatrix(n + 3, n, 50 + n);
        VxMatrixArb spd = b.XtX();
        VxMatrixArb l = spd.cholesky();
        EXPECT_TRUE(ColumnOrderProduct(l.transpose(), l.transpose(), true).isEqual(spd, 1e-12))
            << n;
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j)
                EXPECT_EQ(l.getElement(i, j), 0.0);
    }
    VxMatrixArb bad = Identity(3);
    bad.setElement(1, 1, -4.0);
    bad.setElement(2, 1, 0.5);
    CaptureStderr();
    VxMatrixArb l = bad.cholesky();
    EXPECT_EQ(GetCapturedStderr(), "Cholesky matrix definitely not positive definite\n");
    EXPECT_EQ(l.getElement(1, 1), 0.0); // the failed pivot
    EXPECT_EQ(l.getElement(2, 1), 0.5); // its column is left as it was
    EXPECT_EQ(l.getElement(2, 2), std::sqrt(0.75));
    EXPECT_EQ(l.getElement(0, 0), 1.0);
    EXPECT_DEATH(RandomMatrix(2, 3, 1).cholesky(), "Cholesky matrix isn't square\n");
}

TEST(VxMatrixArb, DeterminantExpandsUpToFourRows) {
    for (int n = 1; n <= 4; ++n) {
        VxMatrixArb a = RandomMatrix(n, n, 60 + n);
        EXPECT_NEAR(a.determinant(), Leibniz(a, n), 1e-14) << n;
        // More columns than rows: the column count is the row stride, so the
        // leading square is what counts.
        VxMatrixArb wide = RandomMatrix(n, n + 2, 70 + n), lead;
        wide.extract(n, n, lead, 0, 0);
        EXPECT_EQ(wide.determinant(), lead.determinant());
    }
    EXPECT_EQ(Identity(5).determinant(), 0.0);
    EXPECT_EQ(RandomMatrix(3, 2, 1).determinant(), 0.0);
    EXPECT_EQ(VxMatrixArb().determinant(), 0.0);
}

TEST(VxMatrixArb, ExtractCopiesABlock) {
    VxMatrixArb a = RandomMatrix(5, 6, 80), block(9, 9), self(a);
    a.extract(2, 3, block, 3, 2);
    EXPECT_EQ(block.rows() * 10 + block.columns(), 23);
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(block.getElement(r, c), a.getElement(r + 3, c + 2));
    self.extract(1, 6, self, 4, 0);
    EXPECT_EQ(self.getElement(0, 5), a.getElement(4, 5));
    const char* small = "Can't extract from matrix, as it's not big enough.\n";
    EXPECT_DEATH(a.extract(3, 1, block, 3, 0), small);
    EXPECT_DEATH(a.extract(1, 2, block, 0, 5), small);
}

TEST(VxMatrixArb, PrintsRowsWithTheFixedFormat) {
    VxMatrixArb a(2, 2);
    a.setElement(0, 0, 1.5);
    a.setElement(0, 1, -1234567.0);
    a.setElement(1, 0, 0.001);
    a.setElement(1, 1, 0.0);
    std::ostringstream os;
    os << a;
    EXPECT_EQ(os.str(), "There are 2 rows.\nThere are 2 columns.\n[\n"
                        "       1.5  -1.23e+06 ;\n     0.001          0 ;\n]\n"
                        "The sum of the elements of the above matrix is -1.23457e+06\n");
}

// sgesvd's singular values, sorted.
std::vector<float> Lapack(VxMatrixArb const& a) {
    int m = a.rows(), n = a.columns(), info = 0, lwork = -1, one = 1;
    std::vector<float> col(static_cast<size_t>(m * n)), s(static_cast<size_t>(std::min(m, n)));
    for (int r = 0; r < m; ++r)
        for (int c = 0; c < n; ++c)
            col[static_cast<size_t>(c * m + r)] = static_cast<float>(a.getElement(r, c));
    float query = 0, dummy = 0;
    sgesvd_("N", "N", &m, &n, col.data(), &m, s.data(), &dummy, &one, &dummy, &one, &query, &lwork,
            &info, 1, 1);
    lwork = static_cast<int>(query);
    std::vector<float> work(static_cast<size_t>(lwork));
    sgesvd_("N", "N", &m, &n, col.data(), &m, s.data(), &dummy, &one, &dummy, &one, work.data(),
            &lwork, &info, 1, 1);
    EXPECT_EQ(info, 0);
    std::sort(s.begin(), s.end());
    return s;
}

TEST(VxMatrixArb, SvdReconstructsWithOrthonormalFactorsAndLapacksValues) {
    struct Case {
        int m, n, rank;
    };
    const Case cases[] = {{1, 1, 1},  {2, 1, 1},    {2, 2, 2},    {3, 3, 2},    {8, 5, 5},
                          {40, 7, 7}, {30, 30, 30}, {25, 20, 12}, {64, 64, 64}, {200, 3, 2}};
    unsigned seed = 100;
    for (const Case& k : cases) {
        seed += 2;
        VxMatrixArb a = RandomMatrix(k.m, k.rank, seed) * RandomMatrix(k.rank, k.n, seed + 1);
        VxMatrixArb U, W, V;
        a.svd(U, W, V);
        ASSERT_EQ(U.rows() * 1000 + U.columns(), k.m * 1000 + k.n);
        ASSERT_EQ(W.rows() * 1000 + W.columns(), k.n * 1000 + 1);
        const double scale = W.maximum(), tol = 4e-6 * std::max(k.m, k.n);
        VxMatrixArb UW(U);
        for (int r = 0; r < k.m; ++r)
            for (int c = 0; c < k.n; ++c)
                UW.setElement(r, c, U.getElement(r, c) * W.getElement(c, 0));
        EXPECT_TRUE((UW * V.transpose()).isEqual(a, tol * scale)) << k.m << "x" << k.n;
        EXPECT_TRUE(U.XtX().isEqual(Identity(k.n), tol)) << k.m << "x" << k.n;
        EXPECT_TRUE(V.XtX().isEqual(Identity(k.n), tol)) << k.m << "x" << k.n;
        std::vector<float> ours(static_cast<size_t>(k.n)), theirs = Lapack(a);
        for (int i = 0; i < k.n; ++i)
            ours[static_cast<size_t>(i)] = static_cast<float>(W.getElement(i, 0));
        std::sort(ours.begin(), ours.end());
        EXPECT_GE(ours[0], 0.0f);
        for (int i = 0; i < k.n; ++i)
            EXPECT_NEAR(ours[static_cast<size_t>(i)], theirs[static_cast<size_t>(i)], tol * scale)
                << k.m << "x" << k.n << " value " << i;
        if (k.rank < k.n) {
            // The null space of a rank-deficient matrix: a unit x with a x = 0.
            VxMatrixArb x = a.nullspace();
            EXPECT_NEAR(x.frobeniusNorm(), 1.0, 1e-6);
            EXPECT_TRUE((a * x).isZero(tol * scale)) << k.m << "x" << k.n;
        }
    }
}

TEST(VxMatrixArb, SvdFailuresAreReported) {
    VxMatrixArb wide = RandomMatrix(2, 3, 7), U, W, V;
    CaptureStderr();
    wide.svd(U, W, V);
    VxMatrixArb x = wide.nullspace();
    EXPECT_EQ(GetCapturedStderr(), "#rows must be > #cols \n#rows must be > #cols \n");
    EXPECT_TRUE(U == wide);
    EXPECT_TRUE(W.isZero(0.0) && V.isZero(0.0) && x.isZero(0.0));
    EXPECT_EQ(V.rows() * 10 + V.columns(), 33);
    EXPECT_EQ(x.rows() * 10 + x.columns(), 31);
    VxMatrixArb none, U0, W0, V0; // no storage: nothing to decompose
    none.svd(U0, W0, V0);
    EXPECT_EQ(U0.rows() + W0.columns() + V0.rows(), 1);
    ArraySmartPointer2D<float> nothing(nullptr, 3);

    // A NaN never lets a sweep converge.
    float r0[2] = {1.0f, std::nanf("")}, r1[2] = {2.0f, 3.0f}, r2[2] = {0.5f, 1.0f};
    float v0[2], v1[2], w[2], xs[2] = {5.0f, 5.0f};
    float* a[3] = {r0, r1, r2};
    float* v[2] = {v0, v1};
    CaptureStderr();
    EXPECT_EQ(dsvd(a, 3, 2, w, v), 0);
    r0[0] = 1.0f, r0[1] = std::nanf(""), r1[0] = 2.0f, r1[1] = 3.0f;
    EXPECT_EQ(nullspace(a, 2, 2, w, v, xs), -1);
    EXPECT_EQ(GetCapturedStderr(), "No convergence after 30,000! iterations \n"
                                   "No convergence after 30,000! iterations \n");
    EXPECT_EQ(xs[0] * 10 + xs[1], 0.0f);
    CaptureStderr();
    EXPECT_EQ(nullspace(a, 1, 2, w, v, xs), -1); // fewer rows than columns
    EXPECT_EQ(GetCapturedStderr(), "#rows must be > #cols \n");
}

TEST(VxMatrixArb, FreeNullspaceReturnsTheSmallestSingularValuesVector) {
    // Rows (1, 2, 3) and (2, 4, 6) and (1, 0, 1): rank 2, null space along
    // (1, 1, -1) / sqrt(3).
    float r0[3] = {1, 2, 3}, r1[3] = {2, 4, 6}, r2[3] = {1, 0, 1}, r3[3] = {0, 0, 0};
    float* a[4] = {r0, r1, r2, r3};
    float v0[3], v1[3], v2[3], w[3], x[3];
    float* v[3] = {v0, v1, v2};
    const int k = nullspace(a, 4, 3, w, v, x);
    ASSERT_GE(k, 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_LE(w[k], w[i]);
        EXPECT_EQ(x[i], v[i][k]);
    }
    const float sign = x[0] < 0 ? -1.0f : 1.0f;
    const float third = 1.0f / std::sqrt(3.0f);
    EXPECT_NEAR(sign * x[0], third, 1e-6f);
    EXPECT_NEAR(sign * x[1], third, 1e-6f);
    EXPECT_NEAR(sign * x[2], -third, 1e-6f);
}

} // namespace
