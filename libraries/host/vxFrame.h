// Internal: the pieces the processing frames share. Not installed.
#ifndef VX_FRAME_INTERNAL_H
#define VX_FRAME_INTERNAL_H

#include "vxHost.h"

namespace VxFrame {

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

// One repetition of a frame: interruption test, preThread, test again (an
// interruption here skips postThread, deliberately), the fork of sample() over
// every worker (or one call in the caller), postThread.
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
        f.inFork = 1;
        VxMpFork(reinterpret_cast<VxMpWork>(forkEntry), 1, &f);
        f.inFork = 0;
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
