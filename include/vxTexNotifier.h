// vxTexNotifier.h - how an image buffer follows the managed heap (vxHeap.h).
//
// Every texture derives from VxTexNotifier as well as from its indexer. The
// notifier registers the object with the heap for its whole life, so that when
// the heap is released (VxReleaseHeapMemoryPtr) a buffer still living in it is
// moved to system memory instead of vanishing with the host's block:
//
//   - GetVoidData() returns the object's pixel buffer (or null);
//   - Reallocate() copies the pixels into a fresh VxImgAlloc buffer (system
//     memory by then) and frees the old one with VxImgFree, which hands it
//     back to the heap. It is called only for a buffer the heap handed out.
//
// Threads and forks: registration is safe from any thread (the list has a
// lock of its own), so textures may be made and destroyed in several threads
// at once. A notifier constructed inside a fork (vxHost.h) is not registered:
// what a worker makes is not moved by the heap. A destructor always removes
// the object's entry, wherever it runs (also inside a fork), so no destroyed
// notifier is ever left on the list. A copy registers itself as a new object;
// assignment leaves the registration of both sides alone.
//
// Destroying a notifier while the heap is being released: if the release is
// calling this notifier's Reallocate in another thread, unregistering waits
// until that call returns, and the release does not call the object again.
// The wait protects the object only from the point where it unregisters, so
// a derived class whose destructor changes what Reallocate or GetVoidData
// read calls Unregister() first (the library's textures do). Reallocate may
// itself construct and destroy notifiers; it must not wait for another thread
// that is destroying this same notifier.
//
// The destructor is protected and not virtual, as the binary layout requires
// (the table holds Reallocate then GetVoidData, nothing else): delete through
// the derived type, never through a VxTexNotifier pointer. A derived class
// should be final or declare its own virtual destructor (-Wnon-virtual-dtor).
#ifndef VX_TEX_NOTIFIER_H
#define VX_TEX_NOTIFIER_H

#include "vxExport.h"

#include <vector>

class VX_API VxTexNotifier {
public:
    // Registered at the end of the heap's notifier list (outside a fork).
    VxTexNotifier();
    VxTexNotifier(const VxTexNotifier& other);
    VxTexNotifier& operator=(const VxTexNotifier& other);

    // Moves the data into a fresh VxImgAlloc buffer and frees the old one.
    // Returns non-zero when it moved something; the default moves nothing, 0.
    virtual int Reallocate();

    // The object's data buffer; the default has none, null.
    virtual void* GetVoidData() const;

protected:
    // Removes this object's entry, if it has one (inside a fork as well).
    ~VxTexNotifier();

    // Removes this object's entry now; the destructor then finds none. For a
    // derived destructor to call before it tears anything down.
    void Unregister();
};

// A copy of the heap's notifier list, in registration order.
VX_API std::vector<VxTexNotifier*> VxRegisteredTexNotifiers();

#endif
