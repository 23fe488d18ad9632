#include "vxStandaloneHost.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// Blocking on a 32-bit atomic. Sleeping goes through the futex directly: a
// wake costs one system call and needs no mutex around the shared counters.

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "futex word must be 32 bits");

uint32_t* futexWord(std::atomic<uint32_t>& a) {
    return reinterpret_cast<uint32_t*>(&a);
}

void futexWait(std::atomic<uint32_t>& a, uint32_t expected) {
    syscall(SYS_futex, futexWord(a), FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
}

void futexWakeAll(std::atomic<uint32_t>& a) {
    syscall(SYS_futex, futexWord(a), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void cpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

using Clock = std::chrono::steady_clock;

// Spins until `done()` or until `micros` have passed; true when done.
template <typename Done>
bool spinUntil(Done done, int micros) {
    if (micros <= 0) {
        return done();
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::microseconds(micros);
    for (;;) {
        for (int i = 0; i < 64; ++i) {
            if (done()) {
                return true;
            }
            cpuRelax();
        }
        if (Clock::now() >= deadline) {
            return done();
        }
    }
}

// ---------------------------------------------------------------------------

struct Job {
    VxMpWork work = nullptr;
    int nArgs = 0;
    VxWord args[kVxMaxForkArgs] = {};
};

// The worker number sparkMpInfo reports; -1 outside a fork.
thread_local long tWorkerId = -1;

int hardwareWorkers() {
    const unsigned n = std::thread::hardware_concurrency();
    return n == 0 ? 1 : static_cast<int>(n);
}

// The pool runs a fork's worker numbers 0 to n-1 on its threads: thread 0 is
// the forking thread itself, threads 1 to t-1 are the pool's own. Normally
// t = n and each thread runs one worker number. When the system refused some
// threads, t < n and thread k runs the numbers k, k + t, k + 2t, ... one
// after the other, so every share still runs exactly once.
class Pool {
public:
    // Called once at exit: later forks (from other exit handlers) run serially.
    void exit() {
        exiting_.store(true);
        stop();
    }

    void fork(const Job& job);
    void setWorkers(int workers);
    int workers() const {
        const int requested = requested_.load(std::memory_order_relaxed);
        return requested > 0 ? requested : hardwareWorkers();
    }
    void setSpin(int micros) { spinMicros_.store(micros < 0 ? 0 : micros); }
    void simulateThreadLimit(int threads) { threadLimit_.store(threads < 0 ? -1 : threads); }
    void stop();

private:
    void start(int workers);
    void stopLocked();
    void workerLoop(int thread, uint32_t generation);
    void runShares(const Job& job, int thread);
    void runSerially(const Job& job, int workers);
    void waitForWorkers();
    void capture() noexcept;
    void rethrowFirst();

    std::mutex forkMutex_;                // one fork, or one change of the pool, at a time
    std::atomic<uint32_t> generation_{0}; // bumped to start a fork (workers wait on it)
    std::atomic<uint32_t> pending_{0};  // threads still running this fork (the caller waits on it)
    std::atomic<uint32_t> sleepers_{0}; // workers asleep on generation_
    std::atomic<uint32_t> callerAsleep_{0};
    std::atomic<bool> quit_{false};
    std::atomic<int> spinMicros_{100};
    Job job_;
    std::vector<std::thread> threads_;
    // Written under forkMutex_ while no fork runs, read by the threads after
    // they have seen a new generation.
    int running_ = 0;                  // worker numbers of the running pool, 0 when stopped
    int threadsRunning_ = 1;           // threads of the running pool, the forking thread's included
    std::atomic<int> requested_{0};    // 0: one per hardware thread
    std::atomic<int> threadLimit_{-1}; // VxStandaloneHostSimulateThreadLimit; -1: none
    std::atomic<bool> exiting_{false};
    // The first exception of the running fork, from any thread.
    std::atomic<bool> errorTaken_{false};
    std::exception_ptr firstError_;
};

// The pool is never destroyed, so that a fork made by another library's exit
// handler after ours still finds a valid object; its threads are stopped and
// joined at exit by gPoolStopper.
Pool& pool() {
    static Pool* const instance = new Pool;
    return *instance;
}

struct PoolStopper {
    ~PoolStopper() { pool().exit(); }
} gPoolStopper;

// Starts up to workers - 1 threads. A thread the system refuses (std::thread
// throws std::system_error: too many threads, no memory for a stack) ends the
// start: the pool then runs with the threads it has, the forking thread alone
// if none started, and says so in one line. Never throws.
void Pool::start(int workers) {
    quit_.store(false);
    running_ = workers;
    const uint32_t generation = generation_.load();
    const int limit = threadLimit_.load();
    try {
        threads_.reserve(static_cast<size_t>(workers - 1));
        for (int thread = 1; thread < workers; ++thread) {
            if (limit >= 0 && thread > limit) {
                throw std::system_error(EAGAIN, std::generic_category(),
                                        "thread limit simulated for a test");
            }
            threads_.emplace_back(&Pool::workerLoop, this, thread, generation);
        }
    } catch (const std::exception& e) {
        const int started = static_cast<int>(threads_.size()) + 1;
        std::fprintf(stderr,
                     "sparkMpFork - started %d of %d threads, the caller's included (%s): "
                     "each runs its share of the %d workers in turn\n",
                     started, workers, e.what(), workers);
    }
    threadsRunning_ = static_cast<int>(threads_.size()) + 1;
}

void Pool::stop() {
    std::lock_guard<std::mutex> lock(forkMutex_);
    stopLocked();
}

void Pool::stopLocked() {
    if (running_ == 0) {
        return;
    }
    quit_.store(true);
    generation_.fetch_add(1);
    futexWakeAll(generation_);
    for (std::thread& t : threads_) {
        // A program that exits from inside a worker cannot join that worker.
        if (t.get_id() == std::this_thread::get_id()) {
            t.detach();
        } else {
            t.join();
        }
    }
    threads_.clear();
    running_ = 0;
    threadsRunning_ = 1;
}

// Under the fork lock: a fork from another thread either finishes first or
// starts after, with the new size.
void Pool::setWorkers(int workers) {
    std::lock_guard<std::mutex> lock(forkMutex_);
    requested_.store(workers > 0 ? workers : 0);
    if (running_ != 0 && running_ != this->workers()) {
        stopLocked();
    }
}

void Pool::capture() noexcept {
    if (!errorTaken_.exchange(true)) {
        firstError_ = std::current_exception();
    }
}

// After every thread of the fork has finished: the first exception, if any,
// leaves the fork (the next fork starts with none).
void Pool::rethrowFirst() {
    if (!errorTaken_.load()) {
        return;
    }
    std::exception_ptr first = std::move(firstError_);
    firstError_ = nullptr;
    errorTaken_.store(false);
    if (first) {
        std::rethrow_exception(first);
    }
}

// The worker numbers of one thread, each in turn; what a share throws is kept
// for the caller and the thread goes on with its next share.
void Pool::runShares(const Job& job, int thread) {
    for (int id = thread; id < running_; id += threadsRunning_) {
        tWorkerId = id;
        try {
            VxInvokeWork(job.work, job.nArgs, job.args);
        } catch (...) {
            capture();
        }
    }
}

void Pool::workerLoop(int thread, uint32_t seen) {
    tWorkerId = thread;
    for (;;) {
        auto started = [&] { return generation_.load(std::memory_order_acquire) != seen; };
        if (!spinUntil(started, spinMicros_.load(std::memory_order_relaxed))) {
            // Announce the sleep before the last look, so that a fork either
            // sees a sleeper to wake or this worker sees the new generation.
            sleepers_.fetch_add(1);
            uint32_t g;
            while ((g = generation_.load()) == seen) {
                futexWait(generation_, seen);
            }
            sleepers_.fetch_sub(1, std::memory_order_relaxed);
        }
        seen = generation_.load(std::memory_order_acquire);
        if (quit_.load(std::memory_order_acquire)) {
            return;
        }
        runShares(job_, thread);
        tWorkerId = thread;
        if (pending_.fetch_sub(1) == 1 && callerAsleep_.load() != 0) {
            futexWakeAll(pending_);
        }
    }
}

void Pool::runSerially(const Job& job, int workers) {
    for (int id = 0; id < workers; ++id) {
        tWorkerId = id;
        try {
            VxInvokeWork(job.work, job.nArgs, job.args);
        } catch (...) {
            capture();
        }
    }
    tWorkerId = -1;
}

void Pool::fork(const Job& job) {
    if (tWorkerId != -1) {
        std::fputs("sparkMpFork - fork from inside a worker refused\n", stderr);
        return;
    }
    std::lock_guard<std::mutex> lock(forkMutex_);
    const int workers = this->workers();
    if (exiting_) {
        runSerially(job, workers);
        rethrowFirst();
        return;
    }
    if (running_ == 0 && workers > 1) {
        start(workers);
    }
    if (running_ <= 1 || threadsRunning_ <= 1) {
        // One worker, or no thread could be started: every share in turn here.
        runSerially(job, running_ > 1 ? running_ : 1);
        rethrowFirst();
        return;
    }

    job_ = job;
    pending_.store(static_cast<uint32_t>(threadsRunning_ - 1), std::memory_order_relaxed);
    generation_.fetch_add(1); // publishes job_ to the workers
    if (sleepers_.load() != 0) {
        futexWakeAll(generation_);
    }

    // Worker 0's share runs here. Nothing a share throws leaves runShares: the
    // other workers are always waited for, and the first exception of any
    // worker leaves only then, so the next fork starts clean.
    runShares(job, 0);
    tWorkerId = -1;
    waitForWorkers();
    rethrowFirst();
}

void Pool::waitForWorkers() {
    auto finished = [&] { return pending_.load(std::memory_order_acquire) == 0; };
    if (!spinUntil(finished, spinMicros_.load(std::memory_order_relaxed))) {
        callerAsleep_.store(1);
        uint32_t p;
        while ((p = pending_.load()) != 0) {
            futexWait(pending_, p);
        }
        callerAsleep_.store(0, std::memory_order_relaxed);
    }
}

// ---------------------------------------------------------------------------

constexpr const char* kDefaultProgramName = "veltrix-standalone";
char gProgramName[256] = "veltrix-standalone";

void (*gCursorHandler)(int, void*) = nullptr;
void* gCursorUser = nullptr;

} // namespace

extern "C" {

void sparkMpFork(VxMpWork work, int nArgs, ...) {
    Job job;
    job.work = work;
    job.nArgs = nArgs;
    if (nArgs < 0 || nArgs > kVxMaxForkArgs) {
        std::fprintf(stderr, "sparkMpFork - %d arguments, at most %d are supported\n", nArgs,
                     kVxMaxForkArgs);
        return;
    }
    va_list ap;
    va_start(ap, nArgs);
    for (int i = 0; i < nArgs; ++i) {
        job.args[i] = va_arg(ap, VxWord);
    }
    va_end(ap);
    pool().fork(job);
}

void sparkMpInfo(unsigned long* value0, unsigned long* value1) {
    if (value0 != nullptr) {
        *value0 = tWorkerId < 0 ? 0 : static_cast<unsigned long>(tWorkerId);
    }
    if (value1 != nullptr) {
        *value1 = 0;
    }
}

void sparkViewingCursor(int code) {
    if (gCursorHandler != nullptr) {
        gCursorHandler(code, gCursorUser);
    }
}

const char* sparkProgramGetName(void) {
    return gProgramName;
}

} // extern "C"

void VxStandaloneHostSetWorkers(int workers) {
    if (tWorkerId != -1) {
        std::fputs("VxStandaloneHostSetWorkers - ignored inside a fork\n", stderr);
        return;
    }
    pool().setWorkers(workers);
}

int VxStandaloneHostWorkers() {
    return pool().workers();
}

void VxStandaloneHostSetSpin(int microseconds) {
    pool().setSpin(microseconds);
}

void VxStandaloneHostSimulateThreadLimit(int threads) {
    pool().simulateThreadLimit(threads);
}

void VxStandaloneHostShutdown() {
    if (tWorkerId != -1) {
        std::fputs("VxStandaloneHostShutdown - ignored inside a fork\n", stderr);
        return;
    }
    pool().stop();
}

void VxStandaloneHostSetProgramName(const char* name) {
    const char* source = name != nullptr ? name : kDefaultProgramName;
    std::strncpy(gProgramName, source, sizeof gProgramName - 1);
    gProgramName[sizeof gProgramName - 1] = '\0';
}

void VxStandaloneHostSetCursorHandler(void (*handler)(int code, void* user), void* user) {
    gCursorHandler = handler;
    gCursorUser = user;
}
