// vxHeapSpace.h - the allocation space the managed heap builds inside the
// block of memory the host hands over. Private to the library: the heap
// manager (vxHeap.cpp) is its only user; the tests compile it in directly.
//
// Layout
// ------
// Everything lives inside the caller's block; the space never asks the system
// for memory and never writes outside [base, base + capacity).
//
//     base
//     |pad| space record |pad| chunk | chunk | ... | chunk | fence |unused|
//         ^ 64-aligned          ^ first chunk                ^ fence
//
// - The space record (struct VxHeapSpace, about 7.5 KB) starts at the first
//   64-byte boundary at or after base. It holds the free-list heads and their
//   bitmaps; its address is the space's handle.
// - Chunks follow back to back. Each starts with a 16-byte header: its size
//   (a multiple of 64, at least 64) with an in-use bit, and the size of the
//   chunk just below it (0 for the first chunk): boundary tags, so both
//   neighbours are found in O(1). Every chunk header sits 16 bytes before a
//   64-byte boundary, so every payload is 64-byte aligned. A payload holds at
//   most size - 16 bytes; a request of n bytes takes a chunk of n + 16 rounded
//   up to 64.
// - A free chunk keeps its free-list links in the first 16 bytes of its
//   payload. Two free chunks are never neighbours: a free merges with both.
// - The fence is a bare 16-byte header of size 0, marked in use, that closes
//   the chunk area so that no merge runs off the end. Bytes after it (fewer
//   than 64) are never used.
//
// Free chunks are kept in segregated lists, two levels deep: the first level
// is the power of two of the size in 64-byte units, the second splits each
// power into 16 equal steps; sizes below 16 units have one list each. A
// request is rounded up to the next step, so the head of the first non-empty
// list at or above it always fits (good fit), and the bitmaps find that list
// with two bit scans; only when there is none are the first 8 chunks of the
// request's own list tried. Allocation and free are O(1) in the number of
// chunks.
// The remainder of a chunk is split off when it is at least 64 bytes.
//
// Statistics (mspace_get_base_malloc_stats), in bytes:
// - Total: the footprint, i.e. the whole block given at creation (capacity).
//   The space never grows, so this is also its largest footprint.
// - Initial: the bytes covered by chunks, from the first chunk's header to the
//   end of the fence (the fence is the top's foot reserve). Total - Initial is
//   the alignment padding, the space record and the unused tail.
// - InUse: Total less the top chunk and its 16-byte foot reserve (the fence).
//   The top chunk is the chunk just below the fence when it is free; free
//   chunks lower down count as in use, so InUse is the footprint the space
//   could not give back by trimming its end.
// - Avail: Total - InUse, i.e. the top chunk's size + 16. With every block
//   freed the chunks merge into one top chunk and Avail equals Initial.
//
// Threading: none. The space takes no locks; its callers make sure that only
// one thread uses it at a time.
#ifndef VX_HEAP_SPACE_H
#define VX_HEAP_SPACE_H

#include <cstddef>

struct VxHeapSpace;
using mspace = VxHeapSpace*;

// Alignment of every pointer mspace_malloc returns.
constexpr std::size_t kVxHeapSpaceAlignment = 64;

// Builds a space inside [base, base + capacity) and returns its handle (an
// address inside the block). A null base, a block too small for the space
// record plus one 64-byte chunk and the fence, or one that wraps around the
// address space gives null, silently (the heap manager reports it). `locked`
// is accepted for compatibility and ignored: the space never locks.
mspace create_mspace_with_base(void* base, std::size_t capacity, int locked);

// Ends the space: its handle stops being accepted (a later call with it gives
// a line on stderr and no effect, as long as the block is still mapped). The
// block itself belongs to the caller and is not touched further. A null or
// unknown handle gives a line on stderr.
void destroy_mspace(mspace space);

// n bytes, 64-byte aligned, or null when no free chunk is large enough. A
// request of 0 bytes gives a distinct pointer, as malloc(0) may. A null or
// ended space gives null and a line on stderr.
void* mspace_malloc(mspace space, std::size_t n);

// Returns mem to the space, merging it with free neighbours. Null does
// nothing. A pointer that is not a live block of this space (freed already,
// from elsewhere, or pointing into the middle of a block) is ignored with a
// line on stderr: it must be inside the chunk area, on a payload boundary,
// marked in use and agree with its neighbours' boundary tags.
void mspace_free(mspace space, void* mem);

// The four statistics described above; all 0 for a null or ended space.
void mspace_get_base_malloc_stats(mspace space, std::size_t* total, std::size_t* initial,
                                  std::size_t* inUse, std::size_t* avail);

// True when p points into the chunk area of a live space (for telling heap
// addresses from system ones; says nothing about whether p is allocated).
bool mspace_owns(mspace space, const void* p);

// A walk over every chunk, for consistency checks.
struct VxHeapSpaceCensus {
    std::size_t usedChunks = 0;   // chunks in use
    std::size_t usedBytes = 0;    // their sizes, headers included
    std::size_t freeChunks = 0;   // free chunks
    std::size_t freeBytes = 0;    // their sizes, headers included
    std::size_t largestFree = 0;  // the largest free chunk
    std::size_t topBytes = 0;     // the free chunk below the fence, or 0
    std::size_t listedChunks = 0; // chunks found in the free lists
};

// Walks the chunks and the free lists and fills `census`. False when anything
// disagrees: sizes, boundary tags, two free neighbours, a free chunk missing
// from (or misfiled in) the lists, or a bitmap out of step. O(chunks).
bool mspace_check(mspace space, VxHeapSpaceCensus* census);

#endif
