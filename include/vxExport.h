// vxExport.h - symbol visibility for the Veltrix shared library.
//
// The library is built with hidden visibility by default; only declarations
// marked VX_API are part of its binary interface. Plug-ins and programs that
// include the headers see VX_API as a plain default-visibility declaration.
#ifndef VX_EXPORT_H
#define VX_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define VX_API __attribute__((visibility("default")))
#else
#define VX_API
#endif

#endif
