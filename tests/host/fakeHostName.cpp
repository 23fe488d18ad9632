// A host that names itself through sparkProgramGetName: the name comes from
// FAKE_HOST_NAME, and an unset variable makes the host answer null.
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) const char* sparkProgramGetName() {
    return std::getenv("FAKE_HOST_NAME");
}
