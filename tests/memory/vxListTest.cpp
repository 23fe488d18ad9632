// VxList: the cursor rules, and append, find, remove and sort checked against
// std::list over random data.
#include "vxList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <vector>

namespace {

using Ints = std::vector<int>;

// The values head to tail; fails the test when the prev links and tail do
// not give the same sequence backwards.
Ints contents(const VxList<int>& list) {
    Ints forward, backward;
    for (VxListItem<int>* n = list.head; n; n = n->next)
        forward.push_back(n->value);
    for (VxListItem<int>* n = list.tail; n; n = n->prev)
        backward.insert(backward.begin(), n->value);
    EXPECT_EQ(forward, backward);
    return forward;
}

void fill(VxList<int>& list, const Ints& values) {
    for (int v : values)
        list.append(new VxListItem<int>(v));
}

TEST(VxList, CursorRules) {
    VxList<int> list;
    fill(list, {1, 2, 3, 4, 5});
    // Removing the node under the cursor (3, not yet returned) sends the walk
    // back to its predecessor; removing the node just returned (4) is harmless.
    Ints seen;
    list.cursor = list.head;
    while (VxListItem<int>* n = list.nextItem()) {
        seen.push_back(n->value);
        if (seen.size() == 2) {
            EXPECT_EQ(list.remove(list.cursor), 3);
        }
        if (n->value == 4)
            list.remove(n);
    }
    EXPECT_EQ(seen, Ints({1, 2, 2, 4, 5}));
    EXPECT_EQ(contents(list), Ints({1, 2, 5}));

    // Under the cursor with no predecessor: the cursor moves forward.
    list.cursor = list.head;
    list.remove(list.head);
    EXPECT_EQ(list.nextItem()->value, 2);

    // removeAll ends a walk in progress, wherever it was.
    fill(list, {2, 7, 2});
    list.cursor = list.head;
    list.nextItem();
    EXPECT_EQ(list.removeAll(2), 3);
    EXPECT_EQ(list.nextItem(), nullptr);

    // Null, already linked and foreign nodes change nothing.
    VxList<int> other;
    fill(other, {9});
    EXPECT_EQ(list.append(nullptr) + list.append(list.tail) + list.append(list.head), 0);
    EXPECT_EQ(list.remove(nullptr) + list.remove(other.head), 0);
    EXPECT_EQ(contents(list), Ints({5, 7}));
}

// Sorting by tens leaves values with equal keys to show the order is stable.
int byTens(int* a, int* b) {
    return *a / 10 - *b / 10;
}

TEST(VxList, MatchesStdListOnRandomData) {
    std::mt19937 rng(12345);
    VxList<int> list;
    std::list<int> model;
    for (int step = 0; step < 4000; ++step) {
        const int v = static_cast<int>(rng() % 40);
        // Removing what find() gives shows that it is the first match.
        VxListItem<int>* found = list.find(v);
        const auto it = std::find(model.begin(), model.end(), v);
        ASSERT_EQ(found != nullptr, it != model.end());
        const unsigned op = rng() % 9;
        if (op < 4) {
            EXPECT_EQ(list.append(new VxListItem<int>(v)), v);
            model.push_back(v);
        } else if (op < 6 && found) {
            EXPECT_EQ(list.remove(found), v);
            model.erase(it);
        } else if (op < 8) {
            EXPECT_EQ(list.removeAll(v), std::count(model.begin(), model.end(), v));
            model.remove(v);
        } else {
            VxListItem<int>* head = list.head;
            list.cursor = head;
            list.sort(nullptr); // does nothing; a reorder here would show as instability
            list.sort(byTens);
            model.sort([](int a, int b) { return a / 10 < b / 10; }); // stable
            EXPECT_EQ(list.cursor, head); // nodes are relinked, not copied
        }
        ASSERT_EQ(contents(list), Ints(model.begin(), model.end())) << "step " << step;
    }
}

} // namespace
