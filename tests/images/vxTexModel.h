// The slow model of an axis: the source of pixel index i, or -1 when there is
// none, found by stepping back into the crop one reflection or one period at a
// time (mirror repeats the end pixel).
#ifndef VX_TEX_MODEL_H
#define VX_TEX_MODEL_H

#include "vxTexIndexer.h"

#include <algorithm>

inline long long Src(const Vx1DTexIndexer& a, long long i) {
    const long long s = a.cropStart, n = a.cropLength;
    long long d = i - s;
    if (a.edgeMethod == kVxTexEdgeNone && (d < 0 || d >= n))
        return -1;
    if (a.edgeMethod == kVxTexEdgeClamp)
        d = std::min(std::max(d, 0LL), n - 1);
    while (d < 0 || d >= n)
        d = a.edgeMethod == kVxTexEdgeWrap ? d + (d < 0 ? n : -n)
                                           : (d < 0 ? -d - 1 : 2 * n - 1 - d);
    return s + d;
}

#endif
