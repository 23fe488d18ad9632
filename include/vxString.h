// vxString.h - small helpers for C strings, safe with null pointers.
//
// These are the C library's string functions with null handled: a null
// string reads as "no string", sorts before every string (even ""), and a
// copy from or to null copies nothing.
//
// Owned strings. Objects of the library that keep a name or a label keep
// their own copy, made with VxStringDuplicate() and freed with delete[].
//
// Comparisons work on bytes taken as unsigned char, as strcmp does, and are
// independent of the locale; the caseless one folds the ASCII letters A-Z
// only. All the functions may be called from any thread.
#ifndef VX_STRING_H
#define VX_STRING_H

#include "vxExport.h"

#include <cstddef>

// The number of characters before the terminator; 0 for null.
VX_API std::size_t VxStringLength(const char* s);

// A new[]-allocated copy of `s`, which the caller frees with delete[]. Null
// for a null `s`, and also when memory runs out (no exception).
VX_API char* VxStringDuplicate(const char* s);

// Negative, zero or positive as `a` sorts before, equal to or after `b`.
// Null equals null and sorts before any string.
VX_API int VxStringCompare(const char* a, const char* b);

// As VxStringCompare, with the ASCII letters compared without regard to case
// ("abc" and "ABC" are equal; "a" sorts before "B").
VX_API int VxStringCompareCaseless(const char* a, const char* b);

// Copies `src` with its terminator into `dst`, which must be large enough, and
// returns `dst`. Copies nothing when either is null.
VX_API char* VxStringCopy(char* dst, const char* src);

// Bounded copy into a buffer of `size` bytes: copies at most size - 1
// characters of `src`, fills the rest of the buffer with zeros (as strncpy
// does), so dst[size - 1] is always the terminator. `src` is read no further
// than that, so it need not be terminated within size bytes. Returns `dst`.
// Copies nothing when either pointer is null or size is 0.
VX_API char* VxStringNCopy(char* dst, const char* src, std::size_t size);

#endif
