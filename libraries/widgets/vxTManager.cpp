// The widget manager: pointer messages in, hit tests and focus-path calls
// out. Nothing here draws except tmDraw(), which only calls the widgets.
#include "vxTManager.h"

#include "vxHost.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// Managers are per viewer and few; they live on the user-interface thread.
VxTManager* gFirstManager = nullptr;

bool Moved(const HvVec2& delta) {
    return std::fabs(static_cast<double>(delta.x)) > 0.001 ||
           std::fabs(static_cast<double>(delta.y)) > 0.001;
}

// The widget at the end of the focus path from `o`, or null when a link is
// missing. Bounded like the walks of VxTObject.
VxTObject* PathLeaf(VxTObject* o) {
    for (int depth = 0; !VxTObject::isNull(o) && depth < 4096; ++depth) {
        if (o->found == o)
            return o;
        o = o->found;
    }
    return nullptr;
}

} // namespace

// ---------------------------------------------------------------------------
// VxTPointerMessage
// ---------------------------------------------------------------------------

VxTPointerMessage::VxTPointerMessage(int event, int device, const HvVec2& pos)
    : VxMessage(event, "pointer") {
    kind = kVxMessagePointer;
    float xy[2] = {pos.x, pos.y};
    std::memcpy(&value, xy, sizeof xy);
    std::int32_t d = device;
    std::memcpy(&extra, &d, sizeof d);
}

int VxTPointerMessage::device(const VxMessage& m) {
    if (m.kind != kVxMessagePointer)
        return kVxTDeviceNone;
    std::int32_t d;
    std::memcpy(&d, &m.extra, sizeof d);
    return d;
}

HvVec2 VxTPointerMessage::position(const VxMessage& m) {
    if (m.kind != kVxMessagePointer)
        return HvVec2(0.0f, 0.0f);
    float xy[2];
    std::memcpy(xy, &m.value, sizeof xy);
    return HvVec2(xy[0], xy[1]);
}

// ---------------------------------------------------------------------------
// VxTManager
// ---------------------------------------------------------------------------

VxTManager::VxTManager()
    : found(nullptr), defaultObject(nullptr), penPos(0.0f, 0.0f), penDelta(0.0f, 0.0f),
      tolerance(3.0f, 3.0f), penDown(0), needsRedraw(0), busy(0), finding(0), showHints(1),
      nextManager_(gFirstManager), prevManager_(nullptr) {
    if (gFirstManager)
        gFirstManager->prevManager_ = this;
    gFirstManager = this;
}

VxTManager::~VxTManager() {
    if (prevManager_)
        prevManager_->nextManager_ = nextManager_;
    else
        gFirstManager = nextManager_;
    if (nextManager_)
        nextManager_->prevManager_ = prevManager_;
    // The container's destructor then clears the children's manager links.
}

void VxTManager::forgetObject(VxTObject* w) {
    for (VxTManager* m = gFirstManager; m; m = m->nextManager_) {
        if (m->found == w)
            m->found = nullptr;
        if (m->defaultObject == w)
            m->defaultObject = nullptr;
        if (m->VxTContainer::found == w)
            m->VxTContainer::found = nullptr;
    }
}

HvVec2 VxTManager::tmPenPos() const {
    return penPos;
}

HvVec2 VxTManager::tmPenDelta() const {
    return penDelta;
}

int VxTManager::tmIsPenDown() const {
    return penDown;
}

void VxTManager::tmDraw() {
    tcDraw();
    needsRedraw = 0;
    if (showHints && found)
        found->tDrawHint(penPos + HvVec2(8.0f, 8.0f));
}

int VxTManager::tmAddChild(VxTObject* w) {
    if (!w || children.find(w))
        return 0;
    w->tParent(nullptr);
    tcAppend(w);
    boundsState = w->isBounded() ? 1 : 0;
    w->tManager(this);
    if (w->isVisible())
        needsRedraw = 1;
    return 1;
}

int VxTManager::tmRemoveChild(VxTObject* w) {
    if (!tcRemove(w))
        return 0;
    w->tManager(nullptr);
    if (w->isVisible())
        needsRedraw = 1;
    return 1;
}

void VxTManager::tmFind() {
    finding = 1;
    found = tcFind(penPos, tolerance);
    if (found == VxTFindObject::endSearch)
        found = nullptr;
    if (!found && defaultObject &&
        (defaultObject->state & (kVxTFindable | kVxTVisible)) == (kVxTFindable | kVxTVisible)) {
        // Lay the focus path from the top of the default object's tree down
        // to it, so that the walks from the root reach it.
        found = defaultObject;
        defaultObject->tForceFound(nullptr);
        VxTObject* top = defaultObject;
        for (int depth = 0; top->parent && depth < 4096; ++depth) {
            top->parent->tForceFound(top);
            top = top->parent;
        }
        tcForceFound(top);
    }
    if (!found)
        VxTCursor(kVxCursorDefault);
    finding = 0;
}

int VxTManager::tmFindAndActivate() {
    int redraw = 0;
    if (root() && root()->tDepoise())
        redraw = 1;
    tmFind();
    if (root() && root()->tActivate(penPos))
        redraw = 1;
    if (redraw)
        needsRedraw = 1;
    return redraw;
}

int VxTManager::tmDeactivate() {
    int redraw = 0;
    if (root() && root()->tDeactivate())
        redraw = 1;
    tmFind();
    if (root() && root()->tPoise(penPos))
        redraw = 1;
    if (redraw)
        needsRedraw = 1;
    return redraw;
}

void VxTManager::tmFindAndPoise() {
    if (!Moved(penDelta))
        return;
    if (root())
        root()->tDepoise();
    VxTObject* before = found;
    tmFind();
    if (root())
        root()->tPoise(penPos);
    if (found != before)
        needsRedraw = 1;
}

void VxTManager::tmLoseFocus() {
    // The states live at the end of the path (a group is never poised or
    // active itself), so that is where they are read.
    VxTObject* leaf = PathLeaf(root());
    if (leaf && leaf->isPoised() && root()->tDepoise())
        needsRedraw = 1;
    leaf = PathLeaf(root()); // the depoise may have changed the path
    if (leaf && leaf->isActive() && root()->tDeactivate())
        needsRedraw = 1;
}

void VxTManager::tmGainFocus() {
    tmFind();
    if (root()) {
        root()->tPoise(penPos);
        needsRedraw = 1;
    }
}

void VxTManager::tmDrag() {
    if (root())
        needsRedraw = root()->tDrag(penPos) ? 1 : 0;
}

int VxTManager::tmUIMessage(const VxMessage& msg) {
    handleMessage(msg, nullptr);
    return needsRedraw;
}

void VxTManager::tmUpdatePenPos(const VxMessage& msg) {
    const int device = VxTPointerMessage::device(msg);
    if (device != kVxTDeviceMouse && device != kVxTDeviceTablet)
        return;
    const HvVec2 pos = VxTPointerMessage::position(msg);
    penDelta = pos - penPos;
    penPos = pos;
}

int VxTManager::tmDidPenMove() const {
    return Moved(penDelta) ? 1 : 0;
}

void VxTManager::handleMessage(const VxMessage& msg, VxMessageSender*) {
    const int event = msg.id;
    if (event < kVxTPenMoved || event > kVxTPenLeft)
        return;
    if (event <= kVxTPenReleased)
        tmUpdatePenPos(msg);
    // The pen bit follows the hardware even when the event itself is dropped,
    // so a release during a re-entrant call is not lost.
    if (event == kVxTPenPressed)
        penDown = 1;
    else if (event == kVxTPenReleased)
        penDown = 0;
    if (busy)
        return;
    busy = 1;
    switch (event) {
    case kVxTPenMoved:
        if (penDown) {
            if (root())
                needsRedraw = root()->tDrag(penPos) ? 1 : 0;
        } else {
            tmFindAndPoise();
        }
        if (found && showHints)
            needsRedraw = 1;
        break;
    case kVxTPenPressed:
        if (root() && root()->tDepoise())
            needsRedraw = 1;
        tmFind();
        if (root() && root()->tActivate(penPos))
            needsRedraw = 1;
        break;
    case kVxTPenReleased:
        if (root() && root()->tDeactivate())
            needsRedraw = 1;
        tmFind();
        if (root() && root()->tPoise(penPos))
            needsRedraw = 1;
        break;
    case kVxTPenEntered:
        tmFind();
        if (root())
            root()->tPoise(penPos);
        needsRedraw = 1;
        break;
    case kVxTPenLeft:
        tmLoseFocus();
        break;
    default:
        break;
    }
    busy = 0;
}
