// The spectral multiply of an FFT convolution, split by rows over the workers.
#include "vxFourierConvolvePass.h"

#include "vxMultiProcessor.h"

#include <cstddef>

namespace {

// The frame's interruption test, as the workers may make it all at once: the
// latch is read and set atomically, and only ever set to non-zero, so that a
// worker whose check said "go on" can never clear another worker's latch.
bool interruptedNow(VxInterruptCheck* ic) {
    if (ic == nullptr)
        return false;
    if (__atomic_load_n(&ic->interrupted, __ATOMIC_RELAXED) != 0)
        return true;
    if (ic->check == nullptr)
        return false;
    const int answer = ic->check(ic->userData, &ic->checkValue);
    if (answer == 0)
        return false;
    __atomic_store_n(&ic->interrupted, answer, __ATOMIC_RELAXED);
    return true;
}

// One row as planes of floats (re, im interleaved), so that the compiler sees
// a plain loop it can vectorise. The product is rounded to float before the
// scale multiplies it.
void multiplyRow(float* a, const float* b, int count, float scale) {
    for (int i = 0; i < count; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        const float re = ar * br - ai * bi;
        const float im = ar * bi + ai * br;
        a[2 * i] = re * scale;
        a[2 * i + 1] = im * scale;
    }
}

} // namespace

void VxFourierConvolvePass::convolvePass(VxTexture<VxComplex<float>, VxComplex<float>>& a,
                                         VxTexture<VxComplex<float>, VxComplex<float>>& b,
                                         VxImgProc& frame) {
    const int width = b.xIndexer.resolution;
    const int height = b.yIndexer.resolution;
    if (a.xIndexer.resolution != width || a.yIndexer.resolution != height)
        return;
    if (width <= 0 || height <= 0 || a.data == nullptr || b.data == nullptr)
        return;

    int y0 = 0, y1 = 0;
    range(height, y0, y1);
    const int half = width / 2 + 1;
    const float s = scale;
    for (int y = y0; y < y1; ++y) {
        if (interruptedNow(frame.interruptCheck))
            return;
        const std::size_t row = static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
        // VxComplex<float> is two floats, re then im, with nothing between.
        multiplyRow(reinterpret_cast<float*>(a.data + row),
                    reinterpret_cast<const float*>(b.data + row), half, s);
    }
}
