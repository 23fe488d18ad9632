// vxTManager.h - the root of a widget tree: turns the host's pointer events
// into hit tests and calls on the widget under the pen.
//
// A plug-in creates one VxTManager per viewer and adds its top-level widgets
// with tmAddChild(). For every user-interface event of the host it builds a
// VxTPointerMessage and calls tmUIMessage(); the answer is true when the
// viewer must be redrawn, and when the host redraws the plug-in calls
// tmDraw(). Widgets report their values to the plug-in through their own
// messages (vxTObject.h), not through the manager.
//
//     VxTManager ui;
//     VxTSlider gain("gain", 0.5f, 1);
//     gain.tOrigin(HvVec2(10, 10));
//     gain.tSize(HvVec2(200, 16));
//     ui.tmAddChild(&gain);
//     if (ui.tmUIMessage(VxTPointerMessage(kVxTPenPressed, kVxTDeviceMouse, HvVec2(60, 18))))
//         redraw(); // then ui.tmDraw() inside the host's GL context
//
// What each event does (positions are taken from mouse and tablet events of
// moves, presses and releases only):
//   kVxTPenMoved     pen down: drag the widget it was pressed on (no new
//                    search, so the drag goes on outside the widget), and
//                    the redraw answer is that widget's alone; pen up: when
//                    the pen moved more than 0.001 on some axis, depoise,
//                    search, poise what is now under the pen (redraw when
//                    that changed). Either way a found widget with hints on
//                    asks for a redraw, since the hint follows the pen.
//   kVxTPenPressed   depoise, search, activate the widget under the pen.
//   kVxTPenReleased  deactivate, search, poise the widget under the pen.
//   kVxTPenEntered   search and poise; always asks for a redraw.
//   kVxTPenLeft      depoise and deactivate (tmLoseFocus).
// Any other event is ignored.
//
// The focus path. The manager's `found` is the leaf the last search
// returned (null for none); VxTContainer::found is the top-level child the
// path starts at (its root). When the pen is over nothing, `defaultObject`
// (when set, findable and visible) takes the focus instead. With nothing
// found the cursor is set to kVxCursorDefault.
//
// Re-entry. A widget's message handler may send events to the manager while
// it is handling one: such an event updates the pen position and the pen
// down bit, and is otherwise dropped (not queued).
//
// Ownership. The manager refers to its top-level children and owns them only
// when ownsChildren is set. Destroying the manager clears its children's
// manager pointers. A destroyed widget is forgotten by every manager (found,
// root, defaultObject), wherever it was in the tree.
//
// Threading: the host's user-interface thread only.
#ifndef VX_T_MANAGER_H
#define VX_T_MANAGER_H

#include "hvMaths.h"
#include "vxExport.h"
#include "vxMessage.h"
#include "vxTObject.h"

// Event codes of pointer messages (VxMessage::id).
enum VxTPointerEvent : int {
    kVxTPenMoved = 101,
    kVxTPenPressed = 102,
    kVxTPenReleased = 103,
    kVxTPenEntered = 115,
    kVxTPenLeft = 116,
};

// Device codes of pointer messages. Only mouse and tablet events carry a
// position; the manager keeps its pen position for any other device.
enum VxTPointerDevice : int {
    kVxTDeviceNone = 0,
    kVxTDeviceMouse = 6,
    kVxTDeviceTablet = 7,
};

// The kind (VxMessage::kind) of a pointer message.
constexpr int kVxMessagePointer = 2;

// A pointer event as the manager reads it. Layout in VxMessage's fields:
//   id     the event code (VxTPointerEvent)
//   kind   kVxMessagePointer
//   value  the pen position: x in the first four bytes, y in the last four
//          (the HvVec2 as it lies in memory)
//   extra  the device code (VxTPointerDevice) in the first four bytes
//   name   "pointer"
// It is an ordinary VxMessage (no storage of its own) and may be copied and
// destroyed as one.
class VX_API VxTPointerMessage : public VxMessage {
public:
    VxTPointerMessage(int event, int device, const HvVec2& pos);

    // The device code of `m`; kVxTDeviceNone unless m's kind is
    // kVxMessagePointer.
    static int device(const VxMessage& m);
    // The position `m` carries; (0, 0) unless m's kind is kVxMessagePointer.
    static HvVec2 position(const VxMessage& m);
};

class VX_API VxTManager : public VxMessageHandler, public VxTContainer {
public:
    VxTManager();
    ~VxTManager() override;

    // Handles pointer events (ids 101 to 116; others are ignored), as listed
    // at the top of this header. `sender` is not used.
    void handleMessage(const VxMessage& msg, VxMessageSender* sender) override;
    virtual HvVec2 tmPenPos() const;
    virtual HvVec2 tmPenDelta() const;
    virtual int tmIsPenDown() const;
    // Draws the visible top-level widgets (first added first), clears
    // needsRedraw, then, with showHints set, the found widget's hint at the
    // pen position + (8, 8). Needs the host's GL context.
    virtual void tmDraw();

    // Adds a top-level widget: clears its parent, gives it this manager, and
    // asks for a redraw when it is visible. False for null or a child.
    int tmAddChild(VxTObject* w);
    // Removes a top-level widget and clears its manager; asks for a redraw
    // when it was visible. False for null or a widget that is not a child.
    int tmRemoveChild(VxTObject* w);
    // Searches the tree at penPos; see "The focus path" above.
    void tmFind();
    // Depoise, search, activate; true when either asked for a redraw.
    int tmFindAndActivate();
    // Deactivate, search, poise; true when either asked for a redraw.
    int tmDeactivate();
    // When the pen moved: depoise, search, poise; redraw when found changed.
    void tmFindAndPoise();
    // Depoise the widget at the end of the focus path when it is poised, and
    // deactivate it when it is active; redraw when either says so.
    void tmLoseFocus();
    // Search and poise; a redraw when something was found.
    void tmGainFocus();
    // needsRedraw = the root's tDrag(penPos), when there is a root.
    void tmDrag();
    // handleMessage(msg, null); returns needsRedraw (which stays set until
    // tmDraw()).
    int tmUIMessage(const VxMessage& msg);
    // penDelta and penPos from a mouse or tablet event; others are ignored.
    void tmUpdatePenPos(const VxMessage& msg);
    // |penDelta| > 0.001 on some axis.
    int tmDidPenMove() const;

    // A widget is being destroyed: every live manager forgets it.
    static void forgetObject(VxTObject* w);

    VxTObject* found;             // leaf of the last search, or null
    VxTObject* defaultObject;     // takes the focus over nothing; not owned
    HvVec2 penPos;                // last pen position
    HvVec2 penDelta;              // last move of the pen
    HvVec2 tolerance;             // pick tolerance in drawing units; (3, 3)
    unsigned int penDown : 1;     // the pen is held down
    unsigned int needsRedraw : 1; // something visible changed since tmDraw()
    unsigned int busy : 1;        // handleMessage() is running
    unsigned int finding : 1;     // tmFind() is running
    unsigned char showHints;      // draw the found widget's hint; 1

private:
    VxTObject* root() const { return VxTContainer::found; }

    // Every live manager, linked through these, so that a dying widget can
    // be forgotten by managers it was never added to (a default object).
    VxTManager* nextManager_;
    VxTManager* prevManager_;
};

#endif
