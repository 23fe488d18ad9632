// vxMpForkCall.h - VxMpForkCall, the typed form of the processor fork, and
// VxMpForkErrors, which carries the first exception of a fork's workers back
// to the caller.
//
// VxMpFork (vxHost.h) takes an untyped work function and up to six argument
// words, as the host's interface always has: every argument must be exactly
// one word, and the work function is called through a type that is not its
// own. VxMpForkCall forks any callable with arguments of any type instead:
//
//     float* rows = ...; int width = ..., height = ...; float gain = 0.5f;
//     VxMpForkCall(
//         [rows, width](int height, float gain) { // runs on every worker at once
//             int y0, y1;
//             range(height, y0, y1);               // this worker's rows
//             for (int y = y0; y < y1; ++y)
//                 for (int x = 0; x < width; ++x)
//                     rows[y * width + x] *= gain;
//         },
//         height, gain);
//
// It goes through VxMpFork with one word, the address of a record on the
// caller's stack, and a work function of exactly the type the host calls, so
// everything VxMpFork promises holds: every worker runs the callable once,
// VxMpIsForked, VxMpGetID and VxMpGetNProcs (and so range) tell the worker
// its share, the call returns when all workers are done, and a fork started
// while one is already in progress is refused with VxMpFork's line
// "VxMpFork - recursive fork detected" on stderr. Call it from the main line
// of control only, as VxMpFork.
#ifndef VX_MP_FORK_CALL_H
#define VX_MP_FORK_CALL_H

#include "vxHost.h"

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

// The first exception thrown by any worker of one fork. Each worker calls
// capture() in its catch-all handler; once the fork has returned, the caller
// calls rethrowFirst(). The first worker to capture wins; later exceptions of
// the same fork are dropped. One object serves one fork at a time.
class VxMpForkErrors {
public:
    // From inside a catch handler: keeps the exception being handled when it
    // is the fork's first. Safe to call from every worker at once.
    void capture() noexcept {
        if (!taken_.exchange(true, std::memory_order_acq_rel)) {
            first_ = std::current_exception();
        }
    }

    // After the fork has returned (every worker finished): forgets the kept
    // exception and rethrows it; returns normally when there was none.
    void rethrowFirst() {
        if (!taken_.load(std::memory_order_acquire)) {
            return;
        }
        std::exception_ptr first = std::move(first_);
        first_ = nullptr;
        taken_.store(false, std::memory_order_release);
        if (first) {
            std::rethrow_exception(first);
        }
    }

private:
    std::atomic<bool> taken_{false};
    std::exception_ptr first_;
};

namespace VxMpForkCallDetail {

// Arguments are stored by value; std::ref(x) and std::cref(x) store a
// reference, which the callable receives as a plain reference.
template <class T>
struct Stored {
    using type = std::decay_t<T>;
    static const type& pass(const type& value) { return value; }
};
template <class T>
struct Stored<std::reference_wrapper<T>> {
    using type = std::reference_wrapper<T>;
    static T& pass(const type& value) { return value.get(); }
};

template <class T>
using StoredT = typename Stored<std::decay_t<T>>::type;

template <class T>
using PassedT = decltype(Stored<std::decay_t<T>>::pass(std::declval<const StoredT<T>&>()));

// What every worker reads: the callable, the arguments, the first exception.
template <class Fn, class... Args>
struct Call {
    const Fn& fn;
    const std::tuple<StoredT<Args>...>& args;
    VxMpForkErrors errors;

    template <std::size_t... I>
    void invoke(std::index_sequence<I...>) const {
        std::invoke(fn, Stored<std::decay_t<Args>>::pass(std::get<I>(args))...);
    }

    // The work function VxMpFork runs on every worker. Its type is exactly the
    // one the host calls a one-word work function through.
    static void work(VxWord word) {
        Call* call = reinterpret_cast<Call*>(word);
        try {
            call->invoke(std::index_sequence_for<Args...>());
        } catch (...) {
            call->errors.capture();
        }
    }
};

} // namespace VxMpForkCallDetail

// Runs f(args...) once on every worker, concurrently, and returns when all are
// done: the typed replacement of VxMpFork(work, nArgs, ...) for C++ code.
//
// - f is any callable: a function, a lambda (captures included), a function
//   object, or a pointer to member function with the object's pointer as the
//   first argument. It is not copied (the call outlives every worker), and it
//   is called through a const reference, since all workers call it at once:
//   a `mutable` lambda, or a function object whose operator() is not const,
//   does not compile.
// - args... are copied once, in the caller, before the fork; every worker then
//   receives the same copies as const lvalues (a parameter taken by value gets
//   its own copy). Any number and any types: int, double, structures. To
//   share an object the workers write, pass a pointer, or std::ref(object)
//   (the callable then receives a plain reference); each worker must write
//   only what no other worker writes.
// - Inside f, VxMpGetID() and VxMpGetNProcs() give the worker's share, and
//   range() splits an index range (vxMultiProcessor.h).
// - Returns true when f ran on the workers. Returns false, running nothing,
//   when a fork is already in progress (called from inside a worker, say):
//   VxMpFork then prints "VxMpFork - recursive fork detected" on stderr.
// - Exceptions: whatever f throws on a worker is caught there; that worker's
//   share ends, the other workers finish theirs, and once all are done the
//   first exception thrown (the first in time, whichever worker threw it) is
//   rethrown here, the very object that was thrown, after the fork's flags are
//   cleared: VxMpIsForked() is 0 again and the next fork runs normally. Later
//   exceptions of the same fork are dropped. This holds with any host, also
//   one whose fork is C code that could not carry an exception, and with no
//   host, where f runs once in the caller as worker 0 of 1.
template <class F, class... Args>
bool VxMpForkCall(F&& f, Args&&... args) {
    using Fn = std::remove_reference_t<F>;
    static_assert(std::is_invocable_v<const Fn&, VxMpForkCallDetail::PassedT<Args>...>,
                  "VxMpForkCall: the callable cannot be called with these arguments. Each "
                  "worker gets const copies: pass a pointer or std::ref(x) to share a "
                  "writable object, and make operator() const (no mutable lambda).");
    using CallT = VxMpForkCallDetail::Call<Fn, Args...>;
    const bool nested = VxMpIsForked() != 0;
    const std::tuple<VxMpForkCallDetail::StoredT<Args>...> stored(std::forward<Args>(args)...);
    CallT call{f, stored, {}};
    VxMpFork(reinterpret_cast<VxMpWork>(&CallT::work), 1, reinterpret_cast<VxWord>(&call));
    if (nested) {
        return false;
    }
    call.errors.rethrowFirst();
    return true;
}

#endif
