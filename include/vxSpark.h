// vxSpark.h - the host's plug-in functions as this library calls them.
//
// A compositing host exports these C functions from its own process. Veltrix
// never links against them: it looks each one up by name in the running
// process (see vxHost.h), so a plug-in loads whether or not a host is present.
// The stand-alone host (vxStandaloneHost.h) defines them for ordinary programs.
//
// Work functions handed to sparkMpFork take up to six word-sized arguments
// (pointers or 64-bit integers). They are passed around as the untyped
// `void (*)()` and called with exactly as many words as the fork was given.
#ifndef VX_SPARK_H
#define VX_SPARK_H

#include <cstdint>

// One argument word of a forked work function.
typedef std::uintptr_t VxWord;

// The untyped work function of a fork.
typedef void (*VxMpWork)();

// Most arguments a fork forwards to its work function.
constexpr int kVxMaxForkArgs = 6;

extern "C" {
// Runs work(a1 .. anArgs) once on every host processor, concurrently, in
// workers sharing the caller's memory; returns when all have finished.
// nArgs is 0 to 6 and every argument is one VxWord.
typedef void (*VxSparkMpForkFn)(VxMpWork work, int nArgs, ...);
// Fills value0 with the calling worker's host processor number; value1 is not used.
typedef void (*VxSparkMpInfoFn)(unsigned long* value0, unsigned long* value1);
// Sets the cursor over the host's image viewer (a host cursor code).
typedef void (*VxSparkViewingCursorFn)(int code);
// The host program's name ("flame", "flint", ...).
typedef const char* (*VxSparkProgramGetNameFn)(void);
// The older identification interface: a numeric code for the host program.
typedef int (*VxSparkCallingSysFn)(void);
}

// The one place where a work function is called through the untyped form.
// The function it points to was declared with its own parameter types (most
// often one pointer), so the call is through a mismatched function type; the
// calling convention makes a pointer and a word travel alike. Clang's
// -fsanitize=function check, on everywhere else, is switched off for this
// function alone. New code forks typed callables with VxMpForkCall
// (vxMpForkCall.h), whose work function has exactly the type called here.
#if defined(__clang__)
#define VX_NO_SANITIZE_FUNCTION __attribute__((no_sanitize("function")))
#else
#define VX_NO_SANITIZE_FUNCTION
#endif

// Calls a fork's work function with `nArgs` words from `args`. Counts outside
// 0 to 6 call nothing. Hosts use this to run one worker's share. Whatever the
// work throws leaves this function unchanged.
VX_NO_SANITIZE_FUNCTION inline void VxInvokeWork(VxMpWork work, int nArgs, const VxWord* args) {
    typedef VxWord W;
    if (work == nullptr) {
        return;
    }
    switch (nArgs) {
    case 0:
        work();
        break;
    case 1:
        reinterpret_cast<void (*)(W)>(work)(args[0]);
        break;
    case 2:
        reinterpret_cast<void (*)(W, W)>(work)(args[0], args[1]);
        break;
    case 3:
        reinterpret_cast<void (*)(W, W, W)>(work)(args[0], args[1], args[2]);
        break;
    case 4:
        reinterpret_cast<void (*)(W, W, W, W)>(work)(args[0], args[1], args[2], args[3]);
        break;
    case 5:
        reinterpret_cast<void (*)(W, W, W, W, W)>(work)(args[0], args[1], args[2], args[3],
                                                        args[4]);
        break;
    case 6:
        reinterpret_cast<void (*)(W, W, W, W, W, W)>(work)(args[0], args[1], args[2], args[3],
                                                           args[4], args[5]);
        break;
    default:
        break;
    }
}

#endif
