// vxTexture.h - typed images: VxTexture<T, U> and the mip-mapped VxMipTex.
//
// A texture is a two-dimensional pixel buffer that knows its geometry through
// its indexers (vxTexIndexer.h: resolution, crop, edge method and offset per
// axis) and follows the managed heap through its notifier (vxTexNotifier.h).
// T is the stored pixel type and U the type sampling returns. The library
// builds three kinds (declared extern below, so plug-ins use the library's
// code): VxTexture<float, float>, VxTexture<HvVec2, HvVec2> and
// VxTexture<VxComplex<float>, VxComplex<float> >.
//
// Pixel layout
//   data[y * width + x]: row after row, x fastest, width = xIndexer.resolution
//   and height = yIndexer.resolution; no padding between rows.
//
// Coordinates
//   Pixel (i, j) is the square [i, i + 1) x [j, j + 1) of pixel-index space,
//   its centre at (i + 0.5, j + 0.5). The samplers take image coordinates:
//       pixel-index position = image coordinate - offsetF   (per axis)
//   so with no offset the centre of pixel 0 is at image coordinate 0.5.
//   Outside the crop the edge method of each axis decides which pixel is read;
//   where it gives none (edge none, or any value other than 0 to 3) the
//   default pixel (SetDefaultPixel, initially zero) stands in.
//
// Ownership
//   ownsData = 1: the buffer came from MakeData (VxImgAlloc) and the texture
//   frees it (VxImgFree). ownsData = 0: a view of someone else's buffer (the
//   constructor's buffer, setTextureFrom) that the texture never frees. Views
//   must not outlive the buffer they look at. Textures are not copyable.
//
// Heap
//   Every texture is registered with the heap (vxHeap.h) for its life. When
//   the heap is released, a texture whose buffer lives in it is moved by
//   Reallocate: the pixels go to a fresh system buffer that the texture no
//   longer owns, and an owned old buffer is freed with FreeImage, which zeroes
//   both resolutions. Both are deliberate: the pixels stay at `data` for the
//   code that cached the texture, which takes the buffer over (free it with
//   VxImgFree) and sets the geometry again. A view of a heap buffer does not
//   follow its owner: make views of cached images after the heap is gone.
//
// Threading
//   Separate textures may be made and destroyed in any number of threads at
//   once: their heap registration is locked (vxTexNotifier.h). One texture
//   is built, resized, cropped and given its mip chain by one thread at a
//   time; a texture that is to follow the heap is made outside a processor
//   fork (registration is skipped inside one). The samplers are const, touch
//   no shared state and may be called by every worker at once. Nothing here
//   throws; failures are reported on stderr by the non-sampling calls only.
#ifndef VX_TEXTURE_H
#define VX_TEXTURE_H

#include "hvMaths.h"
#include "vxComplex.h"
#include "vxExport.h"
#include "vxHeap.h"
#include "vxTexIndexer.h"
#include "vxTexNotifier.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

// How sampling sees a pixel type: kComponents consecutive floats.
template <class T>
struct VxPixelTraits;
template <>
struct VxPixelTraits<float> {
    static constexpr int kComponents = 1;
};
template <>
struct VxPixelTraits<HvVec2> {
    static constexpr int kComponents = 2;
};
template <>
struct VxPixelTraits<VxComplex<float>> {
    static constexpr int kComponents = 2;
};

// The pixels one axis of an area covers: buffer index and the length of the
// area over it (repeats summed), plus the length where the axis has no pixel.
struct VxAreaWeights {
    std::vector<std::pair<int, double>> cells;
    double missing = 0.0;
};

// Fills w for the interval [lo, hi] of pixel-index positions (lo <= hi, both
// finite) on one axis: each pixel gets the length of the interval over it,
// the edge method mapping positions outside the crop (an edge value outside
// 0 to 3 counts as none). lo == hi is a point: its pixel gets weight 1.
VX_API void VxAreaAxisWeights(const Vx1DTexIndexer& axis, double lo, double hi, VxAreaWeights& w);

template <class T, class U>
class VX_API VxTexture : public VxTexIndexer, public VxTexNotifier {
public:
    // An empty texture: 0 x 0, no buffer.
    VxTexture();
    // width x height pixels over `buffer` (not owned; may be null), full crop,
    // edge none on both axes. Call MakeData() for a buffer of its own.
    VxTexture(int width, int height, T* buffer = nullptr);
    VxTexture(const VxTexture&) = delete;
    VxTexture& operator=(const VxTexture&) = delete;
    // Frees an owned buffer and the auxiliary buffers.
    ~VxTexture() override;

    // A buffer of width x height pixels, all zero, owned. An owned old buffer
    // is freed first; allocFailed is cleared and ownsData set. A zero
    // resolution leaves data null. A negative resolution, a byte size beyond
    // the allocator's int argument, or an allocation failure leave data null,
    // set allocFailed and report on stderr; nothing is allocated.
    void MakeData();

    // Frees an owned buffer (VxImgFree) and the auxiliary buffers, leaves
    // data null and nothing owned, sets both resolutions to 0 and calls
    // SetCrop(0, 0, 0, 0).
    void FreeImage();

    // For the heap hand-back (see the file comment): returns 0 without data,
    // with a zero resolution or when no new buffer can be had; otherwise copies
    // the pixels into a fresh VxImgAlloc buffer, calls FreeImage() if the old
    // buffer was owned (resolutions become 0, deliberately), points data at the
    // copy, not owned, and returns 1.
    int Reallocate() override;
    // The pixel buffer.
    void* GetVoidData() const override;

    // This texture becomes a view of src: FreeImage(), then src's buffer (not
    // owned), src's two indexers field by field and SetDefaultPixel(src's
    // default pixel). Nothing happens when src is this texture. When src
    // already looks at this texture's own buffer, that buffer is kept, and
    // stays owned, rather than freed under both.
    virtual void setTextureFrom(const VxTexture<T, U>& src);
    // The pixel read where an axis has no pixel.
    virtual void SetDefaultPixel(T value);

    // The mean of the image over the rectangle with corners (x0, y0) and
    // (x1, y1), in image coordinates, in either order: every pixel weighted
    // by the part of the rectangle it covers, the edge methods supplying the
    // pixels outside the crop and the default pixel where there are none.
    // The sum is taken in double precision, so the result is the exact mean
    // (to float rounding) of the pixels covered. A rectangle of zero width or
    // height is the limit: the pixels on its line, or the one pixel under a
    // point. A NaN or infinite corner, or an image without pixels, gives the
    // default pixel. Cost: the number of pixels covered, at most about the
    // crop's size per axis (wrap and mirror repeat, clamp and none are summed
    // in bulk outside the crop).
    virtual U AreaSample(float x0, float y0, float x1, float y1) const;
    // The same over the rectangle centred at (x, y) of width |dx| and height
    // |dy| (a footprint: the source extent of one destination pixel).
    virtual U AreaSampleDelta(float x, float y, float dx, float dy) const;

    // Bilinear sample at image position (x, y): per axis the pixel-index
    // position minus 0.5 gives the base pixel and the fraction, the pixel pair
    // comes from GetLerpIndicies (edge method) and the four pixels are blended
    // by the two fractions; a missing pixel reads as the default pixel. A NaN
    // position gives the default pixel.
    U BiLerpPixel(float x, float y) const;
    // The same sample confined to the pixels xLo .. xHi, yLo .. yHi (inclusive
    // pixel indices, in either order, intersected with the buffer): indices
    // outside are clamped into those bounds and the edge methods and crop are
    // not consulted - for callers that already know the region they may read
    // (a processing window, a tile). Bounds that miss the buffer give the
    // default pixel.
    U BiLerpPixel(float x, float y, int xLo, int yLo, int xHi, int yHi) const;

    // The mean of the pixels named by two sets of axis weights (see
    // VxAreaAxisWeights), the part without pixels reading the default pixel.
    // Indices must be inside the buffer.
    U WeightedMean(const VxAreaWeights& wx, const VxAreaWeights& wy) const;

    int ownsData;    // 1: the texture allocated the buffer and frees it
    T* data;         // the pixels, row after row, x fastest
    int allocFailed; // 1: the last MakeData could not get a buffer
    T defaultPixel;  // read where an axis has no pixel
    // Auxiliary buffers of the area samplers, from malloc, freed with free
    // when auxCount is positive. Mip levels hold the bounds of their pixels'
    // footprints in the top image here (see VxMipTex); a plain texture has none.
    int* auxBuffers[2];
    int auxCount;

protected:
    // The pixel at in-buffer indices, or the default pixel for -1.
    T PixelAt(int i, int j) const;
    void ReleaseAuxBuffers();
};

// ---------------------------------------------------------------------------
// Implementation. The three library kinds are compiled into the library
// (without fused multiply-add, so every build samples alike); other pixel
// types are instantiated here in the plug-in.
// ---------------------------------------------------------------------------

template <class T, class U>
VxTexture<T, U>::VxTexture()
    : ownsData(0), data(nullptr), allocFailed(0), defaultPixel(), auxBuffers{nullptr, nullptr},
      auxCount(0) {}

template <class T, class U>
VxTexture<T, U>::VxTexture(int width, int height, T* buffer)
    : VxTexIndexer(width, height), ownsData(0), data(buffer), allocFailed(0),
      defaultPixel(), auxBuffers{nullptr, nullptr}, auxCount(0) {}

template <class T, class U>
VxTexture<T, U>::~VxTexture() {
    // Off the heap's list before the buffer goes, so that a release running
    // in another thread never moves pixels being freed.
    Unregister();
    if (ownsData != 0)
        VxImgFree(data);
    ReleaseAuxBuffers();
}

template <class T, class U>
void VxTexture<T, U>::ReleaseAuxBuffers() {
    if (auxCount > 0) {
        std::free(auxBuffers[0]);
        std::free(auxBuffers[1]);
    }
    auxBuffers[0] = auxBuffers[1] = nullptr;
    auxCount = 0;
}

template <class T, class U>
void VxTexture<T, U>::MakeData() {
    if (ownsData != 0)
        VxImgFree(data);
    data = nullptr;
    allocFailed = 0;
    ownsData = 1;
    const int w = xIndexer.resolution, h = yIndexer.resolution;
    const long long bytes = static_cast<long long>(w) * h * static_cast<long long>(sizeof(T));
    if (w < 0 || h < 0 || bytes > INT_MAX) {
        std::fprintf(stderr,
                     "Veltrix Error : VxTexture::MakeData of %d x %d pixels does not fit an image "
                     "buffer. No buffer allocated.\n",
                     w, h);
        allocFailed = 1;
        return;
    }
    if (w == 0 || h == 0)
        return;
    void* p = VxImgAlloc(static_cast<int>(bytes));
    if (p == nullptr) {
        allocFailed = 1;
        return;
    }
    // Fresh pixels read as zero rather than as whatever the heap held.
    data = static_cast<T*>(p);
    std::uninitialized_value_construct_n(data, static_cast<std::size_t>(w) * h);
}

template <class T, class U>
void VxTexture<T, U>::FreeImage() {
    if (ownsData != 0)
        VxImgFree(data);
    ReleaseAuxBuffers();
    data = nullptr;
    ownsData = 0;
    xIndexer.SetResolution(0);
    yIndexer.SetResolution(0);
    SetCrop(0, 0, 0, 0);
}

template <class T, class U>
int VxTexture<T, U>::Reallocate() {
    const int w = xIndexer.resolution, h = yIndexer.resolution;
    if (data == nullptr || w <= 0 || h <= 0)
        return 0;
    const long long bytes = static_cast<long long>(w) * h * static_cast<long long>(sizeof(T));
    if (bytes > INT_MAX)
        return 0;
    void* fresh = VxImgAlloc(static_cast<int>(bytes));
    if (fresh == nullptr)
        return 0;
    std::memcpy(fresh, static_cast<const void*>(data), static_cast<std::size_t>(bytes));
    // FreeImage also zeroes the geometry; the cached pixels stay reachable
    // through data, which their user now holds.
    if (ownsData != 0)
        FreeImage();
    data = static_cast<T*>(fresh);
    ownsData = 0;
    return 1;
}

template <class T, class U>
void* VxTexture<T, U>::GetVoidData() const {
    return static_cast<void*>(data);
}

template <class T, class U>
void VxTexture<T, U>::setTextureFrom(const VxTexture<T, U>& src) {
    if (&src == this)
        return;
    // src may look at this texture's own buffer: freeing it would leave both
    // looking at nothing, so then the buffer stays, and stays owned.
    T* const pixels = src.data;
    const int keep = ownsData != 0 && pixels != nullptr && pixels == data;
    if (keep != 0)
        ownsData = 0;
    const Vx1DTexIndexer sx = src.xIndexer, sy = src.yIndexer;
    const T srcDefault = src.defaultPixel;
    FreeImage();
    data = pixels;
    ownsData = keep;
    xIndexer = sx;
    yIndexer = sy;
    SetDefaultPixel(srcDefault);
}

template <class T, class U>
void VxTexture<T, U>::SetDefaultPixel(T value) {
    defaultPixel = value;
}

template <class T, class U>
T VxTexture<T, U>::PixelAt(int i, int j) const {
    if (i < 0 || j < 0)
        return defaultPixel;
    return data[static_cast<std::size_t>(j) * static_cast<std::size_t>(xIndexer.resolution) +
                static_cast<std::size_t>(i)];
}

namespace VxTextureDetail {
// Splits a pixel-index position into the base pixel and the fraction. False
// for NaN; positions beyond the int range are held at its ends, fraction 0.
inline bool SplitPosition(float p, int& base, float& frac) {
    if (std::isnan(p))
        return false;
    if (!(p > -2147483520.0f && p < 2147483520.0f)) {
        base = p < 0.0f ? -2147483520 : 2147483520;
        frac = 0.0f;
        return true;
    }
    // floor() by truncation and a correction for negatives: the same value for
    // every float in range, without a library call on the per-sample path.
    int t = static_cast<int>(p);
    if (static_cast<float>(t) > p)
        --t;
    base = t;
    frac = p - static_cast<float>(t);
    return true;
}

// True when pixel i and its right-hand neighbour are both inside the crop and
// the buffer: the pair to interpolate is then simply (i, i + 1) whatever the
// edge method, and the indexer need not be asked.
inline bool LerpInside(int i, const Vx1DTexIndexer& axis) {
    const long long d = static_cast<long long>(i) - axis.cropStart;
    return d >= 0 && d < static_cast<long long>(axis.cropLength) - 1 && i >= 0 &&
           static_cast<long long>(i) + 1 < axis.resolution;
}

// i0 and i1 as pixels the buffer has, -1 where there is none.
inline void KeepInBuffer(int& i, int resolution) {
    if (i < 0 || i >= resolution)
        i = -1;
}
} // namespace VxTextureDetail

template <class T, class U>
U VxTexture<T, U>::BiLerpPixel(float x, float y) const {
    if (data == nullptr || xIndexer.resolution <= 0 || yIndexer.resolution <= 0)
        return U(defaultPixel);
    int bx = 0, by = 0;
    float fx = 0.0f, fy = 0.0f;
    if (!VxTextureDetail::SplitPosition(x - 0.5f - xIndexer.offsetF, bx, fx) ||
        !VxTextureDetail::SplitPosition(y - 0.5f - yIndexer.offsetF, by, fy))
        return U(defaultPixel);
    if (VxTextureDetail::LerpInside(bx, xIndexer) && VxTextureDetail::LerpInside(by, yIndexer)) {
        // The common case, away from every edge: the same blend, read directly.
        const T* r0 = data +
                      static_cast<std::size_t>(by) * static_cast<std::size_t>(xIndexer.resolution) +
                      static_cast<std::size_t>(bx);
        const T* r1 = r0 + xIndexer.resolution;
        const T top = r0[0] * (1.0f - fx) + r0[1] * fx;
        const T bottom = r1[0] * (1.0f - fx) + r1[1] * fx;
        return U(top * (1.0f - fy) + bottom * fy);
    }
    int x0 = -1, x1 = -1, y0 = -1, y1 = -1;
    xIndexer.GetLerpIndicies(bx, x0, x1);
    yIndexer.GetLerpIndicies(by, y0, y1);
    // The indexer names crop ends even on a hand-edited geometry; only pixels
    // inside the buffer are read.
    VxTextureDetail::KeepInBuffer(x0, xIndexer.resolution);
    VxTextureDetail::KeepInBuffer(x1, xIndexer.resolution);
    VxTextureDetail::KeepInBuffer(y0, yIndexer.resolution);
    VxTextureDetail::KeepInBuffer(y1, yIndexer.resolution);
    const T top = PixelAt(x0, y0) * (1.0f - fx) + PixelAt(x1, y0) * fx;
    const T bottom = PixelAt(x0, y1) * (1.0f - fx) + PixelAt(x1, y1) * fx;
    return U(top * (1.0f - fy) + bottom * fy);
}

template <class T, class U>
U VxTexture<T, U>::BiLerpPixel(float x, float y, int xLo, int yLo, int xHi, int yHi) const {
    if (data == nullptr)
        return U(defaultPixel);
    if (xHi < xLo)
        std::swap(xLo, xHi);
    if (yHi < yLo)
        std::swap(yLo, yHi);
    xLo = std::max(xLo, 0);
    yLo = std::max(yLo, 0);
    xHi = std::min(xHi, xIndexer.resolution - 1);
    yHi = std::min(yHi, yIndexer.resolution - 1);
    int bx = 0, by = 0;
    float fx = 0.0f, fy = 0.0f;
    if (xHi < xLo || yHi < yLo ||
        !VxTextureDetail::SplitPosition(x - 0.5f - xIndexer.offsetF, bx, fx) ||
        !VxTextureDetail::SplitPosition(y - 0.5f - yIndexer.offsetF, by, fy))
        return U(defaultPixel);
    const auto clampTo = [](long long i, int lo, int hi) {
        return static_cast<int>(i < lo ? lo : (i > hi ? hi : i));
    };
    const int x0 = clampTo(bx, xLo, xHi), x1 = clampTo(bx + 1LL, xLo, xHi);
    const int y0 = clampTo(by, yLo, yHi), y1 = clampTo(by + 1LL, yLo, yHi);
    const T top = PixelAt(x0, y0) * (1.0f - fx) + PixelAt(x1, y0) * fx;
    const T bottom = PixelAt(x0, y1) * (1.0f - fx) + PixelAt(x1, y1) * fx;
    return U(top * (1.0f - fy) + bottom * fy);
}

template <class T, class U>
U VxTexture<T, U>::WeightedMean(const VxAreaWeights& wx, const VxAreaWeights& wy) const {
    constexpr int K = VxPixelTraits<T>::kComponents;
    static_assert(sizeof(T) == K * sizeof(float), "pixels are packed floats");
    static_assert(std::is_trivially_copyable<T>::value, "pixels are plain values");
    double acc[K] = {};
    float comp[K];
    double sx = 0.0, sy = 0.0;
    for (const auto& c : wx.cells)
        sx += c.second;
    for (const auto& c : wy.cells)
        sy += c.second;
    const std::size_t width = static_cast<std::size_t>(xIndexer.resolution);
    for (const auto& cy : wy.cells) {
        const T* row = data + static_cast<std::size_t>(cy.first) * width;
        for (const auto& cx : wx.cells) {
            std::memcpy(comp, &row[cx.first], sizeof(T));
            const double w = cx.second * cy.second;
            for (int k = 0; k < K; ++k)
                acc[k] += w * comp[k];
        }
    }
    // The area without a pixel on either axis reads the default pixel.
    const double missing = wx.missing * (sy + wy.missing) + sx * wy.missing;
    if (missing > 0.0) {
        std::memcpy(comp, &defaultPixel, sizeof(T));
        for (int k = 0; k < K; ++k)
            acc[k] += missing * comp[k];
    }
    const double total = (sx + wx.missing) * (sy + wy.missing);
    if (!(total > 0.0))
        return U(defaultPixel);
    float out[K];
    for (int k = 0; k < K; ++k)
        out[k] = static_cast<float>(acc[k] / total);
    T r = defaultPixel;
    std::memcpy(static_cast<void*>(&r), out, sizeof(T));
    return U(r);
}

template <class T, class U>
U VxTexture<T, U>::AreaSample(float x0, float y0, float x1, float y1) const {
    if (data == nullptr || xIndexer.resolution <= 0 || yIndexer.resolution <= 0)
        return U(defaultPixel);
    const double lx = std::min<double>(x0, x1) - xIndexer.offsetF;
    const double hx = std::max<double>(x0, x1) - xIndexer.offsetF;
    const double ly = std::min<double>(y0, y1) - yIndexer.offsetF;
    const double hy = std::max<double>(y0, y1) - yIndexer.offsetF;
    if (!std::isfinite(lx) || !std::isfinite(hx) || !std::isfinite(ly) || !std::isfinite(hy))
        return U(defaultPixel);
    VxAreaWeights wx, wy;
    VxAreaAxisWeights(xIndexer, lx, hx, wx);
    VxAreaAxisWeights(yIndexer, ly, hy, wy);
    return WeightedMean(wx, wy);
}

template <class T, class U>
U VxTexture<T, U>::AreaSampleDelta(float x, float y, float dx, float dy) const {
    const float hx = 0.5f * std::fabs(dx), hy = 0.5f * std::fabs(dy);
    return AreaSample(x - hx, y - hy, x + hx, y + hy);
}

extern template class VX_API VxTexture<float, float>;
extern template class VX_API VxTexture<HvVec2, HvVec2>;
extern template class VX_API VxTexture<VxComplex<float>, VxComplex<float>>;

// Mip-mapped float texture: level 0 is the texture itself, each further level
// halves the one before (see MipReductionFilter) down to 1 x 1.
//
// Levels 1 and up are owned by the chain and follow every change made through
// this texture's setters: crop (which rebuilds the chain from the cropped
// pixels), edge methods, offsets and the default pixel. Change the pixels,
// then call MakeMipMaps: the chain is not refreshed by itself.
//
// Through a heap release each level is an owned texture like any other (its
// buffer comes from VxImgAlloc, so from the heap while one is enabled):
// Reallocate moves its pixels to system memory, leaves
// them not owned and zeroes its resolutions. A mip texture that lives through
// a release therefore keeps its levels' pixels (the chain still frees them)
// but not their geometry: AreaSample and ChooseLevel skip levels of
// resolution 0 and read the top level alone until MakeMipMaps builds the
// chain again (in system memory by then). Level 0 itself follows the texture
// rules above, so when its own buffer is moved out of the heap its chain goes
// with FreeImage; call MakeMipMaps again after setting the geometry.
//
// A level's pixel is the plain mean of a 2 x 2 block of the level above; on an
// odd axis one hash-chosen output takes three pixels instead of two, so no
// pixel is dropped. Level k's pixels therefore cover blocks of the cropped top
// image of 2^k pixels a side, some longer by the odd triples; auxBuffers of
// each level hold those blocks' bounds in pixel indices of the top image (x,
// then y; width + 1 and height + 1 entries).
template <class T, class U>
class VxMipTex;

template <>
class VX_API VxMipTex<float, float> : public VxTexture<float, float> {
public:
    static constexpr int kMaxLevels = 32;

    // An empty texture without levels.
    VxMipTex();
    // width x height pixels over `buffer` (not owned), full crop, edge none on
    // both axes, then MakeMipMaps().
    VxMipTex(int width, int height, float* buffer);
    ~VxMipTex() override;

    // Builds the chain from the pixels of the crop: nothing without data.
    // levelCount = 1, levels[0] = this, then each level is reduced to the next
    // until the reduction yields nothing (1 x 1, or an allocation failure,
    // which also sets allocFailed). Levels take this texture's edge methods,
    // offsets and default pixel. A chain already there is deleted first.
    void MakeMipMaps();
    // Deletes levels 1 to levelCount - 1; levelCount = 0.
    void NukeMipMaps();

    // One level from `level`, the pixels of its crop (the whole image when
    // the crop is the whole image), as a new owned texture of max(1, w / 2) x
    // max(1, h / 2): 2 x 2 blocks averaged; on an odd axis (longer than one)
    // output index k takes three pixels, k = trunc(((1 - H(n) 2^-30) + 1)
    // 0.5 n'), n the source size (n + 65536 for x), n' the output size, held
    // below n', with the library's integer hash H (computed in double); a
    // source one pixel long on an axis keeps that pixel. Null for a 1 x 1 or
    // empty source, or a null level; an allocation failure sets `failed` and
    // gives null. The caller owns the result.
    static VxTexture<float, float>* MipReductionFilter(const VxTexture<float, float>* level,
                                                       bool& failed);

    // The crop as VxTexIndexer::SetCrop, then invWidth, invHeight, the chain
    // rebuilt from the new crop, and edge methods, default pixel and offsets
    // passed on again to every level.
    void SetCrop(int x0, int x1, int y0, int y1) override;
    // These set this texture and then every level from 1 on, with the same values.
    void SetEdgeMethod(VxTexEdgeEnum ex, VxTexEdgeEnum ey) override;
    void SetOffset(float x, float y) override;
    void SetOffset(int x, int y) override;
    void SetDefaultPixel(float value) override;
    // A view of src's pixels as for VxTexture, with a chain of its own built
    // from them (src's levels, if any, are not shared). A src that is one of
    // this texture's own levels is refused: nothing changes.
    void setTextureFrom(const VxTexture<float, float>& src) override;

    // The mean over the rectangle, read from the mip chain. When the
    // rectangle lies inside the crop, the level used is the deepest (fewest
    // pixels) whose nominal block (crop length / level size, per axis) is at
    // most half the rectangle's extent times mipScale on both axes, so that
    // at least two of its pixels span each side; its pixels are weighted by
    // the part of their block the rectangle covers, in top-level pixels. The
    // result is the exact mean when the rectangle covers whole blocks of that
    // level and the level's pixels are exact block means: always for levels 0
    // and 1, and for level k whenever the crop's width and height are
    // multiples of 2^(k-1); elsewhere it is the mean of the level's block
    // means (one odd triple weighs as much as a pair further down). Rectangles
    // reaching outside the crop, extents below two pixels and textures
    // without a chain are sampled at the top level as VxTexture::AreaSample.
    float AreaSample(float x0, float y0, float x1, float y1) const override;

    // The level used by AreaSample for a rectangle of the given extents in
    // pixels (0 without a chain).
    int ChooseLevel(double width, double height) const;

    int levelCount;                              // levels in the chain, 0 without one
    VxTexture<float, float>* levels[kMaxLevels]; // levels[0] == this; the rest owned
    int maxDim;                                  // the larger of width and height
    float invLogMaxDim;                          // 1 / ln(maxDim); 0 when maxDim <= 1
    float mipScale;                              // area extents are scaled by this, 1.0
    float invWidth;                              // 1 / x crop length (0 when empty)
    float invHeight;                             // 1 / y crop length (0 when empty)

private:
    void SetInverseSizes();
    void PassSettingsToLevels();
};

#endif
