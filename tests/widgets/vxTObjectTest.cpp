// The widget tree without GL: hit tests, group search and bounds, focus-path
// walks, and what a destroyed widget leaves behind.
#include "vxTWidgetTestSupport.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>

namespace {

const HvVec2 kTol(3.0f, 3.0f);

// A group whose children live 100 units to the right, logging its transforms.
struct Shifted : VxTGroup {
    explicit Shifted(std::string& l) : VxTGroup("shifted"), log(l) {}
    HvVec2 tMapToLocal(const HvVec2& p) override { return p - HvVec2(100.0f, 0.0f); }
    void myTPushTransform() override { log += "push "; }
    void myTPopTransform() override { log += "pop "; }
    std::string& log;
};

TEST(VxTObject, DefaultsNamesAndHitTest) {
    std::string log;
    Probe w("w", log, 10, 10, 20, 10);
    EXPECT_TRUE(w.state == 3 && w.flags == 7 && w.widgetScale == 1.0f && w.spare == 0);
    EXPECT_TRUE(w.colour.r == 1.0f && w.colour.g == 1.0f && w.colour.b == 1.0f);
    const char* before = w.name;
    w.tName(w.name); // a copy of itself, into new storage
    EXPECT_STREQ(w.name, "w");
    EXPECT_NE(w.name, before);
    EXPECT_EQ(w.tFind("w"), &w);
    EXPECT_EQ(w.tFind(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(w.tMaxSize().x, FLT_MAX);

    // The tolerance is inclusive: exactly 3 left of the origin still hits.
    EXPECT_EQ(w.tFind(HvVec2(7.0f, 15.0f), kTol), &w);
    EXPECT_EQ(w.found, &w);
    EXPECT_EQ(w.tFind(HvVec2(6.99f, 15.0f), kTol), nullptr);
    EXPECT_EQ(w.found, nullptr);
    EXPECT_EQ(w.tFind(HvVec2(33.0f, 23.0f), kTol), &w);
    for (int s : {0, 1, 2}) {
        w.tSetState(s);
        EXPECT_EQ(w.tFind(HvVec2(15.0f, 15.0f), kTol), nullptr) << s;
    }
    w.tSetState(3);
    w.tSetFlags(kVxTBounded, false);
    EXPECT_EQ(w.tFind(HvVec2(1e6f, -1e6f), kTol), &w);

    // Origin and size follow their settable bits.
    w.tSetFlags(kVxTOriginSettable, false);
    w.tOrigin(HvVec2(50.0f, 50.0f));
    EXPECT_EQ(w.origin, HvVec2(10.0f, 10.0f));

    EXPECT_TRUE(VxTObject::isNull(nullptr) && VxTObject::isNull(VxTFindObject::endSearch));
    EXPECT_STREQ(VxTFindObject::endSearch->name, "findObject");
}

TEST(VxTGroup, SearchOrderSwallowingAndFocusPaths) {
    std::string log;
    VxTGroup g("g");
    Probe a("a", log, 0, 0, 10, 10), b("b", log, 5, 0, 10, 10), c("c", log, 30, 0, 10, 10);
    a.tParent(&g);
    b.tParent(&g);
    c.tParent(&g);
    EXPECT_EQ(a.parent, &g);
    // Overlap: the last added (drawn on top) is found first.
    EXPECT_EQ(g.tFind(HvVec2(7.0f, 5.0f), kTol), &b);
    EXPECT_TRUE(g.VxTObject::found == &b && g.VxTContainer::found == &b);
    // Inside the group's box but over no child: swallowed.
    EXPECT_EQ(g.tFind(HvVec2(22.0f, 5.0f), HvVec2(1.0f, 1.0f)), VxTFindObject::endSearch);
    EXPECT_TRUE(g.VxTObject::found == nullptr && g.VxTContainer::found == nullptr);
    g.groupFlags &= ~kVxTGroupSwallowSearch;
    EXPECT_EQ(g.tFind(HvVec2(22.0f, 5.0f), HvVec2(1.0f, 1.0f)), nullptr);
    EXPECT_EQ(g.tActivate(HvVec2(22.0f, 5.0f)), 0); // no path, no call
    EXPECT_EQ(log, "");

    // Walks map the position at every level and bracket it with the transforms.
    Shifted outer(log);
    g.tParent(&outer);
    EXPECT_EQ(outer.tFind(HvVec2(32.0f, 5.0f), kTol), &c);
    EXPECT_EQ(outer.tActivate(HvVec2(132.0f, 5.0f)), 1);
    EXPECT_EQ(c.last, HvVec2(32.0f, 5.0f));
    EXPECT_EQ(outer.tDeactivate(), 1);
    EXPECT_EQ(log, "push pop push A:c pop D:c ");
    EXPECT_FALSE(c.isActive());
    // A group is never poised or active itself.
    outer.tForceFound(nullptr);
    EXPECT_EQ(outer.tPoise(HvVec2(0, 0)), 0);
    EXPECT_EQ(outer.VxTContainer::found, &outer);
}

TEST(VxTGroup, BoundsFollowTheDeliberateRules) {
    std::string log;
    VxTGroup g("g");
    Probe a("a", log, 0, 0, 10, 10), b("b", log, 20, 5, 10, 10), free("free", log, 0, 0, 0, 0);
    free.tSetFlags(kVxTBounded, false);
    // tAddChild alone leaves the parent null; the box grows by union.
    EXPECT_EQ(g.tAddChild(&a), 1);
    EXPECT_EQ(a.parent, nullptr);
    EXPECT_EQ(g.tAddChild(&a), 0);
    EXPECT_EQ(g.tAddChild(nullptr), 0);
    EXPECT_EQ(g.tAddChild(&free), 1);
    EXPECT_FALSE(g.isBounded());
    // The last child added alone decides: bounded again, until resetBounds.
    EXPECT_EQ(g.tAddChild(&b), 1);
    EXPECT_TRUE(g.isBounded());
    EXPECT_TRUE(g.origin == HvVec2(0, 0) && g.size == HvVec2(30, 15));
    g.resetBounds();
    EXPECT_FALSE(g.isBounded());
    EXPECT_EQ(g.boundsState, 0);
    EXPECT_EQ(g.tRemoveChild(&free), 1);
    EXPECT_EQ(g.tRemoveChild(&free), 0);
    EXPECT_TRUE(g.isBounded());
    // A group's own box is not settable; a child's move climbs to the root.
    g.tOrigin(HvVec2(99, 99));
    EXPECT_EQ(g.origin, HvVec2(0, 0));
    VxTGroup root("root");
    g.tParent(&root);
    b.tParent(&g); // already listed: the parent stays null, nothing changes
    EXPECT_EQ(b.parent, nullptr);
    Probe d("d", log, 0, 0, 5, 5);
    d.tParent(&g);
    d.tOrigin(HvVec2(-10, -20));
    EXPECT_TRUE(root.origin == HvVec2(-10, -20) && root.size == HvVec2(40, 35));

    EXPECT_EQ(g.tcFindChild("d"), &d);
    EXPECT_EQ(g.tcFindChild(&free), nullptr);
    for (VxTObject* w :
         {static_cast<VxTObject*>(&a), static_cast<VxTObject*>(&b), static_cast<VxTObject*>(&d)})
        w->tSetState(kVxTFindable);
    EXPECT_EQ(g.tcHasUsefulChildren(), 0);
    b.tSetFlags(kVxTActive, true);
    EXPECT_EQ(g.tcHasUsefulChildren(), 1);

    // Emptied: (0, 0)-(0, 0), bounded, and the children are let go.
    g.tcEmpty();
    g.resetBounds();
    EXPECT_TRUE(g.isBounded() && g.boundsState == 2 && g.size == HvVec2(0, 0));
    EXPECT_EQ(d.parent, nullptr);
}

TEST(VxTGroup, DestroyedChildrenAndGroupsLeaveNothingBehind) {
    std::string log;
    VxTGroup g("g");
    Probe a("a", log, 0, 0, 10, 10);
    a.tParent(&g);
    Probe* b = new Probe("b", log, 20, 0, 10, 10);
    b->tParent(&g);
    g.tFind(HvVec2(25, 5), kTol);
    ASSERT_EQ(g.VxTContainer::found, b);
    delete b; // out of the list, off the focus path, bounds reset
    EXPECT_TRUE(g.VxTObject::found == nullptr && g.VxTContainer::found == nullptr);
    EXPECT_EQ(g.size, HvVec2(10, 10));
    EXPECT_EQ(g.tFind(HvVec2(25, 5), kTol), nullptr);

    // A destroyed group lets its children go; an owning one deletes them.
    auto* inner = new VxTGroup("inner");
    inner->tParent(&g);
    Probe c("c", log, 0, 0, 1, 1);
    c.tParent(inner);
    delete inner;
    EXPECT_EQ(c.parent, nullptr);
    EXPECT_EQ(g.tcFindChild("inner"), nullptr);
    auto* owner = new VxTGroup("owner");
    owner->ownsChildren = 1;
    (new Probe("owned", log, 0, 0, 1, 1))->tParent(owner);
    delete owner; // ASan: the owned probe is freed once, and nothing dangles
}

} // namespace
