// The managed heap against glibc, side by side in one run:
// - an allocate/free pair, untouched, for sizes from 64 KiB to 16 MiB;
// - an image-buffer workload: 32 live buffers of 64 KiB to 16 MiB with random
//   lifetimes, every page touched, from the heap, from glibc as it comes, and
//   from glibc with a fixed mmap threshold (a host that tuned its allocator:
//   every large buffer is a fresh mapping that page-faults anew).
// The summary prints the ratios. The fixed-threshold runs come last, because
// mallopt changes glibc for the rest of the process.
#include "benchRatios.h"

#include "vxHeap.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr unsigned long kBlockSize = 1536ul
                                     << 20; // the host's block: room for 32 x 16 MiB and more

// The block a host would hand over, touched once so that it is resident.
char* hostBlock() {
    static char* block = [] {
        auto* b = static_cast<char*>(std::malloc(kBlockSize));
        if (b != nullptr) {
            std::memset(b, 0, kBlockSize);
        }
        return b;
    }();
    return block;
}

void installHeap() {
    VxReleaseHeapMemoryPtr();
    VxSetHeapMemoryPtr(hostBlock(), kBlockSize);
}

void BM_HeapPair(benchmark::State& state) {
    installHeap();
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        void* p = VxImgAlloc(n);
        benchmark::DoNotOptimize(p);
        VxImgFree(p);
    }
    VxReleaseHeapMemoryPtr();
}

// The two pairs timed in alternating bursts within one benchmark, so that
// both see the same state of a noisy machine; separate benchmarks run seconds
// apart and drift. Counters: nanoseconds per pair of each, as the mean and in
// the fastest burst (the least disturbed figure on a shared machine).
void BM_PairsInterleaved(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    constexpr int kBurst = 64;
    installHeap();
    const int n = static_cast<int>(state.range(0));
    double heapNs = 0, mallocNs = 0;
    double heapBest = 1e300, mallocBest = 1e300;
    int64_t pairs = 0;
    for (auto _ : state) {
        const Clock::time_point t0 = Clock::now();
        for (int k = 0; k < kBurst; ++k) {
            void* p = VxImgAlloc(n);
            benchmark::DoNotOptimize(p);
            VxImgFree(p);
        }
        const Clock::time_point t1 = Clock::now();
        for (int k = 0; k < kBurst; ++k) {
            void* p = std::malloc(static_cast<size_t>(n));
            benchmark::DoNotOptimize(p);
            std::free(p);
        }
        const Clock::time_point t2 = Clock::now();
        const double heapBurst = std::chrono::duration<double, std::nano>(t1 - t0).count();
        const double mallocBurst = std::chrono::duration<double, std::nano>(t2 - t1).count();
        heapNs += heapBurst;
        mallocNs += mallocBurst;
        heapBest = heapBurst < heapBest ? heapBurst : heapBest;
        mallocBest = mallocBurst < mallocBest ? mallocBurst : mallocBest;
        pairs += kBurst;
    }
    VxReleaseHeapMemoryPtr();
    state.counters["heap_ns"] = pairs > 0 ? heapNs / static_cast<double>(pairs) : 0.0;
    state.counters["malloc_ns"] = pairs > 0 ? mallocNs / static_cast<double>(pairs) : 0.0;
    state.counters["heap_best_ns"] = pairs > 0 ? heapBest / kBurst : 0.0;
    state.counters["malloc_best_ns"] = pairs > 0 ? mallocBest / kBurst : 0.0;
}

void BM_MallocPair(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void* p = std::malloc(n);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}

// The same sequence of sizes and lifetimes for every allocator.
struct Workload {
    struct Step {
        int slot;
        int bytes;
    };
    std::vector<Step> steps;
    Workload() {
        std::mt19937 random(1234);
        std::uniform_int_distribution<int> slot(0, 31);
        std::uniform_int_distribution<int> log2Size(16, 24); // 64 KiB .. 16 MiB
        std::uniform_int_distribution<int> fraction(0, 1023);
        for (int i = 0; i < 400; ++i) {
            const int size = (1 << log2Size(random)) + fraction(random) * 64;
            steps.push_back({slot(random), size});
        }
    }
};

const Workload& workload() {
    static const Workload w;
    return w;
}

template <typename Alloc, typename Free>
void runWorkload(benchmark::State& state, Alloc alloc, Free release) {
    void* live[32] = {};
    for (auto _ : state) {
        for (const Workload::Step& s : workload().steps) {
            release(live[s.slot]);
            auto* p = static_cast<char*>(alloc(s.bytes));
            for (int off = 0; off < s.bytes; off += 4096) {
                p[off] = static_cast<char>(off); // touch every page
            }
            live[s.slot] = p;
        }
        for (void*& p : live) {
            release(p);
            p = nullptr;
        }
    }
}

void BM_WorkloadHeap(benchmark::State& state) {
    installHeap();
    runWorkload(
        state, [](int n) { return VxImgAlloc(n); }, [](void* p) { VxImgFree(p); });
    unsigned long total = 0, initial = 0, inUse = 0, avail = 0;
    VxGetHeapStats(total, initial, inUse, avail);
    // Everything freed: the space should be back to one free block.
    state.counters["heap_in_use_after"] = static_cast<double>(inUse);
    state.counters["heap_avail_after_MiB"] = static_cast<double>(avail) / (1 << 20);
    VxReleaseHeapMemoryPtr();
}

void BM_WorkloadMalloc(benchmark::State& state) {
    runWorkload(
        state, [](int n) { return std::malloc(static_cast<size_t>(n)); },
        [](void* p) { std::free(p); });
}

void BM_WorkloadMallocFixedMmap(benchmark::State& state) {
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    runWorkload(
        state, [](int n) { return std::malloc(static_cast<size_t>(n)); },
        [](void* p) { std::free(p); });
}

BENCHMARK(BM_HeapPair)->RangeMultiplier(4)->Range(64 << 10, 16 << 20);
BENCHMARK(BM_MallocPair)->RangeMultiplier(4)->Range(64 << 10, 16 << 20);
BENCHMARK(BM_PairsInterleaved)->RangeMultiplier(4)->Range(64 << 10, 16 << 20);
BENCHMARK(BM_WorkloadHeap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WorkloadMalloc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WorkloadMallocFixedMmap)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    if (hostBlock() == nullptr) {
        std::fprintf(stderr, "heapBench: cannot get the %lu-byte host block\n", kBlockSize);
        return 1;
    }
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("managed heap against glibc malloc");
    for (int size = 64 << 10; size <= 16 << 20; size *= 4) {
        const std::string arg = "/" + std::to_string(size);
        table.ratio("alloc/free pair " + std::to_string(size >> 10) + " KiB: heap / malloc",
                    reporter, "BM_HeapPair" + arg, "BM_MallocPair" + arg);
        table.ratio("  same, interleaved in one benchmark (<= 1.5)", reporter,
                    "BM_PairsInterleaved" + arg + ":heap_ns",
                    "BM_PairsInterleaved" + arg + ":malloc_ns");
        table.ratio("  same, fastest burst of each (<= 1.5)", reporter,
                    "BM_PairsInterleaved" + arg + ":heap_best_ns",
                    "BM_PairsInterleaved" + arg + ":malloc_best_ns");
    }
    table.ratio("workload: heap / malloc (<= 1 wanted)", reporter, "BM_WorkloadHeap",
                "BM_WorkloadMalloc");
    table.ratio("workload: fixed-mmap malloc / heap (>= 20 wanted)", reporter,
                "BM_WorkloadMallocFixedMmap", "BM_WorkloadHeap");
    table.print();
    return 0;
}
