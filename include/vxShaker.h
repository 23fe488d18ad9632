// vxShaker.h - noise-driven 2-D camera shake.
//
// VxShaker turns a time value into a smooth, random-looking shake of a 2-D
// view: a translation, a rotation and a scale, each drawn from gradient noise
// (hvNoise.h) and combined by shake2D into one HvMatrix33 (row vectors,
// v' = v * M: a point is scaled, then rotated, then moved).
//
// Channels
//   Each quantity reads the 2-D noise along its own straight line through the
//   noise plane: channel c evaluated at time t samples the noise at
//   origin_c + t * direction_c. The seven channels are a process-wide table
//   (VxShaker::_gChannels):
//
//     0  translate x, or the direction's x in linked mode
//     1  translate y, or the direction's y in linked mode
//     2  the magnitude in linked mode
//     3  scale, common to both axes
//     4  scale x
//     5  scale y
//     6  rotation
//
//   The directions are scaled to unit length once per process, by the first
//   VxShaker constructed (a zero direction stays zero). That one-time step is
//   C++'s thread-safe static initialisation, so constructing shakers on
//   several threads at once is safe; reading _gChannels before any shaker
//   exists shows the directions as written, not yet normalised.
//
// Sampling
//   shakeIt(p, e, n) sums n octaves of the noise at p, 2p, 4p ... (one table,
//   no offsets), each sample v = 2 Value(p) shaped to sign(v) |v|^e (the power
//   in double, the term rounded to float) and weighted 1/2, 1/4, 1/8 ...
//   With e = 1 the sum stays within about +-0.6 (the 2-D noise's range);
//   e = roughness > 1 flattens the small motions relative to the large ones,
//   e < 1 lifts them.
//
//   Times: unless usePhases is set, each group's noise time is the time
//   argument times rate and the group's own rate (translate x and y, rotate,
//   scale); with usePhases the group's phase field is used as the noise time
//   instead and the time argument is ignored.
//
// Ownership and threading
//   The shaker refers to the HvGNoise given to its constructor, which must
//   outlive it. Evaluation is const and reads only the shaker, its noise and
//   the channel table: any number of threads may evaluate at once. Changing
//   parameters while others evaluate is a race.
#ifndef VX_SHAKER_H
#define VX_SHAKER_H

#include "hvMaths.h"
#include "hvNoise.h"
#include "vxExport.h"

// A line through the noise plane.
struct VX_API VxShakeChannel {
    HvVec2 origin;
    HvVec2 direction;

    // origin + t * direction, per component in float.
    HvVec2 at(float t) const {
        return HvVec2(origin.x + t * direction.x, origin.y + t * direction.y);
    }
};

class VX_API VxShaker {
public:
    static constexpr int kChannels = 7;

    // Defaults: linked mode, roughness 1, translation amplitudes 1, rotation
    // and scale amplitudes 0, one octave everywhere, all rates 1, phases 0,
    // usePhases false. So a default shaker only translates. Normalises the
    // channel table if no shaker has yet.
    explicit VxShaker(HvGNoise& noise);

    // The octave sum of the file comment at p with exponent e over n octaves;
    // 0 when n < 1. With e = 1 and n = 1 it is noise.Value(p.x, p.y) exactly.
    // Octaves past the point where the weights underflow (about 127) add
    // nothing and are not evaluated.
    float shakeIt(HvVec2 p, float exponent, int octaves) const;

    // Independent axes: (shakeIt(channel 0 at t1, roughness, translateOctavesX),
    // shakeIt(channel 1 at t2, roughness, translateOctavesY)).
    HvVec2 shakeIndependant(float t1, float t2) const;
    // Linked: a direction from channels 0 and 1 at t1 and t2 (exponent 1,
    // normalised; zero stays zero) times a magnitude |shakeIt(channel 2 at
    // (t1 + t2) / 2, roughness, (translateOctavesX + translateOctavesY) / 2)|
    // (integer division). The move has a random heading and a length of its own.
    HvVec2 shakeLinked(float t1, float t2) const;

    // The translation for noise times t1 (x) and t2 (y): shakeIndependant for
    // link mode 0, shakeLinked for 1, (0, 0) for any other mode; then x times
    // translateAmplitudeX and y times translateAmplitudeY.
    HvVec2 tranShake(float t1, float t2) const;
    // tranShake(t rate translateRateX, t rate translateRateY), or of the two
    // translate phases when usePhases is set.
    HvVec2 tranShake(float t) const;
    // Radians: shakeIt(channel 6, roughness, rotateOctaves) times
    // rotateAmplitude, at t rate rotateRate or at rotatePhase.
    float rotShake(float t) const;
    // Scale offsets (added to 1 by shake2D): c + shakeIt(channel 4) times
    // scaleAmplitudeX and c + shakeIt(channel 5) times scaleAmplitudeY, where
    // c = shakeIt(channel 3) times scaleAmplitude; all at the noise time
    // t scaleRate rate (or scalePhase), with roughness and scaleOctaves.
    HvVec2 sclShake(float t) const;
    // Identity, then Scale(1 + sclShake x, 1 + sclShake y), Rotate(rotShake),
    // Translate(tranShake(t)).
    HvMatrix33 shake2D(float t) const;

    // Origins and directions of the channels (see the file comment).
    static VxShakeChannel _gChannels[kChannels];

    HvGNoise& noise;           // the noise source; not owned
    int linkMode;              // 0 independent axes, 1 linked direction and magnitude [1]
    float roughness;           // exponent applied to every noise sample [1]
    float translateAmplitudeX; // [1]
    float translateAmplitudeY; // [1]
    float rotateAmplitude;     // radians [0]
    float scaleAmplitude;      // common to both axes [0]
    float scaleAmplitudeX;     // [0]
    float scaleAmplitudeY;     // [0]
    int translateOctavesX;     // [1]
    int translateOctavesY;     // [1]
    int rotateOctaves;         // [1]
    int scaleOctaves;          // [1]
    float rate;                // global speed [1]
    float translateRateX;      // [1]
    float translateRateY;      // [1]
    float rotateRate;          // [1]
    float scaleRate;           // [1]
    float spare;               // free for the effect; not read here [0]
    float translatePhaseX;     // noise time of translate x when usePhases [0]
    float translatePhaseY;     // [0]
    float rotatePhase;         // [0]
    float scalePhase;          // [0]
    bool usePhases;            // phases instead of time times rates [false]
};

#endif
