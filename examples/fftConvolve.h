// fftConvolve - convolution of a picture by a kernel through FFTW 2 and
// Veltrix's spectral multiply, shared by the fftConvolveDemo example and its
// test. Built only from the public headers, as a plug-in would be.
#ifndef FFT_CONVOLVE_H
#define FFT_CONVOLVE_H

#include <vector>

// A width x height kernel (row after row) holding a soft disc of the given
// radius in pixels and soft-edge fraction, centred on pixel (0, 0) and
// wrapping round the edges, so that convolving by it does not shift the
// picture. Its values sum to 1. Made with VxShapeMaskCircle.
std::vector<float> SoftDiscKernel(int width, int height, float radius, float softness);

// A test picture: a chequerboard of 16-pixel squares under a diagonal ramp,
// values 0 to 1.
std::vector<float> TestPicture(int width, int height);

// out = picture (*) kernel, the cyclic convolution of two width x height
// images: out(x, y) = sum over (u, v) of picture(u, v) kernel(x - u, y - v),
// indices taken modulo the size. Forward real-to-complex FFTW 2 transforms
// into VxTexture<VxComplex<float>, VxComplex<float> > spectra (rows, then the
// W/2 + 1 columns), the multiply by VxFourierConvolvePass in an image frame
// over every processor with scale 1 / (width height), and the inverse. FFTW
// plans are made and destroyed here, outside the fork. False, with `out`
// untouched, when a size is below 1 or the sizes do not match.
bool FftConvolve(const std::vector<float>& picture, const std::vector<float>& kernel, int width,
                 int height, std::vector<float>& out);

#endif
