// The managed heap: modes, allocation bookkeeping, refusals of bad input, the
// log lines byte for byte, and the environment switches (in fresh processes).
#include "vxHeapTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

const VxHeapState& heap() {
    return VxGetHeapState();
}

// Declared first: in a whole-binary run this still sees the state at load.
TEST(Heap, BeforeAnySetEverythingIsSystemMemory) {
    EXPECT_EQ(heap().heapMode, 0);
    EXPECT_EQ(heap().heapSpace, nullptr);
    CaptureStderr();
    void* p = VxImgAlloc(100);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
    EXPECT_FALSE(VxWasAllocatedFromHeap(p));
    VxImgFree(p);
    VxImgFree(nullptr);
    EXPECT_FALSE(VxHeapMemoryMalloc());
    EXPECT_FALSE(VxHeapMemoryFree());
    EXPECT_TRUE(VxSufficientSpaceInHeap(1ul << 40)); // no clamp: the test is off
    EXPECT_EQ(VxCurrentAvailableHeapSpace(), 0u);
    EXPECT_EQ(GetCapturedStderr(), "");
    CaptureStderr();
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
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(c) % 64, 0u);
    EXPECT_EQ(heap().gHeapAllocations, (std::vector<void*>{a, b, c}));
    EXPECT_LT(VxCurrentAvailableHeapSpace(), fresh.avail);

    VxDisableHeapMemory();
    EXPECT_EQ(heap().heapMode, 1);
    EXPECT_FALSE(VxHeapMemoryMalloc());
    void* sys = VxImgAlloc(64);
    EXPECT_FALSE(block.holds(sys));
    VxImgFree(sys);
    VxImgFree(b); // freeing still works while disabled
    EXPECT_EQ(heap().gHeapAllocations, (std::vector<void*>{a, c}));
    VxEnableHeapMemory();
    EXPECT_EQ(heap().heapMode, 2);

    // The list operations on their own keep the order of the rest.
    VxAppendToHeapList(b);
    VxRemoveFromHeapList(a);
    EXPECT_EQ(heap().gHeapAllocations, (std::vector<void*>{c, b}));
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
    void* after = VxImgAlloc(10);
    EXPECT_FALSE(block.holds(after));
    VxImgFree(after);
    VxEnableHeapMemory();
    EXPECT_EQ(heap().heapMode, 1); // nothing to enable
}

TEST(Heap, SetRefusesUnusableBlocksAndReplacesAnOldHeap) {
    HostBlock first(1 << 16), second(1 << 16), tiny(100);
    CaptureStderr();
    VxSetHeapMemoryPtr(nullptr, 1 << 20);
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(heap().heapMode, 1);
    CaptureStderr();
    VxSetHeapMemoryPtr(tiny.base, tiny.size);
    const std::string err = GetCapturedStderr();
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 2) << err;
    EXPECT_NE(err.find("Heap space creation failed! No heap will be available!\n"),
              std::string::npos);
    EXPECT_EQ(heap().heapMode, 1);
    EXPECT_EQ(heap().heapSpace, nullptr);

    VxSetHeapMemoryPtr(first.base, first.size);
    TestTexture cached(300);
    ASSERT_TRUE(first.holds(cached.data));
    const void* oldHandle = heap().heapSpace;
    CaptureStderr();
    VxSetHeapMemoryPtr(second.base, second.size);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Warning : current heap ptr[%x] being replaced by new heap ptr[%x] "
                  "releasing current.\n",
                  hex32(oldHandle), hex32(second.base)));
    EXPECT_EQ(cached.moves, 1);
    EXPECT_FALSE(first.holds(cached.data) || second.holds(cached.data));
    EXPECT_EQ(heap().heapMode, 2);
    EXPECT_EQ(heap().mallocCount, 0);
    VxReleaseHeapMemoryPtr();
}

TEST(Heap, UnclampedOversizeRequestIsRecordedAndReportedAtRelease) {
    HostBlock block(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    const HeapStats st = heapStats();
    CaptureStderr();
    EXPECT_EQ(VxMallocFromHeap(block.size * 2), nullptr);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Error : Insufficient memory available for request of size [%d]\n",
                  i32(block.size * 2)) +
                  fmt("FAILED request for [%d] bytes=[NULL]. (Total[0] Used[%d] Available[%d])\n",
                      i32(block.size * 2), i32(st.total), i32(st.inUse)) +
                  statsLine());
    EXPECT_EQ(heap().gHeapAllocations, (std::vector<void*>{nullptr}));
    EXPECT_EQ(heap().mallocCount, 1);
    CaptureStderr();
    VxHeapError(7);
    const std::string check = "Veltrix Warning : Heap Manager Error.\n"
                              "Veltrix Warning : Mallocd[1] Freed[0] Heap Error[1]\n";
    EXPECT_EQ(GetCapturedStderr(),
              check + "Veltrix Warning : reallocation count [7]\n" + statsLine());
    const std::string stats = statsLine();
    CaptureStderr();
    VxReleaseHeapMemoryPtr();
    EXPECT_EQ(GetCapturedStderr(), check + "Veltrix Warning : reallocation count [1]\n" + stats);
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0); // reported, then dropped with the block
}

TEST(Heap, BadInputGetsOneLineAndNoCrash) {
    HostBlock block(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    void* p = VxImgAlloc(100);
    int local = 0;
    CaptureStderr();
    EXPECT_EQ(VxImgAlloc(-5), nullptr);
    VxImgFree(p);
    VxImgFree(p); // twice: lies in the heap, so never reaches the system
    VxRemoveFromHeapList(&local);
    EXPECT_FALSE(VxFreeFromHeap(&local));
    const std::string err = GetCapturedStderr();
    EXPECT_EQ(err, fmt("Veltrix Error : VxImgAlloc of a negative size [-5]. No buffer "
                       "allocated.\n"
                       "Veltrix Error : VxImgFree of [%x], which is in the heap but not a live "
                       "heap buffer (freed twice?). Ignored.\n"
                       "Veltrix Warning : VxRemoveFromHeapList of [%x], which is not in the heap "
                       "list. Nothing removed.\n",
                       hex32(p), hex32(&local)));
    // A system buffer listed by hand is handed back to the system.
    void* sys = new char[8];
    VxAppendToHeapList(sys);
    CaptureStderr();
    VxImgFree(sys);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Veltrix Warning : VxFreeFromHeap of [%x], which is listed but not in the "
                  "heap. Record dropped.\n",
                  hex32(sys)));
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
    VxReleaseHeapMemoryPtr();
}

TEST(Heap, RequestResultAndReleaseLinesAreExact) {
    HostBlock block(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    const void* h = heap().heapSpace;
    HeapStats s = heapStats();
    CaptureStderr();
    VxLogPreMallocRequest(123);
    VxLogPostMallocRequest(123, block.base);
    EXPECT_EQ(GetCapturedStderr(),
              fmt("Requesting[123] bytes from heap[%x] (Total[%d] Used[%d] Available[%d])\n"
                  "Succesful request for [123] bytes=[%x]. (Total[%d] Used[%d] Available[%d])\n",
                  hex32(h), i32(s.total), i32(s.inUse), i32(s.avail), hex32(block.base),
                  i32(s.total), i32(s.inUse), i32(s.avail)));
    CaptureStdout();
    VxLogPreFreeRequest(block.base);
    std::ostringstream line;
    line << "Releasing[" << static_cast<void*>(block.base) << "] from heap[" << h << "] (Total["
         << s.total << "] Used[" << s.inUse << "] Available[" << s.avail << "])\n";
    EXPECT_EQ(GetCapturedStdout(), line.str());
    VxReleaseHeapMemoryPtr();
}

TEST(TexNotifier, RegistersForItsLifeOutsideForks) {
    const std::size_t before = heap().gNotifiers.size();
    auto* a = new TestTexture(10);
    auto* b = new TestTexture(10);
    {
        const TestTexture& constB = *b;
        EXPECT_EQ(constB.GetVoidData(), b->data);
    }
    EXPECT_EQ(heap().gNotifiers.size(), before + 2);
    EXPECT_EQ(heap().gNotifiers[before], a);
    EXPECT_EQ(heap().gNotifiers[before + 1], b);
    delete a;
    EXPECT_EQ(heap().gNotifiers.back(), b);
    delete b;
    EXPECT_EQ(heap().gNotifiers.size(), before);
}

// ---------------------------------------------------------------------------
// Environment switches: each runs in a fresh process that inherits the variable.
// ---------------------------------------------------------------------------

class HeapEnvironment : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    void TearDown() override { unsetenv(variable); }
    void use(const char* name) {
        variable = name;
        setenv(name, "", 1); // presence is all that counts
    }
    const char* variable = "";
};

[[noreturn]] void finish(const std::string& failures) {
    std::fputs(failures.c_str(), stderr);
    std::exit(failures.empty() ? 0 : 1);
}

std::string expectSame(const std::string& what, const std::string& got, const std::string& want) {
    return got == want ? "" : what + ":\n got: " + got + "\nwant: " + want + "\n";
}

TEST_F(HeapEnvironment, DisableMakesSetInertAndSilent) {
    use("VELTRIX_DISABLE_HEAP_MEMORY");
    EXPECT_EXIT(
        {
            HostBlock block(1 << 16);
            CaptureStderr();
            VxSetHeapMemoryPtr(block.base, block.size);
            void* p = VxImgAlloc(100);
            const bool inert = heap().heapMode == 0 && !block.holds(p) && heap().disableHeap;
            VxImgFree(p);
            finish(expectSame("stderr", GetCapturedStderr(), "") + (inert ? "" : "heap set\n"));
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(HeapEnvironment, ClampRefusesRequestsOfAvailOrMore) {
    use("VELTRIX_CLAMP_HEAP_MEMORY");
    EXPECT_EXIT(
        {
            std::string bad;
            HostBlock block(1 << 16);
            VxSetHeapMemoryPtr(block.base, block.size);
            const unsigned long avail = VxCurrentAvailableHeapSpace();
            if (VxSufficientSpaceInHeap(avail) || heap().lastInsufficient != 1)
                bad += "exactly Avail accepted\n";
            if (!VxSufficientSpaceInHeap(avail - 1) || heap().lastInsufficient != 0)
                bad += "Avail - 1 refused\n";
            if (VxMallocFromHeap(avail) != nullptr || VxMemoryHeapChunkCount() != 0)
                bad += "clamped request reached the heap\n";
            void* p = VxMallocFromHeap(avail - 32); // exactly the top chunk
            if (!block.holds(p) || VxCurrentAvailableHeapSpace() != 16)
                bad += "largest request failed\n";
            VxImgFree(p);
            VxReleaseHeapMemoryPtr();
            if (VxSufficientSpaceInHeap(1) || heap().lastInsufficient != 1)
                bad += "no heap, yet space\n";
            finish(bad);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(HeapEnvironment, DebugWritesEveryLineExactly) {
    use("VELTRIX_PRINT_DEBUG_MEM_HEAP");
    EXPECT_EXIT(
        {
            std::string bad;
            HostBlock block(1 << 16);
            CaptureStderr();
            VxSetHeapMemoryPtr(block.base, block.size);
            const void* h = heap().heapSpace;
            bad += expectSame("set", GetCapturedStderr(),
                              fmt("Initialised Heap with Ptr[%x] Data Size[%d]\n",
                                  hex32(block.base), i32(block.size)) +
                                  statsLine());
            auto usage = [] {
                const HeapStats s = heapStats();
                return fmt("(Total[%d] Used[%d] Available[%d])", i32(s.total), i32(s.inUse),
                           i32(s.avail));
            };
            std::string before = usage();
            CaptureStderr();
            auto* cached = new TestTexture(1000);
            bad += expectSame(
                "alloc", GetCapturedStderr(),
                fmt("Calling the Heap Malloc of [1000] bytes\n"
                    "Requesting[1000] bytes from heap[%x] ",
                    hex32(h)) +
                    before +
                    fmt("\nSuccesful request for [1000] bytes=[%x]. ", hex32(cached->data)) +
                    usage() + "\n");
            void* p = VxImgAlloc(64);
            std::ostringstream release;
            release << "Releasing[" << p << "] from heap[" << h << "] " << usage() << "\n";
            CaptureStderr();
            CaptureStdout();
            VxImgFree(p);
            bad += expectSame("free stdout", GetCapturedStdout(), release.str());
            bad += expectSame("free", GetCapturedStderr(),
                              fmt("Calling the Heap Free for [%x]\n", hex32(p)));

            VxDisableHeapMemory();
            CaptureStderr();
            VxMallocFromHeap(10);
            bad += expectSame("disabled", GetCapturedStderr(),
                              "HEAP FAIL! VxHeapMemoryMalloc said no\n"
                              "HEAP FAIL! Insufficient space in heap\n");
            VxEnableHeapMemory();

            // Release with one cached image: it is moved and its old buffer
            // freed through the heap, so the counts balance.
            void* old = cached->data;
            std::ostringstream moved;
            moved << "Releasing[" << old << "] from heap[" << h << "] " << usage() << "\n";
            CaptureStderr();
            CaptureStdout();
            VxReleaseHeapMemoryPtr();
            bad += expectSame("release stdout", GetCapturedStdout(), moved.str());
            bad += expectSame(
                "release", GetCapturedStderr(),
                fmt("Moving heap data that persists to system memory, assuming intentionally "
                    "cached.\n"
                    "Calling the Heap Malloc of [1000] bytes\n"
                    "HEAP FAIL! VxHeapMemoryMalloc said no\n"
                    "HEAP FAIL! Insufficient space in heap\n"
                    "Calling the Heap Free for [%x]\n"
                    "Reallocating [%x].\n"
                    "Reallocation completed.\n"
                    "Releasing heap [%x] and setting to NULL\n",
                    hex32(old), hex32(old), hex32(h)));
            CaptureStderr();
            VxMallocFromHeap(10);
            VxReleaseHeapMemoryPtr();
            bad += expectSame("no heap", GetCapturedStderr(),
                              "HEAP FAIL! No Heap, so using system memory\n"
                              "HEAP FAIL! VxHeapMemoryMalloc said no\n"
                              "HEAP FAIL! Insufficient space in heap\n"
                              "ERROR heap [NULL] prior to VxReleaseHeapMemoryPtr\n");
            CaptureStderr();
            delete cached;
            GetCapturedStderr();
            finish(bad);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
