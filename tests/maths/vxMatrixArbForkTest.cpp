// Matrix products forked over the stand-alone host: on 1, 2 and 4 workers, and
// from inside a worker, every element is the column-order sum of products bit
// for bit.
#include "vxMatrixArb.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

VxMatrixArb Random(int rows, int columns, unsigned seed) {
    std::mt19937 g(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    VxMatrixArb m(rows, columns);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            m.setElement(r, c, u(g));
    return m;
}

// The plain sum of products in column order, of a or of aᵀ with b.
VxMatrixArb Product(VxMatrixArb const& a, VxMatrixArb const& b, bool aTransposed) {
    const int m = aTransposed ? a.columns() : a.rows(), k = aTransposed ? a.rows() : a.columns();
    VxMatrixArb p(m, b.columns());
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < b.columns(); ++j) {
            double s = 0.0;
            for (int q = 0; q < k; ++q)
                s += (aTransposed ? a.getElement(q, i) : a.getElement(i, q)) * b.getElement(q, j);
            p.setElement(i, j, s);
        }
    return p;
}

bool SameBits(VxMatrixArb const& x, VxMatrixArb const& y) {
    return x.rows() == y.rows() && x.columns() == y.columns() &&
           std::memcmp(x.data() + 1, y.data() + 1,
                       sizeof(double) * static_cast<size_t>(x.rows()) * x.columns()) == 0;
}

struct InWorker {
    VxMatrixArb const *a, *b;
    VxMatrixArb* out; // worker 0's product
};

void ProductInWorker(InWorker* job) {
    if (VxMpGetID() == 0)
        job->out->multiply(job->a, job->b, job->out);
}

TEST(VxMatrixArbFork, ProductsAreTheColumnOrderSumOnAnyWorkerCount) {
    const int sizes[][3] = {{1, 3, 1}, {5, 9, 7}, {37, 300, 45}, {130, 64, 530}};
    unsigned seed = 1;
    for (const auto& s : sizes) {
        VxMatrixArb a = Random(s[0], s[1], seed++), b = Random(s[1], s[2], seed++);
        VxMatrixArb m = Random(s[0], s[2], seed++);
        VxMatrixArb ab = Product(a, b, false), ata = Product(a, a, true), atm = Product(a, m, true);
        for (int workers : {1, 2, 4}) {
            VxStandaloneHostSetWorkers(workers);
            SpMpSetSize(workers, 1, workers);
            EXPECT_TRUE(SameBits(a * b, ab)) << workers << " workers, " << s[0];
            EXPECT_TRUE(SameBits(a.XtX(), ata)) << workers << " workers, " << s[0];
            EXPECT_TRUE(SameBits(a.XtM(m), atm)) << workers << " workers, " << s[0];
            // Inside a worker the product runs there alone, as one share.
            VxMatrixArb inside;
            InWorker job = {&a, &b, &inside};
            VxMpFork(reinterpret_cast<VxMpWork>(ProductInWorker), 1, &job);
            EXPECT_TRUE(SameBits(inside, ab)) << workers << " workers, " << s[0];
            EXPECT_EQ(inside.forked, 1u);
        }
    }
    VxStandaloneHostSetWorkers(0);
    SpMpSetSize(1, 1, 1);
}

} // namespace
