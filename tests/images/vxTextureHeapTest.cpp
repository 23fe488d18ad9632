// Textures cached in the heap survive its release: random textures made in a
// host block, some dropped, then the heap released.
#include "vxTexture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

TEST(VxTextureHeap, CachedTexturesKeepTheirPixelsInSystemMemory) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 rng(seed);
        const std::size_t size = 1 << 20;
        std::vector<unsigned char> block(size + 64);
        unsigned char* const base =
            block.data() + (64 - reinterpret_cast<std::uintptr_t>(block.data()) % 64);
        auto inBlock = [&](const void* p) {
            return p >= static_cast<const void*>(base) && p < static_cast<const void*>(base + size);
        };
        VxSetHeapMemoryPtr(base, size);
        std::vector<std::unique_ptr<VxTexture<float, float>>> textures;
        std::vector<std::vector<float>> pixels;
        for (int step = 0; step < 40; ++step) {
            if (rng() % 4 == 0 && !textures.empty()) {
                const std::size_t i = rng() % textures.size();
                textures.erase(textures.begin() + static_cast<long>(i));
                pixels.erase(pixels.begin() + static_cast<long>(i));
                continue;
            }
            auto t = std::make_unique<VxTexture<float, float>>(1 + rng() % 60, 1 + rng() % 60);
            t->MakeData();
            ASSERT_TRUE(inBlock(t->data)); // the block is large enough for all of them
            std::vector<float> p(static_cast<std::size_t>(t->xIndexer.resolution) *
                                 t->yIndexer.resolution);
            for (std::size_t i = 0; i < p.size(); ++i)
                t->data[i] = p[i] = static_cast<float>(rng() % 1000);
            textures.push_back(std::move(t));
            pixels.push_back(std::move(p));
        }
        // A mip chain over system pixels: its levels live in the heap.
        std::vector<float> top(64 * 32, 2.0f);
        VxMipTex<float, float> mip(64, 32, top.data());
        ASSERT_TRUE(inBlock(mip.levels[1]->data));

        testing::internal::CaptureStderr();
        VxReleaseHeapMemoryPtr();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        std::fill(block.begin(), block.end(), 0xdd); // the host reuses its block
        EXPECT_EQ(VxMemoryHeapChunkCount(), 0);
        for (std::size_t i = 0; i < textures.size(); ++i) {
            VxTexture<float, float>& t = *textures[i];
            ASSERT_FALSE(inBlock(t.data));
            EXPECT_TRUE(std::equal(pixels[i].begin(), pixels[i].end(), t.data)) << seed;
            // Moved out deliberately as a bare copy: no geometry, not owned.
            EXPECT_EQ(t.xIndexer.resolution, 0);
            EXPECT_EQ(t.yIndexer.resolution, 0);
            EXPECT_EQ(t.ownsData, 0);
            VxImgFree(t.data);
        }
        // Chain levels keep their geometry and their buffers.
        ASSERT_EQ(mip.levelCount, 7);
        for (int k = 1; k < mip.levelCount; ++k) {
            EXPECT_FALSE(inBlock(mip.levels[k]->data));
            EXPECT_EQ(mip.levels[k]->xIndexer.resolution, 64 >> k);
            EXPECT_EQ(mip.levels[k]->data[0], 2.0f);
        }
        EXPECT_EQ(mip.AreaSample(0, 0, 64, 32), 2.0f);
    }
}

} // namespace
