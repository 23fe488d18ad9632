// With no host in the process a fork runs its work once, in the caller, as
// worker 0 of 1, and the cursor calls reach nobody.
#include "vxHost.h"
#include "vxImgProc.h"
#include "vxMpForkCall.h"
#include "vxMultiProcessor.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Ints = std::vector<int>;

struct Seen {
    int runs = 0, id = -1, forked = 0, procs = 0;
    std::thread::id thread;
    VxWord sum = 0;
};

void record(Seen* s, VxWord a, VxWord b, VxWord c, VxWord d, VxWord e) {
    *s = {
        s->runs + 1,      VxMpGetID(), VxMpIsForked(), SpMpGetNProcs(), std::this_thread::get_id(),
        a + b + c + d + e};
}

struct Rows : VxMultiProcessor {
    int begin = -1, end = -1, calls = 0;
    void sample() override {
        ++calls;
        range(37, begin, end);
    }
};

TEST(NoHost, ForkRunsOnceInTheCaller) {
    EXPECT_EQ(VxMpHostAvailable(), 0);
    SpMpSetSize(4, 1, 4); // a worker count the missing host cannot honour
    Seen seen;
    VxMpFork(reinterpret_cast<VxMpWork>(&record), 6, &seen, VxWord(1), VxWord(2), VxWord(3),
             VxWord(4), VxWord(5));
    EXPECT_EQ(seen.runs, 1);
    EXPECT_EQ(seen.id, 0);
    EXPECT_EQ(seen.forked, 1);
    EXPECT_EQ(seen.procs, 1);
    EXPECT_EQ(seen.thread, std::this_thread::get_id());
    EXPECT_EQ(seen.sum, 15u);
    EXPECT_EQ(VxMpIsForked(), 0);
    EXPECT_EQ(VxMpGetNProcs(), 4);
    Rows rows; // the one worker's share is every row
    rows.multiThreaded = 1;
    rows.process();
    EXPECT_EQ(rows.calls, 1);
    EXPECT_EQ(rows.begin, 0);
    EXPECT_EQ(rows.end, 37);
    SpMpSetSize(1, 1, 1);
}

struct Failed : std::runtime_error {
    Failed() : std::runtime_error("failed") {}
};

void throwInCaller(int* runs) {
    ++*runs;
    EXPECT_EQ(SpMpGetNProcs(), 1); // the sole worker
    throw Failed();
}

// Forks, the frames and the cautious fork with no host: the work's exception
// leaves in the caller with every flag restored, and the next fork runs.
TEST(NoHost, AnExceptionInTheWorkRestoresTheForkState) {
    SpMpSetSize(3, 1, 3);
    int runs = 0;
    EXPECT_THROW(VxMpFork(reinterpret_cast<VxMpWork>(&throwInCaller), 1, &runs), Failed);
    EXPECT_EQ(VxMpIsForked(), 0);
    EXPECT_EQ(SpMpGetNProcs(), 3); // no longer the sole worker
    EXPECT_THROW(VxMpForkCall([] { throw Failed(); }), Failed);
    EXPECT_EQ(Ints({VxMpIsForked(), SpMpGetNProcs()}), Ints({0, 3}));

    VxMatrixThread mt;
    EXPECT_THROW(mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&throwInCaller), 1, &runs), Failed);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(Ints({VxMpIsForked(), SpMpGetNProcs()}), Ints({0, 3}));

    // The next forks run normally.
    Seen seen;
    VxMpFork(reinterpret_cast<VxMpWork>(&record), 6, &seen, VxWord(0), VxWord(0), VxWord(0),
             VxWord(0), VxWord(1));
    EXPECT_EQ(Ints({seen.runs, seen.forked, seen.procs}), Ints({1, 1, 1}));
    int typed = 0;
    EXPECT_TRUE(VxMpForkCall([&typed](int add) { typed += add * VxMpGetNProcs(); }, 4));
    EXPECT_EQ(typed, 4);
    SpMpSetSize(1, 1, 1);
}

struct FailingRows : VxMultiProcessor {
    std::string log;
    void preThread() override { log += " t" + std::to_string(currentCall); }
    void postThread() override { log += " p"; }
    void postSample() override { log += " post"; }
    void sample() override {
        log += " s";
        if (currentCall == 1)
            throw Failed();
    }
};

struct FailingImage : VxImgProc {
    int samples = 0;
    void sample() override {
        ++samples;
        throw Failed();
    }
};

TEST(NoHost, AFramesExceptionEndsItsLoopAndLeavesProcess) {
    for (unsigned threaded : {1u, 0u}) {
        FailingRows rows;
        rows.multiThreaded = threaded;
        rows.setCallsToSample(4);
        EXPECT_THROW(rows.process(), Failed);
        EXPECT_EQ(rows.log, " t0 s p t1 s") << threaded;
        EXPECT_EQ(rows.currentCall, 1);
        EXPECT_EQ(rows.inFork, 0u);
        EXPECT_EQ(VxMpIsForked(), 0);
        rows.log.clear();
        rows.setCallsToSample(1); // repetition 0 only: no exception
        rows.process();
        EXPECT_EQ(rows.log, " t0 s p post");
    }
    VxTexIndexer image(8, 4);
    FailingImage img;
    EXPECT_THROW(img.processImages(&image), Failed);
    EXPECT_EQ(img.samples, 1);
    EXPECT_EQ(img.inFork, 0u);
    EXPECT_EQ(img.indexer, nullptr);
    EXPECT_EQ(VxMpIsForked(), 0);
}

TEST(NoHost, CursorCallsAreHarmless) {
    for (int kind : {2, 3, 9, 1, 0, 8}) {
        VxTCursor(static_cast<VxTCursorEnum>(kind));
        EXPECT_EQ(VxTCursor(), kind);
    }
    ResetCursor();
}

} // namespace
