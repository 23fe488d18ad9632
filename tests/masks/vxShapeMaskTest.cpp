// Shape masks: the intersection routines against sampled models, the setup
// geometry against a hand-composed mapping, and the row and column intervals
// against brute-force density scans over placed, rotated and scaled shapes.
#include "vxShapeMask.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();

// The outer interval of a row (axis 0) or column at `at`, to within 1e-3.
void ExpectOuter(VxCanonicalShapeMask& m, int axis, float at, float lo, float hi) {
    HvBox1 r;
    ASSERT_TRUE(axis == 0 ? m.outerBoundingLine(r, at) : m.outerBoundingColumn(r, at));
    EXPECT_NEAR(r.xmin, lo, 1e-3f);
    EXPECT_NEAR(r.xmax, hi, 1e-3f);
}

TEST(VxShapeMask, IntersectionRoutines) {
    // Linear and degenerate quadratics; a tangent and NaN are misses that
    // leave the outputs alone.
    float r0 = 7, r1 = 7;
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 0, 0, 1), 0);
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1, -2, 1), 0);
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1, kNaN, 1), 0);
    EXPECT_EQ(r0 + r1, 14.0f);
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1e-39f, 2, -4), 1);
    EXPECT_EQ(r0 + r1, 4.0f);

    std::mt19937 g(5);
    std::uniform_real_distribution<float> u(-4, 4);
    for (int i = 0; i < 2000; ++i) {
        // Circle: two roots on the unit circle exactly when the line passes
        // within distance 1 of the origin.
        float t0 = 0, t1 = 0;
        const float ax = u(g), ay = u(g), dx = u(g), dy = u(g);
        const double dist = std::fabs(double(ax) * dy - double(ay) * dx) / std::hypot(dx, dy);
        if (std::fabs(dist - 1) > 1e-3) {
            ASSERT_EQ(VxCircleLineIntersection(t0, t1, ax, ay, dx, dy), dist < 1 ? 2 : 0);
            for (float t : {t0, t1})
                EXPECT_NEAR(dist < 1 ? std::hypot(ax + t * dx, ay + t * dy) : 1, 1.0, 1e-4);
        }
        // Box: [t0, t1] holds exactly the sampled part of the segment inside.
        const float x0 = u(g), y0 = u(g), x1 = x0 + std::fabs(u(g)), y1 = y0 + std::fabs(u(g));
        const bool hit = VxBoxLineIntersection(t0, t1, ax, ay, dx, dy, x0, y0, x1, y1);
        float lo = 2, hi = -1;
        for (float t = 0; t <= 1; t += 1.0f / 1024) {
            const float x = ax + t * dx, y = ay + t * dy;
            if (x >= x0 && x <= x1 && y >= y0 && y <= y1)
                lo = std::min(lo, t), hi = std::max(hi, t);
        }
        ASSERT_TRUE(hit || lo > hi);
        if (hit) {
            EXPECT_TRUE(0 <= t0 && t0 <= t1 && t1 <= 1);
            EXPECT_TRUE(lo > hi ? t1 - t0 < 1e-3f : t0 <= lo + 1e-5f && lo - t0 < 1e-3f);
            EXPECT_TRUE(lo > hi || (t1 >= hi - 1e-5f && t1 - hi < 1e-3f));
        }
    }
    float t0 = 5, t1 = 5;
    EXPECT_FALSE(VxBoxLineIntersection(t0, t1, 0, 0, 1e-37f, -1e-37f));
    EXPECT_TRUE(VxBoxLineIntersection(t0, t1, -3, 0, 6, 0));
    EXPECT_FLOAT_EQ(t0, 1.0f / 3);
    EXPECT_FLOAT_EQ(t1, 2.0f / 3);
}

TEST(VxShapeMask, SetupAndEdgeCases) {
    // Until set up a mask is empty.
    VxShapeMaskCircle c;
    HvBox1 r(-7, -7);
    EXPECT_TRUE(c.dirty && c.inverseStale && !c.hasOuter);
    EXPECT_FALSE(c.outerBoundingLine(r, 0));
    EXPECT_EQ(c.density(HvVec2(0, 0)), 0.0f);

    // The default circle: radius 100 at the origin, softness 0.01.
    c.setup();
    EXPECT_TRUE(!c.dirty && !c.inverseStale && c.hasOuter && c.hasInner);
    EXPECT_EQ(c.density(HvVec2(0, 0)), 1.0f);
    for (HvVec2 p : {HvVec2(99.5f, 0), HvVec2(0, -99.5f)})
        EXPECT_NEAR(c.density(p), 0.5f, 1e-3f);
    EXPECT_EQ(c.density(HvVec2(70.8f, 70.8f)), 0.0f);
    EXPECT_NEAR(c.outerBox.xmin, -100, 1e-4f);
    EXPECT_NEAR(c.outerBox.ymax, 100, 1e-4f);

    // Image -> canonical: scale and aspect, then centre, rotation and size.
    c.setScale(1.5f);
    c.setAspect(0.8f);
    c.setCentre(300, 200);
    c.setRotation(0.7f);
    c.setSize(50, 20);
    EXPECT_TRUE(c.dirty);
    c.setup();
    for (HvVec2 p : {HvVec2(0, 0), HvVec2(210, 170), HvVec2(-40, 900)}) {
        const float sx = p.x * 1.5f - 300, sy = p.y / 0.8f - 200;
        const float cs = std::cos(0.7f), sn = std::sin(0.7f);
        const HvVec2 q = c.toCanonicalPoint(p), back = c.toImagePoint(q);
        EXPECT_NEAR(q.x, (cs * sx + sn * sy) / 50, 1e-4f);
        EXPECT_NEAR(q.y, (-sn * sx + cs * sy) / 20, 1e-4f);
        EXPECT_NEAR(back.x - p.x, 0, 1e-3f);
        EXPECT_NEAR(back.y - p.y, 0, 1e-3f);
    }

    // Softness above 1: no core, peak 1 / softness at the centre.
    VxShapeMaskBox b;
    b.setSoftness(2);
    b.setup();
    EXPECT_FALSE(b.hasInner);
    EXPECT_EQ(b.maxDensity(), 0.5f);
    EXPECT_EQ(b.density(HvVec2(0, 0)), 0.5f);
    EXPECT_FALSE(b.innerBoundingLine(r, 0) || b.innerBoundingColumn(r, 0));

    // Zero size: an empty mask with nothing to report.
    b.setSize(0, 50);
    b.setup();
    EXPECT_FALSE(b.hasOuter || b.hasInner || b.dirty);
    EXPECT_FALSE(b.outerBoundingLine(r, 0));
    EXPECT_EQ(b.density(HvVec2(0, 0)), 0.0f);

    // Rows that miss, and rows exactly tangent to a circle (exact in float
    // with a power-of-two radius), return false and leave the range alone.
    VxShapeMaskCircle t;
    t.setCentre(500, 500);
    t.setSize(64, 64);
    t.setup();
    for (float y : {300.0f, 436.0f, 564.0f})
        EXPECT_FALSE(t.outerBoundingLine(r, y) || t.outerBoundingColumn(r, y)) << y;
    EXPECT_EQ(r, HvBox1(-7, -7));
    ExpectOuter(t, 0, 500, 436, 564);
    // A box reaching past x = 1000 stops at 1000 on rows (y = 1000 on
    // columns); a circle does not.
    VxShapeMaskBox far;
    far.setCentre(950, 980);
    far.setup();
    ExpectOuter(far, 0, 980, 850, 1000);
    ExpectOuter(far, 1, 950, 880, 1000);
    t.setCentre(950, 500);
    t.setup();
    ExpectOuter(t, 0, 500, 886, 1014);

    // Softness 0 or below follows the density rule, silently: 1 inside, and
    // on the boundary 0 for softness 0 (not 0 / 0), 1 below it, where the
    // core is the shape grown by the softness.
    VxShapeMaskBox hard;
    hard.setSize(64, 64);
    for (float soft : {0.0f, -0.5f}) {
        hard.setSoftness(soft);
        testing::internal::CaptureStderr();
        hard.setup();
        EXPECT_EQ(hard.density(HvVec2(63.9f, 0)), 1.0f);
        EXPECT_EQ(hard.density(HvVec2(64, 10)), soft < 0 ? 1.0f : 0.0f);
        EXPECT_EQ(hard.density(HvVec2(65, 10)), 0.0f);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(hard.maxDensity(), 1.0f);
        EXPECT_EQ(hard.innerBox.xmax, 64.0f * (1.0f - soft));
    }
}

// Scans the row (axis 0) or column (axis 1) at `at` in steps of kStep and
// checks the mask's intervals and outer box against the densities there.
constexpr float kStep = 0.25f;
constexpr float kTol = 0.02f; // rounding of interval ends, image units

void CheckLine(VxCanonicalShapeMask& m, bool box, int axis, float at) {
    HvBox1 out, in;
    const bool hasOut = axis == 0 ? m.outerBoundingLine(out, at) : m.outerBoundingColumn(out, at);
    const bool hasIn = axis == 0 ? m.innerBoundingLine(in, at) : m.innerBoundingColumn(in, at);
    const float maxD = m.maxDensity();
    HvBox2 near = m.outerBox; // grown by kTol
    near.Include(HvVec2(near.xmin - kTol, near.ymin - kTol));
    near.Include(HvVec2(near.xmax + kTol, near.ymax + kTol));
    // The scan reaches 50 beyond the outer box, and for a box stays in the
    // 0 .. 1000 its intervals cover.
    const float lo = m.outerBox.lo(axis) - 50, hi = m.outerBox.hi(axis) + 50;
    float nzLo = 1e9f, nzHi = -1e9f, fullLo = 1e9f, fullHi = -1e9f;
    for (float s = box ? std::max(lo, 0.0f) : lo; s <= (box ? std::min(hi, 1000.0f) : hi);
         s += kStep) {
        const HvVec2 p = axis == 0 ? HvVec2(s, at) : HvVec2(at, s);
        const float d = m.density(p);
        ASSERT_TRUE(d >= 0 && d <= maxD);
        if (d > 0) {
            nzLo = std::min(nzLo, s), nzHi = std::max(nzHi, s);
            ASSERT_TRUE(near.Contains(p)) << p.x << "," << p.y;
        }
        if (d == maxD)
            fullLo = std::min(fullLo, s), fullHi = std::max(fullHi, s);
        // Strictly inside the inner interval the density is at its maximum.
        if (hasIn && s > in.xmin + kTol && s < in.xmax - kTol) {
            ASSERT_NEAR(d, maxD, 1e-4f * maxD) << "at " << s;
        }
    }
    // Every non-zero pixel lies in the outer interval, which is tight.
    if (nzLo <= nzHi) {
        ASSERT_TRUE(hasOut);
        EXPECT_TRUE(nzLo >= out.xmin - kTol && nzLo <= out.xmin + kStep + kTol) << nzLo;
        EXPECT_TRUE(nzHi <= out.xmax + kTol && nzHi >= out.xmax - kStep - kTol) << nzHi;
    } else if (hasOut && out.xmax - out.xmin >= 2 * kStep) {
        // More than a sliver between samples: a row along a box edge, which
        // the closed box counts as a hit though its density is 0.
        const float mid = 0.5f * (out.xmin + out.xmax);
        const HvVec2 q = m.toCanonicalPoint(axis == 0 ? HvVec2(mid, at) : HvVec2(at, mid));
        EXPECT_TRUE(box);
        EXPECT_NEAR(std::max(std::fabs(q.x), std::fabs(q.y)), 1.0f, 1e-4f);
    }
    // The same for full-density pixels and the core interval.
    if (hasIn && in.xmax - in.xmin > 2 * kStep) {
        EXPECT_TRUE(fullLo <= in.xmin + kStep + kTol && fullHi >= in.xmax - kStep - kTol);
    }
    if (maxD == 1.0f && fullLo < fullHi - 2 * kStep) {
        ASSERT_TRUE(hasIn);
        EXPECT_TRUE(fullLo >= in.xmin - kTol && fullHi <= in.xmax + kTol);
    }
}

TEST(VxShapeMask, IntervalsMatchBruteForce) {
    const float rotations[] = {0.0f, 0.3f, 1.2f, -2.5f}, aspects[] = {1.0f, 0.7f, 1.6f};
    const float softnesses[] = {0.01f, 0.3f, 1.0f, 2.0f};
    for (int i = 0; i < 2 * 4 * 3 * 2 * 4; ++i) {
        const bool box = i % 2 != 0;
        const float rotation = rotations[i / 2 % 4], aspect = aspects[i / 8 % 3];
        const float scale = i / 24 % 2 ? 1.4f : 1.0f, softness = softnesses[i / 48];
        std::unique_ptr<VxCanonicalShapeMask> m(
            box ? static_cast<VxCanonicalShapeMask*>(new VxShapeMaskBox) : new VxShapeMaskCircle);
        m->setScale(scale);
        m->setAspect(aspect);
        m->setCentre(520 * scale, 470 / aspect);
        m->setSize(130, 60);
        m->setRotation(rotation);
        m->setSoftness(softness);
        m->setup();
        SCOPED_TRACE(testing::Message()
                     << (box ? "box" : "circle") << " rot " << rotation << " asp " << aspect
                     << " scale " << scale << " soft " << softness);
        // Rows and columns across the shape and just beyond it.
        const HvBox2 ob = m->outerBox;
        for (int k = -2; k <= 32; ++k) {
            CheckLine(*m, box, 0, ob.ymin + (ob.ymax - ob.ymin) * k / 30.3f);
            CheckLine(*m, box, 1, ob.xmin + (ob.xmax - ob.xmin) * k / 30.3f);
            if (HasFatalFailure())
                return;
        }
    }
}

} // namespace
