// The value widgets driven through a manager, without GL: the values they
// take and the messages 200 to 203 they send.
#include "vxTWidgetTestSupport.h"

#include "vxHost.h"
#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

void Click(VxTManager& m, float x, float y) {
    m.tmUIMessage(Pen(kVxTPenPressed, x, y));
    m.tmUIMessage(Pen(kVxTPenReleased, x, y));
}

TEST(VxTSlider, PressDragReleaseAndProgrammedValues) {
    VxTManager m;
    VxTSlider s("gain", 0.25f, 0);
    s.tSize(HvVec2(10, 100));
    EXPECT_EQ(s.colour, VxTDraw::_gShadeDark);
    Inbox in;
    in.acceptSender(&s);
    m.tmAddChild(&s);
    // A press below the origin (within the tolerance) gives 0 and is bracketed.
    VxTCursor(kVxCursorDefault);
    m.tmUIMessage(Pen(kVxTPenPressed, 5, -2));
    EXPECT_EQ(VxTCursor(), kVxCursorWidget);
    EXPECT_EQ(s.pressPos, HvVec2(5, -2));
    m.tmUIMessage(Pen(kVxTPenMoved, 5, 50));
    EXPECT_EQ(s.value, 0.5f);
    // The same value again: no message, no redraw.
    m.showHints = 0;
    EXPECT_EQ(s.tDrag(HvVec2(7, 50)), 0);
    m.tmUIMessage(Pen(kVxTPenMoved, 500, 250)); // far outside: still dragged, to 1
    m.tmUIMessage(Pen(kVxTPenReleased, 500, 250));
    EXPECT_EQ(in.ids(), "200 201 201 201 202 ");
    ASSERT_EQ(in.got.size(), 5u);
    EXPECT_TRUE(in.got[1].f == 0.0f && in.got[2].f == 0.5f && in.got[3].f == 1.0f);
    EXPECT_TRUE(in.got[1].kind == kVxMessageFloat && in.got[0].kind == kVxMessageNoValue);
    EXPECT_EQ(in.got[4].name, "gain");
    // Releasing again does nothing.
    EXPECT_EQ(s.myTDeactivate(), 0);
    in.got.clear();
    s.tsValue(1.7f, 0);
    EXPECT_EQ(s.value, 1.0f);
    s.tsValue(0.3f, 1);
    s.tsValue(std::nanf(""), 0);
    EXPECT_EQ(s.value, 0.0f);
    ASSERT_EQ(in.ids(), "203 ");
    EXPECT_EQ(in.got[0].f, 0.3f);

    // Horizontal, and of no length: the value is still in 0..1.
    VxTSlider h("h", 0.0f, 1);
    h.tOrigin(HvVec2(100, 0));
    h.tSize(HvVec2(200, 10));
    h.tActivate(HvVec2(150, 5)); // the path leads nowhere yet
    h.tFind(HvVec2(150, 5), HvVec2(3, 3));
    h.tActivate(HvVec2(150, 5));
    EXPECT_EQ(h.value, 0.25f);
    h.tsSetLabel("label");
    h.tsSetLabel(h.label);
    EXPECT_STREQ(h.label, "label");
    h.tSize(HvVec2(0, 10));
    h.tDrag(HvVec2(100, 5));
    EXPECT_EQ(h.value, 0.0f);
    h.tDrag(HvVec2(101, 5));
    EXPECT_EQ(h.value, 1.0f);
}

TEST(VxTMultiSlider, HandlesAndTheNearestPick) {
    VxTMultiSlider s("multi", 1, 1);
    EXPECT_TRUE(s.nValues == 1 && s.values[0] == 0.5f && s.colours[0] == VxTDraw::_gBackCol);
    s.tsmNValues(3);
    EXPECT_TRUE(s.values[1] == 0.5f && s.values[2] == 1.0f &&
                s.colours[1] == VxRGBf(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(s.tsmNValues(99), 1);
    EXPECT_EQ(s.nValues, VxTMultiSlider::kMaxValues);
    s.tsmNValues(3);
    s.tSize(HvVec2(100, 10));
    VxTManager m;
    m.tmAddChild(&s);
    Inbox in;
    in.acceptSender(&s);
    // Between handles: nothing is selected and a press does nothing.
    m.tmUIMessage(Pen(kVxTPenPressed, 25, 5));
    m.tmUIMessage(Pen(kVxTPenMoved, 30, 5));
    m.tmUIMessage(Pen(kVxTPenReleased, 30, 5));
    EXPECT_EQ(s.selected, -1);
    EXPECT_EQ(in.ids(), "");
    // Two close handles: the nearer one, within tolerance + half the band.
    s.tsmValue(2, 0.53f, 0);
    m.tmUIMessage(Pen(kVxTPenPressed, 52.5f, 5));
    EXPECT_EQ(s.selected, 2);
    m.tmUIMessage(Pen(kVxTPenMoved, 80, 5));
    m.tmUIMessage(Pen(kVxTPenReleased, 80, 5));
    EXPECT_TRUE(s.values[2] == 0.8f && s.value == 0.8f && s.values[1] == 0.5f);
    EXPECT_EQ(in.ids(), "200 201 201 202 ");
    EXPECT_EQ(in.got[2].extra, 2u);
    m.tmUIMessage(Pen(kVxTPenMoved, 44.9f, 5)); // 5.1 from handle 1: out of reach
    EXPECT_EQ(s.selected, -1);
    m.tmUIMessage(Pen(kVxTPenMoved, 45, 5));
    EXPECT_EQ(s.selected, 1);
    EXPECT_EQ(s.tsmValue(3, 0.1f, 1), 0);
}

TEST(VxTToggle, SwitchOnReleaseInsideOnly) {
    VxTManager m;
    VxTToggle t("t", 0);
    t.tSize(HvVec2(10, 10));
    m.tmAddChild(&t);
    Inbox in;
    in.acceptSender(&t);
    Click(m, 5, 5);
    EXPECT_EQ(t.state, 1);
    EXPECT_EQ(in.ids(), "203 ");
    // Dragged out and released: cancelled.
    m.tmUIMessage(Pen(kVxTPenPressed, 5, 5));
    EXPECT_EQ(t.ttShownState(), 0);
    EXPECT_EQ(t.tDrag(HvVec2(10, 5)), 0); // on the edge: still inside
    EXPECT_EQ(t.tDrag(HvVec2(11, 5)), 1); // outside, though within the tolerance
    EXPECT_EQ(t.tDrag(HvVec2(20, 5)), 0);
    EXPECT_EQ(t.ttShownState(), 1);
    m.tmUIMessage(Pen(kVxTPenReleased, 20, 5));
    EXPECT_EQ(t.state, 1);
    EXPECT_EQ(in.ids(), "203 ");
    EXPECT_EQ(t.ttState(1, 1), 0);
    EXPECT_EQ(t.ttState(0, 1), 1);
    EXPECT_EQ(in.ids(), "203 203 ");
}

TEST(VxTTabBox, TabsLineUpAndOneStaysSelected) {
    VxTManager m;
    VxTTabBox box("tabs");
    box.childOffset(HvVec2(50, 0));
    VxTTabButton t1("one", 1), t2("two", 0), t3("three", 0, &box);
    for (VxTTabButton* t : {&t1, &t2, &t3}) {
        t->tSize(HvVec2(40, 20));
        EXPECT_EQ(box.tAddChild(t), 1);
    }
    EXPECT_EQ(box.tAddChild(&t2), 0);
    EXPECT_TRUE(t2.origin == HvVec2(50, 0) && t3.origin == HvVec2(100, 0) && t3.parent == &box);
    EXPECT_TRUE(box.size == HvVec2(140, 20) && t3.arbData() == &box && t1.colour == kTabColour);
    m.tmAddChild(&box);
    Inbox in;
    in.acceptSender(&t1);
    in.acceptSender(&t2);
    Click(m, 60, 10);
    EXPECT_TRUE(t2.state == 1 && t1.state == 0 && box.currentSelection() == &t2);
    EXPECT_EQ(in.ids(), "203 203 ");
    Click(m, 60, 10); // pressing the selected tab again keeps it selected
    EXPECT_EQ(t2.state, 1);
    EXPECT_EQ(in.ids(), "203 203 ");
    // The tab's own test is strict: exactly the tolerance away misses.
    EXPECT_EQ(t3.tFind(HvVec2(97, 10), HvVec2(3, 3)), nullptr);
    EXPECT_EQ(t3.tFind(HvVec2(97.5f, 10), HvVec2(3, 3)), &t3);
    EXPECT_EQ(box.tRemoveChild(&t2), 1);
    EXPECT_EQ(box.currentSelection(), nullptr);
}

TEST(VxTMultiToggle, CyclesThroughItsStates) {
    VxTManager m;
    VxTMultiToggle t("cycle");
    t.tSize(HvVec2(10, 10));
    m.tmAddChild(&t);
    EXPECT_EQ(t.tmtAddState(nullptr), 0);
    // The toggle takes a reference to each list; once the creator drops its
    // own, the toggle holds the last and frees them (ASan sees no leak).
    for (int i = 0; i < 3; ++i) {
        auto* list = new VxTGLList;
        t.tmtAddState(list);
        EXPECT_EQ(list->refCount, 2);
        list->dropReference();
    }
    Inbox in;
    in.acceptSender(&t);
    m.tmUIMessage(Pen(kVxTPenPressed, 5, 5));
    EXPECT_EQ(t.shown, 1);
    t.tDrag(HvVec2(50, 50));
    EXPECT_EQ(t.shown, 0);
    m.tmUIMessage(Pen(kVxTPenReleased, 50, 50));
    EXPECT_EQ(t.state, 0);
    for (int i = 0; i < 3; ++i)
        Click(m, 5, 5);
    EXPECT_EQ(t.state, 0);
    ASSERT_EQ(in.ids(), "203 203 203 ");
    EXPECT_TRUE(in.got[0].kind == kVxMessageInt && in.got[0].i == 1 && in.got[2].i == 0);
    EXPECT_EQ(t.tmtState(3, 1), 0);
    EXPECT_EQ(t.tmtState(-1, 1), 0);
}

float Square(float x, void*) {
    return x * x;
}

TEST(VxTDisplay, ImageBoxBoundsAndPlotMapping) {
    VxTImageBox b("image");
    EXPECT_TRUE(b.origin == HvVec2(-50, -50) && b.size == HvVec2(100, 100));
    b.width = 200;
    b.uMin = 0.25f;
    b.vMax = 0.5f;
    b.resetBounds();
    EXPECT_TRUE(b.origin == HvVec2(-50, -50) && b.size == HvVec2(150, 50));
    EXPECT_EQ(b.tFind(HvVec2(0, 0), HvVec2(3, 3)), &b);
    b.tSetState(kVxTFindable);
    EXPECT_EQ(b.tFind(HvVec2(0, 0), HvVec2(3, 3)), nullptr);

    VxTFunctionPlot p("plot");
    p.tSize(HvVec2(100, 50));
    EXPECT_EQ(p.tfpPlotY(50), 0.0f); // no function
    p.tfpFunction(Square, nullptr);
    p.xRange = HvVec2(-1, 1);
    EXPECT_EQ(p.tfpPlotY(0), 50.0f);
    EXPECT_EQ(p.tfpPlotY(75), 12.5f);
    p.yRange = HvVec2(0.5f, 0.75f);
    EXPECT_EQ(p.tfpPlotY(50), 0.0f);
    EXPECT_EQ(p.tFind(HvVec2(50, 25), HvVec2(3, 3)), nullptr);
}

} // namespace
