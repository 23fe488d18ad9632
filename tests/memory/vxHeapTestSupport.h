// Helpers shared by the heap tests: a host block, a texture that owns a
// VxImgAlloc buffer, and printf-style expected log lines.
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
        base = bytes.data() + (64 - reinterpret_cast<std::uintptr_t>(bytes.data()) % 64) % 64;
    }
    bool holds(const void* p) const {
        return reinterpret_cast<std::uintptr_t>(p) - reinterpret_cast<std::uintptr_t>(base) < size;
    }
    std::vector<unsigned char> bytes;
    unsigned char* base;
    std::size_t size;
};

// What a texture does with its pixels when the heap goes away.
class TestTexture final : public VxTexNotifier {
public:
    explicit TestTexture(int n) : size(n), data(static_cast<unsigned char*>(VxImgAlloc(n))) {}
    ~TestTexture() {
        Unregister(); // before the buffer goes
        VxImgFree(data);
    }
    int Reallocate() override {
        auto* fresh = static_cast<unsigned char*>(VxImgAlloc(size));
        if (fresh == nullptr)
            return 0;
        std::memcpy(fresh, data, static_cast<std::size_t>(size));
        VxImgFree(data);
        data = fresh;
        return ++moves;
    }
    void* GetVoidData() const override { return data; }

    int size;
    unsigned char* data;
    int moves = 0;
};

// Pointers are logged by their low 32 bits.
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

// The statistics line as the heap writes it now (the test blocks are small,
// so %lu prints what the heap's 32-bit %d does).
inline std::string statsLine() {
    const void* h = VxGetHeapState().heapSpace;
    if (h == nullptr)
        return "Veltrix Heap Stats : HeapPtr[0] NO HEAP FOUND.\n";
    const HeapStats s = heapStats();
    return fmt("Veltrix Heap Stats : HeapPtr[%x] Total[%lu] Initial[%lu] InUse[%lu] Avail[%lu] "
               "Acquired from system[%lu]\n",
               hex32(h), s.total, s.initial, s.inUse, s.avail, s.total - s.initial);
}

#endif
