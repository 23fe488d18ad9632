// Textures register with the heap from any thread, and none outlives its entry.
#include "vxHeap.h"
#include "vxHost.h"
#include "vxMosaic.h"
#include "vxStandaloneHost.h"
#include "vxTexNotifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

bool registered(const VxTexNotifier* n) {
    const std::vector<VxTexNotifier*> list = VxRegisteredTexNotifiers();
    return std::find(list.begin(), list.end(), n) != list.end();
}

TEST(TexNotifierThreads, MapsMadeAndDeletedInSeveralThreads) {
    const std::size_t before = VxRegisteredTexNotifiers().size();
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&ready] {
            // All three start together, so that their changes to the list overlap.
            ++ready;
            while (ready.load() < 3)
                std::this_thread::yield();
            for (int i = 0; i < 10000; ++i)
                delete VxMosaicSquares(2, 2);
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(VxRegisteredTexNotifiers().size(), before);
}

// A notifier deleted in one thread while a heap release in another is moving
// it: the deletion waits for the move to finish.
std::atomic<bool> inside{false}, deleting{false}, destroyed{false}, destroyedDuringMove{false};
void* leftover = nullptr; // freed once the release is over: the heap itself has no lock

class Slow final : public VxTexNotifier {
public:
    ~Slow() {
        Unregister();
        destroyed = true;
        leftover = data;
    }
    int Reallocate() override {
        inside = true;
        while (!deleting)
            std::this_thread::yield();
        for (int i = 0; i < 200; ++i) // room for the deletion to run ahead
            std::this_thread::yield();
        destroyedDuringMove = destroyed.load();
        void* fresh = VxImgAlloc(64);
        VxImgFree(data);
        data = fresh;
        return 1;
    }
    void* GetVoidData() const override { return data; }
    void* data = VxImgAlloc(64);
};

TEST(TexNotifierThreads, DeletionWaitsForAReleaseMovingIt) {
    std::vector<unsigned char> block(1 << 16);
    VxSetHeapMemoryPtr(block.data(), block.size());
    Slow* slow = new Slow;
    std::thread release([] { VxReleaseHeapMemoryPtr(); });
    while (!inside)
        std::this_thread::yield();
    deleting = true;
    delete slow;
    release.join();
    EXPECT_FALSE(destroyedDuringMove.load());
    VxImgFree(leftover);
}

void deleteInWorker(VxMosaicMap** maps) {
    delete maps[VxMpGetID()];
    maps[VxMpGetID()] = nullptr;
}

TEST(TexNotifierThreads, DestroyedInAForkLeavesTheList) {
    VxStandaloneHostSetWorkers(2);
    SpMpSetSize(2, 1, 2);
    VxMosaicMap* maps[2] = {VxMosaicSquares(4, 4), VxMosaicSquares(4, 4)};
    const VxTexNotifier* gone[2] = {maps[0], maps[1]};
    ASSERT_TRUE(registered(gone[0]) && registered(gone[1]));
    VxMpFork(reinterpret_cast<VxMpWork>(&deleteInWorker), 1, maps);
    EXPECT_FALSE(registered(gone[0]));
    EXPECT_FALSE(registered(gone[1]));

    // Made inside a fork: not registered, as before.
    VxMosaicMap* kept = nullptr;
    VxMpFork(reinterpret_cast<VxMpWork>(+[](VxMosaicMap** out) {
                 if (VxMpGetID() == 0)
                     *out = VxMosaicSquares(4, 4);
             }),
             1, &kept);
    ASSERT_NE(kept, nullptr);
    EXPECT_FALSE(registered(kept));
    delete kept;
    std::vector<unsigned char> block(1 << 16);
    VxSetHeapMemoryPtr(block.data(), block.size());
    VxReleaseHeapMemoryPtr(); // its walk must not reach the deleted maps
}

} // namespace
