// End-to-end tests of the demonstration program: it is run as a user would
// run it, and its pictures are checked by their pixel digests. The generators
// are deterministic, so the digests are the same on every machine, with
// either compiler and with any number of workers.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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
};

struct Outcome {
    int status = -1; // exit code, or 128 + signal
    std::string out, err;
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
pid_t start(const std::vector<std::string>& args, const std::string& dir) {
    const pid_t pid = ::fork();
    if (pid == 0) {
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
    r.out = slurp(dir + "/stdout");
    r.err = slurp(dir + "/stderr");
    return r;
}

Outcome run(const std::vector<std::string>& args, const std::string& dir) {
    return finish(start(args, dir), dir);
}

// "name.exr digest" lines.
std::map<std::string, std::string> readDigests(const std::string& text) {
    std::map<std::string, std::string> m;
    std::istringstream in(text);
    std::string name, digest;
    while (in >> name >> digest) {
        m[name] = digest;
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
    EXPECT_EQ(listed, slurp(s.dir + "/g2/digests.txt"));
    const std::map<std::string, std::string> digests = readDigests(listed);
    EXPECT_EQ(digests.size(), kGolden.size());
    for (const auto& golden : kGolden) {
        auto it = digests.find(golden.first);
        ASSERT_NE(it, digests.end()) << golden.first;
        EXPECT_EQ(it->second, golden.second) << golden.first;
    }

    // Every picture reads back with the pixels it was written with, and has
    // its preview and its place on the index page.
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
    };
    for (const auto& c : commands) {
        const Outcome r = run(c, s.dir);
        EXPECT_EQ(r.status, 0) << c[0] << ": " << r.err;
    }
    for (const char* f : {"n.png", "m.exr", "k.exr", "s_00.exr", "s_01.exr", "grade.png"}) {
        EXPECT_TRUE(exists(s.dir + "/" + f)) << f;
    }
    const Outcome d = run({"digest", "n.png"}, s.dir);
    EXPECT_EQ(d.status, 0) << d.err;
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
        {"grade", "--lo", "1", "--hi", "1"},
        {"gallery", "--colour", "red"},
        {"digest"},
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
    DIR* dir = ::opendir((s.dir + "/g").c_str());
    ASSERT_NE(dir, nullptr);
    while (const dirent* e = ::readdir(dir)) {
        EXPECT_EQ(std::string(e->d_name).find(".part"), std::string::npos) << e->d_name;
    }
    ::closedir(dir);
}

} // namespace
