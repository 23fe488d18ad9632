#include "vxHeap.h"

#include "vxHeapSpace.h"
#include "vxHost.h"
#include "vxNotifierRegistry.h"
#include "vxTexNotifier.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>

namespace {

// Built on first use so that a buffer allocated during another library's
// static initialisation finds the state ready; gState below makes sure the
// environment is read when the library loads even if nothing asks, and spares
// the hot paths the first-use guard.
VxHeapState& makeState() {
    static VxHeapState s = {nullptr,
                            0,
                            0,
                            0,
                            0,
                            {},
                            std::getenv("VELTRIX_DISABLE_HEAP_MEMORY") != nullptr,
                            std::getenv("VELTRIX_CLAMP_HEAP_MEMORY") != nullptr,
                            std::getenv("VELTRIX_PRINT_DEBUG_MEM_HEAP") != nullptr};
    return s;
}

VxHeapState* const gState = &makeState();

VxHeapState& state() {
    return gState != nullptr ? *gState : makeState();
}

mspace space() {
    return static_cast<mspace>(state().heapSpace);
}

// The log lines print pointers and sizes in 32-bit fields, as they always have.
unsigned hex32(const void* p) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p));
}

int int32(unsigned long n) {
    return static_cast<int>(static_cast<unsigned>(n));
}

struct Stats {
    unsigned long total = 0, initial = 0, inUse = 0, avail = 0;
};

Stats stats() {
    Stats s;
    VxGetHeapStats(s.total, s.initial, s.inUse, s.avail);
    return s;
}

bool refusedInFork(const char* what) {
    if (!VxMpIsForked())
        return false;
    std::fprintf(stderr, "Veltrix Warning : %s called in thread. Ignoring request.\n", what);
    return true;
}

// The first record of p: with equal records, the oldest goes first, which
// keeps what remains in allocation order.
std::vector<void*>::iterator findAllocation(void* p) {
    std::vector<void*>& list = state().gHeapAllocations;
    return std::find(list.begin(), list.end(), p);
}

// Removes a record keeping the others in allocation order; the newest, the
// usual case, without the general erase.
void dropAllocation(std::vector<void*>::iterator it) {
    std::vector<void*>& list = state().gHeapAllocations;
    if (it + 1 == list.end())
        list.pop_back();
    else
        list.erase(it);
}

} // namespace

const VxHeapState& VxGetHeapState() {
    return state();
}

void VxSetHeapMemoryPtr(void* base, unsigned long size) {
    VxHeapState& s = state();
    if (s.disableHeap)
        return;
    if (VxMpIsForked()) {
        std::fprintf(stderr,
                     "Veltrix Warning : VxSetHeapMemoryPtr called in thread. No new heap will "
                     "be set.\n");
        return;
    }
    if (s.heapSpace) {
        std::fprintf(stderr,
                     "Veltrix Warning : current heap ptr[%x] being replaced by new heap ptr[%x] "
                     "releasing current.\n",
                     hex32(s.heapSpace), hex32(base));
        VxReleaseHeapMemoryPtr();
    }
    s.heapMode = 1;
    if (base == nullptr)
        return;
    s.heapSpace = create_mspace_with_base(base, size, 0);
    if (s.heapSpace == nullptr) {
        std::fprintf(stderr, "Heap space creation failed! No heap will be available!\n");
        return;
    }
    if (s.debugHeap) {
        std::fprintf(stderr, "Initialised Heap with Ptr[%x] Data Size[%d]\n", hex32(base),
                     int32(size));
        VxLogFullHeapInfo();
    }
    s.mallocCount = 0;
    s.freeCount = 0;
    s.heapMode = 2;
}

void VxReleaseHeapMemoryPtr() {
    VxHeapState& s = state();
    if (VxMpIsForked()) {
        std::fprintf(stderr, "Veltrix Warning : VxReleaseHeapMemoryPtr called in thread. Ignoring "
                             "release request.\n");
        return;
    }
    VxMoveHeapMemoryToSystemMemory();
    if (s.mallocCount != s.freeCount)
        VxHeapError(static_cast<int>(s.gHeapAllocations.size()));
    if (s.heapSpace) {
        if (s.debugHeap)
            std::fprintf(stderr, "Releasing heap [%x] and setting to NULL\n", hex32(s.heapSpace));
        destroy_mspace(space());
        s.heapSpace = nullptr;
        // What is still listed (leaks the count check has just reported, and
        // the null records of failed requests) went back to the host with the
        // block. Keeping the addresses would be worse than useless: the host
        // or the system may hand the same memory out again, and a system
        // buffer that happened to match one would then be misrouted.
        s.gHeapAllocations.clear();
    } else if (s.debugHeap) {
        std::fprintf(stderr, "ERROR heap [NULL] prior to VxReleaseHeapMemoryPtr\n");
    }
}

void VxMoveHeapMemoryToSystemMemory() {
    if (refusedInFork("VxMoveHeapMemoryToSystemMemory"))
        return;
    VxHeapState& s = state();
    s.heapMode = 3;
    bool moved = false;
    // The registry lets a Reallocate construct or destroy notifiers of its own,
    // and keeps a notifier destroyed in another thread from being called.
    VxVisitNotifiers([&s, &moved](VxTexNotifier* n) {
        void* data = n->GetVoidData();
        // A null entry in the list records a failed allocation, not data.
        if (data == nullptr || !VxWasAllocatedFromHeap(data))
            return;
        if (s.debugHeap && !moved)
            std::fprintf(stderr, "Moving heap data that persists to system memory, assuming "
                                 "intentionally cached.\n");
        moved = true;
        n->Reallocate();
        if (s.debugHeap)
            std::fprintf(stderr, "Reallocating [%x].\n", hex32(data));
        // A notifier that could not move its data (no system memory, or no
        // Reallocate of its own) is about to lose it with the block: say so.
        void* now = n->GetVoidData();
        if (now != nullptr && VxWasAllocatedFromHeap(now))
            std::fprintf(stderr,
                         "Veltrix Warning : notifier [%x] left its data [%x] in the heap. It "
                         "will not survive the release.\n",
                         hex32(n), hex32(now));
    });
    if (s.debugHeap && moved)
        std::fprintf(stderr, "Reallocation completed.\n");
}

void* VxMallocFromHeap(unsigned long n) {
    VxHeapState& s = state();
    const bool usable = s.heapSpace != nullptr && s.heapMode == 2 && !VxMpIsForked();
    // Without the clamp the space check always agrees; skip the call.
    if (usable && (!s.clampHeap || VxSufficientSpaceInHeap(n))) {
        if (s.debugHeap)
            VxLogPreMallocRequest(n);
        void* p = mspace_malloc(space(), n);
        // A failure is recorded too, so that the count check at release sees it.
        s.gHeapAllocations.push_back(p);
        if (s.debugHeap)
            VxLogPostMallocRequest(n, p);
        if (p == nullptr)
            VxMallocFailure(n);
        ++s.mallocCount;
        return p;
    }
    if (s.debugHeap) {
        if (s.heapSpace == nullptr)
            std::fprintf(stderr, "HEAP FAIL! No Heap, so using system memory\n");
        if (!VxHeapMemoryMalloc())
            std::fprintf(stderr, "HEAP FAIL! VxHeapMemoryMalloc said no\n");
        // Written on a true answer, as it always has been.
        if (VxSufficientSpaceInHeap(n))
            std::fprintf(stderr, "HEAP FAIL! Insufficient space in heap\n");
    }
    return nullptr;
}

bool VxFreeFromHeap(void* p) {
    VxHeapState& s = state();
    if (VxMpIsForked())
        return false;
    auto it = findAllocation(p);
    if (it == s.gHeapAllocations.end())
        return false;
    if (p != nullptr && !mspace_owns(space(), p)) {
        // Listed by hand (VxAppendToHeapList) but not heap memory: drop the
        // record and let the caller free it where it came from.
        std::fprintf(stderr,
                     "Veltrix Warning : VxFreeFromHeap of [%x], which is listed but not in the "
                     "heap. Record dropped.\n",
                     hex32(p));
        dropAllocation(it);
        return false;
    }
    if (s.debugHeap)
        VxLogPreFreeRequest(p);
    mspace_free(space(), p); // null (a failed request's record) frees nothing
    dropAllocation(it);
    ++s.freeCount;
    return true;
}

bool VxWasAllocatedFromHeap(void* p) {
    return findAllocation(p) != state().gHeapAllocations.end();
}

void* VxImgAlloc(int n) {
    if (state().debugHeap)
        std::fprintf(stderr, "Calling the Heap Malloc of [%d] bytes\n", n);
    if (n < 0) {
        std::fprintf(stderr,
                     "Veltrix Error : VxImgAlloc of a negative size [%d]. No buffer allocated.\n",
                     n);
        return nullptr;
    }
    if (void* p = VxMallocFromHeap(static_cast<unsigned long>(n)))
        return p;
    void* p = new (std::nothrow) char[static_cast<std::size_t>(n)];
    if (p == nullptr)
        std::fprintf(stderr, "Veltrix Error : VxImgAlloc could not allocate [%d] bytes.\n", n);
    return p;
}

void VxImgFree(void* p) {
    if (state().debugHeap)
        std::fprintf(stderr, "Calling the Heap Free for [%x]\n", hex32(p));
    if (VxFreeFromHeap(p) || p == nullptr)
        return;
    // Anything inside the heap's block must never reach the system allocator.
    if (VxWasAllocatedFromHeap(p)) { // declined only because of the fork
        std::fprintf(stderr,
                     "Veltrix Warning : VxImgFree of heap buffer [%x] called in thread. Left in "
                     "the heap.\n",
                     hex32(p));
        return;
    }
    if (mspace_owns(space(), p)) {
        std::fprintf(stderr,
                     "Veltrix Error : VxImgFree of [%x], which is in the heap but not a live heap "
                     "buffer (freed twice?). Ignored.\n",
                     hex32(p));
        return;
    }
    delete[] static_cast<char*>(p);
}

bool VxHeapMemoryMalloc() {
    return state().heapMode == 2 && !VxMpIsForked();
}

bool VxHeapMemoryFree() {
    return VxHeapMemoryMalloc();
}

bool VxSufficientSpaceInHeap(unsigned long n) {
    VxHeapState& s = state();
    if (!s.clampHeap)
        return true;
    // Only the main line of control records the answer; workers just ask.
    const bool record = !VxMpIsForked();
    if (record)
        s.lastInsufficient = 0;
    const unsigned long avail = VxCurrentAvailableHeapSpace();
    if (s.heapSpace && n < avail) {
        if (s.debugHeap)
            std::fprintf(stderr, "Sufficient heap space for [%d] bytes from heap of [%d]\n",
                         int32(n), int32(avail));
        return true;
    }
    if (s.heapSpace && s.debugHeap)
        std::fprintf(stderr, "Insufficient heap space for [%d] bytes from heap of [%d]\n", int32(n),
                     int32(avail));
    if (record)
        s.lastInsufficient = 1;
    return false;
}

unsigned long VxCurrentAvailableHeapSpace() {
    return stats().avail;
}

void VxGetHeapStats(unsigned long& total, unsigned long& initial, unsigned long& inUse,
                    unsigned long& avail) {
    std::size_t t, i, u, a;
    mspace_get_base_malloc_stats(space(), &t, &i, &u, &a);
    total = t;
    initial = i;
    inUse = u;
    avail = a;
}

void VxDisableHeapMemory() {
    if (!refusedInFork("VxDisableHeapMemory"))
        state().heapMode = 1;
}

void VxEnableHeapMemory() {
    if (!refusedInFork("VxEnableHeapMemory"))
        state().heapMode = state().heapSpace ? 2 : 1;
}

long VxMemoryHeapChunkCount() {
    return static_cast<long>(state().gHeapAllocations.size());
}

void VxAppendToHeapList(void* p) {
    if (!refusedInFork("VxAppendToHeapList"))
        state().gHeapAllocations.push_back(p);
}

void VxRemoveFromHeapList(void* p) {
    if (refusedInFork("VxRemoveFromHeapList"))
        return;
    auto it = findAllocation(p);
    if (it == state().gHeapAllocations.end()) {
        std::fprintf(stderr,
                     "Veltrix Warning : VxRemoveFromHeapList of [%x], which is not in the heap "
                     "list. Nothing removed.\n",
                     hex32(p));
        return;
    }
    dropAllocation(it);
}

void VxLogFullHeapInfo() {
    if (state().heapSpace == nullptr) {
        std::fprintf(stderr, "Veltrix Heap Stats : HeapPtr[%x] NO HEAP FOUND.\n", 0u);
        return;
    }
    const Stats st = stats();
    std::fprintf(stderr,
                 "Veltrix Heap Stats : HeapPtr[%x] Total[%d] Initial[%d] InUse[%d] Avail[%d] "
                 "Acquired from system[%d]\n",
                 hex32(state().heapSpace), int32(st.total), int32(st.initial), int32(st.inUse),
                 int32(st.avail), int32(st.total - st.initial));
    if (st.total == 0)
        std::fprintf(stderr, "Veltrix Heap Error : Total is invalid[%d]\n", 0);
}

void VxHeapError(int count) {
    const VxHeapState& s = state();
    if (s.mallocCount == s.freeCount)
        return;
    std::fprintf(stderr, "Veltrix Warning : Heap Manager Error.\n");
    std::fprintf(stderr, "Veltrix Warning : Mallocd[%d] Freed[%d] Heap Error[%d]\n", s.mallocCount,
                 s.freeCount, s.mallocCount - s.freeCount);
    std::fprintf(stderr, "Veltrix Warning : reallocation count [%d]\n", count);
    VxLogFullHeapInfo();
}

void VxLogPreMallocRequest(unsigned long n) {
    const Stats st = stats();
    std::fprintf(stderr, "Requesting[%d] bytes from heap[%x] (Total[%d] Used[%d] Available[%d])\n",
                 int32(n), hex32(state().heapSpace), int32(st.total), int32(st.inUse),
                 int32(st.avail));
}

void VxLogPostMallocRequest(unsigned long n, void* p) {
    const Stats st = stats();
    std::fprintf(stderr,
                 "Succesful request for [%d] bytes=[%x]. (Total[%d] Used[%d] Available[%d])\n",
                 int32(n), hex32(p), int32(st.total), int32(st.inUse), int32(st.avail));
}

void VxLogPreFreeRequest(void* p) {
    const Stats st = stats();
    std::cout << "Releasing[" << p << "] from heap[" << state().heapSpace << "] (Total[" << st.total
              << "] Used[" << st.inUse << "] Available[" << st.avail << "])" << std::endl;
}

void VxMallocFailure(unsigned long n) {
    const Stats st = stats();
    std::fprintf(stderr, "Veltrix Error : Insufficient memory available for request of size [%d]\n",
                 int32(n));
    // The line has always been given the result line's arguments, so its
    // numbers land one place late: Total shows the null pointer (0), Used
    // shows Total and Available shows InUse.
    std::fprintf(stderr,
                 "FAILED request for [%d] bytes=[NULL]. (Total[%d] Used[%d] Available[%d])\n",
                 int32(n), 0, int32(st.total), int32(st.inUse));
    VxLogFullHeapInfo();
}
