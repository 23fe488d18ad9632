// Fork and work-splitting costs, measured beside their anchors in one run:
// an empty OpenMP parallel region, and spawning and joining std::threads.
// The summary at the end prints the ratios.
#include "benchRatios.h"

#include "vxHost.h"
#include "vxMultiProcessor.h"
#include "vxStandaloneHost.h"

#include <benchmark/benchmark.h>
#include <omp.h>

#include <sys/resource.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

int hardwareThreads() {
    const unsigned n = std::thread::hardware_concurrency();
    return n == 0 ? 1 : static_cast<int>(n);
}

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

// Lets spinning workers of the previous benchmark (ours or OpenMP's) go to
// sleep, so that they do not compete with the next one.
void settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

void emptyWork() {
    benchmark::ClobberMemory();
}

void BM_VxMpFork(benchmark::State& state) {
    useWorkers(hardwareThreads());
    VxMpFork(&emptyWork, 0); // starts the pool
    settle();
    for (auto _ : state) {
        VxMpFork(&emptyWork, 0);
    }
}
BENCHMARK(BM_VxMpFork);

void BM_OpenMPRegion(benchmark::State& state) {
    const int n = hardwareThreads();
#pragma omp parallel num_threads(n)
    { emptyWork(); }
    settle();
    for (auto _ : state) {
#pragma omp parallel num_threads(n)
        { emptyWork(); }
    }
}
BENCHMARK(BM_OpenMPRegion);

// One fork after the workers have been idle for state.range(0) microseconds.
template <typename Fork>
void timeAfterIdle(benchmark::State& state, Fork fork) {
    fork();
    const auto idle = std::chrono::microseconds(state.range(0));
    for (auto _ : state) {
        std::this_thread::sleep_for(idle);
        const Clock::time_point t0 = Clock::now();
        fork();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - t0).count());
    }
}

void BM_VxMpForkAfterIdle(benchmark::State& state) {
    useWorkers(hardwareThreads());
    timeAfterIdle(state, [] { VxMpFork(&emptyWork, 0); });
}
BENCHMARK(BM_VxMpForkAfterIdle)->Arg(1000)->Arg(10000)->UseManualTime()->Iterations(100);

void BM_OpenMPRegionAfterIdle(benchmark::State& state) {
    const int n = hardwareThreads();
    timeAfterIdle(state, [n] {
#pragma omp parallel num_threads(n)
        { emptyWork(); }
    });
}
BENCHMARK(BM_OpenMPRegionAfterIdle)->Arg(1000)->Arg(10000)->UseManualTime()->Iterations(100);

void BM_StdThreadSpawnJoin(benchmark::State& state) {
    const int n = hardwareThreads();
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(n));
    settle();
    for (auto _ : state) {
        for (int i = 1; i < n; ++i) {
            threads.emplace_back(&emptyWork);
        }
        emptyWork();
        for (std::thread& t : threads) {
            t.join();
        }
        threads.clear();
    }
}
BENCHMARK(BM_StdThreadSpawnJoin);

// CPU time the whole process burns while idle after a fork: spinning workers
// must go to sleep on their own.
void BM_IdleCpuAfterFork(benchmark::State& state) {
    useWorkers(hardwareThreads());
    auto cpuSeconds = [] {
        rusage u{};
        getrusage(RUSAGE_SELF, &u);
        return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
               1e-6 * static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec);
    };
    double burnt = 0;
    for (auto _ : state) {
        VxMpFork(&emptyWork, 0);
        const double c0 = cpuSeconds();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        burnt += cpuSeconds() - c0;
    }
    state.counters["cpu_ms_per_100ms_idle"] = 1e3 * burnt / static_cast<double>(state.iterations());
}
BENCHMARK(BM_IdleCpuAfterFork)->Iterations(5)->Unit(benchmark::kMillisecond);

// A range-split pass over a 4096 x 4096 float image, a few operations a pixel.
constexpr int kSide = 4096;

void brightenRow(float* row) {
    for (int x = 0; x < kSide; ++x) {
        const float v = row[x];
        row[x] = (v * 0.75f + 0.125f) * (1.0f - v * 0.5f) + v * v * 0.25f;
    }
}

std::vector<float>& image() {
    static std::vector<float> pixels(static_cast<size_t>(kSide) * kSide, 0.5f);
    return pixels;
}

class Brighten : public VxMultiProcessor {
public:
    void sample() override {
        int y0 = 0, y1 = 0;
        range(kSide, y0, y1);
        for (int y = y0; y < y1; ++y)
            brightenRow(image().data() + static_cast<size_t>(y) * kSide);
    }
};

void BM_RangePass(benchmark::State& state) {
    useWorkers(static_cast<int>(state.range(0)));
    Brighten pass;
    pass.process(); // pages touched, pool started
    settle();
    for (auto _ : state)
        pass.process();
}

// The same pass as an OpenMP loop: what the machine's memory allows.
void BM_OpenMPPass(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    auto pass = [n] {
#pragma omp parallel for num_threads(n) schedule(static)
        for (int y = 0; y < kSide; ++y)
            brightenRow(image().data() + static_cast<size_t>(y) * kSide);
    };
    pass();
    settle();
    for (auto _ : state)
        pass();
}

// Memory-bound on a small machine, so its timing is noisy: the median of five
// repetitions stands for it.
BENCHMARK(BM_RangePass)->Apply(OneAndTwoWorkers);
BENCHMARK(BM_OpenMPPass)->Apply(OneAndTwoWorkers);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("fork and work splitting, " + std::to_string(hardwareThreads()) +
                     " hardware threads");
    table.ratio("fork round trip: VxMpFork / OpenMP region (<= 1 wanted)", reporter, "BM_VxMpFork",
                "BM_OpenMPRegion");
    table.ratio("after 1 ms idle: VxMpFork / OpenMP region", reporter,
                "BM_VxMpForkAfterIdle/1000/iterations:100/manual_time",
                "BM_OpenMPRegionAfterIdle/1000/iterations:100/manual_time");
    table.ratio("after 10 ms idle: VxMpFork / OpenMP region", reporter,
                "BM_VxMpForkAfterIdle/10000/iterations:100/manual_time",
                "BM_OpenMPRegionAfterIdle/10000/iterations:100/manual_time");
    table.ratio("spawn and join std::threads / VxMpFork", reporter, "BM_StdThreadSpawnJoin",
                "BM_VxMpFork");
    table.ratio("range pass 4096^2: 1 worker / 2 workers (>= 1.8 wanted)", reporter,
                "BM_RangePass/1/repeats:5/real_time", "BM_RangePass/2/repeats:5/real_time");
    table.ratio("same pass, OpenMP loop: 1 thread / 2 threads", reporter,
                "BM_OpenMPPass/1/repeats:5/real_time", "BM_OpenMPPass/2/repeats:5/real_time");
    table.ratio("range pass on 2 workers / OpenMP loop on 2 threads", reporter,
                "BM_RangePass/2/repeats:5/real_time", "BM_OpenMPPass/2/repeats:5/real_time");
    table.print();
    return 0;
}
