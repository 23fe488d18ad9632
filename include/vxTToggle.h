// vxTToggle.h - on/off toggles, tab buttons in a tab box (one of several
// selected), and a toggle that cycles through several drawn states.
//
// All are leaf widgets (vxTObject.h) and message senders (vxMessage.h). They
// switch when the pen is released over them: pressing shows the state that a
// release would give, dragging out of the widget shows the old state again,
// and releasing outside cancels. Each switch, and each state set by program
// with notification, sends 203 (kVxTMsgSet) named after the widget: with no
// value from a toggle or tab button, with the new state (kind 1) from a
// multi-toggle.
//
// "Inside" while pressed means the pen within the widget's bounds, edges
// included and without the pick tolerance; an unbounded widget is always
// inside. A press found within the tolerance but outside the bounds counts
// as inside until the pen moves.
//
// Looks (tmDraw, in the host's GL context), in local coordinates 0..size:
// - Toggle: the box filled in `colour` (kToggleColour) and shaded in when it
//   shows on, filled in VxTDraw::_gShadeDark and shaded out when it shows
//   off; outlined in VxTDraw::_gPoisedCol while the pen hovers. With
//   kVxTToggleShowName set its name follows, 4 units to the right.
// - Tab button: a tab outline (VxTDraw::solidTab) in `colour` (kTabColour)
//   when selected, VxTDraw::_gBackCol when not, shaded out when selected
//   and in when not, with its name inside 4 units from the left, centred.
//   The tab box draws the selected tab last, over its neighbours.
// - Multi-toggle: a shaded-out frame (left out with noFrame set), then the
//   display list of the state shown, called in the widget's coordinates.
//
// Threading: the host's user-interface thread only.
#ifndef VX_T_TOGGLE_H
#define VX_T_TOGGLE_H

#include "vxExport.h"
#include "vxMessage.h"
#include "vxTObject.h"

class VxTGLList;

// The colour of a toggle that is on: (0.9, 0.7, 0.2).
extern VX_API const VxRGBf kToggleColour;

// Bits of VxTToggle::toggleFlags.
enum VxTToggleBits : unsigned char {
    kVxTToggleShowName = 1, // draw the name beside the box
};

class VX_API VxTToggle : public VxTObject, public VxMessageSender {
public:
    // `state`: non-zero is on (1).
    VxTToggle(const char* name, int state);

    // Found whenever the pen is inside its bounds; sets the widget cursor.
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    void myTDraw() override;
    // Updates `inside`; true only when it changed (the look changes).
    int myTDrag(HvVec2 pos) override;
    // Active, inside = 1.
    int myTActivate(HvVec2 pos) override;
    // When inside: flips the state and sends 203. Then inside = 0, inactive.
    int myTDeactivate() override;
    ~VxTToggle() override;
    virtual void ttDrawBackground();

    // Sets the state (non-zero is 1); when it changed and notify is set,
    // sends 203. True when it changed.
    int ttState(int s, int notify);
    // The state shown now: the state, flipped while pressed inside.
    int ttShownState() const;

    int state;                 // 0 or 1 (hides VxTObject::state, the bit set)
    int inside;                // the pen is inside while pressed
    unsigned char toggleFlags; // VxTToggleBits; 0

protected:
    // The inside test described above.
    bool ttPenInside(HvVec2 pos) const;
    void ttSend();
};

class VxTTabBox;

// A toggle drawn as a tab, one of a VxTTabBox. Pressing an unselected tab
// selects it and unselects its neighbours; pressing the selected tab again
// leaves it selected (deliberately: one tab is always chosen). Its hit test
// is tighter than the bounds test: the pen must lie strictly within the
// tolerance of the tab.
class VX_API VxTTabButton : public VxTToggle {
public:
    VxTTabButton(const char* name, int state, void* data = nullptr);

    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    // When inside and not selected: selects, sends 203, and the tab box
    // unselects the others. Then inside = 0, inactive.
    int myTDeactivate() override;
    ~VxTTabButton() override;
    // Draws the name at (dx, dy) in local coordinates.
    virtual void drawNameOffset(float dx, float dy);
    void ttDrawBackground() override;

    void* arbData() const { return data; }

    void* data;  // the plug-in's, never read or freed here
    int tabTag;  // free for the plug-in; 0
    int tabFlag; // free for the plug-in; 0
};

// A group of tab buttons lined up by a fixed offset. Add tabs with
// tAddChild(VxTTabButton*): the first goes to the box's origin, each next one
// to the previous one's origin plus the child offset. Children that are not
// tab buttons are neither drawn nor selected by the box.
class VX_API VxTTabBox : public VxTGroup {
public:
    explicit VxTTabBox(const char* name = nullptr);
    ~VxTTabBox() override;
    // Unselected visible tabs from the last added to the first, then the
    // selected one on top when it is visible. No background.
    void myTDraw() override;

    // The offset between consecutive tabs.
    void childOffset(HvVec2 offset);
    // Places and adds a tab (parent set), and resets the bounds; false for
    // null or a tab already in the box.
    int tAddChild(VxTTabButton* b);
    // The group's removal.
    int tRemoveChild(VxTTabButton* b);
    using VxTGroup::tAddChild;
    using VxTGroup::tRemoveChild;
    // Every other tab that is selected gets ttState(0, 1).
    void unselectNeighbours(VxTTabButton* b);
    // The first tab in the order added that is selected, or null.
    VxTTabButton* currentSelection();

    HvVec2 offset; // between consecutive tabs; (0, 0)
};

// A toggle through `count` states, each drawn by a display list. A release
// over it moves to the next state, wrapping to the first after the last.
class VX_API VxTMultiToggle : public VxTObject, public VxMessageSender {
public:
    explicit VxTMultiToggle(const char* name);

    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    void myTDraw() override;
    // Updates `inside` and `shown`; true only when inside changed.
    int myTDrag(HvVec2 pos) override;
    // Active, inside, shows the next state.
    int myTActivate(HvVec2 pos) override;
    // When inside and there are states: tmtState(next, 1). Shows the state.
    int myTDeactivate() override;
    // Drops its references to the lists (deleting those it held last).
    ~VxTMultiToggle() override;
    virtual void tmtDrawBackground();

    // Sets state and shown to s, for 0 <= s < count (or s = 0 with no
    // states); with notify sends 203 with s (kind 1). True when it changed;
    // false for a state out of range.
    int tmtState(int s, int notify);
    // Appends a state drawn by `list`, taking a reference to it. False for
    // null.
    int tmtAddState(VxTGLList* list);

    int count;                // number of states
    int state;                // current state (hides VxTObject::state)
    int shown;                // the state drawn while pressed
    int inside;               // the pen is inside while pressed
    VxTGLList** lists;        // one per state, referenced; new[]-allocated
    unsigned int noFrame : 1; // leave out the frame; 0

protected:
    bool tmtPenInside(HvVec2 pos) const;
};

#endif
