#include "demoImage.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <png.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>

namespace {

// Larger pictures than this are refused on reading: a damaged header must not
// make the program try to allocate gigabytes.
constexpr long long kMaxReadPixels = 1LL << 27;
constexpr int kMaxReadSide = 1 << 16;

const char* const kRGBA[] = {"R", "G", "B", "A"};

const char* channelName(int channels, int c) {
    return channels == 1 ? "Y" : kRGBA[c];
}

bool writeExr(const std::string& path, const Image& image, std::string& error) {
    try {
        Imf::Header header(image.width, image.height);
        for (int c = 0; c < image.channels; ++c) {
            header.channels().insert(channelName(image.channels, c), Imf::Channel(Imf::FLOAT));
        }
        Imf::OutputFile file(path.c_str(), header);
        Imf::FrameBuffer frame;
        const size_t xStride = sizeof(float) * static_cast<size_t>(image.channels);
        for (int c = 0; c < image.channels; ++c) {
            // The library only reads through the slice.
            char* base = reinterpret_cast<char*>(const_cast<float*>(image.pixels.data() + c));
            frame.insert(channelName(image.channels, c),
                         Imf::Slice(Imf::FLOAT, base, xStride, xStride * image.width));
        }
        file.setFrameBuffer(frame);
        file.writePixels(image.height);
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
    return true;
}

unsigned char toByte(float v, float lo, float hi) {
    float t = hi != lo ? (v - lo) / (hi - lo) : 0.0f;
    if (!(t > 0.0f)) { // also NaN
        t = 0.0f;
    }
    if (t > 1.0f) {
        t = 1.0f;
    }
    return static_cast<unsigned char>(std::lround(t * 255.0f));
}

bool writePng(const std::string& path, const Image& image, float lo, float hi, std::string& error) {
    static const png_uint_32 kFormats[] = {PNG_FORMAT_GRAY, PNG_FORMAT_GA, PNG_FORMAT_RGB,
                                           PNG_FORMAT_RGBA};
    std::vector<unsigned char> bytes(image.pixels.size());
    for (size_t i = 0; i < bytes.size(); ++i) {
        // Alpha is already a 0..1 coverage, whatever range the colour has.
        const bool alpha = image.channels == 4 && i % 4 == 3;
        bytes[i] = alpha ? toByte(image.pixels[i], 0.0f, 1.0f) : toByte(image.pixels[i], lo, hi);
    }
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = kFormats[image.channels - 1];
    if (!png_image_write_to_file(&png, path.c_str(), 0, bytes.data(), 0, nullptr)) {
        error = png.message;
        png_image_free(&png);
        return false;
    }
    return true;
}

bool readExr(const std::string& path, Image& image, std::string& error) {
    try {
        Imf::InputFile file(path.c_str());
        const Imath::Box2i dw = file.header().dataWindow();
        const long long w = static_cast<long long>(dw.max.x) - dw.min.x + 1;
        const long long h = static_cast<long long>(dw.max.y) - dw.min.y + 1;
        if (w < 1 || h < 1 || w > kMaxReadSide || h > kMaxReadSide || w * h > kMaxReadPixels) {
            error = "unsupported picture size";
            return false;
        }
        const Imf::ChannelList& list = file.header().channels();
        const bool grey = list.findChannel("Y") != nullptr && list.findChannel("R") == nullptr;
        const int channels = grey ? 1 : (list.findChannel("A") != nullptr ? 4 : 3);
        image = Image(static_cast<int>(w), static_cast<int>(h), channels);
        Imf::FrameBuffer frame;
        const size_t xStride = sizeof(float) * static_cast<size_t>(channels);
        for (int c = 0; c < channels; ++c) {
            const char* name = channelName(channels, c);
            // Missing colour channels read as 0 (alpha, when asked for, exists).
            frame.insert(name, Imf::Slice::Make(Imf::FLOAT, image.pixels.data() + c, dw, xStride,
                                                xStride * static_cast<size_t>(w), 1, 1, 0.0));
        }
        file.setFrameBuffer(frame);
        file.readPixels(dw.min.y, dw.max.y);
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
    return true;
}

bool readPng(const std::string& path, Image& image, std::string& error) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) {
        error = png.message;
        return false;
    }
    if (png.width < 1 || png.height < 1 || png.width > kMaxReadSide || png.height > kMaxReadSide ||
        static_cast<long long>(png.width) * png.height > kMaxReadPixels) {
        png_image_free(&png);
        error = "unsupported picture size";
        return false;
    }
    png.format = PNG_FORMAT_RGBA;
    std::vector<unsigned char> bytes(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr)) {
        error = png.message;
        png_image_free(&png);
        return false;
    }
    image = Image(static_cast<int>(png.width), static_cast<int>(png.height), 4);
    for (size_t i = 0; i < bytes.size(); ++i) {
        image.pixels[i] = static_cast<float>(bytes[i]) / 255.0f;
    }
    return true;
}

} // namespace

bool endsWith(const std::string& s, const char* suffix) {
    const size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

uint64_t imageDigest(const Image& image) {
    uint64_t h = 1469598103934665603ULL;
    auto mix = [&h](uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            h ^= (v >> (8 * i)) & 0xffu;
            h *= 1099511628211ULL;
        }
    };
    mix(static_cast<uint32_t>(image.width));
    mix(static_cast<uint32_t>(image.height));
    mix(static_cast<uint32_t>(image.channels));
    for (float v : image.pixels) {
        uint32_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        mix(bits);
    }
    return h;
}

std::string digestText(uint64_t digest) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(digest));
    return text;
}

bool writeImage(const std::string& path, const Image& image, float lo, float hi,
                std::string& error) {
    if (image.width < 1 || image.height < 1 || image.channels < 1 || image.channels > 4) {
        error = "empty picture";
        return false;
    }
    const std::string part = path + ".part";
    bool ok;
    if (endsWith(path, ".exr")) {
        ok = writeExr(part, image, error);
    } else if (endsWith(path, ".png")) {
        ok = writePng(part, image, lo, hi, error);
    } else {
        error = "unknown file type (use .exr or .png)";
        return false;
    }
    if (ok && std::rename(part.c_str(), path.c_str()) != 0) {
        error = std::strerror(errno);
        ok = false;
    }
    if (!ok) {
        std::remove(part.c_str());
    }
    return ok;
}

bool readImage(const std::string& path, Image& image, std::string& error) {
    if (endsWith(path, ".exr")) {
        return readExr(path, image, error);
    }
    if (endsWith(path, ".png")) {
        return readPng(path, image, error);
    }
    error = "unknown file type (use .exr or .png)";
    return false;
}
