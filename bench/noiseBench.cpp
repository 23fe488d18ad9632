// Noise costs, each beside its anchor in one run:
// - 8-octave 3-D fractal noise on one thread, one sample at a time
//   (HvFractalNoise::value8) and a row at a time (valueRow8), against
//   libnoise's Perlin module at 8 octaves (default quality) and
//   stb_perlin_fbm_noise3 at 8 octaves (lacunarity 2, gain 0.5), all over the
//   same 64 x 64 grid of samples;
// - a 2048 x 2048 noise image through VxImgProc on 1 and on 2 workers.
#include "benchRatios.h"

#include "hvNoise.h"
#include "vxHost.h"
#include "vxImgProc.h"
#include "vxStandaloneHost.h"
#include "vxTexIndexer.h"

#include <benchmark/benchmark.h>

#include <libnoise/noise.h>
#define STB_PERLIN_IMPLEMENTATION
#include <stb/stb_perlin.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

// The grid every one-thread benchmark evaluates: 64 x 64 samples 0.037 apart
// on a slanted plane, away from the lattice.
constexpr int kGrid = 64;
constexpr int64_t kGridSamples = kGrid * kGrid;
constexpr float kStep = 0.037f;

inline float GridX(int i) {
    return 3.3f + kStep * static_cast<float>(i);
}
inline float GridY(int j) {
    return -1.7f + kStep * static_cast<float>(j);
}
inline float GridZ(int j) {
    return 0.61f + 0.011f * static_cast<float>(j);
}

// Median of five runs: the machine these run on is shared.
void FiveRuns(benchmark::internal::Benchmark* b) {
    b->Repetitions(5)->ReportAggregatesOnly(true);
}

const HvFractalNoise& Fractal() {
    static const HvFractalNoise n(17);
    return n;
}

void BM_Value8(benchmark::State& state) {
    const HvFractalNoise& n = Fractal();
    float sum = 0;
    for (auto _ : state)
        for (int j = 0; j < kGrid; ++j)
            for (int i = 0; i < kGrid; ++i)
                sum += n.value8(GridX(i), GridY(j), GridZ(j));
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * kGridSamples);
}
BENCHMARK(BM_Value8)->Apply(FiveRuns);

void BM_ValueRow8(benchmark::State& state) {
    const HvFractalNoise& n = Fractal();
    std::vector<float> row(kGrid);
    float sum = 0;
    for (auto _ : state)
        for (int j = 0; j < kGrid; ++j) {
            n.valueRow8(row.data(), kGrid, GridX(0), kStep, GridY(j), GridZ(j));
            sum += row[static_cast<size_t>(j)];
        }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * kGridSamples);
}
BENCHMARK(BM_ValueRow8)->Apply(FiveRuns);

void BM_LibnoisePerlin(benchmark::State& state) {
    noise::module::Perlin perlin;
    perlin.SetOctaveCount(8);
    double sum = 0;
    for (auto _ : state)
        for (int j = 0; j < kGrid; ++j)
            for (int i = 0; i < kGrid; ++i)
                sum += perlin.GetValue(GridX(i), GridY(j), GridZ(j));
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * kGridSamples);
}
BENCHMARK(BM_LibnoisePerlin)->Apply(FiveRuns);

void BM_StbFbm(benchmark::State& state) {
    float sum = 0;
    for (auto _ : state)
        for (int j = 0; j < kGrid; ++j)
            for (int i = 0; i < kGrid; ++i)
                sum += stb_perlin_fbm_noise3(GridX(i), GridY(j), GridZ(j), 2.0f, 0.5f, 8);
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * kGridSamples);
}
BENCHMARK(BM_StbFbm)->Apply(FiveRuns);

// A whole noise image, one valueRow8 per image row, split over the workers.
constexpr int kSide = 2048;

struct NoiseImage : VxImgProc {
    const HvFractalNoise* noise = nullptr;
    float* out = nullptr;
    void sample() override {
        int y0, y1, x0, x1;
        getYRange(y0, y1);
        getXRange(x0, x1);
        for (int y = y0; y < y1; ++y)
            noise->valueRow8(out + static_cast<size_t>(y) * kSide + x0, x1 - x0,
                             0.01f * static_cast<float>(x0), 0.01f, 0.01f * static_cast<float>(y),
                             4.2f);
    }
};

void BM_NoiseImage(benchmark::State& state) {
    const int workers = static_cast<int>(state.range(0));
    VxStandaloneHostSetWorkers(workers);
    SpMpSetSize(workers, 1, workers);
    static std::vector<float> out(static_cast<size_t>(kSide) * kSide);
    VxTexIndexer image(kSide, kSide);
    NoiseImage effect;
    effect.noise = &Fractal();
    effect.out = out.data();
    effect.processImages(&image);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (auto _ : state) {
        effect.processImages(&image);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSide) * kSide);
}
BENCHMARK(BM_NoiseImage)->Apply(OneAndTwoWorkers);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    Fractal();
    RatioReporter reporter;
    RunBenchmarks(reporter);

    // Every one-thread benchmark evaluates the same 4096 samples per
    // iteration, so a ratio of times is the inverse ratio of samples per
    // second: 0.33 means three times the anchor's throughput.
    RatioTable table("noise (time per sample, ours / anchor)");
    table.ratio("value8 3-D / libnoise Perlin 8 octaves", reporter, "BM_Value8/repeats:5",
                "BM_LibnoisePerlin/repeats:5");
    table.ratio("valueRow8 3-D / libnoise Perlin 8 octaves (<= 0.33)", reporter,
                "BM_ValueRow8/repeats:5", "BM_LibnoisePerlin/repeats:5");
    table.ratio("value8 3-D / stb_perlin_fbm_noise3 8 octaves", reporter, "BM_Value8/repeats:5",
                "BM_StbFbm/repeats:5");
    table.ratio("valueRow8 3-D / stb_perlin_fbm_noise3 8 octaves (<= 0.8)", reporter,
                "BM_ValueRow8/repeats:5", "BM_StbFbm/repeats:5");
    table.ratio("noise image 2048^2 frame: 1 worker / 2 workers (>= 1.8)", reporter,
                "BM_NoiseImage/1/repeats:5/real_time", "BM_NoiseImage/2/repeats:5/real_time");
    table.print();
    return 0;
}
