// Gradient noise, its octave sums and the portable random numbers. Every
// constant, the table construction and the order of every float operation
// below fix the bits of the results, which must not change between releases
// or machines: reorder nothing without re-deriving the golden tests.
#include "hvNoise.h"

#include <cmath>
#include <cstdint>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Lattice hash multipliers per axis; a corner's table entry is the wrapped sum
// of its cell numbers times these, masked to the table size.
constexpr uint32_t kPX = 1946899u;
constexpr uint32_t kPY = 1633007u;
constexpr uint32_t kPZ = 2950153u;
constexpr uint32_t kPW = 1287173u;
constexpr uint32_t kMask = HvGNoise::kEntries - 1;

uint32_t Hash(uint32_t n) {
    const uint32_t m = n ^ (n << 13);
    return (m * (m * m * 15731u + 789221u) + 1376312589u) & 0x7fffffffu;
}

// 1 - H(n) 2^-30 in float: in [-1, 1] (H is rounded to float first, so -1 can
// occur).
float Unit(uint32_t n) {
    return 1.0f - static_cast<float>(Hash(n)) * 9.313225746154785e-10f;
}

inline float Smooth(float t) {
    return t * t * (3.0f - 2.0f * t);
}

inline float Lerp(float a, float b, float s) {
    return a + s * (b - a);
}

// Cell number (wrapped to 32 bits) and fraction of one coordinate. False for a
// NaN or an infinity. Below 2^24 the truncating conversion is exact and so is
// x - c. From 2^24 on every float is a whole number: its cell is itself (f = 0),
// or the cell below with f = 1 when negative, exactly as the rule says, without
// converting anything that would overflow an int.
inline bool Split(float x, uint32_t& c, float& f) {
    if (std::fabs(x) < 16777216.0f) {
        const int i = static_cast<int>(x) - (x < 0.0f ? 1 : 0);
        c = static_cast<uint32_t>(i);
        f = x - static_cast<float>(i);
        return true;
    }
    c = 0;
    f = 0.0f;
    if (!std::isfinite(x))
        return false;
    // Floats of magnitude 2^63 or more are multiples of 2^40: 0 modulo 2^32.
    uint32_t w = 0;
    if (std::fabs(x) < 9223372036854775808.0f)
        w = static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(x)));
    if (x < 0.0f) {
        c = w - 1u;
        f = 1.0f;
    } else {
        c = w;
        f = 0.0f;
    }
    return true;
}

inline const float* Entry(const float* t, uint32_t index) {
    return t + 3 * (index & kMask);
}

float Value1(const float* t, float x) {
    uint32_t c;
    float f;
    if (!Split(x, c, f))
        return 0.0f;
    const float e0 = Entry(t, c * kPX)[0] * f;
    const float e1 = Entry(t, (c + 1u) * kPX)[0] * (f - 1.0f);
    return Lerp(e0, e1, Smooth(f));
}

inline float Value2(const float* t, float x, float y) {
    uint32_t cx, cy;
    float fx, fy;
    if (!Split(x, cx, fx) || !Split(y, cy, fy))
        return 0.0f;
    const float fx1 = fx - 1.0f, fy1 = fy - 1.0f;
    const uint32_t b = cx * kPX + cy * kPY;
    auto dot = [t](uint32_t i, float ox, float oy) {
        const float* g = Entry(t, i);
        return g[0] * ox + g[1] * oy;
    };
    const float sx = Smooth(fx);
    const float x0 = Lerp(dot(b, fx, fy), dot(b + kPX, fx1, fy), sx);
    const float x1 = Lerp(dot(b + kPY, fx, fy1), dot(b + kPX + kPY, fx1, fy1), sx);
    return Lerp(x0, x1, Smooth(fy));
}

#if defined(__SSE2__)

// 3-D noise at p = (x, y, z, -), z != 0, with SSE2: the three coordinates'
// cells, fractions and smoothing side by side, and the eight corners as two
// vectors, lower x and upper x, each over the corners (y, z) = (0, 0), (1, 0),
// (0, 1), (1, 1). Every lane performs the scalar code's operations on the
// same operands in the same order (see the #else branch), so the bits agree.
inline float Value3v(const float* t, __m128 p) {
    const __m128 absolute = _mm_and_ps(p, _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff)));
    __m128i c;
    __m128 f;
    if ((_mm_movemask_ps(_mm_cmplt_ps(absolute, _mm_set1_ps(16777216.0f))) & 7) == 7) {
        // Truncate, minus 1 below zero; exact below 2^24 as in Split.
        c = _mm_add_epi32(_mm_cvttps_epi32(p), _mm_castps_si128(_mm_cmplt_ps(p, _mm_setzero_ps())));
        f = _mm_sub_ps(p, _mm_cvtepi32_ps(c));
    } else {
        alignas(16) float q[4];
        _mm_store_ps(q, p);
        uint32_t cx, cy, cz;
        float fx, fy, fz;
        if (!Split(q[0], cx, fx) || !Split(q[1], cy, fy) || !Split(q[2], cz, fz))
            return 0.0f;
        c = _mm_setr_epi32(static_cast<int>(cx), static_cast<int>(cy), static_cast<int>(cz), 0);
        f = _mm_setr_ps(fx, fy, fz, 0.0f);
    }
    const __m128 f1 = _mm_sub_ps(f, _mm_set1_ps(1.0f));
    const __m128 s = _mm_mul_ps(_mm_mul_ps(f, f),
                                _mm_sub_ps(_mm_set1_ps(3.0f), _mm_mul_ps(_mm_set1_ps(2.0f), f)));
    const uint32_t b = static_cast<uint32_t>(_mm_cvtsi128_si32(c)) * kPX +
                       static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(c, 1))) * kPY +
                       static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(c, 2))) * kPZ;
    auto gather = [t](uint32_t i0, uint32_t i1, uint32_t i2, uint32_t i3, __m128& gx, __m128& gy,
                      __m128& gz) {
        __m128 r0 = _mm_loadu_ps(Entry(t, i0)), r1 = _mm_loadu_ps(Entry(t, i1));
        __m128 r2 = _mm_loadu_ps(Entry(t, i2)), r3 = _mm_loadu_ps(Entry(t, i3));
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        gx = r0, gy = r1, gz = r2;
    };
    __m128 ax, ay, az, bx, by, bz;
    gather(b, b + kPY, b + kPZ, b + kPY + kPZ, ax, ay, az);
    gather(b + kPX, b + kPX + kPY, b + kPX + kPZ, b + kPX + kPY + kPZ, bx, by, bz);
    const __m128 low = _mm_unpacklo_ps(f, f1);  // fx, fx - 1, fy, fy - 1
    const __m128 high = _mm_unpackhi_ps(f, f1); // fz, fz - 1, -, -
    const __m128 oy = _mm_shuffle_ps(low, low, _MM_SHUFFLE(3, 2, 3, 2));
    const __m128 oz = _mm_shuffle_ps(high, high, _MM_SHUFFLE(1, 1, 0, 0));
    const __m128 ox0 = _mm_shuffle_ps(low, low, _MM_SHUFFLE(0, 0, 0, 0));
    const __m128 ox1 = _mm_shuffle_ps(low, low, _MM_SHUFFLE(1, 1, 1, 1));
    const __m128 lo =
        _mm_add_ps(_mm_add_ps(_mm_mul_ps(ax, ox0), _mm_mul_ps(ay, oy)), _mm_mul_ps(az, oz));
    const __m128 hi =
        _mm_add_ps(_mm_add_ps(_mm_mul_ps(bx, ox1), _mm_mul_ps(by, oy)), _mm_mul_ps(bz, oz));
    // (x00, x10, x01, x11), then the y blends (x00, x01) to (x10, x11), then z.
    const __m128 xb = _mm_add_ps(lo, _mm_mul_ps(_mm_shuffle_ps(s, s, 0), _mm_sub_ps(hi, lo)));
    const __m128 y0 = _mm_shuffle_ps(xb, xb, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 y1 = _mm_shuffle_ps(xb, xb, _MM_SHUFFLE(3, 1, 3, 1));
    const __m128 yb = _mm_add_ps(y0, _mm_mul_ps(_mm_shuffle_ps(s, s, 0x55), _mm_sub_ps(y1, y0)));
    return Lerp(_mm_cvtss_f32(yb), _mm_cvtss_f32(_mm_shuffle_ps(yb, yb, 1)),
                _mm_cvtss_f32(_mm_shuffle_ps(s, s, 2)));
}

inline float Value3(const float* t, float x, float y, float z) {
    if (z == 0.0f)
        return Value2(t, x, y);
    return Value3v(t, _mm_setr_ps(x, y, z, 0.0f));
}

#else

inline float Value3(const float* t, float x, float y, float z) {
    if (z == 0.0f)
        return Value2(t, x, y);
    uint32_t cx, cy, cz;
    float fx, fy, fz;
    if (!Split(x, cx, fx) || !Split(y, cy, fy) || !Split(z, cz, fz))
        return 0.0f;
    const float fx1 = fx - 1.0f, fy1 = fy - 1.0f, fz1 = fz - 1.0f;
    const uint32_t b = cx * kPX + cy * kPY + cz * kPZ;
    auto dot = [t](uint32_t i, float ox, float oy, float oz) {
        const float* g = Entry(t, i);
        return g[0] * ox + g[1] * oy + g[2] * oz;
    };
    const float sx = Smooth(fx), sy = Smooth(fy);
    const float x00 = Lerp(dot(b, fx, fy, fz), dot(b + kPX, fx1, fy, fz), sx);
    const float x10 = Lerp(dot(b + kPY, fx, fy1, fz), dot(b + kPX + kPY, fx1, fy1, fz), sx);
    const float x01 = Lerp(dot(b + kPZ, fx, fy, fz1), dot(b + kPX + kPZ, fx1, fy, fz1), sx);
    const float x11 =
        Lerp(dot(b + kPY + kPZ, fx, fy1, fz1), dot(b + kPX + kPY + kPZ, fx1, fy1, fz1), sx);
    return Lerp(Lerp(x00, x10, sy), Lerp(x01, x11, sy), Smooth(fz));
}

#endif

float Value4(const float* t, float x, float y, float z, float w) {
    if (z == 0.0f)
        return Value2(t, x, y);
    const float p[4] = {x, y, z, w};
    constexpr uint32_t kPrime[4] = {kPX, kPY, kPZ, kPW};
    uint32_t b = 0;
    float f[4], s[4];
    for (int a = 0; a < 4; ++a) {
        uint32_t c;
        if (!Split(p[a], c, f[a]))
            return 0.0f;
        b += c * kPrime[a];
        s[a] = Smooth(f[a]);
    }
    // Corner bit a set: upper side of axis a. The gradient's w is the next
    // entry's x (table entries overlap; the spare float covers entry 1023).
    float v[16];
    for (int corner = 0; corner < 16; ++corner) {
        uint32_t i = b;
        float o[4];
        for (int a = 0; a < 4; ++a) {
            const bool up = (corner >> a) & 1;
            i += up ? kPrime[a] : 0u;
            o[a] = up ? f[a] - 1.0f : f[a];
        }
        const float* g = Entry(t, i);
        v[corner] = g[0] * o[0] + g[1] * o[1] + g[2] * o[2] + g[3] * o[3];
    }
    // Blend x, then y, z, w: pairs of neighbours along the lowest remaining bit.
    for (int a = 0, n = 16; a < 4; ++a, n /= 2)
        for (int j = 0; j < n / 2; ++j)
            v[j] = Lerp(v[2 * j], v[2 * j + 1], s[a]);
    return v[0];
}

void Gradient1(const float* t, float& gx, float x) {
    uint32_t c;
    float f;
    if (!Split(x, c, f)) {
        gx = 0.0f;
        return;
    }
    gx = Lerp(Entry(t, c * kPX)[0], Entry(t, (c + 1u) * kPX)[0], Smooth(f));
}

void Gradient2(const float* t, float& gx, float& gy, float x, float y) {
    uint32_t cx, cy;
    float fx, fy;
    if (!Split(x, cx, fx) || !Split(y, cy, fy)) {
        gx = gy = 0.0f;
        return;
    }
    const uint32_t b = cx * kPX + cy * kPY;
    const float* g00 = Entry(t, b);
    const float* g10 = Entry(t, b + kPX);
    const float* g01 = Entry(t, b + kPY);
    const float* g11 = Entry(t, b + kPX + kPY);
    const float sx = Smooth(fx), sy = Smooth(fy);
    for (int k = 0; k < 2; ++k) {
        const float r = Lerp(Lerp(g00[k], g10[k], sx), Lerp(g01[k], g11[k], sx), sy);
        (k == 0 ? gx : gy) = r;
    }
}

HvVec3 Gradient3(const float* t, float x, float y, float z) {
    uint32_t cx, cy, cz;
    float fx, fy, fz;
    if (!Split(x, cx, fx) || !Split(y, cy, fy) || !Split(z, cz, fz))
        return HvVec3();
    const uint32_t b = cx * kPX + cy * kPY + cz * kPZ;
    const float* g[8];
    for (int corner = 0; corner < 8; ++corner)
        g[corner] = Entry(t, b + ((corner & 1) ? kPX : 0u) + ((corner & 2) ? kPY : 0u) +
                                 ((corner & 4) ? kPZ : 0u));
    const float sx = Smooth(fx), sy = Smooth(fy), sz = Smooth(fz);
    HvVec3 r;
    for (int k = 0; k < 3; ++k) {
        const float y0 = Lerp(Lerp(g[0][k], g[1][k], sx), Lerp(g[2][k], g[3][k], sx), sy);
        const float y1 = Lerp(Lerp(g[4][k], g[5][k], sx), Lerp(g[6][k], g[7][k], sx), sy);
        r[k] = Lerp(y0, y1, sz);
    }
    return r;
}

// ---------------------------------------------------------------------------
// Octaves. Octave k reads table k at 2^k p + 2^-k: the product is exact in
// float (a power of two), the offset is added in double and rounded to float,
// and the value is weighted by 2^-k. The SSE2 paths add the offset in float
// instead, which gives the same float: the sum of two floats rounded first to
// double and then to float is the float sum, because double has at least
// 2 * 24 + 2 bits of precision.

constexpr float kScale[8] = {1.0f, 2.0f, 4.0f, 8.0f, 16.0f, 32.0f, 64.0f, 128.0f};
constexpr double kOffset[8] = {0.0, 0.5, 0.25, 0.125, 0.0625, 0.03125, 0.015625, 0.0078125};
constexpr float kWeight[8] = {1.0f, 0.5f, 0.25f, 0.125f, 0.0625f, 0.03125f, 0.015625f, 0.0078125f};

template <int K>
inline float Oct(float p) {
    if constexpr (K == 0)
        return p;
    else
        return static_cast<float>(static_cast<double>(p * kScale[K]) + kOffset[K]);
}

template <class F, int... K>
inline float SumOctaves(F&& f, std::integer_sequence<int, K...>) {
    float sum = f(std::integral_constant<int, 0>());
    ((sum = sum + f(std::integral_constant<int, K + 1>()) * kWeight[K + 1]), ...);
    return sum;
}

// The sum of N octaves, unrolled: f(k) gives octave k's unweighted value.
template <int N, class F>
inline float Octaves(F&& f) {
    return SumOctaves(f, std::make_integer_sequence<int, N - 1>());
}

template <int N>
inline float Sum1(const HvFractalNoise& n, float x) {
    return Octaves<N>([&](auto k) {
        constexpr int K = decltype(k)::value;
        return Value1(n.noise[K].table, Oct<K>(x));
    });
}

template <int N>
inline float Sum2(const HvFractalNoise& n, float x, float y) {
    return Octaves<N>([&](auto k) {
        constexpr int K = decltype(k)::value;
        return Value2(n.noise[K].table, Oct<K>(x), Oct<K>(y));
    });
}

template <int N>
inline float Sum3(const HvFractalNoise& n, float x, float y, float z) {
#if defined(__SSE2__)
    // The octave coordinates side by side, the offset added in float.
    const __m128 p = _mm_setr_ps(x, y, z, 0.0f);
    return Octaves<N>([&](auto k) {
        constexpr int K = decltype(k)::value;
        const __m128 q = K == 0 ? p
                                : _mm_add_ps(_mm_mul_ps(p, _mm_set1_ps(kScale[K])),
                                             _mm_set1_ps(static_cast<float>(kOffset[K])));
        if (_mm_movemask_ps(_mm_cmpeq_ps(q, _mm_setzero_ps())) & 4)
            return Value2(n.noise[K].table, _mm_cvtss_f32(q),
                          _mm_cvtss_f32(_mm_shuffle_ps(q, q, 1)));
        return Value3v(n.noise[K].table, q);
    });
#else
    return Octaves<N>([&](auto k) {
        constexpr int K = decltype(k)::value;
        return Value3(n.noise[K].table, Oct<K>(x), Oct<K>(y), Oct<K>(z));
    });
#endif
}

template <int N>
inline float Sum4(const HvFractalNoise& n, float x, float y, float z, float w) {
    return Octaves<N>([&](auto k) {
        constexpr int K = decltype(k)::value;
        return Value4(n.noise[K].table, Oct<K>(x), Oct<K>(y), Oct<K>(z), Oct<K>(w));
    });
}

template <int N>
HvVec3 GradientSum(const HvFractalNoise& n, float x, float y, float z) {
    HvVec3 sum = Gradient3(n.noise[0].table, x, y, z);
    for (int k = 1; k < N; ++k) {
        const float ox = static_cast<float>(static_cast<double>(x * kScale[k]) + kOffset[k]);
        const float oy = static_cast<float>(static_cast<double>(y * kScale[k]) + kOffset[k]);
        const float oz = static_cast<float>(static_cast<double>(z * kScale[k]) + kOffset[k]);
        const HvVec3 g = Gradient3(n.noise[k].table, ox, oy, oz);
        sum.x = sum.x + g.x * kWeight[k];
        sum.y = sum.y + g.y * kWeight[k];
        sum.z = sum.z + g.z * kWeight[k];
    }
    return sum;
}

// ---------------------------------------------------------------------------
// Rows: out[i] = Sum3<N>(x0 + i dx, y, z). Four samples at a time with SSE2;
// each lane performs exactly the scalar operations in the scalar order, so the
// bits agree (the octave offsets are added in float, see above). The y and z
// coordinates of an octave are the same for the whole row, so their cell,
// fraction and smoothing are computed once, by the scalar code.

// Coordinates within this bound keep every octave's coordinate below 2^24,
// where the fast cell rule applies.
constexpr float kRowBound = 65536.0f;

inline float RowX(float x0, float dx, int i) {
    return x0 + static_cast<float>(i) * dx;
}

template <int N>
void RowScalar(const HvFractalNoise& n, float* out, int begin, int end, float x0, float dx, float y,
               float z) {
    for (int i = begin; i < end; ++i)
        out[i] = Sum3<N>(n, RowX(x0, dx, i), y, z);
}

#if defined(__SSE2__)

struct RowAxis {
    uint32_t c;
    float f, f1, s;
};

inline RowAxis MakeAxis(float p) {
    RowAxis a{};
    Split(p, a.c, a.f); // within kRowBound scaled: always the fast path
    a.f1 = a.f - 1.0f;
    a.s = Smooth(a.f);
    return a;
}

inline __m128 Lerp4(__m128 a, __m128 b, __m128 s) {
    return _mm_add_ps(a, _mm_mul_ps(s, _mm_sub_ps(b, a)));
}

// One octave for four x values: table t, the row's y (and z when kZ) axes.
template <bool kZ>
inline __m128 Octave4(const float* t, __m128 x, const RowAxis& ay, const RowAxis& az) {
    const __m128i neg = _mm_castps_si128(_mm_cmplt_ps(x, _mm_setzero_ps()));
    const __m128i c = _mm_add_epi32(_mm_cvttps_epi32(x), neg); // truncate, minus 1 below 0
    const __m128 fx = _mm_sub_ps(x, _mm_cvtepi32_ps(c));
    const __m128 fx1 = _mm_sub_ps(fx, _mm_set1_ps(1.0f));
    const __m128 sx = _mm_mul_ps(_mm_mul_ps(fx, fx),
                                 _mm_sub_ps(_mm_set1_ps(3.0f), _mm_mul_ps(_mm_set1_ps(2.0f), fx)));
    alignas(16) uint32_t b[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(b), c);
    const uint32_t byz = ay.c * kPY + (kZ ? az.c * kPZ : 0u);
    for (uint32_t& bl : b)
        bl = bl * kPX + byz;

    // Gradients of one corner for the four lanes: each entry's x, y, z (and
    // the next float, unused) loaded at once, then transposed into vectors.
    auto dot = [&](uint32_t off, __m128 ox, float oy, float oz) {
        __m128 r0 = _mm_loadu_ps(Entry(t, b[0] + off));
        __m128 r1 = _mm_loadu_ps(Entry(t, b[1] + off));
        __m128 r2 = _mm_loadu_ps(Entry(t, b[2] + off));
        __m128 r3 = _mm_loadu_ps(Entry(t, b[3] + off));
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        __m128 d = _mm_add_ps(_mm_mul_ps(r0, ox), _mm_mul_ps(r1, _mm_set1_ps(oy)));
        if (kZ)
            d = _mm_add_ps(d, _mm_mul_ps(r2, _mm_set1_ps(oz)));
        return d;
    };
    const __m128 sy = _mm_set1_ps(ay.s);
    const __m128 x00 = Lerp4(dot(0, fx, ay.f, az.f), dot(kPX, fx1, ay.f, az.f), sx);
    const __m128 x10 = Lerp4(dot(kPY, fx, ay.f1, az.f), dot(kPX + kPY, fx1, ay.f1, az.f), sx);
    const __m128 y0 = Lerp4(x00, x10, sy);
    if (!kZ)
        return y0;
    const __m128 x01 = Lerp4(dot(kPZ, fx, ay.f, az.f1), dot(kPX + kPZ, fx1, ay.f, az.f1), sx);
    const __m128 x11 =
        Lerp4(dot(kPY + kPZ, fx, ay.f1, az.f1), dot(kPX + kPY + kPZ, fx1, ay.f1, az.f1), sx);
    return Lerp4(y0, Lerp4(x01, x11, sy), _mm_set1_ps(az.s));
}

template <int N>
void Row(const HvFractalNoise& n, float* out, int count, float x0, float dx, float y, float z) {
    // The row's y and z must keep every octave in the fast range; otherwise
    // (huge or non-finite) the scalar code handles the whole row.
    if (!(std::fabs(y) <= kRowBound && std::fabs(z) <= kRowBound)) {
        RowScalar<N>(n, out, 0, count, x0, dx, y, z);
        return;
    }
    RowAxis ay[N], az[N];
    bool flat[N]; // z == 0 at this octave: the 2-D noise, as in the scalar path
    for (int k = 0; k < N; ++k) {
        const float yk =
            k == 0 ? y : static_cast<float>(static_cast<double>(y * kScale[k]) + kOffset[k]);
        const float zk =
            k == 0 ? z : static_cast<float>(static_cast<double>(z * kScale[k]) + kOffset[k]);
        ay[k] = MakeAxis(yk);
        az[k] = MakeAxis(zk);
        flat[k] = zk == 0.0f;
    }
    const __m128 vx0 = _mm_set1_ps(x0), vdx = _mm_set1_ps(dx);
    const __m128 bound = _mm_set1_ps(kRowBound);
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m128 lane = _mm_cvtepi32_ps(_mm_setr_epi32(i, i + 1, i + 2, i + 3));
        const __m128 x = _mm_add_ps(vx0, _mm_mul_ps(lane, vdx));
        if (_mm_movemask_ps(_mm_cmple_ps(_mm_and_ps(x, absMask), bound)) != 15) {
            RowScalar<N>(n, out, i, i + 4, x0, dx, y, z);
            continue;
        }
        __m128 sum = flat[0] ? Octave4<false>(n.noise[0].table, x, ay[0], az[0])
                             : Octave4<true>(n.noise[0].table, x, ay[0], az[0]);
        for (int k = 1; k < N; ++k) {
            const __m128 xk = _mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(kScale[k])),
                                         _mm_set1_ps(static_cast<float>(kOffset[k])));
            const __m128 v = flat[k] ? Octave4<false>(n.noise[k].table, xk, ay[k], az[k])
                                     : Octave4<true>(n.noise[k].table, xk, ay[k], az[k]);
            sum = _mm_add_ps(sum, _mm_mul_ps(v, _mm_set1_ps(kWeight[k])));
        }
        _mm_storeu_ps(out + i, sum);
    }
    RowScalar<N>(n, out, i, count, x0, dx, y, z);
}

#else

template <int N>
void Row(const HvFractalNoise& n, float* out, int count, float x0, float dx, float y, float z) {
    RowScalar<N>(n, out, 0, count, x0, dx, y, z);
}

#endif

} // namespace

// ---------------------------------------------------------------------------
// HvGNoise

HvGNoise::HvGNoise() : HvGNoise(1) {}

HvGNoise::HvGNoise(int seed) : table() {
    InitTable(seed);
}

void HvGNoise::InitTable(int seed) {
    const uint32_t s = static_cast<uint32_t>(seed);
    for (uint32_t i = 0; i < static_cast<uint32_t>(kEntries); ++i) {
        const float z = Unit(i * (s + 1u));
        const float r = static_cast<float>(std::sqrt(1.0 - static_cast<double>(z) * z));
        const double theta = static_cast<double>(Unit(i * (s + 104761u * i))) * 6.283185307179586;
        table[3 * i] = static_cast<float>(std::cos(theta) * r);
        table[3 * i + 1] = static_cast<float>(std::sin(theta) * r);
        table[3 * i + 2] = z;
    }
    table[3 * kEntries] = table[0];
}

void HvGNoise::XfmTable(const HvMatrix44& m) {
    const HvMatrix44 normalMatrix = Invert(Transpose(m));
    for (int i = 0; i < kEntries; ++i) {
        float* g = table + 3 * i;
        const HvVec4 h = HvVec4(g[0], g[1], g[2], 1.0f) * normalMatrix;
        const HvVec3 n = Normalise(HvVec3(h.x, h.y, h.z));
        g[0] = n.x;
        g[1] = n.y;
        g[2] = n.z;
    }
    table[3 * kEntries] = table[0];
}

float HvGNoise::Value(float x) const {
    return Value1(table, x);
}

float HvGNoise::Value(float x, float y) const {
    return Value2(table, x, y);
}

float HvGNoise::Value(float x, float y, float z) const {
    return Value3(table, x, y, z);
}

float HvGNoise::Value(float x, float y, float z, float w) const {
    return Value4(table, x, y, z, w);
}

float HvGNoise::ValueWrapped(float x, int period) const {
    if (period == 0)
        return Value1(table, x);
    uint32_t c;
    float f;
    if (!Split(x, c, f))
        return 0.0f;
    // In 64 bits: neither the remainder by -1 nor adding the period can overflow.
    const int64_t p = period;
    int64_t r = static_cast<int64_t>(static_cast<int32_t>(c)) % p;
    if (r <= -1)
        r += p;
    const int64_t r1 = (r + 1) % p;
    const float e0 = Entry(table, static_cast<uint32_t>(r) * kPX)[0] * f;
    const float e1 = Entry(table, static_cast<uint32_t>(r1) * kPX)[0] * (f - 1.0f);
    return Lerp(e0, e1, Smooth(f));
}

void HvGNoise::Gradient(float& gx, float x) const {
    Gradient1(table, gx, x);
}

void HvGNoise::Gradient(float& gx, float& gy, float x, float y) const {
    Gradient2(table, gx, gy, x, y);
}

void HvGNoise::Gradient(float& gx, float& gy, float& gz, float x, float y, float z) const {
    const HvVec3 g = Gradient3(table, x, y, z);
    gx = g.x;
    gy = g.y;
    gz = g.z;
}

// ---------------------------------------------------------------------------
// HvFractalNoise

namespace {
int SeedPlus(int seed, unsigned k) {
    return static_cast<int>(static_cast<uint32_t>(seed) + k);
}
} // namespace

HvFractalNoise::HvFractalNoise(int seed)
    : noise{HvGNoise(seed),
            HvGNoise(SeedPlus(seed, 1)),
            HvGNoise(SeedPlus(seed, 2)),
            HvGNoise(SeedPlus(seed, 3)),
            HvGNoise(SeedPlus(seed, 4)),
            HvGNoise(SeedPlus(seed, 5)),
            HvGNoise(SeedPlus(seed, 6)),
            HvGNoise(SeedPlus(seed, 7))} {}

#define HV_FRACTAL_VALUES(N)                                                                       \
    float HvFractalNoise::value##N(float x) const {                                                \
        return Sum1<N>(*this, x);                                                                  \
    }                                                                                              \
    float HvFractalNoise::value##N(float x, float y) const {                                       \
        return Sum2<N>(*this, x, y);                                                               \
    }                                                                                              \
    float HvFractalNoise::value##N(float x, float y, float z) const {                              \
        return Sum3<N>(*this, x, y, z);                                                            \
    }
HV_FRACTAL_VALUES(3)
HV_FRACTAL_VALUES(4)
HV_FRACTAL_VALUES(5)
HV_FRACTAL_VALUES(6)
HV_FRACTAL_VALUES(7)
HV_FRACTAL_VALUES(8)
#undef HV_FRACTAL_VALUES

#define HV_FRACTAL_4D(N)                                                                           \
    float HvFractalNoise::value##N(float x, float y, float z, float w) const {                     \
        return Sum4<N>(*this, x, y, z, w);                                                         \
    }                                                                                              \
    HvVec3 HvFractalNoise::gradient##N(float x, float y, float z) const {                          \
        return GradientSum<N>(*this, x, y, z);                                                     \
    }
HV_FRACTAL_4D(1)
HV_FRACTAL_4D(2)
HV_FRACTAL_4D(3)
HV_FRACTAL_4D(4)
HV_FRACTAL_4D(5)
HV_FRACTAL_4D(6)
HV_FRACTAL_4D(7)
HV_FRACTAL_4D(8)
#undef HV_FRACTAL_4D

void HvFractalNoise::valueRow(int octaves, float* out, int n, float x0, float dx, float y,
                              float z) const {
    if (out == nullptr || n <= 0)
        return;
    switch (octaves < 1 ? 1 : (octaves > 8 ? 8 : octaves)) {
    case 1:
        Row<1>(*this, out, n, x0, dx, y, z);
        break;
    case 2:
        Row<2>(*this, out, n, x0, dx, y, z);
        break;
    case 3:
        Row<3>(*this, out, n, x0, dx, y, z);
        break;
    case 4:
        Row<4>(*this, out, n, x0, dx, y, z);
        break;
    case 5:
        Row<5>(*this, out, n, x0, dx, y, z);
        break;
    case 6:
        Row<6>(*this, out, n, x0, dx, y, z);
        break;
    case 7:
        Row<7>(*this, out, n, x0, dx, y, z);
        break;
    default:
        Row<8>(*this, out, n, x0, dx, y, z);
        break;
    }
}

float HvFractalNoise::iterMax(int n) {
    const int c = n < 1 ? 1 : (n > 8 ? 8 : n);
    const double p = static_cast<double>(1 << (c - 1));
    return static_cast<float>((p - 1.0) * 0.5 / p + 0.5);
}

// ---------------------------------------------------------------------------
// Random numbers

namespace {
uint32_t gVxRandState = 0;
}

int Vxrand_r(unsigned int* state) {
    if (state == nullptr)
        return 0;
    const uint32_t s1 = static_cast<uint32_t>(*state) * 1103515245u + 12345u;
    const uint32_t s2 = s1 * 1103515245u + 12345u;
    *state = s2;
    return static_cast<int>((((s1 >> 16) & 255u) << 7) ^ ((s2 >> 16) & 255u));
}

void Vxsrand(unsigned int seed) {
    gVxRandState = seed;
}

int Vxrand() {
    unsigned int s = gVxRandState;
    const int r = Vxrand_r(&s);
    gVxRandState = s;
    return r;
}
