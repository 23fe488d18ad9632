// The manager's dispatch of pointer messages, sequence by sequence, without
// GL: hover, press, drag out and back, release, enter, leave, re-entrant
// events, the default object, drawing order and destroyed widgets.
#include "vxTWidgetTestSupport.h"

#include "vxHost.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(VxTPointerMessage, LayoutAndForeignMessages) {
    VxTPointerMessage m(kVxTPenPressed, kVxTDeviceTablet, HvVec2(1.5f, -2.0f));
    EXPECT_TRUE(m.id == 102 && m.kind == kVxMessagePointer);
    EXPECT_EQ(VxTPointerMessage::device(m), 7);
    EXPECT_EQ(VxTPointerMessage::position(m), HvVec2(1.5f, -2.0f));
    float xy[2];
    std::memcpy(xy, &m.value, sizeof xy);
    EXPECT_TRUE(xy[0] == 1.5f && xy[1] == -2.0f);
    VxMessage plain(101);
    plain.extra = 6;
    EXPECT_EQ(VxTPointerMessage::device(plain), kVxTDeviceNone);
}

TEST(VxTManager, HoverPressDragOutAndBackRelease) {
    std::string log;
    VxTManager m;
    Probe w("w", log, 10, 10, 20, 10);
    EXPECT_EQ(m.tmAddChild(&w), 1);
    EXPECT_EQ(m.tmAddChild(&w), 0);
    EXPECT_TRUE(w.manager == &m && m.needsRedraw);
    m.tmDraw();
    EXPECT_EQ(log, "draw:w ");
    EXPECT_FALSE(m.needsRedraw);
    log.clear();

    // Hover: found changes, so a redraw.
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 15, 15)), 1);
    EXPECT_TRUE(m.found == &w && w.isPoised());
    EXPECT_EQ(log, "P:w ");
    // A move under 0.001 does not search again.
    m.showHints = 0;
    m.needsRedraw = 0;
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 15.0005f, 15)), 0);
    EXPECT_EQ(log, "P:w ");
    // Press: depoise, find, activate at the pen.
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenPressed, 16, 15)), 1);
    EXPECT_EQ(log, "P:w p:w A:w ");
    EXPECT_TRUE(m.tmIsPenDown() && w.isActive() && !w.isPoised());
    // Drag far outside: the same widget, no search, and its answer replaces
    // needsRedraw.
    log.clear();
    w.dragResult = 0;
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 300, 300)), 0);
    EXPECT_TRUE(w.last == HvVec2(300, 300) && m.found == &w);
    w.dragResult = 1;
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 20, 15)), 1);
    EXPECT_EQ(m.tmPenDelta(), HvVec2(-280, -285));
    EXPECT_EQ(log, "drag:w drag:w ");
    // Release outside: deactivate, nothing found, default cursor.
    VxTCursor(kVxCursorWidget);
    m.tmUIMessage(Pen(kVxTPenReleased, 100, 100));
    EXPECT_EQ(log, "drag:w drag:w D:w ");
    EXPECT_TRUE(m.found == nullptr && !m.tmIsPenDown() && !w.isActive());
    EXPECT_EQ(VxTCursor(), kVxCursorDefault);
    // Release over it poises it.
    m.tmUIMessage(Pen(kVxTPenPressed, 15, 15));
    log.clear();
    m.tmUIMessage(Pen(kVxTPenReleased, 15, 15));
    EXPECT_EQ(log, "D:w P:w ");
    // Leave depoises (and deactivates what is active).
    m.tmUIMessage(Pen(kVxTPenLeft, 0, 0, kVxTDeviceNone));
    EXPECT_EQ(log, "D:w P:w p:w ");
    m.tmUIMessage(Pen(kVxTPenPressed, 15, 15));
    log.clear();
    m.tmUIMessage(Pen(kVxTPenLeft, 0, 0, kVxTDeviceNone));
    EXPECT_EQ(log, "D:w ");
}

TEST(VxTManager, EnterDevicesIgnoredCodesAndReentry) {
    std::string log;
    VxTManager m;
    Probe w("w", log, 10, 10, 20, 10);
    m.tmAddChild(&w);
    m.tmDraw();
    // Entering asks for a redraw even over nothing, and reads no position.
    m.tmUIMessage(Pen(kVxTPenMoved, 100, 100));
    m.needsRedraw = 0;
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenEntered, 15, 15)), 1);
    EXPECT_TRUE(m.found == nullptr && m.tmPenPos() == HvVec2(100, 100));
    // Only mouse and tablet events carry a position; other ids are ignored.
    m.tmUIMessage(Pen(kVxTPenMoved, 15, 15, 5));
    EXPECT_EQ(m.tmPenPos(), HvVec2(100, 100));
    m.tmUIMessage(Pen(kVxTPenPressed, 15, 15, 9));
    EXPECT_TRUE(m.tmIsPenDown() && m.found == nullptr);
    m.tmUIMessage(Pen(kVxTPenReleased, 15, 15, kVxTDeviceTablet));
    m.tmUIMessage(Pen(100, 50, 50));
    m.tmUIMessage(Pen(117, 50, 50));
    EXPECT_EQ(m.tmPenPos(), HvVec2(15, 15));

    // An event sent while one is handled only moves the pen and its bit.
    static VxTManager* current;
    current = &m;
    w.onActivate = [] { current->tmUIMessage(Pen(kVxTPenReleased, 50, 60)); };
    log.clear();
    m.tmUIMessage(Pen(kVxTPenPressed, 15, 15));
    EXPECT_EQ(log, "p:w A:w ");
    EXPECT_TRUE(!m.tmIsPenDown() && m.tmPenPos() == HvVec2(50, 60) && w.isActive());
    EXPECT_FALSE(m.busy);
}

TEST(VxTManager, DefaultObjectSwallowingAndHintRedraws) {
    std::string log;
    VxTManager m;
    VxTGroup g("g");
    Probe a("a", log, 0, 0, 10, 10), b("b", log, 20, 0, 10, 10);
    a.tParent(&g);
    b.tParent(&g);
    m.tmAddChild(&g);
    // Over the group's empty middle the search is swallowed: nothing found.
    VxTCursor(kVxCursorWidget);
    m.tmUIMessage(Pen(kVxTPenMoved, 15, 5));
    EXPECT_TRUE(m.found == nullptr && m.VxTContainer::found == nullptr);
    EXPECT_EQ(VxTCursor(), kVxCursorDefault);
    // With a default object the path is laid down to it through its parents.
    m.defaultObject = &a;
    m.tmUIMessage(Pen(kVxTPenPressed, 15, 6));
    EXPECT_TRUE(m.found == &a && m.VxTContainer::found == &g && g.VxTObject::found == &a);
    EXPECT_EQ(log, "A:a ");
    m.tmUIMessage(Pen(kVxTPenReleased, 15, 6));
    // An invisible default object is not taken.
    a.tSetState(kVxTFindable);
    m.tmUIMessage(Pen(kVxTPenMoved, 15, 8));
    EXPECT_EQ(m.found, nullptr);

    // With hints on, every move over a found widget asks for a redraw.
    m.tmUIMessage(Pen(kVxTPenMoved, 25, 5));
    m.tmDraw();
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 25, 5)), 1);
    m.tmDraw();
    m.showHints = 0;
    EXPECT_EQ(m.tmUIMessage(Pen(kVxTPenMoved, 26, 5)), 0);
    // Leaving depoises the leaf inside the group.
    EXPECT_TRUE(b.isPoised());
    m.tmUIMessage(Pen(kVxTPenLeft, 0, 0));
    EXPECT_FALSE(b.isPoised());
    // Drawing: visible children only, first added first.
    log.clear();
    a.tSetState(3);
    g.groupFlags = 0;
    m.tmDraw();
    EXPECT_EQ(log, "draw:a draw:b ");
}

TEST(VxTManager, TheOperationsHandleMessageIsMadeOf) {
    std::string log;
    VxTManager m;
    Probe w("w", log, 10, 10, 20, 10);
    m.tmAddChild(&w);
    m.tmUpdatePenPos(Pen(kVxTPenMoved, 15, 15));
    m.tmUpdatePenPos(Pen(kVxTPenMoved, 15.0005f, 15.0005f));
    EXPECT_EQ(m.tmDidPenMove(), 0);
    m.tmDraw();
    log.clear();
    m.tmGainFocus();
    EXPECT_TRUE(w.isPoised() && m.needsRedraw);
    EXPECT_EQ(m.tmFindAndActivate(), 1);
    EXPECT_TRUE(w.isActive() && !w.isPoised());
    w.dragResult = 0;
    m.tmDrag(); // replaces needsRedraw
    EXPECT_FALSE(m.needsRedraw);
    EXPECT_EQ(m.tmDeactivate(), 1);
    m.tmLoseFocus();
    EXPECT_EQ(log, "P:w p:w A:w drag:w D:w P:w p:w ");
    m.tmLoseFocus(); // nothing poised or active: nothing called
    EXPECT_EQ(log, "P:w p:w A:w drag:w D:w P:w p:w ");
}

TEST(VxTManager, DestroyedWidgetsAndManagersLeaveNothingDangling) {
    std::string log;
    auto* m = new VxTManager;
    VxTGroup g("g");
    auto* leaf = new Probe("leaf", log, 0, 0, 10, 10);
    leaf->tParent(&g);
    m->tmAddChild(&g);
    auto* top = new Probe("top", log, 50, 0, 10, 10);
    m->tmAddChild(top);
    auto* other = new Probe("other", log, 0, 0, 1, 1); // in no tree
    m->defaultObject = other;
    // Pressed on the leaf, then the leaf goes: found and the group forget it.
    m->tmUIMessage(Pen(kVxTPenPressed, 5, 5));
    ASSERT_EQ(m->found, leaf);
    delete leaf;
    EXPECT_TRUE(m->found == nullptr && g.VxTObject::found == nullptr);
    m->tmUIMessage(Pen(kVxTPenMoved, 6, 6));
    m->tmUIMessage(Pen(kVxTPenReleased, 6, 6));
    // The root, a top-level child, and the default object.
    m->tmUIMessage(Pen(kVxTPenPressed, 55, 5));
    ASSERT_EQ(m->VxTContainer::found, top);
    delete top;
    EXPECT_TRUE(m->VxTContainer::found == nullptr && m->tcFindChild("top") == nullptr);
    delete other;
    EXPECT_EQ(m->defaultObject, nullptr);
    m->tmUIMessage(Pen(kVxTPenReleased, 55, 5));
    m->tmUIMessage(Pen(kVxTPenMoved, 56, 5));
    // Removing and destroying the manager clear the children's manager.
    Probe w("w", log, 0, 0, 1, 1);
    m->tmAddChild(&w);
    EXPECT_EQ(m->tmRemoveChild(&w), 1);
    EXPECT_EQ(m->tmRemoveChild(&w), 0);
    EXPECT_EQ(w.manager, nullptr);
    Probe in("in", log, 0, 0, 1, 1);
    in.tParent(&g);
    EXPECT_EQ(in.manager, m);
    delete m;
    EXPECT_TRUE(g.manager == nullptr && in.manager == nullptr);
    in.tRequestRedraw(); // no manager to touch
}

} // namespace
