// The version compiled into the library, for programs to compare with the
// headers they were built against.
#include "vxVersion.h"

void VxGetVersion(int* major, int* minor, int* patch) {
    if (major)
        *major = VELTRIX_VERSION_MAJOR;
    if (minor)
        *minor = VELTRIX_VERSION_MINOR;
    if (patch)
        *patch = VELTRIX_VERSION_PATCH;
}

const char* VxVersionString() {
    return VELTRIX_VERSION_STRING;
}
