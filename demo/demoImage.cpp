#include "demoImage.h"

#include "demoOutput.h"
#include "demoSignals.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfCompression.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <png.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include <sys/stat.h>

namespace {

// Rows between two looks at the Ctrl-C flag while a file is written or read.
constexpr int kRowsPerStep = 64;

// Deflate (PNG, and the ZIP compressions of OpenEXR) packs at most 1032
// bytes into one. A damaged header claiming more pixels than the file could
// hold this way is refused before any pixel memory is taken.
constexpr long long kDeflateRatio = 1032;

// How many bytes of floats one byte of an OpenEXR file may become: a factor
// of 8 for half floats (twice the memory once read) and for colour channels
// the file lacks, times what the compression packs into one byte: 64 for run
// lengths, deflate's ratio for the others (flat pictures that the wavelet
// and lossy compressions pack tighter still are refused).
long long exrBytesPerFileByte(Imf::Compression compression) {
    switch (compression) {
    case Imf::NO_COMPRESSION:
        return 8;
    case Imf::RLE_COMPRESSION:
        return 8 * 64;
    default:
        return 8 * kDeflateRatio;
    }
}

const char* const kRGBA[] = {"R", "G", "B", "A"};

const char* channelName(int channels, int c) {
    return channels == 1 ? "Y" : kRGBA[c];
}

std::string claimText(long long w, long long h, long long fileSize) {
    return "its header claims " + std::to_string(w) + "x" + std::to_string(h) +
           " pixels, more than its " + std::to_string(fileSize) + " bytes can hold";
}

bool sidesFit(long long w, long long h, std::string& error) {
    if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide) {
        error = "its header claims " + std::to_string(w) + "x" + std::to_string(h) +
                " pixels; sides from 1 to " + std::to_string(kMaxSide) + " are read";
        return false;
    }
    return true;
}

// OpenEXR writes through this, so that every write error is seen (the
// library's own file stream leaves the last buffer's errors to a destructor).
class FileStream : public Imf::OStream {
public:
    explicit FileStream(FILE* file) : Imf::OStream("output"), file_(file) {}
    void write(const char c[], int n) override {
        if (std::fwrite(c, 1, static_cast<size_t>(n), file_) != static_cast<size_t>(n)) {
            fail();
        }
    }
    uint64_t tellp() override { return static_cast<uint64_t>(::ftello(file_)); }
    void seekp(uint64_t pos) override {
        if (::fseeko(file_, static_cast<off_t>(pos), SEEK_SET) != 0) {
            fail();
        }
    }
    // The first error, also one the OutputFile's destructor swallowed while
    // writing the chunk offsets; 0 if none.
    int error() const { return errno_; }

private:
    [[noreturn]] void fail() {
        if (errno_ == 0) {
            errno_ = errno;
        }
        throw std::runtime_error(std::strerror(errno));
    }

    FILE* file_;
    int errno_ = 0;
};

bool writeExr(FILE* out, const Image& image, std::string& error) {
    try {
        Imf::Header header(image.width, image.height);
        for (int c = 0; c < image.channels; ++c) {
            header.channels().insert(channelName(image.channels, c), Imf::Channel(Imf::FLOAT));
        }
        FileStream stream(out);
        {
            Imf::OutputFile file(stream, header);
            Imf::FrameBuffer frame;
            const size_t xStride = sizeof(float) * static_cast<size_t>(image.channels);
            for (int c = 0; c < image.channels; ++c) {
                // The library only reads through the slice.
                char* base = reinterpret_cast<char*>(const_cast<float*>(image.pixels.data() + c));
                frame.insert(channelName(image.channels, c),
                             Imf::Slice(Imf::FLOAT, base, xStride, xStride * image.width));
            }
            file.setFrameBuffer(frame);
            for (int y = 0; y < image.height; y += kRowsPerStep) {
                if (interruptRequested()) {
                    error = "interrupted";
                    return false;
                }
                file.writePixels(image.height - y < kRowsPerStep ? image.height - y : kRowsPerStep);
            }
        }
        if (stream.error() != 0) {
            error = std::strerror(stream.error());
            return false;
        }
    } catch (const std::bad_alloc&) {
        throw;
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

// libpng reports errors by longjmp; the reason is kept here on the way.
struct PngSink {
    FILE* file;
    int writeErrno;
    char message[256];
};

void pngError(png_structp png, png_const_charp message) {
    PngSink* sink = static_cast<PngSink*>(png_get_error_ptr(png));
    std::snprintf(sink->message, sizeof sink->message, "%s", message);
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

void pngWrite(png_structp png, png_bytep data, size_t length) {
    PngSink* sink = static_cast<PngSink*>(png_get_io_ptr(png));
    if (std::fwrite(data, 1, length, sink->file) != length) {
        sink->writeErrno = errno;
        png_error(png, "write failed");
    }
}

void pngFlush(png_structp) {}

// Row by row, so that Ctrl-C is seen between rows and no second copy of the
// picture is made. Only plain data lives across the setjmp.
bool writePng(FILE* out, const Image& image, float lo, float hi, std::string& error) {
    static const int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                 PNG_COLOR_TYPE_RGBA};
    std::vector<unsigned char> row(static_cast<size_t>(image.width) * image.channels);
    PngSink sink = {out, 0, ""};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, &pngError, &pngWarning);
    if (png == nullptr) {
        throw std::bad_alloc();
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        error = sink.writeErrno != 0 ? std::strerror(sink.writeErrno) : sink.message;
        return false;
    }
    png_set_write_fn(png, &sink, &pngWrite, &pngFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width),
                 static_cast<png_uint_32>(image.height), 8, kTypes[image.channels - 1],
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    png_write_info(png, info);
    bool stopped = false;
    for (int y = 0; y < image.height && !stopped; ++y) {
        stopped = interruptRequested();
        const float* in = image.row(y);
        for (size_t i = 0; i < row.size() && !stopped; ++i) {
            // Alpha is already a 0..1 coverage, whatever range the colour has.
            const bool alpha = image.channels == 4 && i % 4 == 3;
            row[i] = alpha ? toByte(in[i], 0.0f, 1.0f) : toByte(in[i], lo, hi);
        }
        if (!stopped) {
            png_write_row(png, row.data());
        }
    }
    if (!stopped) {
        png_write_end(png, nullptr);
    }
    png_destroy_write_struct(&png, &info);
    if (stopped) {
        error = "interrupted";
    }
    return !stopped;
}

bool readExr(const std::string& path, long long fileSize, Image& image, std::string& error) {
    try {
        Imf::InputFile file(path.c_str());
        const Imath::Box2i dw = file.header().dataWindow();
        const long long w = static_cast<long long>(dw.max.x) - dw.min.x + 1;
        const long long h = static_cast<long long>(dw.max.y) - dw.min.y + 1;
        if (!sidesFit(w, h, error)) {
            return false;
        }
        const Imf::ChannelList& list = file.header().channels();
        const bool grey = list.findChannel("Y") != nullptr && list.findChannel("R") == nullptr;
        const int channels = grey ? 1 : (list.findChannel("A") != nullptr ? 4 : 3);
        if (w * h * channels * static_cast<long long>(sizeof(float)) >
            fileSize * exrBytesPerFileByte(file.header().compression())) {
            error = claimText(w, h, fileSize);
            return false;
        }
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
        for (int y = dw.min.y; y <= dw.max.y; y += kRowsPerStep) {
            if (interruptRequested()) {
                error = "interrupted";
                return false;
            }
            file.readPixels(y, dw.max.y - y < kRowsPerStep ? dw.max.y : y + kRowsPerStep - 1);
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
    return true;
}

// The smallest deflate stream that could hold the rows IHDR describes, from
// the chunk itself (libpng's simplified reader hides the bit depth).
bool pngClaimFits(const std::string& path, long long fileSize, std::string& error) {
    unsigned char head[26];
    FILE* f = std::fopen(path.c_str(), "rb");
    const bool complete = f != nullptr && std::fread(head, 1, sizeof head, f) == sizeof head;
    if (f != nullptr) {
        std::fclose(f);
    }
    if (!complete || std::memcmp(head + 12, "IHDR", 4) != 0) {
        return true; // libpng gives the reason
    }
    auto be32 = [](const unsigned char* p) {
        return static_cast<long long>(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
    };
    const long long w = be32(head + 16), h = be32(head + 20);
    static const int kSamples[] = {1, 0, 3, 1, 2, 0, 4};
    const int samples = head[25] < 7 ? kSamples[head[25]] : 0;
    if (!sidesFit(w, h, error)) {
        return false;
    }
    const long long rowBytes = (w * head[24] * samples + 7) / 8;
    if (h * rowBytes > fileSize * kDeflateRatio) {
        error = claimText(w, h, fileSize);
        return false;
    }
    return true;
}

bool readPng(const std::string& path, long long fileSize, Image& image, std::string& error) {
    if (!pngClaimFits(path, fileSize, error)) {
        return false;
    }
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) {
        error = png.message;
        return false;
    }
    if (!sidesFit(png.width, png.height, error)) {
        png_image_free(&png);
        return false;
    }
    png.format = PNG_FORMAT_RGBA;
    std::vector<unsigned char> bytes;
    try {
        bytes.resize(PNG_IMAGE_SIZE(png));
    } catch (...) {
        png_image_free(&png);
        throw;
    }
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

bool hasExtension(const std::string& path, const char* extension) {
    const size_t n = std::strlen(extension);
    if (path.size() < n) {
        return false;
    }
    for (size_t i = 0; i < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(path[path.size() - n + i]);
        if (std::tolower(c) != extension[i]) {
            return false;
        }
    }
    return true;
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
    const bool exr = hasExtension(path, ".exr");
    if (!exr && !hasExtension(path, ".png")) {
        error = "unknown file type (use .exr or .png)";
        return false;
    }
    OutputFile out;
    if (!out.open(path, error)) {
        return false;
    }
    const bool ok =
        exr ? writeExr(out.stream(), image, error) : writePng(out.stream(), image, lo, hi, error);
    return ok && out.commit(error);
}

bool readImage(const std::string& path, Image& image, std::string& error) {
    const bool exr = hasExtension(path, ".exr");
    if (!exr && !hasExtension(path, ".png")) {
        error = "unknown file type (use .exr or .png)";
        return false;
    }
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        error = std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = std::strerror(EISDIR);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        error = "not a regular file";
        return false;
    }
    return exr ? readExr(path, st.st_size, image, error) : readPng(path, st.st_size, image, error);
}
