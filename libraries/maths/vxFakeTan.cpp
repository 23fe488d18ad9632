// Table-driven atan2.
#include "vxFakeTan.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

// (angle + offset) / 2 pi as a fraction of a turn in [0, 1). Whole turns are
// taken off with floor, which gives the same value as stepping by one turn
// at a time while that is exact (below 2^52 turns) and cannot run away on
// huge values.
float toTurns(float angle, float offset) {
    const double t = static_cast<double>(angle + offset) / kTwoPi;
    if (!std::isfinite(t))
        return 0.0f;
    const float f = static_cast<float>(t - std::floor(t));
    // Just below a whole turn may round up to 1 in float: that is turn 0.
    return f < 1.0f ? f : 0.0f;
}

} // namespace

VxFakeTan::VxFakeTan(int n) : size(0), half(0), bottom(), top(), right(), left(), storage_() {
    n = std::min(std::max(n, 0), kMaxSize);
    size = 2 * ((n + 2) / 2);
    half = size / 2;
    allocate();
    const float h = static_cast<float>(half);
    for (int c = -half; c <= half; ++c) {
        const float fc = static_cast<float>(c);
        bottom[c] = std::atan2(-h, fc);
        top[c] = std::atan2(h, fc);
        left[c] = std::atan2(fc, -h);
        right[c] = std::atan2(fc, h);
    }
}

VxFakeTan::VxFakeTan(const VxFakeTan& other)
    : size(other.size), half(other.half), bottom(), top(), right(), left(), storage_() {
    allocate();
    std::memcpy(storage_, other.storage_, sizeof(float) * 4 * static_cast<size_t>(size + 2));
}

VxFakeTan& VxFakeTan::operator=(const VxFakeTan& other) {
    if (this != &other) {
        VxFakeTan copy(other);
        std::swap(size, copy.size);
        std::swap(half, copy.half);
        std::swap(bottom, copy.bottom);
        std::swap(top, copy.top);
        std::swap(right, copy.right);
        std::swap(left, copy.left);
        std::swap(storage_, copy.storage_);
    }
    return *this;
}

VxFakeTan::~VxFakeTan() {
    delete[] storage_;
}

void VxFakeTan::allocate() {
    const size_t stride = static_cast<size_t>(size + 2);
    storage_ = new float[4 * stride]();
    // Each table pointer sits on its entry 0, half entries into its block.
    bottom = storage_ + half;
    top = bottom + stride;
    right = top + stride;
    left = right + stride;
}

void VxFakeTan::normalise(float offset) {
    for (float* table : {bottom, top, right, left})
        for (int c = -half; c <= half; ++c)
            table[c] = toTurns(table[c], offset);
}

void VxFakeTan::normaliseInner(float offset, float& angle) const {
    angle = toTurns(angle, offset);
}

float VxFakeTan::faketan2(float y, float x) const {
    if (std::isnan(x) || std::isnan(y))
        return 0.0f;
    const float ay = std::fabs(y), ax = std::fabs(x);
    const float h = static_cast<float>(half);
    // The quotient lies in -h .. h. Near the top of the float range the
    // product overflows, and the ratio is scaled instead; both arguments
    // infinite make it NaN, the direction then being a diagonal.
    auto index = [h](float num, float den) {
        float q = num * h / den;
        if (std::isinf(q))
            q = num / den * h;
        if (std::isnan(q))
            q = num > 0.0f ? h : -h;
        q = std::min(std::max(q, -h), h);
        return static_cast<int>(q); // toward zero
    };
    if (ay >= ax) {
        if (y == 0.0f)
            return 0.0f;
        const int i = index(x, ay);
        return y > 0.0f ? top[i] : bottom[i];
    }
    if (x == 0.0f)
        return 0.0f;
    const int i = index(y, ax);
    return x > 0.0f ? right[i] : left[i];
}
