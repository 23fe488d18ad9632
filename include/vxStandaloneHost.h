// vxStandaloneHost.h - a host for programs that run outside the compositing
// application: the processor fork on a pool of threads.
//
// Link Veltrix::standalone_host (libveltrix_standalone_host) into a program
// and the library's VxMpFork runs its work on every worker of this pool, just
// as it would on the host's processors. The pool is persistent:
//
// - It starts no thread before the first fork, then keeps one thread per
//   worker except worker 0, whose share the forking thread runs itself.
// - Between forks the workers spin briefly (see VxStandaloneHostSetSpin),
//   so back-to-back forks are cheap, then sleep, so an idle program burns no CPU.
// - A fork runs the work function once on every worker and returns when all
//   are done; sparkMpInfo tells each worker its number, 0 to n-1.
// - At exit (or VxStandaloneHostShutdown) the threads are told to stop and
//   joined; a later fork starts them again, except during exit, when the
//   shares run one after the other in the forking thread.
//
// Forks are serialised: a second thread that forks waits for the first to
// finish. A fork from inside a worker is refused with a message on stderr.
//
// Exceptions: an exception that escapes the work function on any worker (the
// forking thread's or a pool thread's) is caught there; that worker's share
// ends, every other share still runs to its end, and then sparkMpFork
// rethrows the first exception thrown, the object itself, in the forking
// thread (and so out of VxMpFork). Later ones of the same fork are dropped.
// The pool is then idle and ready, and the next fork runs normally.
//
// Threads the system will not start: when a pool thread cannot be started
// (std::thread throws std::system_error, e.g. under a low limit on threads
// or memory), the pool keeps the threads it did start and prints one line on
// stderr ("sparkMpFork - started 5 of 600 threads, ..."). The worker count
// does not change: every worker number 0 to n-1 still runs once per fork,
// but each thread (the forking thread included) runs several of them one
// after the other, so they are no longer all at once. With no thread at all
// every share runs in turn in the forking thread. Nothing waits for a thread
// that never started, and the next start of the pool (after
// VxStandaloneHostSetWorkers to another size, or VxStandaloneHostShutdown)
// tries again.
//
// Text: the library's text (VxGLDrawStr in vxTDraw.h) calls the host's font
// display lists, list 8 + c for character c. VxStandaloneHostBuildFont makes
// those lists in the caller's GL context from glyph bitmaps the caller passes,
// usually the library's own font:
//
//     VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), kVxGlyphWidth,
//                               kVxGlyphHeight, kVxGlyphAdvance);
//
// The bitmaps come in as plain bytes so that this library stays independent
// of libveltrix; only this call needs OpenGL.
//
// This library does not depend on libveltrix and starts no threads of its own
// accord; the configuration calls below must not be made inside a fork.
#ifndef VX_STANDALONE_HOST_H
#define VX_STANDALONE_HOST_H

#include "vxSpark.h"

#if defined(__GNUC__) || defined(__clang__)
#define VX_HOST_API __attribute__((visibility("default")))
#else
#define VX_HOST_API
#endif

extern "C" {
// The host interface (see vxSpark.h for the contracts).
VX_HOST_API void sparkMpFork(VxMpWork work, int nArgs, ...);
VX_HOST_API void sparkMpInfo(unsigned long* value0, unsigned long* value1);
VX_HOST_API void sparkViewingCursor(int code);
VX_HOST_API const char* sparkProgramGetName(void);
}

// Sets the number of workers for the following forks; 0 or less means one per
// hardware thread (the default). A running pool of another size is stopped and
// a new one starts at the next fork. Ignored, with a message, inside a fork.
// Safe while other threads fork: it waits for a running fork to finish.
VX_HOST_API void VxStandaloneHostSetWorkers(int workers);

// The number of workers the next fork will use. Starts no thread.
VX_HOST_API int VxStandaloneHostWorkers();

// How long, in microseconds, an idle worker (and a waiting caller) spins
// before it sleeps; 0 makes them sleep at once. The default is 100.
VX_HOST_API void VxStandaloneHostSetSpin(int microseconds);

// Stops and joins the worker threads now. The next fork starts them again.
// Waits for a running fork to finish; ignored, with a message, inside a fork.
VX_HOST_API void VxStandaloneHostShutdown();

// For tests of the fallback above: from the next start of the pool on, at
// most `threads` pool threads start (besides the forking thread); starting
// another fails exactly as if the system had refused it (std::system_error,
// EAGAIN). A negative count, the default, lifts the limit. Stop a running
// pool first (VxStandaloneHostShutdown) for the limit to apply.
VX_HOST_API void VxStandaloneHostSimulateThreadLimit(int threads);

// The name sparkProgramGetName reports; the string is copied (at most 255
// bytes). A null name restores the default, "veltrix-standalone".
VX_HOST_API void VxStandaloneHostSetProgramName(const char* name);

// Receives every sparkViewingCursor code, with `user`; null removes the handler.
// The default handler ignores the codes. Called on the thread that set the cursor.
VX_HOST_API void VxStandaloneHostSetCursorHandler(void (*handler)(int code, void* user),
                                                  void* user);

// The host's font lists: list kVxHostFontBase + c draws character c.
constexpr int kVxHostFontBase = 8;
constexpr int kVxHostFontLists = 128;

// Builds the host's font lists in the current GL context (call it with the
// context current; lists live as long as the context's list namespace).
// glyphs is a table of 128 pointers, entry c the bitmap of character c or
// null for none: `height` rows of `width` bytes, top row first, one byte per
// pixel (non-zero set). List 8 + c draws the bitmap with glBitmap, its
// lower-left corner at the raster position, and moves the raster position
// `advance` pixels to the right; characters without a bitmap get no list, so
// drawing them does nothing.
// Returns the number of lists built: 0 for a null table or a size outside
// 1..64. The caller's pixel-unpack settings are kept.
VX_HOST_API int VxStandaloneHostBuildFont(const unsigned char* const* glyphs, int width, int height,
                                          int advance);

#endif
