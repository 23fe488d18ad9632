// vxHeap.h - the managed heap: image buffers taken from a block of memory the
// host hands over, with fallback to ordinary system memory.
//
// Ownership
// ---------
// The block belongs to the host. VxSetHeapMemoryPtr builds an allocation
// space inside it (nothing is written outside it, nothing is taken from the
// system); VxReleaseHeapMemoryPtr ends that space before the host takes the
// block back. Buffers still living in the heap at release (images an effect
// caches between frames) are first moved to system memory through their
// texture notifiers (vxTexNotifier.h), so nothing registered is lost.
//
// Image buffers come from VxImgAlloc and go back through VxImgFree: the heap
// when it is usable, else system memory (new char[]); VxImgFree tells the two
// apart by the list of live heap allocations.
//
// heapMode
// --------
//   0  never set: every buffer comes from system memory (the state at load)
//   1  no usable heap, or the heap is disabled
//   2  enabled with a heap: VxImgAlloc tries the heap first
//   3  moving data out: set by VxMoveHeapMemoryToSystemMemory (and so by every
//      release) and left so until the next set, enable or disable
//
//   0 --VxSetHeapMemoryPtr(block)--> 2 <--Enable / Disable--> 1
//   2 or 1 --VxReleaseHeapMemoryPtr--> 3 (no heap) --VxSetHeapMemoryPtr--> 2
//   VxSetHeapMemoryPtr with a null base, or whose space cannot be built: 1.
//   VxEnableHeapMemory with no heap: 1. A second VxSetHeapMemoryPtr releases
//   the first heap (moving its survivors) before installing the new one.
//
// Environment, read once when the library loads (only presence matters):
//   VELTRIX_DISABLE_HEAP_MEMORY    VxSetHeapMemoryPtr does nothing, silently
//   VELTRIX_CLAMP_HEAP_MEMORY      switches the space test on (see
//                                  VxSufficientSpaceInHeap); otherwise every
//                                  request is passed to the allocator
//   VELTRIX_PRINT_DEBUG_MEM_HEAP   debug mode: the log lines marked (debug)
//
// Forks
// -----
// The heap is not thread-safe and takes no locks; it is changed only outside
// a fork (vxHost.h). Inside a fork:
//   - VxSetHeapMemoryPtr and VxReleaseHeapMemoryPtr are refused with a warning;
//   - VxMallocFromHeap returns null and VxFreeFromHeap false, quietly, so a
//     worker's buffers come from system memory and are freed there;
//   - VxImgFree of a heap buffer leaves it in the heap, with a warning (it is
//     moved or forgotten at release);
//   - VxMoveHeapMemoryToSystemMemory, VxDisableHeapMemory, VxEnableHeapMemory,
//     VxAppendToHeapList and VxRemoveFromHeapList are refused with a warning;
//   - notifiers constructed there are not registered (a registered one
//     destroyed there still removes itself; see vxTexNotifier.h).
// Queries (statistics, counts, VxWasAllocatedFromHeap) may be called anywhere.
//
// Log lines
// ---------
// All on standard error except the release line, which goes to standard
// output. %x is the low 32 bits of a pointer, %d the low 32 bits of a number.
//   statistics (VxLogFullHeapInfo):
//     "Veltrix Heap Stats : HeapPtr[%x] Total[%d] Initial[%d] InUse[%d] Avail[%d]
//      Acquired from system[%d]\n" (one line; the last number is Total - Initial),
//     followed by "Veltrix Heap Error : Total is invalid[0]\n" when Total is 0;
//     with no heap "Veltrix Heap Stats : HeapPtr[0] NO HEAP FOUND.\n"
//   count check (VxHeapError, and release), only when the counts differ:
//     "Veltrix Warning : Heap Manager Error.\n"
//     "Veltrix Warning : Mallocd[%d] Freed[%d] Heap Error[%d]\n" (difference)
//     "Veltrix Warning : reallocation count [%d]\n", then the statistics line
//   request (debug): "Requesting[%d] bytes from heap[%x] (Total[%d] Used[%d]
//     Available[%d])\n"
//   result (debug): "Succesful request for [%d] bytes=[%x]. (Total[%d] Used[%d]
//     Available[%d])\n" (spelt so; written even when the result is null)
//   failure (VxMallocFailure): "Veltrix Error : Insufficient memory available for
//     request of size [%d]\n", then "FAILED request for [%d] bytes=[NULL].
//     (Total[%d] Used[%d] Available[%d])\n" whose numbers are shifted one place
//     on purpose (Total shows 0, Used shows Total, Available shows InUse), then
//     the statistics line
//   release (debug, standard output): "Releasing[<p>] from heap[<handle>]
//     (Total[..] Used[..] Available[..])" and an end of line, pointers in the
//     stream's pointer format
//   plus the set/release/move lines given with each function below.
//
// Statistics
// ----------
// Total, Initial, InUse and Avail (bytes) are those of the allocation space:
// Total the whole block, Initial the part covered by chunks, InUse Total less
// the free chunk at the top of the block and its 16-byte foot reserve (free
// chunks lower down count as in use), Avail = Total - InUse. All are 0 with
// no heap. "Acquired from system" is Total - Initial (the space's own record
// and alignment; it never takes memory from the system). Every pointer the
// heap returns is 64-byte aligned; a request costs its size + 16 rounded up
// to 64 bytes.
#ifndef VX_HEAP_H
#define VX_HEAP_H

#include "vxExport.h"

#include <vector>

// The process-global heap state, in its historical order. Read-only view.
struct VxHeapState {
    void* heapSpace;       // handle of the current allocation space, or null
    int mallocCount;       // allocations served by the heap since it was set
    int freeCount;         // frees served by the heap since it was set
    int heapMode;          // 0 to 3, see above
    char lastInsufficient; // 1 when the last clamped space test found too little
    // Every pointer handed out by the heap and not yet freed, in allocation
    // order. A failed allocation leaves a null entry, deliberately: the count
    // check at release then reports it. Release empties the list once it has
    // been reported: those buffers went back to the host with the block.
    std::vector<void*> gHeapAllocations;
    // The registered notifiers have a list (and a lock) of their own:
    // VxRegisteredTexNotifiers() in vxTexNotifier.h.
    bool disableHeap; // VELTRIX_DISABLE_HEAP_MEMORY was present at load
    bool clampHeap;   // VELTRIX_CLAMP_HEAP_MEMORY was present at load
    bool debugHeap;   // VELTRIX_PRINT_DEBUG_MEM_HEAP was present at load
};

VX_API const VxHeapState& VxGetHeapState();

// ---------------------------------------------------------------------------
// Installing and releasing
// ---------------------------------------------------------------------------

// Installs a heap over the host's block [base, base + size):
// 1. with VELTRIX_DISABLE_HEAP_MEMORY, does nothing at all;
// 2. inside a fork, writes "Veltrix Warning : VxSetHeapMemoryPtr called in
//    thread. No new heap will be set.\n" and stops;
// 3. with a heap present, writes "Veltrix Warning : current heap ptr[%x] being
//    replaced by new heap ptr[%x] releasing current.\n" (old handle, new base)
//    and releases it (VxReleaseHeapMemoryPtr);
// 4. heapMode = 1; a null base stops here (no heap);
// 5. builds the space; if the block is unusable (too small for the space's
//    record and one chunk) writes "Heap space creation failed! No heap will be
//    available!\n", the only line, and stops in mode 1;
// 6. (debug) "Initialised Heap with Ptr[%x] Data Size[%d]\n" (base, size) and
//    the statistics line;
// 7. zeroes mallocCount and freeCount; heapMode = 2.
VX_API void VxSetHeapMemoryPtr(void* base, unsigned long size);

// Moves surviving data out and ends the heap:
// 1. inside a fork, writes "Veltrix Warning : VxReleaseHeapMemoryPtr called in
//    thread. Ignoring release request.\n" and stops;
// 2. VxMoveHeapMemoryToSystemMemory() (heapMode becomes 3 and stays so);
// 3. if mallocCount != freeCount, the count check with the number of entries
//    left in gHeapAllocations as the reallocation count;
// 4. with a heap: (debug) "Releasing heap [%x] and setting to NULL\n", the
//    space is ended, heapSpace = null and gHeapAllocations emptied (a buffer
//    not moved is gone with the block and must not be freed afterwards);
//    without one: (debug) "ERROR heap [NULL] prior to VxReleaseHeapMemoryPtr\n".
VX_API void VxReleaseHeapMemoryPtr();

// heapMode = 3 (VxImgAlloc takes system memory from now on), then asks each
// registered notifier, in registration order, for GetVoidData(); when that is
// a non-null pointer in gHeapAllocations, calls its Reallocate(), which moves
// the data into a fresh VxImgAlloc buffer and VxImgFree's the old one.
// (debug) Before the first move "Moving heap data that persists to system
// memory, assuming intentionally cached.\n", after each "Reallocating [%x].\n"
// (the old data pointer), and at the end, if anything moved, "Reallocation
// completed.\n". A notifier whose data is still in the heap after its
// Reallocate() gets "Veltrix Warning : notifier [%x] left its data [%x] in the
// heap. It will not survive the release.\n". Refused inside a fork, with a
// warning. A Reallocate may construct and destroy notifiers: one added is
// visited too, one removed before its turn is not. A notifier destroyed in
// another thread meanwhile is not called after its destructor has begun
// removing it (see vxTexNotifier.h).
VX_API void VxMoveHeapMemoryToSystemMemory();

// ---------------------------------------------------------------------------
// Allocation
// ---------------------------------------------------------------------------

// n bytes from the heap, or null; never falls back to system memory itself.
// The heap is tried when it exists, heapMode is 2, not inside a fork, and
// VxSufficientSpaceInHeap(n). Each try is recorded in gHeapAllocations (even a
// null result) and counted in mallocCount; a null result writes the failure
// lines (VxMallocFailure). (debug) The request and result lines around the
// try; when the heap is not tried, "HEAP FAIL! No Heap, so using system
// memory\n" (no heap), "HEAP FAIL! VxHeapMemoryMalloc said no\n" (mode not 2,
// or in a fork), then the space test is run again and "HEAP FAIL! Insufficient
// space in heap\n" written when it answers TRUE - the inverse of its text,
// kept as the system has always written it.
VX_API void* VxMallocFromHeap(unsigned long n);

// Frees p if it is in gHeapAllocations and not inside a fork: (debug) the
// release line on standard output, the block goes back to the space, the first
// matching entry is removed and freeCount counted; returns true. Otherwise
// returns false and the caller frees p elsewhere. A listed pointer that is
// not inside the heap (put there by VxAppendToHeapList) has its record
// dropped with a warning and also gives false. Freeing null while a failed
// request's null record is listed removes that record and counts it.
VX_API bool VxFreeFromHeap(void* p);

// True when p is in gHeapAllocations.
VX_API bool VxWasAllocatedFromHeap(void* p);

// An image buffer of n bytes: the heap first (VxMallocFromHeap), else a
// system array of n bytes. (debug) "Calling the Heap Malloc of [%d] bytes\n"
// first. A negative n returns null with "Veltrix Error : VxImgAlloc of a
// negative size [%d]. No buffer allocated.\n"; a system allocation that fails
// returns null with a line on stderr. Never throws.
VX_API void* VxImgAlloc(int n);

// Frees an image buffer: VxFreeFromHeap(p), and if that declines and p is not
// null, a system array free. (debug) "Calling the Heap Free for [%x]\n" first.
// A pointer into the current heap's block that is not a live heap allocation
// (freed twice, say) is never passed to the system: it is ignored with a line
// on stderr; inside a fork a live heap buffer is left in the heap, with a
// warning. A pointer the library never allocated, or a system buffer freed
// twice, cannot be recognised and must not be passed. Null does nothing.
VX_API void VxImgFree(void* p);

// Both true when heapMode is 2 and not inside a fork.
VX_API bool VxHeapMemoryMalloc();
VX_API bool VxHeapMemoryFree();

// The space test. Without VELTRIX_CLAMP_HEAP_MEMORY, true without looking.
// With it: lastInsufficient = 0; if a heap exists and n < Avail (strictly),
// (debug) "Sufficient heap space for [%d] bytes from heap of [%d]\n" and true;
// otherwise (debug, with a heap) "Insufficient heap space for [%d] bytes from
// heap of [%d]\n", lastInsufficient = 1 and false. Inside a fork the answer is
// the same but lastInsufficient is left alone (workers must not write it).
VX_API bool VxSufficientSpaceInHeap(unsigned long n);

// Avail of the current heap (0 with none).
VX_API unsigned long VxCurrentAvailableHeapSpace();

// The four statistics of the current heap, all 0 with none.
VX_API void VxGetHeapStats(unsigned long& total, unsigned long& initial, unsigned long& inUse,
                           unsigned long& avail);

// heapMode = 1. Refused inside a fork, with a warning.
VX_API void VxDisableHeapMemory();

// heapMode = 2 when a heap exists, else 1. Refused inside a fork, with a warning.
VX_API void VxEnableHeapMemory();

// ---------------------------------------------------------------------------
// The allocation list and the log lines, as separate operations
// ---------------------------------------------------------------------------

// The number of entries in gHeapAllocations.
VX_API long VxMemoryHeapChunkCount();

// Appends p to gHeapAllocations.
VX_API void VxAppendToHeapList(void* p);

// Removes the first entry equal to p, keeping the order of the rest. A p not in
// the list changes nothing and writes "Veltrix Warning : VxRemoveFromHeapList
// of [%x], which is not in the heap list. Nothing removed.\n".
VX_API void VxRemoveFromHeapList(void* p);

// The statistics line.
VX_API void VxLogFullHeapInfo();

// The count check with `count` as the reallocation count: nothing when
// mallocCount equals freeCount.
VX_API void VxHeapError(int count);

// The request line, the result line, the release line (standard output) and
// the failure lines. These write whether or not debug mode is on; the heap
// calls the first three only in debug mode.
VX_API void VxLogPreMallocRequest(unsigned long n);
VX_API void VxLogPostMallocRequest(unsigned long n, void* p);
VX_API void VxLogPreFreeRequest(void* p);
VX_API void VxMallocFailure(unsigned long n);

#endif
