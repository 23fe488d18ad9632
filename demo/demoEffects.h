// demoEffects.h - the pictures the demonstration program renders, each one a
// RowRender built on Veltrix's public classes as an effect plug-in would be.
#ifndef VX_DEMO_EFFECTS_H
#define VX_DEMO_EFFECTS_H

#include "demoImage.h"

#include "vxColourGrade.h"
#include "vxGrad.h"

#include <string>

// A generated RGB picture to run the effects on: colour ramps, a checker
// board and soft discs, made with exact arithmetic only so that it is the
// same on every machine.
bool renderTestPicture(Image& out, int width, int height);

struct NoiseParams {
    int octaves = 8; // 1 .. 8
    int seed = 1;
    float feature = 64; // size of the coarsest octave's cells, pixels
    float z = 0.5f;     // depth of the 3-D slice
};
// Fractal noise, one channel, divided by its bound so it lies in about -1 .. 1.
bool renderNoise(Image& out, int width, int height, const NoiseParams& p, const std::string& label);

// The five mosaic maps, 0 .. 4, in the order of VxMosaicMapSet.
int mosaicMapCount();
const char* mosaicMapName(int map);
struct MosaicParams {
    int map = 0;
    int cell = 32;   // tile cell size, pixels
    float angle = 0; // rotation of the tiling about the picture's centre, radians
};
// The picture flattened to one colour per mosaic piece.
bool renderMosaic(Image& out, const Image& picture, const MosaicParams& p,
                  const std::string& label);

struct MaskParams {
    bool box = false;
    float sizeX = 0.3f, sizeY = 0.3f; // half-extents, fractions of the picture's width
    float softness = 0.3f;
    float rotation = 0; // radians
};
// The mask's density, one channel, evaluated only inside each row's outer
// interval and set to the maximum without evaluation inside the inner one.
// Where a box's intervals cannot reach (past image x = 1000) the density is
// evaluated across the shape's bounding box, so the whole box is drawn at any
// size.
bool renderMask(Image& out, int width, int height, const MaskParams& p, const std::string& label);

struct ShakeParams {
    int seed = 1;
    float amplitude = 0.03f; // translation, fraction of the picture's width
    float rotate = 0.04f;    // radians
    float scale = 0.03f;
    float rate = 1.5f;
    float fps = 24.0f;
};
// Frame `frame` of the picture shaken about its centre.
bool renderShakeFrame(Image& out, const Image& picture, int frame, const ShakeParams& p,
                      const std::string& label);

// The gallery's colour grade: dark blue through teal and sand to white. Each
// key sits at the mean of its red, green and blue, the position a grade file
// gives a key when it is read back, so the grade survives a save unchanged.
VxColourGrade sampleGrade();
// A cyclic gradient of four hues, for banded maps.
VxGradDescription<VxRGBAf> sampleGradient();

// A scalar picture (one channel, or the luminance of RGB) coloured by a grade
// or a gradient: t = (v - lo) / (hi - lo), repeated `repeats` times across the
// gradient. The result is RGBA.
bool renderGradeMap(Image& out, const Image& scalar, VxColourGrade& grade, float lo, float hi,
                    const std::string& label);
bool renderGradientMap(Image& out, const Image& scalar, VxGradDescription<VxRGBAf>& gradient,
                       float lo, float hi, float repeats, const std::string& label);

#endif
