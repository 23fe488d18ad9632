// vxHost.h - the bridge to the host process: processor fork, worker identity,
// host identification and the viewer cursor.
//
// Everything here is process-global state and none of it allocates memory.
//
// The host's functions (vxSpark.h) are looked up by name in the running process
// when the library is loaded. A compositing host exports them; an ordinary
// program gets them by linking the stand-alone host (vxStandaloneHost.h). With
// no host in the process a fork runs its work once, in the caller, as worker 0
// of 1, and cursor calls do nothing.
//
// Threading: VxMpFork, SpMpSetSize, host identification and the cursor belong
// to the main line of control (the thread that drives the effect); their flags
// are plain integers, not atomics, and only one fork may be in flight per
// process. Inside a fork the workers may call VxMpIsForked, VxMpGetID,
// SpMpGetId, VxMpGetNProcs and SpMpGetNProcs, which only read.
#ifndef VX_HOST_H
#define VX_HOST_H

#include "vxExport.h"
#include "vxSpark.h"

// ---------------------------------------------------------------------------
// Processor fork and worker identity
// ---------------------------------------------------------------------------

// The fork bookkeeping, in its historical layout. All fields are 32-bit.
struct VxMpForkState {
    int sizeProduct;    // size0 * size1 of the last SpMpSetSize: denominator of the id scaling
    int size0;          // first argument of the last SpMpSetSize
    int size1;          // second argument of the last SpMpSetSize
    int nProcs;         // third argument of the last SpMpSetSize: the worker count
    int evenShare;      // sizeProduct / nProcs, written only when that division is exact
    int evenShareValid; // 1 once a SpMpSetSize found the division exact; never cleared
    int forked;         // 1 while a VxMpFork is in progress
};

// Read-only view of the fork bookkeeping. All fields start at 1 except
// evenShareValid and forked, which start at 0. size0, size1, evenShare and
// evenShareValid are kept for plug-ins; the library itself never reads them.
VX_API const VxMpForkState& VxMpGetForkState();

// Stores size0, size1, nProcs and sizeProduct = size0 * size1 (32-bit, wrapping).
// When sizeProduct divides evenly by nProcs, also stores evenShare and sets
// evenShareValid; an inexact division leaves both as they were, so an earlier
// evenShare survives (plug-ins rely on this). nProcs 0 would divide by zero: it is
// refused silently and changes nothing. Returns 0.
//
// To give each host processor its own worker number, set sizeProduct equal to
// the host's processor count, e.g. SpMpSetSize(n, 1, n).
VX_API int SpMpSetSize(int size0, int size1, int nProcs);

// The worker count, nProcs (1 until SpMpSetSize is called); 1 while a fork
// with no host runs its work in the caller.
VX_API int SpMpGetNProcs();

// The calling worker's number. Outside a fork it is 0. Inside, with h the host
// processor number, it is h * nProcs / sizeProduct when that is exact and
// otherwise that quotient, computed in single precision, rounded half up.
// With sizeProduct 0 (which would divide by zero) it returns 0, silently.
VX_API int SpMpGetId();

// Runs work(a1 .. anArgs) on every host processor and returns when all are
// done. Each argument must be one word: a pointer or a 64-bit integer (cast an
// int to VxWord first; a bare int is read as a word it is not). C++ code
// should use the typed VxMpForkCall (vxMpForkCall.h) instead, which takes any
// callable and arguments of any type.
// - Called while a fork is already in progress (from a worker, say) it prints
//   "VxMpFork - recursive fork detected" and runs nothing.
// - nArgs above 6 (or negative) runs nothing and reports nothing.
// - With no host in the process, runs work once in the caller as worker 0 of
//   1: meanwhile the worker count reads 1, so the work's shares cover all.
// - An exception thrown by work: VxMpFork itself never throws, but it lets
//   the work's exception through. With the stand-alone host, the first
//   exception thrown by any worker leaves VxMpFork once every other worker
//   has finished its share (later ones are dropped); with no host, the
//   caller's own run throws it. Either way the fork's state is restored first
//   (VxMpIsForked() is 0, the worker count is nProcs again) and the next fork
//   runs normally. A compositing host's fork is C code that cannot carry an
//   exception: work handed straight to it must not throw. VxMpForkCall and
//   the frames (vxMultiProcessor.h, vxImgProc.h) catch in every worker and
//   rethrow in the caller, so with them this holds on any host.
// Call it from the main line of control only.
VX_API void VxMpFork(VxMpWork work, int nArgs, ...);

// 1 while a VxMpFork is in progress (seen by the caller and by the workers).
VX_API int VxMpIsForked();

// The same as SpMpGetId().
VX_API int VxMpGetID();

// The worker count, nProcs (the same as SpMpGetNProcs()).
VX_API int VxMpGetNProcs();

// Does nothing: the worker count is set only through SpMpSetSize. Kept so that
// existing plug-in sources build.
VX_API void VxMpSetNProcs(int nProcs);

// 1 when a host fork (sparkMpFork) was found in the process at load time.
VX_API int VxMpHostAvailable();

// ---------------------------------------------------------------------------
// Host identification
// ---------------------------------------------------------------------------

// The host level, cached: -1 until lumoraGetHostLevel works it out. A plug-in
// may store any other value first to override the lookup.
extern VX_API int host_level;

// The host program's name, worked out once per process: from the host's
// sparkProgramGetName, else from the older sparkCallingSys code ("flint",
// "flame", "inferno", "fire", "burn"), else "DiscreetUnknown". A failed lookup
// is never retried. The returned string is owned by the host or the library.
VX_API const char* VxSpGetHostSystem();

// The host level, worked out once from the host name and cached in host_level.
// The name's beginning is compared case-sensitively: "burn" 1, "flint" 5,
// "flare" 3, "flame" 8, "inferno" 8, anything else 6 (so "Flame" is 6).
VX_API int lumoraGetHostLevel();

// Copies src into dst converting every byte to lower case, then terminates dst.
// dst must hold strlen(src) + 1 bytes. A null argument does nothing.
VX_API void string_downcase(const char* src, char* dst);

// The smaller of a and b.
VX_API int minimum(int a, int b);

// ---------------------------------------------------------------------------
// Viewer cursor
// ---------------------------------------------------------------------------

// Cursor kinds the widgets ask for. Values above 8 are accepted and shown as
// nothing in particular (no host call).
enum VxTCursorEnum : int {
    kVxCursorInitial = 0, // the state at load: the host's default cursor
    kVxCursorDefault = 1, // the plain viewing cursor
    kVxCursorWidget = 2,  // over a widget, or a drag has ended (host code -1)
    kVxCursorShape3 = 3,  // host code 18
    kVxCursorShape4 = 4,  // host code 10
    kVxCursorShape5 = 5,  // host code 14
    kVxCursorShape6 = 6,  // host code 15
    kVxCursorShape7 = 7,  // host code 19
    kVxCursorShape8 = 8,  // host code 18
};

// The cursor last asked for.
VX_API VxTCursorEnum VxTCursor();

// Asks for cursor `c`; pushes it to the host only when it differs from the last.
VX_API void VxTCursor(VxTCursorEnum c);

// Pushes the current cursor to the host. Kinds 0 and 1 restore the host's
// default cursor only when it is not already showing; kinds 2 to 8 set their
// host code; larger kinds call nothing but mark the default as not showing.
VX_API void ResetCursor();

// ---------------------------------------------------------------------------
// VxMatrixThread
// ---------------------------------------------------------------------------

// A cautious fork for code that may run either at the top level or already
// inside a worker (the arbitrary-size matrix products use it). Inside a fork
// it runs the work directly, as a single share; outside it forks as usual.
// Split the work with cautiousVxMpGetID() and cautiousVxMpGetNProcs().
class VX_API VxMatrixThread {
public:
    VxMatrixThread();

    // Records whether the caller is already inside a fork; if so calls work
    // directly with the same arguments, otherwise VxMpFork(work, nArgs, ...).
    // More than six arguments run nothing in either case. An exception thrown
    // by work leaves as from VxMpFork (directly, when run in this worker).
    void cautiousVxMpFork(VxMpWork work, int nArgs, ...);

    // 1 when the last cautiousVxMpFork ran directly, else VxMpGetNProcs().
    int cautiousVxMpGetNProcs();

    // 0 when the last cautiousVxMpFork ran directly, else VxMpGetID().
    int cautiousVxMpGetID();

    unsigned forked : 1; // the last cautiousVxMpFork found itself inside a fork
};

#endif
