// viewerCore.h - what vxview does, apart from its window: the effects and
// their parameters, and the render scheduler that keeps rendering off the
// interface thread.
//
// The scheduler renders on a thread of its own, through the image frame on
// every worker of the stand-alone fork. A new request abandons the render in
// progress at its next interruption test (between bands of rows) instead of
// queueing behind it, so the last request is always the one rendered.
#ifndef VX_VIEWER_CORE_H
#define VX_VIEWER_CORE_H

#include "demoEffects.h"
#include "demoImage.h"
#include "demoMaths.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

enum ViewEffect : int {
    kEffectNoise = 0,
    kEffectMosaic,
    kEffectMask,
    kEffectGrade,
    kEffectShake,
    kEffectBlur,
    kEffectCount
};

const char* effectName(int effect);

// Everything a render depends on.
struct ViewParams {
    int effect = kEffectNoise;
    NoiseParams noise;
    MosaicParams mosaic;
    MaskParams mask;
    NoiseParams gradeNoise;
    float gradeContrast = 1.0f; // the grade spans -1/contrast .. 1/contrast of the noise
    ShakeParams shake;
    int shakeFrame = 0;
    ConvolveParams blur;
    ViewParams();
};

// How a parameter is edited.
enum ParamKind : int { kParamSlider = 0, kParamToggle, kParamMultiToggle };

struct ParamInfo {
    const char* name;                // the widget's name, unique within its effect
    const char* hint;                // shown under the pen
    int kind;                        // ParamKind
    float lo, hi;                    // slider range
    bool integer;                    // slider values are rounded
    std::vector<const char*> states; // multi-toggle state names
};

// The parameters of one effect, in panel order.
const std::vector<ParamInfo>& effectParams(int effect);

// The widget value of parameter `index` of `effect`: 0..1 for a slider, the
// state for a toggle or multi-toggle.
float widgetValue(const ViewParams& p, int effect, int index);
// Sets the parameter from a widget value; true when the parameters changed.
bool applyWidgetValue(ViewParams& p, int effect, int index, float value);
// "name value" as the slider's label shows it.
std::string paramLabel(const ViewParams& p, int effect, int index);

// The range of an effect's values that maps to black .. white on screen and
// in the PNG preview.
void displayRange(int effect, float& lo, float& hi);

// Renders the effect chosen in `p` at the picture's size. False when the
// render was abandoned.
bool renderView(Image& out, const Image& picture, const ViewParams& p);

// The picture with at least three channels, as the effects that take one
// need: a grey picture (with or without alpha) becomes grey RGB.
Image pictureAsRGB(const Image& picture);

// 8-bit RGBA of `image` for the screen, values in lo..hi mapped to 0..255.
void toDisplayBytes(const Image& image, float lo, float hi, std::vector<unsigned char>& rgba);

// How many interruption tests a render of `p` makes at this height.
int expectedTests(const ViewParams& p, int height);

// A finished render.
struct Frame {
    ViewParams params;
    Image result;
    std::vector<unsigned char> rgba; // result.width x result.height, bottom row first
    uint64_t generation = 0;         // of the request it answers
    std::chrono::steady_clock::time_point requested;
    double renderMs = 0;
};

class RenderScheduler {
public:
    // `render` runs on the scheduler's thread; it returns false when it was
    // abandoned (the interruption test of the demo's render frame answers
    // true as soon as a newer request exists).
    using RenderFn = std::function<bool(const ViewParams&, Frame&)>;
    // `pictureHeight` scales the progress estimate. `published`, when given,
    // is called on the render thread after each finished frame is ready for
    // takeFrame (to wake the interface thread).
    RenderScheduler(RenderFn render, int pictureHeight, std::function<void()> published = nullptr);
    ~RenderScheduler();
    RenderScheduler(const RenderScheduler&) = delete;
    RenderScheduler& operator=(const RenderScheduler&) = delete;

    // Returns at once: the render in progress, if any, is abandoned and `p`
    // is rendered next. The generation of the request is returned.
    uint64_t request(const ViewParams& p);
    // Moves the newest finished frame into `out` when one came since the
    // last call. Never waits for a render.
    bool takeFrame(Frame& out);
    // A render is running or waiting to start.
    bool busy() const;
    // Share of the running render done, 0..1 (estimated from its
    // interruption tests).
    float progress() const;
    struct Counts {
        int started = 0, completed = 0, abandoned = 0;
    };
    Counts counts() const;
    // Waits until nothing is running or waiting; false after `seconds`.
    bool waitIdle(double seconds);

private:
    void run();

    RenderFn render_;
    std::function<void()> published_;
    mutable std::mutex mutex_;
    std::condition_variable wake_, idle_;
    ViewParams pending_;
    bool hasPending_ = false, running_ = false, stop_ = false;
    std::chrono::steady_clock::time_point pendingTime_;
    std::atomic<uint64_t> generation_{0};
    Frame ready_;
    bool hasReady_ = false;
    Counts counts_;
    int pictureHeight_;
    int expectedTests_ = 0;
    std::atomic<int> tests_{0};
    std::thread thread_;
};

// The render thread's view of its own render, for the demo code's
// interruption test: counts the tests (for the progress estimate) and
// answers whether a newer request has come.
struct RenderWatch {
    const std::atomic<uint64_t>* generation = nullptr;
    uint64_t mine = 0;
    std::atomic<int>* tests = nullptr;
};
void setRenderWatch(const RenderWatch* watch);

#endif
