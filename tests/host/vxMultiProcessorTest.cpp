// The work-splitting frame: shares from range(), the order of hooks, the
// repetition loop and interruption.
#include "vxMultiProcessor.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

using Shares = std::vector<std::pair<int, int>>;

// Every worker's share of `total`, indexed by worker id.
struct ShareProbe {
    int total;
    std::pair<int, int> share[kMaxWorkers];
};

void probeShare(ShareProbe* p) {
    int begin = -1, end = -1;
    range(p->total, begin, end);
    const int id = VxMpGetID();
    if (id >= 0 && id < kMaxWorkers)
        p->share[id] = {begin, end};
}

Shares shares(int total, int workers) {
    useWorkers(workers);
    ShareProbe probe{total, {}};
    VxMpFork(reinterpret_cast<VxMpWork>(&probeShare), 1, &probe);
    return Shares(probe.share, probe.share + workers);
}

// Contiguous shares of ceil(total / n), the last worker taking the rest: an
// inverted, empty share when the others already reach total (3 over 8: 7 to 3).
TEST(Range, SharesPartitionTheIndicesForEveryCount) {
    for (int workers = 1; workers <= 9; ++workers) {
        for (int total : {0, 1, 2, 3, 5, 7, 8, 9, 16, 17, 31, 100, 4096, 4097}) {
            const Shares got = shares(total, workers);
            const int chunk = (total + workers - 1) / workers;
            for (int id = 0; id < workers; ++id) {
                const int b = id * chunk;
                const int e = id == workers - 1 ? total : std::min(b + chunk, total);
                EXPECT_EQ(got[id], std::make_pair(b, e))
                    << id << " of " << workers << ", " << total;
            }
        }
    }
    // Near INT_MAX the historical 32-bit arithmetic wraps; the result is then
    // meaningless but well defined, and a single worker still gets it all.
    EXPECT_EQ(shares(INT32_MAX, 1), Shares({{0, INT32_MAX}}));
    EXPECT_EQ(shares(INT32_MAX, 2)[1].second, INT32_MAX);
    // Outside a fork with one worker, or with a count below 1, worker 0 takes it all.
    for (int nProcs : {1, -2}) {
        SpMpSetSize(1, 1, nProcs);
        int begin = -1, end = -1;
        range(40, begin, end);
        EXPECT_EQ(std::make_pair(begin, end), std::make_pair(0, 40)) << nProcs;
    }
}

// Records the calls the frame makes, in order, as "pre t0 p0x3 ... post":
// preSample, preThread of repetition 0, its postThread after 3 samples, ...,
// postSample. Hooks run in the caller only; sample() counts atomically.
struct Recorder : VxMultiProcessor {
    std::string log;
    std::atomic<int> samples{0}, forkedInSample{0};
    int changeCallsAt = -1, newCalls = 0;

    void preSample() override { log += "pre"; }
    void postSample() override { log += " post"; }
    void preThread() override {
        log += " t" + std::to_string(currentCall);
        if (currentCall == changeCallsAt)
            callsToSample = newCalls;
    }
    void postThread() override {
        log += " p" + std::to_string(currentCall) + "x" + std::to_string(samples.exchange(0));
    }
    void sample() override {
        samples.fetch_add(1);
        forkedInSample.fetch_add(VxMpIsForked());
        EXPECT_TRUE(!multiThreaded || inFork);
    }
};

// A check that answers interrupted from its n-th call on.
struct Interrupter {
    int calls = 0, interruptAt = 0;
    int* lastValueAddress = nullptr;
    static int check(void* self, int* value) {
        auto* me = static_cast<Interrupter*>(self);
        me->lastValueAddress = value;
        return ++me->calls >= me->interruptAt ? 1 : 0;
    }
};

TEST(MultiProcessor, HooksRunInOrderAroundEveryRepetition) {
    useWorkers(3);
    Recorder r;
    EXPECT_EQ(r.callsToSample, 1);
    EXPECT_EQ(r.multiThreaded + r.inFork, 1u);
    EXPECT_EQ(r.interruptCheck, nullptr);
    r.setCallsToSample(2);
    r.process();
    EXPECT_EQ(r.log, "pre t0 p0x3 t1 p1x3 post");
    EXPECT_EQ(r.forkedInSample.load(), 6);
    EXPECT_EQ(r.currentCall, 2);
    EXPECT_EQ(r.inFork, 0u);

    Recorder single; // not multi-threaded: one sample, in the caller
    single.multiThreaded = 0;
    single.setCallsToSample(3);
    single.process();
    EXPECT_EQ(single.log, "pre t0 p0x1 t1 p1x1 t2 p2x1 post");
    EXPECT_EQ(single.forkedInSample.load(), 0);

    // The bound is read again after every repetition; none at all when below 1.
    Recorder shrink;
    shrink.setCallsToSample(5);
    shrink.changeCallsAt = 1;
    shrink.newCalls = 2;
    shrink.process();
    EXPECT_EQ(shrink.log, "pre t0 p0x3 t1 p1x3 post");
    EXPECT_EQ(shrink.currentCall, 2);
    for (int calls : {0, -3}) {
        Recorder none;
        none.setCallsToSample(calls);
        none.process();
        EXPECT_EQ(none.log, "pre post");
        EXPECT_EQ(none.currentCall, 0);
    }
}

TEST(MultiProcessor, InterruptionStopsBeforeTheNextHook) {
    useWorkers(2);
    Recorder r;
    Interrupter in{0, 4}; // two checks per repetition: the 4th is repetition 1's second
    VxInterruptCheck ic = {&in, &Interrupter::check, 0, 0};
    r.interruptCheck = &ic;
    r.setCallsToSample(5);
    r.process();
    EXPECT_EQ(r.log, "pre t0 p0x2 t1 post");
    EXPECT_EQ(in.calls, 4); // latched: never asked again
    EXPECT_EQ(ic.interrupted, 1);
    EXPECT_EQ(in.lastValueAddress, &ic.checkValue);
    EXPECT_EQ(r.currentCall, 5); // the loop still counts to the end

    Recorder again; // the latch holds for any later run sharing the record
    again.interruptCheck = &ic;
    again.process();
    EXPECT_EQ(again.log, "pre post");
    EXPECT_EQ(in.calls, 4);

    VxInterruptCheck quiet = {nullptr, nullptr, 0, 0}; // no check function: never
    Recorder quietRun;
    quietRun.interruptCheck = &quiet;
    quietRun.process();
    EXPECT_EQ(quietRun.log, "pre t0 p0x2 post");
}

// process() from inside a worker cannot fork again.
struct Nested : Recorder {
    std::atomic<int> innerSamples{0};
    void sample() override {
        Recorder inner;
        inner.process();
        innerSamples += inner.samples;
    }
};

TEST(MultiProcessor, ProcessInsideAWorkerIsARefusedNestedFork) {
    useWorkers(2);
    Nested n;
    testing::internal::CaptureStderr();
    n.process();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(n.innerSamples.load(), 0);
    EXPECT_NE(err.find("VxMpFork - recursive fork detected\n"), std::string::npos);
}

// sample() throws on one worker in one repetition; the other workers finish.
struct SampleFailed : std::runtime_error {
    int worker;
    explicit SampleFailed(int w) : std::runtime_error("sample failed"), worker(w) {}
};

struct Failing : Recorder {
    int failRepetition = 1, failWorker = 0;
    std::atomic<int> finished{0};
    void sample() override {
        Recorder::sample();
        if (currentCall == failRepetition && VxMpGetID() == failWorker)
            throw SampleFailed(failWorker);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        finished.fetch_add(1);
    }
};

// The exception leaves process() once every worker has finished its share:
// no postThread for that repetition, no later repetition, no postSample;
// inFork and the fork flag are cleared and the next process() runs whole.
TEST(MultiProcessor, AnExceptionInSampleEndsTheLoopAndLeavesProcess) {
    for (int worker : {0, 2}) {
        useWorkers(3);
        Failing f;
        f.failWorker = worker;
        f.setCallsToSample(4);
        testing::internal::CaptureStderr();
        try {
            f.process();
            ADD_FAILURE() << "no exception";
        } catch (const SampleFailed& e) {
            EXPECT_EQ(e.worker, worker);
        }
        EXPECT_EQ(f.log, "pre t0 p0x3 t1") << worker;
        EXPECT_EQ(f.finished.load(), 3 + 2);
        EXPECT_EQ(f.currentCall, 1); // the repetition that failed
        EXPECT_EQ(f.inFork, 0u);
        EXPECT_EQ(VxMpIsForked(), 0);

        f.log.clear();
        f.samples = 0;
        f.failRepetition = -1;
        f.process();
        EXPECT_EQ(f.log, "pre t0 p0x3 t1 p1x3 t2 p2x3 t3 p3x3 post");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

// A frame whose process() runs inside another frame's worker: its nested fork
// is refused, and an exception of the outer sample() still leaves the outer
// process() alone.
struct NestedFailing : Recorder {
    void sample() override {
        Recorder inner;
        inner.process();
        if (VxMpGetID() == 1)
            throw SampleFailed(1);
    }
};

TEST(MultiProcessor, AnExceptionAfterARefusedNestedForkLeavesTheOuterProcess) {
    useWorkers(2);
    NestedFailing n;
    testing::internal::CaptureStderr();
    EXPECT_THROW(n.process(), SampleFailed);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(n.inFork, 0u);
    EXPECT_EQ(VxMpIsForked(), 0);
    Recorder after;
    after.process();
    EXPECT_EQ(after.log, "pre t0 p0x2 post");
}

} // namespace
