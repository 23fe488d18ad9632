// Arbitrary bytes as a grade file: reading must stay inside its line buffer
// and the grade, leave a grade that keeps every invariant and evaluates as the
// plain model does, and what it then writes must read back to as many keys.
// The first byte chooses cyclic and smooth.
#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

FILE* memoryFile(std::vector<char>& bytes) {
    // fmemopen refuses an empty buffer; an empty file is then no file at all.
    return bytes.empty() ? nullptr : fmemopen(bytes.data(), bytes.size(), "rb");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    std::vector<char> text(data + 1, data + size);
    VxColourGrade g;
    g.cyclic(data[0] & 1);
    g.smooth = data[0] & 2;
    FILE* in = memoryFile(text);
    g.read(in);
    if (in)
        std::fclose(in);
    AbortUnlessSound(g);

    char* out = nullptr;
    std::size_t outSize = 0;
    FILE* w = open_memstream(&out, &outSize);
    if (!w)
        return 0;
    g.write(w);
    std::fclose(w);
    std::vector<char> again(out, out + outSize);
    std::free(out);
    VxColourGrade r;
    r.cyclic(g.isCyclic());
    FILE* back = memoryFile(again);
    const int n = r.read(back);
    if (back)
        std::fclose(back);
    AbortUnlessSound(r);
    if (n != g.count || r.count != g.count) {
        std::fprintf(stderr, "wrote %d keys, read back %d\n", g.count, n);
        std::abort();
    }
    return 0;
}
