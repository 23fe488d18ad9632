// Pixel comparisons for the drawing tests: the colour a pixel should read back
// as, and equality within the rounding of 8-bit conversion.
#ifndef VX_GL_PIXELS_H
#define VX_GL_PIXELS_H

#include <vxColour.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>

// A pixel as 8-bit r, g, b.
using Pixel = std::array<int, 3>;

// The 8-bit pixel a colour should read back as.
inline Pixel rgb(const VxRGBf& c) {
    return {int(std::lround(c.r * 255)), int(std::lround(c.g * 255)), int(std::lround(c.b * 255))};
}

// Equal within one level per channel: 8-bit conversion may round either way
// at exact halves (0.1 * 255 = 25.5).
inline ::testing::AssertionResult near(const Pixel& got, const Pixel& want) {
    for (int i = 0; i < 3; ++i)
        if (std::abs(got[i] - want[i]) > 1)
            return ::testing::AssertionFailure()
                   << "(" << got[0] << ", " << got[1] << ", " << got[2] << ") is not (" << want[0]
                   << ", " << want[1] << ", " << want[2] << ")";
    return ::testing::AssertionSuccess();
}

#endif
