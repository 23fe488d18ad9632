// The indexers against the stepping model over many crops (single pixels,
// crops at either image end), edge methods and offsets.
#include "vxTexModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <tuple>

namespace {

// Each lookup's result and then its out-parameters (braced, so in that order);
// outputs start at 77 so that one left untouched shows.
using Axis = Vx1DTexIndexer;
template <class R, class... Out>
std::tuple<R, Out...> Call(R (Axis::*f)(int, Out&...) const, const Axis& x, int i) {
    std::tuple<R, Out...> r{R(), Out(77)...};
    std::get<0>(r) = std::apply([&](R&, Out&... out) { return (x.*f)(i, out...); }, r);
    return r;
}
const auto Lerp = [](const Axis& x, int i) { return Call(&Axis::GetLerpIndicies, x, i); };
const auto Span = [](const Axis& x, int i) { return Call(&Axis::GetSpanIndex, x, i); };
const auto Region = [](const Axis& x, int i) { return Call(&Axis::safeIndexRegion, x, i); };
const auto Idx = [](const Axis& x, int i) { return std::tuple<bool, int>{x.IndexC(i), i}; };
const auto Map = [](const Axis& x, int a, int b) { return std::tuple{x.MapSpan(a, b), a, b}; };

// The crop, the range tested around it, and the model's source of each pixel.
struct Model {
    const Axis& x;
    int s, e, n, lo, hi;
    int operator()(int p) const { return int(Src(x, p)); }
};

template <class F>
void ForEachAxis(std::initializer_list<int> offsets, F f) {
    const int crops[][3] = {{1, 0, 0},  {10, 0, 9}, {10, 3, 3},    {10, 0, 0},
                            {10, 9, 9}, {12, 2, 7}, {100, 90, 99}, {7, 0, 3}};
    for (const auto& c : crops)
        for (int edge = 0; edge < 4; ++edge)
            for (int off : offsets) {
                Axis x(c[0], VxTexEdgeEnum(edge), c[1], c[2]);
                x.offset = off;
                const int s = x.cropStart, e = x.cropEnd, n = x.cropLength;
                SCOPED_TRACE(testing::Message()
                             << "crop " << s << ".." << e << " edge " << edge << " off " << off);
                f(x, Model{x, s, e, n, s - 5 * n - 9, e + 5 * n + 9});
            }
}

} // namespace

TEST(VxTexIndexer, LookupsSpansRegionsAndMapSpanFollowModel) {
    ForEachAxis({0, 7, -13}, [](const Axis& x, const Model& m) {
        const int off = x.offset;
        for (int p = m.lo; p < m.hi; ++p) { // pixel index p, image coordinate i
            const int i = p + off;
            EXPECT_EQ(Idx(x, p), std::make_tuple(m(p) >= 0, m(p) >= 0 ? m(p) : p)) << p;
            EXPECT_EQ(Lerp(x, p),
                      std::make_tuple(m(p) >= 0 && m(p + 1) == m(p) + 1, m(p), m(p + 1)))
                << p;
            if (x.edgeMethod == kVxTexEdgeMirror) {
                EXPECT_EQ(Axis::Reflect(p, m.s, m.n), m(p)) << p;
            }
            const auto [src, lo, hi, dir] = Region(x, i);
            EXPECT_EQ(Span(x, i), std::make_tuple(m(p), dir, hi == INT_MAX ? hi : hi - i)) << i;
            // The region is one whole segment: a repetition of the crop, or
            // below / inside / above it for none and clamp ...
            const int s = m.s + off, e = m.e + off, pos = (p - m.s + 99 * m.n) % m.n;
            const auto seg = x.edgeMethod >= kVxTexEdgeMirror
                                 ? std::make_pair(i - pos, i - pos + m.n)
                             : p < m.s ? std::make_pair(INT_MIN, s)
                             : p > m.e ? std::make_pair(e + 1, INT_MAX)
                                       : std::make_pair(s, e + 1);
            EXPECT_EQ(std::make_pair(lo, hi), seg) << i;
            // ... and over all of it the source moves linearly.
            int bad = 0;
            for (int k = std::max(lo, m.lo + off); k < std::min(hi, m.hi + off); ++k)
                bad += m(k - off) != (src < 0 ? -1 : src + dir * (k - i));
            EXPECT_EQ(bad, 0) << i;
        }
        // MapSpan covers what the span reads.
        for (int len = 1; len <= 2 * m.n + 2; ++len)
            for (int p = m.lo; p + len <= m.hi; ++p) {
                int lo = INT_MAX, hi = -1;
                for (int k = p; k < p + len; ++k)
                    if (m(k) >= 0)
                        lo = std::min(lo, m(k)), hi = std::max(hi, m(k) + 1);
                // Kept as the library has them (see DocumentedCases): clamp maps a span ending at s
                // to [s, s); mirror runs odd bands below the first reflected one forwards.
                const int band = (p - m.s + 99 * m.n) / m.n - 99;
                if ((x.edgeMethod == kVxTexEdgeClamp && p + len == m.s) ||
                    (x.edgeMethod == kVxTexEdgeMirror && band <= -3 && band % 2 != 0))
                    continue;
                const auto [ok, a, b] = Map(x, p + off, p + off + len);
                if (hi < 0) { // nothing read: only edge none gets here
                    EXPECT_EQ(ok, p + len == m.s) << p << "+" << len;
                } else if (x.edgeMethod <= kVxTexEdgeClamp ||
                           (x.edgeMethod == kVxTexEdgeWrap && hi - lo == len && hi <= m.e)) {
                    EXPECT_EQ(std::make_tuple(ok, a, b), std::make_tuple(true, lo, hi))
                        << p << "+" << len; // exactly what is read
                } else {
                    EXPECT_TRUE(ok && m.s <= a && a <= lo && hi <= b && b <= m.e + 1)
                        << p << "+" << len << " -> " << a << ", " << b;
                }
            }
    });
}

TEST(VxTexIndexer, DocumentedCases) {
    // MapSpan's kept quirks.
    Axis x(100, kVxTexEdgeMirror, 0, 9);
    EXPECT_EQ(Map(x, -25, -22), std::make_tuple(true, 4, 7)); // reads 4 3 2
    x.SetCrop(90, 99); // the fit test reads 2 * n - start: inside the crop, yet the whole crop
    EXPECT_EQ(Map(x, 92, 94), std::make_tuple(true, 90, 100));
    x.SetEdgeMethod(kVxTexEdgeClamp);
    EXPECT_EQ(Map(x, 80, 90), std::make_tuple(true, 90, 90));
    // Anchors for the model: mirror and wrap of a crop of 10.
    x = Axis(10, kVxTexEdgeMirror, 0, 9);
    const int cases[][3] = {{2, 10, 9}, {2, 11, 8},  {2, 19, 0}, {2, 20, 0}, {2, -1, 0},
                            {2, -2, 1}, {2, -11, 9}, {3, 10, 0}, {3, -1, 9}, {3, -10, 0}};
    for (const auto& c : cases) {
        x.SetEdgeMethod(VxTexEdgeEnum(c[0]));
        EXPECT_EQ(Idx(x, c[1]), std::make_tuple(true, c[2])) << c[0] << ": " << c[1];
    }

    Axis five(5, kVxTexEdgeClamp, 7, 3);
    EXPECT_EQ(std::make_tuple(five.cropStart, five.cropEnd, five.cropLength),
              std::make_tuple(3, 4, 2));
    five.SetResolution(0); // no pixels: an empty crop
    EXPECT_EQ(std::make_tuple(five.cropStart, five.cropEnd, five.cropLength),
              std::make_tuple(0, -1, 0));

    VxTexIndexer t(4, 4);
    t.SetOffset(2.5f, -2.5f);
    EXPECT_EQ(std::make_pair(t.xIndexer.offset, t.yIndexer.offset), std::make_pair(3, -2));
    t.SetOffset(0.49999997f, 1e30f); // rounded in double; held at the 32-bit end
    EXPECT_EQ(std::make_pair(t.xIndexer.offset, t.yIndexer.offset), std::make_pair(0, INT_MAX));
}

TEST(VxTexIndexer, OutOfRangeInputsGiveSafeResults) {
    // Mirror and wrap over an empty crop report no pixel instead of dividing by zero.
    for (VxTexEdgeEnum edge : {kVxTexEdgeMirror, kVxTexEdgeWrap}) {
        Axis x(10, edge, 0, 9);
        x.SetResolution(0);
        EXPECT_EQ(Idx(x, 5), std::make_tuple(false, 5));
        EXPECT_EQ(Lerp(x, 5), std::make_tuple(false, -1, -1));
        EXPECT_EQ(Map(x, 2, 6), std::make_tuple(false, 0, 0));
        EXPECT_EQ(Span(x, 5), std::make_tuple(-1, 0, INT_MAX));
        EXPECT_EQ(Region(x, 5), std::make_tuple(-1, 0, INT_MAX, 0));
    }
    EXPECT_EQ(Axis::Reflect(42, 0, 0), 42);
    // An edge value outside 0 to 3: IndexC and MapSpan leave the input alone,
    // the other lookups answer as for none.
    Axis x(10, VxTexEdgeEnum(7), 2, 5);
    x.offset = 1;
    EXPECT_EQ(std::make_tuple(Idx(x, 40), Map(x, -3, 50)),
              std::make_tuple(std::make_tuple(true, 40), std::make_tuple(true, -4, 49)));
    EXPECT_EQ(Lerp(x, 5), std::make_tuple(false, 5, -1));
    EXPECT_EQ(Span(x, 0), std::make_tuple(-1, 0, 3));
    EXPECT_EQ(Region(x, 9), std::make_tuple(-1, 7, INT_MAX, 0));
    // Coordinates at the ends of the 32-bit range neither wrap nor overflow.
    x = Axis(10, kVxTexEdgeMirror, 0, 9);
    EXPECT_EQ(Idx(x, INT_MIN), std::make_tuple(true, 7)); // -2^31 = 12 modulo 20
    x.SetEdgeMethod(kVxTexEdgeClamp);
    x.offset = 100;
    EXPECT_EQ(Span(x, INT_MIN), std::make_tuple(0, 0, INT_MAX));
    x.offset = INT_MAX - 5; // the crop's end, 10 + offset, is held at the 32-bit end
    EXPECT_EQ(Region(x, INT_MAX), std::make_tuple(5, INT_MAX - 5, INT_MAX, 1));
}

// Indexers report nothing, whatever they are given.
TEST(VxTexIndexer, NothingIsReported) {
    testing::internal::CaptureStderr();
    Axis x(10, VxTexEdgeEnum(7), 0, 9);
    x.SetEdgeMethod(VxTexEdgeEnum(-1));
    VxTexIndexer t(4, 4);
    t.SetEdgeMethod(VxTexEdgeEnum(4), VxTexEdgeEnum(9));
    t.SetOffset(std::nanf(""), 1e30f);
    x.SetResolution(INT_MIN);
    VxGrowTexIndexer(Axis(10, kVxTexEdgeNone, 0, 9), 5, 5, 10, 3, 0);
    VxGrowTexIndexer(Axis(10, kVxTexEdgeNone, 0, 9), INT_MAX, INT_MAX, INT_MIN, INT_MAX, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(x.edgeMethod, VxTexEdgeEnum(-1));
    EXPECT_EQ(std::make_tuple(t.xIndexer.edgeMethod, t.yIndexer.edgeMethod),
              std::make_tuple(VxTexEdgeEnum(4), VxTexEdgeEnum(9)));
}

TEST(VxTexIndexer, Grow) {
    auto geo = [](const Axis& g) {
        return std::make_tuple(g.resolution, g.offset, g.origin, g.offsetF, g.cropLength);
    };
    Axis x(100, kVxTexEdgeNone, 0, 99);
    auto grow = [&x, geo](int b, int a, int lo, int hi) {
        return geo(VxGrowTexIndexer(x, b, a, lo, hi, 1)); // edge none: keepEdged has no effect
    };
    EXPECT_EQ(grow(5, 5, INT_MIN, INT_MAX), std::make_tuple(110, -5, -5, -5.0f, 110));
    EXPECT_EQ(grow(5, 5, 0, 99), std::make_tuple(100, 0, 0, 0.0f, 100));
    EXPECT_EQ(grow(5, 5, -2, INT_MAX), std::make_tuple(107, -2, -2, -2.0f, 107));
    EXPECT_EQ(grow(-60, -60, INT_MIN, INT_MAX), std::make_tuple(0, 60, 60, 60.0f, 0));
    EXPECT_EQ(grow(5, 5, 10, 3), std::make_tuple(0, 10, 10, 10.0f, 0)); // empty clip
    x.SetEdgeMethod(kVxTexEdgeWrap);
    x.offset = 4;
    const VxTexIndexer t(x, Axis(20, kVxTexEdgeNone, 0, 19));
    const VxRectI clip = {0, 0, 99, 21};
    const VxTexIndexer g = VxGrowTexIndexer(t, {1, 2, 3, 4}, &clip, 1);
    EXPECT_EQ(geo(g.xIndexer), std::make_tuple(100, 4, 4, 0.0f, 100)); // edged: kept
    EXPECT_EQ(geo(g.yIndexer), std::make_tuple(22, 0, 0, 0.0f, 22));
    EXPECT_EQ(VxGrowTexIndexer(t, {1, 2, 3, 4}, nullptr, 0).yIndexer.resolution, 26);
}
