// vxComplex.h - a complex number as a pixel: the (real, imaginary) pair that
// spectra are stored in (VxTexture<VxComplex<float>, VxComplex<float> >).
//
// A plain value of two consecutive T, re then im, so a buffer of them can be
// handed to code that expects interleaved (real, imaginary) pairs. It carries
// just the arithmetic that blending and spectral products need. Everything
// here is inline, pure and may be called from any thread.
#ifndef VX_COMPLEX_H
#define VX_COMPLEX_H

template <class T>
struct VxComplex {
    T re;
    T im;

    constexpr VxComplex() : re(), im() {}
    constexpr VxComplex(T real, T imaginary = T()) : re(real), im(imaginary) {}

    VxComplex& operator+=(const VxComplex& b) {
        re += b.re;
        im += b.im;
        return *this;
    }
    VxComplex& operator-=(const VxComplex& b) {
        re -= b.re;
        im -= b.im;
        return *this;
    }
    VxComplex& operator*=(T s) {
        re *= s;
        im *= s;
        return *this;
    }
    // (a + ib)(c + id) = (ac - bd) + i(ad + bc).
    VxComplex& operator*=(const VxComplex& b) {
        const T r = re * b.re - im * b.im;
        im = re * b.im + im * b.re;
        re = r;
        return *this;
    }

    friend VxComplex operator+(VxComplex a, const VxComplex& b) { return a += b; }
    friend VxComplex operator-(VxComplex a, const VxComplex& b) { return a -= b; }
    friend VxComplex operator-(const VxComplex& a) { return VxComplex(-a.re, -a.im); }
    friend VxComplex operator*(VxComplex a, T s) { return a *= s; }
    friend VxComplex operator*(T s, VxComplex a) { return a *= s; }
    friend VxComplex operator*(VxComplex a, const VxComplex& b) { return a *= b; }

    // Both parts equal; a NaN part makes two values unequal.
    friend bool operator==(const VxComplex& a, const VxComplex& b) {
        return a.re == b.re && a.im == b.im;
    }
    friend bool operator!=(const VxComplex& a, const VxComplex& b) { return !(a == b); }
};

#endif
