// vxMultiProcessor.h - running one computation on every host processor, with
// a fixed order of hooks and an interruption test.
//
// An effect derives from VxMultiProcessor, overrides sample() to do one
// worker's share, configures the object and calls process():
//
//     preSample()                              once, in the caller
//     for currentCall = 0 .. callsToSample-1:  (bound re-read every repetition)
//         interrupted? -> skip this repetition
//         preThread()                          in the caller
//         interrupted? -> skip (postThread() is then NOT called)
//         sample() on every worker at once     (or once in the caller)
//         postThread()                         in the caller
//     postSample()                             once, in the caller
//
// Inside sample() a worker finds its rows with range(), or with VxMpGetID() and
// VxMpGetNProcs() (vxHost.h). Workers share the object: they read its fields
// and write only output that no other worker writes. The interruption test is
// only ever made in the caller, never in a worker.
//
// Exceptions: the frame reports nothing itself, but an exception from a hook
// or from sample() leaves process(). When sample() throws in a worker, that
// worker's share ends, the other workers finish theirs, and then the first
// exception thrown (the object itself; later ones of the same fork are
// dropped) leaves the fork with inFork and the fork flag cleared, on any
// host. The repetition ends there: postThread() of that repetition, the
// later repetitions and postSample() are not called, and currentCall stays
// at the repetition that failed. Whatever preSample() or preThread() set up
// is then the caller's to release. The object and the next fork are ready
// for another process().
#ifndef VX_MULTI_PROCESSOR_H
#define VX_MULTI_PROCESSOR_H

#include "vxExport.h"

// The plug-in's interruption record, filled by the plug-in and kept alive for
// as long as processing runs.
struct VxInterruptCheck {
    void* userData;                           // passed back to check
    int (*check)(void* userData, int* value); // non-zero means interrupted; may be null
    int interrupted;                          // latched: once non-zero, check is not called again
    int checkValue; // passed by address to check; the frame never touches it
};

// Base of everything that can be interrupted by the user.
class VX_API VxInteruptable {
public:
    VxInteruptable();
    virtual ~VxInteruptable();

    // The interruption test. Null interruptCheck: never interrupted. A latched
    // record answers without calling check; otherwise check (when set) is called
    // and its answer latched. Call it from the main line of control only.
    bool isInterrupted();

    VxInterruptCheck* interruptCheck; // not owned; may be null
};

// The driver. Fields are public so that effects configure them directly.
class VX_API VxMultiProcessor : public VxInteruptable {
public:
    VxMultiProcessor();
    ~VxMultiProcessor() override;

    virtual void preSample() {}
    virtual void sample() {} // one worker's share; runs concurrently on every worker
    virtual void postSample() {}
    virtual void preThread() {}
    virtual void postThread() {}
    virtual void iterateSample();
    virtual void process();

    // One repetition: test, preThread, test, fork of sample(), postThread.
    void multiThreadSample();

    // Handed to VxMpFork: every worker calls sample() on the same object.
    static void sampleForkStatic(VxMultiProcessor* self);

    void setCallsToSample(int n) { callsToSample = n; }

    unsigned inFork : 1;        // set while this object's fork runs
    int callsToSample;          // repetitions per process(); 0 or less samples nothing
    int currentCall;            // the repetition now running (left at its end value afterwards)
    unsigned multiThreaded : 1; // fork over all processors, or run sample() once in the caller
};

// The calling worker's share of the indices 0 .. total-1: begin to end,
// exclusive. Shares are contiguous, ceil(total / n) long, the last worker
// taking whatever remains; a worker whose begin reaches total gets an empty
// share (begin >= end) and must do nothing. Outside a fork the caller is
// worker 0 of VxMpGetNProcs(), so it gets the whole range only while that is
// 1 (until SpMpSetSize says otherwise). Provided for int.
template <typename T, typename I>
void range(T total, I& begin, I& end);

extern template VX_API void range<int, int>(int total, int& begin, int& end);

#endif
