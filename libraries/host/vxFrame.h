// Internal: the pieces the processing frames share. Not installed.
#ifndef VX_FRAME_INTERNAL_H
#define VX_FRAME_INTERNAL_H

#include "vxHost.h"
#include "vxMpForkCall.h"

namespace VxFrame {

// The first exception thrown by sample() in any worker of a frame's fork. One
// fork is in flight per process, so one record serves every frame.
VxMpForkErrors& forkErrors();

// The frames' fork entry (sampleForkStatic) in a worker: inside the frame's
// own fork an exception from sample() is kept for the caller, so that it never
// has to cross the host's fork; anywhere else (a plug-in calling the entry
// itself) it leaves as usual.
template <class Frame>
void sampleInWorker(Frame& f) {
    if (!(f.inFork && VxMpIsForked())) {
        f.sample();
        return;
    }
    try {
        f.sample();
    } catch (...) {
        forkErrors().capture();
    }
}

// 32-bit arithmetic that wraps the way the historical int code did, without
// the undefined behaviour of signed overflow.
inline int add(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
inline int sub(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
inline int mul(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

// Worker id's share of [0, length) among n >= 1 workers: contiguous chunks of
// ceil(length / n), the last worker taking the rest. A share may be empty
// (lo >= hi).
inline void shareOf(int length, int id, int n, int& lo, int& hi) {
    const int chunk = add(n, sub(length, 1)) / n;
    lo = mul(id, chunk);
    const int next = add(lo, chunk);
    hi = next < length ? next : length;
    if (id == n - 1) {
        hi = length;
    }
}

// Clears a frame's inFork however the fork is left.
template <class Frame>
class InForkScope {
public:
    explicit InForkScope(Frame& f) : f_(f) { f_.inFork = 1; }
    ~InForkScope() { f_.inFork = 0; }
    InForkScope(const InForkScope&) = delete;
    InForkScope& operator=(const InForkScope&) = delete;

private:
    Frame& f_;
};

// One repetition of a frame: interruption test, preThread, test again (an
// interruption here skips postThread, deliberately), the fork of sample() over
// every worker (or one call in the caller), postThread.
//
// An exception from sample() ends the repetition: once every worker has
// finished its share, inFork is cleared and the first exception thrown leaves
// here, without postThread; the repetition loop and process() pass it on.
template <class Frame>
void multiThreadSample(Frame& f, void (*forkEntry)(Frame*)) {
    if (f.isInterrupted()) {
        return;
    }
    f.preThread();
    if (f.isInterrupted()) {
        return;
    }
    if (f.multiThreaded) {
        // A nested fork is refused and runs nothing; the record then belongs
        // to the fork in progress and is left alone.
        const bool nested = VxMpIsForked() != 0;
        {
            const InForkScope<Frame> inFork(f);
            VxMpFork(reinterpret_cast<VxMpWork>(forkEntry), 1, reinterpret_cast<VxWord>(&f));
        }
        if (!nested) {
            forkErrors().rethrowFirst();
        }
    } else {
        f.sample();
    }
    f.postThread();
}

// The repetition loop; the bound is read again after every repetition.
template <class Frame>
void iterateSample(Frame& f) {
    for (f.currentCall = 0; f.currentCall < f.callsToSample; ++f.currentCall) {
        f.multiThreadSample();
    }
}

} // namespace VxFrame

#endif
