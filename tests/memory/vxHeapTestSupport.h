// Helpers shared by the heap tests: a host block, a texture stand-in that
// owns a VxImgAlloc buffer, and printf-style expected log lines.
#ifndef VX_HEAP_TEST_SUPPORT_H
#define VX_HEAP_TEST_SUPPORT_H

#include "vxHeap.h"
#include "vxTexNotifier.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

// A block of "host" memory, 64-byte aligned.
struct HostBlock {
    explicit HostBlock(std::size_t n) : bytes(n + 64), size(n) {
        const auto a = reinterpret_cast<std::uintptr_t>(bytes.data());
        base = bytes.data() + (64 - a % 64) % 64;
    }
    bool holds(const void* p) const {
        const auto* c = static_cast<const unsigned char*>(p);
        return c >= base && c < base + size;
    }
    std::vector<unsigned char> bytes;
    unsigned char* base;
    std::size_t size;
};

// What a texture does with its pixels when the heap goes away.
class TestTexture final : public VxTexNotifier {
public:
    explicit TestTexture(int n) : size(n), data(static_cast<unsigned char*>(VxImgAlloc(n))) {}
    TestTexture(const TestTexture&) = delete;
    TestTexture& operator=(const TestTexture&) = delete;
    ~TestTexture() { VxImgFree(data); }

    int Reallocate() override {
        auto* fresh = static_cast<unsigned char*>(VxImgAlloc(size));
        if (fresh == nullptr)
            return 0;
        std::memcpy(fresh, data, static_cast<std::size_t>(size));
        VxImgFree(data);
        data = fresh;
        ++moves;
        return 1;
    }
    void* GetVoidData() const override { return data; }

    int size;
    unsigned char* data;
    int moves = 0;
};

inline unsigned hex32(const void* p) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p));
}

__attribute__((format(printf, 1, 2))) inline std::string fmt(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

struct HeapStats {
    unsigned long total = 0, initial = 0, inUse = 0, avail = 0;
};

inline HeapStats heapStats() {
    HeapStats s;
    VxGetHeapStats(s.total, s.initial, s.inUse, s.avail);
    return s;
}

inline int i32(unsigned long n) {
    return static_cast<int>(static_cast<unsigned>(n));
}

// The statistics line as the heap writes it now.
inline std::string statsLine() {
    const void* h = VxGetHeapState().heapSpace;
    if (h == nullptr)
        return "Veltrix Heap Stats : HeapPtr[0] NO HEAP FOUND.\n";
    const HeapStats s = heapStats();
    return fmt("Veltrix Heap Stats : HeapPtr[%x] Total[%d] Initial[%d] InUse[%d] Avail[%d] "
               "Acquired from system[%d]\n",
               hex32(h), i32(s.total), i32(s.initial), i32(s.inUse), i32(s.avail),
               i32(s.total - s.initial));
}

#endif
