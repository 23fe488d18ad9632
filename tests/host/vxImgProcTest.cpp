// The image-processing frame: windows and their clamping rules, row shares,
// the driver, and the window stack.
#include "vxImgProc.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Ints = std::vector<int>;

Ints window(const VxImgProc& p) {
    int x0, y0, x1, y1;
    p.getWindow(x0, y0, x1, y1);
    return {x0, y0, x1, y1};
}

// Records each worker's rows and columns, and the hook order.
struct Shares : VxImgProc {
    static constexpr int kMax = 8;
    std::atomic<int> calls{0};
    Ints seen[kMax]; // y0, y1, x0, x1
    std::string log;
    void preSample() override { log += "pre"; }
    void preThread() override { log += " t"; }
    void postThread() override { log += " p" + std::to_string(calls.exchange(0)); }
    void postSample() override { log += " post"; }
    void sample() override {
        int y0, y1, x0, x1;
        getYRange(y0, y1);
        getXRange(x0, x1);
        const int id = VxMpGetID();
        if (id >= 0 && id < kMax)
            seen[id] = {y0, y1, x0, x1};
        EXPECT_NE(indexer, nullptr);
        calls.fetch_add(1);
    }
};

TEST(ImgProc, WholeImageSplitByRowsOverTheWorkers) {
    VxStandaloneHostSetWorkers(4);
    SpMpSetSize(4, 1, 4);
    VxTexIndexer image(100, 50);
    Shares s;
    EXPECT_EQ(Ints({s.callsToSample, s.auxInt, static_cast<int>(s.multiThreaded)}),
              Ints({1, 0, 1}));
    s.processImages(&image);
    EXPECT_EQ(s.log, "pre t p4 post");
    const Ints expected[] = {{0, 13, 0, 100}, {13, 26, 0, 100}, {26, 39, 0, 100}, {39, 50, 0, 100}};
    for (int id = 0; id < 4; ++id)
        EXPECT_EQ(s.seen[id], expected[id]) << id;
    EXPECT_EQ(s.indexer, nullptr); // only set while processing
    EXPECT_EQ(Ints({s.imageWidth, s.imageHeight}), Ints({100, 50}));
    EXPECT_EQ(window(s), Ints({0, 0, 99, 49}));

    // The window persists and is clamped to the next image.
    VxTexIndexer smaller(30, 20);
    s.processImages(&smaller);
    EXPECT_EQ(window(s), Ints({0, 0, 29, 19}));
    s.processImages(nullptr); // ignored
    EXPECT_EQ(s.log, "pre t p4 postpre t p4 post");

    // Outside the fork: the whole range, whatever the worker numbers say.
    int lo = 5, hi = 17;
    s.getMPRange(lo, hi, 2, 4);
    EXPECT_EQ(Ints({lo, hi}), Ints({5, 17}));
}

TEST(ImgProc, ClampRules) {
    VxTexIndexer image(16, 16);
    VxImgProc p;
    p.clampWindow(0, 0, 15, 15); // no window set: nothing
    EXPECT_EQ(window(p), Ints({0, 0, -1, -1}));

    p.setWindow(10, 10, 19, 19);
    p.setUpIndexer(&image);
    EXPECT_EQ(window(p), Ints({10, 10, 15, 15}));
    p.setWindow(40, 40, 50, 50); // wholly outside: one pixel along the edge
    p.setUpIndexer(&image);
    EXPECT_EQ(window(p), Ints({15, 15, 15, 15}));
    p.setWindow(-9, 3, -5, 4);
    p.clampWindow(image);
    EXPECT_EQ(window(p), Ints({0, 3, 0, 4}));

    VxImgProc reset;
    reset.resetOutsideWindow = 1;
    reset.setWindow(40, 40, 50, 50);
    reset.setUpIndexer(&image);
    EXPECT_EQ(window(reset), Ints({0, 0, 14, 14})); // one short of the last pixel, as ever
    reset.setWindow(0, 2, 15, 9);                   // reaching the last column counts as outside
    reset.clampWindow(0, 0, 15, 15);
    EXPECT_EQ(window(reset), Ints({0, 2, 14, 9}));

    // The window is clamped to the image at its offset, taken from its origin.
    VxTexIndexer placed(10, 10);
    placed.xIndexer.origin = 100;
    placed.xIndexer.offset = 100;
    VxImgProc q;
    q.setUpIndexer(&placed);
    EXPECT_EQ(window(q), Ints({100, 0, 109, 9}));
}

TEST(ImgProc, WindowCopiesAndBorders) {
    VxImgProc p;
    p.setBorderedWindow(0, 0, 9, 9, 2, 2);
    EXPECT_EQ(window(p), Ints({-2, -2, 12, 12}));
    EXPECT_EQ(p.windowSet, 1u);

    VxTexIndexer image(40, 30);
    image.SetCrop(5, 24, 3, 12);
    p.copyWindow(image, 0, 0);
    EXPECT_EQ(window(p), Ints({5, 3, 24, 12}));
    p.copyWindow(image, 1, 0);
    EXPECT_EQ(window(p), Ints({4, 3, 26, 13}));

    VxImgProc other;
    other.copyWindow(&p);
    EXPECT_EQ(window(other), window(p));
    Imager holder;
    holder.setWindow(1, 2, 3, 4);
    other.unsetWindow();
    other.copyWindow(&holder);
    EXPECT_EQ(window(other), Ints({1, 2, 3, 4}));
    EXPECT_EQ(other.windowSet, 1u);
    other.copyWindow(static_cast<Imager*>(nullptr));
    other.copyWindow(static_cast<VxImgProc*>(nullptr));
    EXPECT_EQ(window(other), Ints({1, 2, 3, 4}));
}

TEST(ImgProc, WindowStackHoldsTen) {
    VxImgProc p;
    p.setWindow(0, 0, 9, 9);
    VxIPWindowStack stack(p);
    int x0, y0, x1, y1;
    stack.getBaseWindow(x0, y0, x1, y1);
    EXPECT_EQ(Ints({x0, y0, x1, y1}), Ints({0, 0, 9, 9}));
    EXPECT_EQ(stack.popWindow(), 0);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(stack.pushWindow(i, i, 20 + i, 20 + i), 1);
    EXPECT_EQ(stack.pushWindow(), 0);
    EXPECT_EQ(stack.pushWindow(1, 1, 2, 2), 0); // refused: the window stays
    EXPECT_EQ(window(p), Ints({9, 9, 29, 29}));
    stack.getBaseWindow(x0, y0, x1, y1);
    EXPECT_EQ(Ints({x0, y0, x1, y1}), Ints({0, 0, 9, 9}));
    EXPECT_EQ(stack.popWindow(), 1);
    EXPECT_EQ(window(p), Ints({8, 8, 28, 28}));
    p.unsetWindow();
    EXPECT_EQ(stack.clearWindowStack(), 0);
    EXPECT_EQ(window(p), Ints({0, 0, 9, 9}));
    EXPECT_EQ(p.windowSet, 0u); // the stack never touches it
    EXPECT_EQ(stack.depth, 0);
}

struct RowFailed : std::runtime_error {
    int worker;
    explicit RowFailed(int w) : std::runtime_error("row failed"), worker(w) {}
};

// sample() of one worker throws: processImages passes the exception on once
// the other workers are done, with inFork and indexer cleared.
struct FailingShares : Shares {
    int failWorker = 0;
    void sample() override {
        Shares::sample();
        if (VxMpGetID() == failWorker)
            throw RowFailed(failWorker);
    }
};

TEST(ImgProc, AnExceptionInSampleLeavesProcessImagesWithTheFrameReset) {
    VxTexIndexer image(100, 50);
    for (int worker : {0, 3}) {
        VxStandaloneHostSetWorkers(4);
        SpMpSetSize(4, 1, 4);
        FailingShares s;
        s.failWorker = worker;
        s.setCallsToSample(3);
        try {
            s.processImages(&image);
            ADD_FAILURE() << "no exception";
        } catch (const RowFailed& e) {
            EXPECT_EQ(e.worker, worker);
        }
        EXPECT_EQ(s.log, "pre t") << worker;
        EXPECT_EQ(s.calls.load(), 4); // every worker took its rows
        EXPECT_EQ(s.currentCall, 0);
        EXPECT_EQ(s.inFork, 0u);
        EXPECT_EQ(s.indexer, nullptr);
        EXPECT_EQ(VxMpIsForked(), 0);

        Shares next; // the next frame runs normally
        next.processImages(&image);
        EXPECT_EQ(next.log, "pre t p4 post");
    }
}

} // namespace
