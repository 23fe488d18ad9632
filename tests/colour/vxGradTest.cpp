// Node gradients: the end nodes, evaluation and editing against a plain model
// (a map of the nodes and a linear scan), and the findNode rules.
#include "vxGrad.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

namespace {

using Grad = VxGradDescription<VxRGBAf>;

// The evaluation written out with a linear scan over a freshly sorted copy.
VxRGBAf modelEvaluate(const Grad& g, float t) {
    std::vector<const Grad::Node*> p;
    for (int i = 0; i < g.count; ++i)
        p.push_back(g.nodes + i);
    std::sort(p.begin(), p.end(), Grad::comparePositions);
    const int n = static_cast<int>(p.size());
    t = g.isCyclic() ? t - std::floor(t) : std::min(std::max(t, 0.0f), 1.0f);
    t = t >= 0.0f && t <= 1.0f ? t : 0.0f;
    int i = 0;
    while (i + 2 < n && p[i + 1]->position <= t)
        ++i;
    const bool last = i + 2 == n;
    const float start = i == 0 ? 0.0f : p[i]->position, end = last ? 1.0f : p[i + 1]->position;
    const float s = end - start == 0.0f ? 0.0f : (t - start) / (end - start);
    const float w = g.smooth ? s * s * (3.0f - 2.0f * s) : s;
    const VxRGBAf c1 = g.isCyclic() && last ? p[0]->colour : p[i + 1]->colour;
    return p[i]->colour + (c1 - p[i]->colour) * w;
}

} // namespace

TEST(VxGradDescription, EndNodesAndEvaluation) {
    Grad g;
    EXPECT_EQ(g.count, 2);
    EXPECT_EQ(g.nodeByID(0)->colour, VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.nodeByID(1)->colour, VxRGBAf(1, 1, 1, 1));
    // The ends are the start and the end whatever they store, and stay.
    g.nodes[0].position = 0.7f;
    g.nodes[1].position = 0.1f;
    g.flags |= Grad::kOrderDirty;
    EXPECT_EQ(g.evaluate(0.25f), VxRGBAf(0.25f, 0.25f, 0.25f, 1.0f));
    for (int end : {0, 1}) {
        EXPECT_EQ(g.removeNode(end), 0);
        EXPECT_EQ(g.positionByID(end, 0.5f), 0);
    }
    EXPECT_EQ(g.nodeByID(0)->position, 0.7f);
    EXPECT_EQ(g.count, 2);
    EXPECT_EQ(g.evaluate(-3.0f), VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.evaluate(NAN), VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.findInterval(1.5f), 1);
    // Cyclic: wraps, and the end comes back to the start colour.
    g.insertNode(2, VxRGBAf(1, 0, 0, 1), 0.5f);
    g.cyclic(1);
    EXPECT_EQ(g.evaluate(1.25f), g.evaluate(0.25f));
    EXPECT_EQ(g.evaluate(-0.75f), g.evaluate(0.25f));
    EXPECT_EQ(g.evaluate(0.75f), VxRGBAf(0.5f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(g.findInterval(1.5f), 0);
    g.smooth = 1;
    EXPECT_EQ(g.evaluate(0.625f).r, 1.0f - 0.25f * 0.25f * 2.5f);
    // Other node types, given end colours and a node limit; negative ids refused.
    VxGradDescription<float> f(2.0f, 4.0f, 3);
    EXPECT_EQ(f.evaluate(0.5f), 3.0f);
    EXPECT_EQ(f.insertNode(5, 0.0f, 0.5f), 1);
    EXPECT_EQ(f.insertNode(6, 0.0f, 0.6f), 0);
    EXPECT_EQ(f.insertNode(-2, 0.0f, 0.6f), 0);
}

// Random inserts, removals, modifications and moves against a plain map of
// the nodes: the same ids, sorted storage, a free id that is free, and the
// same colour everywhere.
TEST(VxGradDescription, MatchesModelUnderEdits) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    for (int round = 0; round < 20; ++round) {
        Grad g;
        g.cyclic(round % 2);
        g.smooth = round % 3 == 0;
        std::map<int, float> model = {{0, 0.0f}, {1, 1.0f}};
        bool shrunk = false, shifted = false;
        for (int step = 0; step < 400; ++step) {
            // The last steps only remove (and evaluate), so that the arrays
            // both shift in place and shrink.
            const int op = step < 250 ? static_cast<int>(rng() % 6) : (rng() % 2 ? 2 : 5);
            const int id = static_cast<int>(rng() % 40), before = g.capacity;
            const bool interior = id >= 2 && model.count(id);
            const VxRGBAf c(u(rng), u(rng), u(rng), 1.0f);
            const float p = u(rng) * 1.4f - 0.2f; // stored as given, even outside 0..1
            if (op == 0) {
                const int fresh = g.findFreeID();
                g.insertNode(fresh, c, p);
                model[fresh] = p;
            } else if (op == 1) {
                g.insertNode(id, c, p); // an existing id is modified: an end keeps its place
                if (!model.count(id) || id >= 2)
                    model[id] = p;
            } else if (op == 2) {
                ASSERT_EQ(g.removeNode(id), interior ? 1 : 0);
                if (interior) {
                    model.erase(id);
                    (g.capacity < before ? shrunk : shifted) = true;
                }
            } else if (op == 3 && g.modifyNode(id, c, p) && id >= 2) {
                model[id] = p;
            } else if (op == 4 && g.positionByID(id, p)) {
                model[id] = std::min(std::max(p, 0.0f), 1.0f);
            } else if (op == 5) {
                for (int k = 0; k < 50; ++k) {
                    const float t = u(rng) * 1.6f - 0.3f;
                    ASSERT_EQ(g.evaluate(t), modelEvaluate(g, t)) << t;
                }
            }
            ASSERT_EQ(g.count, static_cast<int>(model.size()));
            ASSERT_GE(g.capacity, g.count);
            int i = 0;
            for (const auto& [nid, pos] : model) {
                ASSERT_EQ(g.nodes[i].id, nid);
                ASSERT_EQ(g.mapIDtoIndex(nid), i);
                ASSERT_TRUE(nid < 2 || g.nodes[i].position == pos) << nid;
                ++i;
            }
            ASSERT_EQ(g.mapIDtoIndex(999), -1);
            ASSERT_EQ(model.count(g.findFreeID()), 0u);
        }
        EXPECT_TRUE(shrunk && shifted);
        // Copies are deep and evaluate the same.
        Grad copy(g), assigned;
        assigned = g;
        for (float t = -0.5f; t < 1.5f; t += 0.01f) {
            ASSERT_EQ(copy.evaluate(t), g.evaluate(t));
            ASSERT_EQ(assigned.evaluate(t), g.evaluate(t));
        }
        copy.modifyNode(0, VxRGBAf(9, 9, 9, 9), 0.0f);
        EXPECT_NE(g.nodeByID(0)->colour, copy.nodeByID(0)->colour);
    }
}

TEST(VxGradDescription, FindNodeAndFreeIDs) {
    Grad g;
    EXPECT_EQ(g.findFreeID(), 2);
    g.insertNode(2, VxRGBAf(), 0.50f);
    g.insertNode(5, VxRGBAf(), 0.55f);
    g.insertNode(3, VxRGBAf(), 0.52f);
    EXPECT_EQ(g.findFreeID(), 4);
    EXPECT_EQ(g.mapIDtoIndex(5), 4);
    // Interior nodes beat the ends; among them the highest id, not the nearest;
    // in cyclic mode the end is the start; with both ends in reach the later one
    // visited is kept.
    const struct {
        int cyclic;
        float position, tolerance;
        int want;
    } cases[] = {{0, 0.51f, 0.1f, 5}, {0, 0.505f, 0.02f, 3}, {0, 0.96f, 0.1f, 1},
                 {0, 0.02f, 0.1f, 0}, {0, 0.25f, 0.1f, -1},  {0, NAN, 0.1f, -1},
                 {0, 7.0f, 0.1f, 1},  {1, 0.96f, 0.1f, 0},   {1, 0.5f, 2.0f, 5}};
    for (const auto& c : cases) {
        g.cyclic(c.cyclic);
        EXPECT_EQ(g.findNode(c.position, c.tolerance), c.want) << c.position << " " << c.cyclic;
    }
    for (int id : {2, 3, 5})
        g.removeNode(id);
    EXPECT_EQ(g.findNode(0.5f, 2.0f), 0);
}
