// The stand-alone host on its own: its fork contract, its thread life cycle
// and its configuration calls.
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;

unsigned long workerId() {
    unsigned long id = 99, other = 99;
    sparkMpInfo(&id, &other);
    EXPECT_EQ(other, 0u);
    return id;
}

int threadsInProcess() {
    int n = 0;
    if (DIR* d = opendir("/proc/self/task")) {
        while (dirent* e = readdir(d)) {
            n += e->d_name[0] != '.';
        }
        closedir(d);
    }
    return n;
}

// The count once it has stopped changing: a joined thread can still be listed
// for a moment while the kernel finishes its exit.
int settledThreadsInProcess() {
    int last = threadsInProcess();
    for (int same = 0, i = 0; same < 3 && i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const int now = threadsInProcess();
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

struct Rendezvous {
    int workers;
    std::atomic<int> arrived{0};
    std::atomic<int> runs[kMaxWorkers];
    std::atomic<bool> allMet{true};
};

// Every worker waits (bounded) until all have arrived: this only succeeds when
// the shares really run at the same time.
void meet(Rendezvous* r) {
    const unsigned long id = workerId();
    if (id < kMaxWorkers) {
        r->runs[id].fetch_add(1);
    }
    r->arrived.fetch_add(1);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (r->arrived.load() < r->workers) {
        if (std::chrono::steady_clock::now() > deadline) {
            r->allMet.store(false);
            return;
        }
        std::this_thread::yield();
    }
}

TEST(StandaloneHost, EveryWorkerRunsOnceConcurrentlyWithItsOwnNumber) {
    for (int n : {1, 2, 3, 4, 7}) {
        VxStandaloneHostSetWorkers(n);
        EXPECT_EQ(VxStandaloneHostWorkers(), n);
        Rendezvous r;
        r.workers = n;
        for (auto& c : r.runs) {
            c.store(0);
        }
        sparkMpFork(reinterpret_cast<VxMpWork>(&meet), 1, &r);
        EXPECT_TRUE(r.allMet.load()) << n << " workers";
        for (int id = 0; id < kMaxWorkers; ++id) {
            EXPECT_EQ(r.runs[id].load(), id < n ? 1 : 0) << "worker " << id << " of " << n;
        }
    }
    VxStandaloneHostSetWorkers(0);
    EXPECT_EQ(VxStandaloneHostWorkers(),
              static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));

    unsigned long outside = 7;
    sparkMpInfo(&outside, nullptr); // null pointers are skipped
    sparkMpInfo(nullptr, nullptr);
    EXPECT_EQ(outside, 0u);
}

void noArgs() {}

TEST(StandaloneHost, RefusesBadArgumentCounts) {
    VxStandaloneHostSetWorkers(3);

    testing::internal::CaptureStderr();
    sparkMpFork(&noArgs, 7);
    sparkMpFork(&noArgs, -2);
    sparkMpFork(nullptr, 0); // a null work function runs nothing
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("sparkMpFork - 7 arguments, at most 6 are supported"), std::string::npos);
    EXPECT_NE(err.find("sparkMpFork - -2 arguments"), std::string::npos);
}

void forkInside(std::atomic<int>* ran) {
    ran->fetch_add(1);
    sparkMpFork(reinterpret_cast<VxMpWork>(&forkInside), 1, ran);
    VxStandaloneHostSetWorkers(1);
    VxStandaloneHostShutdown();
}

TEST(StandaloneHost, WorkersCannotForkOrReconfigure) {
    VxStandaloneHostSetWorkers(3);
    std::atomic<int> ran{0};
    testing::internal::CaptureStderr();
    sparkMpFork(reinterpret_cast<VxMpWork>(&forkInside), 1, &ran);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(ran.load(), 3);
    EXPECT_NE(err.find("fork from inside a worker refused"), std::string::npos);
    EXPECT_NE(err.find("VxStandaloneHostSetWorkers - ignored inside a fork"), std::string::npos);
    EXPECT_NE(err.find("VxStandaloneHostShutdown - ignored inside a fork"), std::string::npos);
    EXPECT_EQ(VxStandaloneHostWorkers(), 3);
}

void throwOnWorkerZero(std::atomic<int>* done) {
    if (workerId() == 0) {
        throw std::runtime_error("share 0 failed");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    done->fetch_add(1);
}

TEST(StandaloneHost, AnExceptionInTheCallersShareWaitsForTheOthers) {
    VxStandaloneHostSetWorkers(3);
    std::atomic<int> done{0};
    EXPECT_THROW(sparkMpFork(reinterpret_cast<VxMpWork>(&throwOnWorkerZero), 1, &done),
                 std::runtime_error);
    EXPECT_EQ(done.load(), 2); // the other shares had finished when it left
    Rendezvous r;
    r.workers = 3;
    sparkMpFork(reinterpret_cast<VxMpWork>(&meet), 1, &r);
    EXPECT_TRUE(r.allMet.load());
}

void countUp(std::atomic<long>* n) {
    n->fetch_add(1, std::memory_order_relaxed);
}

// Forks from several threads at once are serialised, never interleaved.
struct Exclusive {
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<long> runs{0};
};
void exclusive(Exclusive* e) {
    if (workerId() == 0) {
        if (e->inside.fetch_add(1) != 0) {
            e->overlaps.fetch_add(1);
        }
        std::this_thread::yield();
        e->inside.fetch_sub(1);
    }
    e->runs.fetch_add(1);
}

TEST(StandaloneHost, ConcurrentForksAreSerialised) {
    VxStandaloneHostSetWorkers(2);
    Exclusive e;
    std::vector<std::thread> callers;
    for (int t = 0; t < 3; ++t) {
        callers.emplace_back([&e] {
            for (int i = 0; i < 300; ++i) {
                sparkMpFork(reinterpret_cast<VxMpWork>(&exclusive), 1, &e);
            }
        });
    }
    for (auto& t : callers) {
        t.join();
    }
    EXPECT_EQ(e.overlaps.load(), 0);
    EXPECT_EQ(e.runs.load(), 3 * 300 * 2);
}

TEST(StandaloneHost, ProgramNameAndCursorHandler) {
    EXPECT_STREQ(sparkProgramGetName(), "veltrix-standalone");
    VxStandaloneHostSetProgramName("flame");
    EXPECT_STREQ(sparkProgramGetName(), "flame");
    const std::string longName(400, 'n');
    VxStandaloneHostSetProgramName(longName.c_str());
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

// Thread life cycle, in fresh child processes so nothing has forked yet.
void lifeCycle() {
    const int atStart = threadsInProcess();
    VxStandaloneHostSetWorkers(4);
    const int beforeFork = threadsInProcess();
    std::atomic<long> n{0};
    sparkMpFork(reinterpret_cast<VxMpWork>(&countUp), 1, &n);
    const int afterFork = threadsInProcess();
    VxStandaloneHostShutdown();
    const int afterShutdown = settledThreadsInProcess();
    sparkMpFork(reinterpret_cast<VxMpWork>(&countUp), 1, &n);
    const int restarted = threadsInProcess();
    // Differences only: a sanitizer may add a helper thread of its own at the
    // first thread creation.
    std::fprintf(stderr, "before %d pool %d restarted %d runs %ld\n", beforeFork - atStart,
                 afterFork - afterShutdown, restarted - afterShutdown, n.load());
    std::exit(0); // the pool is stopped and joined by the exit handler
}

TEST(StandaloneHostDeathTest, ThreadsStartAtTheFirstForkAndStopOnRequest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(lifeCycle(), testing::ExitedWithCode(0), "before 0 pool 3 restarted 3 runs 8");
}

} // namespace
