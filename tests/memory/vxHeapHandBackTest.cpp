// The hand-back: releasing the heap moves every registered texture that lives
// in it to system memory, pixel for pixel, whatever came before.
#include "vxHeapTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using Ptrs = std::vector<void*>;

// A notifier without a Reallocate of its own cannot move its data.
class Stuck final : public VxTexNotifier {
public:
    void* GetVoidData() const override { return data; }
    void* data = VxImgAlloc(32);
};

TEST(HeapHandBack, MovesWhatItCanOnceAndReportsTheRest) {
    auto block = std::make_unique<HostBlock>(1 << 16);
    VxSetHeapMemoryPtr(block->base, block->size);
    TestTexture image(4000);
    Stuck stuck;
    ASSERT_TRUE(block->holds(image.data) && block->holds(stuck.data));
    std::memset(image.data, 0x5a, 4000);
    CaptureStderr();
    VxMoveHeapMemoryToSystemMemory();
    EXPECT_EQ(GetCapturedStderr(), fmt("Veltrix Warning : notifier [%x] left its data [%x] in the "
                                       "heap. It will not survive the release.\n",
                                       hex32(&stuck), hex32(stuck.data)));
    VxImgFree(stuck.data);
    CaptureStderr();
    VxReleaseHeapMemoryPtr(); // moves nothing twice; the counts balance
    EXPECT_EQ(GetCapturedStderr(), "");
    block.reset(); // the host takes its block back
    EXPECT_EQ(image.moves, 1);
    EXPECT_TRUE(
        std::all_of(image.data, image.data + 4000, [](unsigned char c) { return c == 0x5a; }));
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
}

// A Reallocate that destroys textures listed before and after it and makes a
// new one, handing it its heap buffer: the walk neither skips the next
// notifier, nor reaches the destroyed one, nor misses the new one, nor waits
// on itself, nor starts again inside itself.
class Juggler final : public VxTexNotifier {
public:
    Juggler(std::unique_ptr<TestTexture>& a, std::unique_ptr<TestTexture>& b)
        : before(a), later(b) {}
    ~Juggler() {
        Unregister();
        VxImgFree(data);
    }
    int Reallocate() override {
        VxMoveHeapMemoryToSystemMemory(); // from inside the walk: does nothing
        before.reset();
        later.reset();
        made = std::make_unique<TestTexture>(8);
        VxImgFree(made->data);
        made->data = static_cast<unsigned char*>(data);
        data = VxImgAlloc(32);
        return 1;
    }
    void* GetVoidData() const override { return data; }
    std::unique_ptr<TestTexture>&before, &later;
    std::unique_ptr<TestTexture> made;
    void* data = VxImgAlloc(32);
};

TEST(HeapHandBack, AReallocateMayMakeAndDestroyTextures) {
    auto block = std::make_unique<HostBlock>(1 << 16);
    VxSetHeapMemoryPtr(block->base, block->size);
    auto before = std::make_unique<TestTexture>(16);
    std::unique_ptr<TestTexture> later;
    Juggler juggler(before, later);
    TestTexture after(16);
    later = std::make_unique<TestTexture>(16);
    VxReleaseHeapMemoryPtr();
    EXPECT_EQ(before, nullptr);
    EXPECT_EQ(later, nullptr);
    EXPECT_EQ(after.moves, 1);
    ASSERT_NE(juggler.made, nullptr);
    EXPECT_EQ(juggler.made->moves, 1);
    EXPECT_FALSE(block->holds(juggler.data) || block->holds(after.data) ||
                 block->holds(juggler.made->data));
}

// Random textures, plain buffers, disable/enable, releases and replacements.
// At each release the count report matches the records left behind, and every
// texture keeps its pixels outside the old block, which is then scribbled over
// as a host reusing it would. Leaks of system memory are LeakSanitizer's.
TEST(HeapHandBack, RandomSequencesLoseNothing) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 rng(seed);
        std::vector<std::pair<std::unique_ptr<TestTexture>, std::vector<unsigned char>>> textures;
        Ptrs buffers; // plain image buffers, not registered
        std::unique_ptr<HostBlock> block;
        int releases = 0;
        // Releases the heap, or replaces it when `next` is a block.
        auto change = [&](std::unique_ptr<HostBlock> next) {
            // Each record is a live texture or buffer in the block, or the null
            // of a failed request; all but the textures are left behind.
            Ptrs owned, listed = VxGetHeapState().gHeapAllocations;
            for (auto& t : textures)
                if (block && block->holds(t.first->data))
                    owned.push_back(t.first->data);
            const std::size_t moving = owned.size();
            for (void* p : buffers)
                if (block && block->holds(p))
                    owned.push_back(p);
            owned.resize(owned.size() + std::count(listed.begin(), listed.end(), nullptr));
            const long left = static_cast<long>(owned.size() - moving);
            std::sort(owned.begin(), owned.end());
            std::sort(listed.begin(), listed.end());
            EXPECT_EQ(owned, listed);
            CaptureStderr(); // a replacement announces itself
            if (next)
                VxSetHeapMemoryPtr(next->base, next->size);
            else
                VxReleaseHeapMemoryPtr();
            const std::string err = GetCapturedStderr();
            const bool reported = err.find(fmt("reallocation count [%ld]", left)) != err.npos;
            EXPECT_EQ(reported, left > 0) << err;
            EXPECT_TRUE(next || err.empty() == (left == 0)) << err;
            std::swap(block, next);
            if (!next)
                return;
            ++releases;
            for (auto& [texture, pixels] : textures) {
                ASSERT_FALSE(next->holds(texture->data) || VxWasAllocatedFromHeap(texture->data));
                ASSERT_TRUE(std::equal(pixels.begin(), pixels.end(), texture->data));
            }
            // Plain buffers left in the heap went with the block.
            buffers.erase(std::remove_if(buffers.begin(), buffers.end(),
                                         [&](void* b) { return next->holds(b); }),
                          buffers.end());
            ASSERT_EQ(VxMemoryHeapChunkCount(), 0);
            std::fill(next->base, next->base + next->size, 0xdd);
        };
        auto newBlock = [&] { return std::make_unique<HostBlock>(16384 + rng() % 300000); };

        change(newBlock());
        for (int step = 0; step < 400; ++step) {
            const unsigned op = rng() % 100;
            if (op >= 94) {
                change(op < 97 && block ? nullptr : newBlock());
                continue;
            }
            CaptureStderr(); // a request too big for the heap reports itself
            if (op < 30) {
                const int n = static_cast<int>(rng() % (rng() % 4 ? 3000 : 60000));
                auto t = std::make_unique<TestTexture>(n);
                std::generate_n(t->data, n, [&] { return static_cast<unsigned char>(rng()); });
                std::vector<unsigned char> pixels(t->data, t->data + n);
                textures.emplace_back(std::move(t), std::move(pixels));
            } else if (op < 45 && !textures.empty()) {
                textures.erase(textures.begin() + rng() % textures.size());
            } else if (op < 65) {
                buffers.push_back(VxImgAlloc(static_cast<int>(rng() % 5000)));
            } else if (op < 80 && !buffers.empty()) {
                const std::size_t i = rng() % buffers.size();
                VxImgFree(buffers[i]);
                buffers.erase(buffers.begin() + i);
            } else if (op < 88) {
                VxDisableHeapMemory();
            } else {
                VxEnableHeapMemory();
            }
            GetCapturedStderr();
        }
        if (block)
            change(nullptr);
        for (void* b : buffers)
            VxImgFree(b);
        textures.clear();
        EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
        EXPECT_GT(releases, 0);
    }
}

} // namespace
