// End-to-end tests of the demonstration program: it is run as a user would
// run it, and its pictures are checked by their pixel digests. The generators
// are deterministic, so the digests are the same on every machine, with
// either compiler and with any number of workers.
#include <gtest/gtest.h>

#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Address limits cannot be set under the sanitizers, which reserve terabytes
// of address space for their shadow memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// The gallery at 40 x 40 pixels: file and pixel digest.
const std::map<std::string, std::string> kGolden = {
    {"picture.exr", "cc1bf5dea68455ac"},         {"noise_1.exr", "f33f8e30552eb30b"},
    {"noise_3.exr", "d2e266c102be362a"},         {"noise_5.exr", "196215e8bed1a19d"},
    {"noise_8.exr", "e4ae54602f7aa7aa"},         {"grade_noise.exr", "ee9117427bcda3a5"},
    {"gradient_noise.exr", "2bd14af6ea07a7e9"},  {"mosaic_squares.exr", "f969b87469ab0b40"},
    {"mosaic_circles.exr", "c01352c3816fbfc6"},  {"mosaic_triangles.exr", "2907712028bbf045"},
    {"mosaic_octagons.exr", "d71ea79ce182d95b"}, {"mosaic_thingy.exr", "95d04f4159245004"},
    {"mask_circle.exr", "5d1c8c731226febe"},     {"mask_box.exr", "38e46f1fdf62a68b"},
    {"shake_00.exr", "abcc54eaec7023a3"},        {"shake_01.exr", "46fb36830aadd4ab"},
    {"shake_02.exr", "48ab2cc3d85259e5"},        {"shake_03.exr", "7d65f3a31d108c13"},
    {"shake_04.exr", "f5f881ef6c4f1a7a"},        {"shake_05.exr", "67246a9ba79963a6"},
    {"shake_06.exr", "0974dc2568ceb859"},        {"shake_07.exr", "b4a55a8e3870f2a2"},
    {"convolve.exr", "a459905ff48a6bcc"},        {"widgets.exr", "b2026167071214e4"},
};
// Listed too, but its digest may differ between runs in the last bits: the
// Poisson solver's FFTW plans are chosen by timing. It is checked by what it
// must satisfy instead.
const char* const kPaste = "paste.exr";

struct Outcome {
    int status = -1; // exit code, or 128 + signal
    int signal = 0;  // the signal that ended the program, if one did
    std::string out, err;
};

// Resource limits for the program: address space (a memory limit without
// allocating it) and file size (a full disk: writes past it fail with EFBIG).
struct Limits {
    rlim_t memory = RLIM_INFINITY;
    rlim_t fileSize = RLIM_INFINITY;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

class Scratch {
public:
    Scratch() {
        char pattern[] = "/tmp/vxdemoTest.XXXXXX";
        dir = ::mkdtemp(pattern);
    }
    ~Scratch() { std::system(("rm -rf '" + dir + "'").c_str()); }
    std::string dir;
};

// Starts the program with `args`; its output goes to files in `dir`.
pid_t start(const std::vector<std::string>& args, const std::string& dir,
            const Limits& limits = Limits()) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const rlimit memory = {limits.memory, limits.memory};
        const rlimit fileSize = {limits.fileSize, limits.fileSize};
        ::signal(SIGXFSZ, SIG_IGN);
        if ((limits.memory != RLIM_INFINITY && ::setrlimit(RLIMIT_AS, &memory) != 0) ||
            (limits.fileSize != RLIM_INFINITY && ::setrlimit(RLIMIT_FSIZE, &fileSize) != 0)) {
            ::_exit(125);
        }
        std::vector<char*> argv;
        std::string program = VXDEMO_PATH;
        argv.push_back(&program[0]);
        std::vector<std::string> copy = args;
        for (std::string& a : copy) {
            argv.push_back(&a[0]);
        }
        argv.push_back(nullptr);
        if (!std::freopen((dir + "/stdout").c_str(), "w", stdout) ||
            !std::freopen((dir + "/stderr").c_str(), "w", stderr) || ::chdir(dir.c_str()) != 0) {
            ::_exit(126);
        }
        ::execv(VXDEMO_PATH, argv.data());
        ::_exit(127);
    }
    return pid;
}

Outcome finish(pid_t pid, const std::string& dir) {
    Outcome r;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    r.out = slurp(dir + "/stdout");
    r.err = slurp(dir + "/stderr");
    return r;
}

Outcome run(const std::vector<std::string>& args, const std::string& dir,
            const Limits& limits = Limits()) {
    return finish(start(args, dir, limits), dir);
}

// Names in `dir` that contain `part`.
std::vector<std::string> namesWith(const std::string& dir, const std::string& part) {
    std::vector<std::string> names;
    if (DIR* d = ::opendir(dir.c_str())) {
        while (const dirent* e = ::readdir(d)) {
            if (std::string(e->d_name).find(part) != std::string::npos) {
                names.push_back(e->d_name);
            }
        }
        ::closedir(d);
    }
    return names;
}

// Waits (boundedly) until `ready` holds.
template <class Ready>
bool waitFor(Ready ready) {
    for (int i = 0; i < 60000; ++i) {
        if (ready()) {
            return true;
        }
        ::usleep(1000);
    }
    return false;
}

// "name.exr digest" lines; notes ("# ...") are skipped.
std::map<std::string, std::string> readDigests(const std::string& text) {
    std::map<std::string, std::string> m;
    std::istringstream in(text);
    std::string line, name, digest;
    while (std::getline(in, line)) {
        std::istringstream pair(line);
        if (line.rfind("#", 0) != 0 && pair >> name >> digest) {
            m[name] = digest;
        }
    }
    return m;
}

TEST(VxDemo, GalleryIsDeterministicAndItsFilesAreWhole) {
    Scratch s;
    const Outcome one = run({"gallery", "--size", "40", "--out", "g1", "--workers", "1"}, s.dir);
    ASSERT_EQ(one.status, 0) << one.err;
    const Outcome two = run({"gallery", "--size", "40", "--out", "g2", "--workers", "2"}, s.dir);
    ASSERT_EQ(two.status, 0) << two.err;

    const std::string listed = slurp(s.dir + "/g1/digests.txt");
    std::map<std::string, std::string> withTwo = readDigests(slurp(s.dir + "/g2/digests.txt"));
    std::map<std::string, std::string> digests = readDigests(listed);
    ASSERT_EQ(digests.count(kPaste), 1u);
    EXPECT_EQ(withTwo.erase(kPaste), 1u);
    const std::string pasteDigest = digests[kPaste];
    digests.erase(kPaste);
    EXPECT_EQ(digests, withTwo);
    EXPECT_EQ(digests.size(), kGolden.size());
    for (const auto& golden : kGolden) {
        auto it = digests.find(golden.first);
        ASSERT_NE(it, digests.end()) << golden.first;
        EXPECT_EQ(it->second, golden.second) << golden.first;
    }

    // Every picture reads back with the pixels it was written with, and has
    // its preview and its place on the index page.
    // The varying digest says so, in the list and on the index page.
    EXPECT_NE(listed.find("\n# paste.exr: digest can vary in the last bits"), std::string::npos);
    EXPECT_NE(slurp(s.dir + "/g1/index.html").find("FFTW chooses the Poisson solver's"),
              std::string::npos);
    digests[kPaste] = pasteDigest;
    std::vector<std::string> args = {"digest"};
    for (const auto& d : digests) {
        args.push_back("g1/" + d.first);
        const std::string stem = d.first.substr(0, d.first.size() - 4);
        EXPECT_TRUE(exists(s.dir + "/g1/" + stem + ".png")) << stem;
        EXPECT_NE(slurp(s.dir + "/g1/index.html").find("\"" + stem + ".png\""), std::string::npos);
    }
    // The saved grade, read back by the grade command, colours the noise as
    // the gallery did.
    const Outcome graded = run({"grade", "--grade", "g1/sample.grade", "--in", "g1/noise_8.exr",
                                "--lo", "-0.6", "--hi", "0.6", "--out", "graded.exr"},
                               s.dir);
    ASSERT_EQ(graded.status, 0) << graded.err;
    args.push_back("graded.exr");
    const Outcome readBack = run(args, s.dir);
    ASSERT_EQ(readBack.status, 0) << readBack.err;
    std::string expected;
    for (const auto& d : digests) {
        expected += "g1/" + d.first + " " + d.second + "\n";
    }
    expected += "graded.exr " + digests.at("grade_noise.exr") + "\n";
    EXPECT_EQ(readBack.out, expected);
}

TEST(VxDemo, SingleEffectsWriteTheRequestedFile) {
    Scratch s;
    const std::vector<std::vector<std::string>> commands = {
        {"noise", "--octaves", "3", "--size", "33x17", "--out", "n.png"},
        {"mosaic", "--map", "thingy", "--cell", "9", "--size", "30", "--out", "m.exr"},
        {"mask", "--shape", "box", "--extent", "0.3,0.1", "--rotation", "20", "--size", "24",
         "--out", "k.exr"},
        {"shake", "--frames", "2", "--size", "16", "--out", "s.exr"},
        {"grade", "--size", "20", "--out", "grade.png"},
        {"convolve", "--radius", "3", "--softness", "0.5", "--size", "19x11", "--out", "c.exr"},
        {"paste", "--radius", "0.2", "--size", "23x31", "--out", "p.png"},
    };
    for (const auto& c : commands) {
        const Outcome r = run(c, s.dir);
        EXPECT_EQ(r.status, 0) << c[0] << ": " << r.err;
    }
    for (const char* f :
         {"n.png", "m.exr", "k.exr", "s_00.exr", "s_01.exr", "grade.png", "c.exr", "p.png"}) {
        EXPECT_TRUE(exists(s.dir + "/" + f)) << f;
    }
    const Outcome d = run({"digest", "n.png"}, s.dir);
    EXPECT_EQ(d.status, 0) << d.err;
    // The blur's defaults are a radius of 8 and a softness of 0.3.
    ASSERT_EQ(run({"convolve", "--size", "24", "--out", "a.exr"}, s.dir).status, 0);
    ASSERT_EQ(
        run({"convolve", "--size", "24", "--radius", "8", "--softness", "0.3", "--out", "b.exr"},
            s.dir)
            .status,
        0);
    const Outcome same = run({"digest", "a.exr", "b.exr"}, s.dir);
    EXPECT_EQ(same.out.substr(6, 16), same.out.substr(same.out.size() - 17, 16)) << same.out;
}

TEST(VxDemo, BadCommandLinesAreRefusedWithAReason) {
    Scratch s;
    const std::vector<std::vector<std::string>> bad = {
        {"frobnicate"},
        {"noise", "--octaves", "9"},
        {"noise", "--octaves", "3x"},
        {"noise", "--octaves"},
        {"noise", "--seed", "1", "--seed", "2"},
        {"noise", "--size", "0"},
        {"noise", "--size", "12x"},
        {"noise", "--out", "picture.tif"},
        {"mask", "--shape", "star"},
        {"mask", "--extent", "a,b"},
        {"mosaic", "--map", "hexagons"},
        {"convolve", "--radius", "0"},
        {"paste", "--radius", "2"},
        {"grade", "--lo", "1", "--hi", "1"},
        {"gallery", "--colour", "red"},
        {"grade", "--in", "x.exr", "--size", "7"},
        {"digest"},
        {"widgets", "--out", "sheet.tif"},
        {"widgets", "--frames", "2"},
    };
    for (const auto& args : bad) {
        const Outcome r = run(args, s.dir);
        EXPECT_EQ(r.status, 2) << args[0];
        EXPECT_EQ(r.err.rfind("vxdemo: ", 0), 0u) << r.err;
    }
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"digest", "no-such-file.exr"},
          std::vector<std::string>{"grade", "--grade", "no-such-file.exr"},
          std::vector<std::string>{"grade", "--in", "no-such-file.exr"}}) {
        const Outcome missing = run(args, s.dir);
        EXPECT_EQ(missing.status, 1);
        EXPECT_NE(missing.err.find("no-such-file.exr"), std::string::npos) << missing.err;
    }
}

TEST(VxDemo, CtrlCStopsTheGalleryAndLeavesWholeFiles) {
    Scratch s;
    const pid_t pid = start({"gallery", "--size", "1536", "--out", "g"}, s.dir);
    // Interrupt as soon as the first picture is on disk.
    for (int i = 0; i < 3000 && !exists(s.dir + "/g/picture.png"); ++i) {
        ::usleep(10000);
    }
    ::kill(pid, SIGINT);
    const Outcome r = finish(pid, s.dir);
    if (r.status == 0) {
        GTEST_SKIP() << "the gallery finished before the interrupt arrived";
    }
    ASSERT_EQ(r.status, 130) << r.err;
    EXPECT_NE(r.err.find("interrupted"), std::string::npos);
    // What the index lists was written whole; nothing was left half-written.
    const auto digests = readDigests(slurp(s.dir + "/g/digests.txt"));
    EXPECT_GE(digests.size(), 1u);
    EXPECT_LT(digests.size(), kGolden.size());
    std::vector<std::string> args = {"digest"};
    std::string expected;
    for (const auto& d : digests) {
        args.push_back("g/" + d.first);
        expected += "g/" + d.first + " " + d.second + "\n";
    }
    EXPECT_EQ(run(args, s.dir).out, expected);
    EXPECT_TRUE(namesWith(s.dir + "/g", ".part").empty());
}

// One row of a one-channel OpenEXR file.
std::vector<float> exrRow(const std::string& path, int y, int& width) {
    Imf::InputFile file(path.c_str());
    const Imath::Box2i dw = file.header().dataWindow();
    width = dw.max.x - dw.min.x + 1;
    std::vector<float> row(static_cast<size_t>(width));
    Imf::FrameBuffer frame;
    frame.insert("Y", Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(row.data() - y * width),
                                 sizeof(float), sizeof(float) * width));
    file.setFrameBuffer(frame);
    file.readPixels(y, y);
    return row;
}

// The R, G and B channels of an OpenEXR file, planar: rgb[c][y * width + x].
struct Rgb {
    int width = 0, height = 0;
    std::vector<float> plane[3];
    float at(int c, int x, int y) const { return plane[c][static_cast<size_t>(y * width + x)]; }
};
Rgb exrRgb(const std::string& path) {
    Imf::InputFile file(path.c_str());
    const Imath::Box2i dw = file.header().dataWindow();
    Rgb rgb;
    rgb.width = dw.max.x - dw.min.x + 1;
    rgb.height = dw.max.y - dw.min.y + 1;
    Imf::FrameBuffer frame;
    for (int c = 0; c < 3; ++c) {
        rgb.plane[c].resize(static_cast<size_t>(rgb.width * rgb.height));
        frame.insert(c == 0   ? "R"
                     : c == 1 ? "G"
                              : "B",
                     Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(rgb.plane[c].data()),
                                sizeof(float), sizeof(float) * rgb.width));
    }
    file.setFrameBuffer(frame);
    file.readPixels(dw.min.y, dw.max.y);
    return rgb;
}

// The paste of an n x n gallery: the disc of radius n / 4 at the centre, the
// box its bounding square grown by max(2, ceil(n / 8)) and kept one pixel
// inside the picture. Outside the box the picture must be untouched; inside
// it the 5-point Laplacian of the result must be the source's in the disc and
// the picture's elsewhere. Returns the largest difference of the Laplacians.
double pasteResidual(const Rgb& picture, const Rgb& source, const Rgb& pasted) {
    const int n = picture.width;
    EXPECT_EQ(pasted.width, n);
    const double centre = n / 2.0, r = n / 4.0, reach = r + std::max(2.0, std::ceil(r / 2));
    const int lo = std::max(1, static_cast<int>(std::floor(centre - reach)));
    const int hi = std::min(n - 1, static_cast<int>(std::ceil(centre + reach)));
    double worst = 0;
    for (int c = 0; c < 3; ++c) {
        for (int y = 0; y < n; ++y) {
            for (int x = 0; x < n; ++x) {
                if (x < lo || x >= hi || y < lo || y >= hi) {
                    EXPECT_EQ(pasted.at(c, x, y), picture.at(c, x, y)) << x << " " << y;
                    continue;
                }
                const double dx = x + 0.5 - centre, dy = y + 0.5 - centre;
                const Rgb& guide = dx * dx + dy * dy < r * r ? source : picture;
                auto lap = [c, x, y](const Rgb& i) {
                    return static_cast<double>(i.at(c, x - 1, y)) + i.at(c, x + 1, y) +
                           i.at(c, x, y - 1) + i.at(c, x, y + 1) - 4.0 * i.at(c, x, y);
                };
                worst = std::max(worst, std::fabs(lap(pasted) - lap(guide)));
            }
        }
    }
    return worst;
}

TEST(VxDemo, ConvolveAndPasteSatisfyTheirEquations) {
    Scratch s;
    const Outcome g = run({"gallery", "--size", "40", "--out", "g", "--workers", "2"}, s.dir);
    ASSERT_EQ(g.status, 0) << g.err;
    const Outcome p = run({"paste", "--size", "40", "--out", "p.exr", "--workers", "1"}, s.dir);
    ASSERT_EQ(p.status, 0) << p.err;
    const Rgb picture = exrRgb(s.dir + "/g/picture.exr");
    const Rgb source = exrRgb(s.dir + "/g/grade_noise.exr");
    const Rgb blurred = exrRgb(s.dir + "/g/convolve.exr");
    const Rgb pasted = exrRgb(s.dir + "/g/paste.exr");
    const Rgb command = exrRgb(s.dir + "/p.exr");
    const int n = 40;
    ASSERT_EQ(pasted.width, n);

    // The blur is the cyclic sum over a soft disc of radius 40 / 24 and
    // softness 0.3 whose weights sum to 1.
    const double radius = n / 24.0, soft = 0.3;
    std::vector<double> kernel(n * n);
    double total = 0;
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n; ++x) {
            const int dx = x <= n / 2 ? x : x - n, dy = y <= n / 2 ? y : y - n;
            const double d = 1.0 - std::sqrt(dx * dx + dy * dy) / radius;
            total += kernel[y * n + x] = d <= 0 ? 0 : d > soft ? 1 : d / soft;
        }
    }
    for (int c = 0; c < 3; ++c) {
        for (int y = 0; y < n; ++y) {
            for (int x = 0; x < n; ++x) {
                double sum = 0;
                for (int v = 0; v < n; ++v) {
                    for (int u = 0; u < n; ++u) {
                        sum +=
                            picture.at(c, u, v) * kernel[((y - v + n) % n) * n + (x - u + n) % n];
                    }
                }
                ASSERT_NEAR(blurred.at(c, x, y), sum / total, 1e-5) << c << " " << x << " " << y;
            }
        }
    }

    // The same paste from the paste command, with another worker count.
    for (int c = 0; c < 3; ++c) {
        for (size_t i = 0; i < pasted.plane[c].size(); ++i) {
            ASSERT_NEAR(pasted.plane[c][i], command.plane[c][i], 1e-5);
        }
    }
    EXPECT_LT(pasteResidual(picture, source, pasted), 1e-4);
    // At 8 x 8 the box grows by its minimum of 2 pixels and is cut back to
    // leave the picture's edge as its boundary.
    const Outcome small = run({"gallery", "--size", "8", "--out", "g8"}, s.dir);
    ASSERT_EQ(small.status, 0) << small.err;
    EXPECT_LT(pasteResidual(exrRgb(s.dir + "/g8/picture.exr"),
                            exrRgb(s.dir + "/g8/grade_noise.exr"), exrRgb(s.dir + "/g8/paste.exr")),
              1e-4);
}

TEST(VxDemo, BoxMaskIsWholePastTheLibrarysIntervalSegment) {
    Scratch s;
    // A centred, unrotated box from x = 120 to 2280 is symmetric, and solid
    // well inside its soft edge, past x = 1000 as before it.
    const Outcome r = run({"mask", "--shape", "box", "--extent", "0.45,0.01", "--softness", "0.1",
                           "--size", "2400x40", "--out", "b.exr"},
                          s.dir);
    ASSERT_EQ(r.status, 0) << r.err;
    int w = 0;
    const std::vector<float> row = exrRow(s.dir + "/b.exr", 20, w);
    ASSERT_EQ(w, 2400);
    EXPECT_EQ(row[2000], 1.0f);
    EXPECT_EQ(row[2300], 0.0f);
    for (int x = 0; x < w; ++x) {
        ASSERT_NEAR(row[x], row[w - 1 - x], 1e-3f) << x;
    }
}

// The widget sheet: the gallery's picture at its natural size, whatever the
// number of workers; scaled to fit and centred at another size; its hints
// drawn in their yellow.
TEST(VxDemo, WidgetSheetIsTheGallerysAndScalesToFit) {
    Scratch s;
    ASSERT_EQ(run({"widgets", "--out", "sheet.png"}, s.dir).status, 0);
    EXPECT_TRUE(exists(s.dir + "/sheet.png"));
    // Mesa's default rasteriser, llvmpipe, draws some pixels differently: the
    // program asks for softpipe whatever the environment says.
    ::setenv("GALLIUM_DRIVER", "llvmpipe", 1);
    const Outcome big = run({"widgets", "--workers", "2", "--out", "w.exr"}, s.dir);
    ::unsetenv("GALLIUM_DRIVER");
    ASSERT_EQ(big.status, 0) << big.err;
    ASSERT_EQ(run({"widgets", "--size", "500x300", "--out", "small.exr"}, s.dir).status, 0);
    const Outcome d = run({"digest", "w.exr"}, s.dir);
    EXPECT_EQ(d.out, "w.exr " + kGolden.at("widgets.exr") + "\n");

    const Rgb sheet = exrRgb(s.dir + "/w.exr");
    ASSERT_EQ(sheet.width, 1440);
    ASSERT_EQ(sheet.height, 640);
    int yellow = 0;
    for (int y = 0; y < sheet.height; ++y) {
        for (int x = 0; x < sheet.width; ++x) {
            yellow += sheet.at(0, x, y) == 1 && sheet.at(1, x, y) == 1 && sheet.at(2, x, y) == 0;
        }
    }
    EXPECT_GT(yellow, 200); // the hint of every poised widget, and drawHint's
    // 1440 x 640 into 500 x 300: 500 x 222, with bands of the background
    // above and below.
    const Rgb small = exrRgb(s.dir + "/small.exr");
    ASSERT_EQ(small.width, 500);
    ASSERT_EQ(small.height, 300);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(small.at(c, 0, 0), sheet.at(c, 0, 0));
        EXPECT_EQ(small.at(c, 499, 299), sheet.at(c, 0, 0));
    }
}

TEST(VxDemo, OptionsTakeEitherSpellingAndHelpAnywhere) {
    Scratch s;
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--help"}, {"-h"}, {"noise", "--help"}, {"help"}}) {
        const Outcome r = run(args, s.dir);
        EXPECT_EQ(r.status, 0) << args[0] << r.err;
        EXPECT_EQ(r.out.rfind("usage: vxdemo", 0), 0u) << r.out;
    }
    const Outcome n = run({"noise", "--size=8x4", "--octaves=2", "--out=N.EXR"}, s.dir);
    EXPECT_EQ(n.status, 0) << n.err;
    EXPECT_TRUE(exists(s.dir + "/N.EXR"));
    const Outcome g = run({"gallery", "--size", "12x8", "--out", "g"}, s.dir);
    EXPECT_EQ(g.status, 0) << g.err;
    EXPECT_EQ(run({"digest", "g/picture.exr"}, s.dir).status, 0);
}

TEST(VxDemo, BadFilesGetAClearMessage) {
    Scratch s;
    ::mkdir((s.dir + "/d.exr").c_str(), 0777);
    struct Case {
        std::vector<std::string> args;
        std::string said;
    };
    const std::vector<Case> cases = {
        {{"grade", "--grade", "/dev/zero"}, "cannot read /dev/zero: longer than"},
        {{"grade", "--grade", "d.exr"}, "cannot read d.exr: Is a directory"},
        {{"grade", "--in", "d.exr"}, "cannot read d.exr: Is a directory"},
        {{"noise", "--size", "8", "--out", "d.exr"}, "cannot write d.exr: Is a directory"},
    };
    for (const Case& c : cases) {
        const Outcome r = run(c.args, s.dir);
        EXPECT_EQ(r.status, 1) << c.args[1];
        EXPECT_NE(r.err.find("vxdemo: " + c.said), std::string::npos) << r.err;
    }
}

TEST(VxDemo, OutOfMemoryIsAMessageAndExitCodeOne) {
    if (kSanitized) {
        GTEST_SKIP() << "address limits do not work under the sanitizers";
    }
    Scratch s;
    Limits limits;
    limits.memory = 512u << 20;
    for (const char* command : {"noise", "grade", "convolve", "paste", "widgets"}) {
        const Outcome r = run({command, "--size", "16384"}, s.dir, limits);
        EXPECT_EQ(r.status, 1) << command << ": " << r.err;
        EXPECT_NE(r.err.find("vxdemo: out of memory"), std::string::npos) << r.err;
    }
}

TEST(VxDemo, ReadsBackTheLargestPictureItWrites) {
    Scratch s;
    EXPECT_NE(run({"help"}, s.dir).out.find("sides from 1 to 16384"), std::string::npos);
    EXPECT_EQ(run({"mask", "--size", "16385x1"}, s.dir).status, 2);
    // More than 2^27 pixels; an empty mask keeps it quick.
    const Outcome w =
        run({"mask", "--size", "16384x8193", "--extent", "0", "--out", "big.exr"}, s.dir);
    ASSERT_EQ(w.status, 0) << w.err;
    const Outcome r = run({"digest", "big.exr"}, s.dir);
    EXPECT_EQ(r.status, 0) << r.err;
}

uint32_t crc32(const unsigned char* p, size_t n) {
    uint32_t c = 0xffffffffu;
    for (size_t i = 0; i < n; ++i) {
        c ^= p[i];
        for (int k = 0; k < 8; ++k) {
            c = (c >> 1) ^ (0xedb88320u & (0u - (c & 1u)));
        }
    }
    return ~c;
}

void putBE32(std::string& s, uint32_t v) {
    for (int i = 3; i >= 0; --i) {
        s += static_cast<char>((v >> (8 * i)) & 0xffu);
    }
}

void pngChunk(std::string& png, const char* type, const std::string& data) {
    putBE32(png, static_cast<uint32_t>(data.size()));
    const std::string body = type + data;
    png += body;
    putBE32(png, crc32(reinterpret_cast<const unsigned char*>(body.data()), body.size()));
}

TEST(VxDemo, DamagedHeadersAreCheckedAgainstTheFileBeforeAllocating) {
    Scratch s;
    ASSERT_EQ(run({"mask", "--size", "16", "--out", "small.exr"}, s.dir).status, 0);
    // The small picture's header made to claim 11585 x 11585 pixels, with an
    // offset table of the claimed length whose entries all point at its one
    // chunk: a whole-looking file of a few kilobytes.
    std::string exr = slurp(s.dir + "/small.exr");
    const std::string window = std::string("dataWindow\0box2i\0", 17);
    const size_t at = exr.find(window) + window.size() + 4;
    const int32_t claim[4] = {0, 0, 11584, 11584};
    exr.replace(at, sizeof claim, reinterpret_cast<const char*>(claim), sizeof claim);
    size_t table = 0;
    for (int64_t v = 0; table + 8 <= exr.size(); ++table) {
        std::memcpy(&v, &exr[table], 8);
        if (v == static_cast<int64_t>(table) + 8) {
            break;
        }
    }
    const std::string chunk = exr.substr(table + 8);
    const int64_t chunks = 11585 / 16 + 1, first = static_cast<int64_t>(table) + 8 * chunks;
    exr.resize(table);
    for (int64_t i = 0; i < chunks; ++i) {
        exr.append(reinterpret_cast<const char*>(&first), 8);
    }
    std::ofstream(s.dir + "/damaged.exr", std::ios::binary) << exr << chunk;

    // A 74-byte PNG claiming 11500 x 11500 RGBA pixels.
    std::string png = "\x89PNG\r\n\x1a\n", ihdr;
    putBE32(ihdr, 11500);
    putBE32(ihdr, 11500);
    ihdr += std::string("\x08\x06\0\0\0", 5);
    pngChunk(png, "IHDR", ihdr);
    pngChunk(png, "IDAT", std::string("\x78\x9c\x63\x60\x60\x60\0\0\0\x04\0\x01\0\0\0\0\0", 17));
    pngChunk(png, "IEND", "");
    ASSERT_EQ(png.size(), 74u);
    std::ofstream(s.dir + "/damaged.png", std::ios::binary) << png;

    Limits limits;
    limits.memory = kSanitized ? RLIM_INFINITY : 256u << 20;
    for (const char* name : {"damaged.exr", "damaged.png"}) {
        const Outcome r = run({"digest", name}, s.dir, limits);
        EXPECT_EQ(r.status, 1) << name;
        EXPECT_NE(r.err.find(std::string("cannot read ") + name + ": its header claims"),
                  std::string::npos)
            << r.err;
    }
}

TEST(VxDemo, FailedWritesNameTheFileAndLeaveNoPart) {
    Scratch s;
    // A full disk: the first picture does not fit.
    Limits full;
    full.fileSize = 100;
    const Outcome r = run({"gallery", "--size", "8", "--out", "g"}, s.dir, full);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("vxdemo: cannot write g/picture.exr: File too large"), std::string::npos)
        << r.err;
    EXPECT_FALSE(exists(s.dir + "/g/picture.exr"));
    EXPECT_TRUE(namesWith(s.dir + "/g", ".part").empty());

    // The list, the index and the grade cannot take their names.
    ::mkdir((s.dir + "/h").c_str(), 0777);
    for (const char* name : {"index.html", "digests.txt", "sample.grade"}) {
        ::mkdir((s.dir + "/h/" + name).c_str(), 0777);
    }
    const Outcome h = run({"gallery", "--size", "8", "--out", "h"}, s.dir);
    EXPECT_EQ(h.status, 1);
    EXPECT_EQ(h.out, "");
    for (const char* name : {"index.html", "digests.txt", "sample.grade"}) {
        EXPECT_NE(h.err.find("cannot write h/" + std::string(name) + ": Is a directory"),
                  std::string::npos)
            << h.err;
    }
    EXPECT_TRUE(namesWith(s.dir + "/h", ".part").empty());
}

TEST(VxDemo, RunsWritingTheSameFileDoNotShareATemporaryFile) {
    Scratch s;
    const std::vector<std::string> args = {"mask", "--size", "1500",    "--extent",
                                           "0.5",  "--out",  "same.png"};
    const pid_t one = start(args, s.dir);
    const Outcome two = run(args, s.dir);
    const Outcome first = finish(one, s.dir);
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(two.status, 0) << two.err;
    EXPECT_EQ(run({"digest", "same.png"}, s.dir).status, 0);
}

// True once the program has a handler for `sig` (so it has started).
bool catches(pid_t pid, int sig) {
    std::istringstream status(slurp("/proc/" + std::to_string(pid) + "/status"));
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("SigCgt:", 0) == 0) {
            return (std::stoull(line.substr(7), nullptr, 16) >> (sig - 1) & 1u) != 0;
        }
    }
    return false;
}

// Starts a large preview, waits until it is being written, and sends `sig`.
Outcome signalDuringWrite(const Scratch& s, int sig) {
    const pid_t pid = start({"mask", "--size", "4000", "--extent", "0.5", "--out", "m.png"}, s.dir);
    EXPECT_TRUE(waitFor([&] { return !namesWith(s.dir, ".part").empty(); }));
    // NAME.PID.N.part
    const std::vector<std::string> parts = namesWith(s.dir, ".part");
    const std::string prefix = "m.png." + std::to_string(pid) + ".";
    EXPECT_TRUE(!parts.empty() && parts[0].rfind(prefix, 0) == 0 &&
                parts[0].find_first_not_of("0123456789", prefix.size()) == parts[0].size() - 5)
        << (parts.empty() ? "" : parts[0]);
    ::kill(pid, sig);
    return finish(pid, s.dir);
}

TEST(VxDemo, CtrlCAndSigtermDuringAWriteLeaveNoFile) {
    {
        Scratch s;
        const Outcome r = signalDuringWrite(s, SIGINT);
        EXPECT_EQ(r.status, 130) << r.err;
        EXPECT_EQ(r.signal, 0);
        EXPECT_NE(r.err.find("vxdemo: interrupted"), std::string::npos) << r.err;
        EXPECT_FALSE(exists(s.dir + "/m.png"));
        EXPECT_TRUE(namesWith(s.dir, ".part").empty());
    }
    {
        Scratch s;
        const Outcome r = signalDuringWrite(s, SIGTERM);
        EXPECT_EQ(r.status, 143) << r.err;
        EXPECT_EQ(r.signal, 0);
        EXPECT_FALSE(exists(s.dir + "/m.png"));
        EXPECT_TRUE(namesWith(s.dir, ".part").empty());
    }
}

TEST(VxDemo, SecondCtrlCStopsAtOnce) {
    Scratch s;
    const pid_t pid = start({"noise", "--size", "16384x2048"}, s.dir);
    EXPECT_TRUE(waitFor([&] { return catches(pid, SIGINT); }));
    // Into the render, whose bands of 64 such rows give the second Ctrl-C
    // time to arrive before the first has stopped it.
    ::usleep(300000);
    ::kill(pid, SIGINT);
    const bool asked =
        waitFor([&] { return slurp(s.dir + "/stderr").find("Ctrl-C again") != std::string::npos; });
    ::kill(pid, SIGINT);
    const Outcome r = finish(pid, s.dir);
    ASSERT_TRUE(asked) << r.err;
    if (r.signal == 0 && r.status == 130) {
        GTEST_SKIP() << "the first Ctrl-C ended the render before the second arrived";
    }
    EXPECT_EQ(r.signal, SIGINT);
}

} // namespace
