// Inside a fork the heap refuses every change: set and release with a warning,
// allocation and free quietly, and notifiers made there are not registered.
#include "vxHeapTestSupport.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

namespace {

struct InFork {
    HostBlock *block, *other;
    void* mainBuffer;
    std::size_t notifiers;
};

void inWorker(InFork* f) {
    if (VxMpGetID() != 0) // one worker is enough; the others must not race it
        return;
    VxSetHeapMemoryPtr(f->other->base, f->other->size);
    VxReleaseHeapMemoryPtr();
    VxDisableHeapMemory();
    EXPECT_EQ(VxMallocFromHeap(100), nullptr);
    EXPECT_FALSE(VxFreeFromHeap(f->mainBuffer));
    VxImgFree(f->mainBuffer);
    void* mine = VxImgAlloc(100);
    EXPECT_FALSE(f->block->holds(mine));
    VxImgFree(mine);
    TestTexture local(10);
    EXPECT_EQ(VxRegisteredTexNotifiers().size(), f->notifiers);
}

TEST(HeapInFork, ChangesAreRefused) {
    VxStandaloneHostSetWorkers(2);
    SpMpSetSize(2, 1, 2);
    HostBlock block(1 << 16), other(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    const VxHeapState& heap = VxGetHeapState();
    InFork f{&block, &other, VxImgAlloc(100), VxRegisteredTexNotifiers().size()};
    const void* handle = heap.heapSpace;
    testing::internal::CaptureStderr();
    VxMpFork(reinterpret_cast<VxMpWork>(&inWorker), 1, &f);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              fmt("Veltrix Warning : VxSetHeapMemoryPtr called in thread. No new heap will be "
                  "set.\n"
                  "Veltrix Warning : VxReleaseHeapMemoryPtr called in thread. Ignoring release "
                  "request.\n"
                  "Veltrix Warning : VxDisableHeapMemory called in thread. Ignoring request.\n"
                  "Veltrix Warning : VxImgFree of heap buffer [%x] called in thread. Left in "
                  "the heap.\n",
                  hex32(f.mainBuffer)));
    EXPECT_EQ(heap.heapSpace, handle);
    EXPECT_EQ(heap.heapMode, 2);
    EXPECT_EQ(VxRegisteredTexNotifiers().size(), f.notifiers);
    EXPECT_EQ(heap.gHeapAllocations, std::vector<void*>{f.mainBuffer});
    VxImgFree(f.mainBuffer);
    VxReleaseHeapMemoryPtr();
}

} // namespace
