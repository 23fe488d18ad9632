// hvNoise.h - seedable gradient noise, its fractal sums, and the library's
// portable random numbers.
//
//   HvGNoise         gradient noise in one to four dimensions over one table
//                    of 1024 unit gradients
//   HvFractalNoise   sums of 1 to 8 octaves of HvGNoise, one table per octave
//   Vxsrand, Vxrand, Vxrand_r
//                    a 15-bit linear congruential generator, identical on
//                    every machine
//
// Reproducibility
//   Every result here is a pure function of the seed and the arguments and is
//   bit-identical on every machine and with every supported compiler: the
//   tables come from a 32-bit integer hash (no C library random numbers), the
//   evaluation is single-precision IEEE arithmetic in a fixed order, and the
//   library is built without fused multiply-add or fast-math. Effects may
//   therefore split an image over workers, or re-render a frame, and get the
//   same pixels.
//
// Coordinates
//   The lattice has unit spacing. Per axis the cell c is x truncated toward
//   zero, minus 1 when x < 0, and the fraction is f = x - c: floor(x) and its
//   fraction, except that a negative integer sits at f = 1 of the cell below
//   (with the same value). The noise is 0 at every lattice point; elsewhere it stays within
//   about +-0.5 in 1-D, rising to about +-0.7 in 4-D. A corner's gradient is
//   the table entry at its cell numbers times fixed odd multipliers, summed
//   with 32-bit wrapping and masked to 10 bits, so the pattern repeats every
//   1024 cells along each axis.
//
//   Out of the ordinary range:
//   - |x| >= 2^24: every such float is a whole number. It is treated exactly
//     as the cell rule says, the cell number taken modulo 2^32 (like the
//     hash), with f = 0, or f = 1 in the cell below for negative x. No
//     conversion overflows, and the noise stays continuous in the other
//     coordinates.
//   - A NaN or infinite coordinate gives 0 from Value, ValueWrapped and the
//     octave that meets it, and zero gradients.
//
// Cost
//   Evaluation allocates nothing and divides nothing. HvFractalNoise has one
//   straight-line function per octave count; valueRow evaluates a row of
//   samples at once, several at a time with SIMD, with the same bits as the
//   one-sample functions.
//
// Threading
//   Evaluation is const and touches no shared state: any number of threads or
//   workers may evaluate one object at once. InitTable and XfmTable rewrite
//   the table and must not run while another thread evaluates it. Vxrand
//   shares one unlocked process-wide state; workers use Vxrand_r with a state
//   word of their own.
#ifndef HV_NOISE_H
#define HV_NOISE_H

#include "hvMaths.h"
#include "vxExport.h"

class VX_API HvGNoise {
public:
    static constexpr int kEntries = 1024;
    // Floats in `table`: three per entry and one spare (see table).
    static constexpr int kTableFloats = kEntries * 3 + 1;

    // InitTable(1).
    HvGNoise();
    // InitTable(seed).
    explicit HvGNoise(int seed);

    // Refills the table for `seed`. Entry i is a unit vector spread uniformly
    // over the sphere, derived from a 32-bit hash of i and the seed (products
    // wrap at 32 bits, so every int is a valid seed). Equal seeds give equal
    // tables; neighbouring seeds give unrelated ones.
    void InitTable(int seed);

    // Transforms every gradient as a normal under m: each entry g becomes
    // (g.x, g.y, g.z, 1) * N, N the inverse of m's transpose (the identity if m
    // is singular), cut to three components and normalised; an entry that
    // comes out of length 0 becomes (0, 0, 0). Noise values keep their
    // lattice; only the gradient directions change.
    void XfmTable(const HvMatrix44& m);

    // Noise at a point: each corner of the point's lattice cell contributes
    // the dot product of its gradient with the offset from the corner, and the
    // corners are blended with the smoothing s(t) = t^2 (3 - 2t) along x, then
    // y, z and w. 0 at lattice points.
    //  - Value(x, y, z) with z == 0 is Value(x, y) exactly.
    //  - Value(x, y, z, w) with z == 0 is also Value(x, y): w is ignored. (The
    //    test is on z, not w; long-standing behaviour that effects rely on.)
    //  - The 4-D gradient of a corner is entry j's x, y, z with entry j + 1's x
    //    as its w (neighbouring entries overlap).
    float Value(float x) const;
    float Value(float x, float y) const;
    float Value(float x, float y, float z) const;
    float Value(float x, float y, float z, float w) const;

    // 1-D noise repeating every `period` cells: ValueWrapped(x + period, period)
    // == ValueWrapped(x, period) (for x and x + period exact in float). The cell
    // number is reduced with C's remainder (sign of the cell) and brought up by
    // one period when negative; the upper corner is the next cell reduced again.
    // period 0 is Value(x). A negative period is accepted and follows the same
    // arithmetic (the pattern is then not periodic in general); the reduction is
    // done in 64 bits, so no period overflows.
    float ValueWrapped(float x, int period) const;

    // The lattice gradients of the cell's corners blended with the same
    // weights as Value, component by component (1-D: x components; 2-D: x, y;
    // 3-D: x, y, z). A smooth vector field, not the derivative of Value.
    void Gradient(float& gx, float x) const;
    void Gradient(float& gx, float& gy, float x, float y) const;
    void Gradient(float& gx, float& gy, float& gz, float x, float y, float z) const;

    // Entry i is (table[3i], table[3i + 1], table[3i + 2]). The one float after
    // the last entry is the w component read by the 4-D noise at entry 1023;
    // it holds entry 0's x. Written only by InitTable and XfmTable.
    float table[kTableFloats];
};

// Fractal (octave) sums of HvGNoise. Octave k (k = 0 ... n-1) reads table k at
// the point scaled by 2^k and moved by 2^-k on every axis, octave 0 at the point
// itself, and is weighted by 2^-k; the octaves are added in order:
//
//     value_n(p) = noise[0].Value(p) + sum over k >= 1 of
//                  2^-k * noise[k].Value(2^k p + 2^-k)
//
// (the scaled coordinate plus the offset rounded once to float). The offsets
// keep the lattices of the octaves from lining up. An n-octave sum spans about
// iterMax(n) times the noise's own range; divide by iterMax(n) to bring it to
// the range of one octave. Each gradient_n sums the octaves' Gradient vectors
// with the same weights (not multiplied by the frequency). The 3-D and 4-D
// sums take the 2-D noise for an octave whose z coordinate comes out as 0, as
// Value does.
class VX_API HvFractalNoise {
public:
    static constexpr int kOctaves = 8;

    // Table k is HvGNoise(seed + k), the sum wrapping at 32 bits. So the
    // tables of HvFractalNoise(s + 1) are tables 1 ... 7 of HvFractalNoise(s)
    // shifted down by one.
    explicit HvFractalNoise(int seed);

    float value3(float x) const;
    float value3(float x, float y) const;
    float value3(float x, float y, float z) const;
    float value4(float x) const;
    float value4(float x, float y) const;
    float value4(float x, float y, float z) const;
    float value5(float x) const;
    float value5(float x, float y) const;
    float value5(float x, float y, float z) const;
    float value6(float x) const;
    float value6(float x, float y) const;
    float value6(float x, float y, float z) const;
    float value7(float x) const;
    float value7(float x, float y) const;
    float value7(float x, float y, float z) const;
    float value8(float x) const;
    float value8(float x, float y) const;
    float value8(float x, float y, float z) const;

    // Four-dimensional sums; value1 is noise[0].Value(x, y, z, w).
    float value1(float x, float y, float z, float w) const;
    float value2(float x, float y, float z, float w) const;
    float value3(float x, float y, float z, float w) const;
    float value4(float x, float y, float z, float w) const;
    float value5(float x, float y, float z, float w) const;
    float value6(float x, float y, float z, float w) const;
    float value7(float x, float y, float z, float w) const;
    float value8(float x, float y, float z, float w) const;

    HvVec3 gradient1(float x, float y, float z) const;
    HvVec3 gradient2(float x, float y, float z) const;
    HvVec3 gradient3(float x, float y, float z) const;
    HvVec3 gradient4(float x, float y, float z) const;
    HvVec3 gradient5(float x, float y, float z) const;
    HvVec3 gradient6(float x, float y, float z) const;
    HvVec3 gradient7(float x, float y, float z) const;
    HvVec3 gradient8(float x, float y, float z) const;

    // A row of 3-D samples: out[i] = valueN(x0 + i * dx, y, z) for i = 0 ... n-1
    // (N = octaves), where x0 + i * dx is computed in float as written (i
    // converted to float, one product, one sum). Bit-identical to calling the
    // one-sample function for each x, but several samples are evaluated at once
    // with SIMD where available, and the y and z work is shared by the row.
    // octaves is clamped to 1 ... 8 (1 and 2 being the sums of that many
    // octaves by the same rule). Nothing happens for n <= 0 or a null out.
    void valueRow(int octaves, float* out, int n, float x0, float dx, float y, float z) const;
    void valueRow8(float* out, int n, float x0, float dx, float y, float z) const {
        valueRow(8, out, n, x0, dx, y, z);
    }

    // 1 - 2^-n, the bound that normalises an n-octave sum; n is clamped to
    // 1 ... 8, so iterMax(0) = 0.5 and iterMax(20) = 1 - 2^-8.
    static float iterMax(int n);

    // Table k serves octave k.
    HvGNoise noise[kOctaves];
};

// The library's portable random numbers: each call steps a 32-bit state twice
// by s = s * 1103515245 + 12345 (wrapping) and returns
// ((s1 >> 16 & 255) << 7) ^ (s2 >> 16 & 255), in 0 ... 32767.
// Vxsrand and Vxrand share one process-wide state, initially 0 and not
// locked: use them from one thread only. Vxrand_r steps the caller's own state
// word and is safe in any worker; a null state gives 0.
VX_API void Vxsrand(unsigned int seed);
VX_API int Vxrand();
VX_API int Vxrand_r(unsigned int* state);

#endif
