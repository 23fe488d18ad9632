// The host bridge with the stand-alone host present: fork bookkeeping, worker
// identity, the fork itself, the cursor and VxMatrixThread.
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;

unsigned long hostWorker() {
    unsigned long h = 0, unused = 0;
    sparkMpInfo(&h, &unused);
    return h;
}

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

int countOf(const std::string& text, const std::string& needle) {
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
        ++n;
    }
    return n;
}

// Runs first: nothing in this file has touched the state yet.
TEST(HostBridge, StartsWithTheDocumentedState) {
    const VxMpForkState& s = VxMpGetForkState();
    EXPECT_EQ(s.sizeProduct, 1);
    EXPECT_EQ(s.size0, 1);
    EXPECT_EQ(s.size1, 1);
    EXPECT_EQ(s.nProcs, 1);
    EXPECT_EQ(s.evenShare, 1);
    EXPECT_EQ(s.evenShareValid, 0);
    EXPECT_EQ(s.forked, 0);
    EXPECT_EQ(VxMpGetID(), 0);
    EXPECT_EQ(VxMpGetNProcs(), 1);
    EXPECT_EQ(VxTCursor(), kVxCursorInitial);
    EXPECT_EQ(VxMpHostAvailable(), 1);
}

// The first request for the plain cursor makes no host call: the default
// cursor is regarded as showing at load.
struct CursorLog {
    std::vector<int> codes;
    static void record(int code, void* self) {
        static_cast<CursorLog*>(self)->codes.push_back(code);
    }
};

TEST(HostBridge, CursorPushesOnlyChangesWithTheHostCodes) {
    CursorLog log;
    VxStandaloneHostSetCursorHandler(&CursorLog::record, &log);

    VxTCursor(kVxCursorDefault);
    EXPECT_TRUE(log.codes.empty());
    VxTCursor(kVxCursorWidget);
    VxTCursor(kVxCursorWidget);
    EXPECT_EQ(log.codes, std::vector<int>({-1}));
    EXPECT_EQ(VxTCursor(), kVxCursorWidget);

    // Kind 9 calls nothing but marks the default cursor as gone...
    VxTCursor(static_cast<VxTCursorEnum>(9));
    EXPECT_EQ(log.codes.size(), 1u);
    // ...so the plain cursor must be pushed again, once.
    VxTCursor(kVxCursorDefault);
    VxTCursor(kVxCursorInitial);
    EXPECT_EQ(log.codes, std::vector<int>({-1, 1}));

    log.codes.clear();
    for (int kind = 3; kind <= 8; ++kind) {
        VxTCursor(static_cast<VxTCursorEnum>(kind));
    }
    EXPECT_EQ(log.codes, std::vector<int>({18, 10, 14, 15, 19, 18}));
    ResetCursor();
    EXPECT_EQ(log.codes.back(), 18);
    EXPECT_EQ(log.codes.size(), 7u);

    // Negative kinds are no cursor: no call, and the default is not showing.
    VxTCursor(static_cast<VxTCursorEnum>(-4));
    VxTCursor(kVxCursorInitial);
    EXPECT_EQ(log.codes.size(), 8u);
    EXPECT_EQ(log.codes.back(), 1);

    VxStandaloneHostSetCursorHandler(nullptr, nullptr);
}

TEST(HostBridge, SetSizeKeepsAStaleEvenShare) {
    SpMpSetSize(4, 5, 3);
    const VxMpForkState& s = VxMpGetForkState();
    EXPECT_EQ(s.sizeProduct, 20);
    EXPECT_EQ(s.size0, 4);
    EXPECT_EQ(s.size1, 5);
    EXPECT_EQ(s.nProcs, 3);
    EXPECT_EQ(SpMpGetNProcs(), 3);
    EXPECT_EQ(VxMpGetNProcs(), 3);
    const int shareBefore = s.evenShare;
    const int validBefore = s.evenShareValid;
    SpMpSetSize(4, 5, 3);
    EXPECT_EQ(s.evenShare, shareBefore);
    EXPECT_EQ(s.evenShareValid, validBefore);

    SpMpSetSize(4, 5, 2);
    EXPECT_EQ(s.evenShare, 10);
    EXPECT_EQ(s.evenShareValid, 1);
    SpMpSetSize(3, 3, 2); // inexact: the 10 survives, and so does the flag
    EXPECT_EQ(s.sizeProduct, 9);
    EXPECT_EQ(s.evenShare, 10);
    EXPECT_EQ(s.evenShareValid, 1);

    VxMpSetNProcs(12); // deliberately inert
    EXPECT_EQ(VxMpGetNProcs(), 2);

    // A zero count is refused and leaves everything as it was.
    testing::internal::CaptureStderr();
    EXPECT_EQ(SpMpSetSize(7, 7, 0), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("SpMpSetSize"), std::string::npos);
    EXPECT_EQ(s.sizeProduct, 9);
    EXPECT_EQ(s.nProcs, 2);

    // Products that overflow 32 bits wrap instead of being undefined.
    SpMpSetSize(65536, 32768, -1);
    EXPECT_EQ(s.sizeProduct, static_cast<int>(0x80000000u));
    EXPECT_EQ(s.evenShare, static_cast<int>(0x80000000u));
    SpMpSetSize(1, 1, 1);
}

struct IdProbe {
    std::atomic<int> ids[kMaxWorkers];
    std::atomic<int> forkedSeen{0};
    std::atomic<int> nProcsSeen{0};
};

void probeIds(IdProbe* p) {
    const unsigned long h = hostWorker();
    if (h < kMaxWorkers) {
        p->ids[h].store(VxMpGetID());
    }
    p->forkedSeen.fetch_add(VxMpIsForked());
    p->nProcsSeen.store(VxMpGetNProcs());
}

std::vector<int> idsPerHostWorker(int workers, int size0, int size1, int nProcs) {
    VxStandaloneHostSetWorkers(workers);
    SpMpSetSize(size0, size1, nProcs);
    IdProbe probe;
    for (auto& id : probe.ids) {
        id.store(-99);
    }
    VxMpFork(reinterpret_cast<VxMpWork>(&probeIds), 1, &probe);
    EXPECT_EQ(probe.forkedSeen.load(), workers);
    EXPECT_EQ(probe.nProcsSeen.load(), nProcs);
    std::vector<int> ids;
    for (int i = 0; i < workers; ++i) {
        ids.push_back(probe.ids[i].load());
    }
    return ids;
}

TEST(HostBridge, WorkerIdIsTheScaledHostNumberRoundedHalfUp) {
    // Exact scalings give the quotient; inexact ones round h * p / t half up
    // in single precision: 3/4 -> 1, 6/4 = 1.5 -> 2, 9/4 -> 2.
    EXPECT_EQ(idsPerHostWorker(4, 4, 1, 3), std::vector<int>({0, 1, 2, 2}));
    EXPECT_EQ(idsPerHostWorker(4, 2, 2, 4), std::vector<int>({0, 1, 2, 3}));
    EXPECT_EQ(idsPerHostWorker(6, 6, 1, 2), std::vector<int>({0, 0, 1, 1, 1, 2}));
    EXPECT_EQ(idsPerHostWorker(3, 1, 1, 1), std::vector<int>({0, 1, 2}));

    // A brute-force model over many scalings.
    for (int t = 1; t <= 9; ++t) {
        for (int p = 1; p <= 9; ++p) {
            const std::vector<int> ids = idsPerHostWorker(8, t, 1, p);
            for (int h = 0; h < 8; ++h) {
                const long exact = static_cast<long>(h) * p;
                int expected;
                if (exact % t == 0) {
                    expected = static_cast<int>(exact / t);
                } else {
                    const float f =
                        static_cast<float>(h) * static_cast<float>(p) / static_cast<float>(t);
                    expected = static_cast<int>(f) + (f - static_cast<int>(f) >= 0.5f ? 1 : 0);
                }
                EXPECT_EQ(ids[h], expected) << "h " << h << " p " << p << " t " << t;
            }
        }
    }

    // A zero size product is reported by every worker, which then counts as 0.
    testing::internal::CaptureStderr();
    EXPECT_EQ(idsPerHostWorker(2, 0, 5, 1), std::vector<int>({0, 0}));
    EXPECT_EQ(countOf(testing::internal::GetCapturedStderr(), "SpMpGetId"), 2);
    useWorkers(2);
}

// Each worker adds the sum of its arguments into its own slot.
struct ArgSink {
    std::atomic<long> sum[kMaxWorkers];
};
ArgSink* gSink = nullptr;

void add(VxWord v) {
    gSink->sum[hostWorker()].fetch_add(static_cast<long>(v));
}
void work0() {
    add(1000);
}
void work1(ArgSink* s) {
    s->sum[hostWorker()].fetch_add(1);
}
void work2(ArgSink*, VxWord a) {
    add(a);
}
void work3(ArgSink*, VxWord a, VxWord b) {
    add(a + b);
}
void work4(ArgSink*, VxWord a, VxWord b, VxWord c) {
    add(a + b + c);
}
void work5(ArgSink*, VxWord a, VxWord b, VxWord c, VxWord d) {
    add(a + b + c + d);
}
void work6(ArgSink*, VxWord a, VxWord b, VxWord c, VxWord d, VxWord e) {
    add(a + b + c + d + e);
}

TEST(HostBridge, ForkForwardsUpToSixWordsToEveryWorker) {
    const int n = 3;
    useWorkers(n);
    ArgSink sink;
    gSink = &sink;
    auto reset = [&] {
        for (auto& s : sink.sum) {
            s.store(0);
        }
    };
    auto expectEach = [&](long value, const char* what) {
        for (int i = 0; i < n; ++i) {
            EXPECT_EQ(sink.sum[i].load(), value) << what << ", worker " << i;
        }
        EXPECT_EQ(VxMpIsForked(), 0) << what;
    };
    const VxWord big = VxWord(1) << 40; // whole 64-bit words survive the trip

    reset();
    VxMpFork(&work0, 0);
    expectEach(1000, "0 arguments");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work1), 1, &sink);
    expectEach(1, "1 argument");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work2), 2, &sink, big);
    expectEach(static_cast<long>(big), "2 arguments");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work3), 3, &sink, VxWord(2), VxWord(3));
    expectEach(5, "3 arguments");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work4), 4, &sink, VxWord(2), VxWord(3), VxWord(4));
    expectEach(9, "4 arguments");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work5), 5, &sink, VxWord(2), VxWord(3), VxWord(4),
             VxWord(5));
    expectEach(14, "5 arguments");
    reset();
    VxMpFork(reinterpret_cast<VxMpWork>(&work6), 6, &sink, VxWord(2), VxWord(3), VxWord(4),
             VxWord(5), VxWord(6));
    expectEach(20, "6 arguments");

    // Seven (or a negative count) is silently dropped.
    reset();
    testing::internal::CaptureStderr();
    VxMpFork(&work0, 7, VxWord(1), VxWord(2), VxWord(3), VxWord(4), VxWord(5), VxWord(6),
             VxWord(7));
    VxMpFork(&work0, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expectEach(0, "7 arguments");
    gSink = nullptr;
}

void forkAgain(std::atomic<int>* ran) {
    ran->fetch_add(1);
    VxMpFork(reinterpret_cast<VxMpWork>(&forkAgain), 1, ran);
}

TEST(HostBridge, NestedForkIsRefusedAndTheOuterForkCompletes) {
    useWorkers(4);
    std::atomic<int> ran{0};
    testing::internal::CaptureStderr();
    VxMpFork(reinterpret_cast<VxMpWork>(&forkAgain), 1, &ran);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(ran.load(), 4);
    EXPECT_EQ(countOf(err, "VxMpFork - recursive fork detected\n"), 4);
    EXPECT_EQ(VxMpIsForked(), 0);
    useWorkers(2);
}

void countRuns(std::atomic<long>* runs) {
    runs->fetch_add(1, std::memory_order_relaxed);
}

// Thousands of back-to-back forks, with spinning and with sleeping workers: a
// lost wake-up would hang, a duplicate or missed run would show in the count.
TEST(HostBridge, BackToBackForksRunEveryWorkerExactlyOnce) {
    for (int spin : {100, 5, 0, -5}) { // a negative spin is taken as 0
        VxStandaloneHostSetSpin(spin);
        for (int n : {2, 3}) {
            useWorkers(n);
            std::atomic<long> runs{0};
            const int forks = 3000;
            for (int i = 0; i < forks; ++i) {
                VxMpFork(reinterpret_cast<VxMpWork>(&countRuns), 1, &runs);
            }
            EXPECT_EQ(runs.load(), static_cast<long>(forks) * n) << "spin " << spin;
        }
    }
    VxStandaloneHostSetSpin(100);
    useWorkers(2);
}

struct CautiousResult {
    std::atomic<int> runs{0};
    std::atomic<int> idSum{0};
    std::atomic<int> nProcsSeen{0};
    std::atomic<int> nestedForked{0};
};

void cautiousInner(CautiousResult* r, VxMatrixThread* mt) {
    r->runs.fetch_add(1);
    r->idSum.fetch_add(mt->cautiousVxMpGetID());
    r->nProcsSeen.store(mt->cautiousVxMpGetNProcs());
}

// From inside a worker: the cautious fork runs directly, as one share.
void cautiousFromWorker(CautiousResult* r) {
    VxMatrixThread mt;
    EXPECT_EQ(mt.forked, 0u);
    mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousInner), 2, r, &mt);
    r->nestedForked.fetch_add(static_cast<int>(mt.forked));
}

TEST(HostBridge, MatrixThreadForksAtTopLevelAndRunsDirectlyInsideAWorker) {
    useWorkers(3);
    {
        CautiousResult r;
        VxMatrixThread mt;
        mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousInner), 2, &r, &mt);
        EXPECT_EQ(mt.forked, 0u);
        EXPECT_EQ(r.runs.load(), 3);
        EXPECT_EQ(r.idSum.load(), 0 + 1 + 2);
        EXPECT_EQ(r.nProcsSeen.load(), 3);
        EXPECT_EQ(mt.cautiousVxMpGetNProcs(), 3);
        EXPECT_EQ(mt.cautiousVxMpGetID(), 0);

        // Seven arguments: nothing runs.
        mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousInner), 7, &r, &mt, 0, 0, 0, 0, 0);
        EXPECT_EQ(r.runs.load(), 3);
    }
    {
        CautiousResult r;
        testing::internal::CaptureStderr();
        VxMpFork(reinterpret_cast<VxMpWork>(&cautiousFromWorker), 1, &r);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); // no recursion reported
        EXPECT_EQ(r.runs.load(), 3);                           // once per outer worker
        EXPECT_EQ(r.idSum.load(), 0);
        EXPECT_EQ(r.nProcsSeen.load(), 1);
        EXPECT_EQ(r.nestedForked.load(), 3);
    }
    useWorkers(2);
}

TEST(HostBridge, StringHelpers) {
    char out[32];
    string_downcase("Flame 2025 ÄBC", out);
    EXPECT_STREQ(out, "flame 2025 \xc3\x84"
                      "bc");
    out[0] = 'x';
    string_downcase("", out);
    EXPECT_STREQ(out, "");
    string_downcase(nullptr, out); // ignored
    string_downcase("abc", nullptr);
    EXPECT_EQ(minimum(3, -2), -2);
    EXPECT_EQ(minimum(-2, 3), -2);
    EXPECT_EQ(minimum(7, 7), 7);
    EXPECT_EQ(minimum(INT32_MIN, INT32_MAX), INT32_MIN);
}

} // namespace
