#include "demoEffects.h"

#include "demoRender.h"

#include "hvMaths.h"
#include "hvNoise.h"
#include "vxMosaic.h"
#include "vxShaker.h"
#include "vxShapeMask.h"
#include "vxTexture.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

// The picture as three float textures, so effects sample it with the
// library's bilinear lookup (pixel centres at +0.5, clamped at the edges).
class PictureTextures {
public:
    explicit PictureTextures(const Image& picture) {
        for (int c = 0; c < 3; ++c) {
            channel_[c].reset(new VxTexture<float, float>(picture.width, picture.height));
            VxTexture<float, float>& t = *channel_[c];
            t.MakeData();
            t.SetEdgeMethod(kVxTexEdgeClamp, kVxTexEdgeClamp);
            if (t.data == nullptr) {
                continue;
            }
            for (int y = 0; y < picture.height; ++y) {
                for (int x = 0; x < picture.width; ++x) {
                    t.data[static_cast<size_t>(y) * picture.width + x] =
                        picture.at(x, y)[picture.channels >= 3 ? c : 0];
                }
            }
        }
    }
    bool ok() const { return channel_[0]->data && channel_[1]->data && channel_[2]->data; }
    void sample(float x, float y, float* rgb) const {
        for (int c = 0; c < 3; ++c) {
            rgb[c] = channel_[c]->BiLerpPixel(x, y);
        }
    }

private:
    std::unique_ptr<VxTexture<float, float>> channel_[3];
};

// Where the library's box intervals end on a row: they are found along the
// image segment x = 0 .. 1000 only.
constexpr float kBoxIntervalEnd = 1000.0f;

float clamp01(float v) {
    return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
}

class TestPicture : public RowRender {
    void renderRow(int y, float* out) override {
        const int w = target->width, h = target->height;
        const float cell = static_cast<float>(w > h ? w : h) / 16.0f;
        for (int x = 0; x < w; ++x, out += 3) {
            const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(w);
            const float v = (static_cast<float>(y) + 0.5f) / static_cast<float>(h);
            const int cx = static_cast<int>(static_cast<float>(x) / cell);
            const int cy = static_cast<int>(static_cast<float>(y) / cell);
            const float check = ((cx + cy) & 1) != 0 ? 0.15f : -0.15f;
            float rgb[3] = {u, 0.5f * (u + v), 1.0f - v};
            // Three soft discs over the ramps.
            static const float kDiscs[3][6] = {{0.3f, 0.35f, 0.18f, 1.0f, 0.85f, 0.2f},
                                               {0.68f, 0.4f, 0.14f, 0.1f, 0.7f, 0.95f},
                                               {0.5f, 0.72f, 0.2f, 0.9f, 0.15f, 0.45f}};
            for (const float* d : kDiscs) {
                const float dx = u - d[0], dy = v - d[1];
                const float r = std::sqrt(dx * dx + dy * dy);
                const float a = clamp01((d[2] - r) / (0.25f * d[2]));
                for (int c = 0; c < 3; ++c) {
                    rgb[c] += a * (d[3 + c] - rgb[c]);
                }
            }
            for (int c = 0; c < 3; ++c) {
                out[c] = clamp01(rgb[c] + check * (1.0f - rgb[c]) * rgb[c] * 2.0f);
            }
        }
    }
};

class NoiseRender : public RowRender {
public:
    explicit NoiseRender(const NoiseParams& p)
        : p_(p), noise_(p.seed), inv_(1.0f / HvFractalNoise::iterMax(p.octaves)) {}

private:
    float value(float x, float y) const {
        const float z = p_.z;
        switch (p_.octaves) {
        case 1:
            return noise_.value1(x, y, z, 0.0f);
        case 2:
            return noise_.value2(x, y, z, 0.0f);
        case 3:
            return noise_.value3(x, y, z);
        case 4:
            return noise_.value4(x, y, z);
        case 5:
            return noise_.value5(x, y, z);
        case 6:
            return noise_.value6(x, y, z);
        case 7:
            return noise_.value7(x, y, z);
        default:
            return noise_.value8(x, y, z);
        }
    }
    void renderRow(int y, float* out) override {
        const float fy = (static_cast<float>(y) + 0.5f) / p_.feature;
        for (int x = 0; x < target->width; ++x) {
            out[x] = value((static_cast<float>(x) + 0.5f) / p_.feature, fy) * inv_;
        }
    }

    NoiseParams p_;
    HvFractalNoise noise_;
    float inv_;
};

class MosaicRender : public RowRender {
public:
    MosaicRender(const PictureTextures& picture, const VxTexture<HvVec2, HvVec2>& map,
                 const HvMatrix33& toMap)
        : picture_(picture), map_(map), toMap_(toMap), toPicture_(Invert(toMap)) {}

private:
    void renderRow(int y, float* out) override {
        const int cw = map_.xIndexer.resolution, ch = map_.yIndexer.resolution;
        for (int x = 0; x < target->width; ++x, out += 3) {
            // Which cell of the tiling the pixel falls in, and where in it.
            const HvVec2 q =
                HvVec2(static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f) * toMap_;
            const float cellX = std::floor(q.x / static_cast<float>(cw));
            const float cellY = std::floor(q.y / static_cast<float>(ch));
            int i = static_cast<int>(q.x - cellX * static_cast<float>(cw));
            int j = static_cast<int>(q.y - cellY * static_cast<float>(ch));
            i = i < 0 ? 0 : (i >= cw ? cw - 1 : i);
            j = j < 0 ? 0 : (j >= ch ? ch - 1 : j);
            // The piece's centre, back in picture coordinates, gives its colour.
            const HvVec2 centre = map_.data[static_cast<size_t>(j) * cw + i];
            const HvVec2 c(cellX * static_cast<float>(cw) + centre.x,
                           cellY * static_cast<float>(ch) + centre.y);
            const HvVec2 p = c * toPicture_;
            picture_.sample(p.x, p.y, out);
        }
    }

    const PictureTextures& picture_;
    const VxTexture<HvVec2, HvVec2>& map_;
    HvMatrix33 toMap_, toPicture_;
};

class MaskRender : public RowRender {
public:
    // `vouchedTo`: the image x up to which the mask's row intervals hold.
    MaskRender(VxCanonicalShapeMask& mask, float vouchedTo) : mask_(mask), vouchedTo_(vouchedTo) {}

private:
    void renderRow(int y, float* out) override {
        const int w = target->width;
        const float py = static_cast<float>(y) + 0.5f;
        for (int x = 0; x < w; ++x) {
            out[x] = 0.0f;
        }
        if (!mask_.hasOuter) {
            return;
        }
        HvBox1 outer;
        if (mask_.outerBoundingLine(outer, py)) {
            HvBox1 inner(1.0f, 0.0f);
            if (!mask_.hasInner || !mask_.innerBoundingLine(inner, py)) {
                inner = HvBox1(1.0f, 0.0f);
            }
            const float peak = mask_.maxDensity();
            const int x0 = clampColumn(std::floor(outer.xmin - 0.5f), w);
            const int x1 = clampColumn(std::ceil(outer.xmax + 0.5f), w);
            for (int x = x0; x < x1; ++x) {
                const float px = static_cast<float>(x) + 0.5f;
                // Well inside the core the density is known without evaluating it.
                out[x] = px > inner.xmin + 1.0f && px < inner.xmax - 1.0f
                             ? peak
                             : mask_.density(HvVec2(px, py));
            }
        }
        // Past the intervals' reach only the density itself can tell, within
        // the box that encloses the whole shape.
        const HvBox2& all = mask_.outerBox;
        if (static_cast<float>(w) > vouchedTo_ && py >= all.ymin - 1.0f && py <= all.ymax + 1.0f) {
            const float from = std::max(std::floor(vouchedTo_), std::floor(all.xmin - 0.5f));
            const int x1 = clampColumn(std::ceil(all.xmax + 0.5f), w);
            for (int x = clampColumn(from, w); x < x1; ++x) {
                out[x] = mask_.density(HvVec2(static_cast<float>(x) + 0.5f, py));
            }
        }
    }
    static int clampColumn(float v, int w) {
        return v < 0.0f ? 0 : (v > static_cast<float>(w) ? w : static_cast<int>(v));
    }

    VxCanonicalShapeMask& mask_;
    float vouchedTo_;
};

class ShakeRender : public RowRender {
public:
    ShakeRender(const PictureTextures& picture, const HvMatrix33& toPicture)
        : picture_(picture), toPicture_(toPicture) {}

private:
    void renderRow(int y, float* out) override {
        for (int x = 0; x < target->width; ++x, out += 3) {
            const HvVec2 p =
                HvVec2(static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f) * toPicture_;
            picture_.sample(p.x, p.y, out);
        }
    }

    const PictureTextures& picture_;
    HvMatrix33 toPicture_;
};

float scalarAt(const float* p, int channels) {
    return channels >= 3 ? 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2] : p[0];
}

// Colours a scalar picture through `colourOf(t)`, which must be safe to call
// from every worker at once.
template <class ColourOf>
class ColourMapRender : public RowRender {
public:
    ColourMapRender(const Image& scalar, float lo, float hi, float repeats, ColourOf colourOf)
        : scalar_(scalar), lo_(lo), scale_(repeats / (hi - lo)), colourOf_(colourOf) {}

private:
    void renderRow(int y, float* out) override {
        const float* in = scalar_.row(y);
        for (int x = 0; x < target->width; ++x, out += 4, in += scalar_.channels) {
            const VxRGBAf c = colourOf_((scalarAt(in, scalar_.channels) - lo_) * scale_);
            out[0] = c.r;
            out[1] = c.g;
            out[2] = c.b;
            out[3] = c.a;
        }
    }

    const Image& scalar_;
    float lo_, scale_;
    ColourOf colourOf_;
};

template <class ColourOf>
bool renderColourMap(Image& out, const Image& scalar, float lo, float hi, float repeats,
                     ColourOf colourOf, const std::string& label) {
    if (scalar.width < 1 || scalar.height < 1 || !(hi != lo)) {
        return false;
    }
    out = Image(scalar.width, scalar.height, 4);
    ColourMapRender<ColourOf> effect(scalar, lo, hi, repeats, colourOf);
    return effect.render(out, label);
}

bool testPictureOk(const Image& picture) {
    return picture.width > 0 && picture.height > 0 && picture.channels >= 3;
}

} // namespace

bool renderTestPicture(Image& out, int width, int height) {
    out = Image(width, height, 3);
    TestPicture effect;
    return effect.render(out, "test picture");
}

bool renderNoise(Image& out, int width, int height, const NoiseParams& p,
                 const std::string& label) {
    out = Image(width, height, 1);
    NoiseRender effect(p);
    return effect.render(out, label);
}

int mosaicMapCount() {
    return 5;
}

const char* mosaicMapName(int map) {
    static VxMosaicMapSet set("");
    return set.getName(map);
}

bool renderMosaic(Image& out, const Image& picture, const MosaicParams& p,
                  const std::string& label) {
    if (!testPictureOk(picture)) {
        return false;
    }
    using MapMaker = VxTexture<HvVec2, HvVec2>* (*)(int, int);
    static const MapMaker kMakers[] = {VxMosaicSquares, VxMosaicCircles, VxMosaicTriangles,
                                       VxMosaicOctagons, VxMosaicPolish};
    if (p.map < 0 || p.map >= mosaicMapCount() || p.cell < 2) {
        return false;
    }
    std::unique_ptr<VxTexture<HvVec2, HvVec2>> map(kMakers[p.map](p.cell, p.cell));
    PictureTextures textures(picture);
    if (!map || !textures.ok()) {
        return false;
    }
    const HvVec2 centre(0.5f * static_cast<float>(picture.width),
                        0.5f * static_cast<float>(picture.height));
    const HvMatrix33 toMap =
        VxMosaicMakeXfm(centre, HvVec2(0, 0), HvVec2(1, 1), HvVec2(0, 0), p.angle);
    out = Image(picture.width, picture.height, 3);
    MosaicRender effect(textures, *map, toMap);
    return effect.render(out, label);
}

bool renderMask(Image& out, int width, int height, const MaskParams& p, const std::string& label) {
    VxShapeMaskCircle circle;
    VxShapeMaskBox box;
    VxCanonicalShapeMask& mask = p.box ? static_cast<VxCanonicalShapeMask&>(box) : circle;
    const float w = static_cast<float>(width);
    mask.setCentre(0.5f * w, 0.5f * static_cast<float>(height));
    mask.setSize(p.sizeX * w, p.sizeY * w);
    mask.setSoftness(p.softness);
    mask.setRotation(p.rotation);
    mask.setup();
    out = Image(width, height, 1);
    // The box's row intervals come from the fixed segment x = 0 .. 1000 of
    // each row; the circle's reach any x.
    MaskRender effect(mask, p.box ? kBoxIntervalEnd : HUGE_VALF);
    return effect.render(out, label);
}

bool renderShakeFrame(Image& out, const Image& picture, int frame, const ShakeParams& p,
                      const std::string& label) {
    if (!testPictureOk(picture)) {
        return false;
    }
    PictureTextures textures(picture);
    if (!textures.ok()) {
        return false;
    }
    HvGNoise noise(p.seed);
    VxShaker shaker(noise);
    const float w = static_cast<float>(picture.width);
    shaker.translateAmplitudeX = p.amplitude * w;
    shaker.translateAmplitudeY = p.amplitude * w;
    shaker.rotateAmplitude = p.rotate;
    shaker.scaleAmplitude = p.scale;
    shaker.rate = p.rate;
    shaker.translateOctavesX = shaker.translateOctavesY = 3;
    shaker.rotateOctaves = shaker.scaleOctaves = 3;
    const HvMatrix33 shake = shaker.shake2D(static_cast<float>(frame) / p.fps);
    // Shaken about the picture's centre: the output pixel's source is found
    // through the inverse of centre -> shake -> back.
    const float cx = 0.5f * w, cy = 0.5f * static_cast<float>(picture.height);
    HvMatrix33 toScreen;
    toScreen.Translate(-cx, -cy);
    toScreen = toScreen * shake;
    toScreen.Translate(cx, cy);
    out = Image(picture.width, picture.height, 3);
    ShakeRender effect(textures, Invert(toScreen));
    return effect.render(out, label);
}

VxColourGrade sampleGrade() {
    VxColourGrade grade;
    // The two keys of a new grade are its ends.
    grade.changeColour(grade.slotAt(0), VxRGBAf(0.0f, 0.0f, 0.0f, 1.0f));
    grade.changeColour(grade.slotAt(1), VxRGBAf(1.0f, 1.0f, 1.0f, 1.0f));
    grade.addColour(VxRGBAf(0.05f, 0.1f, 0.45f, 1.0f), 0.2f);
    grade.addColour(VxRGBAf(0.1f, 0.55f, 0.55f, 1.0f), 0.4f);
    grade.addColour(VxRGBAf(0.85f, 0.75f, 0.5f, 1.0f), 0.7f);
    grade.prepare();
    return grade;
}

VxGradDescription<VxRGBAf> sampleGradient() {
    VxGradDescription<VxRGBAf> gradient(VxRGBAf(0.9f, 0.2f, 0.2f, 1.0f),
                                        VxRGBAf(0.9f, 0.2f, 0.2f, 1.0f));
    gradient.insertNode(gradient.findFreeID(), VxRGBAf(0.95f, 0.8f, 0.2f, 1.0f), 0.25f);
    gradient.insertNode(gradient.findFreeID(), VxRGBAf(0.2f, 0.7f, 0.4f, 1.0f), 0.5f);
    gradient.insertNode(gradient.findFreeID(), VxRGBAf(0.2f, 0.3f, 0.85f, 1.0f), 0.75f);
    gradient.cyclic(1);
    return gradient;
}

bool renderGradeMap(Image& out, const Image& scalar, VxColourGrade& grade, float lo, float hi,
                    const std::string& label) {
    // After prepare() colour() only reads the grade, so workers share it.
    grade.prepare();
    auto colourOf = [&grade](float t) { return grade.colour(t); };
    return renderColourMap(out, scalar, lo, hi, 1.0f, colourOf, label);
}

bool renderGradientMap(Image& out, const Image& scalar, VxGradDescription<VxRGBAf>& gradient,
                       float lo, float hi, float repeats, const std::string& label) {
    // Sorted once here; evaluate then only reads.
    gradient.sortPositions();
    auto colourOf = [&gradient](float t) { return gradient.evaluate(t); };
    return renderColourMap(out, scalar, lo, hi, repeats, colourOf, label);
}
