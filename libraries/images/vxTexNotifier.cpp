#include "vxTexNotifier.h"

#include "vxHost.h"
#include "vxNotifierRegistry.h"

VxTexNotifier::VxTexNotifier() {
    // A notifier made in a worker is left to the worker: the heap does not
    // move what a fork makes.
    if (!VxMpIsForked())
        VxRegisterNotifier(this);
}

VxTexNotifier::VxTexNotifier(const VxTexNotifier& /*other*/) : VxTexNotifier() {}

VxTexNotifier& VxTexNotifier::operator=(const VxTexNotifier& /*other*/) {
    // Registration belongs to the object's identity, not to its value.
    return *this;
}

VxTexNotifier::~VxTexNotifier() {
    Unregister();
}

void VxTexNotifier::Unregister() {
    // Also inside a fork: an entry left behind would be a dangling pointer
    // for the next heap release.
    VxUnregisterNotifier(this);
}

int VxTexNotifier::Reallocate() {
    return 0;
}

void* VxTexNotifier::GetVoidData() const {
    return nullptr;
}

std::vector<VxTexNotifier*> VxRegisteredTexNotifiers() {
    return VxRegisteredNotifiers();
}
