#include "demoGallery.h"

#include "demoEffects.h"
#include "demoMaths.h"
#include "demoOutput.h"
#include "demoSignals.h"
#include "demoWidgetSheet.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr float kPi = 3.14159265358979323846f;
// The pasted disc's radius, a fraction of the width.
constexpr float kPasteRadius = 0.25f;

struct Entry {
    std::string name;  // file name without extension
    std::string title; // caption on the index page
    std::string digest;
    bool varies; // its last bits depend on how FFTW's plans were chosen
};

constexpr const char* kVariesNote =
    "digest can vary in the last bits between runs and machines: FFTW chooses the Poisson "
    "solver's algorithms by timing";

class Gallery {
public:
    Gallery(std::string dir, int width, int height)
        : dir_(std::move(dir)), width_(width), height_(height) {}

    int run() {
        if (::mkdir(dir_.c_str(), 0777) != 0 && errno != EEXIST) {
            std::fprintf(stderr, "vxdemo: cannot create %s: %s\n", dir_.c_str(),
                         std::strerror(errno));
            return 1;
        }
        struct stat st;
        if (::stat(dir_.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
            std::fprintf(stderr, "vxdemo: cannot create %s: %s\n", dir_.c_str(),
                         std::strerror(ENOTDIR));
            return 1;
        }
        int status = renderAll();
        // Written whatever happened, so that they list exactly the pictures
        // that are on disk.
        if (!writeIndex() && status == 0) {
            status = 1;
        }
        if (status == 0) {
            std::printf("gallery of %zu pictures in %s/index.html\n", entries_.size(),
                        dir_.c_str());
        }
        return status;
    }

private:
    int renderAll() {
        Image picture;
        if (!renderTestPicture(picture, width_, height_)) {
            return stopped("picture");
        }
        if (!add("picture", "Test picture", picture, 0, 1)) {
            return stopped("picture");
        }

        static const int kOctaves[] = {1, 3, 5, 8};
        Image noise;
        for (int octaves : kOctaves) {
            NoiseParams p;
            p.octaves = octaves;
            p.feature = static_cast<float>(width_) / 4.0f;
            const std::string name = "noise_" + std::to_string(octaves);
            Image image;
            if (!renderNoise(image, width_, height_, p, name) ||
                !add(name,
                     "Fractal noise, " + std::to_string(octaves) + " octave" +
                         (octaves > 1 ? "s" : ""),
                     image, -0.6f, 0.6f)) {
                return stopped(name);
            }
            noise = std::move(image);
        }

        // The last noise coloured by the grade (saved beside it, for the
        // grade command) and banded by a cyclic gradient.
        VxColourGrade grade = sampleGrade();
        if (!saveGrade(grade)) {
            return stopped("sample.grade");
        }
        Image graded, banded;
        if (!renderGradeMap(graded, noise, grade, -0.6f, 0.6f, "grade_noise") ||
            !add("grade_noise", "Noise through a colour grade (sample.grade)", graded, 0, 1)) {
            return stopped("grade_noise");
        }
        VxGradDescription<VxRGBAf> gradient = sampleGradient();
        if (!renderGradientMap(banded, noise, gradient, -0.6f, 0.6f, 3.0f, "gradient_noise") ||
            !add("gradient_noise", "Noise through a cyclic gradient, three times round", banded, 0,
                 1)) {
            return stopped("gradient_noise");
        }

        for (int map = 0; map < mosaicMapCount(); ++map) {
            MosaicParams p;
            p.map = map;
            p.cell = width_ / 12 > 4 ? width_ / 12 : 4;
            p.angle = map == 1 ? 0.25f : 0.0f;
            std::string lower = mosaicMapName(map);
            for (char& c : lower) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            const std::string name = "mosaic_" + lower;
            Image image;
            if (!renderMosaic(image, picture, p, name) ||
                !add(name, std::string("Mosaic: ") + mosaicMapName(map), image, 0, 1)) {
                return stopped(name);
            }
        }

        // The maths: the picture blurred through the FFT, and the graded
        // noise pasted into it through the Poisson solver.
        ConvolveParams blur;
        blur.radius = static_cast<float>(width_) / 24.0f;
        Image blurred, pasted;
        if (!renderConvolved(blurred, picture, blur, "convolve") ||
            !add("convolve", "FFT convolution by a soft disc", blurred, 0, 1)) {
            return stopped("convolve");
        }
        if (!renderPaste(pasted, picture, graded, kPasteRadius, "paste") ||
            !add("paste", "Graded noise pasted seamlessly by a Poisson solve", pasted, 0, 1,
                 true)) {
            return stopped("paste");
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
            if (!renderMask(image, width_, height_, *p, name) ||
                !add(name, p->box ? "Soft box mask, rotated 30 degrees" : "Soft circle mask", image,
                     0, 1)) {
                return stopped(name);
            }
        }

        ShakeParams shake;
        for (int frame = 0; frame < 8; ++frame) {
            char name[32];
            std::snprintf(name, sizeof name, "shake_%02d", frame);
            Image image;
            if (!renderShakeFrame(image, picture, frame * 3, shake, name) ||
                !add(name, "Camera shake, frame " + std::to_string(frame * 3), image, 0, 1)) {
                return stopped(name);
            }
        }

        // The widgets at the size they are laid out for, whatever the
        // gallery's: their text does not scale.
        Image sheet;
        std::string error;
        if (interruptRequested()) {
            return stopped("widgets");
        }
        if (!renderWidgetSheet(sheet, kWidgetSheetWidth, kWidgetSheetHeight, error)) {
            std::fprintf(stderr, "vxdemo: cannot draw the widget sheet: %s\n", error.c_str());
            failureReported_ = true;
            return stopped("widgets");
        }
        if (!add("widgets",
                 "Widget sheet: the drawing primitives, and the value widgets idle, "
                 "poised and active",
                 sheet, 0, 1)) {
            return stopped("widgets");
        }
        return interruptRequested() ? interruptedExit() : 0;
    }

    // The exit code once `name` could not be finished: a failed write has
    // already said which file.
    int stopped(const std::string& name) {
        if (interruptRequested()) {
            return interruptedExit();
        }
        if (!failureReported_) {
            std::fprintf(stderr, "vxdemo: could not render %s\n", name.c_str());
        }
        return 1;
    }

    bool add(const std::string& name, const std::string& title, const Image& image, float lo,
             float hi, bool varies = false) {
        failureReported_ = !saveImage(dir_ + "/" + name + ".exr", image, lo, hi) ||
                           !saveImage(dir_ + "/" + name + ".png", image, lo, hi);
        if (failureReported_) {
            return false;
        }
        entries_.push_back({name, title, digestText(imageDigest(image)), varies});
        return true;
    }

    bool saveGrade(VxColourGrade& grade) {
        const std::string path = dir_ + "/sample.grade";
        // The grade writes to a stream; a memory stream gathers the text so
        // that the file goes through saveText like every other.
        char* text = nullptr;
        size_t size = 0;
        FILE* memory = ::open_memstream(&text, &size);
        const bool written = memory != nullptr && grade.write(memory) >= 0;
        if (memory != nullptr) {
            std::fclose(memory);
        }
        const std::string content = text != nullptr ? std::string(text, size) : std::string();
        std::free(text);
        failureReported_ = true;
        if (!written) {
            std::fprintf(stderr, "vxdemo: cannot write %s: the grade cannot be written\n",
                         path.c_str());
            return false;
        }
        failureReported_ = !saveText(path, content);
        return !failureReported_;
    }

    bool writeIndex() {
        std::string digests;
        for (const Entry& e : entries_) {
            digests += e.name + ".exr " + e.digest + "\n";
        }
        // Notes after the list, so that its lines stay "file digest" pairs.
        for (const Entry& e : entries_) {
            if (e.varies) {
                digests += "# " + e.name + ".exr: " + kVariesNote + "\n";
            }
        }
        std::string html =
            "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\">"
            "<title>Veltrix gallery</title>\n<style>body{font-family:sans-serif;"
            "background:#222;color:#ddd}figure{display:inline-block;margin:8px}"
            "img{width:256px;image-rendering:pixelated}figcaption{font-size:13px}"
            "code{color:#8a8}</style></head><body>\n<h1>Veltrix gallery</h1>\n"
            "<p>Each picture links to its OpenEXR file; the code is its pixel digest.</p>\n";
        for (const Entry& e : entries_) {
            html += "<figure><a href=\"" + e.name + ".exr\"><img src=\"" + e.name +
                    ".png\" alt=\"" + e.title + "\"></a><figcaption>" + e.title + "<br><code>" +
                    e.digest + "</code>" +
                    (e.varies ? std::string("<br><small>") + kVariesNote + "</small>" : "") +
                    "</figcaption></figure>\n";
        }
        html += "</body></html>\n";
        const bool listed = saveText(dir_ + "/digests.txt", digests);
        return saveText(dir_ + "/index.html", html) && listed;
    }

    std::string dir_;
    int width_, height_;
    bool failureReported_ = false;
    std::vector<Entry> entries_;
};

} // namespace

int renderGallery(const std::string& dir, int width, int height) {
    Gallery gallery(dir, width, height);
    return gallery.run();
}
