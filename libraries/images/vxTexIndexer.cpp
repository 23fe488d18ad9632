// Per-axis image indexing: crop, edge methods, interpolation pairs and spans.
#include "vxTexIndexer.h"

#include <climits>
#include <cmath>
#include <utility>

namespace {

// Index arithmetic is done in 64 bits: an index, an offset and a crop start
// are each 32-bit, so their sums and differences are exact here and the
// rules hold for every input instead of wrapping at the range ends.
using Wide = long long;

// Narrows an exact result, holding it at the ends of the 32-bit range. With
// the crop inside the axis, only results tied to an extreme offset ever need it.
int Narrow(Wide v) {
    if (v < INT_MIN) {
        return INT_MIN;
    }
    return v > INT_MAX ? INT_MAX : static_cast<int>(v);
}

bool Repeats(VxTexEdgeEnum e) {
    return e == kVxTexEdgeMirror || e == kVxTexEdgeWrap;
}

// Where offset d from the crop start falls among the repetitions of a crop of
// n >= 1 pixels: the repetition number floor(d / n) and the position in it.
// Repetition 0 is the crop itself. One floor division gives the same bands as
// the separate truncating divisions the historical code made on each side.
struct Band {
    Wide number;
    Wide pos; // 0 .. n-1
};

Band Locate(Wide d, Wide n) {
    const Wide k = d >= 0 ? d / n : -((-d - 1) / n) - 1;
    return {k, d - k * n};
}

// Mirror runs backwards in every odd repetition: ... 1 0 | 0 1 ... n-1 | n-1 n-2 ...
bool Backwards(VxTexEdgeEnum e, const Band& b) {
    return e == kVxTexEdgeMirror && b.number % 2 != 0;
}

// The source offset (0 .. n-1 from the crop start) for a repeating edge method.
Wide SourcePos(VxTexEdgeEnum e, Wide d, Wide n) {
    const Band b = Locate(d, n);
    return Backwards(e, b) ? n - 1 - b.pos : b.pos;
}

Wide ReflectWide(Wide i, Wide start, Wide length) {
    return start + SourcePos(kVxTexEdgeMirror, i - start, length);
}

// floor(f + 0.5) in double, as the offset has always been rounded: in float,
// f + 0.5 can round up (0.49999997 would give 1).
// A NaN gives 0 and a value beyond 32 bits is held at the end it passed,
// silently: indexer operations report nothing.
int WholeOffset(float f) {
    if (std::isnan(f))
        return 0;
    const double r = std::floor(static_cast<double>(f) + 0.5);
    if (r < INT_MIN || r > INT_MAX)
        return r < 0 ? INT_MIN : INT_MAX;
    return static_cast<int>(r);
}

} // namespace

// ---------------------------------------------------------------------------
// Vx1DTexIndexer: set-up
// ---------------------------------------------------------------------------

Vx1DTexIndexer::Vx1DTexIndexer()
    : resolution(0), offsetF(0.0f), offset(0), edgeMethod(kVxTexEdgeNone), cropStart(0),
      cropEnd(-1), cropLength(0), origin(0), flag(0) {}

Vx1DTexIndexer::Vx1DTexIndexer(int res, VxTexEdgeEnum edge, int cropA, int cropB)
    : resolution(res), offsetF(0.0f), offset(0), edgeMethod(edge), cropStart(0), cropEnd(0),
      cropLength(0), origin(0), flag(0) {
    SetCrop(cropA, cropB);
}

void Vx1DTexIndexer::SetResolution(int n) {
    resolution = n;
    cropStart = 0;
    cropEnd = Narrow(Wide(n) - 1);
    cropLength = n;
}

void Vx1DTexIndexer::SetCrop(int a, int b) {
    if (b < a) {
        std::swap(a, b);
    }
    // Clamp in this order on purpose: with no pixels (top < 0) a non-negative
    // end lands on top, a negative one on 0, as the library always did.
    const Wide top = Wide(resolution) - 1;
    auto clampEnd = [top](Wide v) { return Narrow(v < 0 ? 0 : (v > top ? top : v)); };
    cropStart = clampEnd(a);
    cropEnd = clampEnd(b);
    cropLength = Narrow(Wide(cropEnd) - cropStart + 1);
}

void Vx1DTexIndexer::SetEdgeMethod(VxTexEdgeEnum e) {
    edgeMethod = e;
}

// ---------------------------------------------------------------------------
// Vx1DTexIndexer: per-pixel and per-span lookups
// ---------------------------------------------------------------------------

bool Vx1DTexIndexer::IndexC(int& i) const {
    const Wide s = cropStart, n = cropLength, d = Wide(i) - s;
    if (d >= 0 && d < n) {
        return true;
    }
    switch (edgeMethod) {
    case kVxTexEdgeNone:
        return false;
    case kVxTexEdgeClamp:
        i = d < 0 ? cropStart : cropEnd;
        return true;
    case kVxTexEdgeMirror:
    case kVxTexEdgeWrap:
        if (n <= 0) {
            return false; // an empty crop has nothing to repeat
        }
        i = Narrow(s + SourcePos(edgeMethod, d, n));
        return true;
    }
    return true; // not an edge method: the index is left as it is
}

int Vx1DTexIndexer::Reflect(int i, int start, int length) {
    return length <= 0 ? i : Narrow(ReflectWide(i, start, length));
}

bool Vx1DTexIndexer::GetLerpIndicies(int i, int& i0, int& i1) const {
    const Wide s = cropStart, n = cropLength, d = Wide(i) - s;
    if (d >= 0 && d < n - 1) {
        i0 = i;
        i1 = Narrow(Wide(i) + 1);
        return true;
    }
    if (edgeMethod == kVxTexEdgeClamp) {
        i0 = i1 = d < 0 ? cropStart : cropEnd;
        return false;
    }
    if (Repeats(edgeMethod)) {
        if (n <= 0) {
            i0 = i1 = -1;
            return false;
        }
        // The pair is simply i and i + 1 each mapped; it is ordinary only
        // where the repetition runs forwards across both.
        const Wide p0 = SourcePos(edgeMethod, d, n), p1 = SourcePos(edgeMethod, d + 1, n);
        i0 = Narrow(s + p0);
        i1 = Narrow(s + p1);
        return p1 == p0 + 1;
    }
    // None (and values that are no edge method): only the crop end pixel
    // next to the crop is present.
    if (d < 0) {
        i0 = -1;
        i1 = d == -1 ? cropStart : -1;
    } else {
        i1 = -1;
        i0 = d == n - 1 ? cropEnd : -1;
    }
    return false;
}

int Vx1DTexIndexer::GetSpanIndex(int i, int& direction, int& run) const {
    const Wide s = cropStart, e = cropEnd, n = cropLength, p = Wide(i) - offset;
    if (s <= p && p <= e) {
        direction = 1;
        run = Narrow(e - p + 1);
        return Narrow(p);
    }
    if (Repeats(edgeMethod) && n > 0) {
        // A run lasts to the end of the repetition p is in, whichever way it goes.
        const Band b = Locate(p - s, n);
        const bool back = Backwards(edgeMethod, b);
        direction = back ? -1 : 1;
        run = Narrow(n - b.pos);
        return Narrow(s + (back ? n - 1 - b.pos : b.pos));
    }
    // Clamp, none, an empty repeating crop, or no edge method: constant
    // until the crop start, or for ever above the crop.
    direction = 0;
    run = p < s ? Narrow(s - p) : INT_MAX;
    if (edgeMethod != kVxTexEdgeClamp) {
        return -1;
    }
    return p < s ? cropStart : cropEnd;
}

int Vx1DTexIndexer::safeIndexRegion(int i, int& lo, int& hi, int& direction) const {
    const Wide s = cropStart, e = cropEnd, n = cropLength, p = Wide(i) - offset;
    const bool clamp = edgeMethod == kVxTexEdgeClamp;
    Wide l = INT_MIN, h = INT_MAX; // unbounded unless set below
    int source;
    if (s <= p && p <= e) {
        direction = 1;
        l = s;
        h = e + 1;
        source = Narrow(p);
    } else if (Repeats(edgeMethod) && n > 0) {
        const Band b = Locate(p - s, n);
        const bool back = Backwards(edgeMethod, b);
        direction = back ? -1 : 1;
        l = s + b.number * n;
        h = l + n;
        source = Narrow(s + (back ? n - 1 - b.pos : b.pos));
    } else if (p > e) {
        // Above the crop is tested before below it, as the library always has;
        // the two differ only for a crop whose end lies before its start.
        direction = 0;
        l = e + 1;
        source = clamp ? cropEnd : -1;
    } else {
        direction = 0;
        h = s;
        source = clamp ? cropStart : -1;
    }
    // Only bounded sides move with the offset. A bound pushed past the 32-bit
    // range is held at its end, which then reads as unbounded: no
    // representable coordinate lies beyond it.
    lo = l == INT_MIN ? INT_MIN : Narrow(l + offset);
    hi = h == INT_MAX ? INT_MAX : Narrow(h + offset);
    return source;
}

bool Vx1DTexIndexer::MapSpan(int& a, int& b) const {
    const Wide s = cropStart, e = cropEnd, n = cropLength;
    Wide lo = Wide(a) - offset, hi = Wide(b) - offset;
    const Wide len = hi - lo;
    bool ok = true;
    auto whole = [&] {
        lo = s;
        hi = e + 1;
    };
    switch (edgeMethod) {
    case kVxTexEdgeClamp:
        if (hi < s) {
            lo = s;
            hi = s + 1;
        } else if (lo < e) {
            lo = lo < s ? s : lo;
            hi = hi > e ? e + 1 : hi;
        } else {
            lo = e;
            hi = e + 1;
        }
        break;
    case kVxTexEdgeNone:
        if (hi < s) {
            lo = hi = s;
            ok = false;
        } else if (lo > e) {
            lo = e;
            hi = e + 1;
            ok = false;
        } else {
            lo = lo < s ? s : lo;
            hi = hi > e + 1 ? e + 1 : hi;
        }
        break;
    case kVxTexEdgeWrap:
    case kVxTexEdgeMirror:
        if (n <= 0) {
            lo = hi = s; // an empty crop has nothing to repeat
            ok = false;
        } else if (edgeMethod == kVxTexEdgeWrap) {
            if (len > n) {
                whole();
            } else {
                lo = s + SourcePos(kVxTexEdgeWrap, lo - s, n);
                hi = lo + len;
                if (hi > e) {
                    whole();
                }
            }
        } else {
            // Only the first mirrored band below the crop counts as flipped,
            // and the unflipped fit test reads 2n - s: both are kept as the
            // library has always had them, since effects tuned to the spans
            // they give. A span that does not fit gets the whole crop.
            const Wide d = lo - s;
            const bool flip = d < 0 ? d >= -n : (d / n) % 2 != 0;
            const Wide r = ReflectWide(lo, s, n);
            const bool fits = flip ? r - len >= s - n : len + r <= 2 * n - s;
            if (!fits) {
                whole();
            } else if (!flip) {
                if (r + len > e) {
                    const Wide last = ReflectWide(hi - 1, s, n);
                    lo = last < r ? last : r;
                    hi = e + 1;
                } else {
                    lo = r;
                    hi = r + len;
                }
            } else if (r - len < s) {
                const Wide last = ReflectWide(hi - 1, s, n);
                lo = s;
                hi = (last > r ? last : r) + 1;
            } else {
                hi = r + 1;
                lo = hi - len;
            }
        }
        break;
    }
    a = Narrow(lo);
    b = Narrow(hi);
    return ok;
}

// ---------------------------------------------------------------------------
// VxTexIndexer
// ---------------------------------------------------------------------------

VxTexIndexer::VxTexIndexer() = default;

VxTexIndexer::VxTexIndexer(int width, int height, VxTexEdgeEnum edgeX, VxTexEdgeEnum edgeY) {
    // SetResolution crops the whole axis, and gives a side of no pixels the
    // empty crop rather than the one-pixel crop SetCrop would leave on it.
    xIndexer.SetResolution(width);
    xIndexer.SetEdgeMethod(edgeX);
    yIndexer.SetResolution(height);
    yIndexer.SetEdgeMethod(edgeY);
}

VxTexIndexer::VxTexIndexer(const Vx1DTexIndexer& x, const Vx1DTexIndexer& y)
    : xIndexer(x), yIndexer(y) {}

VxTexIndexer::~VxTexIndexer() = default;

void VxTexIndexer::SetCrop(int x0, int x1, int y0, int y1) {
    xIndexer.SetCrop(x0, x1);
    yIndexer.SetCrop(y0, y1);
}

void VxTexIndexer::SetEdgeMethod(VxTexEdgeEnum ex, VxTexEdgeEnum ey) {
    xIndexer.SetEdgeMethod(ex);
    yIndexer.SetEdgeMethod(ey);
}

void VxTexIndexer::SetOffset(float x, float y) {
    xIndexer.offsetF = x;
    xIndexer.offset = WholeOffset(x);
    yIndexer.offsetF = y;
    yIndexer.offset = WholeOffset(y);
}

void VxTexIndexer::SetOffset(int x, int y) {
    xIndexer.offsetF = static_cast<float>(x);
    xIndexer.offset = x;
    yIndexer.offsetF = static_cast<float>(y);
    yIndexer.offset = y;
}

// ---------------------------------------------------------------------------
// Growing
// ---------------------------------------------------------------------------

Vx1DTexIndexer VxGrowTexIndexer(const Vx1DTexIndexer& src, int growBefore, int growAfter, int lo,
                                int hi, int keepEdged) {
    if (keepEdged != 0 && src.edgeMethod != kVxTexEdgeNone) {
        // The edge method already supplies the border: keep the image as it is
        // and only pin its processing origin to where it is sampled.
        Vx1DTexIndexer out = src;
        out.origin = src.offset;
        return out;
    }
    const Wide o = src.offset, res = src.resolution;
    Wide first = o - growBefore, last = o + res - 1 + growAfter;
    if (lo != INT_MIN || hi != INT_MAX) {
        if (lo > hi) {
            // An empty clip keeps no pixels.
            first = lo;
            last = Wide(lo) - 1;
        } else {
            first = first < lo ? lo : (first > hi ? hi : first);
            last = last < lo ? lo : (last > hi ? hi : last);
        }
    }
    Wide size = last - first + 1;
    size = size < 0 ? 0 : size;
    size = size > INT_MAX ? INT_MAX : size;
    Vx1DTexIndexer out;
    out.SetResolution(static_cast<int>(size));
    out.edgeMethod = src.edgeMethod;
    out.offset = out.origin = Narrow(first);
    out.offsetF = static_cast<float>(out.offset);
    return out;
}

VxTexIndexer VxGrowTexIndexer(const VxTexIndexer& src, VxRectI grow, const VxRectI* clip,
                              int keepEdged) {
    const VxRectI none = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    const VxRectI& c = clip != nullptr ? *clip : none;
    return VxTexIndexer(VxGrowTexIndexer(src.xIndexer, grow.x0, grow.x1, c.x0, c.x1, keepEdged),
                        VxGrowTexIndexer(src.yIndexer, grow.y0, grow.y1, c.y0, c.y1, keepEdged));
}
