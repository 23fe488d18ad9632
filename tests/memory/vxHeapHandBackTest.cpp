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

TEST(HeapHandBack, OneCachedImageMovesOnceWithoutCountWarnings) {
    auto block = std::make_unique<HostBlock>(1 << 16);
    VxSetHeapMemoryPtr(block->base, block->size);
    TestTexture image(4000);
    ASSERT_TRUE(block->holds(image.data));
    std::memset(image.data, 0x5a, 4000);
    CaptureStderr();
    VxReleaseHeapMemoryPtr();
    EXPECT_EQ(GetCapturedStderr(), "");
    block.reset(); // the host takes its block back
    EXPECT_EQ(image.moves, 1);
    EXPECT_TRUE(
        std::all_of(image.data, image.data + 4000, [](unsigned char c) { return c == 0x5a; }));
    EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
}

// A notifier without a Reallocate of its own cannot move its data.
class Stuck final : public VxTexNotifier {
public:
    void* GetVoidData() const override { return data; }
    void* data = VxImgAlloc(32);
};

TEST(HeapHandBack, DataANotifierCannotMoveIsReported) {
    HostBlock block(1 << 16);
    VxSetHeapMemoryPtr(block.base, block.size);
    Stuck stuck;
    CaptureStderr();
    VxMoveHeapMemoryToSystemMemory();
    EXPECT_EQ(GetCapturedStderr(), fmt("Veltrix Warning : notifier [%x] left its data [%x] in the "
                                       "heap. It will not survive the release.\n",
                                       hex32(&stuck), hex32(stuck.data)));
    VxImgFree(stuck.data);
    VxReleaseHeapMemoryPtr();
}

struct Model {
    std::unique_ptr<TestTexture> texture;
    std::vector<unsigned char> pixels;
};

// Random allocations, cached textures, frees, disable/enable, releases and
// replacements. After every release each surviving texture must hold exactly
// its pixels, outside the old block; the block is then scribbled over, as a
// host reusing it would. Leaks of system memory are LeakSanitizer's to find.
TEST(HeapHandBack, RandomSequencesLoseNothing) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 rng(seed);
        std::vector<Model> textures;
        std::vector<void*> buffers; // plain image buffers, not registered
        std::unique_ptr<HostBlock> block;
        int releases = 0;

        // Every record in the heap's list belongs to a live owner in the block:
        // a texture or a plain buffer, or is the null of a failed request.
        // Returns how many will be left behind (and so reported) at release.
        auto leftBehind = [&](const HostBlock& b) {
            std::vector<void*> owned, listed = VxGetHeapState().gHeapAllocations;
            for (const Model& m : textures)
                if (b.holds(m.texture->data))
                    owned.push_back(m.texture->data);
            long left = 0;
            for (void* p : buffers)
                if (b.holds(p)) {
                    owned.push_back(p);
                    ++left;
                }
            for (void* p : listed)
                if (p == nullptr) {
                    owned.push_back(p);
                    ++left;
                }
            std::sort(owned.begin(), owned.end());
            std::sort(listed.begin(), listed.end());
            EXPECT_EQ(owned, listed) << "seed " << seed;
            return left;
        };
        // Both return the block that was released, if any.
        auto install = [&] {
            const long left = block ? leftBehind(*block) : 0;
            auto next = std::make_unique<HostBlock>(16384 + rng() % 300000);
            CaptureStderr(); // a replacement announces itself
            VxSetHeapMemoryPtr(next->base, next->size);
            const std::string err = GetCapturedStderr();
            EXPECT_EQ(err.find(fmt("reallocation count [%ld]", left)) != std::string::npos,
                      left > 0)
                << err;
            std::swap(block, next);
            return next;
        };
        auto release = [&] {
            const long left = leftBehind(*block);
            CaptureStderr();
            VxReleaseHeapMemoryPtr();
            const std::string err = GetCapturedStderr();
            EXPECT_EQ(err.find(fmt("reallocation count [%ld]", left)) != std::string::npos,
                      left > 0)
                << err;
            EXPECT_EQ(err.empty(), left == 0) << err;
            return std::move(block);
        };
        auto checkAfterRelease = [&](const HostBlock& gone) {
            ++releases;
            for (const Model& m : textures) {
                ASSERT_FALSE(gone.holds(m.texture->data)) << "seed " << seed;
                ASSERT_FALSE(VxWasAllocatedFromHeap(m.texture->data));
                ASSERT_TRUE(std::equal(m.pixels.begin(), m.pixels.end(), m.texture->data))
                    << "seed " << seed;
            }
            // Plain buffers left in the heap went with the block (the count
            // check reported them); the rest are system memory.
            buffers.erase(std::remove_if(buffers.begin(), buffers.end(),
                                         [&](void* b) { return gone.holds(b); }),
                          buffers.end());
            ASSERT_EQ(VxMemoryHeapChunkCount(), 0);
            std::fill(gone.base, gone.base + gone.size, 0xdd);
        };

        install();
        for (int step = 0; step < 400; ++step) {
            const unsigned op = rng() % 100;
            if (op < 30) {
                const int n = static_cast<int>(rng() % (rng() % 4 ? 3000 : 60000));
                CaptureStderr(); // a request too big for the heap reports itself
                Model m{std::make_unique<TestTexture>(n), std::vector<unsigned char>(n)};
                GetCapturedStderr();
                for (auto& c : m.pixels)
                    c = static_cast<unsigned char>(rng());
                std::copy(m.pixels.begin(), m.pixels.end(), m.texture->data);
                textures.push_back(std::move(m));
            } else if (op < 45 && !textures.empty()) {
                textures.erase(textures.begin() + rng() % textures.size());
            } else if (op < 65) {
                CaptureStderr();
                buffers.push_back(VxImgAlloc(static_cast<int>(rng() % 5000)));
                GetCapturedStderr();
            } else if (op < 80 && !buffers.empty()) {
                const std::size_t i = rng() % buffers.size();
                VxImgFree(buffers[i]);
                buffers.erase(buffers.begin() + i);
            } else if (op < 88) {
                VxDisableHeapMemory();
            } else if (op < 94) {
                VxEnableHeapMemory();
            } else if (!block) {
                install();
            } else {
                // A replacement releases the old heap first.
                const std::unique_ptr<HostBlock> gone = op < 97 ? release() : install();
                checkAfterRelease(*gone);
            }
        }
        if (block)
            checkAfterRelease(*release());
        for (void* b : buffers)
            VxImgFree(b);
        textures.clear();
        EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
        EXPECT_GT(releases, 0);
    }
}

} // namespace
