// vxImgProc.h - the image-processing frame: an operation computed row by row
// over a rectangular window of an image, split by rows over every processor.
//
// VxImgProc runs the same driver as VxMultiProcessor (vxMultiProcessor.h):
// the same hooks in the same order, the same repetition loop and the same
// interruption test, but it is driven by processImages(image), which first
// fixes the window from the image's geometry:
//
//     processImages(image)
//         setUpIndexer(image): window = the image's extent unless one is set
//                              (and kept), then clamped to the image
//         preSample()
//         for each repetition: test, preThread(), test, fork of sample(), postThread()
//         postSample()
//         indexer = null
//
// Inside sample() a worker asks getYRange for its rows and getXRange for the
// columns (columns are never split) and processes pixel (x, y) for y in
// [y0, y1) and x in [x0, x1), in image coordinates.
//
// Windows are stored half-open (windowX1, windowY1 one past the last column
// and row); the calls that take or give four integers use inclusive upper
// bounds unless they say otherwise. Window arithmetic wraps at 32 bits.
//
// Threading: hooks, window operations and the window stack run in the caller;
// sample() runs on every worker at once on the same object and must only read
// the frame's fields and write disjoint rows of its output.
//
// Exceptions: as for VxMultiProcessor, the first exception that sample()
// throws in any worker leaves processImages() once the other workers have
// finished their rows, without postThread() or postSample(); inFork is
// cleared and indexer is null again, however processImages() is left.
#ifndef VX_IMG_PROC_H
#define VX_IMG_PROC_H

#include "vxExport.h"
#include "vxImager.h"
#include "vxMultiProcessor.h"
#include "vxTexIndexer.h"

class VX_API VxImgProc : public VxInteruptable {
public:
    VxImgProc();
    ~VxImgProc() override;

    virtual void preSample() {}
    virtual void sample() {} // one worker's rows; runs concurrently on every worker
    virtual void postSample() {}
    virtual void preThread() {}
    virtual void postThread() {}
    virtual void iterateSample();
    // Processes `image` (not owned; null does nothing): see the file comment.
    virtual void processImages(VxTexIndexer* image);

    // Takes the image's geometry: the window becomes the image's extent from
    // its origin unless one is set; then it is clamped to the image placed at
    // its whole-pixel offset. Null does nothing.
    void setUpIndexer(VxTexIndexer* image);

    // One repetition, and the function every worker runs (as for VxMultiProcessor).
    void multiThreadSample();
    static void sampleForkStatic(VxImgProc* self);
    void setCallsToSample(int n) { callsToSample = n; }

    // Brings the window inside the inclusive rectangle; nothing when no window
    // is set. By default each axis is clamped on its own so that the window
    // keeps at least one pixel inside: a window wholly outside becomes a strip
    // one pixel wide along the nearest edge. With resetOutsideWindow set, an
    // axis that reaches outside is replaced by the rectangle's bounds, its
    // exclusive end compared with and set to the inclusive bound given, so the
    // reset window stops one pixel short of the last column or row. Both rules
    // are kept exactly as effects have always seen them.
    void clampWindow(int x0, int y0, int x1, int y1);
    // clampWindow with the image's full extent from its origin.
    void clampWindow(const VxTexIndexer& image);

    // Window from inclusive bounds; sets windowSet.
    void setWindow(int x0, int y0, int x1, int y1);
    // The window with inclusive upper bounds.
    void getWindow(int& x0, int& y0, int& x1, int& y1) const;
    // Window grown by the borders, the high side by one pixel more
    // (windowX1 = x1 + borderX + 2); sets windowSet.
    void setBorderedWindow(int x0, int y0, int x1, int y1, int borderX, int borderY);
    // The image's crop range (pixel indices, no offset added), grown as
    // setBorderedWindow when either border is positive; sets windowSet.
    void copyWindow(VxTexIndexer& image, int borderX, int borderY);
    // Another frame's window fields unchanged; sets windowSet. Null does nothing.
    void copyWindow(VxImgProc* other);
    // A window holder's window; sets windowSet. Null does nothing.
    void copyWindow(Imager* imager);
    // Clears windowSet; the next setUpIndexer replaces the values.
    void unsetWindow() { windowSet = 0; }

    // The columns: windowX0 to windowX1 (exclusive) for every worker.
    void getXRange(int& x0, int& x1);
    void getXRange(int& x0, int& x1, int id, int n);
    // This worker's rows of the window (exclusive end), from getMPRange.
    void getYRange(int& y0, int& y1);
    void getYRange(int& y0, int& y1, int id, int n);
    // Splits [lo, hi) in place: with the worker's id and count when
    // multiThreaded is set, else as worker 0 of 1.
    void getMPRange(int& lo, int& hi);
    // Worker id's contiguous share of [lo, hi) among n, the last taking the
    // rest; only inside the frame's own fork (inFork) with id >= 0 and n >= 1.
    // Otherwise the whole range, so hooks running in the caller see all rows.
    void getMPRange(int& lo, int& hi, int id, int n);

    unsigned inFork : 1;             // set while the frame's fork runs
    unsigned windowSet : 1;          // a window is set and kept across calls
    int windowX0;                    // first column, image coordinates
    int windowY0;                    // first row
    int windowX1;                    // one past the last column
    int windowY1;                    // one past the last row
    int callsToSample;               // repetitions per processImages
    int currentCall;                 // the repetition now running
    unsigned multiThreaded : 1;      // fork over all processors, or sample() once in the caller
    unsigned resetOutsideWindow : 1; // chooses clampWindow's rule
    int auxInt;                      // for derived classes (0)
    float auxScale0;                 // for derived classes (1.0)
    float auxScale1;                 // for derived classes (1.0)
    VxTexIndexer* indexer;           // the image being processed; set only during processImages
    int imageWidth;                  // x resolution of the last image processed
    int imageHeight;                 // y resolution of the last image processed
};

// Saves and restores a frame's window, at most 10 deep. Must not outlive its
// frame. None of its operations changes the frame's windowSet.
class VX_API VxIPWindowStack {
public:
    static constexpr int kDepth = 10;

    explicit VxIPWindowStack(VxImgProc& proc);

    // Saves the frame's window: 1, or 0 when full.
    int pushWindow();
    // Saves, then sets the frame's window from inclusive bounds: 1, or 0 (and
    // the window untouched) when full.
    int pushWindow(int x0, int y0, int x1, int y1);
    // Restores the last saved window: 1, or 0 when empty.
    int popWindow();
    // The bottom saved window, or the frame's window when nothing is saved;
    // inclusive bounds.
    void getBaseWindow(int& x0, int& y0, int& x1, int& y1);
    // Pops until empty, leaving the window current before the first push. 0.
    int clearWindowStack();

    VxImgProc& proc;
    int entries[kDepth][4]; // x0, one past x1, y0, one past y1; bottom first
    int depth;
};

#endif
