#include "demoRender.h"

#include "vxMultiProcessor.h"

#include <cstdio>

#include <unistd.h>

namespace {

int askedToStop(void*, int* value) {
    ++*value;
    return interruptRequested();
}

// Bands of about this many rows: small enough that Ctrl-C answers quickly,
// large enough that a fork per band costs nothing noticeable.
constexpr int kRowsPerBand = 64;

} // namespace

bool RowRender::render(Image& image, const std::string& label) {
    if (interruptRequested()) {
        return false;
    }
    target = &image;
    label_ = label;
    bands_ = (image.height + kRowsPerBand - 1) / kRowsPerBand;
    geometry_ = VxTexIndexer(image.width, image.height);
    VxInterruptCheck check = {nullptr, &askedToStop, 0, 0};
    interruptCheck = &check;
    unsetWindow();
    setCallsToSample(bands_);
    processImages(&geometry_);
    interruptCheck = nullptr;
    target = nullptr;
    // An interruption that came during the last band leaves the picture whole.
    return check.interrupted == 0;
}

void RowRender::preThread() {
    // The frame splits whatever rows the window holds; each repetition holds
    // one band.
    windowX0 = 0;
    windowX1 = target->width;
    windowY0 = currentCall * kRowsPerBand;
    windowY1 = windowY0 + kRowsPerBand < target->height ? windowY0 + kRowsPerBand : target->height;
}

void RowRender::sample() {
    int y0 = 0, y1 = 0;
    getYRange(y0, y1);
    for (int y = y0; y < y1; ++y) {
        renderRow(y, target->row(y));
    }
}

void RowRender::postThread() {
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    const int done = currentCall + 1;
    // Redrawn in place on a terminal; in a log only the finished picture.
    if (terminal) {
        std::fprintf(stderr, "\r%-40s %3d%%", label_.c_str(), done * 100 / bands_);
        if (done == bands_) {
            std::fprintf(stderr, "\n");
        }
    } else if (done == bands_) {
        std::fprintf(stderr, "%s done\n", label_.c_str());
    }
    std::fflush(stderr);
}
