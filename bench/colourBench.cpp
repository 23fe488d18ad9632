// Colour mapping costs, each beside its anchor in one run: a 2048 x 2048
// float image mapped to RGBA
// - through VxColourGrade::colour (eight keys, smooth),
// - through VxGradDescription::evaluate (eight nodes, smooth),
// - through VxColourGrade::colour with a key recoloured before every row, the
//   cost of bringing the tables up to date 2048 times,
// against a plain lookup in a 1024-entry RGBA table (both the grade and the
// gradient should cost at most three times the lookup).
#include "benchRatios.h"

#include "vxColourGrade.h"
#include "vxGrad.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr size_t kPixels = static_cast<size_t>(kSide) * kSide;

const std::vector<float>& source() {
    static const std::vector<float> pixels = [] {
        std::vector<float> p(kPixels);
        for (size_t i = 0; i < kPixels; ++i)
            p[i] = static_cast<float>((i * 2654435761u) >> 12 & 65535) / 65535.0f;
        return p;
    }();
    return pixels;
}

// Each pass is timed five times and the median stands for it: on a small
// shared machine single passes swing too much.
void Medians(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
}

std::vector<VxRGBAf>& output() {
    static std::vector<VxRGBAf> out(kPixels);
    return out;
}

const VxRGBAf kColours[] = {{0.1f, 0.0f, 0.3f, 1.0f}, {0.8f, 0.2f, 0.1f, 1.0f},
                            {1.0f, 0.8f, 0.2f, 1.0f}, {0.2f, 0.9f, 0.3f, 0.5f},
                            {0.0f, 0.5f, 1.0f, 1.0f}, {0.9f, 0.9f, 0.9f, 1.0f}};

VxColourGrade makeGrade() {
    VxColourGrade g;
    g.smooth = 1;
    for (int i = 0; i < 6; ++i)
        g.addColour(kColours[i], static_cast<float>(i + 1) / 7.0f);
    return g;
}

void BM_TableLookup(benchmark::State& state) {
    VxColourGrade g = makeGrade();
    std::vector<VxRGBAf> table(1024);
    for (int i = 0; i < 1024; ++i)
        table[i] = g.colour(static_cast<float>(i) / 1023.0f);
    const float* in = source().data();
    VxRGBAf* out = output().data();
    for (auto _ : state) {
        for (size_t i = 0; i < kPixels; ++i)
            out[i] = table[static_cast<int>(in[i] * 1023.0f)];
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kPixels));
}
BENCHMARK(BM_TableLookup)->Apply(Medians);

void BM_GradeColour(benchmark::State& state) {
    VxColourGrade g = makeGrade();
    g.prepare();
    const float* in = source().data();
    VxRGBAf* out = output().data();
    for (auto _ : state) {
        for (size_t i = 0; i < kPixels; ++i)
            out[i] = g.colour(in[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kPixels));
}
BENCHMARK(BM_GradeColour)->Apply(Medians);

void BM_GradeColourEditEveryRow(benchmark::State& state) {
    VxColourGrade g = makeGrade();
    const float* in = source().data();
    VxRGBAf* out = output().data();
    const int slot = g.slotAt(3);
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            g.changeColour(slot, kColours[y % 6]);
            const size_t row = static_cast<size_t>(y) * kSide;
            for (size_t i = row; i < row + kSide; ++i)
                out[i] = g.colour(in[i]);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kPixels));
}
BENCHMARK(BM_GradeColourEditEveryRow)->Apply(Medians);

void BM_GradEvaluate(benchmark::State& state) {
    VxGradDescription<VxRGBAf> g;
    g.smooth = 1;
    for (int i = 0; i < 6; ++i)
        g.insertNode(g.findFreeID(), kColours[i], static_cast<float>(i + 1) / 7.0f);
    g.sortPositions();
    const float* in = source().data();
    VxRGBAf* out = output().data();
    for (auto _ : state) {
        for (size_t i = 0; i < kPixels; ++i)
            out[i] = g.evaluate(in[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kPixels));
}
BENCHMARK(BM_GradEvaluate)->Apply(Medians);

// The three mappings of the same image side by side: each iteration maps the
// whole image through the lookup, the grade and the gradient in turn, so that
// all three see much the same state of a noisy machine (separate benchmarks
// run seconds apart and drift). Each pass reads the image from memory and
// writes its result back, as a real pass would; the order rotates from one
// iteration to the next so that none always follows the same neighbour.
// Counters: milliseconds per whole image for each, as the mean and as the
// fastest pass; on a shared machine the fastest is the least disturbed, and
// disturbances slow the computing passes more than the memory-bound lookup.
void BM_MapsInterleaved(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    VxColourGrade grade = makeGrade();
    grade.prepare();
    std::vector<VxRGBAf> table(1024);
    for (int i = 0; i < 1024; ++i)
        table[static_cast<size_t>(i)] = grade.colour(static_cast<float>(i) / 1023.0f);
    VxGradDescription<VxRGBAf> gradient;
    gradient.smooth = 1;
    for (int i = 0; i < 6; ++i)
        gradient.insertNode(gradient.findFreeID(), kColours[i], static_cast<float>(i + 1) / 7.0f);
    gradient.sortPositions();
    const float* in = source().data();
    VxRGBAf* out = output().data();
    double ms[3] = {0, 0, 0}; // lookup, grade, gradient
    double best[3] = {1e300, 1e300, 1e300};
    int64_t images = 0;
    for (auto _ : state) {
        for (int k = 0; k < 3; ++k) {
            const int which = static_cast<int>((images + k) % 3);
            const Clock::time_point t0 = Clock::now();
            if (which == 0) {
                for (size_t i = 0; i < kPixels; ++i)
                    out[i] = table[static_cast<size_t>(static_cast<int>(in[i] * 1023.0f))];
            } else if (which == 1) {
                for (size_t i = 0; i < kPixels; ++i)
                    out[i] = grade.colour(in[i]);
            } else {
                for (size_t i = 0; i < kPixels; ++i)
                    out[i] = gradient.evaluate(in[i]);
            }
            benchmark::ClobberMemory();
            const double pass =
                std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
            ms[which] += pass;
            best[which] = pass < best[which] ? pass : best[which];
        }
        ++images;
    }
    const double n = images > 0 ? static_cast<double>(images) : 1.0;
    state.counters["lookup_ms"] = ms[0] / n;
    state.counters["grade_ms"] = ms[1] / n;
    state.counters["gradient_ms"] = ms[2] / n;
    state.counters["lookup_best_ms"] = best[0];
    state.counters["grade_best_ms"] = best[1];
    state.counters["gradient_best_ms"] = best[2];
}
BENCHMARK(BM_MapsInterleaved)->Unit(benchmark::kMillisecond)->MinTime(3.0);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    source();
    output();
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("colour");
    table.ratio("grade colour(t), 2048^2 / 1024-entry table lookup", reporter,
                "BM_GradeColour/repeats:5", "BM_TableLookup/repeats:5");
    table.ratio("gradient evaluate(t), 2048^2 / 1024-entry table lookup", reporter,
                "BM_GradEvaluate/repeats:5", "BM_TableLookup/repeats:5");
    const std::string both = "BM_MapsInterleaved/min_time:3.000:";
    table.ratio("  grade, passes interleaved with the lookup, mean (<= 3)", reporter,
                both + "grade_ms", both + "lookup_ms");
    table.ratio("  gradient, passes interleaved with the lookup, mean (<= 3)", reporter,
                both + "gradient_ms", both + "lookup_ms");
    table.ratio("  grade, fastest pass / fastest lookup pass (<= 3)", reporter,
                both + "grade_best_ms", both + "lookup_best_ms");
    table.ratio("  gradient, fastest pass / fastest lookup pass (<= 3)", reporter,
                both + "gradient_best_ms", both + "lookup_best_ms");
    table.ratio("grade colour(t), one edit per row / no edits", reporter,
                "BM_GradeColourEditEveryRow/repeats:5", "BM_GradeColour/repeats:5");
    table.print();
    return 0;
}
