#include "demoMaths.h"

#include "demoEffects.h"
#include "demoRender.h"
#include "demoSignals.h"

#include "fftConvolve.h"

#include "vxPois3d.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>
#include <vector>

namespace {

float channelOf(const Image& image, int x, int y, int c) {
    return image.at(x, y)[image.channels >= 3 ? c : 0];
}

// Three planar channels interleaved into an RGB picture.
class PlanesRender : public RowRender {
public:
    explicit PlanesRender(const std::vector<float>* planes) : planes_(planes) {}

private:
    void renderRow(int y, float* out) override {
        const size_t w = static_cast<size_t>(target->width);
        for (size_t x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                out[x * 3 + c] = planes_[c][static_cast<size_t>(y) * w + x];
            }
        }
    }
    const std::vector<float>* planes_;
};

// The right-hand side of the paste, one pixel of the box per pixel of the
// picture rendered: the mixed Laplacian, less the known boundary values that
// the solver's zero Dirichlet condition leaves out.
class PasteRhsRender : public RowRender {
public:
    PasteRhsRender(const Image& targetPicture, const Image& source, const PasteGeometry& g)
        : picture_(targetPicture), source_(source), g_(g) {}

private:
    void renderRow(int j, float* out) override {
        const int y = g_.y0 + j;
        for (int x = g_.x0; x < g_.x1; ++x, out += 3) {
            const Image& s = g_.inDisc(x, y) ? source_ : picture_;
            for (int c = 0; c < 3; ++c) {
                float v = channelOf(s, x - 1, y, c) + channelOf(s, x + 1, y, c) +
                          channelOf(s, x, y - 1, c) + channelOf(s, x, y + 1, c) -
                          4.0f * channelOf(s, x, y, c);
                if (x == g_.x0) {
                    v -= channelOf(picture_, x - 1, y, c);
                }
                if (x == g_.x1 - 1) {
                    v -= channelOf(picture_, x + 1, y, c);
                }
                if (y == g_.y0) {
                    v -= channelOf(picture_, x, y - 1, c);
                }
                if (y == g_.y1 - 1) {
                    v -= channelOf(picture_, x, y + 1, c);
                }
                out[c] = v;
            }
        }
    }
    const Image& picture_;
    const Image& source_;
    const PasteGeometry& g_;
};

// The target with the box replaced by the solution (planes in POIS3D's
// Fortran order, L x M x 3).
class PasteCompositeRender : public RowRender {
public:
    PasteCompositeRender(const Image& targetPicture, const std::vector<float>& solution,
                         const PasteGeometry& g, bool solved)
        : picture_(targetPicture), solution_(solution), g_(g), solved_(solved) {}

private:
    void renderRow(int y, float* out) override {
        const size_t l = static_cast<size_t>(g_.x1 - g_.x0), m = static_cast<size_t>(g_.y1 - g_.y0);
        const bool inBox = solved_ && y >= g_.y0 && y < g_.y1;
        for (int x = 0; x < target->width; ++x, out += 3) {
            for (int c = 0; c < 3; ++c) {
                out[c] =
                    inBox && x >= g_.x0 && x < g_.x1
                        ? solution_[(static_cast<size_t>(c) * m + static_cast<size_t>(y - g_.y0)) *
                                        l +
                                    static_cast<size_t>(x - g_.x0)]
                        : channelOf(picture_, x, y, c);
            }
        }
    }
    const Image& picture_;
    const std::vector<float>& solution_;
    const PasteGeometry& g_;
    bool solved_;
};

} // namespace

bool renderConvolved(Image& out, const Image& picture, const ConvolveParams& p,
                     const std::string& label) {
    const int w = picture.width, h = picture.height;
    const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h);
    const std::vector<float> kernel = SoftDiscKernel(w, h, p.radius, p.softness);
    std::vector<float> planes[3];
    std::vector<float> channel(n);
    for (int c = 0; c < 3; ++c) {
        // The transforms cannot be stopped part way; a channel is the step.
        if (interruptRequested()) {
            return false;
        }
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                channel[static_cast<size_t>(y) * w + x] = channelOf(picture, x, y, c);
            }
        }
        if (!FftConvolve(channel, kernel, w, h, planes[c])) {
            return false;
        }
    }
    out = Image(w, h, 3);
    PlanesRender interleave(planes);
    return interleave.render(out, label);
}

bool PasteGeometry::inDisc(int x, int y) const {
    const float dx = static_cast<float>(x) + 0.5f - centreX;
    const float dy = static_cast<float>(y) + 0.5f - centreY;
    return dx * dx + dy * dy < radius * radius;
}

PasteGeometry pasteGeometry(int width, int height, float radius) {
    PasteGeometry g;
    g.centreX = 0.5f * static_cast<float>(width);
    g.centreY = 0.5f * static_cast<float>(height);
    g.radius = radius * static_cast<float>(width);
    const float reach = g.radius + std::max(2.0f, std::ceil(0.5f * g.radius));
    // Compared as floats first: a large radius must not overflow an int.
    const auto lo = [](float v) { return v < 1.0f ? 1 : static_cast<int>(std::floor(v)); };
    const auto hi = [](float v, int side) {
        return v > static_cast<float>(side - 1) ? side - 1 : static_cast<int>(std::ceil(v));
    };
    g.x0 = lo(g.centreX - reach);
    g.x1 = hi(g.centreX + reach, width);
    g.y0 = lo(g.centreY - reach);
    g.y1 = hi(g.centreY + reach, height);
    return g;
}

bool renderPasteSource(Image& out, int width, int height) {
    NoiseParams p;
    p.octaves = 8;
    p.feature = static_cast<float>(width) / 4.0f;
    Image noise;
    VxColourGrade grade = sampleGrade();
    return renderNoise(noise, width, height, p, "paste source") &&
           renderGradeMap(out, noise, grade, -0.6f, 0.6f, "paste source, graded");
}

bool renderPaste(Image& out, const Image& target, const Image& source, float radius,
                 const std::string& label) {
    const PasteGeometry g = pasteGeometry(target.width, target.height, radius);
    std::vector<float> f;
    bool solved = false;
    if (g.solvable()) {
        int l = g.x1 - g.x0, m = g.y1 - g.y0, n = 3;
        Image rhs(l, m, 3);
        PasteRhsRender assemble(target, source, g);
        if (!assemble.render(rhs, label + ", right-hand side")) {
            return false;
        }
        f.resize(rhs.pixels.size());
        for (int c = 0; c < n; ++c) {
            for (int j = 0; j < m; ++j) {
                for (int i = 0; i < l; ++i) {
                    f[(static_cast<size_t>(c) * m + j) * l + i] = rhs.at(i, j)[c];
                }
            }
        }
        // Zero Dirichlet values on the four sides (the real ones are in the
        // right-hand side already); along the channel axis a tridiagonal
        // system with A = B = C = 0, so each plane is solved on its own.
        int dirichlet = 1, general = 1, ierror = 0;
        float unit = 1.0f;
        const float none[3] = {0.0f, 0.0f, 0.0f};
        std::vector<float> w(static_cast<size_t>(30 + l + m + 2 * n + std::max(std::max(l, m), n) +
                                                 7 * ((l + 1) / 2 + (m + 1) / 2)));
        vxPois3d(&dirichlet, &l, &unit, &dirichlet, &m, &unit, &general, &n, none, none, none, &l,
                 &m, f.data(), &ierror, w.data());
        // A one-off size: its plans and workspace are not worth keeping.
        vxPois3dRelease();
        // With these arguments only the solver's own workspace can fail it
        // (code 11); any other code would be a fault here, named as such.
        if (ierror == 11) {
            throw std::bad_alloc();
        }
        if (ierror != 0) {
            std::fprintf(stderr, "vxdemo: the Poisson solver refused its arguments (error %d)\n",
                         ierror);
            return false;
        }
        solved = true;
    }
    out = Image(target.width, target.height, 3);
    PasteCompositeRender composite(target, f, g, solved);
    return composite.render(out, label);
}
