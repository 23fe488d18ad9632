// forkDemo - a row-by-row image computation forked over every processor.
//
// Built only from Veltrix's public headers: an effect derived from
// VxMultiProcessor renders a Julia set several times over. Each pass forks
// sample() onto all workers of the stand-alone host; every worker takes its
// rows with range(). An interrupt check stops the run on Ctrl-C or when the
// time limit is reached, and a progress line is drawn between passes. At the
// end it prints each worker's share and the time taken.
//
//     forkDemo [--workers N] [--size W H] [--passes N] [--limit-ms T]
#include "veltrix.h"
#include "vxStandaloneHost.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t gCtrlC = 0;

void onCtrlC(int) {
    gCtrlC = 1;
}

double millisSince(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

// What the host would ask: has the user interrupted? Here, Ctrl-C or the
// time limit. `value` is the plug-in's own slot; this one counts the questions.
struct Deadline {
    Clock::time_point start;
    double limitMs;
    static int check(void* self, int* value) {
        auto* d = static_cast<Deadline*>(self);
        ++*value;
        return gCtrlC != 0 || (d->limitMs > 0 && millisSince(d->start) > d->limitMs);
    }
};

struct Share {
    int begin = 0;
    int end = 0;
    double busyMs = 0;
};

class JuliaEffect : public VxMultiProcessor {
public:
    JuliaEffect(int width, int height, int workers)
        : width_(width), height_(height), shares_(static_cast<size_t>(workers)) {}

    void preSample() override {
        image_.assign(static_cast<size_t>(width_) * height_, 0.0f);
        for (Share& s : shares_) {
            s = Share();
        }
    }

    // One worker's rows. Workers write disjoint rows and their own Share.
    void sample() override {
        const Clock::time_point t0 = Clock::now();
        int y0 = 0, y1 = 0;
        range(height_, y0, y1);
        // The constant drifts with the pass, so every pass computes anew.
        const float cr = -0.8f + 0.02f * static_cast<float>(currentCall);
        const float ci = 0.156f;
        for (int y = y0; y < y1; ++y) {
            float* row = image_.data() + static_cast<size_t>(y) * width_;
            for (int x = 0; x < width_; ++x) {
                float zr = 3.0f * (static_cast<float>(x) / width_ - 0.5f);
                float zi = 2.0f * (static_cast<float>(y) / height_ - 0.5f);
                int i = 0;
                while (i < 64 && zr * zr + zi * zi < 4.0f) {
                    const float t = zr * zr - zi * zi + cr;
                    zi = 2.0f * zr * zi + ci;
                    zr = t;
                    ++i;
                }
                row[x] = static_cast<float>(i) / 64.0f;
            }
        }
        const int id = VxMpGetID();
        if (id >= 0 && static_cast<size_t>(id) < shares_.size()) {
            Share& s = shares_[static_cast<size_t>(id)];
            s.begin = y0;
            s.end = y1;
            s.busyMs += millisSince(t0);
        }
    }

    void postThread() override {
        ++passesDone_;
        // One line redrawn in place on a terminal; a line per pass in a log.
        static const bool terminal = isatty(STDERR_FILENO) != 0;
        std::fprintf(stderr, terminal ? "\rpass %d/%d done" : "pass %d/%d done\n", currentCall + 1,
                     callsToSample);
        std::fflush(stderr);
    }

    int passesDone() const { return passesDone_; }
    const std::vector<Share>& shares() const { return shares_; }
    double checksum() const {
        double sum = 0;
        for (float v : image_) {
            sum += v;
        }
        return sum;
    }

private:
    int width_, height_;
    int passesDone_ = 0;
    std::vector<float> image_;
    std::vector<Share> shares_;
};

int argInt(int argc, char** argv, int& i) {
    if (i + 1 >= argc) {
        std::fprintf(stderr, "forkDemo: %s needs a number\n", argv[i]);
        std::exit(2);
    }
    return std::atoi(argv[++i]);
}

} // namespace

int main(int argc, char** argv) {
    int workers = 0, width = 2048, height = 2048, passes = 8, limitMs = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--workers") == 0) {
            workers = argInt(argc, argv, i);
        } else if (std::strcmp(argv[i], "--size") == 0) {
            width = argInt(argc, argv, i);
            height = argInt(argc, argv, i);
        } else if (std::strcmp(argv[i], "--passes") == 0) {
            passes = argInt(argc, argv, i);
        } else if (std::strcmp(argv[i], "--limit-ms") == 0) {
            limitMs = argInt(argc, argv, i);
        } else {
            std::fprintf(
                stderr, "usage: forkDemo [--workers N] [--size W H] [--passes N] [--limit-ms T]\n");
            return 2;
        }
    }
    if (width < 1 || height < 1 || width > 16384 || height > 16384) {
        std::fprintf(stderr, "forkDemo: the size must be 1 to 16384 pixels a side\n");
        return 2;
    }

    // The host's processors become the library's workers, one id each.
    VxStandaloneHostSetProgramName("forkDemo");
    VxStandaloneHostSetWorkers(workers);
    const int n = VxStandaloneHostWorkers();
    SpMpSetSize(n, 1, n);

    std::printf("host %s (level %d), %d workers, %d x %d pixels, %d passes\n", VxSpGetHostSystem(),
                lumoraGetHostLevel(), VxMpGetNProcs(), width, height, passes);
    std::fflush(stdout); // before the progress line on stderr

    std::signal(SIGINT, onCtrlC);
    Deadline deadline{Clock::now(), static_cast<double>(limitMs)};
    VxInterruptCheck interrupt = {&deadline, &Deadline::check, 0, 0};

    JuliaEffect effect(width, height, n);
    effect.interruptCheck = &interrupt;
    effect.setCallsToSample(passes);
    const Clock::time_point t0 = Clock::now();
    effect.process();
    const double ms = millisSince(t0);
    if (isatty(STDERR_FILENO)) {
        std::fprintf(stderr, "\n");
    }

    if (interrupt.interrupted) {
        std::printf("interrupted after %d of %d passes (%d checks)\n", effect.passesDone(), passes,
                    interrupt.checkValue);
    }
    std::printf("worker  rows              busy ms\n");
    for (size_t id = 0; id < effect.shares().size(); ++id) {
        const Share& s = effect.shares()[id];
        std::printf("%6zu  %5d to %5d  %10.1f\n", id, s.begin, s.end - 1, s.busyMs);
    }
    std::printf("%d passes in %.1f ms (%.2f ms a pass), checksum %.1f\n", effect.passesDone(), ms,
                effect.passesDone() > 0 ? ms / effect.passesDone() : 0.0, effect.checksum());
    return 0;
}
