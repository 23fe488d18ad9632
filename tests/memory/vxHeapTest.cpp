// The managed heap: modes, allocation bookkeeping, refusals of bad input, the
// log lines byte for byte, and the environment switches (in fresh processes).
#include "vxHeapTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;
using Ptrs = std::vector<void*>;

const VxHeapState& heap() {
    return VxGetHeapState();
}

// Declared first: in a whole-binary run this still sees the state at load.
TEST(Heap, BeforeAnySetEverythingIsSystemMemory) {
    EXPECT_EQ(heap().heapMode, 0);
    CaptureStderr();
    void* p = VxImgAlloc(100);
    EXPECT_TRUE(p && !VxWasAllocatedFromHeap(p) && VxMemoryHeapChunkCount() == 0);
    VxImgFree(p);
    VxImgFree(nullptr);
    EXPECT_FALSE(VxHeapMemoryMalloc() || VxHeapMemoryFree());
    EXPECT_TRUE(VxSufficientSpaceInHeap(1ul << 40)); // no clamp: the test is off
    VxLogFullHeapInfo();
    EXPECT_EQ(GetCapturedStderr(), "Veltrix Heap Stats : HeapPtr[0] NO HEAP FOUND.\n");
}

TEST(Heap, ModesAndBookkeepingFollowTheCalls) {
    HostBlock block(1 << 20);
    CaptureStderr();
    VxSetHeapMemoryPtr(block.base, block.size);
    EXPECT_EQ(heap().heapMode, 2);
    const HeapStats fresh = heapStats();
    EXPECT_EQ(fresh.total, block.size);
    EXPECT_EQ(fresh.avail, fresh.initial); // one free chunk spans the space
    void* a = VxImgAlloc(1000);
    void* b = VxImgAlloc(0);
    void* c = VxImgAlloc(5000);
    EXPECT_TRUE(block.holds(a) && block.holds(b) && block.holds(c));
    EXPECT_EQ(heap().gHeapAllocations, (Ptrs{a, b, c}));

    VxDisableHeapMemory();
    EXPECT_EQ(heap().heapMode, 1);
    void* sys = VxImgAlloc(64);
    EXPECT_FALSE(block.holds(sys));
    VxImgFree(sys);
    VxImgFree(b); // freeing still works while disabled
    VxEnableHeapMemory();
    EXPECT_EQ(heap().heapMode, 2);
    VxAppendToHeapList(b);
    VxRemoveFromHeapList(a); // the rest keep their order
    EXPECT_EQ(heap().gHeapAllocations, (Ptrs{c, b}));
    VxAppendToHeapList(c);
    VxRemoveFromHeapList(c); // of equal entries the first goes
    EXPECT_EQ(heap().gHeapAllocations, (Ptrs{b, c}));
    VxRemoveFromHeapList(b);
    VxAppendToHeapList(a);
    VxImgFree(a);
    VxImgFree(c);
    EXPECT_EQ(heap().mallocCount, 3);
    EXPECT_EQ(heap().freeCount, 3);
    EXPECT_EQ(heapStats().avail, fresh.avail);

    VxReleaseHeapMemoryPtr();
    EXPECT_EQ(GetCapturedStderr(), ""); // balanced: not a word
    EXPECT_EQ(heap().heapMode, 3);
    EXPECT_EQ(heap().heapSpace, nullptr);
    VxEnableHeapMemory();
    EXPECT_EQ(heap().heapMode, 1); // nothing to enable
}

TEST(Heap, SetRefusesUnusableBlocksAndReplacesAnOldHeap) {
    HostBlock first(1 << 16), second(1 << 16), tiny(100);
    CaptureStderr();
    VxSetHeapMemoryPtr(nullptr, 1 << 20);
    EXPECT_EQ(heap().heapMode, 1);
    VxSetHeapMemoryPtr(tiny.base, tiny.size);
    EXPECT_EQ(GetCapturedStderr(), "Heap space creation failed! No heap will be available!\n");
    EXPECT_EQ(heap().heapMode, 1);

    VxSetHeapMemoryPtr(first.base, first.size);
    const void* oldHandle = heap().heapSpace;
    CaptureStderr();
    VxSetHeapMemoryPtr(second.base, second.size);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Warning : current heap ptr[%x] being replaced by new heap ptr[%x] "
                  "releasing current.\n",
                  hex32(oldHandle), hex32(second.base)));
    EXPECT_EQ(heap().heapMode, 2);
    VxReleaseHeapMemoryPtr();
}

// Bad input, an oversize request (recorded as a null) and the count check,
// line by line.
TEST(Heap, BadInputAndFailuresGetExactLines) {
    HostBlock block(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    void* p = VxImgAlloc(100);
    char* sys = new char[8];
    CaptureStderr();
    EXPECT_EQ(VxImgAlloc(-5), nullptr);
    VxImgFree(p);
    VxImgFree(p); // twice: lies in the heap, so never reaches the system
    VxRemoveFromHeapList(sys);
    VxAppendToHeapList(sys);
    VxImgFree(sys); // listed by hand, so handed back to the system
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Error : VxImgAlloc of a negative size [-5]. No buffer allocated.\n"
                  "Veltrix Error : VxImgFree of [%x], which is in the heap but not a live heap "
                  "buffer (freed twice?). Ignored.\n"
                  "Veltrix Warning : VxRemoveFromHeapList of [%x], which is not in the heap "
                  "list. Nothing removed.\n"
                  "Veltrix Warning : VxFreeFromHeap of [%x], which is listed but not in the "
                  "heap. Record dropped.\n",
                  hex32(p), hex32(sys), hex32(sys)));
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0);

    // Without the clamp an oversize request reaches the allocator and fails.
    const HeapStats st = heapStats();
    const unsigned long n = block.size * 2;
    CaptureStderr();
    EXPECT_EQ(VxMallocFromHeap(n), nullptr);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Error : Insufficient memory available for request of size [%lu]\n"
                  "FAILED request for [%lu] bytes=[NULL]. (Total[0] Used[%lu] Available[%lu])\n",
                  n, n, st.total, st.inUse) +
                  statsLine());
    EXPECT_EQ(heap().gHeapAllocations, Ptrs{nullptr});
    const std::string check = "Veltrix Warning : Heap Manager Error.\n"
                              "Veltrix Warning : Mallocd[2] Freed[1] Heap Error[1]\n";
    const std::string stats = statsLine();
    CaptureStderr();
    VxHeapError(7);
    VxReleaseHeapMemoryPtr();
    EXPECT_EQ(GetCapturedStderr(), check + "Veltrix Warning : reallocation count [7]\n" + stats +
                                       check + "Veltrix Warning : reallocation count [1]\n" +
                                       stats);
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0); // reported, then dropped with the block
}

TEST(TexNotifier, RegistersForItsLifeOutsideForks) {
    const std::size_t before = VxRegisteredTexNotifiers().size();
    auto a = std::make_unique<TestTexture>(10);
    auto b = std::make_unique<TestTexture>(10);
    EXPECT_EQ(VxRegisteredTexNotifiers().size(), before + 2);
    EXPECT_EQ(VxRegisteredTexNotifiers()[before], a.get());
    a.reset();
    EXPECT_EQ(VxRegisteredTexNotifiers().back(), b.get());
    b.reset();
    EXPECT_EQ(VxRegisteredTexNotifiers().size(), before);
}

// The switches are read at load, so `body` runs in a fresh process that
// inherits `variable`, and returns its failures as text.
template <typename Body>
void withVariable(const char* variable, Body body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv(variable, "", 1); // presence is all that counts
    EXPECT_EXIT(
        {
            const std::string failures = body();
            std::fputs(failures.c_str(), stderr);
            std::exit(failures.empty() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    unsetenv(variable);
}

std::string expectSame(const std::string& what, const std::string& got, const std::string& want) {
    return got == want ? "" : what + ":\n got: " + got + "\nwant: " + want + "\n";
}

TEST(HeapEnvironment, DisableMakesSetInertAndSilent) {
    withVariable("VELTRIX_DISABLE_HEAP_MEMORY", [] {
        HostBlock block(1 << 16);
        CaptureStderr();
        VxSetHeapMemoryPtr(block.base, block.size);
        void* p = VxImgAlloc(100);
        const bool inert = heap().heapMode == 0 && !block.holds(p) && heap().disableHeap;
        VxImgFree(p);
        return expectSame("stderr", GetCapturedStderr(), "") + (inert ? "" : "heap set\n");
    });
}

TEST(HeapEnvironment, ClampRefusesRequestsOfAvailOrMore) {
    withVariable("VELTRIX_CLAMP_HEAP_MEMORY", [] {
        std::string bad;
        auto need = [&bad](bool ok, const char* what) { bad += ok ? "" : what; };
        HostBlock block(1 << 16);
        VxSetHeapMemoryPtr(block.base, block.size);
        const unsigned long avail = VxCurrentAvailableHeapSpace();
        need(!VxSufficientSpaceInHeap(avail) && heap().lastInsufficient == 1, "Avail accepted\n");
        need(VxSufficientSpaceInHeap(avail - 1) && heap().lastInsufficient == 0, "less refused\n");
        need(!VxMallocFromHeap(avail) && VxMemoryHeapChunkCount() == 0, "clamp reached heap\n");
        void* p = VxMallocFromHeap(avail - 32); // exactly the top chunk
        need(block.holds(p) && VxCurrentAvailableHeapSpace() == 16, "largest request failed\n");
        VxImgFree(p);
        VxReleaseHeapMemoryPtr();
        need(!VxSufficientSpaceInHeap(1) && heap().lastInsufficient == 1, "no heap, yet space\n");
        return bad;
    });
}

// Both streams of `step`, stdout first, then stderr.
template <typename Step>
std::string outputOf(Step step) {
    CaptureStdout();
    CaptureStderr();
    step();
    const std::string err = GetCapturedStderr();
    return GetCapturedStdout() + err;
}

std::string usage() {
    const HeapStats s = heapStats();
    return fmt("(Total[%lu] Used[%lu] Available[%lu])", s.total, s.inUse, s.avail);
}

std::string releaseLine(void* p) {
    std::ostringstream line;
    line << "Releasing[" << p << "] from heap[" << heap().heapSpace << "] " << usage() << "\n";
    return line.str();
}

TEST(HeapEnvironment, DebugWritesEveryLineExactly) {
    withVariable("VELTRIX_PRINT_DEBUG_MEM_HEAP", [] {
        std::string bad;
        HostBlock block(1 << 16);
        const std::string set = outputOf([&] { VxSetHeapMemoryPtr(block.base, block.size); });
        bad += expectSame(
            "set", set,
            fmt("Initialised Heap with Ptr[%x] Data Size[%lu]\n", hex32(block.base), block.size) +
                statsLine());
        const unsigned h = hex32(heap().heapSpace);
        const std::string before = usage();
        TestTexture* cached = nullptr;
        const std::string alloc = outputOf([&] { cached = new TestTexture(1000); });
        bad += expectSame("alloc", alloc,
                          fmt("Calling the Heap Malloc of [1000] bytes\n"
                              "Requesting[1000] bytes from heap[%x] %s\n"
                              "Succesful request for [1000] bytes=[%x]. %s\n",
                              h, before.c_str(), hex32(cached->data), usage().c_str()));
        void* p = VxImgAlloc(64);
        const std::string freed = releaseLine(p); // the numbers before the free
        bad += expectSame("free", outputOf([&] { VxImgFree(p); }),
                          freed + fmt("Calling the Heap Free for [%x]\n", hex32(p)));
        VxDisableHeapMemory();
        const std::string fail = "HEAP FAIL! VxHeapMemoryMalloc said no\n"
                                 "HEAP FAIL! Insufficient space in heap\n";
        bad += expectSame("disabled", outputOf([] { VxMallocFromHeap(10); }), fail);
        VxEnableHeapMemory();
        // One cached image: moved, and its old buffer freed through the heap,
        // so the counts balance and no count check is written.
        const unsigned old = hex32(cached->data);
        const std::string moved = releaseLine(cached->data);
        bad += expectSame("release", outputOf([] { VxReleaseHeapMemoryPtr(); }),
                          moved +
                              "Moving heap data that persists to system memory, assuming "
                              "intentionally cached.\n"
                              "Calling the Heap Malloc of [1000] bytes\n" +
                              fail +
                              fmt("Calling the Heap Free for [%x]\n"
                                  "Reallocating [%x].\n"
                                  "Reallocation completed.\n"
                                  "Releasing heap [%x] and setting to NULL\n",
                                  old, old, h));
        bad += expectSame("no heap", outputOf([] {
                              VxMallocFromHeap(10);
                              VxReleaseHeapMemoryPtr();
                          }),
                          "HEAP FAIL! No Heap, so using system memory\n" + fail +
                              "ERROR heap [NULL] prior to VxReleaseHeapMemoryPtr\n");
        outputOf([&] { delete cached; });
        return bad;
    });
}

} // namespace
