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
// Registration is skipped inside a fork (vxHost.h): a notifier constructed or
// destroyed in a worker is neither added to nor removed from the list, so
// textures that take part in the hand-back must be made and destroyed outside
// forks. A copy registers itself as a new object; assignment leaves the
// registration of both sides alone.
//
// The destructor is protected and not virtual, as the binary layout requires
// (the table holds Reallocate then GetVoidData, nothing else): delete through
// the derived type, never through a VxTexNotifier pointer. A derived class
// should be final or declare its own virtual destructor (-Wnon-virtual-dtor).
#ifndef VX_TEX_NOTIFIER_H
#define VX_TEX_NOTIFIER_H

#include "vxExport.h"

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
    // Removes the first list entry equal to this object (outside a fork).
    ~VxTexNotifier();
};

#endif
