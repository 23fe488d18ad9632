// The allocation space inside a caller's block: creation limits, a brute-force
// model of random allocation and free, statistics, and refused frees.
#include "vxHeapSpace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

struct Block {
    explicit Block(std::size_t n, std::size_t skew = 0)
        : bytes(new unsigned char[n + skew + 64]), size(n) {
        // Start `skew` bytes past a 64-byte boundary, to test alignment.
        const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(bytes.get());
        base = bytes.get() + ((64 - a % 64) % 64) + skew;
    }
    std::unique_ptr<unsigned char[]> bytes;
    unsigned char* base;
    std::size_t size;
};

struct Stats {
    std::size_t total, initial, inUse, avail;
};

Stats statsOf(mspace s) {
    Stats st{};
    mspace_get_base_malloc_stats(s, &st.total, &st.initial, &st.inUse, &st.avail);
    return st;
}

VxHeapSpaceCensus censusOf(mspace s) {
    VxHeapSpaceCensus c;
    EXPECT_TRUE(mspace_check(s, &c));
    return c;
}

// The smallest block that holds a space at the given skew: found by trying.
std::size_t smallestUsable(std::size_t skew) {
    Block probe(1 << 16, skew);
    std::size_t n = 64;
    CaptureStderr();
    while (!create_mspace_with_base(probe.base, n, 0))
        ++n;
    GetCapturedStderr();
    return n;
}

TEST(HeapSpace, RefusesUnusableBlocksWithOneLine) {
    for (std::size_t skew : {0, 1, 17, 63}) {
        const std::size_t n = smallestUsable(skew);
        Block exact(n, skew);
        CaptureStderr();
        EXPECT_EQ(create_mspace_with_base(exact.base, n - 1, 0), nullptr);
        EXPECT_EQ(create_mspace_with_base(nullptr, 1 << 20, 0), nullptr);
        EXPECT_EQ(create_mspace_with_base(exact.base, SIZE_MAX, 0), nullptr);
        const std::string err = GetCapturedStderr();
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 3) << err;
        // The smallest space has exactly one 64-byte chunk: 48 payload bytes.
        mspace s = create_mspace_with_base(exact.base, n, 0);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(mspace_malloc(s, 49), nullptr);
        void* p = mspace_malloc(s, 48);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
        EXPECT_EQ(mspace_malloc(s, 0), nullptr);
        const Stats st = statsOf(s);
        EXPECT_EQ(st.total, n);
        EXPECT_EQ(st.initial, 64u + 16u);
        EXPECT_EQ(st.avail, 16u); // no top chunk: only the foot reserve
        mspace_free(s, p);
        EXPECT_EQ(statsOf(s).avail, st.initial);
    }
}

// Random allocations and frees checked against a model of the live blocks.
TEST(HeapSpace, RandomSequencesMatchTheModel) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        const std::size_t capacity = (64 << 10) + rng() % 200000;
        Block b(capacity, rng() % 64);
        mspace s = create_mspace_with_base(b.base, capacity, 0);
        ASSERT_NE(s, nullptr);
        const Stats fresh = statsOf(s);
        struct Live {
            std::size_t n;
            unsigned char tag;
        };
        std::map<unsigned char*, Live> live;
        for (int step = 0; step < 3000; ++step) {
            const bool alloc = live.empty() || rng() % 100 < 55;
            if (alloc) {
                const unsigned kind = rng() % 10;
                const std::size_t n = kind < 5   ? rng() % 200
                                      : kind < 9 ? rng() % 5000
                                                 : rng() % (capacity / 3);
                const VxHeapSpaceCensus before = censusOf(s);
                auto* p = static_cast<unsigned char*>(mspace_malloc(s, n));
                if (p == nullptr) {
                    // Only refused when no free chunk is within a list step of the need.
                    const std::size_t need = (n + 16 + 63) / 64 * 64;
                    EXPECT_LT(before.largestFree, need + need / 16 + 64);
                    continue;
                }
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
                ASSERT_GE(p, b.base);
                ASSERT_LE(p + n, b.base + capacity);
                auto next = live.lower_bound(p);
                if (next != live.end()) {
                    ASSERT_LE(p + n, next->first);
                }
                if (next != live.begin()) {
                    ASSERT_LE(std::prev(next)->first + std::prev(next)->second.n, p);
                }
                const auto tag = static_cast<unsigned char>(rng());
                std::memset(p, tag, n);
                live[p] = {n, tag};
            } else {
                auto it = live.begin();
                std::advance(it, rng() % live.size());
                for (std::size_t i = 0; i < it->second.n; ++i)
                    ASSERT_EQ(it->first[i], it->second.tag);
                mspace_free(s, it->first);
                live.erase(it);
            }
            const VxHeapSpaceCensus c = censusOf(s);
            const Stats st = statsOf(s);
            ASSERT_EQ(c.usedChunks, live.size());
            ASSERT_EQ(st.total, capacity);
            ASSERT_EQ(st.initial, fresh.initial);
            ASSERT_EQ(c.usedBytes + c.freeBytes + 16, st.initial);
            ASSERT_EQ(st.avail, c.topBytes + 16);
            ASSERT_EQ(st.inUse + st.avail, st.total);
        }
        for (auto& [p, l] : live)
            mspace_free(s, p);
        // Everything merges back into the one chunk the space started with.
        const VxHeapSpaceCensus c = censusOf(s);
        EXPECT_EQ(c.freeChunks, 1u);
        EXPECT_EQ(c.largestFree, fresh.initial - 16);
        const Stats st = statsOf(s);
        EXPECT_EQ(st.avail, st.initial);
        EXPECT_EQ(st.inUse, st.total - st.initial);
        EXPECT_NE(mspace_malloc(s, st.initial - 16 - 16), nullptr);
    }
}

TEST(HeapSpace, IgnoresFreesOfAnythingButALiveBlock) {
    Block b(1 << 16), other(1 << 16);
    mspace s = create_mspace_with_base(b.base, b.size, 0);
    mspace t = create_mspace_with_base(other.base, other.size, 0);
    auto* p = static_cast<unsigned char*>(mspace_malloc(s, 1000));
    auto* q = static_cast<unsigned char*>(mspace_malloc(s, 100));
    void* r = mspace_malloc(t, 100);
    mspace_free(s, p);
    const VxHeapSpaceCensus before = censusOf(s);
    int local = 0;
    CaptureStderr();
    mspace_free(s, p);      // twice
    mspace_free(s, q + 64); // inside a block, on the 64-byte grid
    mspace_free(s, q + 1);
    mspace_free(s, r); // another space's
    mspace_free(s, &local);
    mspace_free(s, nullptr); // like free(NULL): nothing, silently
    const std::string err = GetCapturedStderr();
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 5) << err;
    const VxHeapSpaceCensus after = censusOf(s);
    EXPECT_EQ(after.freeChunks, before.freeChunks);
    EXPECT_EQ(after.usedChunks, before.usedChunks);

    // An ended space refuses everything and reports zeros.
    destroy_mspace(s);
    CaptureStderr();
    EXPECT_EQ(mspace_malloc(s, 10), nullptr);
    mspace_free(s, q);
    destroy_mspace(s);
    EXPECT_EQ(mspace_malloc(nullptr, 10), nullptr);
    const std::string ended = GetCapturedStderr();
    EXPECT_EQ(std::count(ended.begin(), ended.end(), '\n'), 4) << ended;
    const Stats st = statsOf(s);
    EXPECT_EQ(st.total + st.initial + st.inUse + st.avail, 0u);
    EXPECT_FALSE(mspace_owns(s, q));
    EXPECT_TRUE(mspace_owns(t, r));
}

} // namespace
