// vxMosaic.cpp - the built-in mosaic map generators, the map set and the
// placement transform.
//
// The patterns are defined by their comparisons on integer texel indices, so
// the generators write them out literally; the fractions of the cell size are
// formed in double and rounded once, so a map is the same on every machine.
#include "vxMosaic.h"

#include "vxString.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

inline HvVec2 Centre(double x, double y) {
    return HvVec2(static_cast<float>(x), static_cast<float>(y));
}

// A new w x h map whose texel (x, y) holds centreOf(x, y, W, H), W and H being
// w and h as numbers. Texels are visited column by column, as the patterns
// were first written, though each depends on its own indices only.
template <class CentreOf>
VxMosaicMap* MakeMap(const char* what, int w, int h, CentreOf centreOf) {
    if (w <= 0 || h <= 0) {
        std::fprintf(stderr, "Veltrix Error : %s asked for a %d x %d map. No map made.\n", what, w,
                     h);
        return nullptr;
    }
    VxMosaicMap* map = new (std::nothrow) VxMosaicMap(w, h);
    if (map != nullptr)
        map->MakeData();
    if (map == nullptr || map->data == nullptr) {
        std::fprintf(stderr,
                     "Veltrix Error : %s could not get memory for a %d x %d map. No map made.\n",
                     what, w, h);
        delete map;
        return nullptr;
    }
    // One cell of a repeating pattern: lookups beyond it wrap into it.
    map->SetEdgeMethod(kVxTexEdgeWrap, kVxTexEdgeWrap);
    const double W = w, H = h;
    HvVec2* const data = map->data;
    for (int x = 0; x < w; ++x)
        for (int y = 0; y < h; ++y)
            data[static_cast<std::size_t>(y) * static_cast<std::size_t>(w) +
                 static_cast<std::size_t>(x)] = centreOf(x, y, W, H);
    return map;
}

} // namespace

VxMosaicMap* VxMosaicSquares(int w, int h) {
    return MakeMap("VxMosaicSquares", w, h, [](int x, int y, double W, double H) {
        return Centre(std::floor(x / W) * W + 0.5 * W, std::floor(y / H) * H + 0.5 * H);
    });
}

VxMosaicMap* VxMosaicCircles(int w, int h) {
    return MakeMap("VxMosaicCircles", w, h, [](int x, int y, double W, double H) {
        // The disc is round in texels: its radius comes from the width alone.
        const double r = 0.5 * W;
        const double dx = x - r, dy = y - r;
        if (std::sqrt(dx * dx + dy * dy) < r)
            return Centre(r, r);
        return Centre(x < r ? 0.0 : W, y < r ? 0.0 : H);
    });
}

VxMosaicMap* VxMosaicTriangles(int w, int h) {
    return MakeMap("VxMosaicTriangles", w, h, [w](int x, int y, double W, double H) {
        // Integer comparisons, so the slanted edges fall on exact texels; in
        // 64 bits, so that no width can overflow them.
        const long long X = x, Y = y;
        if (Y > 2 * X)
            return Centre(0.0, 0.6 * H);
        if (Y > 2 * (w - X))
            return Centre(W, 0.6 * H);
        return Centre(0.5 * W, 0.4 * H);
    });
}

VxMosaicMap* VxMosaicOctagons(int w, int h) {
    return MakeMap("VxMosaicOctagons", w, h, [](int x, int y, double W, double H) {
        // The thresholds are the pattern's own, decimals and all: changing
        // them would move the corner pieces by a texel in existing renders.
        const double X = x, Y = y;
        if (Y > 0.666 * W + X && X < 0.5 * W)
            return Centre(0.0, H);
        if (Y > 1.66666 * W - X && X > 0.5 * W)
            return Centre(W, H);
        if (X - 0.66666 * W > Y && X > 0.5 * W)
            return Centre(W, 0.0);
        if (0.33333 * W - X > Y && X < 0.5 * W)
            return Centre(0.0, 0.0);
        return Centre(0.5 * W, 0.5 * H);
    });
}

VxMosaicMap* VxMosaicPolish(int w, int h) {
    return MakeMap("VxMosaicPolish", w, h, [w](int x, int y, double W, double H) {
        const bool right = x > 0.5 * W;
        const int m = right ? w - x : x;
        if (y < m)
            return Centre(0.5 * W, 0.25 * H);
        return right ? Centre(0.75 * W, 0.75 * H) : Centre(0.25 * W, 0.75 * H);
    });
}

HvMatrix33 VxMosaicMakeXfm(HvVec2 centre, HvVec2 offset, HvVec2 scale, HvVec2 shear, float angle) {
    // A zero scale would collapse the picture onto one map texel and leave no
    // inverse; hold it at a tiny scale of the same sign instead.
    constexpr float kMinScale = 1e-6f;
    for (int i = 0; i < 2; ++i)
        if (std::fabs(scale[i]) < kMinScale)
            scale[i] = scale[i] < 0.0f ? -kMinScale : kMinScale;
    HvMatrix33 m;
    m.Translate(-centre.x, -centre.y);
    m.Scale(scale.x, scale.y);
    m.Shear(shear.x, shear.y);
    m.Rotate(angle);
    m.Translate(centre.x + offset.x, centre.y + offset.y);
    return m;
}

// ---------------------------------------------------------------------------
// VxMosaicMapSet
// ---------------------------------------------------------------------------

VxMosaicMapSet::VxMosaicMapSet(char const* dir)
    : nUserMaps(0), userMapNames(nullptr), mapDir(VxStringDuplicate(dir != nullptr ? dir : "")) {}

VxMosaicMapSet::~VxMosaicMapSet() {
    if (userMapNames != nullptr) {
        for (int i = 0; i < nUserMaps; ++i)
            delete[] userMapNames[i];
        delete[] userMapNames;
    }
    delete[] mapDir;
}

char const* VxMosaicMapSet::getName(int n) const {
    // "Thingy" is the name users have always seen for the Polish pattern.
    static const char* const kNames[kBuiltInMaps] = {"Squares", "Circles", "Triangles", "Octagons",
                                                     "Thingy"};
    if (n < 0)
        return nullptr;
    if (n < kBuiltInMaps)
        return kNames[n];
    const int user = n - kBuiltInMaps;
    if (userMapNames == nullptr || user >= nUserMaps)
        return nullptr;
    return userMapNames[user];
}

VxMosaicMap* VxMosaicMapSet::makeMap(int n) const {
    switch (n) {
    case 0:
        return VxMosaicSquares(kMapSize, kMapSize);
    case 1:
        return VxMosaicCircles(kMapSize, kMapSize);
    case 2:
        return VxMosaicTriangles(kMapSize, kMapSize);
    case 3:
        return VxMosaicOctagons(kMapSize, kMapSize);
    case 4:
        return VxMosaicPolish(kMapSize, kMapSize);
    default:
        return nullptr;
    }
}

char* VxMosaicMapSet::SetPath(char* dest, char const* name, char const* ext) const {
    if (dest == nullptr)
        return nullptr;
    const char* const parts[4] = {mapDir != nullptr ? mapDir : "", "/", name != nullptr ? name : "",
                                  ext != nullptr ? ext : ""};
    char* out = dest;
    for (const char* part : parts) {
        const std::size_t n = std::strlen(part);
        std::memmove(out, part, n);
        out += n;
    }
    *out = '\0';
    return dest;
}

int VxMosaicMapSet::VxMosaicFile(char* /*name*/) const {
    return 0;
}

char const* VxMosaicMapSet::defaultDir() {
    return "";
}
