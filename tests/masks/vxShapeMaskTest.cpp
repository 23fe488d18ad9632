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

TEST(VxShapeMask, IntersectionRoutines) {
    float r0 = 7, r1 = 7;
    // Linear and degenerate quadratics; a tangent and NaN are misses that
    // leave the outputs alone.
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 0, 0, 1), 0);
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1e-39f, 2, -4), 1);
    EXPECT_EQ(r0, 2.0f);
    EXPECT_EQ(r1, 2.0f);
    r0 = r1 = 7;
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1, -2, 1), 0);
    EXPECT_EQ(VxQuadraticRoots(r0, r1, 1, kNaN, 1), 0);
    EXPECT_EQ(r0, 7.0f);

    std::mt19937 g(5);
    std::uniform_real_distribution<float> u(-4, 4);
    for (int i = 0; i < 2000; ++i) {
        const float a = u(g), b = u(g), c = u(g);
        const double disc = double(b) * b - 4.0 * a * c;
        const int n = VxQuadraticRoots(r0, r1, a, b, c);
        if (std::fabs(disc) < 1e-3)
            continue;
        ASSERT_EQ(n, disc > 0 ? 2 : 0) << a << " " << b << " " << c;
        if (n == 2) {
            for (float r : {r0, r1})
                EXPECT_NEAR((a * r + b) * r + c, 0.0, 1e-4 * (std::fabs(a * r * r) + 1));
        }

        // Circle: the roots are points of the unit circle; a miss is a line
        // that stays outside it.
        float t0, t1;
        const float ax = u(g), ay = u(g), dx = u(g), dy = u(g);
        const double dist = std::fabs(double(ax) * dy - double(ay) * dx) / std::hypot(dx, dy);
        if (std::fabs(dist - 1) > 1e-3) {
            ASSERT_EQ(VxCircleLineIntersection(t0, t1, ax, ay, dx, dy), dist < 1 ? 2 : 0);
            if (dist < 1) {
                for (float t : {t0, t1})
                    EXPECT_NEAR(std::hypot(ax + t * dx, ay + t * dy), 1.0, 1e-4);
            }
        }

        // Box: [t0, t1] is exactly the sampled part of the segment inside.
        const float x0 = u(g), y0 = u(g), x1 = x0 + std::fabs(u(g)), y1 = y0 + std::fabs(u(g));
        const bool hit = VxBoxLineIntersection(t0, t1, ax, ay, dx, dy, x0, y0, x1, y1);
        float lo = 2, hi = -1;
        for (int k = 0; k <= 1000; ++k) {
            const float t = k / 1000.0f, x = ax + t * dx, y = ay + t * dy;
            if (x >= x0 && x <= x1 && y >= y0 && y <= y1)
                lo = std::min(lo, t), hi = std::max(hi, t);
        }
        if (lo <= hi) {
            ASSERT_TRUE(hit);
            EXPECT_LE(t0, lo + 1e-5f);
            EXPECT_GE(t1, hi - 1e-5f);
            EXPECT_GE(t0, lo - 1.001e-3f);
            EXPECT_LE(t1, hi + 1.001e-3f);
            EXPECT_GE(t0, 0.0f);
            EXPECT_LE(t1, 1.0f);
        } else if (hit) {
            EXPECT_LT(t1 - t0, 1e-3f); // a sliver between two samples
        }
    }
    float t0 = 5, t1 = 5;
    EXPECT_FALSE(VxBoxLineIntersection(t0, t1, 0, 0, 1e-37f, -1e-37f));
    EXPECT_TRUE(VxBoxLineIntersection(t0, t1, -0.5f, 0.25f, 0.5f, 0)); // wholly inside
    EXPECT_EQ(t0, 0.0f);
    EXPECT_EQ(t1, 1.0f);
    EXPECT_TRUE(VxBoxLineIntersection(t0, t1, -3, 0, 6, 0));
    EXPECT_FLOAT_EQ(t0, 1.0f / 3);
    EXPECT_FLOAT_EQ(t1, 2.0f / 3);
}

TEST(VxShapeMask, SetupAndEdgeCases) {
    VxShapeMaskCircle c;
    HvBox1 r(-7, -7);
    // Until set up a mask is empty.
    EXPECT_TRUE(c.dirty && c.inverseStale && !c.hasOuter);
    EXPECT_FALSE(c.outerBoundingLine(r, 0));
    EXPECT_EQ(c.density(HvVec2(0, 0)), 0.0f);

    // The default circle: radius 100 at the origin, softness 0.01.
    c.setup();
    EXPECT_TRUE(!c.dirty && !c.inverseStale && c.hasOuter && c.hasInner);
    EXPECT_EQ(c.density(HvVec2(0, 0)), 1.0f);
    EXPECT_NEAR(c.density(HvVec2(99.5f, 0)), 0.5f, 1e-3f);
    EXPECT_NEAR(c.density(HvVec2(0, -99.5f)), 0.5f, 1e-3f);
    EXPECT_EQ(c.density(HvVec2(70.8f, 70.8f)), 0.0f);
    for (int i = 0; i < 2; ++i) {
        EXPECT_NEAR(c.outerBox.hi(i), 100, 1e-4f);
        EXPECT_NEAR(c.outerBox.lo(i), -100, 1e-4f);
    }

    // The matrices compose scale and aspect, then centre, rotation and size.
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
        const HvVec2 q = c.toCanonicalPoint(p);
        EXPECT_NEAR(q.x, (cs * sx + sn * sy) / 50, 1e-4f);
        EXPECT_NEAR(q.y, (-sn * sx + cs * sy) / 20, 1e-4f);
        const HvVec2 back = c.toImagePoint(q);
        EXPECT_NEAR(back.x, p.x, 1e-3f);
        EXPECT_NEAR(back.y, p.y, 1e-3f);
    }

    // Softness above 1: no core, peak 1 / softness at the centre.
    VxShapeMaskBox b;
    b.setSoftness(2);
    b.setup();
    EXPECT_FALSE(b.hasInner);
    EXPECT_EQ(b.maxDensity(), 0.5f);
    EXPECT_EQ(b.density(HvVec2(0, 0)), 0.5f);
    EXPECT_FALSE(b.innerBoundingLine(r, 0));
    EXPECT_FALSE(b.innerBoundingColumn(r, 0));
    EXPECT_TRUE(b.outerBoundingLine(r, 0));

    // Zero size: an empty mask with nothing to report.
    b.setSize(0, 50);
    b.setup();
    EXPECT_FALSE(b.hasOuter || b.hasInner || b.dirty);
    r = HvBox1(-7, -7);
    EXPECT_FALSE(b.outerBoundingLine(r, 0));
    EXPECT_EQ(r, HvBox1(-7, -7));
    EXPECT_EQ(b.density(HvVec2(0, 0)), 0.0f);

    // Rows that miss, and rows exactly tangent to a circle (exact in float
    // with a power-of-two radius), return false; rows just inside do not.
    VxShapeMaskCircle t;
    t.setCentre(500, 500);
    t.setSize(64, 64);
    t.setup();
    for (float y : {300.0f, 436.0f, 564.0f})
        EXPECT_FALSE(t.outerBoundingLine(r, y)) << y;
    EXPECT_FALSE(t.outerBoundingColumn(r, 436));
    EXPECT_EQ(r, HvBox1(-7, -7));
    ASSERT_TRUE(t.outerBoundingLine(r, 500));
    EXPECT_NEAR(r.xmin, 436, 1e-3f);
    EXPECT_NEAR(r.xmax, 564, 1e-3f);
    EXPECT_TRUE(t.outerBoundingLine(r, 437));

    // A box reaching past x = 1000 stops at 1000 on rows (and y = 1000 on
    // columns); a circle does not.
    VxShapeMaskBox far;
    far.setCentre(950, 980);
    far.setup();
    ASSERT_TRUE(far.outerBoundingLine(r, 980));
    EXPECT_NEAR(r.xmin, 850, 1e-3f);
    EXPECT_NEAR(r.xmax, 1000, 1e-3f);
    ASSERT_TRUE(far.outerBoundingColumn(r, 950));
    EXPECT_NEAR(r.xmax, 1000, 1e-3f);
    t.setCentre(950, 500);
    t.setup();
    ASSERT_TRUE(t.outerBoundingLine(r, 500));
    EXPECT_NEAR(r.xmax, 1014, 1e-3f);

    // Softness 0 is a hard edge, reported once by setup: full density inside,
    // 0 (not 0 / 0) on the boundary itself.
    VxShapeMaskBox hard;
    hard.setSize(64, 64);
    hard.setSoftness(0);
    testing::internal::CaptureStderr();
    hard.setup();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("softness"), std::string::npos);
    EXPECT_EQ(hard.density(HvVec2(63.9f, 0)), 1.0f);
    EXPECT_EQ(hard.density(HvVec2(64, 10)), 0.0f);
    EXPECT_EQ(hard.maxDensity(), 1.0f);
    ASSERT_TRUE(hard.innerBoundingLine(r, 10));
    EXPECT_NEAR(r.xmax, 64, 1e-4f);
    // A negative softness is a hard edge too; its core is not the larger box.
    hard.setSoftness(-0.5f);
    testing::internal::CaptureStderr();
    hard.setup();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(hard.innerBox, hard.outerBox);
    EXPECT_EQ(hard.density(HvVec2(64, 10)), 0.0f);
}

// Scans the row (axis 0) or column (axis 1) at `at` in steps of kStep and
// checks the mask's intervals against what density reports there.
constexpr float kStep = 0.25f;
constexpr float kTol = 0.02f; // rounding of interval ends, image units

void CheckLine(VxCanonicalShapeMask& m, bool box, int axis, float at) {
    HvBox1 outer, inner;
    const bool hasOut =
        axis == 0 ? m.outerBoundingLine(outer, at) : m.outerBoundingColumn(outer, at);
    const bool hasIn =
        axis == 0 ? m.innerBoundingLine(inner, at) : m.innerBoundingColumn(inner, at);
    const float maxD = m.maxDensity();
    // Box intervals only cover 0 .. 1000; scan there. Circles: a wide span.
    const float lo = box ? 0.0f : -500.0f, hi = box ? 1000.0f : 1500.0f;
    float nzLo = 1e9f, nzHi = -1e9f, fullLo = 1e9f, fullHi = -1e9f;
    for (float s = lo; s <= hi; s += kStep) {
        const HvVec2 p = axis == 0 ? HvVec2(s, at) : HvVec2(at, s);
        const float d = m.density(p);
        ASSERT_GE(d, 0.0f);
        ASSERT_LE(d, maxD);
        if (d > 0) {
            nzLo = std::min(nzLo, s), nzHi = std::max(nzHi, s);
            HvBox2 grown = m.outerBox;
            grown.Include(HvVec2(m.outerBox.xmin - kTol, m.outerBox.ymin - kTol));
            grown.Include(HvVec2(m.outerBox.xmax + kTol, m.outerBox.ymax + kTol));
            ASSERT_TRUE(grown.Contains(p)) << p.x << "," << p.y;
        }
        if (d == maxD)
            fullLo = std::min(fullLo, s), fullHi = std::max(fullHi, s);
        // Strictly inside the inner interval the density is at its maximum.
        if (hasIn && s > inner.xmin + kTol && s < inner.xmax - kTol) {
            ASSERT_NEAR(d, maxD, 1e-4f * maxD) << "at " << s;
        }
    }
    // Every non-zero pixel lies in the outer interval, which is tight; the
    // same for full-density pixels and a core interval.
    if (nzLo <= nzHi) {
        ASSERT_TRUE(hasOut);
        EXPECT_GE(nzLo, outer.xmin - kTol);
        EXPECT_LE(nzHi, outer.xmax + kTol);
        EXPECT_LE(nzLo, outer.xmin + kStep + kTol);
        EXPECT_GE(nzHi, outer.xmax - kStep - kTol);
    } else if (hasOut && outer.xmax - outer.xmin >= 2 * kStep) {
        // More than a sliver between samples: a row along a box edge, which
        // the closed box counts as a hit though its density is 0.
        const float mid = 0.5f * (outer.xmin + outer.xmax);
        const HvVec2 q = m.toCanonicalPoint(axis == 0 ? HvVec2(mid, at) : HvVec2(at, mid));
        EXPECT_TRUE(box);
        EXPECT_NEAR(std::max(std::fabs(q.x), std::fabs(q.y)), 1.0f, 1e-4f);
    }
    if (hasIn && inner.xmax - inner.xmin > 2 * kStep) {
        EXPECT_LE(fullLo, inner.xmin + kStep + kTol);
        EXPECT_GE(fullHi, inner.xmax - kStep - kTol);
    }
    if (maxD == 1.0f && fullLo < fullHi - 2 * kStep) {
        ASSERT_TRUE(hasIn);
        EXPECT_GE(fullLo, inner.xmin - kTol);
        EXPECT_LE(fullHi, inner.xmax + kTol);
    }
}

TEST(VxShapeMask, IntervalsMatchBruteForce) {
    for (bool box : {false, true})
        for (float rotation : {0.0f, 0.3f, 1.2f, -2.5f})
            for (float aspect : {1.0f, 0.7f, 1.6f})
                for (float scale : {1.0f, 1.4f})
                    for (float softness : {0.01f, 0.3f, 1.0f, 2.0f}) {
                        std::unique_ptr<VxCanonicalShapeMask> m;
                        if (box)
                            m = std::make_unique<VxShapeMaskBox>();
                        else
                            m = std::make_unique<VxShapeMaskCircle>();
                        m->setScale(scale);
                        m->setAspect(aspect);
                        m->setCentre(520 * scale, 470 / aspect);
                        m->setSize(130, 60);
                        m->setRotation(rotation);
                        m->setSoftness(softness);
                        m->setup();
                        SCOPED_TRACE(testing::Message()
                                     << (box ? "box" : "circle") << " rot " << rotation << " asp "
                                     << aspect << " scale " << scale << " soft " << softness);
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
