// HSV conversions for the colour widgets.
#include "vxColour.h"

#include <cmath>

namespace {

float unit(float x) {
    return x > 0.0f ? (x < 1.0f ? x : 1.0f) : 0.0f;
}

} // namespace

VxRGBf VxHSVtoRGB(float hue, float saturation, float value) {
    const float s = unit(saturation), v = unit(value);
    float h = std::isfinite(hue) ? hue - std::floor(hue) : 0.0f;
    // hue - floor(hue) can round up to exactly 1 for tiny negative hues.
    if (h >= 1.0f)
        h = 0.0f;
    const float h6 = h * 6.0f;
    int sector = static_cast<int>(h6);
    if (sector > 5)
        sector = 5;
    const float f = h6 - static_cast<float>(sector);
    const float p = v * (1.0f - s);
    const float q = v * (1.0f - s * f);
    const float t = v * (1.0f - s * (1.0f - f));
    switch (sector) {
    case 0:
        return VxRGBf(v, t, p);
    case 1:
        return VxRGBf(q, v, p);
    case 2:
        return VxRGBf(p, v, t);
    case 3:
        return VxRGBf(p, q, v);
    case 4:
        return VxRGBf(t, p, v);
    default:
        return VxRGBf(v, p, q);
    }
}

void VxRGBtoHSV(const VxRGBf& c, float& hue, float& saturation, float& value) {
    const float r = unit(c.r), g = unit(c.g), b = unit(c.b);
    const float hi = std::fmax(r, std::fmax(g, b));
    const float lo = std::fmin(r, std::fmin(g, b));
    const float range = hi - lo;
    value = hi;
    saturation = hi > 0.0f ? range / hi : 0.0f;
    if (range <= 0.0f) {
        hue = 0.0f;
        return;
    }
    float h;
    if (hi == r)
        h = (g - b) / range;
    else if (hi == g)
        h = 2.0f + (b - r) / range;
    else
        h = 4.0f + (r - g) / range;
    h /= 6.0f;
    if (h < 0.0f)
        h += 1.0f;
    hue = h >= 1.0f ? 0.0f : h;
}
