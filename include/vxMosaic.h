// vxMosaic.h - mosaic maps: the built-in tile-cell generators, the set that
// names and makes them, and the transform that places a map over a picture.
//
// A mosaic map describes one repeating tile cell of a mosaic pattern. It is a
// VxTexture<HvVec2, HvVec2> of the requested width w and height h in which
// every texel holds the centre of the mosaic piece it belongs to, in the
// cell's own pixel coordinates: x from 0 to w, y from 0 to h, with y growing
// down the rows. A centre may lie on the cell's border or corner (0 or w, 0 or
// h), because pieces straddle neighbouring cells. A mosaic effect maps a
// picture position into the cell (VxMosaicMakeXfm), reads the centre there,
// and samples the picture at that centre to flatten each piece to one colour.
//
// Maps
//   Texel (x, y) is row y, column x of the texture (data[y * w + x]); its
//   value is decided from the integer indices x and y as documented with
//   each generator (the comparisons are part of the pattern and stay exactly
//   so). The fractions of w and h stored as centres are computed in double and
//   rounded to float once. Every map wraps on both axes (edge method
//   kVxTexEdgeWrap), being one cell of a repeating pattern.
//
// Ownership
//   Each generator returns a new texture with its own buffer (MakeData); the
//   caller deletes it. A width or height of 0 or less, or a map too large for
//   an image buffer, gives null and a line on stderr.
//
// Threading
//   The generators and VxMosaicMakeXfm may run in any number of threads at
//   once: the only shared state a map touches is its heap registration, which
//   is locked (vxTexNotifier.h). As for every texture, make maps outside a
//   processor fork when they must follow the managed heap (vxTexture.h).
#ifndef VX_MOSAIC_H
#define VX_MOSAIC_H

#include "hvMaths.h"
#include "vxExport.h"
#include "vxTexture.h"

using VxMosaicMap = VxTexture<HvVec2, HvVec2>;

// One square piece per cell: every texel holds
// (floor(x / w) w + w/2, floor(y / h) h + h/2), that is (w/2, h/2).
VX_API VxMosaicMap* VxMosaicSquares(int w, int h);

// A disc of radius r = w/2 centred at (r, r) (r on both axes, also when h
// differs from w) holds (r, r); every texel at distance r or more from it
// holds the nearest cell corner: x = 0 if x < r else w, y = 0 if y < r else h.
VX_API VxMosaicMap* VxMosaicCircles(int w, int h);

// Three triangles, compared in integers: y > 2x holds (0, 0.6 h); else
// y > 2(w - x) holds (w, 0.6 h); else (w/2, 0.4 h).
VX_API VxMosaicMap* VxMosaicTriangles(int w, int h);

// Octagons with square corner pieces, compared in double with these
// thresholds (their differing decimals are part of the pattern):
//   y > 0.666 w + x     and x < w/2:  (0, h)
//   y > 1.66666 w - x   and x > w/2:  (w, h)
//   x - 0.66666 w > y   and x > w/2:  (w, 0)
//   0.33333 w - x > y   and x < w/2:  (0, 0)
//   otherwise                         (w/2, h/2)
// The first matching line decides. Only w enters the thresholds.
VX_API VxMosaicMap* VxMosaicOctagons(int w, int h);

// A triangle pointing down from the top edge over a left and a right piece
// (shown as "Thingy" by VxMosaicMapSet): with m = w - x
// when x > w/2, else m = x, rows y < m hold (w/2, h/4); rows y >= m hold
// (3w/4, 3h/4) when x > w/2, else (w/4, 3h/4).
VX_API VxMosaicMap* VxMosaicPolish(int w, int h);

// The transform from picture positions to map positions, for row vectors
// (hvMaths.h): a point is moved by -centre, scaled by `scale`, sheared by
// HvMatrix33::Shear(shear.x, shear.y), rotated by `angle` radians and moved by
// centre + offset. A scale component of magnitude below 1e-6 is held at
// 1e-6 with its sign (0 gives +1e-6), so the matrix is never singular through
// its scale.
VX_API HvMatrix33 VxMosaicMakeXfm(HvVec2 centre, HvVec2 offset, HvVec2 scale, HvVec2 shear,
                                  float angle);

// The mosaic maps a plug-in offers: the five built-in patterns, numbered 0 to
// 4, then user maps from 5 on. The set keeps a count and the names of user
// maps and the directory they would come from; it finds none, since reading
// user map files is left to the plug-ins, which use SetPath and the
// extensions below to name them.
//
// The directory is the set's own copy. The set is not copyable. Its const
// members touch nothing shared and may be called from any thread.
class VX_API VxMosaicMapSet {
public:
    // File extensions of user maps: an image, or a map of centres.
    static constexpr const char* kImageExtension = ".rgb";
    static constexpr const char* kMapExtension = ".map";
    // The number of built-in maps; user map n - kBuiltInMaps follows them.
    static constexpr int kBuiltInMaps = 5;
    // The size of the maps makeMap makes.
    static constexpr int kMapSize = 500;

    // A set reading user maps from `dir` (copied; null reads as "").
    explicit VxMosaicMapSet(char const* dir);
    VxMosaicMapSet(const VxMosaicMapSet&) = delete;
    VxMosaicMapSet& operator=(const VxMosaicMapSet&) = delete;
    ~VxMosaicMapSet();

    // The display name of map n: "Squares", "Circles", "Triangles",
    // "Octagons", "Thingy" (the Polish pattern) for 0 to 4; for n >= 5 the
    // name of user map n - 5 when there is one; else null. The set keeps the
    // string.
    char const* getName(int n) const;

    // Built-in map n at 500 x 500 (0 Squares, 1 Circles, 2 Triangles,
    // 3 Octagons, 4 Polish), owned by the caller; null for any other n.
    VxMosaicMap* makeMap(int n) const;

    // Writes the directory, "/", name and extension, concatenated, into
    // `dest` and returns it. The caller provides the space: at least
    // strlen(dir) + strlen(name) + strlen(ext) + 2 bytes, not overlapping
    // name or ext; nothing is checked. A null name or extension reads as "";
    // a null dest writes nothing and returns null.
    char* SetPath(char* dest, char const* name, char const* ext) const;

    // Whether a user map file by this name exists: always 0, since the set
    // reads no user maps.
    int VxMosaicFile(char* name) const;

    // The directory used when a plug-in has none: "".
    static char const* defaultDir();

    // The directory given to the constructor.
    char const* directory() const { return mapDir; }
    // The number of user maps (0 unless a derived set adds some).
    int userMapCount() const { return nUserMaps; }

protected:
    // A derived set that reads user maps fills these: nUserMaps names, each
    // a new[] string (VxStringDuplicate) in a new[] array; the destructor
    // deletes them.
    int nUserMaps;       // number of user maps, 0
    char** userMapNames; // their names, null while there are none
    char* mapDir;        // the directory, owned copy
};

#endif
