#include "vxHost.h"

#include <dlfcn.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// Host functions found in the process. Resolved once, when the library loads;
// a compositing host exports them from its executable, the stand-alone host
// from its own shared library, and either is already mapped by then.
struct HostFunctions {
    VxSparkMpForkFn mpFork = nullptr;
    VxSparkMpInfoFn mpInfo = nullptr;
    VxSparkViewingCursorFn viewingCursor = nullptr;
};

template <typename Fn>
Fn lookUp(void* handle, const char* name) {
    return reinterpret_cast<Fn>(dlsym(handle, name));
}

const HostFunctions& host() {
    static const HostFunctions functions = [] {
        HostFunctions f;
        f.mpFork = lookUp<VxSparkMpForkFn>(RTLD_DEFAULT, "sparkMpFork");
        f.mpInfo = lookUp<VxSparkMpInfoFn>(RTLD_DEFAULT, "sparkMpInfo");
        f.viewingCursor = lookUp<VxSparkViewingCursorFn>(RTLD_DEFAULT, "sparkViewingCursor");
        return f;
    }();
    return functions;
}

const bool gHostResolvedAtLoad = (host(), true);

VxMpForkState gForkState = {1, 1, 1, 1, 1, 0, 0};

int gHostLookupDone = 0;
const char* gHostName = "DiscreetUnknown";

VxTCursorEnum gCurrentCursor = kVxCursorInitial;
int gDefaultCursorShown = 1;

// Set while a fork with no host runs its work in the caller: the one worker
// there is then also the only one, whatever SpMpSetSize last said, so that
// the work's shares (range and the like) cover everything.
int gSoleWorker = 0;

// Sets a flag for as long as it lives: the flag is cleared however the scope
// is left, also when the work run inside it throws.
class FlagScope {
public:
    explicit FlagScope(int& flag) : flag_(flag) { flag_ = 1; }
    ~FlagScope() { flag_ = 0; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    int& flag_;
};

void hostFork(VxMpWork work, int nArgs, const VxWord* a) {
    VxSparkMpForkFn fork = host().mpFork;
    if (fork == nullptr) {
        // No host: the caller is worker 0 of 1.
        const FlagScope soleWorker(gSoleWorker);
        VxInvokeWork(work, nArgs, a);
        return;
    }
    // Whatever the work throws comes back through the host's fork: the
    // stand-alone host hands the first exception of any worker back here once
    // every worker has finished.
    // The host's fork is variadic, so each count needs its own call.
    switch (nArgs) {
    case 0:
        fork(work, 0);
        break;
    case 1:
        fork(work, 1, a[0]);
        break;
    case 2:
        fork(work, 2, a[0], a[1]);
        break;
    case 3:
        fork(work, 3, a[0], a[1], a[2]);
        break;
    case 4:
        fork(work, 4, a[0], a[1], a[2], a[3]);
        break;
    case 5:
        fork(work, 5, a[0], a[1], a[2], a[3], a[4]);
        break;
    case 6:
        fork(work, 6, a[0], a[1], a[2], a[3], a[4], a[5]);
        break;
    default:
        break;
    }
}

// Reads the fork arguments only when their count is one the fork forwards:
// reading more variadic arguments than were passed would read garbage.
bool readForkArgs(int nArgs, va_list ap, VxWord* args) {
    if (nArgs < 0 || nArgs > kVxMaxForkArgs) {
        return false;
    }
    for (int i = 0; i < nArgs; ++i) {
        args[i] = va_arg(ap, VxWord);
    }
    return true;
}

// Wrapping 32-bit product, as the historical int arithmetic gave.
int wrappingProduct(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

// Float to int without the undefined behaviour of an out-of-range conversion.
int saturatingTruncate(float f) {
    if (!(f > static_cast<float>(INT_MIN))) {
        return f != f ? 0 : INT_MIN;
    }
    if (!(f < static_cast<float>(INT_MAX))) {
        return INT_MAX;
    }
    return static_cast<int>(f);
}

const char* hostNameFromCode(int code) {
    switch (static_cast<unsigned>(code)) {
    case 1:
    case 2:
        return "flint";
    case 3:
    case 4:
        return "flame";
    case 5:
    case 6:
        return "inferno";
    case 7:
    case 8:
        return "fire";
    default:
        return "burn";
    }
}

} // namespace

const VxMpForkState& VxMpGetForkState() {
    return gForkState;
}

int SpMpSetSize(int size0, int size1, int nProcs) {
    if (nProcs == 0) {
        return 0;
    }
    VxMpForkState& s = gForkState;
    s.size0 = size0;
    s.size1 = size1;
    s.nProcs = nProcs;
    s.sizeProduct = wrappingProduct(size0, size1);
    // In 64 bits, INT_MIN / -1 has a value too.
    const long long product = s.sizeProduct;
    if (product % nProcs == 0) {
        s.evenShare = static_cast<int>(product / nProcs);
        s.evenShareValid = 1;
    }
    return 0;
}

int SpMpGetNProcs() {
    return gSoleWorker ? 1 : gForkState.nProcs;
}

int SpMpGetId() {
    if (gForkState.forked == 0) {
        return 0;
    }
    unsigned long value0 = 0;
    unsigned long value1 = 0;
    if (host().mpInfo != nullptr) {
        host().mpInfo(&value0, &value1);
    }
    const unsigned long long h = value0;
    const unsigned long long p = static_cast<unsigned long long>(gForkState.nProcs);
    const unsigned long long t = static_cast<unsigned long long>(gForkState.sizeProduct);
    if (t == 0) {
        return 0;
    }
    if ((p * h) % t == 0) {
        return static_cast<int>((p * h) / t);
    }
    // Round half up, in single precision as plug-ins have always seen it.
    const float f = static_cast<float>(h) * static_cast<float>(gForkState.nProcs) /
                    static_cast<float>(gForkState.sizeProduct);
    const float frac =
        static_cast<float>(static_cast<double>(f) - std::floor(static_cast<double>(f)));
    const int whole = saturatingTruncate(f);
    return frac < 0.5f || whole == INT_MAX ? whole : whole + 1;
}

namespace {

// VxMpFork once its arguments have been read: `forwarded` is false when their
// count is one the fork drops.
void forkWords(VxMpWork work, int nArgs, const VxWord* args, bool forwarded) {
    VxMpForkState& s = gForkState;
    if (s.forked) {
        std::fputs("VxMpFork - recursive fork detected\n", stderr);
        return;
    }
    // Cleared on the way out, also when the work's exception passes through,
    // so that the next fork is not taken for a nested one.
    const FlagScope inFork(s.forked);
    if (forwarded) {
        hostFork(work, nArgs, args);
    }
}

} // namespace

void VxMpFork(VxMpWork work, int nArgs, ...) {
    VxWord args[kVxMaxForkArgs] = {};
    va_list ap;
    va_start(ap, nArgs);
    const bool forwarded = readForkArgs(nArgs, ap, args);
    va_end(ap);
    forkWords(work, nArgs, args, forwarded);
}

int VxMpIsForked() {
    return gForkState.forked;
}

int VxMpGetID() {
    return SpMpGetId();
}

int VxMpGetNProcs() {
    return SpMpGetNProcs();
}

void VxMpSetNProcs(int) {}

int VxMpHostAvailable() {
    return host().mpFork != nullptr ? 1 : 0;
}

// ---------------------------------------------------------------------------

int host_level = -1;

const char* VxSpGetHostSystem() {
    if (gHostLookupDone) {
        return gHostName;
    }
    gHostLookupDone = 1;
    void* self = dlopen(nullptr, RTLD_LAZY);
    if (self == nullptr) {
        return gHostName;
    }
    auto callingSys = lookUp<VxSparkCallingSysFn>(self, "sparkCallingSys");
    auto programGetName = lookUp<VxSparkProgramGetNameFn>(self, "sparkProgramGetName");
    if (programGetName != nullptr) {
        // A host that has no name to give keeps the unknown one.
        if (const char* name = programGetName()) {
            gHostName = name;
        }
    } else if (callingSys != nullptr) {
        gHostName = hostNameFromCode(callingSys());
        std::fprintf(stderr, "old API returns %s [%d]\n", gHostName, callingSys());
    }
    dlclose(self);
    return gHostName;
}

int lumoraGetHostLevel() {
    if (host_level != -1) {
        return host_level;
    }
    const char* name = VxSpGetHostSystem();
    // Historically a lowered copy was made here and then not used; the
    // comparisons below stay case-sensitive on the name itself.
    char lowered[16];
    std::strncpy(lowered, name, 15);
    lowered[15] = '\0';
    string_downcase(lowered, lowered);

    static const struct {
        const char* prefix;
        int level;
    } kLevels[] = {{"burn", 1}, {"flint", 5}, {"flare", 3}, {"flame", 8}, {"inferno", 8}};
    host_level = 6;
    for (const auto& entry : kLevels) {
        if (std::strncmp(name, entry.prefix, std::strlen(entry.prefix)) == 0) {
            host_level = entry.level;
            break;
        }
    }
    return host_level;
}

void string_downcase(const char* src, char* dst) {
    if (src == nullptr || dst == nullptr) {
        return;
    }
    for (; *src != '\0'; ++src, ++dst) {
        *dst = static_cast<char>(std::tolower(static_cast<unsigned char>(*src)));
    }
    *dst = '\0';
}

int minimum(int a, int b) {
    return a < b ? a : b;
}

// ---------------------------------------------------------------------------

VxTCursorEnum VxTCursor() {
    return gCurrentCursor;
}

void VxTCursor(VxTCursorEnum c) {
    if (c != gCurrentCursor) {
        gCurrentCursor = c;
        ResetCursor();
    }
}

void ResetCursor() {
    // Host cursor codes for kinds 2 to 8.
    static const int kHostCodes[] = {-1, 18, 10, 14, 15, 19, 18};
    const int c = gCurrentCursor;
    VxSparkViewingCursorFn setCursor = host().viewingCursor;
    if (c == 0 || c == 1) {
        if (gDefaultCursorShown == 0) {
            if (setCursor != nullptr) {
                setCursor(1);
            }
            gDefaultCursorShown = 1;
        }
        return;
    }
    // Negative kinds are not cursors at all; they show nothing, like kinds above 8.
    gDefaultCursorShown = 0;
    if (c >= 2 && c <= 8 && setCursor != nullptr) {
        setCursor(kHostCodes[c - 2]);
    }
}

// ---------------------------------------------------------------------------

VxMatrixThread::VxMatrixThread() : forked(0) {}

void VxMatrixThread::cautiousVxMpFork(VxMpWork work, int nArgs, ...) {
    forked = VxMpIsForked() ? 1 : 0;
    VxWord args[kVxMaxForkArgs] = {};
    va_list ap;
    va_start(ap, nArgs);
    const bool forwarded = readForkArgs(nArgs, ap, args);
    va_end(ap);
    if (!forwarded) {
        return;
    }
    if (forked) {
        // Inside a worker already: the work is this worker's own, and what it
        // throws goes to that worker's caller like any other exception.
        VxInvokeWork(work, nArgs, args);
    } else {
        forkWords(work, nArgs, args, true);
    }
}

int VxMatrixThread::cautiousVxMpGetNProcs() {
    return forked ? 1 : VxMpGetNProcs();
}

int VxMatrixThread::cautiousVxMpGetID() {
    return forked ? 0 : VxMpGetID();
}
