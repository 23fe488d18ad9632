#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

namespace {

// Sees the table for the initial-state check.
struct Inspect : VxColourGrade {
    const VxColourKey* entry(int b) const { return lookup[b]; }
    const VxColourKey* slotKey(int s) const { return &keys[s]; }
};

// Positions at which the table-driven evaluation is most likely to go wrong:
// the ends, outside, every key and its float neighbours, bucket boundaries.
std::vector<float> probes(const VxColourGrade& g, std::mt19937& rng) {
    std::vector<float> t = {-1.0f, 0.0f, 1.0f, 2.0f, NAN, 1e-30f, 0.99999994f};
    for (int i = 0; i < g.count; ++i) {
        const float p = g.key(g.slotAt(i)).position;
        t.insert(t.end(), {p, std::nextafter(p, 0.0f), std::nextafter(p, 1.0f)});
    }
    for (int b = 0; b < 1024; b += 37)
        t.push_back(static_cast<float>(b) / 1023.0f);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    for (int i = 0; i < 40; ++i)
        t.push_back(u(rng));
    return t;
}

void expectConsistent(VxColourGrade& g, std::mt19937& rng) {
    g.prepare();
    ASSERT_EQ(GradeInvariantError(g), "");
    for (float t : probes(g, rng))
        ASSERT_TRUE(SameColour(g.colour(t), ModelColour(g, t))) << "t = " << t;
}

VxRGBAf randomColour(std::mt19937& rng) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    return VxRGBAf(u(rng), u(rng), u(rng), u(rng));
}

} // namespace

TEST(VxColourGrade, InitialStateAndEnds) {
    Inspect g;
    EXPECT_EQ(g.count, 2);
    EXPECT_EQ(g.maxSlot, 1);
    EXPECT_EQ(g.slotAt(0), 0);
    EXPECT_EQ(g.slotAt(1), 1);
    EXPECT_EQ(g.key(0).colour, VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.key(1).colour, VxRGBAf(1, 1, 1, 1));
    for (int s = 2; s < 128; ++s)
        ASSERT_EQ(g.key(s).orderIndex, -1);
    for (int b = 0; b < 1023; ++b)
        ASSERT_EQ(g.entry(b), g.slotKey(0));
    EXPECT_EQ(g.entry(1023), g.slotKey(1));
    EXPECT_EQ(g.findFreeColour(), 2);
    EXPECT_EQ(g.colour(-1.0f), g.colour(0.0f));
    EXPECT_EQ(g.colour(2.0f), g.colour(1.0f));
    EXPECT_EQ(g.colour(0.25f), VxRGBAf(0.25f, 0.25f, 0.25f, 1.0f));
    g.smooth = 1;
    EXPECT_EQ(g.colour(0.25f).r, 0.25f * 0.25f * 2.5f);
    // Cyclic: the grade comes back to its first colour at the end.
    g.cyclic(1);
    EXPECT_EQ(g.colour(1.0f), VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.colour(0.0f), VxRGBAf(0, 0, 0, 1));
    g.cyclic(0);
    EXPECT_EQ(g.colour(1.0f), VxRGBAf(1, 1, 1, 1));
}

// Random edits of every kind; after each one the structure holds and the
// table-driven colour() agrees bit for bit with the plain model, with no stale
// table however the edits interleave with evaluation.
TEST(VxColourGrade, EditsKeepInvariantsAndEvaluationMatchesModel) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    for (int round = 0; round < 30; ++round) {
        VxColourGrade g;
        g.smooth = round % 2;
        g.cyclic(round % 3 == 0);
        for (int step = 0; step < 120; ++step) {
            const int slot = static_cast<int>(rng() % 130) - 1;
            switch (rng() % 8) {
            case 0:
            case 1:
                g.addColour(randomColour(rng), u(rng));
                break;
            case 2:
                g.deleteColour(slot);
                break;
            case 3:
                g.moveColour(slot, u(rng) * 1.2f - 0.1f);
                break;
            case 4:
                g.changeColour(slot, randomColour(rng), u(rng));
                break;
            case 5:
                // Tags may put any key anywhere, ends included.
                if (round % 4 == 1)
                    g.changeTag(slot, randomColour(rng), u(rng));
                break;
            case 6:
                g.cleanClashes();
                break;
            default:
                g.smooth = !g.smooth;
                break;
            }
            if (step % 5 == 0)
                expectConsistent(g, rng);
            if (::testing::Test::HasFatalFailure())
                return;
        }
        expectConsistent(g, rng);
        // A copy evaluates the same, and is its own grade.
        VxColourGrade copy(g);
        for (float t : {0.0f, 0.3f, 0.7f, 1.0f})
            EXPECT_TRUE(SameColour(copy.colour(t), g.colour(t)));
        copy.changeColour(copy.slotAt(0), VxRGBAf(9, 9, 9, 9));
        EXPECT_NE(copy.colour(0.0f), g.colour(0.0f));
    }
}

TEST(VxColourGrade, EditingRules) {
    VxColourGrade g;
    const VxRGBAf red(1, 0, 0, 1), blue(0, 0, 1, 1);
    // Adding, and adding onto a key that is already there.
    const int a = g.addColour(red, 0.5f);
    EXPECT_EQ(a, 2);
    EXPECT_EQ(g.addColour(blue, 0.5f + VxColourGrade::kClashDistance * 0.5f), a);
    EXPECT_EQ(g.count, 3);
    EXPECT_EQ(g.key(a).colour, blue);
    EXPECT_EQ(g.addColour(red, 0.0f), 0); // recolours the start
    EXPECT_EQ(g.key(0).colour, red);
    EXPECT_EQ(g.addColour(red, NAN), -1);
    EXPECT_EQ(g.addColour(VxRGBAf(NAN, 0.0f, 0.0f, 1.0f), 0.3f), -1);
    EXPECT_EQ(g.clashColour(0.5f), a);
    EXPECT_EQ(g.clashColour(0.25f), -1);
    // Moving stays between the neighbours; the ends stay put.
    const int b = g.addColour(red, 0.75f);
    EXPECT_EQ(g.moveColour(a, 0.9f), 1);
    EXPECT_FLOAT_EQ(g.key(a).position, 0.75f - VxColourGrade::kClashDistance);
    EXPECT_EQ(g.moveColour(a, -3.0f), 1);
    EXPECT_FLOAT_EQ(g.key(a).position, VxColourGrade::kClashDistance);
    EXPECT_EQ(g.moveColour(0, 0.5f), 0);
    EXPECT_EQ(g.moveColour(1, 0.5f), 0);
    EXPECT_EQ(g.moveColour(77, 0.5f), 0);
    EXPECT_EQ(g.changeColour(b, blue, 0.6f), 1);
    EXPECT_EQ(g.key(b).position, 0.6f);
    EXPECT_EQ(g.changeColour(b, VxRGBAf(2e6f, 0.0f, 0.0f, 0.0f), 0.7f), 0);
    EXPECT_EQ(g.key(b).position, 0.6f);
    // Finding: nearest within tolerance.
    EXPECT_EQ(g.findColour(0.58f, 0.05f), b);
    EXPECT_EQ(g.findColour(0.3f, 0.05f), -1);
    EXPECT_EQ(g.findColour(0.97f, 0.05f), 1);
    // Deleting: interior keys only, never below two keys.
    EXPECT_EQ(g.deleteColour(0), 0);
    EXPECT_EQ(g.deleteColour(1), 0);
    EXPECT_EQ(g.deleteColour(b), 1);
    EXPECT_EQ(g.deleteColour(b), 0);
    EXPECT_EQ(g.deleteColour(a), 1);
    EXPECT_EQ(g.count, 2);
    // Clashes made through tags are cleaned away, the ends kept.
    const int c = g.addColour(red, 0.4f), d = g.addColour(blue, 0.6f);
    g.changeTag(c, red, 0.6f);
    g.changeTag(d, blue, 0.9995f);
    EXPECT_EQ(g.cleanClashes(), 1);
    g.prepare();
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.count, 3);
    // A full grade takes no more keys.
    VxColourGrade full;
    for (int i = 1; i < 126; ++i)
        ASSERT_GE(full.addColour(red, static_cast<float>(i) / 127.0f), 2);
    EXPECT_EQ(full.count, 127);
    EXPECT_GE(full.addColour(red, 0.9961f), 0);
    EXPECT_EQ(full.addColour(red, 0.9945f), -1);
    EXPECT_EQ(full.findFreeColour(), -1);
    full.reset();
    EXPECT_EQ(full.count, 2);
    EXPECT_EQ(full.findFreeColour(), 2);
}

TEST(VxColourGrade, TagBatches) {
    VxColourGrade g;
    g.addColour(VxRGBAf(1, 0, 0, 1), 0.25f); // slot 2
    g.addColour(VxRGBAf(0, 1, 0, 1), 0.75f); // slot 3
    EXPECT_EQ(g.enableTag(2), 0);            // no batch open
    g.startTagEnable();
    EXPECT_EQ(g.enableTag(3), 1);
    EXPECT_EQ(g.endTagEnable(), 0); // one slot is not a grade
    EXPECT_EQ(g.count, 4);
    const VxRGBAf middle = g.colour(0.5f);
    g.startTagEnable();
    for (int s : {0, 3, 9, 200, -1})
        g.enableTag(s);
    EXPECT_EQ(g.endTagEnable(), 1);
    g.prepare();
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.count, 3);
    EXPECT_EQ(g.key(1).orderIndex, -1);
    EXPECT_EQ(g.key(2).orderIndex, -1);
    EXPECT_EQ(g.key(9).position, 0.5f);
    EXPECT_EQ(g.key(9).colour, middle);
    // A batch of changes, applied together.
    g.startChanges();
    EXPECT_EQ(g.changeTag(9, VxRGBAf(0, 0, 1, 1), 1.0f), 1);
    EXPECT_EQ(g.changeTag(3, VxRGBAf(0, 1, 0, 1), 0.5f), 1);
    EXPECT_EQ(g.changeTag(4, VxRGBAf(0, 1, 0, 1), 0.5f), 0);
    EXPECT_EQ(g.changeTag(3, VxRGBAf(0, 1, 0, 1), NAN), 0);
    g.endChanges();
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.slotAt(2), 9);
    EXPECT_EQ(g.colour(1.0f), VxRGBAf(0, 0, 1, 1));
    EXPECT_EQ(g.colour(0.5f), VxRGBAf(0, 1, 0, 1));
}
