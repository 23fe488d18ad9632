// Inside a fork the heap refuses every change: set and release with a warning,
// allocation and free quietly, and notifiers are not registered.
#include "vxHeapTestSupport.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

struct InFork {
    HostBlock* other;
    void* mainBuffer;
    void* fromHeap = nullptr;
    void* workerBuffer = nullptr;
    bool freed = true;
    std::size_t notifiers = 0;
};

void inWorker(InFork* f) {
    if (VxMpGetID() != 0) // one worker is enough; the others must not race it
        return;
    VxSetHeapMemoryPtr(f->other->base, f->other->size);
    VxReleaseHeapMemoryPtr();
    VxDisableHeapMemory();
    f->fromHeap = VxMallocFromHeap(100);
    f->freed = VxFreeFromHeap(f->mainBuffer);
    VxImgFree(f->mainBuffer);
    f->workerBuffer = VxImgAlloc(100);
    VxImgFree(f->workerBuffer);
    TestTexture local(10);
    f->notifiers = VxGetHeapState().gNotifiers.size();
}

TEST(HeapInFork, ChangesAreRefused) {
    VxStandaloneHostSetWorkers(2);
    SpMpSetSize(2, 1, 2);
    HostBlock block(1 << 16), other(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    InFork f{&other, VxImgAlloc(100)};
    const void* handle = VxGetHeapState().heapSpace;
    const std::size_t notifiers = VxGetHeapState().gNotifiers.size();
    CaptureStderr();
    VxMpFork(reinterpret_cast<VxMpWork>(&inWorker), 1, &f);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Warning : VxSetHeapMemoryPtr called in thread. No new heap will be "
                  "set.\n"
                  "Veltrix Warning : VxReleaseHeapMemoryPtr called in thread. Ignoring release "
                  "request.\n"
                  "Veltrix Warning : VxDisableHeapMemory called in thread. Ignoring request.\n"
                  "Veltrix Warning : VxImgFree of heap buffer [%x] called in thread. Left in "
                  "the heap.\n",
                  hex32(f.mainBuffer)));
    EXPECT_EQ(VxGetHeapState().heapSpace, handle);
    EXPECT_EQ(VxGetHeapState().heapMode, 2);
    EXPECT_EQ(f.fromHeap, nullptr);
    EXPECT_FALSE(f.freed);
    EXPECT_FALSE(block.holds(f.workerBuffer));
    EXPECT_EQ(f.notifiers, notifiers);
    EXPECT_EQ(VxGetHeapState().gNotifiers.size(), notifiers); // nor unregistered
    EXPECT_EQ(VxGetHeapState().gHeapAllocations, std::vector<void*>{f.mainBuffer});
    VxImgFree(f.mainBuffer);
    VxReleaseHeapMemoryPtr();
}

} // namespace
