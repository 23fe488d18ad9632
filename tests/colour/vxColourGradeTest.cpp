// Colour values and grades: arithmetic and HSV, the editing rules, tag batches,
// and random edits against the invariants and the plain model of evaluation.
#include "vxColourGrade.h"
#include "vxColour.h"
#include "vxColourGradeCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

VxRGBAf randomColour(std::mt19937& rng) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    return VxRGBAf(u(rng), u(rng), u(rng), u(rng));
}

// Sees the table for the initial-state check: the slot of table entry b.
struct Inspect : VxColourGrade {
    long entrySlot(int b) const { return lookup[b] - keys; }
};

// Evaluates at the places the table-driven evaluation is most likely to get
// wrong (outside, the ends, every key and its float neighbours, bucket
// boundaries, random ones) and compares bit for bit with the model.
void expectConsistent(VxColourGrade& g, std::mt19937& rng) {
    g.prepare();
    ASSERT_EQ(GradeInvariantError(g), "");
    std::vector<float> probes = {-1.0f, 0.0f, 1.0f, 2.0f, NAN, 1e-30f, 0.99999994f};
    for (int i = 0; i < g.count; ++i) {
        const float p = g.key(g.slotAt(i)).position;
        probes.insert(probes.end(), {p, std::nextafter(p, 0.0f), std::nextafter(p, 1.0f)});
    }
    for (int b = 0; b < 1024; b += 37)
        probes.push_back(static_cast<float>(b) / 1023.0f);
    for (int i = 0; i < 40; ++i)
        probes.push_back(std::uniform_real_distribution<float>(0.0f, 1.0f)(rng));
    for (float t : probes)
        ASSERT_TRUE(SameColour(g.colour(t), ModelColour(g, t))) << "t = " << t;
}

} // namespace

TEST(VxColour, ConstructionAndArithmetic) {
    // Ints are taken as they are, not rescaled; out-of-range channels clamp.
    EXPECT_EQ(VxRGBAf(1, 0, 0, 1), VxRGBAf(1.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(VxRGBAf(), VxRGBAf(0, 0, 0, 0));
    const VxRGBAf a(0.5f, 0.25f, 1.0f, 1.0f), b(0.25f, 0.25f, 0.5f, 0.0f);
    EXPECT_EQ(a - b, VxRGBAf(0.25f, 0.0f, 0.5f, 1.0f));
    EXPECT_EQ(a * 2.0f, VxRGBAf(1.0f, 0.5f, 2.0f, 2.0f));
    EXPECT_EQ(VxRGBAf(-1.0f, 2.0f, NAN, 0.5f).clamped(), VxRGBAf(0.0f, 1.0f, 0.0f, 0.5f));
    EXPECT_EQ(a[9], a.a);
    EXPECT_EQ(VxRGBAi(300, -2, 128, 255).clamped(), VxRGBAi(255, 0, 128, 255));
    EXPECT_EQ(VxRGBf(1, 2, 3) + VxRGBf(1, 1, 1), VxRGBf(2, 3, 4));
    EXPECT_EQ(VxRGBi(10, 20, 30) * 0.5f, VxRGBi(5, 10, 15));
    EXPECT_EQ(VxInvert(4.0f), 0.25f);
    EXPECT_EQ(VxInvert(0.0f), 0.0f);
}

TEST(VxColour, HsvRoundTripAndCorners) {
    auto dist = [](const VxRGBf& x, const VxRGBf& y) {
        return std::fabs(x.r - y.r) + std::fabs(x.g - y.g) + std::fabs(x.b - y.b);
    };
    // Primaries, a hue below 0, grey, NaN hue and saturation beyond 1.
    const struct {
        float h, s, v;
        VxRGBf want;
    } corners[] = {{0.0f, 1.0f, 1.0f, {1, 0, 0}},          {1.0f / 3, 1.0f, 1.0f, {0, 1, 0}},
                   {2.0f / 3, 1.0f, 1.0f, {0, 0, 1}},      {-1.0f / 3, 1.0f, 1.0f, {0, 0, 1}},
                   {0.3f, 0.0f, 0.4f, {0.4f, 0.4f, 0.4f}}, {NAN, 2.0f, 2.0f, {1, 0, 0}},
                   {-1e-9f, 1.0f, 1.0f, {1, 0, 0}}};
    for (const auto& c : corners)
        EXPECT_LT(dist(VxHSVtoRGB(c.h, c.s, c.v), c.want), 2e-5f) << c.h << " " << c.s;
    // Every colour of a grid survives RGB -> HSV -> RGB, and HSV stays in range.
    for (int i = 0; i < 9 * 9 * 9; ++i) {
        const VxRGBf c(i % 9 / 8.0f, i / 9 % 9 / 8.0f, i / 81 / 8.0f);
        float h, s, v;
        VxRGBtoHSV(c, h, s, v);
        ASSERT_TRUE(h >= 0.0f && h < 1.0f && s >= 0.0f && s <= 1.0f && v >= 0.0f && v <= 1.0f);
        ASSERT_LT(dist(VxHSVtoRGB(h, s, v), c), 2e-5f) << c.r << " " << c.g << " " << c.b;
    }
}

TEST(VxColourGrade, InitialStateAndEnds) {
    Inspect g;
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.count, 2);
    EXPECT_EQ(g.slotAt(0), 0);
    EXPECT_EQ(g.key(0).colour, VxRGBAf(0, 0, 0, 1));
    EXPECT_EQ(g.key(1).colour, VxRGBAf(1, 1, 1, 1));
    for (int b = 0; b < 1024; ++b)
        ASSERT_EQ(g.entrySlot(b), b == 1023 ? 1 : 0) << b;
    EXPECT_EQ(g.findFreeColour(), 2);
    EXPECT_EQ(g.colour(0.25f), VxRGBAf(0.25f, 0.25f, 0.25f, 1.0f));
    g.smooth = 1;
    EXPECT_EQ(g.colour(0.25f).r, 0.25f * 0.25f * 2.5f);
    // Cyclic: the grade comes back to its first colour at the end.
    g.cyclic(1);
    EXPECT_EQ(g.colour(1.0f), VxRGBAf(0, 0, 0, 1));
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
            const int slot = static_cast<int>(rng() % 130) - 1, op = static_cast<int>(rng() % 8);
            if (op < 2)
                g.addColour(randomColour(rng), u(rng));
            else if (op == 2)
                g.deleteColour(slot);
            else if (op == 3)
                g.moveColour(slot, u(rng) * 1.2f - 0.1f);
            else if (op == 4)
                g.changeColour(slot, randomColour(rng), u(rng));
            else if (op == 5 && round % 4 == 1) // tags may put any key anywhere, ends included
                g.changeTag(slot, randomColour(rng), u(rng));
            else if (op == 6)
                g.cleanClashes();
            else if (op == 7)
                g.smooth = !g.smooth;
            if (step % 5 == 0 || step == 119)
                expectConsistent(g, rng);
            if (HasFatalFailure())
                return;
        }
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
    // Adding, and adding onto a key that is already there (or onto the start).
    const int a = g.addColour(red, 0.5f);
    EXPECT_EQ(a, 2);
    EXPECT_EQ(g.addColour(blue, 0.5f + VxColourGrade::kClashDistance * 0.5f), a);
    EXPECT_EQ(g.count, 3);
    EXPECT_EQ(g.key(a).colour, blue);
    EXPECT_EQ(g.addColour(red, 0.0f), 0);
    EXPECT_EQ(g.key(0).colour, red);
    EXPECT_EQ(g.addColour(red, NAN), -1);
    EXPECT_EQ(g.addColour(VxRGBAf(NAN, 0.0f, 0.0f, 1.0f), 0.3f), -1);
    EXPECT_EQ(g.clashColour(0.5f), a);
    EXPECT_EQ(g.clashColour(0.25f), -1);
    // Moving stays between the neighbours; the ends and free slots stay put.
    const int b = g.addColour(red, 0.75f);
    EXPECT_EQ(g.moveColour(a, 0.9f), 1);
    EXPECT_FLOAT_EQ(g.key(a).position, 0.75f - VxColourGrade::kClashDistance);
    EXPECT_EQ(g.moveColour(a, -3.0f), 1);
    EXPECT_FLOAT_EQ(g.key(a).position, VxColourGrade::kClashDistance);
    for (int slot : {0, 1, 77})
        EXPECT_EQ(g.moveColour(slot, 0.5f), 0) << slot;
    EXPECT_EQ(g.changeColour(b, blue, 0.6f), 1);
    EXPECT_EQ(g.changeColour(b, VxRGBAf(2e6f, 0.0f, 0.0f, 0.0f), 0.7f), 0);
    EXPECT_EQ(g.key(b).position, 0.6f);
    // Finding: nearest within tolerance.
    EXPECT_EQ(g.findColour(0.58f, 0.05f), b);
    EXPECT_EQ(g.findColour(0.3f, 0.05f), -1);
    EXPECT_EQ(g.findColour(0.97f, 0.05f), 1);
    // Deleting: interior keys only, never below two keys.
    const int deletions[][2] = {{0, 0}, {1, 0}, {b, 1}, {b, 0}, {a, 1}};
    for (const auto& del : deletions)
        EXPECT_EQ(g.deleteColour(del[0]), del[1]) << del[0];
    EXPECT_EQ(g.count, 2);
    // Clashes made through tags are cleaned away, the ends kept.
    const int c = g.addColour(red, 0.4f), d = g.addColour(blue, 0.6f);
    g.changeTag(c, red, 0.6f);
    g.changeTag(d, blue, 0.9995f);
    EXPECT_EQ(g.cleanClashes(), 1);
    g.prepare();
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.count, 3);
    // A full grade takes no more keys, but still recolours.
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
    // A batch of changes, applied together; free slots and NaN refused.
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
