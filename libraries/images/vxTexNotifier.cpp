#include "vxTexNotifier.h"

#include "../memory/vxHeapSpace.h"
#include "vxHost.h"

VxTexNotifier::VxTexNotifier() {
    // The list is shared by every worker and has no lock: only the main line
    // of control may change it.
    if (!VxMpIsForked())
        VxHeapNotifierList().push_back(this);
}

VxTexNotifier::VxTexNotifier(const VxTexNotifier& /*other*/) : VxTexNotifier() {}

VxTexNotifier& VxTexNotifier::operator=(const VxTexNotifier& /*other*/) {
    // Registration belongs to the object's identity, not to its value.
    return *this;
}

VxTexNotifier::~VxTexNotifier() {
    if (VxMpIsForked())
        return;
    std::vector<VxTexNotifier*>& list = VxHeapNotifierList();
    for (auto it = list.begin(); it != list.end(); ++it) {
        if (*it == this) {
            list.erase(it);
            return;
        }
    }
}

int VxTexNotifier::Reallocate() {
    return 0;
}

void* VxTexNotifier::GetVoidData() const {
    return nullptr;
}
