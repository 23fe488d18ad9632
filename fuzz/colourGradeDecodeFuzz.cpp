// Arbitrary bytes as parameter strings: the first byte sets the buffer size,
// the second the tagged, cyclic and smooth settings; the rest is cut into
// buffers of exactly that size (no terminating zero guaranteed). Decoding
// must stay inside the buffers, leave a grade that keeps every invariant and
// evaluates as the plain model does, and the grade must survive its own
// encoding.
#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

// The untagged forms carry the ends' colours only: they describe the grade
// exactly when its ends sit at 0 and 1 and no other key is at 1.
bool untaggedFits(const VxColourGrade& g) {
    if (g.key(g.slotAt(0)).position != 0.0f || g.key(g.slotAt(g.count - 1)).position != 1.0f)
        return false;
    for (int i = 1; i < g.count - 1; ++i) {
        if (g.key(g.slotAt(i)).position >= 65535.0f / 65536.0f)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const int bufSize = data[0] % 96 + 1;
    const int tagged = data[1] & 1;
    data += 2;
    size -= 2;
    std::vector<std::vector<unsigned char>> store;
    for (std::size_t at = 0; at < size; at += static_cast<std::size_t>(bufSize)) {
        const std::size_t n = size - at < static_cast<std::size_t>(bufSize) ? size - at : bufSize;
        // Exactly bufSize bytes each: a read past one is a sanitizer report.
        std::vector<unsigned char> b(static_cast<std::size_t>(bufSize), 0);
        std::copy(data + at, data + at + n, b.begin());
        store.push_back(std::move(b));
    }
    std::vector<const unsigned char*> strs;
    for (auto& b : store)
        strs.push_back(b.data());

    VxColourGradeEncoder e;
    e.grade.cyclic(data[-1] & 2);
    e.grade.smooth = data[-1] & 4;
    e.decode(strs.data(), static_cast<int>(strs.size()), bufSize);
    AbortUnlessSound(e.grade);
    if (!store.empty()) {
        // One string more: the whole input, terminated, into the same grade.
        std::vector<unsigned char> whole(data, data + size);
        whole.push_back(0);
        e.decode(whole.data(), static_cast<int>(data[-1] >> 3));
        AbortUnlessSound(e.grade);
    }

    e.tagged = tagged;
    if (!tagged && !untaggedFits(e.grade))
        return 0;
    const int outSize = 17 + (data[-1] >> 4) * 7;
    std::vector<std::vector<unsigned char>> out(130, std::vector<unsigned char>(outSize, 'x'));
    std::vector<unsigned char*> outs;
    for (auto& b : out)
        outs.push_back(b.data());
    const int written = e.encode(outs.data(), outSize, static_cast<int>(outs.size()));
    if (written != 0 && written != e.grade.count) {
        std::fprintf(stderr, "encoded %d of %d keys\n", written, e.grade.count);
        std::abort();
    }
    if (written == 0)
        return 0;
    VxColourGradeEncoder back;
    back.grade.cyclic(e.grade.isCyclic());
    std::vector<const unsigned char*> in(outs.begin(), outs.end());
    const int n = back.decode(in.data(), static_cast<int>(in.size()), outSize);
    AbortUnlessSound(back.grade);
    if (n != written || back.grade.count != e.grade.count) {
        std::fprintf(stderr, "encoded %d keys, decoded %d\n", written, n);
        std::abort();
    }
    return 0;
}
