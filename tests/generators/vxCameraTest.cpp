// Camera tests: the derived matrices against the view test, the view test's
// edge cases, and the frustum queries against pointInView and against each
// other on random cameras and points.
#include "vxCamera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

float Uniform(std::mt19937& g, float lo, float hi) {
    return std::uniform_real_distribution<float>(lo, hi)(g);
}

float PlaneValue(const HvVec4& p, const HvVec3& q) {
    return p.x * q.x + p.y * q.y + p.z * q.z + p.w;
}

// Where the frustum queries see a camera point with z > 0: the screen position
// the camera-to-screen matrix gives its mirror image (x, y, -z).
HvVec2 SeenAt(const Camera& c, const HvVec3& p) {
    const HvVec4 s = HvVec4(p.x, p.y, -p.z, 1.0f) * c.cameraToScreenMatrix;
    return HvVec2(s.x / s.w, s.y / s.w);
}

VxCamera RandomCamera(std::mt19937& g) {
    VxCamera c;
    c.fieldOfView = Uniform(g, 0.3f, 2.0f);
    c.nearClip = Uniform(g, 0.1f, 5.0f);
    c.farClip = c.nearClip + Uniform(g, 10.0f, 200.0f);
    c.width = std::round(Uniform(g, 100, 2000));
    c.height = std::round(Uniform(g, 100, 2000));
    c.pixelAspect = Uniform(g, 0.5f, 2.0f);
    c.yaw = Uniform(g, -3, 3), c.pitch = Uniform(g, -1.5f, 1.5f), c.roll = Uniform(g, -3, 3);
    c.flipY = Uniform(g, 0, 1) < 0.5f;
    c.calculateAll();
    return c;
}

TEST(VxCamera, MatricesAgreeWithTheViewTest) {
    std::mt19937 rng(1);
    for (int i = 0; i < 20; ++i) {
        VxCamera c = RandomCamera(rng), flipped = c;
        flipped.flipY = !c.flipY;
        flipped.calculateAll();
        for (const HvMatrix44& m : {c.cameraToScreenMatrix * c.screenToCameraMatrix,
                                    c.worldToCameraMatrix * c.cameraToWorldMatrix})
            for (int k = 0; k < 16; ++k)
                EXPECT_NEAR(m.m[k], hvIdMat44.m[k], 1e-4f);
        for (int j = 0; j < 200; ++j) {
            // On screen exactly when in view (away from the edges), and the
            // screen position maps back to the point's slope.
            const HvVec3 p(Uniform(rng, -20, 20), Uniform(rng, -20, 20), Uniform(rng, 1, 50));
            const HvVec2 s = SeenAt(c, p);
            if (std::fmin(std::fabs(s.x), std::fabs(s.x - c.width)) > 0.5f &&
                std::fmin(std::fabs(s.y), std::fabs(s.y - c.height)) > 0.5f) {
                EXPECT_EQ(c.pointInView(p), s.x > 0 && s.x < c.width && s.y > 0 && s.y < c.height);
            }
            const HvVec2 slope = c.screenSpaceToCameraSpace(s);
            EXPECT_NEAR(slope.x, p.x / p.z, 1e-3f);
            EXPECT_NEAR(slope.y, p.y / p.z, 1e-3f);
            // flipY mirrors the screen's y and nothing else.
            EXPECT_NEAR(SeenAt(flipped, p).y, c.height - s.y, 1e-3f * c.height);
            EXPECT_NEAR(SeenAt(flipped, p).x, s.x, 1e-3f * c.width);
            // The axis ahead is in view at any distance, everything behind is not.
            EXPECT_TRUE(c.pointInView(HvVec3(0, 0, p.z * 20 - 20)));
            EXPECT_FALSE(c.pointInView(HvVec3(p.x, p.y, -p.z * 20 + 20 - 1e-3f)));
        }
        // The edge of the view is included, and the camera's own position.
        EXPECT_TRUE(c.pointInView(HvVec3(0, 0, 0)));
        const float ys = 4.0f / (2.0f * c.focalFactor);
        EXPECT_TRUE(c.pointInView(HvVec3(0, ys * 0.99999f, 4.0f)));
        EXPECT_FALSE(c.pointInView(HvVec3(0, ys * 1.0001f, 4.0f)));
        // The camera looks along (sin yaw, 0, cos yaw) when only turned by yaw.
        c.pitch = c.roll = 0;
        c.calculateAll();
        const HvVec3 ahead = HvVec3(std::sin(c.yaw), 0, std::cos(c.yaw)) * c.worldToCameraMatrix;
        EXPECT_NEAR(ahead.x, 0.0f, 1e-6f);
        EXPECT_NEAR(ahead.z, 1.0f, 1e-6f);
    }
}

// Clip distances that meet divide by zero: the IEEE results, silently.
TEST(VxCamera, DegenerateProjectionIsSilent) {
    Camera c;
    c.nearClip = c.farClip = 10.0f;
    testing::internal::CaptureStderr();
    c.calculatePerspectiveMatrix();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(c.perspectiveMatrix.m[10], INFINITY);
}

TEST(VxCamera, FrustumPlanesCornersAndCells) {
    std::mt19937 rng(3);
    int inside = 0, outside = 0;
    for (int cam = 0; cam < 30; ++cam) {
        const VxCamera c = RandomCamera(rng);
        HvMatrix44 m; // the answers in a moved and scaled space
        m.Scale(0.2f, 0.3f, 0.25f).Translate(Uniform(rng, -9, 9), Uniform(rng, -9, 9), 3.0f);
        const bool world = cam % 2 == 0;
        const HvMatrix44 target = world ? hvIdMat44 : m;
        HvVec4 pl[6];
        c.frustrumToPlanes(pl[0], pl[1], pl[2], pl[3], pl[4], pl[5], target, HvVec2(0, 0));
        HvVec3 corner[2][2][2];
        c.frustrumToWorld(corner, target);
        int o[6], base[6];
        c.frustrumToOctants(o[0], o[1], o[2], o[3], o[4], o[5], target, HvVec2(0, 0));
        c.Camera::frustrumToOctants(base[0], base[1], base[2], base[3], base[4], base[5], target);
        for (int k = 0; k < 6; ++k)
            EXPECT_EQ(o[k], base[k]);
        auto inCells = [&o](const HvVec3& q) {
            for (int a = 0; a < 3; ++a) {
                if (!(o[2 * a] <= std::floor(q[a]) && std::floor(q[a]) <= o[2 * a + 1]))
                    return false;
            }
            return true;
        };

        // Every corner is on three planes and inside the others, and in the cells.
        const float scale = c.farClip * (world ? 1.0f : 0.3f);
        for (int n = 0; n < 8; ++n) {
            const int i = n & 1, j = n >> 1 & 1, d = n >> 2;
            const HvVec3& q = corner[d][j][i];
            for (int k = 0; k < 6; ++k) {
                const float v = PlaneValue(pl[k], q);
                EXPECT_GE(v, -1e-4f * scale);
                if (k == i || k == 2 + j || k == 4 + d) {
                    EXPECT_NEAR(v, 0.0f, 1e-4f * scale);
                }
            }
            EXPECT_TRUE(inCells(q));
        }

        // Random points: inside the planes exactly when pointInView and
        // within the clip distances (points too close to a plane to call are
        // skipped); the cell of every point inside passes the cell test.
        const HvMatrix44 toCamera = Invert(target) * c.worldToCameraMatrix;
        for (int i = 0; i < 2000; ++i) {
            HvVec3 q;
            for (int a = 0; a < 3; ++a) {
                const float f = std::floor(corner[1][0][0][a]);
                q[a] = Uniform(rng, f - scale, f + scale);
            }
            if (i % 2)
                q = (corner[0][0][0] + corner[1][1][1]) * 0.5f +
                    HvVec3(Uniform(rng, -1, 1), Uniform(rng, -1, 1), Uniform(rng, -1, 1)) *
                        (0.1f * scale);
            const HvVec3 p = q * toCamera;
            bool in = true, close = false;
            for (const HvVec4& plane : pl) {
                const float v = PlaneValue(plane, q);
                in = in && v >= 0;
                close = close || std::fabs(v) < 1e-3f * scale;
            }
            if (close)
                continue;
            EXPECT_EQ(in, c.pointInView(p) && p.z >= c.nearClip && p.z <= c.farClip);
            (in ? inside : outside)++;
            if (in) {
                EXPECT_TRUE(VxCheckOctAgainstFrustrum(pl, int(std::floor(q.x)),
                                                      int(std::floor(q.y)), int(std::floor(q.z)),
                                                      HvVec3(1, 1, 1)));
                EXPECT_TRUE(inCells(q));
            }
        }

        // A sub-rectangle: a point seen inside it (and within the clip
        // distances) is inside its planes, and one seen outside is not.
        const float sx0 = Uniform(rng, 0, c.width), sx1 = Uniform(rng, 0, c.width);
        const float sy0 = Uniform(rng, 0, c.height), sy1 = Uniform(rng, 0, c.height);
        c.frustrumToPlanes(pl[0], pl[1], pl[2], pl[3], pl[4], pl[5], sx0, sy0, sx1, sy1, hvIdMat44);
        for (int i = 0; i < 300; ++i) {
            const HvVec3 p(Uniform(rng, -20, 20), Uniform(rng, -20, 20),
                           Uniform(rng, c.nearClip + 0.1f, c.farClip - 0.1f));
            const HvVec2 s = SeenAt(c, p);
            const float margin = 0.01f * (c.width + c.height);
            if (std::fmin(std::fabs(s.x - sx0), std::fabs(s.x - sx1)) < margin ||
                std::fmin(std::fabs(s.y - sy0), std::fabs(s.y - sy1)) < margin)
                continue;
            bool in = true;
            for (const HvVec4& plane : pl)
                in = in && PlaneValue(plane, p * c.cameraToWorldMatrix) >= 0;
            EXPECT_EQ(in, (s.x - sx0) * (s.x - sx1) < 0 && (s.y - sy0) * (s.y - sy1) < 0);
        }
    }
    EXPECT_GT(inside, 1000);
    EXPECT_GT(outside, 1000);

    // A cell behind the camera fails; null arguments are refused.
    VxCamera c;
    HvVec4 pl[6];
    c.frustrumToPlanes(pl[0], pl[1], pl[2], pl[3], pl[4], pl[5], hvIdMat44, HvVec2(10, 10));
    EXPECT_TRUE(VxCheckOctAgainstFrustrum(pl, 0, 0, 50, HvVec3(1, 1, 1)));
    EXPECT_FALSE(VxCheckOctAgainstFrustrum(pl, 0, 0, -50, HvVec3(1, 1, 1)));
    EXPECT_FALSE(VxCheckOctAgainstFrustrum(nullptr, 0, 0, 50, HvVec3(1, 1, 1)));
    c.frustrumToWorld(nullptr, hvIdMat44);
    // Far-away corners clamp to the int range.
    c.farClip = 1e30f;
    c.calculateAll();
    int o[6];
    c.frustrumToOctants(o[0], o[1], o[2], o[3], o[4], o[5], hvIdMat44, HvVec2(0, 0));
    EXPECT_EQ(o[5], 2147483647);
    EXPECT_EQ(o[0], -2147483647 - 1);
}

} // namespace
