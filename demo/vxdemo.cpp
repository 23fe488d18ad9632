// vxdemo - Veltrix's demonstration program.
//
// Built only on the library's public headers and the stand-alone host, as an
// effect plug-in would be. Run with no arguments it renders a gallery of the
// generators into ./out (OpenEXR images, PNG previews and an index.html);
// commands render one effect with chosen parameters. Every picture is
// rendered row by row on all processors; Ctrl-C stops after the current band
// and no further picture is started, so files already written stay whole.
#include "demoEffects.h"
#include "demoImage.h"
#include "demoRender.h"

#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr float kPi = 3.14159265358979323846f;
constexpr int kInterruptedExit = 130;

const char* const kUsage =
    "usage: vxdemo [COMMAND] [OPTIONS]\n"
    "\n"
    "commands:\n"
    "  gallery   (the default) render every generator into a folder, with an index.html\n"
    "            --out DIR (out)  --size N (512)\n"
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
    "  grade     colour a picture by a colour grade file (the gallery writes sample.grade);\n"
    "            the picture's single channel, or its luminance, from LO to HI is mapped\n"
    "            onto the grade. Without --in, the default noise is coloured.\n"
    "            --grade FILE (the gallery's grade)  --in FILE.exr|FILE.png\n"
    "            --lo F (0)  --hi F (1)\n"
    "  digest    print the pixel digest of OpenEXR or PNG files: vxdemo digest FILE...\n"
    "  help      this text\n"
    "\n"
    "options of every rendering command:\n"
    "  --size N or WxH   picture size in pixels (512)\n"
    "  --out FILE        .exr (floats, exact) or .png (8-bit preview); default COMMAND.exr\n"
    "  --workers N       processors to use (all)\n";

int usageError(const std::string& message) {
    std::fprintf(stderr, "vxdemo: %s\n(vxdemo help lists the commands and options)\n",
                 message.c_str());
    return 2;
}

// The command line after the command word: "--name value" pairs, each name
// given at most once and only those the command knows.
class Options {
public:
    bool parse(int argc, char** argv, int first, const std::vector<std::string>& known,
               std::string& error) {
        for (int i = first; i < argc; ++i) {
            const std::string name = argv[i];
            bool ok = false;
            for (const std::string& k : known) {
                ok = ok || name == "--" + k;
            }
            if (!ok) {
                error = "unknown option '" + name + "'";
                return false;
            }
            if (i + 1 >= argc) {
                error = name + " needs a value";
                return false;
            }
            if (!values_.emplace(name.substr(2), argv[++i]).second) {
                error = name + " is given twice";
                return false;
            }
        }
        return true;
    }
    bool has(const char* name) const { return values_.count(name) != 0; }
    std::string text(const char* name, const std::string& fallback) const {
        auto it = values_.find(name);
        return it == values_.end() ? fallback : it->second;
    }
    bool integer(const char* name, int lo, int hi, int& value, std::string& error) const {
        auto it = values_.find(name);
        if (it == values_.end()) {
            return true;
        }
        char* end = nullptr;
        errno = 0;
        const long v = std::strtol(it->second.c_str(), &end, 10);
        if (it->second.empty() || *end != '\0' || errno != 0 || v < lo || v > hi) {
            error = "--" + std::string(name) + " needs a whole number from " + std::to_string(lo) +
                    " to " + std::to_string(hi) + ", not '" + it->second + "'";
            return false;
        }
        value = static_cast<int>(v);
        return true;
    }
    bool number(const char* name, float lo, float hi, float& value, std::string& error) const {
        auto it = values_.find(name);
        if (it == values_.end()) {
            return true;
        }
        if (!parseNumber(it->second, lo, hi, value)) {
            error = "--" + std::string(name) + " needs a number from " + shortText(lo) + " to " +
                    shortText(hi) + ", not '" + it->second + "'";
            return false;
        }
        return true;
    }
    static bool parseNumber(const std::string& s, float lo, float hi, float& value) {
        char* end = nullptr;
        const double v = std::strtod(s.c_str(), &end);
        if (s.empty() || *end != '\0' || !(v >= lo && v <= hi)) {
            return false;
        }
        value = static_cast<float>(v);
        return true;
    }
    static std::string shortText(float v) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", static_cast<double>(v));
        return text;
    }

private:
    std::map<std::string, std::string> values_;
};

constexpr int kMaxSide = 16384;

bool parseSize(const Options& o, int& width, int& height, std::string& error) {
    if (!o.has("size")) {
        return true;
    }
    const std::string s = o.text("size", "");
    const size_t x = s.find('x');
    auto side = [](const std::string& t, int& v) {
        char* end = nullptr;
        const long n = std::strtol(t.c_str(), &end, 10);
        if (t.empty() || *end != '\0' || n < 1 || n > kMaxSide) {
            return false;
        }
        v = static_cast<int>(n);
        return true;
    };
    const bool ok = x == std::string::npos
                        ? side(s, width) && side(s, height)
                        : side(s.substr(0, x), width) && side(s.substr(x + 1), height);
    if (!ok) {
        error = "--size needs N or WxH with sides from 1 to " + std::to_string(kMaxSide) +
                ", not '" + s + "'";
    }
    return ok;
}

bool checkOutput(const std::string& path, std::string& error) {
    if (!endsWith(path, ".exr") && !endsWith(path, ".png")) {
        error = "the output file must end in .exr or .png, not '" + path + "'";
        return false;
    }
    return true;
}

void startHost(const Options& o, int workers) {
    VxStandaloneHostSetProgramName("vxdemo");
    VxStandaloneHostSetWorkers(o.has("workers") ? workers : 0);
    const int n = VxStandaloneHostWorkers();
    SpMpSetSize(n, 1, n);
    installInterruptHandler();
}

bool save(const std::string& path, const Image& image, float lo, float hi) {
    std::string error;
    if (!writeImage(path, image, lo, hi, error)) {
        std::fprintf(stderr, "vxdemo: cannot write %s: %s\n", path.c_str(), error.c_str());
        return false;
    }
    return true;
}

bool saveGrade(const std::string& path, VxColourGrade& grade) {
    FILE* f = std::fopen(path.c_str(), "w");
    const bool ok = f != nullptr && grade.write(f) >= 0;
    if (f != nullptr && std::fclose(f) != 0) {
        return false;
    }
    if (!ok) {
        std::fprintf(stderr, "vxdemo: cannot write %s\n", path.c_str());
    }
    return ok;
}

int interrupted() {
    std::fprintf(stderr, "vxdemo: interrupted; files already written are complete\n");
    return kInterruptedExit;
}

// ---------------------------------------------------------------------------
// The gallery

struct Entry {
    std::string name;  // file name without extension
    std::string title; // caption on the index page
    std::string digest;
};

class Gallery {
public:
    Gallery(std::string dir, int size) : dir_(std::move(dir)), size_(size) {}

    int run() {
        if (::mkdir(dir_.c_str(), 0777) != 0 && errno != EEXIST) {
            std::fprintf(stderr, "vxdemo: cannot create %s: %s\n", dir_.c_str(),
                         std::strerror(errno));
            return 1;
        }
        const int status = renderAll();
        writeIndex();
        if (status == 0) {
            std::printf("gallery of %zu pictures in %s/index.html\n", entries_.size(),
                        dir_.c_str());
        }
        return status;
    }

private:
    int renderAll() {
        Image picture;
        if (!renderTestPicture(picture, size_, size_)) {
            return interrupted();
        }
        if (!add("picture", "Test picture", picture, 0, 1)) {
            return 1;
        }

        static const int kOctaves[] = {1, 3, 5, 8};
        Image noise;
        for (int octaves : kOctaves) {
            NoiseParams p;
            p.octaves = octaves;
            p.feature = static_cast<float>(size_) / 4.0f;
            const std::string name = "noise_" + std::to_string(octaves);
            Image image;
            if (!renderNoise(image, size_, size_, p, name)) {
                return interrupted();
            }
            if (!add(name,
                     "Fractal noise, " + std::to_string(octaves) + " octave" +
                         (octaves > 1 ? "s" : ""),
                     image, -0.6f, 0.6f)) {
                return 1;
            }
            noise = std::move(image);
        }

        // The last noise coloured by the grade (saved beside it, for the
        // grade command) and banded by a cyclic gradient.
        VxColourGrade grade = sampleGrade();
        if (!saveGrade(dir_ + "/sample.grade", grade)) {
            return 1;
        }
        Image graded, banded;
        if (!renderGradeMap(graded, noise, grade, -0.6f, 0.6f, "grade_noise")) {
            return interrupted();
        }
        if (!add("grade_noise", "Noise through a colour grade (sample.grade)", graded, 0, 1)) {
            return 1;
        }
        VxGradDescription<VxRGBAf> gradient = sampleGradient();
        if (!renderGradientMap(banded, noise, gradient, -0.6f, 0.6f, 3.0f, "gradient_noise")) {
            return interrupted();
        }
        if (!add("gradient_noise", "Noise through a cyclic gradient, three times round", banded, 0,
                 1)) {
            return 1;
        }

        for (int map = 0; map < mosaicMapCount(); ++map) {
            MosaicParams p;
            p.map = map;
            p.cell = size_ / 12 > 4 ? size_ / 12 : 4;
            p.angle = map == 1 ? 0.25f : 0.0f;
            std::string lower = mosaicMapName(map);
            for (char& c : lower) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            const std::string name = "mosaic_" + lower;
            Image image;
            if (!renderMosaic(image, picture, p, name)) {
                return interruptRequested() ? interrupted() : failed(name);
            }
            if (!add(name, std::string("Mosaic: ") + mosaicMapName(map), image, 0, 1)) {
                return 1;
            }
        }

        MaskParams circle;
        MaskParams box;
        box.box = true;
        box.sizeX = 0.32f;
        box.sizeY = 0.18f;
        box.softness = 0.25f;
        box.rotation = kPi / 6.0f;
        for (const MaskParams* p : {&circle, &box}) {
            const std::string name = p->box ? "mask_box" : "mask_circle";
            Image image;
            if (!renderMask(image, size_, size_, *p, name)) {
                return interrupted();
            }
            if (!add(name, p->box ? "Soft box mask, rotated 30 degrees" : "Soft circle mask", image,
                     0, 1)) {
                return 1;
            }
        }

        ShakeParams shake;
        for (int frame = 0; frame < 8; ++frame) {
            char name[32];
            std::snprintf(name, sizeof name, "shake_%02d", frame);
            Image image;
            if (!renderShakeFrame(image, picture, frame * 3, shake, name)) {
                return interruptRequested() ? interrupted() : failed(name);
            }
            if (!add(name, "Camera shake, frame " + std::to_string(frame * 3), image, 0, 1)) {
                return 1;
            }
        }
        return 0;
    }

    int failed(const std::string& name) {
        std::fprintf(stderr, "vxdemo: could not render %s\n", name.c_str());
        return 1;
    }

    bool add(const std::string& name, const std::string& title, const Image& image, float lo,
             float hi) {
        if (!save(dir_ + "/" + name + ".exr", image, lo, hi) ||
            !save(dir_ + "/" + name + ".png", image, lo, hi)) {
            return false;
        }
        entries_.push_back({name, title, digestText(imageDigest(image))});
        return true;
    }

    void writeIndex() {
        std::ofstream digests(dir_ + "/digests.txt");
        for (const Entry& e : entries_) {
            digests << e.name << ".exr " << e.digest << "\n";
        }
        std::ofstream html(dir_ + "/index.html");
        html << "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\">"
                "<title>Veltrix gallery</title>\n<style>body{font-family:sans-serif;"
                "background:#222;color:#ddd}figure{display:inline-block;margin:8px}"
                "img{width:256px;image-rendering:pixelated}figcaption{font-size:13px}"
                "code{color:#8a8}</style></head><body>\n<h1>Veltrix gallery</h1>\n"
                "<p>Each picture links to its OpenEXR file; the code is its pixel digest.</p>\n";
        for (const Entry& e : entries_) {
            html << "<figure><a href=\"" << e.name << ".exr\"><img src=\"" << e.name
                 << ".png\" alt=\"" << e.title << "\"></a><figcaption>" << e.title << "<br><code>"
                 << e.digest << "</code></figcaption></figure>\n";
        }
        html << "</body></html>\n";
    }

    std::string dir_;
    int size_;
    std::vector<Entry> entries_;
};

// ---------------------------------------------------------------------------
// Commands

struct Common {
    int width = 512, height = 512, workers = 0;
    std::string out;
};

bool parseCommon(const Options& o, const std::string& command, Common& c, std::string& error) {
    c.out = o.text("out", command + ".exr");
    return parseSize(o, c.width, c.height, error) &&
           o.integer("workers", 1, 1024, c.workers, error) && checkOutput(c.out, error);
}

int runGallery(const Options& o) {
    std::string error;
    int size = 512, workers = 0;
    if (!o.integer("size", 8, kMaxSide, size, error) ||
        !o.integer("workers", 1, 1024, workers, error)) {
        return usageError(error);
    }
    startHost(o, workers);
    Gallery gallery(o.text("out", "out"), size);
    return gallery.run();
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
        return interrupted();
    }
    return save(c.out, image, -0.6f, 0.6f) ? 0 : 1;
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
        return interruptRequested() ? interrupted() : 1;
    }
    return save(c.out, image, 0, 1) ? 0 : 1;
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
        return interrupted();
    }
    return save(c.out, image, 0, 1) ? 0 : 1;
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
        return interrupted();
    }
    const size_t dot = c.out.rfind('.');
    for (int frame = 0; frame < frames; ++frame) {
        char number[16];
        std::snprintf(number, sizeof number, "_%02d", frame);
        const std::string path = c.out.substr(0, dot) + number + c.out.substr(dot);
        Image image;
        if (!renderShakeFrame(image, picture, frame, p, path)) {
            return interruptRequested() ? interrupted() : 1;
        }
        if (!save(path, image, 0, 1)) {
            return 1;
        }
    }
    return 0;
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
    VxColourGrade grade = sampleGrade();
    if (o.has("grade")) {
        const std::string path = o.text("grade", "");
        FILE* f = std::fopen(path.c_str(), "r");
        if (f == nullptr) {
            std::fprintf(stderr, "vxdemo: cannot read %s: %s\n", path.c_str(),
                         std::strerror(errno));
            return 1;
        }
        const int keys = grade.read(f);
        std::fclose(f);
        if (keys < 2) {
            std::fprintf(stderr, "vxdemo: %s holds no colour grade\n", path.c_str());
            return 1;
        }
    }
    startHost(o, c.workers);
    Image scalar;
    if (o.has("in")) {
        if (!readImage(o.text("in", ""), scalar, error)) {
            std::fprintf(stderr, "vxdemo: cannot read %s: %s\n", o.text("in", "").c_str(),
                         error.c_str());
            return 1;
        }
    } else {
        // Without a picture, the default noise over the usual range.
        NoiseParams p;
        if (!renderNoise(scalar, c.width, c.height, p, "noise")) {
            return interrupted();
        }
        if (!o.has("lo") && !o.has("hi")) {
            lo = -0.6f;
            hi = 0.6f;
        }
    }
    Image image;
    if (!renderGradeMap(image, scalar, grade, lo, hi, "grade")) {
        return interruptRequested() ? interrupted() : 1;
    }
    return save(c.out, image, 0, 1) ? 0 : 1;
}

int runDigest(int argc, char** argv) {
    if (argc < 3) {
        return usageError("digest needs one or more .exr or .png files");
    }
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        Image image;
        std::string error;
        if (!readImage(argv[i], image, error)) {
            std::fprintf(stderr, "vxdemo: cannot read %s: %s\n", argv[i], error.c_str());
            status = 1;
            continue;
        }
        std::printf("%s %s\n", argv[i], digestText(imageDigest(image)).c_str());
    }
    return status;
}

} // namespace

int main(int argc, char** argv) {
    std::string command = "gallery";
    int first = 1;
    if (argc > 1 && std::strncmp(argv[1], "--", 2) != 0) {
        command = argv[1];
        first = 2;
    }
    if (command == "help" || command == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "digest") {
        return runDigest(argc, argv);
    }

    static const std::map<std::string, std::vector<std::string>> kOptions = {
        {"gallery", {"out", "size", "workers"}},
        {"noise", {"out", "size", "workers", "octaves", "seed", "feature", "z"}},
        {"mosaic", {"out", "size", "workers", "map", "cell", "angle"}},
        {"mask", {"out", "size", "workers", "shape", "extent", "softness", "rotation"}},
        {"shake", {"out", "size", "workers", "frames", "seed", "amplitude", "rate"}},
        {"grade", {"out", "size", "workers", "grade", "in", "lo", "hi"}},
    };
    auto known = kOptions.find(command);
    if (known == kOptions.end()) {
        return usageError("unknown command '" + command + "'");
    }
    Options options;
    std::string error;
    if (!options.parse(argc, argv, first, known->second, error)) {
        return usageError(error);
    }
    if (command == "gallery") {
        return runGallery(options);
    }
    if (command == "noise") {
        return runNoise(options);
    }
    if (command == "mosaic") {
        return runMosaic(options);
    }
    if (command == "mask") {
        return runMask(options);
    }
    if (command == "grade") {
        return runGrade(options);
    }
    return runShake(options);
}
