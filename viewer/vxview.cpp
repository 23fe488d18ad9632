// vxview - an interactive viewer of Veltrix's effects on X11, with the
// library's own widgets as its controls. It plays the part of the host: it
// turns window pointer events into the widgets' pointer messages, shows the
// cursor the widgets ask for, builds the font lists, and renders through the
// image frame on every worker of the stand-alone fork, off this thread.
#include "viewerCore.h"

#include "vxAsciiFont.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"
#include "vxTDraw.h"
#include "vxTManager.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include <GLFW/glfw3.h>
// GLFW's X11 accessor (glfw3native.h), declared here because that header
// also wants the XRandR headers. X11's Window is an XID, an unsigned long.
extern "C" unsigned long glfwGetX11Window(GLFWwindow* window);

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

// One line per event, flushed at once so that a script can follow it.
class Log {
public:
    bool open(const std::string& path) {
        file_ = std::fopen(path.c_str(), "w");
        return file_ != nullptr;
    }
    ~Log() {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }
    void line(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        if (file_ == nullptr) {
            return;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        // Milliseconds since the start first, so that a script can time events.
        std::fprintf(file_, "%.1f ", msSince(start_));
        va_list args;
        va_start(args, format);
        std::vfprintf(file_, format, args);
        va_end(args);
        std::fputc('\n', file_);
        std::fflush(file_);
    }
    bool on() const { return file_ != nullptr; }

private:
    FILE* file_ = nullptr;
    std::mutex mutex_;
    Clock::time_point start_ = Clock::now();
};

struct Options {
    std::string picture;
    std::string logPath;
    std::string saveDir = ".";
    int width = 1920, height = 1080; // the generated picture
    int windowWidth = 960, windowHeight = 540;
    int workers = 0;
};

const char* const kUsage =
    "usage: vxview [options] [picture.exr | picture.png]\n"
    "Shows Veltrix's effects on the picture (or on a generated test picture)\n"
    "with their parameters as on-screen widgets. Keys: s saves the result\n"
    "(EXR and PNG) and the window (PNG), q quits.\n"
    "  --size WxH        size of the generated test picture (1920x1080)\n"
    "  --window WxH      initial window size (960x540)\n"
    "  --workers N       render workers (default: one per hardware thread)\n"
    "  --save-dir DIR    where s saves (the current directory)\n"
    "  --log FILE        one line per widget message, render and save\n";

bool parseSize(const char* text, int& w, int& h) {
    return std::sscanf(text, "%dx%d", &w, &h) == 2 && w > 0 && h > 0 && w <= kMaxSide &&
           h <= kMaxSide;
}

// 0: go on; otherwise the exit code.
int parseOptions(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return -1;
        } else if (a == "--size" && hasValue) {
            if (!parseSize(argv[++i], o.width, o.height)) {
                std::fprintf(stderr, "vxview: bad size '%s' (WxH expected)\n", argv[i]);
                return 1;
            }
        } else if (a == "--window" && hasValue) {
            if (!parseSize(argv[++i], o.windowWidth, o.windowHeight)) {
                std::fprintf(stderr, "vxview: bad window size '%s' (WxH expected)\n", argv[i]);
                return 1;
            }
        } else if (a == "--workers" && hasValue) {
            o.workers = std::atoi(argv[++i]);
        } else if (a == "--save-dir" && hasValue) {
            o.saveDir = argv[++i];
        } else if (a == "--log" && hasValue) {
            o.logPath = argv[++i];
        } else if (!a.empty() && a[0] != '-' && o.picture.empty()) {
            o.picture = a;
        } else {
            std::fprintf(stderr, "vxview: unknown option '%s'\n%s", a.c_str(), kUsage);
            return 1;
        }
    }
    return 0;
}

double percentile(std::vector<double> v, double q) {
    if (v.empty()) {
        return 0;
    }
    std::sort(v.begin(), v.end());
    return v[static_cast<size_t>(q * static_cast<double>(v.size() - 1) + 0.5)];
}

class Viewer;

// Forwards one widget's messages to the viewer.
class WidgetHandler : public VxMessageHandler {
public:
    WidgetHandler(Viewer* v, int effect, int index) : viewer_(v), effect_(effect), index_(index) {}
    void handleMessage(const VxMessage& m, VxMessageSender* sender) override;

private:
    Viewer* viewer_;
    int effect_, index_; // index -1: the effect's tab
};

class Viewer {
public:
    Viewer(const Options& o, Image picture) : options_(o), picture_(std::move(picture)) {}
    ~Viewer();
    int run();
    void onWidgetMessage(const VxMessage& m, int effect, int index);

private:
    bool openWindow();
    void buildWidgets();
    void layout();
    void showEffect(int effect);
    void pointer(int event, double x, double y);
    void requestRender();
    void advanceShake();
    void takeFrame();
    void draw();
    void drawProgress(int w, int h);
    void save();
    void logHint();

    static void onCursor(int code, void* user);

    Options options_;
    Image picture_;
    Log log_;
    GLFWwindow* window_ = nullptr;
    GLFWcursor* cursors_[3] = {nullptr, nullptr, nullptr};
    std::unique_ptr<RenderScheduler> scheduler_;
    ViewParams params_;
    VxTManager ui_;
    VxTTabBox tabs_{"tabs"};
    std::vector<std::unique_ptr<VxTTabButton>> tabButtons_;
    std::vector<std::vector<std::unique_ptr<VxTObject>>> panels_;
    std::vector<std::unique_ptr<WidgetHandler>> handlers_;
    VxTObject* hinted_ = nullptr;
    GLuint texture_ = 0;
    Frame shown_;
    bool haveFrame_ = false;
    bool dirty_ = true;
    bool playing_ = false;
    int saves_ = 0;
    int windowHeight_ = 0;
    // Measurements.
    std::vector<double> eventMs_, latencyMs_;
    bool dragging_ = false;
    RenderScheduler::Counts dragStart_;
    bool awaitingSettle_ = false; // released during a render: time the final frame
    Clock::time_point released_;
};

void WidgetHandler::handleMessage(const VxMessage& m, VxMessageSender*) {
    viewer_->onWidgetMessage(m, effect_, index_);
}

Viewer::~Viewer() {
    // The render thread goes first: it may still post events to the window.
    scheduler_.reset();
    VxStandaloneHostSetCursorHandler(nullptr, nullptr);
    // Widgets before their handlers; the multi-toggles' display lists need
    // the context still current.
    panels_.clear();
    tabButtons_.clear();
    handlers_.clear();
    if (window_ != nullptr) {
        glfwDestroyWindow(window_);
    }
    // No glfwTerminate: it unloads the GL driver, and the driver's few
    // allocations kept to the end would then be reported by leak checkers
    // without the name of the library they came from. The process ends here.
}

void Viewer::onCursor(int code, void* user) {
    Viewer* v = static_cast<Viewer*>(user);
    // The host's cursor codes: 1 the viewing cursor, -1 over a widget, the
    // others the shapes of the geometric handles.
    GLFWcursor* c = code == 1 ? nullptr : code == -1 ? v->cursors_[0] : v->cursors_[1];
    glfwSetCursor(v->window_, c);
    v->log_.line("cursor %d", code);
}

bool Viewer::openWindow() {
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 2);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 1);
    window_ =
        glfwCreateWindow(options_.windowWidth, options_.windowHeight, "vxview", nullptr, nullptr);
    if (window_ == nullptr) {
        return false;
    }
    glfwSetWindowUserPointer(window_, this);
    glfwMakeContextCurrent(window_);
    glfwSwapInterval(0);
    cursors_[0] = glfwCreateStandardCursor(GLFW_HAND_CURSOR);
    cursors_[1] = glfwCreateStandardCursor(GLFW_CROSSHAIR_CURSOR);
    VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), kVxGlyphWidth, kVxGlyphHeight, kVxGlyphAdvance);
    VxGLInitFont();
    VxStandaloneHostSetCursorHandler(&Viewer::onCursor, this);
    log_.line("picture %d %d", picture_.width, picture_.height);
    log_.line("xwindow %lu", static_cast<unsigned long>(glfwGetX11Window(window_)));

    glfwSetCursorPosCallback(window_, [](GLFWwindow* w, double x, double y) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->pointer(kVxTPenMoved, x, y);
    });
    glfwSetMouseButtonCallback(window_, [](GLFWwindow* w, int button, int action, int) {
        if (button != GLFW_MOUSE_BUTTON_LEFT) {
            return;
        }
        double x = 0, y = 0;
        glfwGetCursorPos(w, &x, &y);
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))
            ->pointer(action == GLFW_PRESS ? kVxTPenPressed : kVxTPenReleased, x, y);
    });
    glfwSetCursorEnterCallback(window_, [](GLFWwindow* w, int entered) {
        double x = 0, y = 0;
        glfwGetCursorPos(w, &x, &y);
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))
            ->pointer(entered ? kVxTPenEntered : kVxTPenLeft, x, y);
    });
    glfwSetKeyCallback(window_, [](GLFWwindow* w, int key, int, int action, int) {
        if (action != GLFW_PRESS) {
            return;
        }
        Viewer* v = static_cast<Viewer*>(glfwGetWindowUserPointer(w));
        if (key == GLFW_KEY_Q) {
            glfwSetWindowShouldClose(w, 1);
        } else if (key == GLFW_KEY_S) {
            v->save();
        }
    });
    glfwSetWindowSizeCallback(window_, [](GLFWwindow* w, int, int) {
        Viewer* v = static_cast<Viewer*>(glfwGetWindowUserPointer(w));
        v->layout();
        v->dirty_ = true;
    });
    glfwSetWindowRefreshCallback(window_, [](GLFWwindow* w) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->dirty_ = true;
    });
    return true;
}

// A multi-toggle state: its name, drawn in the widget's coordinates.
VxTGLList* stateList(const char* text) {
    VxTGLList* list = new VxTGLList();
    glNewList(list->list(), GL_COMPILE);
    glColor3f(1, 1, 1);
    VxGLDrawStr(text, 6, 4);
    glEndList();
    return list;
}

void Viewer::buildWidgets() {
    // Tabs above the tallest panel (four rows). A group's box follows its
    // children, so the first tab's place is given through the box's origin,
    // which tAddChild reads.
    tabs_.origin = HvVec2(10, 10 + 4 * 26 + 6);
    tabs_.childOffset(HvVec2(62, 0));
    ui_.tmAddChild(&tabs_);
    panels_.resize(kEffectCount);
    for (int e = 0; e < kEffectCount; ++e) {
        tabButtons_.emplace_back(new VxTTabButton(effectName(e), e == params_.effect));
        VxTTabButton* tab = tabButtons_.back().get();
        tab->tSize(HvVec2(58, 22));
        tab->tHint("choose the effect");
        handlers_.emplace_back(new WidgetHandler(this, e, -1));
        handlers_.back()->acceptSender(tab);
        const std::vector<ParamInfo>& infos = effectParams(e);
        for (int i = 0; i < static_cast<int>(infos.size()); ++i) {
            const ParamInfo& s = infos[i];
            const std::string name = std::string(effectName(e)) + "." + s.name;
            const float value = widgetValue(params_, e, i);
            VxTObject* w = nullptr;
            VxMessageSender* sender = nullptr;
            if (s.kind == kParamSlider) {
                VxTSlider* slider = new VxTSlider(name.c_str(), value, 1);
                slider->tSize(HvVec2(220, 20));
                slider->labelFlags = 1;
                slider->tsSetLabel(paramLabel(params_, e, i).c_str());
                w = slider;
                sender = slider;
            } else if (s.kind == kParamToggle) {
                VxTToggle* toggle = new VxTToggle(name.c_str(), value != 0);
                toggle->tSize(HvVec2(20, 20));
                toggle->toggleFlags = kVxTToggleShowName;
                w = toggle;
                sender = toggle;
            } else {
                VxTMultiToggle* multi = new VxTMultiToggle(name.c_str());
                multi->tSize(HvVec2(100, 20));
                for (const char* state : s.states) {
                    VxTGLList* list = stateList(state);
                    multi->tmtAddState(list);
                    list->dropReference(); // the widget holds it now
                }
                multi->tmtState(static_cast<int>(value), 0);
                w = multi;
                sender = multi;
            }
            w->tHint(s.hint);
            handlers_.emplace_back(new WidgetHandler(this, e, i));
            handlers_.back()->acceptSender(sender);
            panels_[e].emplace_back(w);
            ui_.tmAddChild(w);
        }
    }
    for (auto& tab : tabButtons_) {
        tabs_.tAddChild(tab.get());
    }
    showEffect(params_.effect);
}

// The controls sit in the lower-left corner, in window pixels with y up, so
// a resize leaves them where they are; only their position from the top
// (what a script clicking them needs) changes.
void Viewer::layout() {
    int w = 0, h = 0;
    glfwGetWindowSize(window_, &w, &h);
    windowHeight_ = h;
    log_.line("window %d %d", w, h);
    auto logWidget = [&](const VxTObject* o, const char* name) {
        log_.line("widget %s %d %d %d %d", name, static_cast<int>(o->origin.x),
                  h - static_cast<int>(o->origin.y + o->size.y), static_cast<int>(o->size.x),
                  static_cast<int>(o->size.y));
    };
    for (auto& panel : panels_) {
        const int n = static_cast<int>(panel.size());
        for (int i = 0; i < n; ++i) {
            panel[i]->tOrigin(HvVec2(10, static_cast<float>(10 + (n - 1 - i) * 26)));
            logWidget(panel[i].get(), panel[i]->name);
        }
    }
    for (auto& tab : tabButtons_) {
        logWidget(tab.get(), tab->name);
    }
}

void Viewer::showEffect(int effect) {
    params_.effect = effect;
    for (int e = 0; e < kEffectCount; ++e) {
        for (auto& w : panels_[e]) {
            w->tSetState(e == effect ? kVxTFindable | kVxTVisible : 0);
        }
    }
    ui_.needsRedraw = 1;
}

void Viewer::onWidgetMessage(const VxMessage& m, int effect, int index) {
    if (m.kind == kVxMessageFloat) {
        log_.line("msg %d %s %.6f", m.id, m.name, m.floatValue());
    } else if (m.kind == kVxMessageInt) {
        log_.line("msg %d %s %d", m.id, m.name, m.intValue());
    } else {
        log_.line("msg %d %s", m.id, m.name);
    }
    if (index < 0) {
        if (m.id == kVxTMsgSet && tabButtons_[effect]->state != 0) {
            showEffect(effect);
            requestRender();
        }
        return;
    }
    if (m.id == kVxTMsgPressed) {
        dragging_ = true;
        dragStart_ = scheduler_->counts();
        return;
    }
    if (m.id == kVxTMsgReleased) {
        if (dragging_) {
            const RenderScheduler::Counts c = scheduler_->counts();
            log_.line("drag renders started %d completed %d abandoned %d",
                      c.started - dragStart_.started, c.completed - dragStart_.completed,
                      c.abandoned - dragStart_.abandoned);
        }
        dragging_ = false;
        released_ = Clock::now();
        awaitingSettle_ = scheduler_->busy();
        if (!awaitingSettle_) {
            log_.line("settled 0.00 after release, already shown");
        }
        return;
    }
    const ParamInfo& s = effectParams(effect)[index];
    float value = 0;
    if (s.kind == kParamSlider) {
        value = m.floatValue();
    } else if (s.kind == kParamToggle) {
        value = static_cast<float>(static_cast<VxTToggle*>(panels_[effect][index].get())->state);
    } else {
        value = static_cast<float>(m.intValue());
    }
    if (effect == kEffectShake && index == 3) {
        playing_ = value != 0;
        if (playing_) {
            // Each frame shown asks for the next; this starts the chain.
            advanceShake();
        }
        return;
    }
    if (applyWidgetValue(params_, effect, index, value)) {
        if (s.kind == kParamSlider) {
            static_cast<VxTSlider*>(panels_[effect][index].get())
                ->tsSetLabel(paramLabel(params_, effect, index).c_str());
        }
        requestRender();
    }
}

void Viewer::advanceShake() {
    applyWidgetValue(params_, kEffectShake, 0,
                     static_cast<float>((params_.shakeFrame + 1) % 241) / 240.0f);
    // The frame slider follows, without a message of its own.
    VxTSlider* frame = static_cast<VxTSlider*>(panels_[kEffectShake][0].get());
    frame->tsValue(widgetValue(params_, kEffectShake, 0), 0);
    frame->tsSetLabel(paramLabel(params_, kEffectShake, 0).c_str());
    ui_.needsRedraw = 1;
    requestRender();
}

void Viewer::requestRender() {
    const uint64_t g = scheduler_->request(params_);
    log_.line("request %llu %s", static_cast<unsigned long long>(g), effectName(params_.effect));
}

void Viewer::logHint() {
    VxTObject* f = VxTObject::isNull(ui_.found) ? nullptr : ui_.found;
    if (f != hinted_) {
        hinted_ = f;
        if (f != nullptr && f->hint != nullptr && ui_.showHints) {
            log_.line("hint %s", f->name != nullptr ? f->name : "");
        }
    }
}

void Viewer::pointer(int event, double x, double y) {
    const Clock::time_point t0 = Clock::now();
    // Window coordinates run down from the top; the widgets' run up.
    const HvVec2 pos(static_cast<float>(x), static_cast<float>(windowHeight_ - y));
    if (ui_.tmUIMessage(VxTPointerMessage(event, kVxTDeviceMouse, pos))) {
        dirty_ = true;
    }
    logHint();
    eventMs_.push_back(msSince(t0));
}

void Viewer::takeFrame() {
    Frame f;
    if (!scheduler_->takeFrame(f)) {
        return;
    }
    std::swap(shown_, f);
    haveFrame_ = true;
    if (texture_ == 0) {
        glGenTextures(1, &texture_);
    }
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, shown_.result.width, shown_.result.height, 0, GL_RGBA,
                 GL_UNSIGNED_BYTE, shown_.rgba.data());
    dirty_ = true;
}

void Viewer::drawProgress(int w, int h) {
    const float p = scheduler_->progress();
    glDisable(GL_TEXTURE_2D);
    glColor3f(0.1f, 0.1f, 0.1f);
    glRectf(0, static_cast<float>(h - 4), static_cast<float>(w), static_cast<float>(h));
    glColor3f(0.9f, 0.7f, 0.2f);
    glRectf(0, static_cast<float>(h - 4), p * static_cast<float>(w), static_cast<float>(h));
    char text[32];
    std::snprintf(text, sizeof text, "rendering %d%%", static_cast<int>(p * 100));
    glColor3f(1, 1, 1);
    VxGLDrawStr(text, static_cast<float>(w - 120), static_cast<float>(h - 20));
}

void Viewer::draw() {
    int w = 0, h = 0, fw = 0, fh = 0;
    glfwGetWindowSize(window_, &w, &h);
    glfwGetFramebufferSize(window_, &fw, &fh);
    glViewport(0, 0, fw, fh);
    glClearColor(0.2f, 0.2f, 0.2f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, w, 0, h, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    if (haveFrame_ && shown_.result.width > 0) {
        // The whole picture, as large as the window allows, centred.
        const float iw = static_cast<float>(shown_.result.width);
        const float ih = static_cast<float>(shown_.result.height);
        const float s = std::min(static_cast<float>(w) / iw, static_cast<float>(h) / ih);
        const float x0 = (static_cast<float>(w) - iw * s) / 2;
        const float y0 = (static_cast<float>(h) - ih * s) / 2;
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture_);
        glColor3f(1, 1, 1);
        glBegin(GL_QUADS);
        glTexCoord2f(0, 0);
        glVertex2f(x0, y0);
        glTexCoord2f(1, 0);
        glVertex2f(x0 + iw * s, y0);
        glTexCoord2f(1, 1);
        glVertex2f(x0 + iw * s, y0 + ih * s);
        glTexCoord2f(0, 1);
        glVertex2f(x0, y0 + ih * s);
        glEnd();
        glDisable(GL_TEXTURE_2D);
    }
    ui_.tmDraw();
    if (scheduler_->busy()) {
        drawProgress(w, h);
    }
}

void Viewer::save() {
    if (!haveFrame_) {
        log_.line("save nothing yet");
        return;
    }
    ++saves_;
    const std::string base = options_.saveDir + "/vxview-" + effectName(shown_.params.effect) +
                             "-" + std::to_string(saves_);
    float lo = 0, hi = 1;
    displayRange(shown_.params.effect, lo, hi);
    std::string error;
    bool ok = writeImage(base + ".exr", shown_.result, lo, hi, error) &&
              writeImage(base + ".png", shown_.result, lo, hi, error);
    // The window as it shows now, read back from a fresh drawing.
    int fw = 0, fh = 0;
    glfwGetFramebufferSize(window_, &fw, &fh);
    draw();
    glFinish();
    std::vector<unsigned char> bytes(static_cast<size_t>(fw) * fh * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadBuffer(GL_BACK);
    glReadPixels(0, 0, fw, fh, GL_RGB, GL_UNSIGNED_BYTE, bytes.data());
    Image shot(fw, fh, 3);
    for (int y = 0; y < fh; ++y) {
        const unsigned char* in = bytes.data() + static_cast<size_t>(fh - 1 - y) * fw * 3;
        float* out = shot.row(y);
        for (int i = 0; i < fw * 3; ++i) {
            out[i] = static_cast<float>(in[i]) / 255.0f;
        }
    }
    const std::string windowPath = options_.saveDir + "/vxview-window-" + std::to_string(saves_);
    ok = ok && writeImage(windowPath + ".png", shot, 0, 1, error);
    if (ok) {
        log_.line("saved %s.exr %s.png %s.png %s", base.c_str(), base.c_str(), windowPath.c_str(),
                  digestText(imageDigest(shown_.result)).c_str());
        std::fprintf(stderr, "vxview: saved %s.exr, %s.png and %s.png\n", base.c_str(),
                     base.c_str(), windowPath.c_str());
    } else {
        log_.line("save failed %s", error.c_str());
        std::fprintf(stderr, "vxview: cannot save: %s\n", error.c_str());
    }
    dirty_ = true;
}

int Viewer::run() {
    if (!options_.logPath.empty() && !log_.open(options_.logPath)) {
        std::fprintf(stderr, "vxview: cannot write the log %s\n", options_.logPath.c_str());
        return 1;
    }
    if (!openWindow()) {
        std::fprintf(stderr, "vxview: cannot open a window on the display\n");
        return 1;
    }
    VxStandaloneHostSetWorkers(options_.workers);
    const Image& picture = picture_;
    Log& log = log_;
    scheduler_.reset(new RenderScheduler(
        [&picture, &log](const ViewParams& p, Frame& f) {
            log.line("render start %llu", static_cast<unsigned long long>(f.generation));
            if (!renderView(f.result, picture, p)) {
                log.line("render abandoned %llu", static_cast<unsigned long long>(f.generation));
                return false;
            }
            float lo = 0, hi = 1;
            displayRange(p.effect, lo, hi);
            toDisplayBytes(f.result, lo, hi, f.rgba);
            log.line("render done %llu", static_cast<unsigned long long>(f.generation));
            return true;
        },
        picture_.height, [] { glfwPostEmptyEvent(); }));
    buildWidgets();
    layout();
    requestRender();
    bool announced = false;
    while (!glfwWindowShouldClose(window_)) {
        const bool busy = scheduler_->busy();
        // While a render runs, wake up now and then to move the progress bar.
        glfwWaitEventsTimeout(busy ? 0.05 : 0.5);
        takeFrame();
        if (busy || dirty_ || ui_.needsRedraw) {
            draw();
            glfwSwapBuffers(window_);
            glFinish();
            dirty_ = false;
        }
        if (haveFrame_ && shown_.generation != 0) {
            const double latency = msSince(shown_.requested);
            latencyMs_.push_back(latency);
            log_.line("shown %llu %s latency %.2f render %.2f digest %s",
                      static_cast<unsigned long long>(shown_.generation),
                      effectName(shown_.params.effect), latency, shown_.renderMs,
                      log_.on() ? digestText(imageDigest(shown_.result)).c_str() : "-");
            if (awaitingSettle_ && !scheduler_->busy()) {
                log_.line("settled %.2f after release, render %.2f", msSince(released_),
                          shown_.renderMs);
                awaitingSettle_ = false;
            }
            if (!announced) {
                log_.line("ready");
                announced = true;
            }
            shown_.generation = 0; // logged once
            if (playing_ && params_.effect == kEffectShake) {
                advanceShake();
            }
        }
    }
    scheduler_->waitIdle(0);
    const RenderScheduler::Counts c = scheduler_->counts();
    log_.line("renders started %d completed %d abandoned %d", c.started, c.completed, c.abandoned);
    log_.line("latency median %.2f p95 %.2f ms over %zu frames", percentile(latencyMs_, 0.5),
              percentile(latencyMs_, 0.95), latencyMs_.size());
    log_.line("events p95 %.3f max %.3f ms over %zu", percentile(eventMs_, 0.95),
              percentile(eventMs_, 1.0), eventMs_.size());
    log_.line("quit");
    return 0;
}

bool loadPicture(const Options& o, Image& picture) {
    if (o.picture.empty()) {
        return renderTestPicture(picture, o.width, o.height);
    }
    if (!hasExtension(o.picture, ".exr") && !hasExtension(o.picture, ".png")) {
        std::fprintf(stderr, "vxview: %s: unsupported picture type (use .exr or .png)\n",
                     o.picture.c_str());
        return false;
    }
    std::string error;
    Image read;
    if (!readImage(o.picture, read, error)) {
        std::fprintf(stderr, "vxview: cannot read %s: %s\n", o.picture.c_str(), error.c_str());
        return false;
    }
    picture = pictureAsRGB(read);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    const int status = parseOptions(argc, argv, options);
    if (status != 0) {
        return status < 0 ? 0 : status;
    }
    Image picture;
    if (!loadPicture(options, picture)) {
        return 1;
    }
    glfwSetErrorCallback([](int, const char* text) { std::fprintf(stderr, "vxview: %s\n", text); });
    if (!glfwInit()) {
        std::fprintf(stderr, "vxview: cannot open the X display; is DISPLAY set?\n");
        return 1;
    }
    Viewer viewer(options, std::move(picture));
    return viewer.run();
}
