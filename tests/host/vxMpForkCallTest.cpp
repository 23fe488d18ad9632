// VxMpForkCall on the stand-alone host: typed arguments, callables of every
// kind, the first exception of any worker, and the refused nested fork.
#include "vxMpForkCall.h"
#include "vxMultiProcessor.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

constexpr int kMaxWorkers = 16;
using Ints = std::vector<int>;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

int countOf(const std::string& text, const std::string& needle) {
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++n;
    return n;
}

// What each worker saw, by worker number.
struct Seen {
    std::atomic<int> runs[kMaxWorkers] = {};
    std::atomic<long long> value[kMaxWorkers] = {};
    std::atomic<int> procs{0}, forked{0};

    void record(long long v) {
        const int id = VxMpGetID();
        ASSERT_GE(id, 0);
        ASSERT_LT(id, kMaxWorkers);
        runs[id].fetch_add(1);
        value[id].store(v);
        procs.store(VxMpGetNProcs());
        forked.fetch_add(VxMpIsForked());
    }
    Ints runsOf(int n) const {
        Ints r;
        for (int i = 0; i < n; ++i)
            r.push_back(runs[i].load());
        return r;
    }
};

void typedWork(Seen* seen, int i, double d, char c, std::int16_t s, bool b) {
    // Negative ints, halves and small types all arrive exactly.
    seen->record(static_cast<long long>(i * 1000 + d * 10) + c + s + (b ? 1 : 0));
}

TEST(ForkCall, FunctionWithTypedArgumentsRunsOnEveryWorker) {
    useWorkers(3);
    Seen seen;
    EXPECT_TRUE(VxMpForkCall(typedWork, &seen, -7, 2.5, 'A', std::int16_t(-300), true));
    EXPECT_EQ(seen.runsOf(3), Ints({1, 1, 1}));
    for (int id = 0; id < 3; ++id)
        EXPECT_EQ(seen.value[id].load(), -7000 + 25 + 65 - 300 + 1);
    EXPECT_EQ(seen.procs.load(), 3);
    EXPECT_EQ(seen.forked.load(), 3);
    EXPECT_EQ(VxMpIsForked(), 0);

    Seen viaPointer; // a function pointer and a function reference do too
    void (*fp)(Seen*, int, double, char, std::int16_t, bool) = &typedWork;
    EXPECT_TRUE(VxMpForkCall(fp, &viaPointer, 1, 0.0, '\0', std::int16_t(0), false));
    EXPECT_TRUE(VxMpForkCall(*fp, &viaPointer, 1, 0.0, '\0', std::int16_t(0), false));
    EXPECT_EQ(viaPointer.runsOf(3), Ints({2, 2, 2}));
}

TEST(ForkCall, LambdaWithCapturesSplitsARange) {
    useWorkers(4);
    std::vector<int> out(103, -1);
    int offset = 1000; // captured by value
    auto fill = [&out, offset](int total, int scale) {
        int begin = 0, end = 0;
        range(total, begin, end);
        for (int i = begin; i < end; ++i)
            out[static_cast<size_t>(i)] = offset + scale * i + VxMpGetID() * 100000;
    };
    EXPECT_TRUE(VxMpForkCall(fill, static_cast<int>(out.size()), 2));
    const int chunk = (103 + 3) / 4;
    for (int i = 0; i < 103; ++i)
        EXPECT_EQ(out[static_cast<size_t>(i)], 1000 + 2 * i + (i / chunk) * 100000) << i;

    // More arguments than the variadic form's six, of class type.
    std::atomic<int> total{0};
    VxMpForkCall(
        [&total](const std::string& s, int a, int b, int c, int d, int e, int f, int g) {
            total.fetch_add(static_cast<int>(s.size()) + a + b + c + d + e + f + g);
        },
        std::string("four"), 1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(total.load(), 4 * (4 + 28));
}

struct Accumulator {
    std::atomic<long> sum{0};
    void add(int v, double scale) { sum.fetch_add(static_cast<long>(v * scale)); }
};

TEST(ForkCall, ReferencesMemberFunctionsAndFunctionObjects) {
    useWorkers(3);
    // std::ref shares one object; the callable receives a plain reference.
    std::atomic<int> counter{0};
    VxMpForkCall([](std::atomic<int>& c) { c.fetch_add(1); }, std::ref(counter));
    EXPECT_EQ(counter.load(), 3);
    // A generic lambda sees the reference too, not the wrapper.
    VxMpForkCall([](auto& c) { c.fetch_add(10); }, std::ref(counter));
    EXPECT_EQ(counter.load(), 33);

    // Arguments are copied once, before the fork: later changes are not seen.
    int original = 5;
    std::atomic<int> seenValue{0};
    VxMpForkCall([&seenValue](int v) { seenValue.store(v); }, original);
    EXPECT_EQ(seenValue.load(), 5);

    Accumulator acc; // pointer to member function with the object first
    VxMpForkCall(&Accumulator::add, &acc, 7, 2.0);
    EXPECT_EQ(acc.sum.load(), 3 * 14);

    struct Functor {
        std::atomic<int>* hits;
        void operator()() const { hits->fetch_add(1); }
    };
    std::atomic<int> hits{0};
    const Functor functor{&hits};
    VxMpForkCall(functor);
    VxMpForkCall(Functor{&hits});
    EXPECT_EQ(hits.load(), 6);

    // Move-only arguments are moved in once and lent to every worker.
    auto owned = std::make_unique<int>(42);
    std::atomic<int> got{0};
    VxMpForkCall([&got](const std::unique_ptr<int>& p) { got.fetch_add(*p); }, std::move(owned));
    EXPECT_EQ(got.load(), 3 * 42);
}

struct Failure : std::runtime_error {
    int worker;
    explicit Failure(int w) : std::runtime_error("worker " + std::to_string(w)), worker(w) {}
};

// Worker `thrower` throws; the others sleep a little and finish their share.
struct Finish {
    std::atomic<int> finished{0};
};

void failOn(Finish* f, int thrower) {
    if (VxMpGetID() == thrower)
        throw Failure(thrower);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    f->finished.fetch_add(1);
}

TEST(ForkCall, TheWorkersExceptionReachesTheCallerAfterTheOthersFinish) {
    for (int thrower : {0, 2}) {
        useWorkers(3);
        Finish f;
        try {
            VxMpForkCall(failOn, &f, thrower);
            ADD_FAILURE() << "no exception";
        } catch (const Failure& e) {
            EXPECT_EQ(e.worker, thrower);
        }
        EXPECT_EQ(f.finished.load(), 2) << thrower; // every other share ran to its end
        EXPECT_EQ(VxMpIsForked(), 0);
        EXPECT_EQ(VxMpGetID(), 0);
        Seen next; // and the next fork runs normally
        EXPECT_TRUE(VxMpForkCall([&next] { next.record(1); }));
        EXPECT_EQ(next.runsOf(3), Ints({1, 1, 1}));
    }
}

TEST(ForkCall, TheFirstExceptionThrownIsTheOneThatLeaves) {
    useWorkers(4);
    for (int first : {3, 0}) {
        std::atomic<int> thrown{0};
        try {
            VxMpForkCall([&thrown, first] {
                const int id = VxMpGetID();
                if (id != first) // the others throw only well after the first
                    std::this_thread::sleep_for(std::chrono::milliseconds(150));
                thrown.fetch_add(1);
                throw Failure(id);
            });
            ADD_FAILURE() << "no exception";
        } catch (const Failure& e) {
            EXPECT_EQ(e.worker, first);
        }
        EXPECT_EQ(thrown.load(), 4); // the later ones were thrown too, and dropped
    }
    // Any type at all, not only std::exception.
    EXPECT_THROW(VxMpForkCall([] {
                     if (VxMpGetID() == 1)
                         throw 17;
                 }),
                 int);
}

TEST(ForkCall, InsideAForkItIsRefusedAndTheOuterForkCompletes) {
    useWorkers(3);
    std::atomic<int> outer{0}, inner{0}, refusals{0};
    CaptureStderr();
    EXPECT_TRUE(VxMpForkCall([&] {
        outer.fetch_add(1);
        if (!VxMpForkCall([&inner] { inner.fetch_add(1); }))
            refusals.fetch_add(1);
    }));
    EXPECT_EQ(countOf(GetCapturedStderr(), "VxMpFork - recursive fork detected\n"), 3);
    EXPECT_EQ(Ints({outer, inner, refusals}), Ints({3, 0, 3}));

    // An exception in a worker after a refused inner fork still leaves.
    CaptureStderr();
    EXPECT_THROW(VxMpForkCall([] {
                     VxMpForkCall([] {});
                     if (VxMpGetID() == 2)
                         throw Failure(2);
                 }),
                 Failure);
    GetCapturedStderr();
    EXPECT_EQ(VxMpIsForked(), 0);
}

// The raw variadic form, from a worker of the typed form: refused as well.
void rawInner(std::atomic<int>* n) {
    n->fetch_add(1);
}

TEST(ForkCall, MixesWithTheVariadicForm) {
    useWorkers(2);
    std::atomic<int> n{0};
    CaptureStderr();
    VxMpForkCall([&n] { VxMpFork(reinterpret_cast<VxMpWork>(&rawInner), 1, &n); });
    EXPECT_EQ(countOf(GetCapturedStderr(), "recursive fork detected"), 2);
    EXPECT_EQ(n.load(), 0);
    VxMpFork(reinterpret_cast<VxMpWork>(&rawInner), 1, &n);
    EXPECT_EQ(n.load(), 2);
}

#if defined(VX_CHECKS_FUNCTION_TYPES)
// The build checks every call through a function pointer against the
// function's own type (clang -fsanitize=function), except in VxInvokeWork.
void takesPointer(int* p) {
    ++*p;
}

// VxMpForkCall's work function has exactly the one-word type the host calls.
static_assert(
    std::is_same_v<decltype(&VxMpForkCallDetail::Call<void(int*), int*>::work), void (*)(VxWord)>);

TEST(ForkCallDeathTest, FunctionTypeCheckIsOnOutsideTheHostsCall) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The variadic form's mismatched call is exempt; VxMpForkCall's is typed...
    useWorkers(1);
    int hits = 0;
    VxMpFork(reinterpret_cast<VxMpWork>(&takesPointer), 1, &hits);
    VxMpForkCall(takesPointer, &hits);
    EXPECT_EQ(hits, 2);
    // ... and any other mismatched call is reported.
    EXPECT_DEATH(
        {
            auto wrong = reinterpret_cast<void (*)(std::uintptr_t)>(&takesPointer);
            wrong(reinterpret_cast<std::uintptr_t>(&hits));
        },
        "incorrect function type");
}
#endif

} // namespace
