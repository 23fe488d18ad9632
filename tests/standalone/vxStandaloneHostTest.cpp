// The stand-alone host on its own: its fork contract, its thread life cycle
// and its configuration calls.
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

unsigned long workerId() {
    unsigned long id = 99, other = 99;
    sparkMpInfo(&id, &other);
    EXPECT_EQ(other, 0u);
    return id;
}

template <typename F>
VxMpWork work(F f) {
    return reinterpret_cast<VxMpWork>(f);
}

long threadsInProcess() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

// The count once it has stopped changing: a joined thread can still be listed
// for a moment while the kernel finishes its exit.
long settledThreadsInProcess() {
    long last = threadsInProcess();
    for (int same = 0, i = 0; same < 3 && i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const long now = threadsInProcess();
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

// Every worker waits (bounded) until all have arrived: this only succeeds when
// the shares really run at the same time.
struct Rendezvous {
    int workers;
    std::atomic<int> arrived{0}, runs[kMaxWorkers]{};
    std::atomic<bool> allMet{true};
};

void meet(Rendezvous* r) {
    const unsigned long id = workerId();
    if (id < kMaxWorkers)
        r->runs[id].fetch_add(1);
    r->arrived.fetch_add(1);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (r->arrived.load() < r->workers) {
        if (std::chrono::steady_clock::now() > deadline)
            return r->allMet.store(false);
        std::this_thread::yield();
    }
}

TEST(StandaloneHost, EveryWorkerRunsOnceConcurrentlyWithItsOwnNumber) {
    for (int n : {1, 2, 3, 4, 7}) {
        VxStandaloneHostSetWorkers(n);
        Rendezvous r{n};
        sparkMpFork(work(&meet), 1, &r);
        EXPECT_TRUE(r.allMet.load()) << n << " workers";
        for (int id = 0; id < kMaxWorkers; ++id)
            EXPECT_EQ(r.runs[id].load(), id < n ? 1 : 0) << "worker " << id << " of " << n;
    }
    VxStandaloneHostSetWorkers(0);
    EXPECT_EQ(VxStandaloneHostWorkers(),
              static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
    unsigned long outside = 7;
    sparkMpInfo(&outside, nullptr); // null pointers are skipped
    sparkMpInfo(nullptr, nullptr);
    EXPECT_EQ(outside, 0u);
}

void forkInside(std::atomic<int>* ran) {
    ran->fetch_add(1);
    sparkMpFork(work(&forkInside), 1, ran);
    VxStandaloneHostSetWorkers(1);
    VxStandaloneHostShutdown();
}

// Bad argument counts, and forks or configuration from inside a worker, are
// refused with a line each; the outer fork still runs every share.
TEST(StandaloneHost, RefusesBadForksAndConfigurationInsideAFork) {
    VxStandaloneHostSetWorkers(3);
    std::atomic<int> ran{0};
    CaptureStderr();
    sparkMpFork(
        +[] {}, 7);
    sparkMpFork(
        +[] {}, -2);
    sparkMpFork(nullptr, 0); // a null work function runs nothing
    sparkMpFork(work(&forkInside), 1, &ran);
    const std::string err = GetCapturedStderr();
    for (const char* line :
         {"sparkMpFork - 7 arguments, at most 6 are supported", "sparkMpFork - -2 arguments",
          "fork from inside a worker refused", "VxStandaloneHostSetWorkers - ignored inside a fork",
          "VxStandaloneHostShutdown - ignored inside a fork"})
        EXPECT_NE(err.find(line), std::string::npos) << line;
    EXPECT_EQ(ran.load(), 3);
    EXPECT_EQ(VxStandaloneHostWorkers(), 3);
}

void throwOnWorkerZero(std::atomic<int>* done) {
    if (workerId() == 0)
        throw std::runtime_error("share 0 failed");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    done->fetch_add(1);
}

TEST(StandaloneHost, AnExceptionInTheCallersShareWaitsForTheOthers) {
    VxStandaloneHostSetWorkers(3);
    std::atomic<int> done{0};
    EXPECT_THROW(sparkMpFork(work(&throwOnWorkerZero), 1, &done), std::runtime_error);
    EXPECT_EQ(done.load(), 2); // the other shares had finished when it left
    Rendezvous r{3};           // and the pool still works
    sparkMpFork(work(&meet), 1, &r);
    EXPECT_TRUE(r.allMet.load());
}

// Forks from several threads at once are serialised, never interleaved.
struct Exclusive {
    std::atomic<int> inside{0}, overlaps{0};
    std::atomic<long> runs{0};
};

void exclusive(Exclusive* e) {
    if (workerId() == 0) {
        if (e->inside.fetch_add(1) != 0)
            e->overlaps.fetch_add(1);
        std::this_thread::yield();
        e->inside.fetch_sub(1);
    }
    e->runs.fetch_add(1);
}

TEST(StandaloneHost, ConcurrentForksAreSerialised) {
    VxStandaloneHostSetWorkers(2);
    Exclusive e;
    std::vector<std::thread> callers;
    for (int t = 0; t < 3; ++t)
        callers.emplace_back([&e] {
            for (int i = 0; i < 300; ++i)
                sparkMpFork(work(&exclusive), 1, &e);
        });
    for (auto& t : callers)
        t.join();
    EXPECT_EQ(e.overlaps.load(), 0);
    EXPECT_EQ(e.runs.load(), 3 * 300 * 2);
}

TEST(StandaloneHost, ProgramNameAndCursorHandler) {
    EXPECT_STREQ(sparkProgramGetName(), "veltrix-standalone");
    VxStandaloneHostSetProgramName("flame");
    EXPECT_STREQ(sparkProgramGetName(), "flame");
    VxStandaloneHostSetProgramName(std::string(400, 'n').c_str());
    EXPECT_EQ(std::strlen(sparkProgramGetName()), 255u);
    VxStandaloneHostSetProgramName(nullptr);
    EXPECT_STREQ(sparkProgramGetName(), "veltrix-standalone");

    std::vector<int> codes;
    sparkViewingCursor(3); // no handler: ignored
    VxStandaloneHostSetCursorHandler(
        [](int code, void* user) { static_cast<std::vector<int>*>(user)->push_back(code); },
        &codes);
    sparkViewingCursor(18);
    sparkViewingCursor(-1);
    VxStandaloneHostSetCursorHandler(nullptr, nullptr);
    sparkViewingCursor(10);
    EXPECT_EQ(codes, std::vector<int>({18, -1}));
}

// Thread life cycle, in a fresh child process so nothing has forked yet.
// Differences only: a sanitizer may add a helper thread of its own at the
// first thread creation.
void lifeCycle() {
    const long atStart = threadsInProcess();
    VxStandaloneHostSetWorkers(4);
    const long beforeFork = threadsInProcess();
    std::atomic<long> n{0};
    auto countUp = +[](std::atomic<long>* runs) { runs->fetch_add(1); };
    sparkMpFork(work(countUp), 1, &n);
    const long afterFork = threadsInProcess();
    VxStandaloneHostShutdown();
    const long afterShutdown = settledThreadsInProcess();
    sparkMpFork(work(countUp), 1, &n);
    std::fprintf(stderr, "before %ld pool %ld restarted %ld runs %ld\n", beforeFork - atStart,
                 afterFork - afterShutdown, threadsInProcess() - afterShutdown, n.load());
    std::exit(0); // the pool is stopped and joined by the exit handler
}

TEST(StandaloneHostDeathTest, ThreadsStartAtTheFirstForkAndStopOnRequest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(lifeCycle(), testing::ExitedWithCode(0), "before 0 pool 3 restarted 3 runs 8");
}

} // namespace
