// Arbitrary bytes as tag strings: the first byte sets the buffer size, the
// rest is cut into buffers of exactly that size. Reading tags must stay
// inside the buffers and leave a grade that keeps every invariant; a grade
// whose tags then change must evaluate as the plain model does, and its tags
// must read back to the same slots.
#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const int bufSize = data[0] % 64 + 1;
    ++data;
    --size;
    std::vector<std::vector<unsigned char>> store;
    for (std::size_t at = 0; at < size; at += static_cast<std::size_t>(bufSize)) {
        const std::size_t n = size - at < static_cast<std::size_t>(bufSize) ? size - at : bufSize;
        std::vector<unsigned char> b(static_cast<std::size_t>(bufSize), 0);
        std::copy(data + at, data + at + n, b.begin());
        store.push_back(std::move(b));
    }
    VxColourGradeEncoder e;
    e.grade.cyclic(data[-1] & 64);
    std::vector<const unsigned char*> strs;
    for (auto& b : store)
        strs.push_back(b.data());
    e.decodeTags(strs.data(), static_cast<int>(strs.size()), bufSize);
    AbortUnlessSound(e.grade);
    // The single-string form, one buffer after another as one batch.
    for (std::size_t k = 0; k < store.size() && k < 8; ++k)
        e.decodeTags(store[k].data(), static_cast<int>(k), bufSize);
    AbortUnlessSound(e.grade);

    // Every key moved and recoloured from the input's bytes, as a host would
    // from its per-tag parameters.
    e.grade.startChanges();
    for (std::size_t i = 0; i < size; ++i) {
        const float v = static_cast<float>(data[i]) / 255.0f;
        e.grade.changeTag(data[i] & 127, VxRGBAf(v, 1.0f - v, v * v, 1.0f), v);
    }
    e.grade.endChanges();
    AbortUnlessSound(e.grade);

    std::vector<unsigned char> out(4 + 2 * 128 + 1);
    const int written = e.encodeTags(out.data(), static_cast<int>(out.size()), 0);
    VxColourGradeEncoder back;
    if (written != e.grade.count || back.decodeTags(out.data(), 0) != written ||
        back.grade.count != e.grade.count) {
        std::fprintf(stderr, "tags did not read back\n");
        std::abort();
    }
    for (int i = 0; i < e.grade.count; ++i) {
        if (back.grade.key(e.grade.slotAt(i)).orderIndex < 0) {
            std::fprintf(stderr, "slot %d lost\n", e.grade.slotAt(i));
            std::abort();
        }
    }
    AbortUnlessSound(back.grade);
    return 0;
}
