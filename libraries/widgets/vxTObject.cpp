// The widget base, the end-of-search sentinel, containers and groups: the
// tree, its hit test, focus paths and bounds. Nothing here draws; the
// drawing hooks live in vxTObjectDraw.cpp.
#include "vxTObject.h"

#include "vxString.h"
#include "vxTDraw.h"
#include "vxTManager.h"

#include <algorithm>
#include <cfloat>
#include <cstring>

namespace {

// A focus path is a chain of `found` links that ends at a widget naming
// itself. Links are only set by searches, which go down the tree, but
// tForceFound() takes any pointer; the bound keeps a cycle made that way
// from running the walks forever.
constexpr int kMaxPathDepth = 4096;

enum PathOp { kActivate, kPoise, kDrag };

// The rejection of VxTObject::tFind: not findable and visible, or bounded
// and out of reach.
inline bool Misses(const VxTObject& w, HvVec2 pos, HvVec2 tol) {
    return (w.state & (kVxTFindable | kVxTVisible)) != (kVxTFindable | kVxTVisible) ||
           ((w.flags & kVxTBounded) &&
            !(pos.x + tol.x >= w.origin.x && pos.y + tol.y >= w.origin.y &&
              pos.x - tol.x <= w.origin.x + w.size.x && pos.y - tol.y <= w.origin.y + w.size.y));
}

} // namespace

// ---------------------------------------------------------------------------
// VxTObject
// ---------------------------------------------------------------------------

VxTObject::VxTObject(const char* n)
    : name(VxStringDuplicate(n)), hint(nullptr), manager(nullptr), parent(nullptr), found(nullptr),
      colour(1.0f, 1.0f, 1.0f), origin(0.0f, 0.0f), size(0.0f, 0.0f),
      state(kVxTFindable | kVxTVisible), widgetScale(1.0f), spare(0),
      flags(kVxTBounded | kVxTOriginSettable | kVxTSizeSettable) {}

VxTObject::~VxTObject() {
    // Out of every list first: a group resets its bounds without us.
    while (VxListItem<VxTContainer*>* holder = holders_.head)
        holder->value->tcChildDestroyed(this);
    VxTManager::forgetObject(this);
    delete[] name;
    delete[] hint;
}

void VxTObject::myTPushTransform() {}
void VxTObject::myTPopTransform() {}

int VxTObject::myTActivate(HvVec2) {
    tSetFlags(kVxTActive, true);
    return 1;
}

int VxTObject::myTDeactivate() {
    tSetFlags(kVxTActive, false);
    return 1;
}

int VxTObject::myTPoise(HvVec2) {
    tSetFlags(kVxTPoised, true);
    return 1;
}

int VxTObject::myTDepoise() {
    tSetFlags(kVxTPoised, false);
    return 1;
}

void VxTObject::tChildBoundsChanged(VxTObject*) {}

HvVec2 VxTObject::tMapToLocal(const HvVec2& p) {
    return p - origin;
}

void VxTObject::tManager(VxTManager* m) {
    manager = m;
}

void VxTObject::tWidgetScale(float scale) {
    widgetScale = scale;
}

void VxTObject::tSize(HvVec2 s) {
    if (!(flags & kVxTSizeSettable))
        return;
    size = s;
    if (parent)
        parent->tChildBoundsChanged(this);
}

void VxTObject::tOrigin(HvVec2 p) {
    if (!(flags & kVxTOriginSettable))
        return;
    origin = p;
    if (parent)
        parent->tChildBoundsChanged(this);
}

HvVec2 VxTObject::tMinSize() const {
    return HvVec2(0.0f, 0.0f);
}

HvVec2 VxTObject::tMaxSize() const {
    return HvVec2(FLT_MAX, FLT_MAX);
}

VxTObject* VxTObject::tFind(const char* n) {
    return n && name && std::strcmp(n, name) == 0 ? this : nullptr;
}

int VxTObject::tAddChild(VxTObject*) {
    return 0;
}

int VxTObject::tRemoveChild(VxTObject*) {
    return 0;
}

void VxTObject::tForceFound(VxTObject* child) {
    found = child ? child : this;
}

void VxTObject::tName(const char* n) {
    // Copy before freeing: `n` may be the current name.
    char* copy = VxStringDuplicate(n);
    delete[] name;
    name = copy;
}

void VxTObject::tHint(const char* h) {
    char* copy = VxStringDuplicate(h);
    delete[] hint;
    hint = copy;
}

void VxTObject::tSetState(int s) {
    state = s;
}

bool VxTObject::tInBounds(HvVec2 pos, HvVec2 tol) const {
    return pos.x + tol.x >= origin.x && pos.y + tol.y >= origin.y &&
           pos.x - tol.x <= origin.x + size.x && pos.y - tol.y <= origin.y + size.y;
}

VxTObject* VxTObject::tFind(HvVec2 pos, HvVec2 tolerance) {
    if (Misses(*this, pos, tolerance)) {
        // Most widgets miss most searches: leave their memory clean.
        if (found)
            found = nullptr;
        return nullptr;
    }
    myTPushTransform();
    VxTObject* hit = myTFind(pos, tolerance);
    myTPopTransform();
    if (!hit)
        found = nullptr;
    return hit;
}

int VxTObject::walkDown(int op, HvVec2 pos, int depth) {
    if (found == this) {
        switch (op) {
        case kActivate:
            return myTActivate(pos);
        case kPoise:
            return myTPoise(pos);
        default:
            return myTDrag(pos);
        }
    }
    if (isNull(found) || depth >= kMaxPathDepth)
        return 0;
    const HvVec2 local = tMapToLocal(pos);
    myTPushTransform();
    const int result = found->walkDown(op, local, depth + 1);
    myTPopTransform();
    return result;
}

int VxTObject::tActivate(HvVec2 pos) {
    return walkDown(kActivate, pos, 0);
}

int VxTObject::tPoise(HvVec2 pos) {
    return walkDown(kPoise, pos, 0);
}

int VxTObject::tDrag(HvVec2 pos) {
    return walkDown(kDrag, pos, 0);
}

namespace {

// The leaf of a focus path, or null when a link is missing.
VxTObject* PathLeaf(VxTObject* o) {
    for (int depth = 0; !VxTObject::isNull(o) && depth < kMaxPathDepth; ++depth) {
        if (o->found == o)
            return o;
        o = o->found;
    }
    return nullptr;
}

} // namespace

int VxTObject::tDeactivate() {
    VxTObject* leaf = PathLeaf(this);
    return leaf ? leaf->myTDeactivate() : 0;
}

int VxTObject::tDepoise() {
    VxTObject* leaf = PathLeaf(this);
    return leaf ? leaf->myTDepoise() : 0;
}

void VxTObject::tParent(VxTObject* p) {
    if (!p) {
        parent = nullptr;
        tManager(nullptr);
        return;
    }
    if (!p->tAddChild(this))
        return;
    parent = p;
    tManager(p->manager);
    p->tChildBoundsChanged(this);
}

VxTObject* VxTObject::tRootParent() const {
    const VxTObject* o = this;
    for (int depth = 0; o->parent && depth < kMaxPathDepth; ++depth)
        o = o->parent;
    return const_cast<VxTObject*>(o);
}

void VxTObject::tRequestRedraw() const {
    if (manager)
        manager->needsRedraw = 1;
}

bool VxTObject::isNull(const VxTObject* p) {
    return p == nullptr || p == VxTFindObject::endSearch;
}

// ---------------------------------------------------------------------------
// VxTFindObject
// ---------------------------------------------------------------------------

VxTFindObject::VxTFindObject(const char* n) : VxTObject(n) {}
VxTFindObject::~VxTFindObject() = default;

VxTObject* VxTFindObject::myTFind(HvVec2, HvVec2) {
    found = this;
    return this;
}

void VxTFindObject::myTDraw() {}

int VxTFindObject::myTDrag(HvVec2) {
    return 0;
}

VxTFindObject VxTFindObject::endSearchObject("findObject");
VxTObject* const VxTFindObject::endSearch = &VxTFindObject::endSearchObject;

// ---------------------------------------------------------------------------
// VxTContainer
// ---------------------------------------------------------------------------

VxTContainer::VxTContainer() : found(nullptr), ownsChildren(0), boundsState(2) {}

VxTContainer::~VxTContainer() {
    tcEmpty();
}

bool VxTContainer::tcAppend(VxTObject* child) {
    if (!child || children.find(child))
        return false;
    children.append(new VxListItem<VxTObject*>(child));
    child->holders_.findOrAppend(this);
    searchOrder_.push_back(child);
    return true;
}

bool VxTContainer::tcRemove(VxTObject* child) {
    if (!child || !children.removeAll(child))
        return false;
    child->holders_.removeAll(this);
    searchOrder_.erase(std::remove(searchOrder_.begin(), searchOrder_.end(), child),
                       searchOrder_.end());
    return true;
}

void VxTContainer::tcChildDestroyed(VxTObject* child) {
    const bool visible = child->isVisible();
    tcRemove(child);
    child->holders_.removeAll(this); // even were the list edited by hand
    if (found == child)
        found = nullptr;
    // Only a finished group or manager forgets more; while either is being
    // destroyed its children are already gone from the list.
    if (VxTGroup* group = dynamic_cast<VxTGroup*>(this)) {
        if (group->VxTObject::found == child)
            group->VxTObject::found = nullptr;
        group->resetBounds();
        if (visible)
            group->tRequestRedraw();
    } else if (VxTManager* m = dynamic_cast<VxTManager*>(this)) {
        if (visible)
            m->needsRedraw = 1;
    }
}

void VxTContainer::tcBounds(HvBox2& box) {
    if (!children.head) {
        box = HvBox2(0.0f, 0.0f, 0.0f, 0.0f);
        boundsState = 2;
        return;
    }
    box = hvInitBox2;
    boundsState = 1;
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next) {
        const VxTObject* c = item->value;
        if (!c->isBounded()) {
            boundsState = 0;
            continue;
        }
        box.Include(c->origin);
        box.Include(c->origin + c->size);
    }
}

void VxTContainer::tcEmpty() {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next)
        item->value->tParent(nullptr);
    // Each child leaves the list, and loses its back link, before it may be
    // deleted, so its destructor finds nothing here to take it out of.
    while (VxListItem<VxTObject*>* item = children.head) {
        VxTObject* child = item->value;
        tcRemove(child);
        if (ownsChildren)
            delete child;
    }
    found = nullptr;
}

VxTObject* VxTContainer::tcFindChild(const char* n) {
    if (!n)
        return nullptr;
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next)
        if (item->value->name && std::strcmp(item->value->name, n) == 0)
            return item->value;
    return nullptr;
}

VxTObject* VxTContainer::tcFindChild(VxTObject* child) {
    return child && children.find(child) ? child : nullptr;
}

void VxTContainer::tcManager(VxTManager* m) {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next)
        item->value->tManager(m);
}

void VxTContainer::tcForceFound(VxTObject* child) {
    found = child;
}

VxTObject* VxTContainer::tcFind(HvVec2 pos, HvVec2 tolerance) {
    // Most children miss. Their rejection (the first step of tFind) is done
    // here in line, from a local copy of the array, so that a search over
    // many widgets costs little more than a loop over their boxes.
    std::size_t i = searchOrder_.size();
    VxTObject* const* items = searchOrder_.data();
    while (i-- > 0) {
        VxTObject* child = items[i];
        if (Misses(*child, pos, tolerance)) {
            if (child->found)
                child->found = nullptr;
            continue;
        }
        VxTObject* hit = child->tFind(pos, tolerance);
        if (hit) {
            found = hit == VxTFindObject::endSearch ? nullptr : child;
            return hit;
        }
        // A widget's own search may have taken children out of this one.
        items = searchOrder_.data();
        i = std::min(i, searchOrder_.size());
    }
    found = nullptr;
    return nullptr;
}

void VxTContainer::tcDraw() {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next)
        if (item->value->isVisible())
            item->value->myTDraw();
}

int VxTContainer::tcHasUsefulChildren() {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next)
        if (item->value->isVisible() || item->value->isActive())
            return 1;
    return 0;
}

// ---------------------------------------------------------------------------
// VxTGroup
// ---------------------------------------------------------------------------

VxTGroup::VxTGroup(const char* n)
    : VxTObject(n), backColour(VxTDraw::_gBackCol),
      groupFlags(kVxTGroupDrawBackground | kVxTGroupDefaultBackColour | kVxTGroupSwallowSearch) {
    // A group's box follows its children, never the caller.
    tSetFlags(kVxTOriginSettable | kVxTSizeSettable, false);
}

VxTObject* VxTGroup::myTFind(HvVec2 pos, HvVec2 tolerance) {
    VxTObject* hit = tcFind(pos, tolerance);
    VxTObject::found = VxTContainer::found;
    if (hit)
        return hit;
    return (groupFlags & kVxTGroupSwallowSearch) ? VxTFindObject::endSearch : nullptr;
}

int VxTGroup::myTDrag(HvVec2) {
    return 0;
}

int VxTGroup::myTActivate(HvVec2) {
    return 0;
}

int VxTGroup::myTDeactivate() {
    return 0;
}

int VxTGroup::myTPoise(HvVec2) {
    return 0;
}

int VxTGroup::myTDepoise() {
    return 0;
}

void VxTGroup::tChildBoundsChanged(VxTObject*) {
    resetBounds();
}

HvVec2 VxTGroup::tMapToLocal(const HvVec2& p) {
    return p;
}

VxTGroup::~VxTGroup() = default;

void VxTGroup::tManager(VxTManager* m) {
    manager = m;
    tcManager(m);
}

int VxTGroup::tAddChild(VxTObject* child) {
    if (!child || child == this)
        return 0;
    const bool wasEmpty = children.head == nullptr;
    if (!tcAppend(child))
        return 0;
    // The child just added alone decides, until the next resetBounds().
    boundsState = child->isBounded() ? 1 : 0;
    tSetFlags(kVxTBounded, boundsState != 0);
    child->tManager(manager);
    child->tParent(this); // finds the child listed: changes nothing
    if (child->isBounded()) {
        if (wasEmpty) {
            origin = child->origin;
            size = child->size;
        } else {
            HvBox2 box(origin.x, origin.x + size.x, origin.y, origin.y + size.y);
            box.Include(child->origin);
            box.Include(child->origin + child->size);
            origin = HvVec2(box.xmin, box.ymin);
            size = HvVec2(box.xmax - box.xmin, box.ymax - box.ymin);
        }
    }
    if (child->isVisible())
        tRequestRedraw();
    return 1;
}

int VxTGroup::tRemoveChild(VxTObject* child) {
    if (!tcRemove(child))
        return 0;
    const bool visible = child->isVisible();
    child->tParent(nullptr);
    resetBounds();
    if (visible)
        tRequestRedraw();
    return 1;
}

void VxTGroup::tForceFound(VxTObject* child) {
    VxTObject* f = child ? child : this;
    VxTObject::found = f;
    VxTContainer::found = f;
}

void VxTGroup::resetBounds() {
    HvBox2 box;
    tcBounds(box);
    tSetFlags(kVxTBounded, boundsState != 0);
    origin = HvVec2(box.xmin, box.ymin);
    size = HvVec2(box.xmax - box.xmin, box.ymax - box.ymin);
    if (parent)
        parent->tChildBoundsChanged(this);
}
