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
using Ints = std::vector<int>;

unsigned long hostWorker() {
    unsigned long h = 0;
    sparkMpInfo(&h, nullptr);
    return h;
}

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
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

    testing::internal::CaptureStderr();
    EXPECT_EQ(SpMpSetSize(7, 7, 0), 0); // refused
    EXPECT_EQ(countOf(testing::internal::GetCapturedStderr(), "SpMpSetSize"), 1);
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
    VxMpFork(reinterpret_cast<VxMpWork>(&probeIds), 1, &probe);
    EXPECT_EQ(probe.forkedSeen.load(), workers);
    Ints ids;
    for (int i = 0; i < workers; ++i)
        ids.push_back(probe.ids[i].load());
    return ids;
}

TEST(HostBridge, WorkerIdIsTheScaledHostNumberRoundedHalfUp) {
    // 3/4 -> 1; 6/4 = 1.5 rounds up to 2; 9/4 -> 2.
    EXPECT_EQ(idsPerHostWorker(4, 4, 3), Ints({0, 1, 2, 2}));
    // A model over many scalings: exact quotients, else float rounding half up.
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
    // A zero size product is reported by every worker, whose id is then 0.
    testing::internal::CaptureStderr();
    EXPECT_EQ(idsPerHostWorker(2, 0, 1), Ints({0, 0}));
    EXPECT_EQ(countOf(testing::internal::GetCapturedStderr(), "SpMpGetId"), 2);
}

// Each worker adds the sum of its arguments into its own slot.
std::atomic<long> gSum[kMaxWorkers];
void add(VxWord v) {
    gSum[hostWorker()].fetch_add(static_cast<long>(v));
}
void work0() {
    add(1000);
}
void work1(VxWord a) {
    add(a);
}
void work2(VxWord a, VxWord b) {
    add(a + 2 * b);
}
void work3(VxWord a, VxWord b, VxWord c) {
    add(a + 2 * b + 3 * c);
}
void work4(VxWord a, VxWord b, VxWord c, VxWord d) {
    add(a + 2 * b + 3 * c + 4 * d);
}
void work5(VxWord a, VxWord b, VxWord c, VxWord d, VxWord e) {
    add(a + 2 * b + 3 * c + 4 * d + 5 * e);
}
void work6(VxWord a, VxWord b, VxWord c, VxWord d, VxWord e, VxWord f) {
    add(a + 2 * b + 3 * c + 4 * d + 5 * e + 6 * f);
}

// The sums every worker saw since the last call.
std::vector<long> takeSums(int n) {
    std::vector<long> sums;
    for (int i = 0; i < n; ++i)
        sums.push_back(gSum[i].exchange(0));
    return sums;
}
using Longs = std::vector<long>;

TEST(HostBridge, ForkForwardsUpToSixWordsToEveryWorker) {
    useWorkers(3);
    using W = VxWord;
    auto fork = [](auto fn) { return reinterpret_cast<VxMpWork>(fn); };
    const VxWord big = VxWord(1) << 40; // whole words survive the trip
    VxMpFork(&work0, 0);
    EXPECT_EQ(takeSums(3), Longs(3, 1000));
    VxMpFork(fork(&work1), 1, big);
    EXPECT_EQ(takeSums(3), Longs(3, static_cast<long>(big)));
    VxMpFork(fork(&work2), 2, W(1), W(2));
    EXPECT_EQ(takeSums(3), Longs(3, 5));
    VxMpFork(fork(&work3), 3, W(1), W(2), W(3));
    EXPECT_EQ(takeSums(3), Longs(3, 14));
    VxMpFork(fork(&work4), 4, W(1), W(2), W(3), W(4));
    EXPECT_EQ(takeSums(3), Longs(3, 30));
    VxMpFork(fork(&work5), 5, W(1), W(2), W(3), W(4), W(5));
    EXPECT_EQ(takeSums(3), Longs(3, 55));
    VxMpFork(fork(&work6), 6, W(1), W(2), W(3), W(4), W(5), W(6));
    EXPECT_EQ(takeSums(3), Longs(3, 91));
    EXPECT_EQ(VxMpIsForked(), 0);

    // Seven arguments, or a negative count, are dropped without a word.
    testing::internal::CaptureStderr();
    VxMpFork(&work0, 7, W(1), W(2), W(3), W(4), W(5), W(6), W(7));
    VxMpFork(&work0, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(takeSums(3), Longs(3, 0));
    EXPECT_EQ(VxMpIsForked(), 0);
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
    EXPECT_EQ(
        countOf(testing::internal::GetCapturedStderr(), "VxMpFork - recursive fork detected\n"), 4);
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
                VxMpFork(reinterpret_cast<VxMpWork>(&countRuns), 1, &runs);
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
    mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousShare), 2, c, &mt);
    c->forkedFlags.fetch_add(static_cast<int>(mt.forked));
}

TEST(HostBridge, MatrixThreadForksAtTopLevelAndRunsDirectlyInsideAWorker) {
    useWorkers(3);
    Cautious top;
    VxMatrixThread mt;
    EXPECT_EQ(mt.forked, 0u);
    mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousShare), 2, &top, &mt);
    EXPECT_EQ(Ints({top.runs, top.idSum, top.nProcs, static_cast<int>(mt.forked)}),
              Ints({3, 0 + 1 + 2, 3, 0}));
    mt.cautiousVxMpFork(reinterpret_cast<VxMpWork>(&cautiousShare), 7, &top, &mt, 0, 0, 0, 0, 0);
    EXPECT_EQ(top.runs.load(), 3); // seven arguments run nothing

    // Inside a worker: one direct share per outer worker, no recursion report.
    Cautious inner;
    testing::internal::CaptureStderr();
    VxMpFork(reinterpret_cast<VxMpWork>(&cautiousFromWorker), 1, &inner);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Ints({inner.runs, inner.idSum, inner.nProcs, inner.forkedFlags}), Ints({3, 0, 1, 3}));
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
