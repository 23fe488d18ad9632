// vxview driven through a real X server (Xvfb) with real input (xdotool):
// hover, press, drag and release on a slider, click a tab, save, quit. The
// viewer's log (--log) and its saved files tell what happened. Every wait
// polls a condition with a deadline; every process started is killed at the
// end, whatever happens.
#include "demoImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A child process, killed and reaped when the object goes.
class Child {
public:
    Child() = default;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { kill(); }

    // `env` entries are added to the environment. `fdKeep` stays open in the child.
    bool start(const std::vector<std::string>& argv, const std::vector<std::string>& env = {},
               const std::string& output = "/dev/null", int fdKeep = -1) {
        std::vector<char*> args;
        for (const std::string& a : argv) {
            args.push_back(const_cast<char*>(a.c_str()));
        }
        args.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            for (const std::string& e : env) {
                ::putenv(const_cast<char*>(e.c_str()));
            }
            const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (out >= 0) {
                ::dup2(out, 1);
                ::dup2(out, 2);
            }
            for (int fd = 3; fd < 256; ++fd) {
                if (fd != fdKeep) {
                    ::close(fd);
                }
            }
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        return pid_ > 0;
    }
    // The exit code, or -1 when still running after `seconds` (or killed).
    int wait(double seconds) {
        const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                            std::chrono::duration<double>(seconds));
        while (pid_ > 0) {
            int status = 0;
            const pid_t r = ::waitpid(pid_, &status, WNOHANG);
            if (r == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            if (Clock::now() > end) {
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }
    void kill() {
        if (pid_ <= 0) {
            return;
        }
        ::kill(pid_, SIGTERM);
        if (wait(5) == -1 && pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
};

// Runs a command to its end (at most 20 s); its exit code, or -1.
int run(const std::vector<std::string>& argv, const std::string& display) {
    Child c;
    if (!c.start(argv, {"DISPLAY=" + display})) {
        return -1;
    }
    return c.wait(20);
}

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        // The log's first word is the time in milliseconds.
        const size_t space = line.find(' ');
        lines.push_back(space == std::string::npos ? line : line.substr(space + 1));
    }
    return lines;
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

struct Rect {
    int x = 0, y = 0, w = 0, h = 0;
};

class VxviewX : public ::testing::Test {
protected:
    void SetUp() override {
        char dirTemplate[] = "/tmp/vxviewXTest.XXXXXX";
        ASSERT_NE(::mkdtemp(dirTemplate), nullptr);
        dir_ = dirTemplate;
        log_ = dir_ + "/log.txt";
    }
    void TearDown() override {
        viewer_.kill();
        xvfb_.kill();
        if (!HasFailure()) {
            std::system(("rm -rf " + dir_).c_str());
        } else {
            std::fprintf(stderr, "kept %s for inspection\n", dir_.c_str());
        }
    }

    // Starts Xvfb on a display number of its own choosing (-displayfd), so
    // that parallel runs never collide.
    bool startX() {
        int fds[2];
        if (::pipe(fds) != 0) {
            return false;
        }
        const bool started = xvfb_.start({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen",
                                          "0", "800x600x24", "-nolisten", "tcp"},
                                         {}, dir_ + "/xvfb.txt", fds[1]);
        ::close(fds[1]);
        std::string number;
        struct pollfd p = {fds[0], POLLIN, 0};
        const Clock::time_point end = Clock::now() + std::chrono::seconds(20);
        while (started && Clock::now() < end && number.find('\n') == std::string::npos) {
            if (::poll(&p, 1, 100) > 0) {
                char buffer[32];
                const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
                if (n <= 0) {
                    break;
                }
                number.append(buffer, static_cast<size_t>(n));
            }
        }
        ::close(fds[0]);
        if (number.find('\n') == std::string::npos) {
            return false;
        }
        display_ = ":" + number.substr(0, number.find('\n'));
        return true;
    }

    // Waits until some line of the log satisfies `pred`; returns it.
    std::string waitFor(const std::function<bool(const std::string&)>& pred, const char* what,
                        double seconds = 30) {
        const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                            std::chrono::duration<double>(seconds));
        for (;;) {
            for (const std::string& l : readLines(log_)) {
                if (pred(l)) {
                    return l;
                }
            }
            if (Clock::now() > end) {
                ADD_FAILURE() << "timed out waiting for " << what;
                return "";
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    std::string waitForPrefix(const std::string& prefix, double seconds = 30) {
        return waitFor([&](const std::string& l) { return startsWith(l, prefix); }, prefix.c_str(),
                       seconds);
    }
    // The widgets' window rectangles, as the viewer logs them at start.
    std::map<std::string, Rect> loggedWidgets() {
        std::map<std::string, Rect> widgets;
        for (const std::string& l : readLines(log_)) {
            Rect r;
            char name[64];
            if (std::sscanf(l.c_str(), "widget %63s %d %d %d %d", name, &r.x, &r.y, &r.w, &r.h) ==
                5)
                widgets[name] = r;
        }
        return widgets;
    }
    int xdo(const std::vector<std::string>& args) {
        std::vector<std::string> argv = {"xdotool"};
        argv.insert(argv.end(), args.begin(), args.end());
        return run(argv, display_);
    }

    std::string dir_, log_, display_;
    Child xvfb_, viewer_;
};

TEST_F(VxviewX, DragAClickATabSaveAndQuit) {
    if (!startX()) {
        GTEST_SKIP() << "Xvfb could not be started";
    }
    ASSERT_TRUE(viewer_.start({VXVIEW_PATH, "--size", "240x135", "--workers", "2", "--window",
                               "640x400", "--log", log_, "--save-dir", dir_},
                              {"DISPLAY=" + display_}, dir_ + "/viewer.txt"));
    ASSERT_FALSE(waitForPrefix("ready", 60).empty());
    const std::string winLine = waitForPrefix("xwindow ");
    ASSERT_FALSE(winLine.empty());
    const std::string win = winLine.substr(8);
    std::map<std::string, Rect> widgets = loggedWidgets();
    ASSERT_EQ(widgets.count("noise.octaves"), 1u);
    ASSERT_EQ(widgets.count("mosaic"), 1u);
    const std::string firstShown = waitForPrefix("shown 1 ");

    // Hover over the slider near its left end: its hint shows.
    const Rect s = widgets["noise.octaves"];
    const int y = s.y + s.h / 2;
    ASSERT_EQ(xdo({"mousemove", "--window", win, std::to_string(s.x + 30), std::to_string(y)}), 0);
    ASSERT_FALSE(waitForPrefix("hint noise.octaves").empty());
    // The widgets' cursor (host code -1) reached the window.
    ASSERT_FALSE(waitForPrefix("cursor -1").empty());
    // Press, drag to the right in steps, release.
    ASSERT_EQ(xdo({"mousedown", "1"}), 0);
    ASSERT_FALSE(waitForPrefix("msg 201 noise.octaves").empty());
    for (int x = s.x + 60; x <= s.x + s.w - 20; x += 40) {
        ASSERT_EQ(xdo({"mousemove", "--window", win, std::to_string(x), std::to_string(y)}), 0);
    }
    ASSERT_EQ(xdo({"mouseup", "1"}), 0);
    ASSERT_FALSE(waitForPrefix("msg 202 noise.octaves").empty());
    ASSERT_FALSE(waitForPrefix("settled").empty());

    // Click the mosaic tab; its picture is shown.
    const Rect t = widgets["mosaic"];
    ASSERT_EQ(xdo({"mousemove", "--window", win, std::to_string(t.x + t.w / 2),
                   std::to_string(t.y + t.h / 2)}),
              0);
    ASSERT_EQ(xdo({"click", "1"}), 0);
    ASSERT_FALSE(waitForPrefix("msg 203 mosaic").empty());
    const std::string mosaicShown = waitFor(
        [](const std::string& l) {
            return startsWith(l, "shown ") && l.find(" mosaic ") != std::string::npos;
        },
        "the mosaic");
    ASSERT_FALSE(mosaicShown.empty());

    // A smaller window: the picture is fitted again.
    ASSERT_EQ(xdo({"windowsize", win, "480", "400"}), 0);
    ASSERT_FALSE(waitForPrefix("window 480 400").empty());

    // Save with the key, then quit with the key.
    ASSERT_EQ(xdo({"windowfocus", win}), 0);
    ASSERT_EQ(xdo({"key", "s"}), 0);
    const std::string saved = waitForPrefix("saved ");
    ASSERT_FALSE(saved.empty());
    ASSERT_EQ(xdo({"key", "q"}), 0);
    EXPECT_EQ(viewer_.wait(30), 0);

    // The slider's messages: 200, then 201s rising as the pen went right, then 202.
    std::vector<std::string> msgs;
    std::vector<float> values;
    for (const std::string& l : readLines(log_)) {
        float v = 0;
        if (startsWith(l, "msg ") && l.find(" noise.octaves") != std::string::npos) {
            msgs.push_back(l.substr(4, 3));
            if (std::sscanf(l.c_str(), "msg 201 noise.octaves %f", &v) == 1) {
                values.push_back(v);
            }
        }
    }
    ASSERT_GE(msgs.size(), 4u);
    EXPECT_EQ(msgs.front(), "200");
    EXPECT_EQ(msgs.back(), "202");
    for (size_t i = 1; i + 1 < msgs.size(); ++i) {
        EXPECT_EQ(msgs[i], "201") << i;
    }
    for (size_t i = 1; i < values.size(); ++i) {
        EXPECT_GE(values[i], values[i - 1]);
    }
    EXPECT_GT(values.back(), values.front());

    // The picture changed: the noise after the drag, and the mosaic, differ
    // from the first picture.
    auto digestOf = [](const std::string& l) { return l.substr(l.rfind(' ') + 1); };
    std::string lastNoise;
    for (const std::string& l : readLines(log_)) {
        if (startsWith(l, "shown ") && l.find(" noise ") != std::string::npos) {
            lastNoise = l;
        }
    }
    EXPECT_NE(digestOf(lastNoise), digestOf(firstShown));
    EXPECT_NE(digestOf(mosaicShown), digestOf(firstShown));

    // The saved files are whole: the result in full precision, its preview,
    // and the window as shown.
    char exr[512], png[512], shot[512], digest[64];
    ASSERT_EQ(std::sscanf(saved.c_str(), "saved %511s %511s %511s %63s", exr, png, shot, digest),
              4);
    Image result, preview, window;
    std::string error;
    ASSERT_TRUE(readImage(exr, result, error)) << error;
    EXPECT_EQ(digestText(imageDigest(result)), digest);
    EXPECT_EQ(digest, digestOf(mosaicShown));
    ASSERT_TRUE(readImage(png, preview, error)) << error;
    EXPECT_EQ(preview.width, 240);
    EXPECT_EQ(preview.height, 135);
    ASSERT_TRUE(readImage(shot, window, error)) << error;
    EXPECT_EQ(window.width, 480);
    EXPECT_EQ(window.height, 400);
    // A 16:9 picture in a 480 x 400 window: it fills the width, 270 rows
    // high, centred, with 65 rows of background above and below (right of
    // the controls).
    auto grey = [&](int x, int yy) {
        const float* p = window.at(x, yy);
        return std::abs(p[0] - 0.2f) < 0.01f && std::abs(p[1] - 0.2f) < 0.01f;
    };
    EXPECT_TRUE(grey(460, 30));
    EXPECT_TRUE(grey(460, 370));
    float spread = 0;
    for (int yy = 0; yy < 400; ++yy) {
        if (yy >= 67 && yy < 333) {
            EXPECT_FALSE(grey(400, yy) && grey(440, yy) && grey(470, yy)) << yy;
        }
        spread = std::max(spread, std::abs(window.at(440, yy)[1] - window.at(440, 200)[1]));
    }
    EXPECT_GT(spread, 0.05f); // not a flat picture
}

// What a window manager sends when the user closes the window.
bool sendDeleteWindow(const std::string& display, unsigned long window) {
    Display* d = XOpenDisplay(display.c_str());
    if (d == nullptr) {
        return false;
    }
    XEvent e;
    std::memset(&e, 0, sizeof e);
    e.xclient.type = ClientMessage;
    e.xclient.window = window;
    e.xclient.message_type = XInternAtom(d, "WM_PROTOCOLS", False);
    e.xclient.format = 32;
    e.xclient.data.l[0] = static_cast<long>(XInternAtom(d, "WM_DELETE_WINDOW", False));
    e.xclient.data.l[1] = CurrentTime;
    const bool sent = XSendEvent(d, window, False, NoEventMask, &e) != 0;
    XCloseDisplay(d);
    return sent;
}

TEST_F(VxviewX, ClosingTheWindowQuits) {
    if (!startX()) {
        GTEST_SKIP() << "Xvfb could not be started";
    }
    ASSERT_TRUE(
        viewer_.start({VXVIEW_PATH, "--log", log_}, {"DISPLAY=" + display_}, dir_ + "/viewer.txt"));
    ASSERT_FALSE(waitForPrefix("ready", 60).empty());
    EXPECT_FALSE(waitForPrefix("picture 1920 1080", 1).empty()); // the default test picture
    const std::string winLine = waitForPrefix("xwindow ");
    ASSERT_FALSE(winLine.empty());
    ASSERT_TRUE(sendDeleteWindow(display_, std::stoul(winLine.substr(8))));
    EXPECT_EQ(viewer_.wait(30), 0);
    // The summary at exit.
    EXPECT_FALSE(waitForPrefix("renders started 1 completed 1 abandoned 0", 1).empty());
    EXPECT_FALSE(waitForPrefix("latency median", 1).empty());
    EXPECT_FALSE(waitForPrefix("events p95", 1).empty());
    EXPECT_FALSE(waitForPrefix("quit", 1).empty());
}

TEST_F(VxviewX, ThePlayToggleAnimatesTheShake) {
    if (!startX()) {
        GTEST_SKIP() << "Xvfb could not be started";
    }
    ASSERT_TRUE(viewer_.start({VXVIEW_PATH, "--size", "160x90", "--log", log_},
                              {"DISPLAY=" + display_}, dir_ + "/viewer.txt"));
    ASSERT_FALSE(waitForPrefix("ready", 60).empty());
    const std::string winLine = waitForPrefix("xwindow ");
    ASSERT_FALSE(winLine.empty());
    const std::string win = winLine.substr(8);
    std::map<std::string, Rect> widgets = loggedWidgets();
    for (const char* name : {"shake", "shake.play"}) {
        const Rect r = widgets[name];
        ASSERT_GT(r.w, 0) << name;
        ASSERT_EQ(xdo({"mousemove", "--window", win, std::to_string(r.x + r.w / 2),
                       std::to_string(r.y + r.h / 2)}),
                  0);
        ASSERT_EQ(xdo({"click", "1"}), 0);
        ASSERT_FALSE(waitForPrefix(std::string("msg 203 ") + name).empty());
    }
    // Frames follow one another with no more input, each a new picture.
    std::set<std::string> digests;
    waitFor(
        [&](const std::string& l) {
            if (startsWith(l, "shown ") && l.find(" shake ") != std::string::npos) {
                digests.insert(l.substr(l.rfind(' ') + 1));
            }
            return digests.size() >= 4;
        },
        "four shake frames");
    EXPECT_GE(digests.size(), 4u);
}

TEST_F(VxviewX, APictureFileIsLoaded) {
    if (!startX()) {
        GTEST_SKIP() << "Xvfb could not be started";
    }
    // A grey PNG: it becomes grey RGB for the effects that take a picture.
    Image grey(64, 36, 1);
    grey.pixels.assign(grey.pixels.size(), 0.5f);
    std::string error;
    ASSERT_TRUE(writeImage(dir_ + "/grey.png", grey, 0, 1, error)) << error;
    ASSERT_TRUE(viewer_.start({VXVIEW_PATH, dir_ + "/grey.png", "--log", log_},
                              {"DISPLAY=" + display_}, dir_ + "/viewer.txt"));
    ASSERT_FALSE(waitForPrefix("ready", 60).empty());
    EXPECT_FALSE(waitForPrefix("picture 64 36", 1).empty());
    const std::string winLine = waitForPrefix("xwindow ");
    ASSERT_FALSE(winLine.empty());
    ASSERT_EQ(xdo({"windowfocus", winLine.substr(8)}), 0);
    ASSERT_EQ(xdo({"key", "q"}), 0);
    EXPECT_EQ(viewer_.wait(30), 0);
}

TEST(VxviewInput, BadPicturesAndNoDisplayExitWithOne) {
    // One file per test process: runs of other builds may go on at once.
    const std::string out = "/tmp/vxviewInputTest." + std::to_string(::getpid()) + ".txt";
    auto runViewer = [&](const std::vector<std::string>& args, const std::string& display) {
        Child c;
        std::vector<std::string> argv = {VXVIEW_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        // No display at all unless given: the picture is checked before any window.
        EXPECT_TRUE(c.start(argv, {"DISPLAY=" + display}, out));
        const int code = c.wait(60);
        std::ifstream in(out);
        std::stringstream text;
        text << in.rdbuf();
        return std::make_pair(code, text.str());
    };
    auto r = runViewer({"/nonexistent/picture.exr"}, "");
    EXPECT_EQ(r.first, 1);
    EXPECT_NE(r.second.find("vxview: cannot read /nonexistent/picture.exr"), std::string::npos)
        << r.second;
    r = runViewer({"picture.tiff"}, "");
    EXPECT_EQ(r.first, 1);
    EXPECT_NE(r.second.find("unsupported picture type"), std::string::npos) << r.second;
    r = runViewer({"--size", "16x16"}, "");
    EXPECT_EQ(r.first, 1);
    EXPECT_NE(r.second.find("vxview: cannot open the X display"), std::string::npos) << r.second;
    std::remove(out.c_str());
}

} // namespace
