// vxMatrixArbProduct.cpp - the matrix products A·B, AᵀA and AᵀM, forked over
// the host's workers.
//
// Every element is the plain sum of products in column order, s = 0 then
// s += l(i,k) * r(k,j) for k = 0, 1, ..., with each multiply and add rounded
// separately. Nothing reassociates that sum, so the result does not depend on
// the number of workers, on the instruction set chosen at run time or on the
// blocking below:
//
// - Worker w computes rows w, w + n, w + 2n, ... (n workers), four or eight
//   at a time.
// - The shared index k is cut into blocks of kBlockK. The partial sums of a
//   block are stored in the result as doubles and the next block adds to them,
//   which continues each element's sequence exactly.
// - Within a block a register tile of rows x columns accumulates with vector
//   multiplies and adds across the output columns j: each lane is one element
//   of the result, still summed over k in order.
// - The right operand's block is copied into column panels, contiguous per k,
//   and the left operand's rows into a k-major strip, so that the tile's loads
//   run through memory in order; padding lanes and rows compute values that
//   are never stored.
#include "vxMatrixArb.h"
#include "vxMatrixIsa.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Left operand l(i, k) = left[i * leftRow + k * leftStep]; right operand
// r(k, j) = right[k * rightRow + j]; out(i, j) = out[i * outRow + j].
struct ProductJob {
    VxMatrixThread* thread;
    const double* left;
    long long leftRow, leftStep;
    const double* right;
    long long rightRow;
    double* out;
    long long outRow;
    int m, n, k;
};

constexpr int kBlockK = 256; // k per block: a panel of the right operand stays in L1
constexpr int kBlockN = 512; // columns per block: the right operand's block stays in L2

typedef void (*TileKernel)(const double* a, const double* b, int kb, double* tile);

// The register tile: tile (MR x NR, row-major) += strip a (kb x MR) times
// panel b (kb x NR), one k at a time in order. V is a vector of doubles.
template <int MR, int NR, class V>
inline __attribute__((always_inline)) void Tile(const double* a, const double* b, int kb,
                                                double* tile) {
    constexpr int W = static_cast<int>(sizeof(V) / sizeof(double));
    constexpr int NV = NR / W;
    static_assert(NV * W == NR, "panel width is a whole number of vectors");
    // The loops over r and v are unrolled so that the accumulators live in
    // registers for the whole block.
    V acc[MR][NV];
#pragma GCC unroll 16
    for (int r = 0; r < MR; ++r)
#pragma GCC unroll 4
        for (int v = 0; v < NV; ++v)
            std::memcpy(&acc[r][v], tile + r * NR + v * W, sizeof(V));
    for (int k = 0; k < kb; ++k) {
        V bv[NV];
#pragma GCC unroll 4
        for (int v = 0; v < NV; ++v)
            std::memcpy(&bv[v], b + k * NR + v * W, sizeof(V));
#pragma GCC unroll 16
        for (int r = 0; r < MR; ++r) {
            // x - (+0) is x for every x, -0 included: a broadcast.
            const V av = a[k * MR + r] - V{};
#pragma GCC unroll 4
            for (int v = 0; v < NV; ++v) {
                const V p = av * bv[v];
                acc[r][v] += p;
            }
        }
    }
#pragma GCC unroll 16
    for (int r = 0; r < MR; ++r)
#pragma GCC unroll 4
        for (int v = 0; v < NV; ++v)
            std::memcpy(tile + r * NR + v * W, &acc[r][v], sizeof(V));
}

typedef double V2 __attribute__((vector_size(16)));
typedef double V4 __attribute__((vector_size(32)));
typedef double V8 __attribute__((vector_size(64)));

void TileSse2(const double* a, const double* b, int kb, double* tile) {
    Tile<4, 4, V2>(a, b, kb, tile);
}

// The wider units get the same tile; "avx2" and "avx512f" add no fused
// multiply-add to the code (and the library is built without contraction).
__attribute__((target("avx2"))) void TileAvx2(const double* a, const double* b, int kb,
                                              double* tile) {
    Tile<4, 8, V4>(a, b, kb, tile);
}

__attribute__((target("avx512f"))) void TileAvx512(const double* a, const double* b, int kb,
                                                   double* tile) {
    Tile<8, 16, V8>(a, b, kb, tile);
}

struct Kernel {
    TileKernel tile;
    int mr, nr;
};

Kernel ChooseKernel() {
    switch (VxMatrixDetail::ChosenIsa()) {
    case VxMatrixDetail::kAvx512:
        return {TileAvx512, 8, 16};
    case VxMatrixDetail::kAvx2:
        return {TileAvx2, 4, 8};
    default:
        return {TileSse2, 4, 4};
    }
}

} // namespace

VxMatrixDetail::Isa VxMatrixDetail::ChosenIsa() {
    static const Isa isa = [] {
        const char* cap = std::getenv("VELTRIX_MATRIX_ISA");
        const bool sse2Only = cap != nullptr && std::strcmp(cap, "sse2") == 0;
        const bool avx2Only = cap != nullptr && std::strcmp(cap, "avx2") == 0;
        __builtin_cpu_init();
        if (!sse2Only && !avx2Only && __builtin_cpu_supports("avx512f"))
            return kAvx512;
        if (!sse2Only && __builtin_cpu_supports("avx2"))
            return kAvx2;
        return kSse2;
    }();
    return isa;
}

namespace {

const Kernel& TheKernel() {
    static const Kernel kernel = ChooseKernel();
    return kernel;
}

// One worker's rows of the product.
void ProductRows(const ProductJob& job, int id, int workers) {
    const Kernel& kernel = TheKernel();
    const int MR = kernel.mr, NR = kernel.nr;
    if (id < 0 || workers < 1 || id >= job.m)
        return;
    const int myRows = (job.m - id + workers - 1) / workers;
    auto rowOf = [id, workers](int t) { return id + t * workers; };
    if (job.k == 0) {
        for (int t = 0; t < myRows; ++t)
            for (int j = 0; j < job.n; ++j)
                job.out[rowOf(t) * job.outRow + j] = 0.0;
        return;
    }
    const int panelsMax = (kBlockN + NR - 1) / NR;
    std::vector<double> packB(static_cast<size_t>(kBlockK) * panelsMax * NR);
    std::vector<double> packA(static_cast<size_t>(kBlockK) * MR);
    std::vector<double> tile(static_cast<size_t>(MR) * NR);
    for (int jc = 0; jc < job.n; jc += kBlockN) {
        const int nb = job.n - jc < kBlockN ? job.n - jc : kBlockN;
        const int panels = (nb + NR - 1) / NR;
        for (int kc = 0; kc < job.k; kc += kBlockK) {
            const int kb = job.k - kc < kBlockK ? job.k - kc : kBlockK;
            for (int p = 0; p < panels; ++p) {
                double* dst = packB.data() + static_cast<size_t>(p) * kb * NR;
                const int j0 = jc + p * NR;
                const int width = nb - p * NR < NR ? nb - p * NR : NR;
                for (int k = 0; k < kb; ++k) {
                    const double* src = job.right + (kc + k) * job.rightRow + j0;
                    for (int j = 0; j < width; ++j)
                        dst[k * NR + j] = src[j];
                    for (int j = width; j < NR; ++j)
                        dst[k * NR + j] = 0.0;
                }
            }
            for (int t0 = 0; t0 < myRows; t0 += MR) {
                const int height = myRows - t0 < MR ? myRows - t0 : MR;
                for (int r = 0; r < MR; ++r) {
                    const double* src =
                        job.left +
                        static_cast<long long>(rowOf(t0 + (r < height ? r : 0))) * job.leftRow;
                    for (int k = 0; k < kb; ++k)
                        packA[static_cast<size_t>(k * MR + r)] = src[(kc + k) * job.leftStep];
                }
                for (int p = 0; p < panels; ++p) {
                    const int j0 = jc + p * NR;
                    const int width = nb - p * NR < NR ? nb - p * NR : NR;
                    for (int r = 0; r < height; ++r) {
                        const double* o = job.out + rowOf(t0 + r) * job.outRow + j0;
                        for (int j = 0; j < width; ++j)
                            tile[static_cast<size_t>(r * NR + j)] = kc == 0 ? 0.0 : o[j];
                    }
                    kernel.tile(packA.data(), packB.data() + static_cast<size_t>(p) * kb * NR, kb,
                                tile.data());
                    for (int r = 0; r < height; ++r) {
                        double* o = job.out + rowOf(t0 + r) * job.outRow + j0;
                        for (int j = 0; j < width; ++j)
                            o[j] = tile[static_cast<size_t>(r * NR + j)];
                    }
                }
            }
        }
    }
}

// The forked work: one word, the job.
void ProductWorker(VxWord word) {
    const ProductJob& job = *reinterpret_cast<const ProductJob*>(word);
    ProductRows(job, job.thread->cautiousVxMpGetID(), job.thread->cautiousVxMpGetNProcs());
}

[[noreturn]] void DimensionsDontMatch() {
    std::fputs("Dimensions of matrix multiply don't match\n", stderr);
    std::abort();
}

} // namespace

// Every product comes here: result = op(a) · b with op(a) = a or aᵀ, forked
// through this object's VxMatrixThread. A result that is one of the operands
// (or shares storage with one) is computed into a fresh matrix first and
// copied in afterwards.
void VxMatrixArb::productOf(VxMatrixArb const* a, bool aTransposed, VxMatrixArb const* b,
                            VxMatrixArb* result) {
    const int m = aTransposed ? a->_columns : a->_rows;
    const int k = aTransposed ? a->_rows : a->_columns;
    if (b->_rows != k)
        DimensionsDontMatch();
    if (result->_data != nullptr && (result->_data == a->_data || result->_data == b->_data)) {
        VxMatrixArb fresh;
        productOf(a, aTransposed, b, &fresh);
        result->release();
        *result = fresh;
        return;
    }
    result->reshape(m, b->_columns);
    if (result->_data == nullptr || a->_data == nullptr || b->_data == nullptr)
        return;
    ProductJob job;
    job.thread = this;
    job.left = a->_data + 1;
    // Transposed, l(i, k) = A(k, i): the left operand walks down A's columns.
    job.leftRow = aTransposed ? 1 : a->_columns;
    job.leftStep = aTransposed ? a->_columns : 1;
    job.right = b->_data + 1;
    job.rightRow = b->_columns;
    job.out = result->_data + 1;
    job.outRow = result->_columns;
    job.m = m;
    job.n = b->_columns;
    job.k = k;
    cautiousVxMpFork(reinterpret_cast<VxMpWork>(ProductWorker), 1, reinterpret_cast<VxWord>(&job));
}

void VxMatrixArb::multiply(VxMatrixArb const* a, VxMatrixArb const* b, VxMatrixArb* result) {
    productOf(a, false, b, result);
}

void VxMatrixArb::XtM(VxMatrixArb const* m, VxMatrixArb* result) {
    productOf(this, true, m, result);
}

void VxMatrixArb::XtX(VxMatrixArb* result) {
    productOf(this, true, this, result);
}

// The operators' results carry the fork: the operands are only read.
VxMatrixArb VxMatrixArb::operator*(VxMatrixArb const& b) const {
    VxMatrixArb r;
    r.productOf(this, false, &b, &r);
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::XtX() const {
    VxMatrixArb r;
    r.productOf(this, true, this, &r);
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::XtM(VxMatrixArb const& m) const {
    VxMatrixArb r;
    r.productOf(this, true, &m, &r);
    r._temporary = 1;
    return r;
}
