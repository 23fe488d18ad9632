#include "demoCommands.h"

#include "demoEffects.h"
#include "demoGallery.h"
#include "demoImage.h"
#include "demoMaths.h"
#include "demoOutput.h"
#include "demoSignals.h"
#include "demoWidgetSheet.h"

#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

const char* const kUsage =
    "usage: vxdemo [COMMAND] [OPTIONS]\n"
    "\n"
    "commands:\n"
    "  gallery   (the default) render every generator, and the widget sheet (always at\n"
    "            its own size), into a folder, with an index.html\n"
    "            --out DIR (out)\n"
    "  noise     fractal noise, one channel in about -1..1\n"
    "            --octaves 1..8 (8)  --seed N (1)  --feature PIXELS (64)  --z F (0.5)\n"
    "  mosaic    the test picture through a mosaic map\n"
    "            --map squares|circles|triangles|octagons|thingy|0..4 (squares)\n"
    "            --cell PIXELS (32)  --angle DEGREES (0)\n"
    "  mask      a soft shape mask's density\n"
    "            --shape circle|box (circle)  --extent X[,Y] (0.3, fractions of the width)\n"
    "            --softness F (0.3)  --rotation DEGREES (0)\n"
    "  shake     frames of the test picture under noise-driven camera shake; --out is a\n"
    "            file name to which _NN is added before the extension\n"
    "            --frames N (8)  --seed N (1)  --amplitude F (0.03)  --rate F (1.5)\n"
    "  convolve  the test picture blurred by a soft disc through FFTs; cyclic, so the\n"
    "            picture wraps round at its edges\n"
    "            --radius PIXELS (8)  --softness F (0.3, fraction of the radius)\n"
    "  paste     a disc of graded noise pasted seamlessly into the test picture by a\n"
    "            Poisson solve over a box round the disc (the picture is unchanged\n"
    "            outside the box); the disc is centred, its radius a fraction of the width\n"
    "            --radius F (0.25)\n"
    "  grade     colour a picture by a colour grade file (the gallery writes sample.grade);\n"
    "            the picture's single channel, or its luminance, from LO to HI is mapped\n"
    "            onto the grade. Without --in, the default noise is coloured; with --in,\n"
    "            the picture keeps its size and --size is refused.\n"
    "            --grade FILE (the gallery's grade)  --in FILE.exr|FILE.png\n"
    "            --lo F (0)  --hi F (1)\n"
    "  widgets   the widget sheet: every drawing primitive, and every value widget idle,\n"
    "            poised (with its hint) and active, drawn by OpenGL in Mesa's off-screen\n"
    "            renderer on one thread (--workers is accepted and has no effect). Its\n"
    "            size is 1440x640 unless --size is given; at another size the drawing is\n"
    "            scaled to fit and centred, the 7 x 14 pixel text is not\n"
    "  digest    print the pixel digest of OpenEXR or PNG files: vxdemo digest FILE...\n"
    "  help      this text (also --help or -h after any command)\n"
    "\n"
    "options of every rendering command, given as --name VALUE or --name=VALUE:\n"
    "  --size N or WxH   picture size in pixels (512); sides from 1 to 16384, which is\n"
    "                    also the largest picture digest and --in read\n"
    "  --out FILE        .exr (floats, exact) or .png (8-bit preview), in either case;\n"
    "                    default COMMAND.exr\n"
    "  --workers N       processors to use (all)\n";

namespace {

constexpr float kPi = 3.14159265358979323846f;

// Colour grade files are a line per key; anything larger is not one.
constexpr size_t kMaxGradeFile = 64 * 1024;
constexpr size_t kMaxGradeLine = 1024;

int usageError(const std::string& message) {
    std::fprintf(stderr, "vxdemo: %s\n(vxdemo help lists the commands and options)\n",
                 message.c_str());
    return 2;
}

int cannotRead(const std::string& path, const std::string& reason) {
    std::fprintf(stderr, "vxdemo: cannot read %s: %s\n", path.c_str(), reason.c_str());
    return 1;
}

// What an interrupted or failed step ends the program with: a failed write
// has already named its file.
int stopped() {
    return interruptRequested() ? interruptedExit() : 1;
}

struct Common {
    int width = 512, height = 512, workers = 0;
    std::string out;
};

bool parseCommon(const Options& o, const std::string& command, Common& c, std::string& error) {
    c.out = o.text("out", command + ".exr");
    if (!o.size(c.width, c.height, error) || !o.integer("workers", 1, 1024, c.workers, error)) {
        return false;
    }
    if (!hasExtension(c.out, ".exr") && !hasExtension(c.out, ".png")) {
        error = "the output file must end in .exr or .png, not '" + c.out + "'";
        return false;
    }
    return true;
}

void startHost(const Options& o, int workers) {
    VxStandaloneHostSetProgramName("vxdemo");
    VxStandaloneHostSetWorkers(o.has("workers") ? workers : 0);
    const int n = VxStandaloneHostWorkers();
    SpMpSetSize(n, 1, n);
}

int finishWith(const std::string& path, const Image& image, float lo, float hi) {
    return saveImage(path, image, lo, hi) ? 0 : stopped();
}

int runGallery(const Options& o) {
    std::string error;
    int width = 512, height = 512, workers = 0;
    if (!o.size(width, height, error) || !o.integer("workers", 1, 1024, workers, error)) {
        return usageError(error);
    }
    startHost(o, workers);
    return renderGallery(o.text("out", "out"), width, height);
}

int runNoise(const Options& o) {
    std::string error;
    Common c;
    NoiseParams p;
    if (!parseCommon(o, "noise", c, error) || !o.integer("octaves", 1, 8, p.octaves, error) ||
        !o.integer("seed", -2147483647, 2147483647, p.seed, error) ||
        !o.number("feature", 0.001f, 1e6f, p.feature, error) ||
        !o.number("z", -1e6f, 1e6f, p.z, error)) {
        return usageError(error);
    }
    startHost(o, c.workers);
    Image image;
    if (!renderNoise(image, c.width, c.height, p, "noise")) {
        return stopped();
    }
    return finishWith(c.out, image, -0.6f, 0.6f);
}

bool parseMap(const std::string& s, int& map) {
    for (int i = 0; i < mosaicMapCount(); ++i) {
        std::string lower = mosaicMapName(i);
        for (char& ch : lower) {
            ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        }
        if (s == lower || s == std::to_string(i)) {
            map = i;
            return true;
        }
    }
    return false;
}

int runMosaic(const Options& o) {
    std::string error;
    Common c;
    MosaicParams p;
    float degrees = 0;
    if (!parseCommon(o, "mosaic", c, error) || !o.integer("cell", 2, 4096, p.cell, error) ||
        !o.number("angle", -3600, 3600, degrees, error)) {
        return usageError(error);
    }
    if (o.has("map") && !parseMap(o.text("map", ""), p.map)) {
        return usageError("--map needs squares, circles, triangles, octagons, thingy or 0..4, "
                          "not '" +
                          o.text("map", "") + "'");
    }
    p.angle = degrees * kPi / 180.0f;
    startHost(o, c.workers);
    Image picture, image;
    if (!renderTestPicture(picture, c.width, c.height) ||
        !renderMosaic(image, picture, p, "mosaic")) {
        return stopped();
    }
    return finishWith(c.out, image, 0, 1);
}

int runMask(const Options& o) {
    std::string error;
    Common c;
    MaskParams p;
    float degrees = 0;
    if (!parseCommon(o, "mask", c, error) ||
        !o.number("softness", 0.001f, 100, p.softness, error) ||
        !o.number("rotation", -3600, 3600, degrees, error)) {
        return usageError(error);
    }
    const std::string shape = o.text("shape", "circle");
    if (shape != "circle" && shape != "box") {
        return usageError("--shape needs circle or box, not '" + shape + "'");
    }
    p.box = shape == "box";
    if (o.has("extent")) {
        const std::string e = o.text("extent", "");
        const size_t comma = e.find(',');
        const bool ok = comma == std::string::npos
                            ? Options::parseNumber(e, 0, 100, p.sizeX)
                            : Options::parseNumber(e.substr(0, comma), 0, 100, p.sizeX) &&
                                  Options::parseNumber(e.substr(comma + 1), 0, 100, p.sizeY);
        if (!ok) {
            return usageError("--extent needs X or X,Y (fractions of the width, 0 to 100), "
                              "not '" +
                              e + "'");
        }
        if (comma == std::string::npos) {
            p.sizeY = p.sizeX;
        }
    }
    p.rotation = degrees * kPi / 180.0f;
    startHost(o, c.workers);
    Image image;
    if (!renderMask(image, c.width, c.height, p, "mask")) {
        return stopped();
    }
    return finishWith(c.out, image, 0, 1);
}

int runShake(const Options& o) {
    std::string error;
    Common c;
    ShakeParams p;
    int frames = 8;
    if (!parseCommon(o, "shake", c, error) || !o.integer("frames", 1, 10000, frames, error) ||
        !o.integer("seed", -2147483647, 2147483647, p.seed, error) ||
        !o.number("amplitude", 0, 10, p.amplitude, error) ||
        !o.number("rate", 0, 1000, p.rate, error)) {
        return usageError(error);
    }
    startHost(o, c.workers);
    Image picture;
    if (!renderTestPicture(picture, c.width, c.height)) {
        return stopped();
    }
    const size_t dot = c.out.rfind('.');
    for (int frame = 0; frame < frames; ++frame) {
        char number[16];
        std::snprintf(number, sizeof number, "_%02d", frame);
        const std::string path = c.out.substr(0, dot) + number + c.out.substr(dot);
        Image image;
        if (!renderShakeFrame(image, picture, frame, p, path) || !saveImage(path, image, 0, 1)) {
            return stopped();
        }
    }
    return 0;
}

int runConvolve(const Options& o) {
    std::string error;
    Common c;
    ConvolveParams p;
    if (!parseCommon(o, "convolve", c, error) ||
        !o.number("radius", 0.5f, 16384, p.radius, error) ||
        !o.number("softness", 0.001f, 100, p.softness, error)) {
        return usageError(error);
    }
    startHost(o, c.workers);
    Image picture, image;
    if (!renderTestPicture(picture, c.width, c.height) ||
        !renderConvolved(image, picture, p, "convolve")) {
        return stopped();
    }
    return finishWith(c.out, image, 0, 1);
}

int runPaste(const Options& o) {
    std::string error;
    Common c;
    float radius = 0.25f;
    if (!parseCommon(o, "paste", c, error) || !o.number("radius", 0, 1, radius, error)) {
        return usageError(error);
    }
    startHost(o, c.workers);
    Image picture, source, image;
    if (!renderTestPicture(picture, c.width, c.height) ||
        !renderPasteSource(source, c.width, c.height) ||
        !renderPaste(image, picture, source, radius, "paste")) {
        return stopped();
    }
    return finishWith(c.out, image, 0, 1);
}

// The whole file, refused when it is a directory or longer than a grade file
// can be (a device such as /dev/zero would otherwise be read for ever).
bool readGradeText(const std::string& path, std::string& text, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = std::strerror(errno);
        return false;
    }
    struct stat st;
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        error = std::strerror(EISDIR);
        return false;
    }
    char buffer[4096];
    ssize_t n = 0;
    while (text.size() <= kMaxGradeFile && (n = ::read(fd, buffer, sizeof buffer)) != 0) {
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            error = std::strerror(errno);
            ::close(fd);
            return false;
        }
        text.append(buffer, static_cast<size_t>(n));
    }
    ::close(fd);
    if (text.size() > kMaxGradeFile) {
        error = "longer than " + std::to_string(kMaxGradeFile) + " bytes, not a colour grade file";
        return false;
    }
    size_t line = 1;
    for (size_t start = 0; start < text.size(); ++line) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end;
        if (end - start > kMaxGradeLine) {
            error = "line " + std::to_string(line) + " is longer than " +
                    std::to_string(kMaxGradeLine) + " bytes, not a colour grade file";
            return false;
        }
        start = end + 1;
    }
    return true;
}

int runGrade(const Options& o) {
    std::string error;
    Common c;
    float lo = 0, hi = 1;
    if (!parseCommon(o, "grade", c, error) || !o.number("lo", -1e30f, 1e30f, lo, error) ||
        !o.number("hi", -1e30f, 1e30f, hi, error)) {
        return usageError(error);
    }
    if (!(hi != lo)) {
        return usageError("--lo and --hi must differ");
    }
    if (o.has("in") && o.has("size")) {
        return usageError("--size cannot be given with --in: the picture keeps its own size");
    }
    VxColourGrade grade = sampleGrade();
    if (o.has("grade")) {
        const std::string path = o.text("grade", "");
        std::string text;
        if (!readGradeText(path, text, error)) {
            return cannotRead(path, error);
        }
        FILE* f = text.empty() ? nullptr : ::fmemopen(&text[0], text.size(), "r");
        const int keys = f != nullptr ? grade.read(f) : 0;
        if (f != nullptr) {
            std::fclose(f);
        }
        if (keys < 2) {
            std::fprintf(stderr, "vxdemo: %s holds no colour grade\n", path.c_str());
            return 1;
        }
    }
    startHost(o, c.workers);
    Image scalar;
    if (o.has("in")) {
        const std::string path = o.text("in", "");
        if (!readImage(path, scalar, error)) {
            return interruptRequested() ? interruptedExit() : cannotRead(path, error);
        }
    } else {
        // Without a picture, the default noise over the usual range.
        NoiseParams p;
        if (!renderNoise(scalar, c.width, c.height, p, "noise")) {
            return stopped();
        }
        if (!o.has("lo") && !o.has("hi")) {
            lo = -0.6f;
            hi = 0.6f;
        }
    }
    Image image;
    if (!renderGradeMap(image, scalar, grade, lo, hi, "grade")) {
        return stopped();
    }
    return finishWith(c.out, image, 0, 1);
}

int runWidgets(const Options& o) {
    std::string error;
    Common c;
    c.width = kWidgetSheetWidth;
    c.height = kWidgetSheetHeight;
    if (!parseCommon(o, "widgets", c, error)) {
        return usageError(error);
    }
    Image image;
    if (!renderWidgetSheet(image, c.width, c.height, error)) {
        std::fprintf(stderr, "vxdemo: cannot draw the widget sheet: %s\n", error.c_str());
        return 1;
    }
    if (interruptRequested()) {
        return interruptedExit();
    }
    return finishWith(c.out, image, 0, 1);
}

int runDigest(const Options& o) {
    if (o.files().empty()) {
        return usageError("digest needs one or more .exr or .png files");
    }
    int status = 0;
    for (const std::string& path : o.files()) {
        Image image;
        std::string error;
        if (interruptRequested()) {
            return interruptedExit();
        }
        if (!readImage(path, image, error)) {
            if (interruptRequested()) {
                return interruptedExit();
            }
            status = cannotRead(path, error);
            continue;
        }
        std::printf("%s %s\n", path.c_str(), digestText(imageDigest(image)).c_str());
    }
    return status;
}

int runHelp(const Options&) {
    std::fputs(kUsage, stdout);
    return 0;
}

} // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> kCommands = {
        {"gallery", {"out", "size", "workers"}, false, &runGallery},
        {"noise", {"out", "size", "workers", "octaves", "seed", "feature", "z"}, false, &runNoise},
        {"mosaic", {"out", "size", "workers", "map", "cell", "angle"}, false, &runMosaic},
        {"mask",
         {"out", "size", "workers", "shape", "extent", "softness", "rotation"},
         false,
         &runMask},
        {"shake",
         {"out", "size", "workers", "frames", "seed", "amplitude", "rate"},
         false,
         &runShake},
        {"convolve", {"out", "size", "workers", "radius", "softness"}, false, &runConvolve},
        {"paste", {"out", "size", "workers", "radius"}, false, &runPaste},
        {"grade", {"out", "size", "workers", "grade", "in", "lo", "hi"}, false, &runGrade},
        {"widgets", {"out", "size", "workers"}, false, &runWidgets},
        {"digest", {}, true, &runDigest},
        {"help", {}, false, &runHelp},
    };
    return kCommands;
}
