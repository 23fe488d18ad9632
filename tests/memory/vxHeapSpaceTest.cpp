// The allocation space inside a caller's block: creation limits, a brute-force
// model of random allocation and free, statistics, and refused frees.
#include "vxHeapSpace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// An uninitialised block starting `skew` bytes past a 64-byte boundary.
struct Block {
    explicit Block(std::size_t n, std::size_t skew = 0)
        : bytes(new unsigned char[n + skew + 64]), size(n) {
        const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(bytes.get());
        base = bytes.get() + (64 - a % 64) % 64 + skew;
    }
    std::unique_ptr<unsigned char[]> bytes;
    unsigned char* base;
    std::size_t size;
};

using Stats = std::array<std::size_t, 4>; // Total, Initial, InUse, Avail

Stats statsOf(mspace s) {
    Stats st{};
    mspace_get_base_malloc_stats(s, &st[0], &st[1], &st[2], &st[3]);
    return st;
}

VxHeapSpaceCensus censusOf(mspace s) {
    VxHeapSpaceCensus c;
    EXPECT_TRUE(mspace_check(s, &c));
    return c;
}

long lines(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

TEST(HeapSpace, RefusesUnusableBlocksSilently) {
    for (std::size_t skew : {0, 1, 17, 63}) {
        // The smallest usable size at this skew, found by trying.
        Block probe(1 << 16, skew);
        std::size_t n = 64;
        CaptureStderr();
        while (!create_mspace_with_base(probe.base, n, 0))
            ++n;
        GetCapturedStderr();
        Block exact(n, skew);
        CaptureStderr(); // refused silently: the heap manager says what it means
        EXPECT_EQ(create_mspace_with_base(exact.base, n - 1, 0), nullptr);
        EXPECT_EQ(create_mspace_with_base(nullptr, 1 << 20, 0), nullptr);
        EXPECT_EQ(create_mspace_with_base(exact.base, SIZE_MAX, 0), nullptr);
        EXPECT_EQ(GetCapturedStderr(), "");
        // The smallest space has exactly one 64-byte chunk: 48 payload bytes.
        mspace s = create_mspace_with_base(exact.base, n, 0);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(mspace_malloc(s, 49), nullptr);
        void* p = mspace_malloc(s, 48);
        ASSERT_TRUE(p != nullptr && reinterpret_cast<std::uintptr_t>(p) % 64 == 0);
        EXPECT_EQ(mspace_malloc(s, 0), nullptr);
        // No top chunk: only the foot reserve is available.
        EXPECT_EQ(statsOf(s), (Stats{n, 64 + 16, n - 16, 16}));
        mspace_free(s, p);
        EXPECT_EQ(statsOf(s)[3], 64u + 16u);
    }
}

// Random allocations, then frees of everything, checked against a model of
// the live blocks; each is filled with its own tag, so an overlap shows.
TEST(HeapSpace, RandomSequencesMatchTheModel) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 rng(seed);
        const std::size_t capacity = (64 << 10) + rng() % 200000;
        Block b(capacity, rng() % 64);
        mspace s = create_mspace_with_base(b.base, capacity, 0);
        ASSERT_NE(s, nullptr);
        const std::size_t initial0 = statsOf(s)[1];
        std::map<unsigned char*, std::pair<std::size_t, unsigned char>> live; // size, tag
        for (int step = 0; step < 3000 || !live.empty(); ++step) {
            if (step < 3000 && (live.empty() || rng() % 100 < 55)) {
                const unsigned kind = rng() % 10;
                const std::size_t n = rng() % (kind < 5 ? 200 : kind < 9 ? 5000 : capacity / 3);
                const std::size_t largest = censusOf(s).largestFree;
                auto* p = static_cast<unsigned char*>(mspace_malloc(s, n));
                if (p == nullptr) {
                    // Only refused when no free chunk is within a list step of the need.
                    const std::size_t need = (n + 16 + 63) / 64 * 64;
                    EXPECT_LT(largest, need + need / 16 + 64);
                    continue;
                }
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
                ASSERT_TRUE(p >= b.base && p + n <= b.base + capacity);
                const auto tag = static_cast<unsigned char>(rng());
                std::memset(p, tag, n);
                ASSERT_TRUE(live.emplace(p, std::make_pair(n, tag)).second);
            } else {
                const auto it = std::next(live.begin(), rng() % live.size());
                const auto [n, tag] = it->second;
                ASSERT_EQ(std::count(it->first, it->first + n, tag), static_cast<long>(n));
                mspace_free(s, it->first);
                live.erase(it);
            }
            const VxHeapSpaceCensus c = censusOf(s);
            const auto [total, initial, inUse, avail] = statsOf(s);
            ASSERT_EQ(c.usedChunks, live.size());
            ASSERT_EQ(total, capacity);
            ASSERT_EQ(initial, initial0);
            ASSERT_EQ(c.usedBytes + c.freeBytes + 16, initial);
            ASSERT_EQ(avail, c.topBytes + 16);
            ASSERT_EQ(inUse + avail, total);
        }
        // Everything merges back into the one chunk the space started with.
        EXPECT_EQ(censusOf(s).freeChunks, 1u);
        EXPECT_EQ(statsOf(s)[3], initial0);
        EXPECT_NE(mspace_malloc(s, initial0 - 16 - 16), nullptr);
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
    EXPECT_EQ(lines(err), 5) << err;
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
    EXPECT_EQ(lines(ended), 4) << ended;
    EXPECT_EQ(statsOf(s), Stats{});
    EXPECT_FALSE(mspace_owns(s, q));
    EXPECT_TRUE(mspace_owns(t, r));
}

} // namespace
