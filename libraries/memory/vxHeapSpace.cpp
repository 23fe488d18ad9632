// The allocation space inside a host block: boundary-tagged chunks and
// two-level segregated free lists. The layout is described in vxHeapSpace.h.
#include "vxHeapSpace.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kAlign = kVxHeapSpaceAlignment;
constexpr std::size_t kHeader = 16; // size word + size of the chunk below
constexpr std::size_t kMinChunk = kAlign;
constexpr std::size_t kInUse = 1;
constexpr unsigned kSlLog = 4;
constexpr unsigned kSlCount = 1u << kSlLog;
// Sizes go up to 2^58 units of 64 bytes, whose first-level index is 54.
constexpr unsigned kFlCount = 56;
constexpr std::uint64_t kLiveMagic = 0x5678487053706163ull;
constexpr std::uint64_t kDeadMagic = 0x6465616448656170ull;

struct Chunk {
    std::size_t head;     // size | kInUse
    std::size_t prevSize; // size of the chunk just below; 0 for the first
    // Only in free chunks, in what would be the payload:
    Chunk* next;
    Chunk* prev;
};
static_assert(sizeof(Chunk) <= kMinChunk, "a free chunk's links must fit in the smallest chunk");
static_assert(offsetof(Chunk, next) == kHeader, "the links start the payload");

} // namespace

struct VxHeapSpace {
    std::uint64_t magic;
    void* base;
    std::size_t capacity;
    Chunk* first;
    Chunk* fence;
    std::uint64_t flMap;
    std::uint32_t slMap[kFlCount];
    Chunk* heads[kFlCount][kSlCount];
};

namespace {

std::uintptr_t addr(const void* p) {
    return reinterpret_cast<std::uintptr_t>(p);
}

std::size_t sizeOf(const Chunk* c) {
    return c->head & ~kInUse;
}

bool inUse(const Chunk* c) {
    return (c->head & kInUse) != 0;
}

Chunk* offsetChunk(Chunk* c, std::size_t bytes) {
    return reinterpret_cast<Chunk*>(reinterpret_cast<char*>(c) + bytes);
}

Chunk* above(Chunk* c) {
    return offsetChunk(c, sizeOf(c));
}

Chunk* below(Chunk* c) {
    return reinterpret_cast<Chunk*>(reinterpret_cast<char*>(c) - c->prevSize);
}

void* payloadOf(Chunk* c) {
    return reinterpret_cast<char*>(c) + kHeader;
}

unsigned highBit(std::size_t x) {
    return 63u - static_cast<unsigned>(__builtin_clzll(x));
}

unsigned lowBit64(std::uint64_t x) {
    return static_cast<unsigned>(__builtin_ctzll(x));
}

// The list of chunks of exactly `units` 64-byte units, rounded down.
void listOf(std::size_t units, unsigned& fl, unsigned& sl) {
    if (units < kSlCount) {
        fl = 0;
        sl = static_cast<unsigned>(units);
        return;
    }
    const unsigned m = highBit(units);
    fl = m - kSlLog + 1;
    sl = static_cast<unsigned>(units >> (m - kSlLog)) - kSlCount;
}

bool isLive(const VxHeapSpace* s) {
    return s != nullptr && s->magic == kLiveMagic;
}

bool checkLive(const VxHeapSpace* s, const char* what) {
    if (isLive(s))
        return true;
    std::fprintf(stderr, "Veltrix Error : %s given %s heap space. Ignored.\n", what,
                 s ? "an ended or unknown" : "a null");
    return false;
}

void link(VxHeapSpace* s, Chunk* c) {
    unsigned fl, sl;
    listOf(sizeOf(c) / kAlign, fl, sl);
    Chunk* head = s->heads[fl][sl];
    c->next = head;
    c->prev = nullptr;
    if (head)
        head->prev = c;
    s->heads[fl][sl] = c;
    s->flMap |= std::uint64_t{1} << fl;
    s->slMap[fl] |= 1u << sl;
}

// Takes c out of its list, (fl, sl).
void unlink(VxHeapSpace* s, Chunk* c, unsigned fl, unsigned sl) {
    if (c->next)
        c->next->prev = c->prev;
    if (c->prev)
        c->prev->next = c->next;
    else
        s->heads[fl][sl] = c->next;
    if (s->heads[fl][sl] == nullptr) {
        s->slMap[fl] &= ~(1u << sl);
        if (s->slMap[fl] == 0)
            s->flMap &= ~(std::uint64_t{1} << fl);
    }
}

void unlink(VxHeapSpace* s, Chunk* c) {
    unsigned fl, sl;
    listOf(sizeOf(c) / kAlign, fl, sl);
    unlink(s, c, fl, sl);
}

// Puts `neu` in the place `old` has in the free lists; (fo, so) is the list
// `old` is in. Splitting a chunk and merging into a free neighbour usually
// leave the size in the same list (the big free chunk at the top, above all),
// and then the links are handed over in place: one list update instead of an
// unlink and a link. `old` must still carry its size, `neu` its new one.
void replace(VxHeapSpace* s, Chunk* old, unsigned fo, unsigned so, Chunk* neu) {
    unsigned fn, sn;
    listOf(sizeOf(neu) / kAlign, fn, sn);
    if (fo != fn || so != sn) {
        unlink(s, old);
        link(s, neu);
        return;
    }
    neu->next = old->next;
    neu->prev = old->prev;
    if (neu->next)
        neu->next->prev = neu;
    if (neu->prev)
        neu->prev->next = neu;
    else
        s->heads[fo][so] = neu;
}

void replace(VxHeapSpace* s, Chunk* old, Chunk* neu) {
    unsigned fo, so;
    listOf(sizeOf(old) / kAlign, fo, so);
    replace(s, old, fo, so, neu);
}

// How many chunks of the request's own list are looked at when no larger list
// can serve it: enough to find the last big chunk of a nearly full space,
// few enough to keep allocation O(1).
constexpr int kExactListProbes = 8;

// A free chunk of at least `need` bytes and the list it is in (fl, sl), or
// null. The request is rounded up to the start of the next list so that any
// chunk of the list found will do; failing that, the first few chunks of its
// own list are tried, since a chunk there may still be large enough (the
// whole space, for one).
Chunk* findFit(VxHeapSpace* s, std::size_t need, unsigned& fl, unsigned& sl) {
    std::size_t units = need / kAlign;
    unsigned ownFl, ownSl;
    listOf(units, ownFl, ownSl);
    Chunk* own = ownFl < kFlCount ? s->heads[ownFl][ownSl] : nullptr;
    if (units >= kSlCount)
        units += (std::size_t{1} << (highBit(units) - kSlLog)) - 1;
    listOf(units, fl, sl);
    std::uint32_t slBits = fl < kFlCount ? s->slMap[fl] & (~0u << sl) : 0;
    if (slBits == 0) {
        const std::uint64_t flBits =
            fl + 1 < kFlCount ? s->flMap & (~std::uint64_t{0} << (fl + 1)) : 0;
        if (flBits != 0) {
            fl = lowBit64(flBits);
            slBits = s->slMap[fl];
        }
    }
    if (slBits != 0) {
        sl = lowBit64(slBits);
        return s->heads[fl][sl];
    }
    fl = ownFl;
    sl = ownSl;
    for (int i = 0; own != nullptr && i < kExactListProbes; ++i, own = own->next)
        if (sizeOf(own) >= need)
            return own;
    return nullptr;
}

// The chunk whose payload is mem when mem is a live block of s; else null.
// Every test is O(1): range, payload boundary, in-use bit, and agreement of the
// boundary tags on both sides.
Chunk* liveChunkOf(VxHeapSpace* s, void* mem) {
    const std::uintptr_t p = addr(mem);
    if (p < addr(s->first) + kHeader || p >= addr(s->fence) ||
        (p - addr(s->first) - kHeader) % kAlign)
        return nullptr;
    Chunk* c = reinterpret_cast<Chunk*>(p - kHeader);
    const std::size_t size = sizeOf(c);
    if (!inUse(c) || size < kMinChunk || size % kAlign || size > addr(s->fence) - addr(c))
        return nullptr;
    if (above(c)->prevSize != size)
        return nullptr;
    if (c == s->first)
        return c->prevSize == 0 ? c : nullptr;
    if (c->prevSize == 0 || c->prevSize % kAlign || c->prevSize > addr(c) - addr(s->first))
        return nullptr;
    return sizeOf(below(c)) == c->prevSize ? c : nullptr;
}

} // namespace

mspace create_mspace_with_base(void* base, std::size_t capacity, int /*locked*/) {
    // Refusals are silent: the heap manager writes the one line its callers
    // know ("Heap space creation failed! ...").
    if (base == nullptr)
        return nullptr;
    const std::uintptr_t start = addr(base);
    const std::uintptr_t recordAt = (start + kAlign - 1) & ~(kAlign - 1);
    const std::uintptr_t firstAt =
        ((recordAt + sizeof(VxHeapSpace) + kHeader + kAlign - 1) & ~(kAlign - 1)) - kHeader;
    // The smallest usable block: the record, one chunk and the fence.
    const std::size_t minimum = firstAt + kMinChunk + kHeader - start;
    if (capacity > UINTPTR_MAX - start || capacity < minimum)
        return nullptr;
    // The fence header ends at or before the end of the block, on the grid.
    const std::uintptr_t fenceAt = ((start + capacity) & ~(kAlign - 1)) - kHeader;

    VxHeapSpace* s = reinterpret_cast<VxHeapSpace*>(recordAt);
    std::memset(static_cast<void*>(s), 0, sizeof(VxHeapSpace));
    s->magic = kLiveMagic;
    s->base = base;
    s->capacity = capacity;
    s->first = reinterpret_cast<Chunk*>(firstAt);
    s->fence = reinterpret_cast<Chunk*>(fenceAt);
    const std::size_t whole = fenceAt - firstAt;
    s->first->head = whole;
    s->first->prevSize = 0;
    s->fence->head = kInUse;
    s->fence->prevSize = whole;
    link(s, s->first);
    return s;
}

void destroy_mspace(mspace space) {
    if (!checkLive(space, "destroy_mspace"))
        return;
    // Only the record changes, so that a stale handle is recognised as ended
    // for as long as the caller keeps the block.
    space->magic = kDeadMagic;
}

void* mspace_malloc(mspace space, std::size_t n) {
    if (!checkLive(space, "mspace_malloc"))
        return nullptr;
    const std::size_t whole = addr(space->fence) - addr(space->first);
    if (n > whole) // also keeps the rounding below from overflowing
        return nullptr;
    const std::size_t need = (n + kHeader + kAlign - 1) & ~(kAlign - 1);
    unsigned fl, sl;
    Chunk* c = findFit(space, need, fl, sl);
    if (c == nullptr)
        return nullptr;
    const std::size_t size = sizeOf(c);
    if (size - need >= kMinChunk) {
        Chunk* rest = offsetChunk(c, need);
        rest->head = size - need;
        rest->prevSize = need;
        above(rest)->prevSize = size - need;
        replace(space, c, fl, sl, rest);
        c->head = need;
    } else {
        unlink(space, c, fl, sl);
    }
    c->head |= kInUse;
    return payloadOf(c);
}

void mspace_free(mspace space, void* mem) {
    if (mem == nullptr || !checkLive(space, "mspace_free"))
        return;
    Chunk* c = liveChunkOf(space, mem);
    if (c == nullptr) {
        std::fprintf(stderr,
                     "Veltrix Error : heap free of [%p], which is not a live block of heap "
                     "space [%p]. Ignored.\n",
                     mem, static_cast<void*>(space));
        return;
    }
    std::size_t size = sizeOf(c);
    c->head = size;
    if (c != space->first) {
        Chunk* low = below(c);
        if (!inUse(low)) {
            unlink(space, low);
            size += sizeOf(low);
            c = low;
        }
    }
    Chunk* high = offsetChunk(c, size);
    const bool highFree = !inUse(high); // the fence is in use, so this never passes it
    if (highFree)
        size += sizeOf(high);
    c->head = size;
    above(c)->prevSize = size;
    if (highFree)
        replace(space, high, c);
    else
        link(space, c);
}

void mspace_get_base_malloc_stats(mspace space, std::size_t* totalOut, std::size_t* initialOut,
                                  std::size_t* inUseOut, std::size_t* availOut) {
    std::size_t t = 0, i = 0, u = 0, a = 0;
    if (isLive(space)) {
        Chunk* last = below(space->fence);
        const std::size_t top = inUse(last) ? 0 : sizeOf(last);
        t = space->capacity;
        i = addr(space->fence) + kHeader - addr(space->first);
        u = t - top - kHeader;
        a = t - u;
    }
    if (totalOut)
        *totalOut = t;
    if (initialOut)
        *initialOut = i;
    if (inUseOut)
        *inUseOut = u;
    if (availOut)
        *availOut = a;
}

bool mspace_owns(mspace space, const void* p) {
    return isLive(space) && addr(p) >= addr(space->first) && addr(p) < addr(space->fence);
}

bool mspace_check(mspace space, VxHeapSpaceCensus* census) {
    VxHeapSpaceCensus n;
    if (!isLive(space))
        return false;
    bool ok = true;
    std::size_t prevSize = 0;
    bool prevFree = false;
    Chunk* c = space->first;
    while (c != space->fence) {
        const std::size_t size = sizeOf(c);
        if (size < kMinChunk || size % kAlign || size > addr(space->fence) - addr(c) ||
            c->prevSize != prevSize)
            return false;
        if (inUse(c)) {
            ++n.usedChunks;
            n.usedBytes += size;
            prevFree = false;
        } else {
            ok = ok && !prevFree;
            ++n.freeChunks;
            n.freeBytes += size;
            if (size > n.largestFree)
                n.largestFree = size;
            prevFree = true;
        }
        prevSize = size;
        c = above(c);
    }
    ok = ok && space->fence->prevSize == prevSize && inUse(space->fence);
    n.topBytes = prevFree ? prevSize : 0;
    for (unsigned fl = 0; fl < kFlCount; ++fl) {
        const bool flSet = (space->flMap >> fl) & 1u;
        ok = ok && flSet == (space->slMap[fl] != 0);
        for (unsigned sl = 0; sl < kSlCount; ++sl) {
            Chunk* head = space->heads[fl][sl];
            ok = ok && (head != nullptr) == (((space->slMap[fl] >> sl) & 1u) != 0);
            for (Chunk* f = head; f != nullptr && n.listedChunks <= n.freeChunks; f = f->next) {
                unsigned gotFl, gotSl;
                listOf(sizeOf(f) / kAlign, gotFl, gotSl);
                ok = ok && !inUse(f) && gotFl == fl && gotSl == sl;
                ++n.listedChunks;
            }
        }
    }
    ok = ok && n.listedChunks == n.freeChunks;
    if (census)
        *census = n;
    return ok;
}
