// demoImage.h - the demonstration program's images and image files.
//
// An Image is a plain interleaved float buffer (1 to 4 channels, row 0 at the
// top). Files are chosen by extension: ".exr" keeps the floats exactly
// (OpenEXR, 32-bit float channels Y, or R G B [A]); ".png" is an 8-bit
// preview with the values in [lo, hi] mapped to 0..255.
#ifndef VX_DEMO_IMAGE_H
#define VX_DEMO_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<float> pixels; // width * height * channels, interleaved

    Image() = default;
    Image(int w, int h, int c)
        : width(w), height(h), channels(c), pixels(static_cast<size_t>(w) * h * c, 0.0f) {}

    float* row(int y) { return pixels.data() + static_cast<size_t>(y) * width * channels; }
    const float* row(int y) const {
        return pixels.data() + static_cast<size_t>(y) * width * channels;
    }
    float* at(int x, int y) { return row(y) + static_cast<size_t>(x) * channels; }
    const float* at(int x, int y) const { return row(y) + static_cast<size_t>(x) * channels; }
};

// FNV-1a over the size, the channel count and every float's bit pattern: the
// same picture gives the same digest on every machine.
uint64_t imageDigest(const Image& image);
std::string digestText(uint64_t digest);

// The largest side of a picture, written or read: one limit, so that every
// picture the program writes it can read back.
constexpr int kMaxSide = 16384;

// Writes by extension (.exr or .png, in either case) through an OutputFile,
// so the file appears under its name only once complete. Ctrl-C stops the
// write between rows. On failure: false, with the reason in `error`.
bool writeImage(const std::string& path, const Image& image, float lo, float hi,
                std::string& error);

// Reads an OpenEXR or PNG file into floats (PNG values scaled to 0..1). The
// size its header claims is checked against the file's length before any
// pixel memory is taken: more pixels than the file could hold compressed, or
// a side above kMaxSide, is refused.
bool readImage(const std::string& path, Image& image, std::string& error);

// True when `path` ends in ".exr" or ".png" (`extension`), in any case.
bool hasExtension(const std::string& path, const char* extension);

#endif
