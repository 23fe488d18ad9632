#include "vxImager.h"

namespace {

// Window arithmetic wraps at 32 bits instead of overflowing.
int add(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
int sub(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

} // namespace

Imager::Imager()
    : flags(0), x0(0), y0(0), x1(0), y1(0), callsToSample(1), floatAux0(1.0f), floatAux1(1.0f),
      fieldMode(kVxFieldProgressive), intAux0(0), intAux1(0) {}

Imager::~Imager() = default;

void Imager::setWindow(int ax0, int ay0, int ax1, int ay1) {
    x0 = ax0;
    y0 = ay0;
    x1 = add(ax1, 1);
    y1 = add(ay1, 1);
    flags |= kWindowGiven | kWindowActive;
}

void Imager::setBorderedWindow(int ax0, int ay0, int ax1, int ay1, int bx, int by) {
    x0 = sub(ax0, bx);
    y0 = sub(ay0, by);
    x1 = add(add(ax1, bx), 2);
    y1 = add(add(ay1, by), 2);
    flags |= kWindowGiven | kWindowBordered | kWindowActive;
}

void Imager::getWindow(int& ax0, int& ay0, int& ax1, int& ay1) const {
    ax0 = x0;
    ay0 = y0;
    ax1 = sub(x1, 1);
    ay1 = sub(y1, 1);
}

void Imager::copyWindow(const Imager* other) {
    if (other == nullptr) {
        return;
    }
    x0 = other->x0;
    y0 = other->y0;
    x1 = other->x1;
    y1 = other->y1;
    flags |= kWindowGiven | kWindowActive;
}

void Imager::unsetWindow() {
    flags &= static_cast<unsigned char>(~kWindowActive);
}

int Imager::findFieldedStartY(int y) const {
    switch (fieldMode) {
    case kVxFieldEven:
        return (add(y, 1) / 2) * 2;
    case kVxFieldOdd:
        return y < 0 ? add(y, 1) | 1 : y | 1;
    default:
        return y;
    }
}

int Imager::findFieldedInc() const {
    return fieldMode == kVxFieldEven || fieldMode == kVxFieldOdd ? 2 : 1;
}
