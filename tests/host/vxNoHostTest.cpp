// With no host in the process a fork runs its work once, in the caller, as
// worker 0 of 1, and the cursor calls reach nobody.
#include "vxHost.h"
#include "vxMultiProcessor.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

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

TEST(NoHost, CursorCallsAreHarmless) {
    for (int kind : {2, 3, 9, 1, 0, 8}) {
        VxTCursor(static_cast<VxTCursorEnum>(kind));
        EXPECT_EQ(VxTCursor(), kind);
    }
    ResetCursor();
}

} // namespace
