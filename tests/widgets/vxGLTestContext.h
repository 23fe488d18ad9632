// An off-screen OpenGL context for drawing tests: Mesa's OSMesa renderer into
// a small RGBA buffer, with a projection of one unit per pixel (origin at the
// lower-left pixel's corner, y up), so that drawn coordinates are pixels.
#ifndef VX_GL_TEST_CONTEXT_H
#define VX_GL_TEST_CONTEXT_H

#include <GL/osmesa.h>

#include <array>
#include <vector>

class VxGLTestContext {
public:
    static constexpr int kSize = 256;

    // Creates the context, makes it current, clears to black and sets the
    // pixel projection. ok() is false when OSMesa refuses.
    VxGLTestContext();
    ~VxGLTestContext();
    VxGLTestContext(const VxGLTestContext&) = delete;
    VxGLTestContext& operator=(const VxGLTestContext&) = delete;

    bool ok() const { return context_ != nullptr; }
    void clear();
    // The pixel at (x, y) as 8-bit r, g, b, read back with glReadPixels.
    std::array<int, 3> pixel(int x, int y) const;
    // Pixels whose red, green or blue is not 0.
    int litCount() const;

private:
    OSMesaContext context_ = nullptr;
    std::vector<unsigned char> buffer_;
};

#endif
