// A host with only the older interface: sparkCallingSys answers the codes of
// FAKE_HOST_CODES ("3,7": 3 on the first call, 7 on every later one).
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int sparkCallingSys() {
    static int calls = 0;
    const char* codes = std::getenv("FAKE_HOST_CODES");
    if (codes == nullptr) {
        return 0;
    }
    char* rest = nullptr;
    const long first = std::strtol(codes, &rest, 10);
    const bool hasSecond = rest != nullptr && *rest == ',';
    const long code = (calls++ > 0 && hasSecond) ? std::strtol(rest + 1, nullptr, 10) : first;
    return static_cast<int>(code);
}
