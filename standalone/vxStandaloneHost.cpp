#include "vxStandaloneHost.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
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

class Pool {
public:
    // Called once at exit: later forks (from other exit handlers) run serially.
    void exit() {
        exiting_.store(true);
        stop();
    }

    void fork(const Job& job);
    void setWorkers(int workers);
    int workers() const { return requested_ > 0 ? requested_ : hardwareWorkers(); }
    void setSpin(int micros) { spinMicros_.store(micros < 0 ? 0 : micros); }
    void stop();

private:
    void start(int workers);
    void workerLoop(int id, uint32_t generation);
    void runSerially(const Job& job, int workers);
    void waitForWorkers();

    std::mutex forkMutex_;                // one fork at a time
    std::atomic<uint32_t> generation_{0}; // bumped to start a fork (workers wait on it)
    std::atomic<uint32_t> pending_{0};  // workers still running this fork (the caller waits on it)
    std::atomic<uint32_t> sleepers_{0}; // workers asleep on generation_
    std::atomic<uint32_t> callerAsleep_{0};
    std::atomic<bool> quit_{false};
    std::atomic<int> spinMicros_{100};
    Job job_;
    std::vector<std::thread> threads_;
    int running_ = 0;   // workers of the running pool, 0 when stopped
    int requested_ = 0; // 0: one per hardware thread
    std::atomic<bool> exiting_{false};
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

void Pool::start(int workers) {
    quit_.store(false);
    running_ = workers;
    const uint32_t generation = generation_.load();
    threads_.reserve(static_cast<size_t>(workers - 1));
    for (int id = 1; id < workers; ++id) {
        threads_.emplace_back(&Pool::workerLoop, this, id, generation);
    }
}

void Pool::stop() {
    std::lock_guard<std::mutex> lock(forkMutex_);
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
}

void Pool::setWorkers(int workers) {
    requested_ = workers > 0 ? workers : 0;
    if (running_ != 0 && running_ != this->workers()) {
        stop();
    }
}

void Pool::workerLoop(int id, uint32_t seen) {
    tWorkerId = id;
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
        VxInvokeWork(job_.work, job_.nArgs, job_.args);
        if (pending_.fetch_sub(1) == 1 && callerAsleep_.load() != 0) {
            futexWakeAll(pending_);
        }
    }
}

void Pool::runSerially(const Job& job, int workers) {
    for (int id = 0; id < workers; ++id) {
        tWorkerId = id;
        VxInvokeWork(job.work, job.nArgs, job.args);
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
        return;
    }
    if (running_ == 0 && workers > 1) {
        start(workers);
    }
    if (running_ <= 1) {
        runSerially(job, 1);
        return;
    }

    job_ = job;
    pending_.store(static_cast<uint32_t>(running_ - 1), std::memory_order_relaxed);
    generation_.fetch_add(1); // publishes job_ to the workers
    if (sleepers_.load() != 0) {
        futexWakeAll(generation_);
    }

    // Worker 0's share runs here. Should it throw, the other workers are still
    // waited for before the exception leaves, so the next fork starts clean.
    struct Join {
        Pool* pool;
        ~Join() {
            tWorkerId = -1;
            pool->waitForWorkers();
        }
    } join{this};
    tWorkerId = 0;
    VxInvokeWork(job.work, job.nArgs, job.args);
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
