// vxFourierConvolvePass.h - the spectral multiply of an FFT convolution.
//
// A convolution by Fourier transform is: transform the image and the kernel,
// multiply the two spectra element by element, transform back and divide by
// the number of pixels. The transforms are the plug-in's own, made with FFTW 2
// in single precision (sfftw.h and srfftw.h, which the library's CMake target
// and pkg-config file bring along); this module does the multiply, split by
// rows over the workers of an image-processing frame (vxImgProc.h).
//
// Spectrum layout
//   A spectrum is a VxTexture<VxComplex<float>, VxComplex<float> > of W x H
//   pixels, W and H the size of the real image. A real-to-complex transform
//   gives only the first W/2 + 1 entries of each row (the others are the
//   conjugates of these), and the pass touches only those: entries W/2 + 1 to
//   W - 1 of every row are left as they are. VxComplex<float> is laid out as
//   FFTW's fftw_complex (re, im), so texture data can be handed to FFTW 2 as
//   is; the row stride is W.
//
// Use inside a frame
//
//     struct Multiply : VxImgProc {
//         VxFourierConvolvePass pass;   // pass.scale = 1 / (W * H)
//         VxTexture<VxComplex<float>, VxComplex<float> > *image, *kernel;
//         void sample() override { pass.convolvePass(*image, *kernel, *this); }
//     };
//     multiply.processImages(image);    // every worker multiplies its rows
//
// FFTW plans and the processor fork
//   FFTW's planner is not thread-safe: make every plan (fftw_create_plan,
//   rfftwnd_create_plan, fftwf_plan_..., and destroy them) outside a fork, in
//   the caller of process()/processImages(), e.g. in preSample(). Inside a
//   fork only execute plans made before it, each worker on its own arrays
//   (FFTW 2's fftw()/rfftwnd_*() calls with the plan as a read-only argument).
//   The same holds for the library's Poisson solver (vxPois3d.h).
//
// Threading: convolvePass is meant to run on every worker at once; each worker
// writes only its own rows of `a`.
#ifndef VX_FOURIER_CONVOLVE_PASS_H
#define VX_FOURIER_CONVOLVE_PASS_H

#include "vxComplex.h"
#include "vxExport.h"
#include "vxImgProc.h"
#include "vxTexture.h"

class VX_API VxFourierConvolvePass {
public:
    VxFourierConvolvePass() = default;
    explicit VxFourierConvolvePass(float s) : scale(s) {}

    // a <- a * b * scale over the first W/2 + 1 entries of the calling
    // worker's rows. The rows 0 .. H - 1 are shared among the workers by
    // range() (vxMultiProcessor.h), so inside a fork every worker takes its
    // own block; called outside a fork the caller is worker 0 and gets the
    // first block (all rows while the worker count is 1). Each product is
    // (ar br - ai bi, ar bi + ai br) in float, then both parts are multiplied
    // by scale.
    //
    // Before every row the frame's interruption record is read: once it is
    // latched, or its check answers non-zero (the answer is then latched), the
    // worker stops. The check may therefore be called by several workers at
    // once and must be safe to call so; the latch is read and set atomically.
    //
    // Nothing is done when a and b differ in width or height, when either has
    // no pixels or no buffer. a and b may be the same texture (squares it).
    void convolvePass(VxTexture<VxComplex<float>, VxComplex<float>>& a,
                      VxTexture<VxComplex<float>, VxComplex<float>>& b, VxImgProc& frame);

    float scale = 1.0f; // every product is multiplied by it, e.g. 1 / (W * H)
};

#endif
