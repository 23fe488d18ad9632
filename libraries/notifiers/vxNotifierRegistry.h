// vxNotifierRegistry.h - the process-wide list of registered texture
// notifiers (gNotifiers) and the lock that guards it. Private to the library:
// notifiers add and remove themselves (vxTexNotifier.cpp), the heap's release
// walk visits them (vxHeap.cpp).
//
// Every function here may be called from any thread at any time.
//
// The lock is never held while a notifier's own code runs, so a Reallocate()
// called by the walk may construct and destroy textures (register and
// unregister) in the same thread without deadlock. What the walk does about
// the list changing under it:
//   - a notifier added during the walk is visited too, at the end;
//   - a notifier removed before its turn is not visited;
//   - a notifier that another thread tries to remove while the walk is
//     visiting it waits until the visit returns, so the walk never calls
//     into an object whose destruction has gone past its unregistration.
// A walk started from inside a visit (a Reallocate that moves the heap out
// again) does nothing.
#ifndef VX_NOTIFIER_REGISTRY_H
#define VX_NOTIFIER_REGISTRY_H

#include <functional>
#include <vector>

class VxTexNotifier;

// Appends n at the end of the list.
void VxRegisterNotifier(VxTexNotifier* n);

// Removes n's entry (an object is listed at most once); false when it was not
// listed. Waits while another thread's walk is visiting n.
bool VxUnregisterNotifier(const VxTexNotifier* n);

// A copy of the list, in registration order.
std::vector<VxTexNotifier*> VxRegisteredNotifiers();

// Calls visit(n) for every listed notifier in registration order, as
// described above.
void VxVisitNotifiers(const std::function<void(VxTexNotifier*)>& visit);

#endif
