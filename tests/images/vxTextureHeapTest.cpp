// Textures cached in the heap survive its release: random textures made in a
// host block, some dropped, then the heap released and the block scribbled on.
#include "vxTexture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

namespace {

TEST(VxTextureHeap, CachedTexturesKeepTheirPixelsInSystemMemory) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 rng(seed);
        const std::size_t size = 1 << 20;
        std::vector<unsigned char> block(size + 64);
        unsigned char* const base =
            block.data() + (64 - reinterpret_cast<std::uintptr_t>(block.data()) % 64);
        auto inBlock = [&](const void* p) { return p >= base && p < base + size; };
        VxSetHeapMemoryPtr(base, size);
        std::vector<std::pair<std::unique_ptr<VxTexture<float, float>>, std::vector<float>>> cached;
        for (int step = 0; step < 40; ++step) {
            if (rng() % 4 == 0 && !cached.empty()) {
                cached.erase(cached.begin() + long(rng() % cached.size()));
                continue;
            }
            auto t = std::make_unique<VxTexture<float, float>>(1 + rng() % 60, 1 + rng() % 60);
            t->MakeData();
            ASSERT_TRUE(inBlock(t->data));
            std::vector<float> p(std::size_t(t->xIndexer.resolution) * t->yIndexer.resolution);
            for (std::size_t i = 0; i < p.size(); ++i)
                t->data[i] = p[i] = float(rng() % 1000);
            cached.emplace_back(std::move(t), std::move(p));
        }
        // A chain over system pixels: its levels live in the heap.
        std::vector<float> top(64 * 32, 2.0f);
        VxMipTex<float, float> mip(64, 32, top.data());
        ASSERT_TRUE(inBlock(mip.levels[1]->data));

        testing::internal::CaptureStderr();
        VxReleaseHeapMemoryPtr();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        std::fill(block.begin(), block.end(), 0xdd);
        EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
        for (auto& [t, p] : cached) {
            // Moved out deliberately as a bare copy: no geometry, not owned.
            ASSERT_FALSE(inBlock(t->data));
            EXPECT_TRUE(std::equal(p.begin(), p.end(), t->data)) << seed;
            EXPECT_EQ(std::make_tuple(t->xIndexer.resolution, t->yIndexer.resolution, t->ownsData),
                      std::make_tuple(0, 0, 0));
            VxImgFree(t->data);
        }
        // Chain levels keep their geometry and their buffers.
        ASSERT_EQ(mip.levelCount, 7);
        for (int k = 1; k < mip.levelCount; ++k)
            EXPECT_EQ(std::make_tuple(inBlock(mip.levels[k]->data),
                                      mip.levels[k]->xIndexer.resolution, mip.levels[k]->data[0]),
                      std::make_tuple(false, 64 >> k, 2.0f));
        EXPECT_EQ(mip.AreaSample(0, 0, 64, 32), 2.0f);
    }
}

} // namespace
