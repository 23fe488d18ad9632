// Image costs, each beside its anchor in one run:
// - building the mip chain of a 4096 x 4096 float texture against memcpy of
//   the same buffer (the chain should read its source at no less than half
//   memcpy's bandwidth);
// - a VxImgProc resample through BiLerpPixel on 1 and on 2 workers;
// - BiLerpPixel against a hand-written clamped bilinear lookup.
#include "benchRatios.h"

#include "vxHost.h"
#include "vxImgProc.h"
#include "vxStandaloneHost.h"
#include "vxTexture.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr int kSide = 4096;
constexpr size_t kPixels = static_cast<size_t>(kSide) * kSide;

std::vector<float>& source() {
    static std::vector<float> pixels = [] {
        std::vector<float> p(kPixels);
        for (size_t i = 0; i < kPixels; ++i)
            p[i] = static_cast<float>((i * 2654435761u) >> 16 & 1023) / 1023.0f;
        return p;
    }();
    return pixels;
}

void BM_MipChain(benchmark::State& state) {
    VxMipTex<float, float> tex(kSide, kSide, source().data());
    for (auto _ : state) {
        tex.MakeMipMaps();
        benchmark::DoNotOptimize(tex.levelCount);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kPixels * sizeof(float)));
}
BENCHMARK(BM_MipChain)->Unit(benchmark::kMillisecond);

void BM_Memcpy(benchmark::State& state) {
    static std::vector<float> copy(kPixels);
    for (auto _ : state) {
        std::memcpy(copy.data(), source().data(), kPixels * sizeof(float));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kPixels * sizeof(float)));
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

// A slight rotation and scale of the source into a new image.
struct Resample : VxImgProc {
    const VxTexture<float, float>* src = nullptr;
    float* out = nullptr;
    void sample() override {
        int y0, y1, x0, x1;
        getYRange(y0, y1);
        getXRange(x0, x1);
        for (int y = y0; y < y1; ++y) {
            float* row = out + static_cast<size_t>(y) * kSide;
            for (int x = x0; x < x1; ++x) {
                const float u =
                    0.93f * static_cast<float>(x) + 0.05f * static_cast<float>(y) + 3.7f;
                const float v =
                    -0.05f * static_cast<float>(x) + 0.93f * static_cast<float>(y) + 2.2f;
                row[x] = src->BiLerpPixel(u, v);
            }
        }
    }
};

void BM_ResampleFrame(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
    VxTexture<float, float> src(kSide, kSide, source().data());
    src.SetEdgeMethod(kVxTexEdgeClamp, kVxTexEdgeClamp);
    static std::vector<float> out(kPixels);
    VxTexIndexer image(kSide, kSide);
    Resample r;
    r.src = &src;
    r.out = out.data();
    r.processImages(&image);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (auto _ : state) {
        r.processImages(&image);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ResampleFrame)->Apply(OneAndTwoWorkers);

// Bilinear lookups along a slightly rotated 256 x 256 grid, one thread: the
// library's sampler and the obvious clamped lookup written out by hand. The
// grid starts outside the image so that both meet the edges too.
std::vector<std::pair<float, float>>& positions() {
    static std::vector<std::pair<float, float>> p = [] {
        std::vector<std::pair<float, float>> v;
        for (int j = 0; j < 256; ++j)
            for (int i = 0; i < 256; ++i)
                v.push_back(
                    {0.97f * static_cast<float>(i) + 0.11f * static_cast<float>(j) - 3.3f,
                     -0.11f * static_cast<float>(i) + 0.97f * static_cast<float>(j) + 40.6f});
        return v;
    }();
    return p;
}

float handBilinear(const float* img, float x, float y) {
    const float fx0 = x - 0.5f, fy0 = y - 0.5f;
    const float bx = std::floor(fx0), by = std::floor(fy0);
    const float fx = fx0 - bx, fy = fy0 - by;
    auto clampIndex = [](float f) {
        return static_cast<int>(std::min(std::max(f, 0.0f), 4095.0f));
    };
    const int x0 = clampIndex(bx), x1 = clampIndex(bx + 1), y0 = clampIndex(by),
              y1 = clampIndex(by + 1);
    const float* r0 = img + static_cast<size_t>(y0) * kSide;
    const float* r1 = img + static_cast<size_t>(y1) * kSide;
    const float top = r0[x0] * (1.0f - fx) + r0[x1] * fx;
    const float bottom = r1[x0] * (1.0f - fx) + r1[x1] * fx;
    return top * (1.0f - fy) + bottom * fy;
}

void BM_BiLerpPixel(benchmark::State& state) {
    VxTexture<float, float> src(kSide, kSide, source().data());
    src.SetEdgeMethod(kVxTexEdgeClamp, kVxTexEdgeClamp);
    float sum = 0;
    for (auto _ : state) {
        for (const auto& p : positions())
            sum += src.BiLerpPixel(p.first, p.second);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(positions().size()));
}
BENCHMARK(BM_BiLerpPixel);

void BM_HandBilinear(benchmark::State& state) {
    const float* img = source().data();
    float sum = 0;
    for (auto _ : state) {
        for (const auto& p : positions())
            sum += handBilinear(img, p.first, p.second);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(positions().size()));
}
BENCHMARK(BM_HandBilinear);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    source();
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("images");
    table.ratio("mip chain 4096^2 / memcpy of its source (<= 2 wanted)", reporter, "BM_MipChain",
                "BM_Memcpy");
    table.ratio("BiLerp resample frame: 1 worker / 2 workers (>= 1.8)", reporter,
                "BM_ResampleFrame/1/repeats:5/real_time", "BM_ResampleFrame/2/repeats:5/real_time");
    table.ratio("BiLerpPixel / hand-written clamped bilinear (<= 1.5)", reporter, "BM_BiLerpPixel",
                "BM_HandBilinear");
    table.print();
    return 0;
}
