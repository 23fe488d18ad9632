// Shaker tests: the channel table, shakeIt against a brute-force model, and
// every shake function against its definition in terms of shakeIt.
#include "vxShaker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

// shakeIt spelled out: octaves of 2 Value(p), shaped by the exponent.
float ModelShake(const HvGNoise& n, HvVec2 p, float e, int octaves) {
    float sum = 0.0f;
    for (int k = 0; k < octaves; ++k) {
        const double v = 2.0 * n.Value(p.x * float(1 << k), p.y * float(1 << k));
        if (v != 0.0)
            sum += static_cast<float>((v > 0 ? 1 : -1) * std::pow(std::fabs(v), double(e)) /
                                      double(2 << k));
    }
    return sum;
}

TEST(VxShaker, ChannelTableIsNormalisedOnce) {
    HvGNoise noise(3);
    const VxShaker a(noise);
    const VxShakeChannel first = VxShaker::_gChannels[2];
    EXPECT_EQ(first.origin, HvVec2(95.28f, -379.5214f));
    EXPECT_NEAR(first.direction.x, -0.8182f / std::hypot(0.8182f, 0.912348f), 1e-6f);
    const VxShaker b(noise);
    for (const VxShakeChannel& c : VxShaker::_gChannels)
        EXPECT_NEAR(Length(c.direction), 1.0f, 1e-6f);
    EXPECT_EQ(VxShaker::_gChannels[2].direction, first.direction); // not normalised again
    const HvVec2 at = VxShaker::_gChannels[6].at(2.5f);
    EXPECT_EQ(at.x, -2530.14f + 2.5f * VxShaker::_gChannels[6].direction.x);
}

TEST(VxShaker, ShakeItMatchesTheModel) {
    HvGNoise noise(8);
    const VxShaker s(noise);
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> pos(-40, 40), ex(0.25f, 3.0f);
    for (int i = 0; i < 400; ++i) {
        const HvVec2 p(pos(rng), pos(rng));
        const float e = ex(rng);
        EXPECT_EQ(s.shakeIt(p, 1.0f, 1), noise.Value(p.x, p.y));
        EXPECT_EQ(s.shakeIt(p, e, 1 + i % 9), ModelShake(noise, p, e, 1 + i % 9)) << i;
        EXPECT_EQ(s.shakeIt(p, e, i % 2 ? 0 : -3), 0.0f);
    }
    // Many octaves, negative exponents and lattice points stay finite.
    EXPECT_TRUE(std::isfinite(s.shakeIt(HvVec2(0.3f, 0.7f), 1.5f, 100000)));
    EXPECT_EQ(s.shakeIt(HvVec2(4.0f, -2.0f), -1.0f, 3), 0.0f);
}

TEST(VxShaker, ShakesFollowTheirDefinitions) {
    HvGNoise noise(21);
    VxShaker s(noise);
    auto at = [](int c, float t) { return VxShaker::_gChannels[c].at(t); };

    // Defaults: linked translation only.
    for (float t : {0.0f, 0.37f, 5.5f, -12.25f}) {
        EXPECT_EQ(s.rotShake(t), 0.0f);
        EXPECT_EQ(s.sclShake(t), HvVec2(0.0f, 0.0f));
        const HvVec2 move = s.tranShake(t);
        EXPECT_EQ(s.shake2D(t), HvMatrix33(1, 0, 0, 0, 1, 0, move.x, move.y, 1));
    }

    // Random settings: each shake against its definition through shakeIt
    // (itself checked against the model above).
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> u(-3, 3);
    for (int i = 0; i < 100; ++i) {
        for (float* f : {&s.translateAmplitudeX, &s.translateAmplitudeY, &s.rotateAmplitude,
                         &s.scaleAmplitude, &s.scaleAmplitudeX, &s.scaleAmplitudeY, &s.rate,
                         &s.translateRateX, &s.translateRateY, &s.rotateRate, &s.scaleRate,
                         &s.translatePhaseX, &s.translatePhaseY, &s.rotatePhase, &s.scalePhase})
            *f = u(rng);
        const float r = s.roughness = 0.5f + std::fabs(u(rng));
        const int ox = s.translateOctavesX = 1 + i % 4, oy = s.translateOctavesY = 1 + i % 3;
        s.rotateOctaves = 2, s.scaleOctaves = 3;
        s.usePhases = i % 3 == 0;
        s.linkMode = i % 4 == 3 ? 2 : i % 2;
        const float t = 10 * u(rng), t1 = u(rng), t2 = u(rng);

        const HvVec2 ind(s.shakeIt(at(0, t1), r, ox), s.shakeIt(at(1, t2), r, oy));
        const HvVec2 dir =
            Normalise(HvVec2(s.shakeIt(at(0, t1), 1, ox), s.shakeIt(at(1, t2), 1, oy)));
        const HvVec2 linked = dir * std::fabs(s.shakeIt(at(2, (t1 + t2) * 0.5f), r, (ox + oy) / 2));
        EXPECT_EQ(s.shakeIndependant(t1, t2), ind);
        EXPECT_EQ(s.shakeLinked(t1, t2), linked);
        const HvVec2 raw = s.linkMode == 0 ? ind : linked;
        EXPECT_EQ(s.tranShake(t1, t2), s.linkMode == 2 ? HvVec2(0, 0)
                                                       : HvVec2(raw.x * s.translateAmplitudeX,
                                                                raw.y * s.translateAmplitudeY));
        const float tr = t * s.rate;
        EXPECT_EQ(s.tranShake(t), s.usePhases
                                      ? s.tranShake(s.translatePhaseX, s.translatePhaseY)
                                      : s.tranShake(tr * s.translateRateX, tr * s.translateRateY));

        const float rt = s.usePhases ? s.rotatePhase : tr * s.rotateRate;
        EXPECT_EQ(s.rotShake(t), s.shakeIt(at(6, rt), r, 2) * s.rotateAmplitude);
        const float st = s.usePhases ? s.scalePhase : t * s.scaleRate * s.rate;
        const float c = s.shakeIt(at(3, st), r, 3) * s.scaleAmplitude;
        const HvVec2 scl(c + s.shakeIt(at(4, st), r, 3) * s.scaleAmplitudeX,
                         c + s.shakeIt(at(5, st), r, 3) * s.scaleAmplitudeY);
        EXPECT_EQ(s.sclShake(t), scl);

        // A point is scaled, then rotated, then moved.
        const HvVec2 p(u(rng), u(rng)), q = p * s.shake2D(t), move = s.tranShake(t);
        const float a = s.rotShake(t), x = p.x * (1 + scl.x), y = p.y * (1 + scl.y);
        EXPECT_NEAR(q.x, x * std::cos(a) - y * std::sin(a) + move.x, 1e-4f);
        EXPECT_NEAR(q.y, x * std::sin(a) + y * std::cos(a) + move.y, 1e-4f);
    }

    // Linked mode with both direction samples 0 gives (0, 0), not NaN: with
    // no octaves, and with a table of zero gradients.
    s.linkMode = 1, s.usePhases = false;
    s.translateOctavesX = s.translateOctavesY = 0;
    EXPECT_EQ(s.shakeLinked(0.3f, 0.5f), HvVec2(0.0f, 0.0f));
    HvGNoise flat(1);
    for (float& g : flat.table)
        g = 0.0f;
    VxShaker still(flat);
    still.linkMode = 1, still.translateOctavesX = still.translateOctavesY = 4;
    EXPECT_EQ(still.tranShake(2.5f), HvVec2(0.0f, 0.0f));
}

} // namespace
