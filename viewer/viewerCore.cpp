#include "viewerCore.h"

#include "demoSignals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr float kPi = 3.14159265358979f;

// The rows per band of the demo's render frame: it tests for interruption
// twice per band and once before it starts.
constexpr int kRowsPerBand = 64;

thread_local const RenderWatch* tWatch = nullptr;

std::vector<const char*> mosaicStates() {
    std::vector<const char*> names;
    for (int i = 0; i < mosaicMapCount(); ++i) {
        names.push_back(mosaicMapName(i));
    }
    return names;
}

const std::vector<std::vector<ParamInfo>>& allParams() {
    static const std::vector<std::vector<ParamInfo>> table = {
        {
            {"octaves", "number of noise octaves, 1 to 8", kParamSlider, 1, 8, true, {}},
            {"feature", "size of the coarsest noise cell, pixels", kParamSlider, 4, 256, false, {}},
            {"seed", "noise seed", kParamSlider, 1, 100, true, {}},
        },
        {
            {"map", "mosaic map: click for the next one", kParamMultiToggle, 0, 0, true,
             mosaicStates()},
            {"cell", "mosaic cell size, pixels", kParamSlider, 4, 128, true, {}},
            {"angle", "rotation of the tiling, degrees", kParamSlider, -180, 180, false, {}},
        },
        {
            {"shape",
             "mask shape: circle or box",
             kParamMultiToggle,
             0,
             0,
             true,
             {"circle", "box"}},
            {"extent",
             "half-size of the shape, share of the width",
             kParamSlider,
             0.02f,
             0.6f,
             false,
             {}},
            {"softness", "width of the soft edge", kParamSlider, 0, 1, false, {}},
            {"rotation", "rotation of the shape, degrees", kParamSlider, -180, 180, false, {}},
        },
        {
            {"octaves", "number of noise octaves, 1 to 8", kParamSlider, 1, 8, true, {}},
            {"feature", "size of the coarsest noise cell, pixels", kParamSlider, 4, 256, false, {}},
            {"contrast",
             "how much of the grade the noise spans",
             kParamSlider,
             0.25f,
             4,
             false,
             {}},
        },
        {
            {"frame", "frame of the shake, at its frame rate", kParamSlider, 0, 240, true, {}},
            {"amplitude",
             "shake translation, share of the width",
             kParamSlider,
             0,
             0.2f,
             false,
             {}},
            {"rate", "shake frequency", kParamSlider, 0.1f, 8, false, {}},
            {"play", "play the shake over time", kParamToggle, 0, 1, true, {}},
        },
        {
            {"radius", "radius of the soft disc, pixels", kParamSlider, 1, 64, false, {}},
            {"softness", "soft edge, share of the radius", kParamSlider, 0, 1, false, {}},
        },
    };
    return table;
}

// The float a parameter is stored in, or null for the ones held as ints.
float* floatField(ViewParams& p, int effect, int index) {
    switch (effect * 16 + index) {
    case kEffectNoise * 16 + 1:
        return &p.noise.feature;
    case kEffectMask * 16 + 1:
        return &p.mask.sizeX;
    case kEffectMask * 16 + 2:
        return &p.mask.softness;
    case kEffectGrade * 16 + 1:
        return &p.gradeNoise.feature;
    case kEffectGrade * 16 + 2:
        return &p.gradeContrast;
    case kEffectShake * 16 + 1:
        return &p.shake.amplitude;
    case kEffectShake * 16 + 2:
        return &p.shake.rate;
    case kEffectBlur * 16 + 0:
        return &p.blur.radius;
    case kEffectBlur * 16 + 1:
        return &p.blur.softness;
    default:
        return nullptr;
    }
}

int* intField(ViewParams& p, int effect, int index) {
    switch (effect * 16 + index) {
    case kEffectNoise * 16 + 0:
        return &p.noise.octaves;
    case kEffectNoise * 16 + 2:
        return &p.noise.seed;
    case kEffectMosaic * 16 + 0:
        return &p.mosaic.map;
    case kEffectMosaic * 16 + 1:
        return &p.mosaic.cell;
    case kEffectGrade * 16 + 0:
        return &p.gradeNoise.octaves;
    case kEffectShake * 16 + 0:
        return &p.shakeFrame;
    default:
        return nullptr;
    }
}

// The parameter in the units of its slider (angles in degrees).
float paramUnits(const ViewParams& p, int effect, int index) {
    ViewParams& q = const_cast<ViewParams&>(p);
    if (float* f = floatField(q, effect, index)) {
        return *f;
    }
    if (int* i = intField(q, effect, index)) {
        return static_cast<float>(*i);
    }
    switch (effect * 16 + index) {
    case kEffectMosaic * 16 + 2:
        return p.mosaic.angle * 180 / kPi;
    case kEffectMask * 16 + 0:
        return p.mask.box ? 1.0f : 0.0f;
    case kEffectMask * 16 + 3:
        return p.mask.rotation * 180 / kPi;
    case kEffectShake * 16 + 3:
        return 0;
    default:
        return 0;
    }
}

} // namespace

ViewParams::ViewParams() {
    noise.octaves = 3;
    gradeNoise.octaves = 4;
    gradeNoise.feature = 96;
    mosaic.cell = 24;
}

const char* effectName(int effect) {
    static const char* const names[kEffectCount] = {"noise", "mosaic", "mask",
                                                    "grade", "shake",  "blur"};
    return effect >= 0 && effect < kEffectCount ? names[effect] : "";
}

const std::vector<ParamInfo>& effectParams(int effect) {
    static const std::vector<ParamInfo> none;
    return effect >= 0 && effect < kEffectCount ? allParams()[effect] : none;
}

float widgetValue(const ViewParams& p, int effect, int index) {
    const std::vector<ParamInfo>& infos = effectParams(effect);
    if (index < 0 || index >= static_cast<int>(infos.size())) {
        return 0;
    }
    const ParamInfo& s = infos[index];
    const float u = paramUnits(p, effect, index);
    if (s.kind != kParamSlider) {
        return u;
    }
    return std::clamp((u - s.lo) / (s.hi - s.lo), 0.0f, 1.0f);
}

bool applyWidgetValue(ViewParams& p, int effect, int index, float value) {
    const std::vector<ParamInfo>& infos = effectParams(effect);
    if (index < 0 || index >= static_cast<int>(infos.size()) || !std::isfinite(value)) {
        return false;
    }
    const ParamInfo& s = infos[index];
    float u = value;
    if (s.kind == kParamSlider) {
        u = s.lo + std::clamp(value, 0.0f, 1.0f) * (s.hi - s.lo);
    }
    if (s.integer) {
        u = std::round(u);
    }
    const ViewParams before = p;
    if (float* f = floatField(p, effect, index)) {
        *f = u;
        if (effect == kEffectMask && index == 1) {
            p.mask.sizeY = u;
        }
        return paramUnits(before, effect, index) != u;
    }
    if (int* i = intField(p, effect, index)) {
        *i = static_cast<int>(u);
        return paramUnits(before, effect, index) != u;
    }
    switch (effect * 16 + index) {
    case kEffectMosaic * 16 + 2:
        p.mosaic.angle = u * kPi / 180;
        break;
    case kEffectMask * 16 + 0:
        p.mask.box = u != 0;
        break;
    case kEffectMask * 16 + 3:
        p.mask.rotation = u * kPi / 180;
        break;
    default:
        return false; // play is the window's business, not the render's
    }
    return paramUnits(before, effect, index) != paramUnits(p, effect, index);
}

std::string paramLabel(const ViewParams& p, int effect, int index) {
    const std::vector<ParamInfo>& infos = effectParams(effect);
    if (index < 0 || index >= static_cast<int>(infos.size())) {
        return "";
    }
    char text[64];
    const float u = paramUnits(p, effect, index);
    if (infos[index].integer) {
        std::snprintf(text, sizeof text, "%s %d", infos[index].name, static_cast<int>(u));
    } else {
        std::snprintf(text, sizeof text, "%s %.3g", infos[index].name, u);
    }
    return text;
}

void displayRange(int effect, float& lo, float& hi) {
    lo = effect == kEffectNoise ? -1.0f : 0.0f;
    hi = 1.0f;
}

bool renderView(Image& out, const Image& picture, const ViewParams& p) {
    const std::string label = effectName(p.effect);
    switch (p.effect) {
    case kEffectNoise:
        return renderNoise(out, picture.width, picture.height, p.noise, label);
    case kEffectMosaic:
        return renderMosaic(out, picture, p.mosaic, label);
    case kEffectMask:
        return renderMask(out, picture.width, picture.height, p.mask, label);
    case kEffectGrade: {
        Image noise;
        if (!renderNoise(noise, picture.width, picture.height, p.gradeNoise, label)) {
            return false;
        }
        VxColourGrade grade = sampleGrade();
        const float span = 1.0f / p.gradeContrast;
        return renderGradeMap(out, noise, grade, -span, span, label);
    }
    case kEffectShake:
        return renderShakeFrame(out, picture, p.shakeFrame, p.shake, label);
    case kEffectBlur:
        return renderConvolved(out, picture, p.blur, label);
    default:
        return false;
    }
}

void toDisplayBytes(const Image& image, float lo, float hi, std::vector<unsigned char>& rgba) {
    rgba.resize(static_cast<size_t>(image.width) * image.height * 4);
    const float scale = hi > lo ? 255.0f / (hi - lo) : 0.0f;
    const int c = image.channels;
    for (int y = 0; y < image.height; ++y) {
        // GL textures start at the bottom row.
        const float* in = image.row(y);
        unsigned char* o =
            rgba.data() + static_cast<size_t>(image.height - 1 - y) * image.width * 4;
        for (int x = 0; x < image.width; ++x, in += c, o += 4) {
            for (int k = 0; k < 3; ++k) {
                const float v = (in[c >= 3 ? k : 0] - lo) * scale + 0.5f;
                o[k] = static_cast<unsigned char>(v <= 0 ? 0 : v >= 255 ? 255 : v);
            }
            o[3] = 255;
        }
    }
}

Image pictureAsRGB(const Image& picture) {
    if (picture.channels >= 3) {
        return picture;
    }
    // Grey, or grey and alpha: the grey into all three channels.
    Image rgb(picture.width, picture.height, 3);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            float* o = rgb.at(x, y);
            o[0] = o[1] = o[2] = picture.at(x, y)[0];
        }
    }
    return rgb;
}

void setRenderWatch(const RenderWatch* watch) {
    tWatch = watch;
}

int expectedTests(const ViewParams& p, int height) {
    const int passes = p.effect == kEffectGrade ? 2 : 1;
    return passes * (1 + 2 * ((height + kRowsPerBand - 1) / kRowsPerBand));
}

RenderScheduler::RenderScheduler(RenderFn render, int pictureHeight,
                                 std::function<void()> published)
    : render_(std::move(render)), published_(std::move(published)), pictureHeight_(pictureHeight) {
    thread_ = std::thread([this] { run(); });
}

RenderScheduler::~RenderScheduler() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
        // Abandons the render in progress.
        generation_.fetch_add(1);
    }
    wake_.notify_all();
    thread_.join();
}

uint64_t RenderScheduler::request(const ViewParams& p) {
    uint64_t g;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_ = p;
        hasPending_ = true;
        pendingTime_ = std::chrono::steady_clock::now();
        g = generation_.fetch_add(1) + 1;
    }
    wake_.notify_one();
    return g;
}

bool RenderScheduler::takeFrame(Frame& out) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!hasReady_) {
        return false;
    }
    // A swap, so the interface thread never copies a picture under the lock.
    std::swap(out, ready_);
    hasReady_ = false;
    return true;
}

bool RenderScheduler::busy() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return running_ || hasPending_;
}

float RenderScheduler::progress() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!running_ || expectedTests_ <= 0) {
        return 0.0f;
    }
    return std::min(1.0f, static_cast<float>(tests_.load()) / static_cast<float>(expectedTests_));
}

RenderScheduler::Counts RenderScheduler::counts() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

bool RenderScheduler::waitIdle(double seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    return idle_.wait_for(lock, std::chrono::duration<double>(seconds),
                          [this] { return !running_ && !hasPending_; });
}

void RenderScheduler::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stop_ || hasPending_; });
        if (stop_) {
            return;
        }
        Frame frame;
        frame.params = pending_;
        frame.requested = pendingTime_;
        frame.generation = generation_.load();
        hasPending_ = false;
        running_ = true;
        tests_.store(0);
        expectedTests_ = expectedTests(frame.params, pictureHeight_);
        ++counts_.started;
        lock.unlock();

        RenderWatch watch{&generation_, frame.generation, &tests_};
        setRenderWatch(&watch);
        const auto t0 = std::chrono::steady_clock::now();
        const bool done = render_(frame.params, frame);
        frame.renderMs =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0)
                .count();
        setRenderWatch(nullptr);

        lock.lock();
        running_ = false;
        if (done) {
            ++counts_.completed;
            std::swap(ready_, frame);
            hasReady_ = true;
        } else {
            ++counts_.abandoned;
        }
        if (!hasPending_) {
            idle_.notify_all();
        }
        if (done && published_) {
            lock.unlock();
            published_();
            lock.lock();
        }
    }
}

// The demo's render frame and image writer ask these (demoSignals.h). In the
// viewer an interruption is a newer request: only the render thread has a
// watch, so saving on the interface thread is never cut short.
bool interruptRequested() {
    const RenderWatch* w = tWatch;
    if (w == nullptr) {
        return false;
    }
    w->tests->fetch_add(1);
    return w->generation->load() != w->mine;
}

void installSignalHandlers() {}

int interruptedExit() {
    return kInterruptedExit;
}

void setPendingFile(const std::string&) {}
