// demoMaths.h - the pictures made through the library's maths: an FFT
// convolution (FFTW 2 and the spectral multiply pass) and a seamless paste
// solved by the Poisson solver.
#ifndef VX_DEMO_MATHS_H
#define VX_DEMO_MATHS_H

#include "demoImage.h"

#include <string>

struct ConvolveParams {
    float radius = 8.0f;   // of the soft disc, pixels
    float softness = 0.3f; // soft edge, fraction of the radius
};
// Each colour channel of an RGB picture convolved by a soft disc whose
// weights sum to 1. The convolution is cyclic: the picture wraps round at its
// edges, so its left edge shades its right one.
bool renderConvolved(Image& out, const Image& picture, const ConvolveParams& p,
                     const std::string& label);

// The paste region and the box solved over, for a width x height picture:
// the disc of radius `radius` (a fraction of the width) centred on the
// picture holds the pixels whose centres lie strictly inside it; the box is
// the disc's bounding square grown by half the radius on each side (at least
// two pixels), kept one pixel inside the picture. The unknowns are the
// pixels x0 <= x < x1, y0 <= y < y1; the pixels round them are the boundary.
struct PasteGeometry {
    float centreX = 0, centreY = 0, radius = 0; // pixels
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    bool inDisc(int x, int y) const;
    // False when the box holds fewer than 3 x 3 pixels: nothing is pasted.
    bool solvable() const { return x1 - x0 >= 3 && y1 - y0 >= 3; }
};
PasteGeometry pasteGeometry(int width, int height, float radius);

// The source of the paste: the gallery's 8-octave noise (cells of a quarter
// of the width) through the sample grade, RGBA.
bool renderPasteSource(Image& out, int width, int height);

// `source`'s disc pasted into `target` (both RGB or RGBA, the same size; the
// result is RGB) by the gradient-domain method: inside the box the picture X
// solves the discrete Poisson equation
//     X(x-1,y) + X(x+1,y) + X(x,y-1) + X(x,y+1) - 4 X(x,y) = lap(x,y)
// with lap the 5-point Laplacian of the source at pixels in the disc and of
// the target elsewhere, and X = target on the box's border. The three
// channels are the three planes of one vxPois3d call (no coupling between
// planes). Outside the box the result is the target itself; between the disc
// and the box's border it is the target plus a smooth correction that dies
// out at the border, which is what keeps the edge of the paste seamless.
bool renderPaste(Image& out, const Image& target, const Image& source, float radius,
                 const std::string& label);

#endif
