#include "vxMultiProcessor.h"

#include "vxFrame.h"
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
    VxFrame::iterateSample(*this);
}

void VxMultiProcessor::multiThreadSample() {
    VxFrame::multiThreadSample(*this, &VxMultiProcessor::sampleForkStatic);
}

void VxMultiProcessor::sampleForkStatic(VxMultiProcessor* self) {
    if (self != nullptr) {
        VxFrame::sampleInWorker(*self);
    }
}

VxMpForkErrors& VxFrame::forkErrors() {
    static VxMpForkErrors errors;
    return errors;
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
    VxFrame::shareOf(total, id, n, begin, end);
}

template VX_API void range<int, int>(int total, int& begin, int& end);
