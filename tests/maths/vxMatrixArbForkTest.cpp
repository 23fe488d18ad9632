// Matrix products forked over the stand-alone host: on 1, 2 and 4 workers, and
// from inside a worker, every element is the column-order sum of products bit
// for bit.
#include "vxMatrixArb.h"
#include "vxMatrixArbModel.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

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
        VxMatrixArb a = RandomMatrix(s[0], s[1], seed++), b = RandomMatrix(s[1], s[2], seed++);
        VxMatrixArb m = RandomMatrix(s[0], s[2], seed++);
        VxMatrixArb ab = ColumnOrderProduct(a, b, false), ata = ColumnOrderProduct(a, a, true),
                    atm = ColumnOrderProduct(a, m, true);
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
