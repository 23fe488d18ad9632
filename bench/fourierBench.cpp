// Fourier costs, each beside its anchor in one run:
// - VxFourierConvolvePass over the 2048 x 1025 half spectrum of a 2048 x 2048
//   image, on 1 and 2 workers, against a plain complex-multiply loop over the
//   same arrays on one thread;
// - vxPois3d on 63^3 and 127^3 grids with Dirichlet codes (1, 1, NPEROD 1)
//   and on 64^3 and 128^3 periodic in i and j (0, 0, NPEROD 1), against an
//   FFTW 3 three-dimensional real-to-real forward and inverse pair of the same
//   kinds on the same grid (RODFT00 for Dirichlet, R2HC/HC2R for periodic),
//   its plans made before the timing.
#include "benchRatios.h"

#include "vxFourierConvolvePass.h"
#include "vxHost.h"
#include "vxPois3d.h"
#include "vxStandaloneHost.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

namespace {

using Spectrum = VxTexture<VxComplex<float>, VxComplex<float>>;
constexpr int kSide = 2048;
constexpr size_t kPixels = static_cast<size_t>(kSide) * kSide;

// Two spectra; the second of unit magnitude, so that multiplying the first by
// it over and over keeps its values in range.
std::vector<VxComplex<float>>& spectrum(int which) {
    static std::vector<VxComplex<float>> s[2] = {
        [] {
            std::vector<VxComplex<float>> v(kPixels);
            for (size_t i = 0; i < kPixels; ++i)
                v[i] = VxComplex<float>(static_cast<float>(i % 7) * 0.1f,
                                        static_cast<float>(i % 5) * 0.1f);
            return v;
        }(),
        [] {
            std::vector<VxComplex<float>> v(kPixels);
            for (size_t i = 0; i < kPixels; ++i) {
                const double t = 0.001 * (i % 6283);
                v[i] = VxComplex<float>(static_cast<float>(std::cos(t)),
                                        static_cast<float>(std::sin(t)));
            }
            return v;
        }()};
    return s[which];
}

struct Multiply : VxImgProc {
    VxFourierConvolvePass pass{1.0f};
    Spectrum* a = nullptr;
    Spectrum* b = nullptr;
    void sample() override { pass.convolvePass(*a, *b, *this); }
};

void BM_ConvolvePass(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
    Spectrum a(kSide, kSide, spectrum(0).data()), b(kSide, kSide, spectrum(1).data());
    Multiply m;
    m.a = &a, m.b = &b;
    m.processImages(&a);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (auto _ : state) {
        m.processImages(&a);
        benchmark::ClobberMemory();
    }
    SpMpSetSize(1, 1, 1);
}
BENCHMARK(BM_ConvolvePass)->Apply(OneAndTwoWorkers);

// The anchor: the same products, written as the obvious loop.
void BM_PlainComplexMultiply(benchmark::State& state) {
    VxComplex<float>* a = spectrum(0).data();
    const VxComplex<float>* b = spectrum(1).data();
    const float scale = 1.0f;
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            VxComplex<float>* ra = a + static_cast<size_t>(y) * kSide;
            const VxComplex<float>* rb = b + static_cast<size_t>(y) * kSide;
            for (int x = 0; x <= kSide / 2; ++x) {
                const float re = ra[x].re * rb[x].re - ra[x].im * rb[x].im;
                const float im = ra[x].re * rb[x].im + ra[x].im * rb[x].re;
                ra[x].re = re * scale;
                ra[x].im = im * scale;
            }
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_PlainComplexMultiply)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

struct Grid {
    int code, size;
    std::vector<float> f, a, b, c;
    explicit Grid(int cd, int n) : code(cd), size(n) {
        const size_t total = static_cast<size_t>(n) * n * n;
        f.resize(total);
        for (size_t i = 0; i < total; ++i)
            f[i] = static_cast<float>((i * 2654435761u) >> 20 & 255) / 255.0f - 0.5f;
        a.assign(static_cast<size_t>(n), 1.0f);
        c.assign(static_cast<size_t>(n), 1.0f);
        b.assign(static_cast<size_t>(n), -2.0f);
        a[0] = 0.0f;
        c[static_cast<size_t>(n - 1)] = 0.0f;
    }
};

// state.range(0): grid size; range(1): i and j code (1 Dirichlet, 0 periodic).
void BM_Pois3d(benchmark::State& state) {
    Grid g(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)));
    std::vector<float> rhs = g.f;
    int np = 1, ierror = 0;
    const float c1 = 1.0f, c2 = 1.0f;
    vxPois3d(&g.code, &g.size, &c1, &g.code, &g.size, &c2, &np, &g.size, g.a.data(), g.b.data(),
             g.c.data(), &g.size, &g.size, rhs.data(), &ierror, nullptr); // plans the size
    for (auto _ : state) {
        state.PauseTiming();
        rhs = g.f;
        state.ResumeTiming();
        vxPois3d(&g.code, &g.size, &c1, &g.code, &g.size, &c2, &np, &g.size, g.a.data(), g.b.data(),
                 g.c.data(), &g.size, &g.size, rhs.data(), &ierror, nullptr);
        benchmark::ClobberMemory();
    }
    if (ierror != 0)
        state.SkipWithError("vxPois3d failed");
}

void BM_Fftw3dPair(benchmark::State& state) {
    Grid g(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)));
    const int n = g.size;
    float* x = fftwf_alloc_real(g.f.size());
    const fftwf_r2r_kind fk = g.code == 0 ? FFTW_R2HC : FFTW_RODFT00;
    const fftwf_r2r_kind ik = g.code == 0 ? FFTW_HC2R : FFTW_RODFT00;
    fftwf_plan fwd = fftwf_plan_r2r_3d(n, n, n, x, x, FFTW_RODFT00, fk, fk, FFTW_MEASURE);
    fftwf_plan inv = fftwf_plan_r2r_3d(n, n, n, x, x, FFTW_RODFT00, ik, ik, FFTW_MEASURE);
    std::copy(g.f.begin(), g.f.end(), x);
    for (auto _ : state) {
        state.PauseTiming();
        std::copy(g.f.begin(), g.f.end(), x);
        state.ResumeTiming();
        fftwf_execute(fwd);
        fftwf_execute(inv);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(fwd);
    fftwf_destroy_plan(inv);
    fftwf_free(x);
}

void PoissonGrids(benchmark::internal::Benchmark* b) {
    b->Args({63, 1})->Args({127, 1})->Args({64, 0})->Args({128, 0});
    b->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5)->ReportAggregatesOnly(true);
}
BENCHMARK(BM_Pois3d)->Apply(PoissonGrids);
BENCHMARK(BM_Fftw3dPair)->Apply(PoissonGrids);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv))
        return 1;
    RatioReporter reporter;
    RunBenchmarks(reporter);
    RatioTable table("Fourier pass and Poisson solver (target: pass <= 1.2, 1 / 2 workers >= "
                     "1.7, solver <= 0.7)");
    table.ratio("convolvePass, 1 worker / plain complex multiply", reporter,
                "BM_ConvolvePass/1/repeats:5/real_time",
                "BM_PlainComplexMultiply/repeats:5/real_time");
    table.ratio("convolvePass, 1 worker / 2 workers", reporter,
                "BM_ConvolvePass/1/repeats:5/real_time", "BM_ConvolvePass/2/repeats:5/real_time");
    for (const char* grid : {"63/1", "127/1", "64/0", "128/0"}) {
        const std::string g(grid);
        table.ratio("vxPois3d / FFTW 3 3-D r2r pair, " + g.substr(0, g.find('/')) + "^3 " +
                        (g.back() == '1' ? "Dirichlet" : "periodic i, j"),
                    reporter, "BM_Pois3d/" + g + "/repeats:5/real_time",
                    "BM_Fftw3dPair/" + g + "/repeats:5/real_time");
    }
    table.print();
    return 0;
}
