// vxVersion.h - the version of Veltrix.
//
// The version a program is compiled against, as macros for the preprocessor
// and as constants, and the version of the library it runs with, from
// VxGetVersion and VxVersionString: the project version of the build,
// major.minor.patch.
//
//   #if VELTRIX_VERSION >= VELTRIX_MAKE_VERSION(0, 2, 0)
//
// A plug-in may compare the two at load time to catch a library older than its
// headers:
//
//   int major, minor, patch;
//   VxGetVersion(&major, &minor, &patch);
//   if (major != kVxVersionMajor || minor < kVxVersionMinor) ...
#ifndef VX_VERSION_H
#define VX_VERSION_H

#include "vxExport.h"

#define VELTRIX_VERSION_MAJOR 0
#define VELTRIX_VERSION_MINOR 1
#define VELTRIX_VERSION_PATCH 0
#define VELTRIX_VERSION_STRING "0.1.0"
// One number that orders versions: major * 10000 + minor * 100 + patch.
#define VELTRIX_MAKE_VERSION(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define VELTRIX_VERSION                                                                            \
    VELTRIX_MAKE_VERSION(VELTRIX_VERSION_MAJOR, VELTRIX_VERSION_MINOR, VELTRIX_VERSION_PATCH)

constexpr int kVxVersionMajor = VELTRIX_VERSION_MAJOR;
constexpr int kVxVersionMinor = VELTRIX_VERSION_MINOR;
constexpr int kVxVersionPatch = VELTRIX_VERSION_PATCH;

// The version of the library running: its three numbers through the pointers
// that are not null.
VX_API void VxGetVersion(int* major, int* minor, int* patch);
// The same as "major.minor.patch", a static string.
VX_API const char* VxVersionString();

#endif
