// vxColour.h - colour value types and the HSV conversions.
//
// VxRGBACol<B> and VxRGBCol<B> are plain colour values: four (r, g, b, a) or
// three (r, g, b) channels of the type the base B declares. The base carries
// the channel type and its nominal range in its template arguments, so that
// code can tell a 0..1 float colour from a 0..255 integer one at compile time:
//
//   VxRGBABase<T, Min, Max, Opaque, Clear>   channels of type T, nominally
//                                            Min..Max; alpha Opaque is fully
//                                            opaque and Clear fully transparent
//   VxRGBBase<T, Min, Max>                   the same without alpha
//
// The library works with the float kinds, nominally 0 to 1 with alpha 1
// opaque:
//
//   VxRGBAf = VxRGBACol<VxRGBABase<float, 0, 1, 1, 0> >
//   VxRGBf  = VxRGBCol<VxRGBBase<float, 0, 1> >
//
// and offers the 8-bit integer kinds VxRGBAi / VxRGBi (0..255) beside them.
//
// Conventions
//   - Constructors take the channels as they are: VxRGBAf(1, 0, 0, 1) is
//     opaque red whether written with ints, floats or a mix; an int argument
//     is converted to the channel type, never rescaled. Values outside the
//     nominal range are kept (grades may carry them); clamped() brings them in.
//   - A default-constructed colour is all zero (transparent black), the
//     neutral element of the arithmetic.
//   - The arithmetic (+, -, * by a scalar) works channel by channel, in the
//     channel type, and is what the grades and gradients interpolate with.
//
// HSV
//   VxHSVtoRGB takes hue in turns (0..1 is once round the colour wheel, red at
//   0, green at 1/3, blue at 2/3; any value is wrapped), saturation and value
//   clamped to 0..1; VxRGBtoHSV is its inverse for channels in 0..1 (hue 0 for
//   greys, saturation 0 for black).
//
// Everything here is a value type or a pure function: safe from any thread,
// including inside a processor fork.
#ifndef VX_COLOUR_H
#define VX_COLOUR_H

#include "vxExport.h"

#include <cmath>
#include <cstring>
#include <type_traits>
#if defined(__SSE__)
#include <xmmintrin.h>
#endif

template <class T, int Min, int Max, int Opaque, int Clear>
struct VxRGBABase {
    using value_type = T;
    static constexpr int kChannels = 4;
    static constexpr T kMin = static_cast<T>(Min);
    static constexpr T kMax = static_cast<T>(Max);
    static constexpr T kOpaque = static_cast<T>(Opaque);
    static constexpr T kClear = static_cast<T>(Clear);
    T r, g, b, a;
};

template <class T, int Min, int Max>
struct VxRGBBase {
    using value_type = T;
    static constexpr int kChannels = 3;
    static constexpr T kMin = static_cast<T>(Min);
    static constexpr T kMax = static_cast<T>(Max);
    T r, g, b;
};

template <class B>
struct VxRGBACol : B {
    using T = typename B::value_type;

    VxRGBACol() : B{T(0), T(0), T(0), T(0)} {}
    // From four numbers: floats, ints or any mix of them.
    template <
        class R, class G, class Bl, class A,
        class = std::enable_if_t<std::is_arithmetic<R>::value && std::is_arithmetic<G>::value &&
                                 std::is_arithmetic<Bl>::value && std::is_arithmetic<A>::value>>
    VxRGBACol(R r_, G g_, Bl b_, A a_)
        : B{static_cast<T>(r_), static_cast<T>(g_), static_cast<T>(b_), static_cast<T>(a_)} {}

    // Channel i: 0 red, 1 green, 2 blue, 3 alpha; out-of-range i is clamped.
    T& operator[](int i) {
        return i <= 0 ? this->r : i == 1 ? this->g : i == 2 ? this->b : this->a;
    }
    const T& operator[](int i) const {
        return i <= 0 ? this->r : i == 1 ? this->g : i == 2 ? this->b : this->a;
    }

    VxRGBACol operator+(const VxRGBACol& o) const {
        return VxRGBACol(this->r + o.r, this->g + o.g, this->b + o.b, this->a + o.a, 0);
    }
    VxRGBACol operator-(const VxRGBACol& o) const {
        return VxRGBACol(this->r - o.r, this->g - o.g, this->b - o.b, this->a - o.a, 0);
    }
    VxRGBACol operator*(float s) const {
        return VxRGBACol(static_cast<T>(this->r * s), static_cast<T>(this->g * s),
                         static_cast<T>(this->b * s), static_cast<T>(this->a * s), 0);
    }
    VxRGBACol& operator+=(const VxRGBACol& o) { return *this = *this + o; }
    VxRGBACol& operator-=(const VxRGBACol& o) { return *this = *this - o; }
    VxRGBACol& operator*=(float s) { return *this = *this * s; }
    bool operator==(const VxRGBACol& o) const {
        return this->r == o.r && this->g == o.g && this->b == o.b && this->a == o.a;
    }
    bool operator!=(const VxRGBACol& o) const { return !(*this == o); }

    // Every channel clamped to the base's nominal range (NaN becomes the minimum).
    VxRGBACol clamped() const {
        VxRGBACol c = *this;
        for (int i = 0; i < 4; ++i) {
            T& v = c[i];
            v = v > B::kMin ? (v < B::kMax ? v : B::kMax) : B::kMin;
        }
        return c;
    }

private:
    // Channels already of type T (the trailing int only tells it apart from
    // the public constructors).
    VxRGBACol(T r_, T g_, T b_, T a_, int) : B{r_, g_, b_, a_} {}
};

template <class B>
struct VxRGBCol : B {
    using T = typename B::value_type;

    VxRGBCol() : B{T(0), T(0), T(0)} {}
    // From three numbers: floats, ints or any mix of them.
    template <
        class R, class G, class Bl,
        class = std::enable_if_t<std::is_arithmetic<R>::value && std::is_arithmetic<G>::value &&
                                 std::is_arithmetic<Bl>::value>>
    VxRGBCol(R r_, G g_, Bl b_) : B{static_cast<T>(r_), static_cast<T>(g_), static_cast<T>(b_)} {}

    // Channel i: 0 red, 1 green, 2 blue; out-of-range i is clamped.
    T& operator[](int i) { return i <= 0 ? this->r : i == 1 ? this->g : this->b; }
    const T& operator[](int i) const { return i <= 0 ? this->r : i == 1 ? this->g : this->b; }

    VxRGBCol operator+(const VxRGBCol& o) const {
        return VxRGBCol(this->r + o.r, this->g + o.g, this->b + o.b, 0);
    }
    VxRGBCol operator-(const VxRGBCol& o) const {
        return VxRGBCol(this->r - o.r, this->g - o.g, this->b - o.b, 0);
    }
    VxRGBCol operator*(float s) const {
        return VxRGBCol(static_cast<T>(this->r * s), static_cast<T>(this->g * s),
                        static_cast<T>(this->b * s), 0);
    }
    VxRGBCol& operator+=(const VxRGBCol& o) { return *this = *this + o; }
    VxRGBCol& operator-=(const VxRGBCol& o) { return *this = *this - o; }
    VxRGBCol& operator*=(float s) { return *this = *this * s; }
    bool operator==(const VxRGBCol& o) const {
        return this->r == o.r && this->g == o.g && this->b == o.b;
    }
    bool operator!=(const VxRGBCol& o) const { return !(*this == o); }

    VxRGBCol clamped() const {
        VxRGBCol c = *this;
        for (int i = 0; i < 3; ++i) {
            T& v = c[i];
            v = v > B::kMin ? (v < B::kMax ? v : B::kMax) : B::kMin;
        }
        return c;
    }

private:
    VxRGBCol(T r_, T g_, T b_, int) : B{r_, g_, b_} {}
};

// t clamped into 0..1 as the gradients take their position: t > 0 ? t : 0,
// then t < 1 ? t : 1, so NaN becomes 0. On SSE these are exactly maxss and
// minss (each gives its second operand for NaN), which compilers do not
// always pick by themselves once the result also selects a table entry.
inline float VxClamp01(float t) {
#if defined(__SSE__)
    return _mm_cvtss_f32(_mm_min_ss(_mm_max_ss(_mm_set_ss(t), _mm_setzero_ps()), _mm_set_ss(1.0f)));
#else
    t = t > 0.0f ? t : 0.0f;
    return t < 1.0f ? t : 1.0f;
#endif
}

// c + d * w, the blend the gradients evaluate: the same arithmetic as the
// operators, written out channel by channel for colours so that the compiler
// can do the four channels at once. The grades and the library's gradient use
// it inside the library; called from a plug-in's own code it is compiled with
// the plug-in's flags, which may fuse the multiply and the add.
template <class C>
inline C VxBlend(const C& c, const C& d, float w) {
    return c + d * w;
}
template <class B>
inline VxRGBACol<B> VxBlend(const VxRGBACol<B>& c, const VxRGBACol<B>& d, float w) {
    using T = typename B::value_type;
#if defined(__SSE__)
    // Four float channels are one SSE register: the same four multiplies and
    // adds, lane by lane, which compilers do not always find by themselves
    // once the blend is inlined into a caller's loop.
    if constexpr (std::is_same<T, float>::value && sizeof(VxRGBACol<B>) == 4 * sizeof(float)) {
        float cv[4], dv[4], out[4];
        std::memcpy(cv, &c, sizeof cv);
        std::memcpy(dv, &d, sizeof dv);
        _mm_storeu_ps(out,
                      _mm_add_ps(_mm_loadu_ps(cv), _mm_mul_ps(_mm_loadu_ps(dv), _mm_set1_ps(w))));
        return VxRGBACol<B>(out[0], out[1], out[2], out[3]);
    }
#endif
    return VxRGBACol<B>(c.r + static_cast<T>(d.r * w), c.g + static_cast<T>(d.g * w),
                        c.b + static_cast<T>(d.b * w), c.a + static_cast<T>(d.a * w));
}

using VxRGBAf = VxRGBACol<VxRGBABase<float, 0, 1, 1, 0>>;
using VxRGBf = VxRGBCol<VxRGBBase<float, 0, 1>>;
using VxRGBAi = VxRGBACol<VxRGBABase<int, 0, 255, 255, 0>>;
using VxRGBi = VxRGBCol<VxRGBBase<int, 0, 255>>;

// 1 / x, or 0 when |x| is below 1e-12: a zero (or vanishing) span between two
// keys then blends nothing instead of producing infinities.
inline float VxInvert(float x) {
    return (x > -1e-12f && x < 1e-12f) ? 0.0f : 1.0f / x;
}

// Hue in turns (wrapped into 0..1), saturation and value clamped to 0..1; a
// NaN argument counts as 0. The result's channels lie in 0..1.
VX_API VxRGBf VxHSVtoRGB(float hue, float saturation, float value);
// The inverse for channels in 0..1 (others are clamped first): hue in 0..1
// turns (0 for greys), saturation (0 for black) and value in 0..1.
VX_API void VxRGBtoHSV(const VxRGBf& c, float& hue, float& saturation, float& value);

#endif
