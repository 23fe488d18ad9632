// The host bridge with the stand-alone host present: fork bookkeeping, worker
// identity, the fork itself, the cursor and VxMatrixThread.
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;
using Ints = std::vector<int>;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

unsigned long hostWorker() {
    unsigned long h = 0;
    sparkMpInfo(&h, nullptr);
    return h;
}

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

template <typename F>
VxMpWork work(F f) {
    return reinterpret_cast<VxMpWork>(f);
}

Ints forkState() {
    const VxMpForkState& s = VxMpGetForkState();
    return {s.sizeProduct, s.size0, s.size1, s.nProcs, s.evenShare, s.evenShareValid, s.forked};
}

int countOf(const std::string& text, const std::string& needle) {
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++n;
    return n;
}

// Each test runs in a process of its own, so this sees the state at load.
TEST(HostBridge, StartsWithTheDocumentedState) {
    EXPECT_EQ(forkState(), Ints({1, 1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(VxMpGetID(), 0);
    EXPECT_EQ(VxTCursor(), kVxCursorInitial);
    EXPECT_EQ(VxMpHostAvailable(), 1);
}

TEST(HostBridge, CursorPushesOnlyChangesWithTheHostCodes) {
    Ints codes;
    VxStandaloneHostSetCursorHandler(
        [](int code, void* log) { static_cast<Ints*>(log)->push_back(code); }, &codes);
    VxTCursor(kVxCursorDefault); // the default cursor counts as showing at load
    VxTCursor(kVxCursorWidget);
    VxTCursor(kVxCursorWidget);
    EXPECT_EQ(codes, Ints({-1}));
    // Kind 9 calls nothing but marks the default cursor as gone, so the plain
    // cursor is pushed again, once.
    VxTCursor(static_cast<VxTCursorEnum>(9));
    VxTCursor(kVxCursorDefault);
    VxTCursor(kVxCursorInitial);
    EXPECT_EQ(codes, Ints({-1, 1}));
    for (int kind = 3; kind <= 8; ++kind)
        VxTCursor(static_cast<VxTCursorEnum>(kind));
    ResetCursor();
    // Negative kinds are no cursor either.
    VxTCursor(static_cast<VxTCursorEnum>(-4));
    VxTCursor(kVxCursorInitial);
    EXPECT_EQ(codes, Ints({-1, 1, 18, 10, 14, 15, 19, 18, 18, 1}));
    VxStandaloneHostSetCursorHandler(nullptr, nullptr);
}

TEST(HostBridge, SetSizeKeepsAStaleEvenShare) {
    SpMpSetSize(4, 5, 3); // inexact: evenShare untouched
    EXPECT_EQ(forkState(), Ints({20, 4, 5, 3, 1, 0, 0}));
    SpMpSetSize(4, 5, 2);
    EXPECT_EQ(forkState(), Ints({20, 4, 5, 2, 10, 1, 0}));
    SpMpSetSize(3, 3, 2); // inexact: the 10 and the flag survive
    EXPECT_EQ(forkState(), Ints({9, 3, 3, 2, 10, 1, 0}));
    EXPECT_EQ(SpMpGetNProcs(), 2);
    VxMpSetNProcs(12); // deliberately inert
    EXPECT_EQ(VxMpGetNProcs(), 2);

    CaptureStderr();
    EXPECT_EQ(SpMpSetSize(7, 7, 0), 0); // refused, silently
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(forkState(), Ints({9, 3, 3, 2, 10, 1, 0}));

    // Products beyond 32 bits wrap, and INT_MIN / -1 is no trap.
    SpMpSetSize(65536, 32768, -1);
    EXPECT_EQ(forkState(), Ints({INT32_MIN, 65536, 32768, -1, INT32_MIN, 1, 0}));
}

struct IdProbe {
    std::atomic<int> ids[kMaxWorkers];
    std::atomic<int> forkedSeen{0};
};

void probeIds(IdProbe* p) {
    const unsigned long h = hostWorker();
    if (h < kMaxWorkers)
        p->ids[h].store(VxMpGetID());
    p->forkedSeen.fetch_add(VxMpIsForked());
}

Ints idsPerHostWorker(int workers, int size0, int nProcs) {
    VxStandaloneHostSetWorkers(workers);
    SpMpSetSize(size0, 1, nProcs);
    IdProbe probe;
    VxMpFork(work(&probeIds), 1, &probe);
    EXPECT_EQ(probe.forkedSeen.load(), workers);
    return Ints(probe.ids, probe.ids + workers);
}

TEST(HostBridge, WorkerIdIsTheScaledHostNumberRoundedHalfUp) {
    // Host worker h of sizeProduct t, with p processes, is h*p/t: exact
    // quotients as they are, else rounded half up in float (6/4 = 1.5 -> 2).
    for (int t = 1; t <= 9; ++t) {
        for (int p = 1; p <= 9; ++p) {
            const Ints ids = idsPerHostWorker(8, t, p);
            for (int h = 0; h < 8; ++h) {
                const float f = static_cast<float>(h) * static_cast<float>(p) / t;
                const int expected = (h * p) % t == 0 ? h * p / t : static_cast<int>(f + 0.5f);
                EXPECT_EQ(ids[h], expected) << "h " << h << " p " << p << " t " << t;
            }
        }
    }
    // A zero size product gives every worker id 0, silently.
    CaptureStderr();
    EXPECT_EQ(idsPerHostWorker(2, 0, 1), Ints({0, 0}));
    EXPECT_EQ(GetCapturedStderr(), "");
}

// Adds 1000 + 1*a + 2*b + ... of the words it was given into the worker's slot.
std::atomic<long> gSum[kMaxWorkers];
template <typename... W>
void add(W... w) {
    long k = 0, sum = 1000;
    ((sum += ++k * static_cast<long>(w)), ...);
    gSum[hostWorker()].fetch_add(sum);
}

// What each of three workers added since the last call.
void expectEach(long want) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(gSum[i].exchange(0), want) << "worker " << i;
}

TEST(HostBridge, ForkForwardsUpToSixWordsToEveryWorker) {
    useWorkers(3);
    using W = VxWord;
    const VxMpWork forms[] = {work(&add<>),
                              work(&add<W>),
                              work(&add<W, W>),
                              work(&add<W, W, W>),
                              work(&add<W, W, W, W>),
                              work(&add<W, W, W, W, W>),
                              work(&add<W, W, W, W, W, W>)};
    for (long n = 0; n <= 6; ++n) { // big words: whole words survive the trip
        VxMpFork(forms[n], static_cast<int>(n), W(1) << 40, W(2) << 40, W(3) << 40, W(4) << 40,
                 W(5) << 40, W(6) << 40);
        expectEach(1000 + (n * (n + 1) * (2 * n + 1) / 6 << 40));
    }
    // Seven arguments, or a negative count, are dropped without a word.
    CaptureStderr();
    VxMpFork(forms[0], 7, W(1), W(2), W(3), W(4), W(5), W(6), W(7));
    VxMpFork(forms[0], -1);
    EXPECT_EQ(GetCapturedStderr(), "");
    expectEach(0);
    EXPECT_EQ(VxMpIsForked(), 0);
}

void forkAgain(std::atomic<int>* ran) {
    ran->fetch_add(1);
    VxMpFork(work(&forkAgain), 1, ran);
}

TEST(HostBridge, NestedForkIsRefusedAndTheOuterForkCompletes) {
    useWorkers(4);
    std::atomic<int> ran{0};
    CaptureStderr();
    VxMpFork(work(&forkAgain), 1, &ran);
    EXPECT_EQ(countOf(GetCapturedStderr(), "VxMpFork - recursive fork detected\n"), 4);
    EXPECT_EQ(ran.load(), 4);
    EXPECT_EQ(VxMpIsForked(), 0);
}

void countRuns(std::atomic<long>* runs) {
    runs->fetch_add(1, std::memory_order_relaxed);
}

// Back-to-back forks with spinning and with sleeping workers: a lost wake-up
// would hang, a duplicate or missed run would show in the count.
TEST(HostBridge, BackToBackForksRunEveryWorkerExactlyOnce) {
    for (int spin : {100, 5, 0, -5}) { // a negative spin is taken as 0
        VxStandaloneHostSetSpin(spin);
        for (int n : {2, 3}) {
            useWorkers(n);
            std::atomic<long> runs{0};
            for (int i = 0; i < 2000; ++i)
                VxMpFork(work(&countRuns), 1, &runs);
            EXPECT_EQ(runs.load(), 2000L * n) << "spin " << spin;
        }
    }
}

struct Cautious {
    std::atomic<int> runs{0}, idSum{0}, nProcs{0}, forkedFlags{0};
};

void cautiousShare(Cautious* c, VxMatrixThread* mt) {
    c->runs.fetch_add(1);
    c->idSum.fetch_add(mt->cautiousVxMpGetID());
    c->nProcs.store(mt->cautiousVxMpGetNProcs());
}

void cautiousFromWorker(Cautious* c) {
    VxMatrixThread mt;
    mt.cautiousVxMpFork(work(&cautiousShare), 2, c, &mt);
    c->forkedFlags.fetch_add(static_cast<int>(mt.forked));
}

TEST(HostBridge, MatrixThreadForksAtTopLevelAndRunsDirectlyInsideAWorker) {
    useWorkers(3);
    Cautious top;
    VxMatrixThread mt;
    EXPECT_EQ(mt.forked, 0u);
    mt.cautiousVxMpFork(work(&cautiousShare), 2, &top, &mt);
    EXPECT_EQ(Ints({top.runs, top.idSum, top.nProcs, static_cast<int>(mt.forked)}),
              Ints({3, 0 + 1 + 2, 3, 0}));
    mt.cautiousVxMpFork(work(&cautiousShare), 7, &top, &mt, 0, 0, 0, 0, 0);
    EXPECT_EQ(top.runs.load(), 3); // seven arguments run nothing

    // Inside a worker: one direct share per outer worker, no recursion report.
    Cautious inner;
    CaptureStderr();
    VxMpFork(work(&cautiousFromWorker), 1, &inner);
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(Ints({inner.runs, inner.idSum, inner.nProcs, inner.forkedFlags}), Ints({3, 0, 1, 3}));
}

// Worker `thrower` throws; the others take a moment and finish their share.
struct Throwing {
    int thrower;
    std::atomic<int> finished{0}, forkedSeen{0};
};

struct ShareFailed : std::runtime_error {
    int worker;
    explicit ShareFailed(int w) : std::runtime_error("share failed"), worker(w) {}
};

void throwOn(Throwing* t) {
    t->forkedSeen.fetch_add(VxMpIsForked());
    if (VxMpGetID() == t->thrower)
        throw ShareFailed(t->thrower);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    t->finished.fetch_add(1);
}

// The first exception of any worker leaves VxMpFork once all shares are done;
// the fork flag is cleared, so the next fork is no "recursive" one.
TEST(HostBridge, AWorkersExceptionLeavesTheForkAndTheNextForkRuns) {
    for (int thrower : {0, 1, 3}) {
        useWorkers(4);
        Throwing t{thrower};
        CaptureStderr();
        try {
            VxMpFork(work(&throwOn), 1, &t);
            ADD_FAILURE() << "no exception from worker " << thrower;
        } catch (const ShareFailed& e) {
            EXPECT_EQ(e.worker, thrower);
        }
        EXPECT_EQ(t.finished.load(), 3) << thrower;
        EXPECT_EQ(t.forkedSeen.load(), 4);
        EXPECT_EQ(forkState()[6], 0);
        EXPECT_EQ(VxMpGetID(), 0);
        Throwing none{-1};
        VxMpFork(work(&throwOn), 1, &none);
        EXPECT_EQ(none.finished.load(), 4);
        EXPECT_EQ(GetCapturedStderr(), "") << "no recursive-fork report";
    }
    // One worker: the share runs in the caller and its exception leaves as well.
    useWorkers(1);
    Throwing alone{0};
    EXPECT_THROW(VxMpFork(work(&throwOn), 1, &alone), ShareFailed);
    EXPECT_EQ(VxMpIsForked(), 0);
}

void cautiousThrow(Throwing* t, VxMatrixThread* mt) {
    if (mt->cautiousVxMpGetID() == t->thrower)
        throw ShareFailed(t->thrower);
    t->finished.fetch_add(1);
}

void cautiousFromWorkerThrows(Throwing* t) {
    VxMatrixThread mt;
    mt.cautiousVxMpFork(work(&cautiousThrow), 2, t, &mt);
}

TEST(HostBridge, MatrixThreadPassesTheExceptionOnAtTopLevelAndInsideAWorker) {
    useWorkers(3);
    VxMatrixThread mt;
    Throwing top{2};
    EXPECT_THROW(mt.cautiousVxMpFork(work(&cautiousThrow), 2, &top, &mt), ShareFailed);
    EXPECT_EQ(top.finished.load(), 2);
    EXPECT_EQ(VxMpIsForked(), 0);

    // Inside a worker the work runs directly as share 0, so every outer
    // worker's direct share throws; the first of them leaves the outer fork.
    Throwing inner{0};
    CaptureStderr();
    EXPECT_THROW(VxMpFork(work(&cautiousFromWorkerThrows), 1, &inner), ShareFailed);
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(VxMpIsForked(), 0);
    Throwing after{-1};
    mt.cautiousVxMpFork(work(&cautiousThrow), 2, &after, &mt);
    EXPECT_EQ(after.finished.load(), 3);
    EXPECT_EQ(mt.forked, 0u);
}

TEST(HostBridge, StringHelpers) {
    char out[32] = "x";
    string_downcase("Flame 2025 \xc3\x84Z", out); // bytes above 127 pass unchanged
    EXPECT_STREQ(out, "flame 2025 \xc3\x84z");
    string_downcase("", out);
    EXPECT_STREQ(out, "");
    string_downcase(nullptr, out); // ignored
    string_downcase("abc", nullptr);
    EXPECT_EQ(Ints({minimum(3, -2), minimum(-2, 3), minimum(7, 7), minimum(INT32_MIN, 0)}),
              Ints({-2, -2, 7, INT32_MIN}));
}

} // namespace
