// vxTObject.h - the on-screen widget tree: the widget base, groups of widgets,
// and the hit test that finds the widget under the pen.
//
// Every interactive handle an effect draws over the host viewer is a
// VxTObject. Widgets form a tree: leaves (sliders, toggles, ...; vxTSlider.h,
// vxTToggle.h, vxTDisplay.h), VxTGroup nodes that hold children, and at the
// root one VxTManager per viewer (vxTManager.h), which turns the host's
// pointer events into hit tests and calls on the widget under the pen.
//
// Coordinates
//   Positions are HvVec2 in the viewer's drawing space, y up. A widget's
//   bounds are the box from `origin` (its lower-left corner) to origin + size.
//   Children of a group use the group's coordinates (a group does not move
//   its children). A widget that draws in coordinates of its own maps pen
//   positions with tMapToLocal() and brackets its hit test and its children's
//   with myTPushTransform() / myTPopTransform().
//
// Hit testing
//   tFind(pos, tolerance) answers which widget is under the pen, searching a
//   widget's children from the last added (drawn on top) to the first. A
//   widget takes part only when its `state` has both kVxTFindable and
//   kVxTVisible. A bounded widget (kVxTBounded) first rejects pens farther
//   than the tolerance from its bounds; the comparison is inclusive, so a pen
//   exactly `tolerance` outside still hits. The answer is the widget hit,
//   null for nothing, or VxTFindObject::endSearch, which means "stop
//   searching, nothing here" (a group that swallows the pen over its empty
//   background answers it). VxTObject::isNull() is true for both.
//
//   A successful search leaves a focus path behind: every widget's `found`
//   names the child through which the hit passed, or the widget itself at the
//   leaf. tActivate(), tPoise() and tDrag() follow that path down to the leaf
//   (mapping the position at every level); tDeactivate() and tDepoise() walk
//   it without mapping.
//
// States
//   A widget is idle, poised (kVxTPoised: the pen hovers over it) or active
//   (kVxTActive: the pen was pressed on it). The manager moves it between
//   them through the my* hooks, which derived widgets override.
//
// Messages
//   Widgets tell the plug-in about the user's edits by sending VxMessages
//   (vxMessage.h) with the identifiers of VxTWidgetMessage, named after the
//   widget that sends them.
//
// Ownership
//   A widget owns private copies of its name and hint (freed with delete[]).
//   Containers (groups, the manager) refer to their children and delete them
//   only when their `ownsChildren` bit is set. The plug-in owns the tree it
//   builds; a widget belongs in one container at a time.
//
//   Destroying a widget detaches it from everything that refers to it: it is
//   removed from every group and manager that lists it (a group then resets
//   its bounds, see VxTGroup), and every manager forgets it as its found
//   object, its focus-path root and its default object. So a widget may be
//   deleted at any time from outside its own message sending and nothing
//   dangles. Deleting a widget from inside a handler of its own messages is
//   not allowed (the widget still runs after the send). Destroying a group or
//   a manager clears its children's parent and manager pointers.
//
// Failures
//   No widget operation throws. Null arguments and repeated operations (adding
//   a child twice, removing one that is not there) return false. Operations
//   returning int return true when the viewer must be redrawn.
//
// Threading
//   The host's user-interface thread only. There are no locks.
#ifndef VX_T_OBJECT_H
#define VX_T_OBJECT_H

#include "hvMaths.h"
#include "vxColour.h"
#include "vxExport.h"
#include "vxList.h"

#include <cstdint>
#include <vector>

class VxTManager;
class VxTContainer;

// Bits of VxTObject::state, set as a whole with tSetState().
enum VxTStateBits : int {
    kVxTFindable = 1, // takes part in hit testing
    kVxTVisible = 2,  // drawn by its container; adding or removing it asks for a redraw
};

// Bits of VxTObject::flags.
enum VxTFlagBits : unsigned char {
    kVxTBounded = 1,        // hit testing first rejects pens outside origin/size
    kVxTOriginSettable = 2, // tOrigin() takes effect
    kVxTSizeSettable = 4,   // tSize() takes effect
    kVxTActive = 8,         // the pen is down on it
    kVxTPoised = 16,        // the pen hovers over it
};

// The identifiers of the messages widgets send to their handlers.
enum VxTWidgetMessage : int {
    kVxTMsgPressed = 200,  // a slider is pressed; no value
    kVxTMsgChanged = 201,  // a slider's value is moved by the pen; kind 3, the value
    kVxTMsgReleased = 202, // a slider is released; no value
    kVxTMsgSet = 203,      // a value or state set by program with notification, or a
                           // toggle, multi-toggle or tab button switched by the pen
};

// The abstract widget. Derive, and implement myTFind (what is hit), myTDraw
// and myTDrag; override the other my* hooks to react to the pen.
class VX_API VxTObject {
public:
    // `name` is copied; null gives no name. The widget starts visible and
    // findable (state 3), bounded, with settable origin and size, at (0, 0)
    // with size (0, 0), in white.
    explicit VxTObject(const char* name = nullptr);
    VxTObject(const VxTObject&) = delete;
    VxTObject& operator=(const VxTObject&) = delete;

    // --- Virtual operations, in this order ---

    // The widget hit at `pos` inside this one, or null (or endSearch). Called
    // by tFind() once the state and bounds tests have passed; sets `found`.
    virtual VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) = 0;
    // Draws the widget in the current GL context.
    virtual void myTDraw() = 0;
    // The pen moved while down on this widget; true when it changed.
    virtual int myTDrag(HvVec2 pos) = 0;
    // Bracket the hit test and the focus-path walks of this widget's
    // children: a widget with coordinates of its own pushes and pops them.
    virtual void myTPushTransform();
    virtual void myTPopTransform();
    // Default: set kVxTActive and return true.
    virtual int myTActivate(HvVec2 pos);
    // Default: clear kVxTActive and return true.
    virtual int myTDeactivate();
    // Default: set kVxTPoised and return true.
    virtual int myTPoise(HvVec2 pos);
    // Default: clear kVxTPoised and return true.
    virtual int myTDepoise();
    // Draws the hint at `at` (VxTDraw::drawHint) when there is one and the
    // widget is not active.
    virtual void tDrawHint(const HvVec2& at);
    // A child's bounds changed. Default: nothing (groups reset their bounds).
    virtual void tChildBoundsChanged(VxTObject* child);
    // A position in the parent's coordinates mapped into the coordinates the
    // children of this widget use. Default: p - origin.
    virtual HvVec2 tMapToLocal(const HvVec2& p);
    // Detaches the widget (see "Ownership" above), frees name and hint.
    virtual ~VxTObject();
    // Stores the manager of the tree the widget is in (not owned).
    virtual void tManager(VxTManager* m);
    virtual void tWidgetScale(float scale);
    // Set size / origin when kVxTSizeSettable / kVxTOriginSettable is set,
    // then tell the parent (tChildBoundsChanged).
    virtual void tSize(HvVec2 s);
    virtual void tOrigin(HvVec2 p);
    // (0, 0) and (FLT_MAX, FLT_MAX); for layout code, not applied by tSize.
    virtual HvVec2 tMinSize() const;
    virtual HvVec2 tMaxSize() const;
    // This widget when `name` equals its name, else null. Does not search
    // children (VxTContainer::tcFindChild does). Null never matches.
    virtual VxTObject* tFind(const char* name);
    // Default: no children; false.
    virtual int tAddChild(VxTObject* child);
    virtual int tRemoveChild(VxTObject* child);
    // found = child, or this when child is null.
    virtual void tForceFound(VxTObject* child);

    // --- Non-virtual operations ---

    // Replace the private copy of the name / hint; null clears it.
    void tName(const char* name);
    void tHint(const char* hint);
    // state = s (VxTStateBits).
    void tSetState(int s);
    // The hit test described at the top of this header. The position is
    // passed to myTFind unmapped.
    VxTObject* tFind(HvVec2 pos, HvVec2 tolerance);
    // Focus-path walks: follow `found` to the leaf and call its my* hook
    // there; false when the path is broken (a null link).
    int tActivate(HvVec2 pos);
    int tDeactivate();
    int tPoise(HvVec2 pos);
    int tDepoise();
    int tDrag(HvVec2 pos);
    // Puts this widget into `p` (p->tAddChild(this)); when p accepts it, sets
    // parent, takes p's manager and tells p its bounds changed. Null clears
    // parent and manager (and does not remove it from a list).
    void tParent(VxTObject* p);
    // The topmost widget up the parent links (this one when it has no parent).
    VxTObject* tRootParent() const;
    // Sets the manager's needsRedraw, when there is a manager.
    void tRequestRedraw() const;
    // True for null and for VxTFindObject::endSearch.
    static bool isNull(const VxTObject* p);

    bool isActive() const { return (flags & kVxTActive) != 0; }
    bool isPoised() const { return (flags & kVxTPoised) != 0; }
    bool isBounded() const { return (flags & kVxTBounded) != 0; }
    bool isVisible() const { return (state & kVxTVisible) != 0; }
    // Sets or clears bits of `flags`.
    void tSetFlags(unsigned char bits, bool on) {
        flags = static_cast<unsigned char>(on ? (flags | bits) : (flags & ~bits));
    }
    // pos within the bounds widened by `tolerance` on every side (inclusive).
    bool tInBounds(HvVec2 pos, HvVec2 tolerance) const;

    // --- Data, in this order ---

    char* name;          // owned copy, or null
    char* hint;          // owned copy, or null: shown near the pen over the widget
    VxTManager* manager; // manager of the tree the widget is in; not owned
    VxTObject* parent;   // parent group; not owned (null for top-level widgets)
    VxTObject* found;    // next link of the focus path: a child, this, or null
    VxRGBf colour;       // drawing colour; (1, 1, 1) here, derived widgets choose
    HvVec2 origin;       // lower-left corner of the bounds
    HvVec2 size;         // extent of the bounds
    int state;           // VxTStateBits; 3 at construction
    float widgetScale;   // scale of handles drawn by derived widgets; 1
    unsigned char spare; // cleared; free for derived widgets
    unsigned char flags; // VxTFlagBits; the three high bits are never touched here

private:
    friend class VxTContainer;
    // Every container whose list holds this widget, so that the destructor
    // can take it out of them.
    VxList<VxTContainer*> holders_;

    int walkDown(int op, HvVec2 pos, int depth);
};

// The concrete widget whose hit test always answers itself, and the sentinel
// built from it: endSearch ("stop searching, nothing here").
class VX_API VxTFindObject : public VxTObject {
public:
    explicit VxTFindObject(const char* name = nullptr);
    ~VxTFindObject() override;
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override; // this
    void myTDraw() override;                                   // nothing
    int myTDrag(HvVec2 pos) override;                          // false

    // Lives from library load to unload, named "findObject".
    static VxTFindObject endSearchObject;
    static VxTObject* const endSearch; // &endSearchObject
};

// The list of children mixed into groups and the manager.
//
// Children are drawn from the first added to the last (later ones on top)
// and searched from the last to the first. Change the list only through the
// operations of the group or manager (never the list's own append, remove or
// sort): they keep the back links with which a destroyed child takes itself
// out, and the array the hit test walks.
class VX_API VxTContainer {
public:
    VxTContainer();
    VxTContainer(const VxTContainer&) = delete;
    VxTContainer& operator=(const VxTContainer&) = delete;
    // tcEmpty(): deletes the children when ownsChildren is set.
    virtual ~VxTContainer();
    // The union of the bounded children's boxes; sets boundsState (2: no
    // children, box all zeros; 1: all bounded; 0: some child unbounded).
    virtual void tcBounds(HvBox2& box);

    // Clears every child's parent and manager (tParent(null)), removes them
    // all, and deletes them when ownsChildren is set.
    void tcEmpty();
    // The first direct child with this name (null never matches), or null.
    VxTObject* tcFindChild(const char* name);
    // `child` when it is listed, else null.
    VxTObject* tcFindChild(VxTObject* child);
    // Passes m to every child's tManager().
    void tcManager(VxTManager* m);
    // found = child.
    void tcForceFound(VxTObject* child);
    // Searches the children from the last added to the first; the first
    // non-null answer ends the search and is returned as it is. found becomes
    // the child that answered, or null for nothing or endSearch.
    VxTObject* tcFind(HvVec2 pos, HvVec2 tolerance);
    // myTDraw() of every visible child, from the first added to the last.
    void tcDraw();
    // True when some child is visible or active.
    int tcHasUsefulChildren();

    VxList<VxTObject*> children;   // the children, in the order added; not owned
    VxTObject* found;              // the child through which the last hit passed
    unsigned int ownsChildren : 1; // delete the children when emptied; 0
    int boundsState;               // 2, 1 or 0 as tcBounds says; 2 at construction

protected:
    // Appends `child` and records the back link; false when null or listed.
    bool tcAppend(VxTObject* child);
    // Removes every item holding `child` and the back link; false when absent.
    bool tcRemove(VxTObject* child);

private:
    friend class VxTObject;
    // A listed child is being destroyed: forget it everywhere in here.
    void tcChildDestroyed(VxTObject* child);

    // The children again, in the same order, in an array: the hit test
    // walks this rather than the list, so the widgets' fields can be fetched
    // side by side instead of one list node after another.
    std::vector<VxTObject*> searchOrder_;
};

// Bits of VxTGroup::groupFlags; all three are set at construction.
enum VxTGroupBits : unsigned char {
    kVxTGroupDrawBackground = 1,    // myTDraw fills the bounds before the children
    kVxTGroupDefaultBackColour = 2, // ... in VxTDraw::_gBackCol, else in backColour
    kVxTGroupSwallowSearch = 4,     // a pen inside the bounds over no child answers endSearch
};

// A node of the widget tree: holds children and draws and searches them.
//
// A group's bounds are derived from its children (its origin and size are
// not settable): resetBounds() makes them the union of the bounded children's
// boxes, and the group is bounded unless some child is unbounded. A group is
// never active or poised itself; the focus path passes through it. Children
// use the group's coordinates.
//
// Two rules to know:
// - Put a widget into a group with child->tParent(group), which sets the
//   child's parent. group->tAddChild(child) alone lists the child but leaves
//   its parent pointer null (its inner tParent call finds the child already
//   listed). Widgets that build groups call tParent, then tAddChild and
//   resetBounds.
// - tAddChild() lets the child just added alone decide whether the group is
//   bounded, until the next resetBounds(): a bounded child added after an
//   unbounded one leaves the group bounded.
//
// Destroying a child that the group lists removes it and resets the bounds.
// `found` is ambiguous in a group: VxTObject::found and VxTContainer::found
// (both name the same child after a search).
class VX_API VxTGroup : public VxTObject, public VxTContainer {
public:
    explicit VxTGroup(const char* name = nullptr);

    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    // The background when kVxTGroupDrawBackground is set, then the children.
    void myTDraw() override;
    int myTDrag(HvVec2 pos) override;                    // false
    int myTActivate(HvVec2 pos) override;                // false, nothing changes
    int myTDeactivate() override;                        // false, nothing changes
    int myTPoise(HvVec2 pos) override;                   // false, nothing changes
    int myTDepoise() override;                           // false, nothing changes
    void tChildBoundsChanged(VxTObject* child) override; // resetBounds()
    HvVec2 tMapToLocal(const HvVec2& p) override;        // p: identity
    ~VxTGroup() override;
    // Its own manager, then every child's.
    void tManager(VxTManager* m) override;
    // Null or already listed: false. Otherwise appends the child, lets it
    // decide boundedness (see above), gives it the group's manager, and widens
    // the group's box by a bounded child's (or takes it, for the first child).
    int tAddChild(VxTObject* child) override;
    // Removes the child (every item holding it), clears its parent and
    // manager and resets the bounds; false when it is not listed.
    int tRemoveChild(VxTObject* child) override;
    // Both founds = child, or this group when child is null.
    void tForceFound(VxTObject* child) override;
    // Fills origin..origin + size in VxTDraw::_gBackCol or backColour.
    virtual void drawBackground();

    // Bounds from the children (tcBounds), bounded = boundsState != 0, then
    // tells the parent, so that changes climb to the root. A group with no
    // children has bounds (0, 0)-(0, 0) and is bounded.
    void resetBounds();

    VxRGBf backColour;        // background when kVxTGroupDefaultBackColour is clear
    unsigned char groupFlags; // VxTGroupBits; all set at construction
};

#endif
