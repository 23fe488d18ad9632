// Mosaic maps: the five patterns against a texel-by-texel model on square and
// non-square cells, the map set, and the placement transform against the
// point it should move.
#include "vxMosaic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

namespace {

using MapPtr = std::unique_ptr<VxMosaicMap>;

HvVec2 At(const VxMosaicMap& m, int x, int y) {
    return m.data[y * m.xIndexer.resolution + x];
}

// The patterns as plain geometry: the centre of the piece that texel (x, y)
// of a w x h cell belongs to.
HvVec2 Model(int pattern, int x, int y, int w, int h) {
    const double W = w, H = h, r = W / 2;
    const bool left = x<W / 2, right = x> W / 2;
    auto v = [](double a, double b) { return HvVec2(float(a), float(b)); };
    switch (pattern) {
    case 0:
        return v(W / 2, H / 2);
    case 1: // a disc of radius w/2, else the nearest corner
        return std::hypot(x - r, y - r) < r ? v(r, r) : v(x < r ? 0 : W, y < r ? 0 : H);
    case 2: // left of the line y = 2x, right of y = 2(w - x), or the middle
        return y > 2 * x ? v(0, 0.6 * H) : y > 2 * (w - x) ? v(W, 0.6 * H) : v(r, 0.4 * H);
    case 3: // four corner pieces cut by diagonals, the octagon between them
        return left && y - x > 0.666 * W      ? v(0, H)
               : right && x + y > 1.66666 * W ? v(W, H)
               : right && x - y > 0.66666 * W ? v(W, 0)
               : left && x + y < 0.33333 * W  ? v(0, 0)
                                              : v(r, H / 2);
    default: // under the roof y < min(x, w - x), else the left or right half
        return y < (right ? w - x : x) ? v(r, H / 4) : v(right ? 0.75 * W : 0.25 * W, 0.75 * H);
    }
}

VxMosaicMap* Make(int pattern, int w, int h) {
    VxMosaicMap* (*const makers[])(int, int) = {VxMosaicSquares, VxMosaicCircles, VxMosaicTriangles,
                                                VxMosaicOctagons, VxMosaicPolish};
    return makers[pattern](w, h);
}

TEST(VxMosaic, MapsMatchModel) {
    // 1502 wide tells the thresholds 0.666 and 0.66666 apart.
    const int sizes[][2] = {{500, 500}, {37, 23}, {16, 41}, {1, 1}, {3, 2}, {1502, 1203}};
    for (int pattern = 0; pattern < 5; ++pattern)
        for (const auto& size : sizes) {
            const int w = size[0], h = size[1];
            SCOPED_TRACE(testing::Message() << "pattern " << pattern << " " << w << "x" << h);
            MapPtr m(Make(pattern, w, h));
            ASSERT_TRUE(m && m->data && m->ownsData);
            EXPECT_TRUE(m->xIndexer.resolution == w && m->yIndexer.resolution == h &&
                        m->xIndexer.edgeMethod == kVxTexEdgeWrap &&
                        m->yIndexer.edgeMethod == kVxTexEdgeWrap);
            int wrong = 0;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    wrong += At(*m, x, y) != Model(pattern, x, y, w, h);
            EXPECT_EQ(wrong, 0);
        }

    // A few texels by hand, to anchor the model.
    MapPtr circles(VxMosaicCircles(500, 500)), triangles(VxMosaicTriangles(40, 30));
    EXPECT_EQ(At(*circles, 250, 250), HvVec2(250, 250));
    EXPECT_EQ(At(*circles, 499, 0), HvVec2(500, 0));
    EXPECT_EQ(At(*triangles, 0, 1), HvVec2(0, 18));

    // Sizes without texels, or too many for an image buffer: null and a line
    // on stderr, never a map.
    for (int pattern = 0; pattern < 5; ++pattern)
        for (const auto& size : {std::make_pair(0, 5), std::make_pair(5, 0), std::make_pair(-3, 4),
                                 std::make_pair(100000, 100000)}) {
            testing::internal::CaptureStderr();
            EXPECT_EQ(Make(pattern, size.first, size.second), nullptr);
            EXPECT_NE(testing::internal::GetCapturedStderr().find("No map made"),
                      std::string::npos);
        }
}

TEST(VxMosaic, MapSet) {
    const VxMosaicMapSet set("/maps/mosaic");
    const char* names[] = {"Squares", "Circles", "Triangles", "Octagons", "Thingy"};
    for (int n = 0; n < 5; ++n) {
        EXPECT_STREQ(set.getName(n), names[n]);
        MapPtr m(set.makeMap(n));
        ASSERT_TRUE(m && m->xIndexer.resolution == 500 && m->yIndexer.resolution == 500);
        EXPECT_EQ(At(*m, 123, 321), Model(n, 123, 321, 500, 500));
    }
    for (int n : {-1, 5, 6, 1000}) {
        EXPECT_EQ(set.getName(n), nullptr);
        EXPECT_EQ(set.makeMap(n), nullptr);
    }
    char file[] = "mine";
    EXPECT_EQ(set.userMapCount() + set.VxMosaicFile(file), 0);
    EXPECT_STREQ(VxMosaicMapSet::defaultDir(), "");

    char path[64];
    std::memset(path, 'x', sizeof path);
    EXPECT_EQ(set.SetPath(path, "tiles", VxMosaicMapSet::kMapExtension), path);
    EXPECT_STREQ(path, "/maps/mosaic/tiles.map");
    EXPECT_EQ(set.SetPath(nullptr, "tiles", ".rgb"), nullptr);
    const VxMosaicMapSet none(nullptr);
    EXPECT_STREQ(none.directory(), "");
    EXPECT_STREQ(none.SetPath(path, nullptr, nullptr), "/");
    const VxMosaicMapSet here(VxMosaicMapSet::defaultDir());
    EXPECT_STREQ(here.SetPath(path, "a", VxMosaicMapSet::kImageExtension), "/a.rgb");
}

TEST(VxMosaic, MakeXfm) {
    // A zero scale is held at 1e-6, never singular; a tiny negative one
    // keeps its sign.
    HvMatrix33 z = VxMosaicMakeXfm(HvVec2(0, 0), HvVec2(0, 0), HvVec2(0, -1e-9f), HvVec2(0, 0), 0);
    EXPECT_EQ(z, HvMatrix33(1e-6f, 0, 0, 0, -1e-6f, 0, 0, 0, 1));

    // A point is moved to the centre, scaled, sheared, rotated and moved back
    // and on; Shear's second factor acts on the point before anything else.
    const HvVec2 c(40, -25), o(7, 3), s(1.5f, -0.75f), sh(0.3f, -0.2f);
    const float angle = 0.6f;
    const HvMatrix33 m = VxMosaicMakeXfm(c, o, s, sh, angle);
    for (HvVec2 p : {HvVec2(0, 0), HvVec2(40, -25), HvVec2(-13, 88), HvVec2(250, 17)}) {
        double x = p.x, y = p.y + sh.y * p.x;     // Shear's pre-multiplied half
        x = (x - c.x) * s.x, y = (y - c.y) * s.y; // to the centre, scaled
        x += sh.x * y;                            // Shear's post-multiplied half
        const double rx = std::cos(angle) * x - std::sin(angle) * y;
        const double ry = std::sin(angle) * x + std::cos(angle) * y;
        const HvVec2 q = p * m;
        EXPECT_NEAR(q.x, rx + c.x + o.x, 1e-3);
        EXPECT_NEAR(q.y, ry + c.y + o.y, 1e-3);
    }
}

} // namespace
