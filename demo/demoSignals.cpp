#include "demoSignals.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace {

std::atomic<int> gCtrlC{0};

// The handlers may run on any thread at any moment, so the path lives in a
// fixed buffer and is published through a flag the handlers test first.
char gPending[4096];
std::atomic<bool> gHasPending{false};

void removePending() {
    if (gHasPending.load()) {
        ::unlink(gPending);
    }
}

void say(const char* text) {
    // write(2) is safe in a handler; stdio is not.
    const ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
    (void)ignored;
}

void onCtrlC(int) {
    if (gCtrlC.exchange(1) == 0) {
        say("\nvxdemo: stopping; press Ctrl-C again to stop at once\n");
        return;
    }
    // Ending at once may cut a write short; its temporary file goes too.
    removePending();
    std::signal(SIGINT, SIG_DFL);
    ::raise(SIGINT);
}

void onTerm(int) {
    removePending();
    ::_exit(kTerminatedExit);
}

} // namespace

void installSignalHandlers() {
    std::signal(SIGINT, onCtrlC);
    std::signal(SIGTERM, onTerm);
}

bool interruptRequested() {
    return gCtrlC.load() != 0;
}

void setPendingFile(const std::string& path) {
    gHasPending.store(false);
    if (path.empty() || path.size() >= sizeof gPending) {
        return;
    }
    std::memcpy(gPending, path.c_str(), path.size() + 1);
    gHasPending.store(true);
}

int interruptedExit() {
    std::fprintf(stderr, "vxdemo: interrupted; files already written are complete\n");
    return kInterruptedExit;
}
