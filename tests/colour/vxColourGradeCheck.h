// What every colour grade must satisfy, and a plain model of its evaluation:
// shared by the grade tests and the fuzz targets.
#ifndef VX_COLOUR_GRADE_CHECK_H
#define VX_COLOUR_GRADE_CHECK_H

#include "vxColourGrade.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

// An empty string, or the first broken invariant. Expects a prepared grade
// (after colour() or prepare()), so that the order is sorted.
inline std::string GradeInvariantError(const VxColourGrade& g) {
    if (g.count < 2 || g.count > VxColourGrade::kMaxKeys)
        return "count " + std::to_string(g.count);
    int used[VxColourGrade::kMaxKeys] = {}, maxSlot = -1;
    for (int i = 0; i < g.count; ++i) {
        const int s = g.slotAt(i);
        auto at = [&](const char* what) {
            return what + std::to_string(s) + " at " + std::to_string(i);
        };
        if (s < 0 || s >= VxColourGrade::kMaxKeys || used[s]++ || g.key(s).orderIndex != i)
            return at("order or orderIndex: slot ");
        maxSlot = s > maxSlot ? s : maxSlot;
        const VxColourKey& k = g.key(s);
        if (!(k.position >= 0.0f && k.position <= 1.0f) ||
            (i > 0 && k.position < g.key(g.slotAt(i - 1)).position))
            return at("position unsorted or outside 0..1: slot ");
        for (int c = 0; c < 4; ++c) {
            if (!(std::fabs(k.colour[c]) <= VxColourGrade::kMaxChannel))
                return at("colour: slot ");
        }
    }
    for (int s = 0; s < VxColourGrade::kMaxKeys; ++s) {
        if (!used[s] && g.key(s).orderIndex != -1)
            return "free slot " + std::to_string(s) + " has a place";
    }
    return g.maxSlot == maxSlot ? std::string() : "maxSlot";
}

// The grade's evaluation written out directly: a linear scan for the first key
// beyond t and the deltas taken from the neighbours, with the same arithmetic.
inline VxRGBAf ModelColour(const VxColourGrade& g, float t) {
    t = !(t > 0.0f) ? 0.0f : t > 1.0f ? 1.0f : t;
    int i = 0;
    while (i < g.count && g.key(g.slotAt(i)).position <= t)
        ++i;
    const VxColourKey& k = g.key(i >= g.count ? g.slotAt(g.count - 2)
                                 : i > 0      ? g.slotAt(i - 1)
                                              : 0);
    VxRGBAf delta;
    float invSpan = 0.0f;
    const int place = k.orderIndex;
    if (place >= 0 && place + 1 < g.count) {
        const VxColourKey& next = g.key(g.slotAt(place + 1));
        const bool wraps = g.isCyclic() && place + 2 == g.count;
        delta = (wraps ? g.key(g.slotAt(0)).colour : next.colour) - k.colour;
        invSpan = VxInvert(next.position - k.position);
    }
    const float s = (t - k.position) * invSpan;
    const float w = g.smooth ? s * s * (3.0f - 2.0f * s) : s;
    return VxRGBAf(k.colour.r + delta.r * w, k.colour.g + delta.g * w, k.colour.b + delta.b * w,
                   k.colour.a + delta.a * w);
}

// Bitwise equality, NaN equal to NaN.
inline bool SameColour(const VxRGBAf& a, const VxRGBAf& b) {
    for (int c = 0; c < 4; ++c) {
        if (!(a[c] == b[c] || (std::isnan(a[c]) && std::isnan(b[c]))))
            return false;
    }
    return true;
}

// For the fuzzers: prepares the grade and aborts, with the reason on
// standard error, when it breaks an invariant or evaluates other than the
// model at 65 places across 0..1.
inline void AbortUnlessSound(VxColourGrade& g) {
    g.prepare();
    std::string error = GradeInvariantError(g);
    for (int i = 0; i <= 64 && error.empty(); ++i) {
        const float t = static_cast<float>(i) / 64.0f;
        if (!SameColour(g.colour(t), ModelColour(g, t)))
            error = "colour(" + std::to_string(t) + ") differs from the model";
    }
    if (!error.empty()) {
        std::fprintf(stderr, "broken grade: %s\n", error.c_str());
        std::abort();
    }
}

#endif
