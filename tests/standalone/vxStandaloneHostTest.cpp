// The stand-alone host on its own: its fork contract, its thread life cycle
// and its configuration calls.
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
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

void throwOnWorkerTwo(std::atomic<int>* done) {
    if (workerId() == 2)
        throw std::runtime_error("share 2 failed");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    done->fetch_add(1);
}

// An exception escaping a pool thread's share is caught there and handed to
// the forking thread once the fork is over, instead of ending the process.
TEST(StandaloneHost, AnExceptionInAPoolThreadsShareReachesTheCaller) {
    for (int round = 0; round < 3; ++round) {
        VxStandaloneHostSetWorkers(4);
        std::atomic<int> done{0};
        try {
            sparkMpFork(work(&throwOnWorkerTwo), 1, &done);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "share 2 failed");
        }
        EXPECT_EQ(done.load(), 3);
        Rendezvous r{4}; // the pool still works, all at once
        sparkMpFork(work(&meet), 1, &r);
        EXPECT_TRUE(r.allMet.load());
    }
}

// Every share throws: the first one thrown leaves, the rest are dropped. The
// shares that run serially (one worker) are all run too.
struct Thrower {
    int first;
    std::atomic<int> thrown{0};
};

void throwLater(Thrower* t) {
    const int id = static_cast<int>(workerId());
    if (id != t->first)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    t->thrown.fetch_add(1);
    throw id;
}

TEST(StandaloneHost, OnlyTheFirstExceptionLeaves) {
    for (int workers : {1, 3}) {
        VxStandaloneHostSetWorkers(workers);
        for (int first = 0; first < workers; ++first) {
            Thrower t{first};
            try {
                sparkMpFork(work(&throwLater), 1, &t);
                ADD_FAILURE() << "no exception";
            } catch (int id) {
                EXPECT_EQ(id, first) << workers;
            }
            EXPECT_EQ(t.thrown.load(), workers);
        }
    }
    std::atomic<int> n{0}; // and the pool goes on

    sparkMpFork(work(+[](std::atomic<int>* runs) { runs->fetch_add(1); }), 1, &n);
    EXPECT_EQ(n.load(), 3);
}

// Worker numbers each thread ran, and on how many threads they ran.
struct Spread {
    std::atomic<int> runs[kMaxWorkers]{};
    std::mutex mutex;
    std::vector<std::thread::id> threads;
};

void spread(Spread* s) {
    const unsigned long id = workerId();
    if (id < kMaxWorkers)
        s->runs[id].fetch_add(1);
    std::lock_guard<std::mutex> lock(s->mutex);
    const std::thread::id me = std::this_thread::get_id();
    if (std::find(s->threads.begin(), s->threads.end(), me) == s->threads.end())
        s->threads.push_back(me);
}

std::vector<int> runsOf(const Spread& s, int n) {
    std::vector<int> r;
    for (int i = 0; i < n; ++i)
        r.push_back(s.runs[i].load());
    return r;
}

int countOf(const std::string& text, const std::string& needle) {
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++n;
    return n;
}

// Threads the system refuses: the pool runs on the ones that did start (or in
// the caller alone), says so once per start, and every worker number still
// runs exactly once per fork; nothing hangs.
TEST(StandaloneHost, ThreadsThatCannotStartLeaveThePoolOnTheOthers) {
    VxStandaloneHostShutdown();
    for (int limit : {2, 0, 6}) {
        VxStandaloneHostSimulateThreadLimit(limit);
        VxStandaloneHostSetWorkers(7);
        const int threads = std::min(limit + 1, 7);
        CaptureStderr();
        for (int fork = 0; fork < 50; ++fork) {
            Spread s;
            sparkMpFork(work(&spread), 1, &s);
            ASSERT_EQ(runsOf(s, 8), std::vector<int>({1, 1, 1, 1, 1, 1, 1, 0}))
                << "limit " << limit << " fork " << fork;
            ASSERT_EQ(static_cast<int>(s.threads.size()), threads) << limit;
            EXPECT_NE(std::find(s.threads.begin(), s.threads.end(), std::this_thread::get_id()),
                      s.threads.end()); // the caller's thread among them
        }
        // An exception in a share that runs after another on the same thread.
        std::atomic<int> done{0};
        EXPECT_THROW(sparkMpFork(work(&throwOnWorkerTwo), 1, &done), std::runtime_error);
        EXPECT_EQ(done.load(), 6);
        const std::string err = GetCapturedStderr();
        const std::string line = "sparkMpFork - started " + std::to_string(threads) +
                                 " of 7 threads, the caller's included (";
        EXPECT_EQ(countOf(err, "sparkMpFork - started"), limit < 6 ? 1 : 0) << err;
        if (limit < 6) {
            EXPECT_NE(err.find(line), std::string::npos) << err;
        }
        VxStandaloneHostShutdown(); // the next start tries again
    }
    VxStandaloneHostSimulateThreadLimit(-1);
    VxStandaloneHostSetWorkers(4);
    Rendezvous r{4};
    sparkMpFork(work(&meet), 1, &r);
    EXPECT_TRUE(r.allMet.load());
}

// Changing the worker count while other threads fork: each fork runs whole
// with the count it started with, and nothing races (the tsan run checks).
TEST(StandaloneHost, SetWorkersWhileOtherThreadsFork) {
    VxStandaloneHostSetSpin(5);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::atomic<long> forks{0};
    std::vector<std::thread> forkers;
    for (int t = 0; t < 2; ++t)
        forkers.emplace_back([&] {
            while (!stop.load()) {
                Spread s;
                sparkMpFork(work(&spread), 1, &s);
                int n = 0;
                while (n < kMaxWorkers && s.runs[n].load() == 1)
                    ++n;
                for (int i = n; i < kMaxWorkers; ++i)
                    if (s.runs[i].load() != 0)
                        bad.fetch_add(1);
                if (n < 1 || n > 4)
                    bad.fetch_add(1);
                forks.fetch_add(1);
            }
        });
    // Changes go on until the forkers have made some forks among them: on a
    // busy machine the threads may not even have started by the 300th change.
    for (int i = 0; i < 300 || forks.load() < 20; ++i) {
        VxStandaloneHostSetWorkers(1 + i % 4);
        const int workers = VxStandaloneHostWorkers();
        if (workers < 1 || workers > 4)
            bad.fetch_add(1);
        if (i % 50 == 0)
            VxStandaloneHostShutdown();
        std::this_thread::yield();
    }
    stop.store(true);
    for (auto& t : forkers)
        t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_GT(forks.load(), 0);
    VxStandaloneHostSetSpin(100);
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

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VX_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VX_TEST_SANITIZED 1
#endif
#endif

#if !defined(VX_TEST_SANITIZED)
// A thread start the system really refuses, in a fresh child process: its
// address space is limited to what it uses now plus one and a half thread
// stacks, so the pool's first thread starts and its second cannot (mapping
// its stack fails, so std::thread throws). The fork must still run every share
// once and return, and so must the next one.
void realThreadLimit() {
    pthread_attr_t attr;
    size_t stack = 0;
    if (pthread_getattr_default_np(&attr) != 0 || pthread_attr_getstacksize(&attr, &stack) != 0) {
        std::fputs("no default stack size\n", stderr);
        std::exit(2);
    }
    pthread_attr_destroy(&attr);
    if (stack < 256 * 1024)
        stack = 8 * 1024 * 1024; // glibc's fallback for a tiny or absent stack limit
    long pages = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld", &pages) != 1)
            pages = 0;
        std::fclose(statm);
    }
    if (pages <= 0) {
        std::fputs("no statm\n", stderr);
        std::exit(2);
    }
    VxStandaloneHostSetWorkers(4);
    const rlim_t used = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const struct rlimit limit = {used + stack + stack / 2, RLIM_INFINITY};
    if (setrlimit(RLIMIT_AS, &limit) != 0) {
        std::fputs("setrlimit failed\n", stderr);
        std::exit(2);
    }
    std::atomic<int> runs[4] = {};
    auto count = +[](std::atomic<int>* r) {
        unsigned long id = 99;
        sparkMpInfo(&id, nullptr);
        if (id < 4)
            r[id].fetch_add(1);
    };
    sparkMpFork(work(count), 1, runs);
    sparkMpFork(work(count), 1, runs);
    std::fprintf(stderr, "\nruns %d %d %d %d\n", runs[0].load(), runs[1].load(), runs[2].load(),
                 runs[3].load());
    std::exit(0);
}
#endif

TEST(StandaloneHostDeathTest, ARealRefusedThreadLeavesThePoolOnTheOthers) {
#if defined(VX_TEST_SANITIZED)
    GTEST_SKIP() << "sanitizers reserve address space, so a limit on it cannot be set here";
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(realThreadLimit(), testing::ExitedWithCode(0),
                "^sparkMpFork - started 2 of 4 threads, the caller's included \\([^\n]*\\): "
                "each runs its share of the 4 workers in turn\n\nruns 2 2 2 2\n$");
#endif
}

} // namespace
