// vxTexIndexer.h - per-axis image geometry and edge handling.
//
// Every image carries one indexer per axis. The indexer says how many pixels
// the axis has, which of them are valid (the crop), where the image sits in
// image coordinates, and what a lookup outside the crop yields (the edge
// method). All edge handling of the library is decided here, in integer index
// arithmetic, so that samplers and kernels only ever ask for indices.
//
// Coordinates
// - A pixel index counts the pixels of the buffer from 0 to resolution - 1.
// - An image coordinate is where a pixel sits in the picture:
//       image coordinate = pixel index + offset
//   `offset` is the whole-pixel part of the sampling offset `offsetF`
//   (rounded half up); `origin` is the image coordinate of pixel 0 that the
//   processing windows use. The two are set independently.
// - The crop is held inclusive: cropStart .. cropEnd, cropLength pixels.
//   Spans (MapSpan, safeIndexRegion) are half-open: [a, b) and [lo, hi).
// - IndexC, Reflect and GetLerpIndicies take pixel indices; GetSpanIndex,
//   safeIndexRegion and MapSpan take image coordinates (they subtract
//   `offset` first) and hand back pixel indices.
//
// Edge methods, for a crop of n = 4 pixels starting at pixel index s = 0:
//
//       pixel index:   -5 -4 -3 -2 -1 | 0  1  2  3 | 4  5  6  7  8
//       none   (0):     .  .  .  .  . | 0  1  2  3 | .  .  .  .  .   no pixel
//       clamp  (1):     0  0  0  0  0 | 0  1  2  3 | 3  3  3  3  3
//       mirror (2):     3  3  2  1  0 | 0  1  2  3 | 3  2  1  0  0   period 2n
//       wrap   (3):     3  0  1  2  3 | 0  1  2  3 | 0  1  2  3  0   period n
//
// Out-of-range inputs. The index operations never fail and never overflow:
// they compute in 64 bits, and a result that does not fit in 32 bits is held
// at -2147483648 or 2147483647. An edge method outside 0 to 3 leaves IndexC's
// index and MapSpan's span unchanged (true); GetLerpIndicies, GetSpanIndex and
// safeIndexRegion treat it as none. Mirror and wrap over an empty crop
// (cropLength <= 0) have nothing to repeat: IndexC and GetLerpIndicies report
// no pixel (false, -1 indices), MapSpan gives [s, s) and false, and
// GetSpanIndex and safeIndexRegion answer as for none. None and clamp follow
// their rules even then, so on an axis with no pixels clamp names the crop
// ends although they do not exist: check `resolution` before reading such an
// image.
//
// Hot paths: IndexC, Reflect, GetLerpIndicies, GetSpanIndex, safeIndexRegion
// and MapSpan are called per pixel or per span; they are pure and cheap.
//
// Nothing here reports anything: no operation writes to stderr or stdout.
// Inputs the rules do not cover get the safe results documented with each
// operation. An edge value outside 0 to 3 is stored as given (by the
// constructor and both SetEdgeMethod) and then handled as described above,
// so lookups outside the crop are not edge-handled.
//
// Threading: indexers are plain values with no hidden state. Every worker of
// a fork may read the same indexer, and call its index operations, at once;
// change one only outside the fork.
#ifndef VX_TEX_INDEXER_H
#define VX_TEX_INDEXER_H

#include "vxExport.h"

// The edge method of one axis: what a lookup outside the crop yields.
enum VxTexEdgeEnum : int {
    kVxTexEdgeNone = 0,   // no pixel: lookups report that there is none
    kVxTexEdgeClamp = 1,  // the nearest crop end pixel
    kVxTexEdgeMirror = 2, // reflected about the crop ends, end pixel repeated
    kVxTexEdgeWrap = 3,   // the crop repeats
};

// One axis of an image. Fields are public and may be copied freely; keep
// cropLength = cropEnd - cropStart + 1 when writing the crop directly.
class VX_API Vx1DTexIndexer {
public:
    // An axis with no pixels: resolution 0, edge none, an empty crop.
    Vx1DTexIndexer();

    // `resolution` pixels with edge method `edge`; offsets, origin and flag
    // zeroed; the crop set as SetCrop(cropA, cropB).
    Vx1DTexIndexer(int resolution, VxTexEdgeEnum edge, int cropA, int cropB);

    // The axis gets n pixels and the crop becomes all of them. For n <= 0 the
    // crop is 0 .. n-1, length n: no valid pixel.
    void SetResolution(int n);

    // Crop to the pixels a .. b inclusive. The ends are swapped when b < a,
    // then each is clamped: below 0 becomes 0, else above resolution - 1
    // becomes resolution - 1. On an axis with no pixels this still leaves a
    // one-pixel crop (at 0 or at resolution - 1) that names no real pixel.
    void SetCrop(int a, int b);

    // Stores e; a value outside 0 to 3 is stored as given, silently.
    void SetEdgeMethod(VxTexEdgeEnum e);

    // Maps pixel index i into the crop by the edge method. Inside the crop i
    // is unchanged. Returns false only for edge none outside the crop (and for
    // mirror or wrap over an empty crop), leaving i unchanged. An edge value
    // outside 0 to 3 leaves i unchanged and returns true.
    bool IndexC(int& i) const;

    // The mirror rule: i reflected into [start, start + length) with the end
    // pixels repeated, period 2 * length. i inside is returned unchanged, and
    // so is every i when length <= 0.
    static int Reflect(int i, int start, int length);

    // The two pixels a linear interpolation between pixel index i and i + 1
    // reads: i0 for i, i1 for i + 1, each mapped by the edge method (-1 where
    // edge none has no pixel). True only for an ordinary pair, i1 = i0 + 1,
    // with both pixels present; a false pair is still valid to read where
    // not -1 (clamp gives i0 = i1 at the ends; mirror turns the pair around).
    bool GetLerpIndicies(int i, int& i0, int& i1) const;

    // For image coordinate i: returns the source pixel index (-1 where edge
    // none has no pixel) and describes how the source moves as i advances:
    // `direction` +1 (forwards), -1 (backwards) or 0 (constant), for `run`
    // steps, counting i itself. Runs end at the crop ends and at every
    // repetition of the crop; 2147483647 means for ever.
    int GetSpanIndex(int i, int& direction, int& run) const;

    // For image coordinate i: returns the source pixel index (-1 for no pixel)
    // and the region [lo, hi) of image coordinates around i over which the
    // source stays one linear run in `direction` (+1, -1 or 0). An unbounded
    // side is -2147483648 (lo) or 2147483647 (hi).
    int safeIndexRegion(int i, int& lo, int& hi, int& direction) const;

    // Maps the span [a, b) of image coordinates to a span [a, b) of pixel
    // indices (s = cropStart, e = cropEnd) holding every pixel that reading
    // the span touches:
    // - clamp: the part inside the crop, or the end pixel it clamps to; true.
    // - none: the part inside the crop, true; false when there is none, with
    //   [s, s) below the crop or [e, e + 1) above it.
    // - wrap: the wrapped span when it stays short of e, else the whole crop; true.
    // - mirror: the reflected span, widened to the crop end where it turns
    //   there, or the whole crop when it does not fit; true.
    // Kept as the library has always had them, since effects are tuned to
    // the spans they give: a span ending exactly at s maps to the empty
    // [s, s) (clamp and none, true); under mirror only the first reflected
    // band below the crop counts as running backwards (a span starting in an
    // odd band further down is mapped as if running forwards and may not be
    // covered), and a forward span fits only when its length plus its first
    // source pixel is at most 2 * cropLength - s (so crops away from pixel 0
    // fall back to the whole crop more often).
    // Any other edge value: a and b only have `offset` taken off; true.
    bool MapSpan(int& a, int& b) const;

    int resolution;           // number of pixels on the axis
    float offsetF;            // sub-pixel offset of the image on the axis
    int offset;               // whole-pixel offset: image coordinate = pixel index + offset
    VxTexEdgeEnum edgeMethod; // the edge rule
    int cropStart;            // first valid pixel index
    int cropEnd;              // last valid pixel index (inclusive)
    int cropLength;           // cropEnd - cropStart + 1
    int origin;               // image coordinate of pixel 0 for processing windows
    unsigned flag : 1;        // cleared on construction; free for the image's owner
};

// A two-dimensional image: an x and a y axis. Textures derive from it and may
// override the setters to keep derived data (mip levels) in step.
class VX_API VxTexIndexer {
public:
    // Both axes without pixels.
    VxTexIndexer();
    // width x height pixels, fully cropped, with the given edge methods.
    VxTexIndexer(int width, int height, VxTexEdgeEnum edgeX = kVxTexEdgeNone,
                 VxTexEdgeEnum edgeY = kVxTexEdgeNone);
    VxTexIndexer(const Vx1DTexIndexer& x, const Vx1DTexIndexer& y);
    VxTexIndexer(const VxTexIndexer&) = default;
    VxTexIndexer& operator=(const VxTexIndexer&) = default;
    virtual ~VxTexIndexer();

    // x crop x0 .. x1, y crop y0 .. y1 (inclusive), each as Vx1DTexIndexer::SetCrop.
    virtual void SetCrop(int x0, int x1, int y0, int y1);
    virtual void SetEdgeMethod(VxTexEdgeEnum ex, VxTexEdgeEnum ey);
    // Stores offsetF = x and offset = floor(x + 0.5), likewise for y; origin is
    // left alone. A NaN offset gives a whole-pixel offset of 0 and one beyond
    // the 32-bit range is held at its end.
    virtual void SetOffset(float x, float y);
    // Stores offsetF = (float)x and offset = x, likewise for y; origin is left alone.
    virtual void SetOffset(int x, int y);

    Vx1DTexIndexer xIndexer;
    Vx1DTexIndexer yIndexer;
};

// Four integers in the order x0, y0, x1, y1.
struct VxRectI {
    int x0;
    int y0;
    int x1;
    int y1;
};

// The indexer of an image grown by growBefore pixels in front and growAfter
// behind (negative values shrink it), its image coordinates clipped to
// [lo, hi] inclusive. lo = -2147483648 with hi = 2147483647 means no clip.
// - keepEdged non-zero and an edge method other than none: the source
//   unchanged except origin = offset (the edge method supplies the border).
// - Otherwise the new axis covers image coordinates offset - growBefore to
//   offset + resolution - 1 + growAfter, each end clamped into the clip
//   (below lo becomes lo, else above hi becomes hi), and has that many pixels
//   (0 if negative), the whole axis cropped, the source's edge method, and
//   offset = origin = offsetF = its first coordinate, flag clear.
// A clip with lo > hi leaves no pixels, and a grown axis larger than
// 2147483647 pixels is held at that size.
VX_API Vx1DTexIndexer VxGrowTexIndexer(const Vx1DTexIndexer& src, int growBefore, int growAfter,
                                       int lo, int hi, int keepEdged);

// Both axes grown as above: x by (grow.x0, grow.x1) clipped to [clip.x0,
// clip.x1], y by (grow.y0, grow.y1) clipped to [clip.y0, clip.y1]. A null
// clip means no clip on either axis.
VX_API VxTexIndexer VxGrowTexIndexer(const VxTexIndexer& src, VxRectI grow, const VxRectI* clip,
                                     int keepEdged);

#endif
