// The drawing layer with no GL context current: calls are ignored, nothing
// crashes. And the screen size with no X display and with a virtual X server
// (Xvfb) of a known size that the test starts and stops itself.
#include <vxTDraw.h>

#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

TEST(VxTDrawNoContext, StateAtLoad) {
    EXPECT_EQ(gVxIsOpenGL, 0);
    EXPECT_EQ(gVxGlFontBase, 0);
    EXPECT_EQ(VxTDraw::_gMatrixStackDepth, 0);
    EXPECT_EQ(VxTDraw::_gStipple, 0x0F0F);
    EXPECT_EQ(VxTDraw::_gShadeFrac, 0.6f);
    EXPECT_EQ(VxTDraw::_gShadeDark, VxRGBf(0.1f, 0.1f, 0.1f));
    EXPECT_EQ(VxTDraw::_gShadeLight, VxRGBf(0.8f, 0.8f, 0.8f));
    EXPECT_EQ(VxTDraw::_gHintBoxColour, VxRGBf(1, 1, 0));
    EXPECT_EQ(VxTDraw::_gBackCol, VxRGBf(0.6f, 0.6f, 0.6f));
    EXPECT_EQ(kCropTColour, VxRGBf(1.0f, 0.5f, 0.2f));
    EXPECT_EQ(kSphereRingColour, VxRGBf(0.45f, 0.45f, 0.45f));
}

TEST(VxTDrawNoContext, CallsAreHarmless) {
    VxTDraw::solidBox(0, 0, 10, 10);
    VxTDraw::dashedCircle(5, 5, 3, VxTDraw::_gShadeDark, VxTDraw::_gShadeLight);
    VxTDraw::polygon(5, 5, 3, 6);
    VxTDraw::lightObject(0, 0);
    VxGLSetFontSize(12);
    EXPECT_EQ(gVxGlFontSize, 12);
    EXPECT_TRUE(VxGLInitFont());
    VxTDraw::drawHint("hint", 1, 1);
    VxGLFreeFont();
    HvBox2 w(1, 2, 3, 4);
    EXPECT_FALSE(VxGLBoxFeedback(HvBox2(0, 1, 0, 1), w)); // no matrices, no viewport
    EXPECT_EQ(w, HvBox2(1, 2, 3, 4));
    VxTScissorHelper s;
    s.tshScreenScissor(0, 0, 1, 1);
    VxTBlendingHelper b;
    b.tbhSetBlending(GL_ONE, GL_ONE);
    VxTGLList l;
    EXPECT_EQ(l.list(), 0u);
    VxDCleanup();
}

TEST(VxGLGetScreenResolution, WithoutADisplay) {
    unsetenv("DISPLAY");
    int w = 0, h = 0;
    VxGLGetScreenResolution(w, h);
    EXPECT_EQ(w, 1280);
    EXPECT_EQ(h, 1024);
    setenv("DISPLAY", ":bogus", 1);
    VxGLGetScreenResolution(w, h);
    EXPECT_EQ(w, 1280);
    EXPECT_EQ(h, 1024);
}

TEST(VxGLGetScreenResolution, OfAVirtualServer) {
    // Xvfb picks a free display number itself and writes it to the pipe once
    // it accepts connections (-displayfd).
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        close(fds[0]);
        const std::string fd = std::to_string(fds[1]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1234x567x24", "-nolisten",
               "tcp", "-terminate", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    std::string display;
    pollfd p{fds[0], POLLIN, 0};
    char buf[32];
    while (display.find('\n') == std::string::npos && poll(&p, 1, 20000) > 0) {
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n <= 0)
            break;
        display.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (display.find('\n') == std::string::npos) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        GTEST_SKIP() << "Xvfb could not be started";
    }
    setenv("DISPLAY", (":" + display.substr(0, display.find('\n'))).c_str(), 1);
    int w = 0, h = 0;
    VxGLGetScreenResolution(w, h);
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(w, 1234);
    EXPECT_EQ(h, 567);
}
