#include "vxGLTestContext.h"

#include <GL/gl.h>

#include <cstddef>

VxGLTestContext::VxGLTestContext() : buffer_(std::size_t(kSize) * kSize * 4) {
    const int attributes[] = {OSMESA_FORMAT,
                              OSMESA_RGBA,
                              OSMESA_DEPTH_BITS,
                              0,
                              OSMESA_STENCIL_BITS,
                              0,
                              OSMESA_PROFILE,
                              OSMESA_COMPAT_PROFILE,
                              0};
    context_ = OSMesaCreateContextAttribs(attributes, nullptr);
    if (!context_ || !OSMesaMakeCurrent(context_, buffer_.data(), GL_UNSIGNED_BYTE, kSize, kSize)) {
        if (context_)
            OSMesaDestroyContext(context_);
        context_ = nullptr;
        return;
    }
    glViewport(0, 0, kSize, kSize);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, kSize, 0, kSize, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    // Exact pixel results: no dithering, smoothing or blending.
    glDisable(GL_DITHER);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    clear();
}

VxGLTestContext::~VxGLTestContext() {
    if (context_) {
        OSMesaMakeCurrent(nullptr, nullptr, 0, 0, 0);
        OSMesaDestroyContext(context_);
    }
}

void VxGLTestContext::clear() {
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
}

std::array<int, 3> VxGLTestContext::pixel(int x, int y) const {
    unsigned char p[4] = {0, 0, 0, 0};
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p);
    return {p[0], p[1], p[2]};
}

int VxGLTestContext::litCount() const {
    std::vector<unsigned char> all(std::size_t(kSize) * kSize * 4);
    glFinish();
    glReadPixels(0, 0, kSize, kSize, GL_RGBA, GL_UNSIGNED_BYTE, all.data());
    int n = 0;
    for (std::size_t i = 0; i < all.size(); i += 4)
        n += (all[i] | all[i + 1] | all[i + 2]) != 0;
    return n;
}
