#include "vxString.h"

#include <cstring>
#include <new>

namespace {

// Folding by hand rather than with tolower keeps the order the same in every
// locale, and keeps bytes above 127 away from tolower's undefined range.
unsigned char foldCase(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

template <typename Fold>
int compareWith(const char* a, const char* b, Fold fold) {
    if (!a || !b)
        return (a ? 1 : 0) - (b ? 1 : 0);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(a);
    const unsigned char* q = reinterpret_cast<const unsigned char*>(b);
    while (*p && fold(*p) == fold(*q)) {
        ++p;
        ++q;
    }
    return static_cast<int>(fold(*p)) - static_cast<int>(fold(*q));
}

} // namespace

std::size_t VxStringLength(const char* s) {
    return s ? std::strlen(s) : 0;
}

char* VxStringDuplicate(const char* s) {
    if (!s)
        return nullptr;
    const std::size_t size = std::strlen(s) + 1;
    char* copy = new (std::nothrow) char[size];
    if (copy)
        std::memcpy(copy, s, size);
    return copy;
}

int VxStringCompare(const char* a, const char* b) {
    return compareWith(a, b, [](unsigned char c) { return c; });
}

int VxStringCompareCaseless(const char* a, const char* b) {
    return compareWith(a, b, foldCase);
}

char* VxStringCopy(char* dst, const char* src) {
    if (dst && src)
        std::memmove(dst, src, std::strlen(src) + 1);
    return dst;
}

char* VxStringNCopy(char* dst, const char* src, std::size_t size) {
    if (!dst || !src || size == 0)
        return dst;
    // memchr bounds the scan, so src need not be terminated within size.
    const void* stop = std::memchr(src, 0, size - 1);
    const std::size_t n =
        stop ? static_cast<std::size_t>(static_cast<const char*>(stop) - src) : size - 1;
    std::memmove(dst, src, n);
    std::memset(dst + n, 0, size - n);
    return dst;
}
