#include "vxFourierConvolvePass.h"

#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

using Spectrum = VxTexture<VxComplex<float>, VxComplex<float>>;
using Pixels = std::vector<VxComplex<float>>;

Pixels pattern(int w, int h, unsigned seed) {
    Pixels p(static_cast<size_t>(w) * static_cast<size_t>(h));
    for (auto& v : p) {
        seed = seed * 1103515245u + 12345u;
        v.re = static_cast<float>((seed >> 9) & 1023) / 512.0f - 1.0f;
        seed = seed * 1103515245u + 12345u;
        v.im = static_cast<float>((seed >> 9) & 1023) / 512.0f - 1.0f;
    }
    return p;
}

// The pass as a frame would run it: every worker multiplies its rows.
struct Multiply : VxImgProc {
    VxFourierConvolvePass pass{0.25f};
    Spectrum* a = nullptr;
    Spectrum* b = nullptr;
    void sample() override { pass.convolvePass(*a, *b, *this); }
};

void useWorkers(int n) {
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
}

// Against the obvious loop: the first W/2 + 1 entries of every row become
// (a b) scale, the rest keep their values; any worker count, odd and even
// widths, fewer rows than workers.
TEST(VxFourierConvolvePass, MultipliesHalfSpectrumOnEveryWorker) {
    const int sizes[][2] = {{8, 5}, {9, 4}, {1, 3}, {16, 1}, {33, 17}};
    for (int workers = 1; workers <= 4; ++workers) {
        useWorkers(workers);
        for (const auto& s : sizes) {
            const int w = s[0], h = s[1];
            Pixels pa = pattern(w, h, 7), pb = pattern(w, h, 99), expect = pa;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x <= w / 2; ++x) {
                    const size_t i = static_cast<size_t>(y * w + x);
                    const VxComplex<float> p = expect[i] * pb[i];
                    expect[i] = VxComplex<float>(p.re * 0.25f, p.im * 0.25f);
                }
            Spectrum a(w, h, pa.data()), b(w, h, pb.data());
            Multiply m;
            m.a = &a, m.b = &b;
            m.processImages(&a);
            EXPECT_EQ(pa, expect) << workers << " workers, " << w << " x " << h;
        }
    }
    useWorkers(1);
}

// Nothing is done on a size mismatch or without pixels; a texture times
// itself is its square.
TEST(VxFourierConvolvePass, MismatchesAndAliasing) {
    Pixels pa = pattern(6, 4, 1), pb = pattern(6, 5, 2), pc = pattern(7, 4, 3);
    const Pixels keep = pa;
    Spectrum a(6, 4, pa.data()), taller(6, 5, pb.data()), wider(7, 4, pc.data()), empty;
    Spectrum noData(6, 4, nullptr);
    VxImgProc frame;
    VxFourierConvolvePass pass;
    pass.convolvePass(a, taller, frame);
    pass.convolvePass(a, wider, frame);
    pass.convolvePass(a, noData, frame);
    pass.convolvePass(empty, empty, frame);
    EXPECT_EQ(pa, keep);
    pass.convolvePass(a, a, frame);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x) {
            const size_t i = static_cast<size_t>(y * 6 + x);
            EXPECT_EQ(pa[i], x <= 3 ? keep[i] * keep[i] : keep[i]);
        }

    // Outside a fork the caller is worker 0: with two workers set, it does
    // the first half of the rows only.
    SpMpSetSize(2, 1, 2);
    const Pixels squared = pa;
    pass.convolvePass(a, a, frame);
    SpMpSetSize(1, 1, 1);
    for (int y = 0; y < 4; ++y) {
        const size_t i = static_cast<size_t>(y * 6);
        EXPECT_EQ(pa[i], y < 2 ? squared[i] * squared[i] : squared[i]) << "row " << y;
    }
}

struct CountingCheck {
    std::atomic<int> calls{0};
    int interruptAt = 0; // the call that answers "interrupted", 0 never
    static int check(void* self, int* value) {
        auto* c = static_cast<CountingCheck*>(self);
        __atomic_add_fetch(value, 1, __ATOMIC_RELAXED);
        const int n = ++c->calls;
        return c->interruptAt != 0 && n >= c->interruptAt;
    }
};

// The interruption record is consulted before every row: on one worker the
// rows before the interrupting answer are done, the rest are not, and the
// answer is latched. A latched record stops every worker at once.
TEST(VxFourierConvolvePass, StopsWhenInterrupted) {
    useWorkers(1);
    const int w = 4, h = 6;
    Pixels pa = pattern(w, h, 5), pb = pattern(w, h, 6);
    const Pixels keep = pa;
    Spectrum a(w, h, pa.data()), b(w, h, pb.data());
    CountingCheck counter;
    counter.interruptAt = 3;
    VxInterruptCheck record{&counter, &CountingCheck::check, 0, 0};
    VxImgProc frame;
    frame.interruptCheck = &record;
    VxFourierConvolvePass pass(1.0f);
    pass.convolvePass(a, b, frame);
    EXPECT_EQ(counter.calls.load(), 3);
    EXPECT_NE(record.interrupted, 0);
    for (int y = 0; y < h; ++y) {
        const size_t i = static_cast<size_t>(y * w);
        EXPECT_EQ(pa[i], y < 2 ? keep[i] * pb[i] : keep[i]) << "row " << y;
    }

    useWorkers(3);
    Pixels pc = pattern(w, 30, 8), pd = pattern(w, 30, 9);
    const Pixels keepC = pc;
    Spectrum c(w, 30, pc.data()), d(w, 30, pd.data());
    Multiply m;
    m.a = &c, m.b = &d;
    record.interrupted = 0;
    counter.calls = 0;
    counter.interruptAt = 3; // the frame asks twice before its fork, then the workers
    m.interruptCheck = &record;
    m.processImages(&c);
    EXPECT_NE(record.interrupted, 0);
    EXPECT_LE(counter.calls.load(), 5); // at most one question per worker
    EXPECT_EQ(pc, keepC);
    useWorkers(1);
}

} // namespace
