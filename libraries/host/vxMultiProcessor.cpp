#include "vxMultiProcessor.h"

#include "vxHost.h"

VxInteruptable::VxInteruptable() : interruptCheck(nullptr) {}

VxInteruptable::~VxInteruptable() = default;

bool VxInteruptable::isInterrupted() {
    VxInterruptCheck* ic = interruptCheck;
    if (ic == nullptr) {
        return false;
    }
    if (ic->interrupted != 0) {
        return true;
    }
    if (ic->check != nullptr) {
        ic->interrupted = ic->check(ic->userData, &ic->checkValue);
    }
    return ic->interrupted != 0;
}

VxMultiProcessor::VxMultiProcessor() : inFork(0), callsToSample(1), multiThreaded(1) {}

VxMultiProcessor::~VxMultiProcessor() = default;

void VxMultiProcessor::process() {
    preSample();
    iterateSample();
    postSample();
}

void VxMultiProcessor::iterateSample() {
    for (currentCall = 0; currentCall < callsToSample; ++currentCall) {
        multiThreadSample();
    }
}

void VxMultiProcessor::multiThreadSample() {
    if (isInterrupted()) {
        return;
    }
    preThread();
    // Interrupted after preThread: postThread is deliberately skipped.
    if (isInterrupted()) {
        return;
    }
    if (multiThreaded) {
        inFork = 1;
        VxMpFork(reinterpret_cast<VxMpWork>(&VxMultiProcessor::sampleForkStatic), 1, this);
        inFork = 0;
    } else {
        sample();
    }
    postThread();
}

void VxMultiProcessor::sampleForkStatic(VxMultiProcessor* self) {
    if (self != nullptr) {
        self->sample();
    }
}

template <typename T, typename I>
void range(T total, I& begin, I& end) {
    const int id = VxMpGetID();
    const int n = VxMpGetNProcs();
    if (n < 1) {
        // A worker count below 1 cannot split anything: worker 0 takes it all.
        begin = 0;
        end = id == 0 ? total : 0;
        return;
    }
    // 32-bit arithmetic that wraps the way the historical int code did,
    // without the undefined behaviour of signed overflow.
    auto wrap = [](long long v) { return static_cast<int>(static_cast<unsigned>(v)); };
    const int chunk = wrap(static_cast<long long>(n) + total - 1) / n;
    begin = wrap(static_cast<long long>(id) * chunk);
    const int next = wrap(static_cast<long long>(begin) + chunk);
    end = next < total ? next : total;
    if (id == n - 1) {
        end = total;
    }
}

template VX_API void range<int, int>(int total, int& begin, int& end);
