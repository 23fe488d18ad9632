#include "vxNotifierRegistry.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

struct Registry {
    std::mutex lock;
    std::condition_variable changed; // a visit or a walk has ended
    std::vector<VxTexNotifier*> gNotifiers;
    // The walk in progress: its thread, the index of the notifier it is at
    // (kept pointing there as entries before it are removed) and the
    // notifier it is calling, if any.
    bool walking = false;
    std::thread::id walker;
    long cursor = 0;
    const VxTexNotifier* visiting = nullptr;
};

// Built on first use, so that textures constructed during another library's
// static initialisation find it ready, and never destroyed, so that a texture
// destroyed late at exit still finds it.
Registry& registry() {
    static Registry* const r = new Registry;
    return *r;
}

} // namespace

void VxRegisterNotifier(VxTexNotifier* n) {
    Registry& r = registry();
    std::lock_guard<std::mutex> hold(r.lock);
    r.gNotifiers.push_back(n);
}

bool VxUnregisterNotifier(const VxTexNotifier* n) {
    Registry& r = registry();
    std::unique_lock<std::mutex> hold(r.lock);
    // The walk's own thread may remove the notifier it is calling (a
    // Reallocate that deletes its object); any other thread waits for the call.
    const std::thread::id self = std::this_thread::get_id();
    r.changed.wait(hold, [&] { return r.visiting != n || r.walker == self; });
    auto it = std::find(r.gNotifiers.begin(), r.gNotifiers.end(), n);
    if (it == r.gNotifiers.end())
        return false;
    const long at = static_cast<long>(it - r.gNotifiers.begin());
    r.gNotifiers.erase(it);
    if (r.walking && at <= r.cursor)
        --r.cursor;
    return true;
}

std::vector<VxTexNotifier*> VxRegisteredNotifiers() {
    Registry& r = registry();
    std::lock_guard<std::mutex> hold(r.lock);
    return r.gNotifiers;
}

void VxVisitNotifiers(const std::function<void(VxTexNotifier*)>& visit) {
    Registry& r = registry();
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> hold(r.lock);
    if (r.walking && r.walker == self)
        return;
    // The walk state is single: a walk from another thread waits its turn.
    r.changed.wait(hold, [&] { return !r.walking; });
    r.walking = true;
    r.walker = self;
    // Leaves the registry idle however the walk ends (a visit may throw).
    struct EndWalk {
        Registry& r;
        std::unique_lock<std::mutex>& hold;
        ~EndWalk() {
            if (!hold.owns_lock())
                hold.lock();
            r.visiting = nullptr;
            r.walking = false;
            r.walker = std::thread::id();
            r.changed.notify_all();
        }
    } end{r, hold};
    for (r.cursor = 0; r.cursor < static_cast<long>(r.gNotifiers.size()); ++r.cursor) {
        VxTexNotifier* n = r.gNotifiers[static_cast<std::size_t>(r.cursor)];
        r.visiting = n;
        hold.unlock();
        visit(n);
        hold.lock();
        r.visiting = nullptr;
        r.changed.notify_all();
    }
}
