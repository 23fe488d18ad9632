// Arbitrary-size matrix costs, each beside its anchor in one run:
// - the 1024 x 1024 product on 1 and 2 workers against Eigen's single-threaded
//   product of the same matrices (targets: at most 1.5 times Eigen on one
//   worker, at most 0.8 times on two), the product staying bit-identical to
//   the column-order sum of products (checked once before timing);
// - dsvd of a 256 x 256 float matrix with U and V against LAPACK's reference
//   sgesvd computing U and Vᵀ (target: at most 1).
// Both anchors are built for generic x86-64, as this library is, which picks
// its vector unit at run time. Each pair is also timed interleaved in one
// benchmark, whose fastest passes are the steadiest figures on a busy machine.
#include "benchRatios.h"

#include "vxMatrixArb.h"
#include "vxMatrixArbModel.h"
#include "vxStandaloneHost.h"

#include <Eigen/Dense>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

extern "C" void sgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, float* a,
                        const int* lda, float* s, float* u, const int* ldu, float* vt,
                        const int* ldvt, float* work, const int* lwork, int* info, size_t, size_t);

namespace {

constexpr int kProductSide = 1024;
constexpr int kSvdSide = 256;

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

const VxMatrixArb& left() {
    static const VxMatrixArb m = RandomMatrix(kProductSide, kProductSide, 1);
    return m;
}
const VxMatrixArb& right() {
    static const VxMatrixArb m = RandomMatrix(kProductSide, kProductSide, 2);
    return m;
}

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

void BM_Product(benchmark::State& state) {
    useWorkers(static_cast<int>(state.range(0)));
    VxMatrixArb c(kProductSide, kProductSide);
    for (auto _ : state) {
        c.multiply(&left(), &right(), &c);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Product)->Apply(OneAndTwoWorkers);

void BM_EigenProduct(benchmark::State& state) {
    RowMajor a(kProductSide, kProductSide), b(kProductSide, kProductSide),
        c(kProductSide, kProductSide);
    std::memcpy(a.data(), left().data() + 1, sizeof(double) * kProductSide * kProductSide);
    std::memcpy(b.data(), right().data() + 1, sizeof(double) * kProductSide * kProductSide);
    for (auto _ : state) {
        c.noalias() = a * b;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_EigenProduct)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

const std::vector<float>& svdInput() {
    static const std::vector<float> a = [] {
        std::mt19937 g(3);
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        std::vector<float> v(static_cast<size_t>(kSvdSide) * kSvdSide);
        for (float& x : v)
            x = u(g);
        return v;
    }();
    return a;
}

void BM_Dsvd(benchmark::State& state) {
    const int n = kSvdSide;
    std::vector<float> a(svdInput().size()), v(svdInput().size()), w(n);
    std::vector<float*> ar(n), vr(n);
    for (int i = 0; i < n; ++i) {
        ar[static_cast<size_t>(i)] = a.data() + static_cast<size_t>(i) * n;
        vr[static_cast<size_t>(i)] = v.data() + static_cast<size_t>(i) * n;
    }
    for (auto _ : state) {
        a = svdInput();
        benchmark::DoNotOptimize(dsvd(ar.data(), n, n, w.data(), vr.data()));
    }
}
BENCHMARK(BM_Dsvd)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_Sgesvd(benchmark::State& state) {
    int n = kSvdSide, lwork = -1, info = 0;
    std::vector<float> a(svdInput().size()), u(a.size()), vt(a.size()), s(n);
    float query = 0;
    sgesvd_("A", "A", &n, &n, a.data(), &n, s.data(), u.data(), &n, vt.data(), &n, &query, &lwork,
            &info, 1, 1);
    lwork = static_cast<int>(query);
    std::vector<float> work(static_cast<size_t>(lwork));
    for (auto _ : state) {
        a = svdInput(); // the same numbers; column-major does not change the cost
        sgesvd_("A", "A", &n, &n, a.data(), &n, s.data(), u.data(), &n, vt.data(), &n, work.data(),
                &lwork, &info, 1, 1);
        benchmark::DoNotOptimize(info);
    }
}
BENCHMARK(BM_Sgesvd)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

// Passes timed side by side: each iteration runs every pass once, in an order
// that rotates from one iteration to the next, so that all see much the same
// state of a noisy machine. Counters: milliseconds per pass for each, as the
// mean and as the fastest; on a shared machine the fastest is the least
// disturbed.
void Interleave(benchmark::State& state, const std::vector<const char*>& names,
                const std::vector<std::function<void()>>& passes) {
    using Clock = std::chrono::steady_clock;
    const size_t n = passes.size();
    std::vector<double> total(n, 0.0), best(n, 1e300);
    int64_t rounds = 0;
    for (auto _ : state) {
        for (size_t k = 0; k < n; ++k) {
            const size_t which = (static_cast<size_t>(rounds) + k) % n;
            const Clock::time_point t0 = Clock::now();
            passes[which]();
            benchmark::ClobberMemory();
            const double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
            total[which] += ms;
            best[which] = std::min(best[which], ms);
        }
        ++rounds;
    }
    for (size_t i = 0; i < n; ++i) {
        state.counters[std::string(names[i]) + "_ms"] = total[i] / static_cast<double>(rounds);
        state.counters[std::string(names[i]) + "_best_ms"] = best[i];
    }
}

void BM_ProductsInterleaved(benchmark::State& state) {
    RowMajor a(kProductSide, kProductSide), b(kProductSide, kProductSide),
        e(kProductSide, kProductSide);
    std::memcpy(a.data(), left().data() + 1, sizeof(double) * kProductSide * kProductSide);
    std::memcpy(b.data(), right().data() + 1, sizeof(double) * kProductSide * kProductSide);
    VxMatrixArb c(kProductSide, kProductSide);
    auto ours = [&c](int workers) {
        useWorkers(workers);
        c.multiply(&left(), &right(), &c);
    };
    Interleave(state, {"eigen", "one", "two"},
               {[&] { e.noalias() = a * b; }, [&] { ours(1); }, [&] { ours(2); }});
}
BENCHMARK(BM_ProductsInterleaved)->Unit(benchmark::kMillisecond)->MinTime(5.0);

void BM_SvdInterleaved(benchmark::State& state) {
    int n = kSvdSide, lwork = -1, info = 0;
    std::vector<float> a(svdInput().size()), u(a.size()), vt(a.size()), s(n), v(a.size());
    std::vector<float*> ar(n), vr(n);
    for (int i = 0; i < n; ++i) {
        ar[static_cast<size_t>(i)] = a.data() + static_cast<size_t>(i) * n;
        vr[static_cast<size_t>(i)] = v.data() + static_cast<size_t>(i) * n;
    }
    float query = 0;
    sgesvd_("A", "A", &n, &n, a.data(), &n, s.data(), u.data(), &n, vt.data(), &n, &query, &lwork,
            &info, 1, 1);
    lwork = static_cast<int>(query);
    std::vector<float> work(static_cast<size_t>(lwork));
    Interleave(state, {"sgesvd", "dsvd"},
               {[&] {
                    a = svdInput();
                    sgesvd_("A", "A", &n, &n, a.data(), &n, s.data(), u.data(), &n, vt.data(), &n,
                            work.data(), &lwork, &info, 1, 1);
                },
                [&] {
                    a = svdInput();
                    dsvd(ar.data(), n, n, s.data(), vr.data());
                }});
}
BENCHMARK(BM_SvdInterleaved)->Unit(benchmark::kMillisecond)->MinTime(3.0);

// The 2-worker product against the plain column-order loop, bit for bit.
bool ProductIsTheColumnOrderSum() {
    useWorkers(2);
    VxMatrixArb c = left() * right();
    const int n = kProductSide;
    const double *a = left().data() + 1, *b = right().data() + 1;
    std::vector<double> row(n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j)
            row[static_cast<size_t>(j)] = 0.0;
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j)
                row[static_cast<size_t>(j)] += a[i * n + k] * b[k * n + j];
        if (std::memcmp(row.data(), c.getRow(i), sizeof(double) * n) != 0)
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    const bool exact = ProductIsTheColumnOrderSum();
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("arbitrary-size matrices");
    table.ratio("product 1024^2, 1 worker / Eigen 1 thread (<= 1.5)", reporter,
                "BM_Product/1/repeats:5/real_time", "BM_EigenProduct/repeats:5/real_time");
    table.ratio("product 1024^2, 2 workers / Eigen 1 thread (<= 0.8)", reporter,
                "BM_Product/2/repeats:5/real_time", "BM_EigenProduct/repeats:5/real_time");
    table.ratio("dsvd 256^2 with U, V / reference sgesvd with U, Vt (<= 1)", reporter,
                "BM_Dsvd/repeats:5", "BM_Sgesvd/repeats:5");
    const std::string p = "BM_ProductsInterleaved/min_time:5.000:";
    table.ratio("  interleaved, fastest: 1 worker / Eigen", reporter, p + "one_best_ms",
                p + "eigen_best_ms");
    table.ratio("  interleaved, fastest: 2 workers / Eigen", reporter, p + "two_best_ms",
                p + "eigen_best_ms");
    table.ratio("  interleaved, mean: 2 workers / Eigen", reporter, p + "two_ms", p + "eigen_ms");
    const std::string q = "BM_SvdInterleaved/min_time:3.000:";
    table.ratio("  interleaved, fastest: dsvd / sgesvd", reporter, q + "dsvd_best_ms",
                q + "sgesvd_best_ms");
    table.ratio("  interleaved, mean: dsvd / sgesvd", reporter, q + "dsvd_ms", q + "sgesvd_ms");
    table.print();
    std::printf("2-worker product bit-identical to the column-order sum: %s\n",
                exact ? "yes" : "NO");
    return exact ? 0 : 1;
}
