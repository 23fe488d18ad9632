// Noise-driven 2-D camera shake.
#include "vxShaker.h"

#include <cmath>
#include <limits>

VxShakeChannel VxShaker::_gChannels[VxShaker::kChannels] = {
    {HvVec2(1980.9f, -6788.7f), HvVec2(0.6f, 0.4f)},
    {HvVec2(104.5f, 1234.7f), HvVec2(-0.5f, 0.9f)},
    {HvVec2(95.28f, -379.5214f), HvVec2(-0.8182f, 0.912348f)},
    {HvVec2(-239.23f, 8912.7f), HvVec2(0.329f, -0.7321f)},
    {HvVec2(5940.53f, 2655.8f), HvVec2(-0.235845f, 0.218342f)},
    {HvVec2(1958.38f, -8208.2f), HvVec2(0.425304f, -0.0259179f)},
    {HvVec2(-2530.14f, 1686.12f), HvVec2(0.858883f, 0.161705f)},
};

namespace {

bool NormaliseChannels() {
    for (VxShakeChannel& c : VxShaker::_gChannels)
        c.direction = Normalise(c.direction);
    return true;
}

enum Channel { kTranslateX, kTranslateY, kMagnitude, kScale, kScaleX, kScaleY, kRotate };

HvVec2 At(Channel c, float t) {
    return VxShaker::_gChannels[c].at(t);
}

} // namespace

VxShaker::VxShaker(HvGNoise& source)
    : noise(source), linkMode(1), roughness(1.0f), translateAmplitudeX(1.0f),
      translateAmplitudeY(1.0f), rotateAmplitude(0.0f), scaleAmplitude(0.0f), scaleAmplitudeX(0.0f),
      scaleAmplitudeY(0.0f), translateOctavesX(1), translateOctavesY(1), rotateOctaves(1),
      scaleOctaves(1), rate(1.0f), translateRateX(1.0f), translateRateY(1.0f), rotateRate(1.0f),
      scaleRate(1.0f), spare(0.0f), translatePhaseX(0.0f), translatePhaseY(0.0f), rotatePhase(0.0f),
      scalePhase(0.0f), usePhases(false) {
    // Once per process, and safe if the first shakers are built concurrently.
    static const bool normalised = NormaliseChannels();
    (void)normalised;
}

float VxShaker::shakeIt(HvVec2 p, float exponent, int octaves) const {
    float sum = 0.0f;
    float divisor = 2.0f;
    for (int k = 0; k < octaves; ++k) {
        // From here on every weight is 0: nothing more can change the sum.
        if (divisor == std::numeric_limits<float>::infinity())
            break;
        const float v = 2.0f * noise.Value(p.x, p.y);
        // sign(0) is 0: skipping the term also keeps 0 to a negative power
        // from making 0 * infinity.
        if (v != 0.0f) {
            const double magnitude = std::pow(std::fabs(static_cast<double>(v)), exponent);
            sum += static_cast<float>((v < 0.0f ? -magnitude : magnitude) / divisor);
        }
        p.x *= 2.0f;
        p.y *= 2.0f;
        divisor *= 2.0f;
    }
    return sum;
}

HvVec2 VxShaker::shakeIndependant(float t1, float t2) const {
    return HvVec2(shakeIt(At(kTranslateX, t1), roughness, translateOctavesX),
                  shakeIt(At(kTranslateY, t2), roughness, translateOctavesY));
}

HvVec2 VxShaker::shakeLinked(float t1, float t2) const {
    const HvVec2 d = Normalise(HvVec2(shakeIt(At(kTranslateX, t1), 1.0f, translateOctavesX),
                                      shakeIt(At(kTranslateY, t2), 1.0f, translateOctavesY)));
    // In 64 bits, so that no pair of octave counts overflows.
    const int octaves =
        static_cast<int>((static_cast<long long>(translateOctavesX) + translateOctavesY) / 2);
    const float m = std::fabs(shakeIt(At(kMagnitude, (t1 + t2) * 0.5f), roughness, octaves));
    return d * m;
}

HvVec2 VxShaker::tranShake(float t1, float t2) const {
    HvVec2 r;
    if (linkMode == 0)
        r = shakeIndependant(t1, t2);
    else if (linkMode == 1)
        r = shakeLinked(t1, t2);
    else
        return HvVec2(0.0f, 0.0f);
    return HvVec2(r.x * translateAmplitudeX, r.y * translateAmplitudeY);
}

HvVec2 VxShaker::tranShake(float t) const {
    if (usePhases)
        return tranShake(translatePhaseX, translatePhaseY);
    return tranShake(t * rate * translateRateX, t * rate * translateRateY);
}

float VxShaker::rotShake(float t) const {
    const float s = usePhases ? rotatePhase : t * rate * rotateRate;
    return shakeIt(At(kRotate, s), roughness, rotateOctaves) * rotateAmplitude;
}

HvVec2 VxShaker::sclShake(float t) const {
    const float s = usePhases ? scalePhase : t * scaleRate * rate;
    const float c = shakeIt(At(kScale, s), roughness, scaleOctaves) * scaleAmplitude;
    return HvVec2(c + shakeIt(At(kScaleX, s), roughness, scaleOctaves) * scaleAmplitudeX,
                  c + shakeIt(At(kScaleY, s), roughness, scaleOctaves) * scaleAmplitudeY);
}

HvMatrix33 VxShaker::shake2D(float t) const {
    const HvVec2 scale = sclShake(t);
    const HvVec2 move = tranShake(t);
    HvMatrix33 m;
    m.Scale(1.0f + scale.x, 1.0f + scale.y);
    m.Rotate(rotShake(t));
    m.Translate(move.x, move.y);
    return m;
}
