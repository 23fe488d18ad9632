// Shape-mask costs, each beside its anchor in one run: filling a mask image
// row by row through the outer and inner intervals (zeros outside, the full
// density inside the core, density() only across the soft edge) against
// evaluating density() at every pixel. A soft rotated ellipse on a 2048 x 2048
// image, and a soft rotated box on 1000 x 1000 (box intervals reach no
// further than x = 1000 by design).
#include "benchRatios.h"

#include "vxShapeMask.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

void Place(VxCanonicalShapeMask& m, int side) {
    const float s = static_cast<float>(side);
    m.setCentre(0.5f * s, 0.47f * s);
    m.setSize(0.36f * s, 0.2f * s);
    m.setRotation(0.4f);
    m.setSoftness(0.08f);
    m.setup();
}

void FillEverywhere(VxShapeMask& m, int side, float* out) {
    for (int y = 0; y < side; ++y) {
        const float py = static_cast<float>(y) + 0.5f;
        float* row = out + static_cast<size_t>(y) * side;
        for (int x = 0; x < side; ++x)
            row[x] = m.density(HvVec2(static_cast<float>(x) + 0.5f, py));
    }
}

// Pixel x (centre x + 0.5) lies in [lo, hi] when first <= x < end.
void PixelSpan(const HvBox1& r, int side, int& first, int& end) {
    first = std::max(0, static_cast<int>(std::ceil(r.xmin - 0.5f)));
    end = std::min(side, static_cast<int>(std::floor(r.xmax - 0.5f)) + 1);
    end = std::max(end, first);
}

void FillByIntervals(VxShapeMask& m, int side, float* out) {
    const float full = m.maxDensity();
    for (int y = 0; y < side; ++y) {
        const float py = static_cast<float>(y) + 0.5f;
        float* row = out + static_cast<size_t>(y) * side;
        HvBox1 outer, inner;
        if (!m.outerBoundingLine(outer, py)) {
            std::fill(row, row + side, 0.0f);
            continue;
        }
        int x0, x1;
        PixelSpan(outer, side, x0, x1);
        std::fill(row, row + x0, 0.0f);
        std::fill(row + x1, row + side, 0.0f);
        // The core's ends are not trusted to the last bit: one pixel each side
        // goes through density() like the rest of the edge.
        int c0 = x1, c1 = x1;
        if (m.innerBoundingLine(inner, py)) {
            PixelSpan(inner, side, c0, c1);
            c0 = std::min(std::max(c0 + 1, x0), x1);
            c1 = std::max(std::min(c1 - 1, x1), c0);
        }
        for (int x = x0; x < c0; ++x)
            row[x] = m.density(HvVec2(static_cast<float>(x) + 0.5f, py));
        std::fill(row + c0, row + c1, full);
        for (int x = c1; x < x1; ++x)
            row[x] = m.density(HvVec2(static_cast<float>(x) + 0.5f, py));
    }
}

template <class Mask>
void BM_Everywhere(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Mask m;
    Place(m, side);
    std::vector<float> out(static_cast<size_t>(side) * side);
    for (auto _ : state) {
        FillEverywhere(m, side, out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(out.size()));
}

template <class Mask>
void BM_Intervals(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Mask m;
    Place(m, side);
    std::vector<float> out(static_cast<size_t>(side) * side);
    for (auto _ : state) {
        FillByIntervals(m, side, out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(out.size()));
}

BENCHMARK_TEMPLATE(BM_Everywhere, VxShapeMaskCircle)->Arg(2048)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Intervals, VxShapeMaskCircle)->Arg(2048)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Everywhere, VxShapeMaskBox)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Intervals, VxShapeMaskBox)->Arg(1000)->Unit(benchmark::kMillisecond);

// The two fills must agree, or the ratio compares different work: returns the
// largest difference between them.
template <class Mask>
float Disagreement(int side) {
    Mask m;
    Place(m, side);
    std::vector<float> a(static_cast<size_t>(side) * side), b(a.size());
    FillEverywhere(m, side, a.data());
    FillByIntervals(m, side, b.data());
    float worst = 0.0f;
    for (size_t i = 0; i < a.size(); ++i)
        worst = std::max(worst, std::fabs(a[i] - b[i]));
    return worst;
}

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    const float dc = Disagreement<VxShapeMaskCircle>(2048);
    const float db = Disagreement<VxShapeMaskBox>(1000);
    std::printf("interval fill against density everywhere, largest difference: ellipse %g, box "
                "%g\n",
                static_cast<double>(dc), static_cast<double>(db));

    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("shape masks");
    table.ratio("ellipse 2048^2: interval fill / density everywhere (< 1)", reporter,
                "BM_Intervals<VxShapeMaskCircle>/2048", "BM_Everywhere<VxShapeMaskCircle>/2048");
    table.ratio("box 1000^2: interval fill / density everywhere (< 1)", reporter,
                "BM_Intervals<VxShapeMaskBox>/1000", "BM_Everywhere<VxShapeMaskBox>/1000");
    table.print();
    return 0;
}
