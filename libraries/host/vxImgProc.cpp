#include "vxImgProc.h"

#include "vxFrame.h"
#include "vxHost.h"

using VxFrame::add;
using VxFrame::sub;

VxImgProc::VxImgProc()
    : inFork(0), windowSet(0), windowX0(0), windowY0(0), windowX1(0), windowY1(0), callsToSample(1),
      multiThreaded(1), resetOutsideWindow(0), auxInt(0), auxScale0(1.0f), auxScale1(1.0f),
      indexer(nullptr), imageWidth(0), imageHeight(0) {}

VxImgProc::~VxImgProc() = default;

void VxImgProc::processImages(VxTexIndexer* image) {
    if (image == nullptr) {
        return;
    }
    // indexer is valid only while processing, also when a hook or a worker's
    // exception ends the processing early.
    struct ClearIndexer {
        VxImgProc& proc;
        ~ClearIndexer() { proc.indexer = nullptr; }
    } clearIndexer{*this};
    setUpIndexer(image);
    preSample();
    iterateSample();
    postSample();
}

void VxImgProc::setUpIndexer(VxTexIndexer* image) {
    if (image == nullptr) {
        return;
    }
    const Vx1DTexIndexer& x = image->xIndexer;
    const Vx1DTexIndexer& y = image->yIndexer;
    if (!windowSet) {
        windowX0 = x.origin;
        windowX1 = add(x.origin, x.resolution);
        windowY0 = y.origin;
        windowY1 = add(y.origin, y.resolution);
        windowSet = 1;
    }
    indexer = image;
    imageWidth = x.resolution;
    imageHeight = y.resolution;
    clampWindow(x.offset, y.offset, sub(add(x.offset, x.resolution), 1),
                sub(add(y.offset, y.resolution), 1));
}

void VxImgProc::iterateSample() {
    VxFrame::iterateSample(*this);
}

void VxImgProc::multiThreadSample() {
    VxFrame::multiThreadSample(*this, &VxImgProc::sampleForkStatic);
}

void VxImgProc::sampleForkStatic(VxImgProc* self) {
    if (self != nullptr) {
        VxFrame::sampleInWorker(*self);
    }
}

namespace {

// One axis of the default rule: the first index into [lo, hi], the last
// (inclusive) likewise, so at least one pixel stays inside.
void clampAxis(int& first, int& end, int lo, int hi) {
    if (first < lo) {
        first = lo;
    } else if (first > hi) {
        first = hi;
    }
    int last = sub(end, 1);
    if (last < lo) {
        last = lo;
    } else if (last > hi) {
        last = hi;
    }
    end = add(last, 1);
}

// One axis of the reset rule: the exclusive end is compared with, and set
// to, the inclusive bound.
void resetAxis(int& first, int& end, int lo, int hi) {
    if (first < lo || end > hi) {
        first = lo;
        end = hi;
    }
}

} // namespace

void VxImgProc::clampWindow(int x0, int y0, int x1, int y1) {
    if (!windowSet) {
        return;
    }
    if (resetOutsideWindow) {
        resetAxis(windowX0, windowX1, x0, x1);
        resetAxis(windowY0, windowY1, y0, y1);
    } else {
        clampAxis(windowX0, windowX1, x0, x1);
        clampAxis(windowY0, windowY1, y0, y1);
    }
}

void VxImgProc::clampWindow(const VxTexIndexer& image) {
    const Vx1DTexIndexer& x = image.xIndexer;
    const Vx1DTexIndexer& y = image.yIndexer;
    clampWindow(x.origin, y.origin, sub(add(x.origin, x.resolution), 1),
                sub(add(y.origin, y.resolution), 1));
}

void VxImgProc::setWindow(int x0, int y0, int x1, int y1) {
    windowX0 = x0;
    windowY0 = y0;
    windowX1 = add(x1, 1);
    windowY1 = add(y1, 1);
    windowSet = 1;
}

void VxImgProc::getWindow(int& x0, int& y0, int& x1, int& y1) const {
    x0 = windowX0;
    y0 = windowY0;
    x1 = sub(windowX1, 1);
    y1 = sub(windowY1, 1);
}

void VxImgProc::setBorderedWindow(int x0, int y0, int x1, int y1, int borderX, int borderY) {
    windowX0 = sub(x0, borderX);
    windowX1 = add(add(x1, borderX), 2);
    windowY0 = sub(y0, borderY);
    windowY1 = add(add(y1, borderY), 2);
    windowSet = 1;
}

void VxImgProc::copyWindow(VxTexIndexer& image, int borderX, int borderY) {
    const Vx1DTexIndexer& x = image.xIndexer;
    const Vx1DTexIndexer& y = image.yIndexer;
    if (borderX > 0 || borderY > 0) {
        setBorderedWindow(x.cropStart, y.cropStart, x.cropEnd, y.cropEnd, borderX, borderY);
    } else {
        setWindow(x.cropStart, y.cropStart, x.cropEnd, y.cropEnd);
    }
}

void VxImgProc::copyWindow(VxImgProc* other) {
    if (other == nullptr) {
        return;
    }
    windowX0 = other->windowX0;
    windowY0 = other->windowY0;
    windowX1 = other->windowX1;
    windowY1 = other->windowY1;
    windowSet = 1;
}

void VxImgProc::copyWindow(Imager* imager) {
    if (imager == nullptr) {
        return;
    }
    int x0, y0, x1, y1;
    imager->getWindow(x0, y0, x1, y1);
    setWindow(x0, y0, x1, y1);
}

void VxImgProc::getXRange(int& x0, int& x1) {
    x0 = windowX0;
    x1 = windowX1;
}

void VxImgProc::getXRange(int& x0, int& x1, int, int) {
    getXRange(x0, x1);
}

void VxImgProc::getYRange(int& y0, int& y1) {
    y0 = windowY0;
    y1 = windowY1;
    getMPRange(y0, y1);
}

void VxImgProc::getYRange(int& y0, int& y1, int id, int n) {
    y0 = windowY0;
    y1 = windowY1;
    getMPRange(y0, y1, id, n);
}

void VxImgProc::getMPRange(int& lo, int& hi) {
    if (multiThreaded) {
        getMPRange(lo, hi, VxMpGetID(), VxMpGetNProcs());
    } else {
        getMPRange(lo, hi, 0, 1);
    }
}

void VxImgProc::getMPRange(int& lo, int& hi, int id, int n) {
    const int base = lo;
    const int length = sub(hi, lo);
    if (inFork && id >= 0 && n >= 1) {
        VxFrame::shareOf(length, id, n, lo, hi);
    } else {
        lo = 0;
        hi = length;
    }
    lo = add(lo, base);
    hi = add(hi, base);
}

// ---------------------------------------------------------------------------

VxIPWindowStack::VxIPWindowStack(VxImgProc& frame) : proc(frame), entries(), depth(0) {}

int VxIPWindowStack::pushWindow() {
    if (depth >= kDepth || depth < 0) {
        return 0;
    }
    int* e = entries[depth];
    e[0] = proc.windowX0;
    e[1] = proc.windowX1;
    e[2] = proc.windowY0;
    e[3] = proc.windowY1;
    ++depth;
    return 1;
}

int VxIPWindowStack::pushWindow(int x0, int y0, int x1, int y1) {
    if (!pushWindow()) {
        return 0;
    }
    proc.windowX0 = x0;
    proc.windowY0 = y0;
    proc.windowX1 = add(x1, 1);
    proc.windowY1 = add(y1, 1);
    return 1;
}

int VxIPWindowStack::popWindow() {
    if (depth <= 0 || depth > kDepth) {
        return 0;
    }
    --depth;
    const int* e = entries[depth];
    proc.windowX0 = e[0];
    proc.windowX1 = e[1];
    proc.windowY0 = e[2];
    proc.windowY1 = e[3];
    return 1;
}

void VxIPWindowStack::getBaseWindow(int& x0, int& y0, int& x1, int& y1) {
    if (depth > 0 && depth <= kDepth) {
        x0 = entries[0][0];
        x1 = sub(entries[0][1], 1);
        y0 = entries[0][2];
        y1 = sub(entries[0][3], 1);
    } else {
        proc.getWindow(x0, y0, x1, y1);
    }
}

int VxIPWindowStack::clearWindowStack() {
    while (popWindow()) {
    }
    return 0;
}
