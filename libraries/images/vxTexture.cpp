#include "vxTexture.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

// Collects the weights of one axis of an area: cell c is the pixel-index
// interval [c, c + 1), mapped to its source pixel by the edge method.
struct AxisMap {
    const Vx1DTexIndexer& axis;
    long long s, n;
    VxAreaWeights& w;

    // The source of cell c by the edge method, or -1 for none. Computed here
    // in 64 bits rather than through IndexC so that the far side of a mirror
    // period (2n) cannot overflow.
    long long Source(long long c) const {
        const long long d = c - s;
        if (d >= 0 && d < n)
            return c;
        switch (axis.edgeMethod) {
        case kVxTexEdgeClamp:
            return d < 0 ? s : s + n - 1;
        case kVxTexEdgeWrap:
            return s + ((d % n) + n) % n;
        case kVxTexEdgeMirror: {
            const long long m = ((d % (2 * n)) + 2 * n) % (2 * n);
            return m < n ? s + m : s + 2 * n - 1 - m;
        }
        default:
            return -1;
        }
    }

    void Add(long long c, double weight) {
        if (!(weight > 0.0))
            return;
        const long long j = Source(c);
        if (j < 0 || j >= axis.resolution) {
            w.missing += weight;
            return;
        }
        if (!w.cells.empty() && w.cells.back().first == j)
            w.cells.back().second += weight;
        else
            w.cells.emplace_back(static_cast<int>(j), weight);
    }

    // Every cell of [a, b], a < b, weighted by its overlap. Callers keep the
    // range within a few crop lengths, so the walk stays short however far
    // or wide the area is.
    void Run(double a, double b) {
        for (double c = std::floor(a); c < b; c += 1.0)
            Add(static_cast<long long>(c), std::min(b, c + 1.0) - std::max(a, c));
    }
};

bool Repeats(VxTexEdgeEnum e) {
    return e == kVxTexEdgeWrap || e == kVxTexEdgeMirror;
}

} // namespace

void VxAreaAxisWeights(const Vx1DTexIndexer& axis, double lo, double hi, VxAreaWeights& w) {
    w.cells.clear();
    w.missing = 0.0;
    AxisMap map{axis, axis.cropStart, axis.cropLength, w};
    const double s = axis.cropStart, n = axis.cropLength, end = s + n;
    if (axis.cropLength <= 0) {
        w.missing = lo < hi ? hi - lo : 1.0;
        return;
    }
    const bool repeats = Repeats(axis.edgeMethod);
    const double period = axis.edgeMethod == kVxTexEdgeMirror ? 2.0 * n : n;
    if (!(lo < hi)) {
        // A point: the one cell under it, brought near the crop first (the
        // edge maps every cell beyond the first one outside alike).
        double c = std::floor(lo);
        if (repeats) {
            c = s + std::fmod(c - s, period);
            if (c < s)
                c += period;
        } else {
            c = std::min(std::max(c, s - 1.0), end);
        }
        map.Add(static_cast<long long>(c), 1.0);
        return;
    }
    if (!repeats) {
        // Outside the crop clamp reads one end pixel and none reads nothing:
        // sum those parts in bulk, only the crop cell by cell.
        if (lo < s)
            map.Add(axis.cropStart - 1LL, std::min(hi, s) - lo);
        const double a = std::max(lo, s), b = std::min(hi, end);
        if (a < b)
            map.Run(a, b);
        if (hi > end)
            map.Add(axis.cropStart + static_cast<long long>(axis.cropLength),
                    hi - std::max(lo, end));
        return;
    }
    // Wrap and mirror repeat with `period`: move the start into the first
    // period, count the whole periods in bulk, and walk the two partial ones.
    double a = s + std::fmod(lo - s, period);
    if (a < s)
        a += period;
    if (a >= s + period)
        a = s;
    const double length = hi - lo, b = a + length;
    if (b <= s + period) {
        map.Run(a, b);
        return;
    }
    map.Run(a, s + period);
    const double rest = b - (s + period);
    const double whole = std::floor(rest / period);
    if (whole > 0.0)
        for (long long j = axis.cropStart;
             j < axis.cropStart + static_cast<long long>(axis.cropLength); ++j)
            map.Add(j, whole * (period / n));
    const double tail = std::min(rest - whole * period, period);
    if (tail > 0.0)
        map.Run(s, s + tail);
}

// The three kinds plug-ins take from the library. The class template already
// carries its visibility, which gcc reports as a repeated attribute here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class VX_API VxTexture<float, float>;
template class VX_API VxTexture<HvVec2, HvVec2>;
template class VX_API VxTexture<VxComplex<float>, VxComplex<float>>;
#pragma GCC diagnostic pop

// ---------------------------------------------------------------------------
// VxMipTex<float, float>
// ---------------------------------------------------------------------------

namespace {

// The library's integer hash, in 32-bit wrapping arithmetic.
unsigned Hash(unsigned n) {
    n ^= n << 13;
    return (n * (n * n * 15731u + 789221u) + 1376312589u) & 0x7fffffffu;
}

// One axis of a reduction from n source pixels: the output size and the
// output index that takes three pixels (-1 when none does).
struct Halving {
    int n, half, triple;

    Halving(int size, unsigned salt) : n(size), half(std::max(1, size / 2)), triple(-1) {
        if (n > 1 && n % 2 == 1) {
            const double r = 1.0 - Hash(static_cast<unsigned>(n) + salt) * (1.0 / 1073741824.0);
            const double k = std::trunc((r + 1.0) * 0.5 * half);
            triple = static_cast<int>(std::min<double>(std::max(k, 0.0), half - 1));
        }
    }
    // First source pixel of output j and how many it takes.
    int Start(int j) const { return n == 1 ? 0 : (triple >= 0 && j > triple ? 2 * j + 1 : 2 * j); }
    int Count(int j) const { return n == 1 ? 1 : (j == triple ? 3 : 2); }
};

// A level of a chain. Through a heap release it is moved like any owned
// texture (VxTexture::Reallocate: the pixels go to a system buffer it does
// not own, FreeImage zeroes its resolutions), but the chain still owns that
// copy: the level frees it when the chain deletes it.
class MipLevel final : public VxTexture<float, float> {
public:
    MipLevel(int w, int h) : VxTexture<float, float>(w, h) {}
    ~MipLevel() override {
        Unregister();
        if (ownsData == 0 && data != nullptr && data == moved)
            VxImgFree(data);
    }
    int Reallocate() override {
        const int r = VxTexture<float, float>::Reallocate();
        if (r != 0)
            moved = data;
        return r;
    }

private:
    const float* moved = nullptr; // the copy the last Reallocate made
};

template <class Level>
Level* Reduce(const VxTexture<float, float>* level, bool& failed) {
    if (level == nullptr || level->data == nullptr)
        return nullptr;
    const Vx1DTexIndexer& ax = level->xIndexer;
    const Vx1DTexIndexer& ay = level->yIndexer;
    const int w = ax.cropLength, h = ay.cropLength, x0 = ax.cropStart, y0 = ay.cropStart;
    if (w <= 0 || h <= 0 || (w == 1 && h == 1) || x0 < 0 || y0 < 0 ||
        x0 + static_cast<long long>(w) > ax.resolution ||
        y0 + static_cast<long long>(h) > ay.resolution)
        return nullptr;
    const Halving hx(w, 65536u), hy(h, 0u);
    Level* out = new (std::nothrow) Level(hx.half, hy.half);
    if (out != nullptr) {
        // Every pixel is written below, so the buffer is not cleared first.
        const std::size_t pixels =
            static_cast<std::size_t>(hx.half) * static_cast<std::size_t>(hy.half);
        out->data = static_cast<float*>(VxImgAlloc(static_cast<int>(pixels * sizeof(float))));
        out->ownsData = 1;
    }
    if (out == nullptr || out->data == nullptr) {
        delete out;
        failed = true;
        return nullptr;
    }
    const std::size_t stride = static_cast<std::size_t>(ax.resolution);
    for (int oy = 0; oy < hy.half; ++oy) {
        const int sy = y0 + hy.Start(oy), cy = hy.Count(oy);
        float* row = out->data + static_cast<std::size_t>(oy) * static_cast<std::size_t>(hx.half);
        // The plain mean of output ox's source block, summed row by row.
        auto blockMean = [&](int ox) {
            const int sx = x0 + hx.Start(ox), cx = hx.Count(ox);
            float sum = 0.0f;
            for (int yy = 0; yy < cy; ++yy)
                for (int xx = 0; xx < cx; ++xx)
                    sum += level->data[static_cast<std::size_t>(sy + yy) * stride +
                                       static_cast<std::size_t>(sx + xx)];
            const int count = cx * cy;
            row[ox] = count == 4
                          ? sum * 0.25f
                          : (count == 2 ? sum * 0.5f
                                        : (count == 1 ? sum : sum / static_cast<float>(count)));
        };
        if (cy == 2 && hx.n > 1) {
            // Rows of 2 x 2 blocks, the bulk of every level: the same sums in
            // the same order as blockMean, without its per-pixel bookkeeping.
            // Outputs before the triple start at 2j, after it at 2j + 1.
            const float* r0 = level->data + static_cast<std::size_t>(sy) * stride + x0;
            const float* r1 = r0 + stride;
            const int split = hx.triple >= 0 ? hx.triple : hx.half;
            for (int ox = 0; ox < split; ++ox)
                row[ox] = (((r0[2 * ox] + r0[2 * ox + 1]) + r1[2 * ox]) + r1[2 * ox + 1]) * 0.25f;
            for (int ox = split + 1; ox < hx.half; ++ox)
                row[ox] =
                    (((r0[2 * ox + 1] + r0[2 * ox + 2]) + r1[2 * ox + 1]) + r1[2 * ox + 2]) * 0.25f;
            if (hx.triple >= 0)
                blockMean(hx.triple);
        } else {
            for (int ox = 0; ox < hx.half; ++ox)
                blockMean(ox);
        }
    }
    return out;
}

// The footprint bounds of the next level's pixels from those of `parent`
// (n + 1 entries) along one axis. Null when out of memory.
int* NextBounds(const int* parent, int n, unsigned salt) {
    const Halving h(n, salt);
    int* b = static_cast<int*>(std::malloc(sizeof(int) * (static_cast<std::size_t>(h.half) + 1)));
    if (b == nullptr)
        return nullptr;
    for (int j = 0; j < h.half; ++j)
        b[j] = parent[h.Start(j)];
    b[h.half] = parent[n];
    return b;
}

} // namespace

VxMipTex<float, float>::VxMipTex()
    : levelCount(0), levels{}, maxDim(0), invLogMaxDim(0.0f), mipScale(1.0f), invWidth(0.0f),
      invHeight(0.0f) {}

VxMipTex<float, float>::VxMipTex(int width, int height, float* buffer)
    : VxTexture<float, float>(width, height, buffer), levelCount(0), levels{}, maxDim(0),
      invLogMaxDim(0.0f), mipScale(1.0f), invWidth(0.0f), invHeight(0.0f) {
    SetInverseSizes();
    MakeMipMaps();
}

VxMipTex<float, float>::~VxMipTex() {
    // A release in another thread could rebuild the chain (Reallocate, through
    // FreeImage) while it is being deleted: leave the heap's list first.
    Unregister();
    NukeMipMaps();
}

void VxMipTex<float, float>::SetInverseSizes() {
    invWidth = xIndexer.cropLength > 0 ? 1.0f / static_cast<float>(xIndexer.cropLength) : 0.0f;
    invHeight = yIndexer.cropLength > 0 ? 1.0f / static_cast<float>(yIndexer.cropLength) : 0.0f;
}

void VxMipTex<float, float>::NukeMipMaps() {
    for (int k = 1; k < levelCount && k < kMaxLevels; ++k) {
        delete levels[k];
        levels[k] = nullptr;
    }
    levelCount = 0;
}

VxTexture<float, float>*
VxMipTex<float, float>::MipReductionFilter(const VxTexture<float, float>* level, bool& failed) {
    return Reduce<VxTexture<float, float>>(level, failed);
}

void VxMipTex<float, float>::MakeMipMaps() {
    if (levelCount > 0)
        NukeMipMaps();
    if (data == nullptr)
        return;
    levelCount = 1;
    levels[0] = this;
    for (int k = 1; k < kMaxLevels; ++k)
        levels[k] = nullptr;
    maxDim = std::max(xIndexer.resolution, yIndexer.resolution);
    invLogMaxDim =
        maxDim > 1 ? static_cast<float>(1.0 / std::log(static_cast<double>(maxDim))) : 0.0f;

    // The footprints of level 0 are its own cropped pixels.
    std::vector<int> bx(static_cast<std::size_t>(std::max(xIndexer.cropLength, 0)) + 1);
    std::vector<int> by(static_cast<std::size_t>(std::max(yIndexer.cropLength, 0)) + 1);
    for (std::size_t j = 0; j < bx.size(); ++j)
        bx[j] = xIndexer.cropStart + static_cast<int>(j);
    for (std::size_t j = 0; j < by.size(); ++j)
        by[j] = yIndexer.cropStart + static_cast<int>(j);

    bool failed = false;
    while (levelCount < kMaxLevels) {
        const VxTexture<float, float>* last = levels[levelCount - 1];
        MipLevel* next = Reduce<MipLevel>(last, failed);
        if (next == nullptr)
            break;
        const int* px = levelCount == 1 ? bx.data() : last->auxBuffers[0];
        const int* py = levelCount == 1 ? by.data() : last->auxBuffers[1];
        // A level without its bounds still samples; AreaSample just skips it.
        if (px != nullptr && py != nullptr) {
            next->auxBuffers[0] = NextBounds(px, last->xIndexer.cropLength, 65536u);
            next->auxBuffers[1] = NextBounds(py, last->yIndexer.cropLength, 0u);
            next->auxCount = 2;
        }
        next->SetEdgeMethod(xIndexer.edgeMethod, yIndexer.edgeMethod);
        next->SetOffset(xIndexer.offsetF, yIndexer.offsetF);
        next->SetDefaultPixel(defaultPixel);
        levels[levelCount++] = next;
    }
    if (failed)
        allocFailed = 1;
}

void VxMipTex<float, float>::PassSettingsToLevels() {
    SetEdgeMethod(xIndexer.edgeMethod, yIndexer.edgeMethod);
    SetDefaultPixel(defaultPixel);
    SetOffset(xIndexer.offsetF, yIndexer.offsetF);
}

void VxMipTex<float, float>::SetCrop(int x0, int x1, int y0, int y1) {
    VxTexIndexer::SetCrop(x0, x1, y0, y1);
    SetInverseSizes();
    NukeMipMaps();
    MakeMipMaps();
    PassSettingsToLevels();
}

void VxMipTex<float, float>::SetEdgeMethod(VxTexEdgeEnum ex, VxTexEdgeEnum ey) {
    VxTexIndexer::SetEdgeMethod(ex, ey);
    for (int k = 1; k < levelCount; ++k)
        levels[k]->SetEdgeMethod(ex, ey);
}

void VxMipTex<float, float>::SetOffset(float x, float y) {
    VxTexIndexer::SetOffset(x, y);
    for (int k = 1; k < levelCount; ++k)
        levels[k]->SetOffset(x, y);
}

void VxMipTex<float, float>::SetOffset(int x, int y) {
    VxTexIndexer::SetOffset(x, y);
    for (int k = 1; k < levelCount; ++k)
        levels[k]->SetOffset(x, y);
}

void VxMipTex<float, float>::SetDefaultPixel(float value) {
    VxTexture<float, float>::SetDefaultPixel(value);
    for (int k = 1; k < levelCount; ++k)
        levels[k]->SetDefaultPixel(value);
}

void VxMipTex<float, float>::setTextureFrom(const VxTexture<float, float>& src) {
    if (&src == this)
        return;
    for (int k = 1; k < levelCount; ++k)
        if (levels[k] == &src)
            return;
    VxTexture<float, float>::setTextureFrom(src);
    SetInverseSizes();
    MakeMipMaps();
    PassSettingsToLevels();
}

int VxMipTex<float, float>::ChooseLevel(double width, double height) const {
    const double ex = width * static_cast<double>(mipScale) * 0.5;
    const double ey = height * static_cast<double>(mipScale) * 0.5;
    for (int k = levelCount - 1; k >= 1; --k) {
        const VxTexture<float, float>* level = levels[k];
        const int w = level->xIndexer.resolution, h = level->yIndexer.resolution;
        if (level->auxBuffers[0] == nullptr || level->auxBuffers[1] == nullptr || w <= 0 || h <= 0)
            continue;
        const double bw =
            static_cast<double>(level->auxBuffers[0][w] - level->auxBuffers[0][0]) / w;
        const double bh =
            static_cast<double>(level->auxBuffers[1][h] - level->auxBuffers[1][0]) / h;
        if (bw <= ex && bh <= ey)
            return k;
    }
    return 0;
}

namespace {
// The level pixels over [lo, hi] of top-level positions: each weighted by
// the part of its footprint [b[j], b[j + 1]) the interval covers.
void FootprintWeights(const int* b, int n, double lo, double hi, VxAreaWeights& w) {
    w.cells.clear();
    w.missing = 0.0;
    int j = static_cast<int>(std::upper_bound(b, b + n + 1, lo) - b) - 1;
    for (j = std::max(j, 0); j < n && b[j] < hi; ++j) {
        const double cover = std::min<double>(hi, b[j + 1]) - std::max<double>(lo, b[j]);
        if (cover > 0.0)
            w.cells.emplace_back(j, cover);
    }
}
} // namespace

float VxMipTex<float, float>::AreaSample(float x0, float y0, float x1, float y1) const {
    const double lx = std::min<double>(x0, x1) - xIndexer.offsetF;
    const double hx = std::max<double>(x0, x1) - xIndexer.offsetF;
    const double ly = std::min<double>(y0, y1) - yIndexer.offsetF;
    const double hy = std::max<double>(y0, y1) - yIndexer.offsetF;
    const int k =
        data != nullptr && levelCount > 1 && std::isfinite(hx - lx) && std::isfinite(hy - ly)
            ? ChooseLevel(hx - lx, hy - ly)
            : 0;
    if (k == 0)
        return VxTexture<float, float>::AreaSample(x0, y0, x1, y1);
    const VxTexture<float, float>* level = levels[k];
    const int w = level->xIndexer.resolution, h = level->yIndexer.resolution;
    const int* bx = level->auxBuffers[0];
    const int* by = level->auxBuffers[1];
    // The chain covers the crop only; beyond it the edge methods decide, at
    // the top level.
    if (lx < bx[0] || hx > bx[w] || ly < by[0] || hy > by[h])
        return VxTexture<float, float>::AreaSample(x0, y0, x1, y1);
    VxAreaWeights wx, wy;
    FootprintWeights(bx, w, lx, hx, wx);
    FootprintWeights(by, h, ly, hy, wy);
    return level->WeightedMean(wx, wy);
}
