#include "demoWidgetSheet.h"

#include "vxStandaloneHost.h"
#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTManager.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include <GL/osmesa.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int kW = kWidgetSheetWidth;
constexpr int kH = kWidgetSheetHeight;

// The primitives' grid: 7 columns of cells, 6 rows, the first row's top at
// kGridTop.
constexpr float kMargin = 16;
constexpr float kGridTop = kH - 56;
constexpr float kCellW = 112, kCellH = 96;
constexpr int kGridColumns = 7;
// The widgets' table: a name column, then idle, poised and active.
constexpr float kTableX = 808;
constexpr float kNameW = 120;
constexpr float kColumnW = 168, kRowH = 72;
// Where a widget sits in its table cell.
constexpr float kInsetX = 8, kInsetY = 10;

const VxRGBf kBackground(0.22f, 0.24f, 0.27f);
const VxRGBf kText(0.92f, 0.92f, 0.92f);
const VxRGBf kHeading(0.55f, 0.8f, 1.0f);
const VxRGBf kInk(0.9f, 0.9f, 0.9f);
const VxRGBf kAmber(1.0f, 0.75f, 0.2f);
const VxRGBf kDark(0.1f, 0.1f, 0.1f);
const VxRGBf kBlue(0.3f, 0.6f, 1.0f);

void colour(const VxRGBf& c) {
    glColor3f(c.r, c.g, c.b);
}

void text(const char* s, float x, float y, const VxRGBf& c) {
    colour(c);
    VxGLDrawStr(s, x, y);
}

// The off-screen context: an RGBA buffer of the picture's size.
class Context {
public:
    Context(int width, int height) : buffer_(static_cast<size_t>(width) * height * 4) {
        // softpipe draws the same pixels on every run and machine; llvmpipe
        // (Mesa's default) compiles for the processor at hand and splits the
        // picture over threads. Mesa reads these once, at its first context.
        ::setenv("GALLIUM_DRIVER", "softpipe", 1);
        ::setenv("DRAW_USE_LLVM", "0", 1);
        const int attributes[] = {OSMESA_FORMAT,
                                  OSMESA_RGBA,
                                  OSMESA_DEPTH_BITS,
                                  0,
                                  OSMESA_STENCIL_BITS,
                                  0,
                                  OSMESA_PROFILE,
                                  OSMESA_COMPAT_PROFILE,
                                  0};
        context_ = OSMesaCreateContextAttribs(attributes, nullptr);
        if (context_ != nullptr &&
            !OSMesaMakeCurrent(context_, buffer_.data(), GL_UNSIGNED_BYTE, width, height)) {
            OSMesaDestroyContext(context_);
            context_ = nullptr;
        }
    }
    ~Context() {
        if (context_ != nullptr) {
            OSMesaMakeCurrent(nullptr, nullptr, 0, 0, 0);
            OSMesaDestroyContext(context_);
        }
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    bool ok() const { return context_ != nullptr; }

private:
    std::vector<unsigned char> buffer_;
    OSMesaContext context_ = nullptr;
};

// --- The primitives -------------------------------------------------------

struct Primitive {
    const char* name;
    std::function<void()> draw; // in the cell's coordinates, 0..kCellW x 0..kCellH
};

// With the GL line stipple on, as the dashed primitives need.
void stippled(const std::function<void()>& draw) {
    glEnable(GL_LINE_STIPPLE);
    draw();
    glDisable(GL_LINE_STIPPLE);
}

std::vector<Primitive> primitives() {
    using D = VxTDraw;
    const float cx = 54, cy = 56, r = 28;
    return {
        {"solidBox", [] { D::solidBox(24, 28, 84, 84); }},
        {"outlineBox", [] { D::outlineBox(24, 28, 84, 84); }},
        {"shadedInBox", [] { D::shadedInBox(24, 28, 84, 84); }},
        {"shadedOutBox", [] { D::shadedOutBox(24, 28, 84, 84); }},
        {"shadedInBox c", [] { D::shadedInBox(24, 28, 84, 84, kBlue); }},
        {"shadedOutBox c", [] { D::shadedOutBox(24, 28, 84, 84, kBlue); }},
        {"solidTab", [] { D::solidTab(14, 42, 94, 70); }},
        {"shadedInTab", [] { D::shadedInTab(14, 42, 94, 70); }},
        {"shadedOutTab", [] { D::shadedOutTab(14, 42, 94, 70); }},
        {"stippledLine", [] { stippled([] { D::stippledLine(14, 28, 94, 86); }); }},
        {"dashedLine", [] { stippled([] { D::dashedLine(14, 28, 94, 86, kAmber, kDark); }); }},
        {"dashedBox", [] { stippled([] { D::dashedBox(24, 28, 84, 84, kAmber, kDark); }); }},
        {"dashedCircle", [=] { stippled([=] { D::dashedCircle(cx, cy, r, kAmber, kDark); }); }},
        {"dashedArc", [=] { stippled([=] { D::dashedArc(cx, cy, r, 0, 270, kAmber, kDark); }); }},
        {"dashedPolygon",
         [=] { stippled([=] { D::dashedPolygon(cx, cy, 30, 6, kAmber, kDark); }); }},
        {"hollowLine", [] { D::hollowLine(14, 28, 94, 86, kAmber, kDark); }},
        {"hollowCircle", [=] { D::hollowCircle(cx, cy, r, kAmber, kDark); }},
        {"outlinedCircle", [=] { D::outlinedCircle(cx, cy, r, kAmber, kDark); }},
        {"circle", [=] { D::circle(cx, cy, r); }},
        {"solidCircle", [=] { D::solidCircle(cx, cy, r); }},
        {"arc", [=] { D::arc(cx, cy, r, 30, 300); }},
        {"shadedInCircle", [=] { D::shadedInCircle(cx, cy, r); }},
        {"shadedOutCircle", [=] { D::shadedOutCircle(cx, cy, r); }},
        {"polygon", [=] { D::polygon(cx, cy, 30, 5); }},
        {"arrow", [] { D::arrow(HvVec2(88, 56), HvVec2(1, 0), HvVec2(34, 18)); }},
        {"closedArrow", [] { D::closedArrow(HvVec2(88, 56), HvVec2(1, 0), HvVec2(34, 18)); }},
        {"solidArrow", [] { D::solidArrow(HvVec2(88, 56), HvVec2(1, 0), HvVec2(34, 18)); }},
        {"outlinedArrow",
         [] { D::outlinedArrow(HvVec2(88, 56), HvVec2(1, 0), HvVec2(34, 18), kAmber, kDark); }},
        {"wave",
         [] {
             glTranslatef(14, 56, 0);
             D::wave(22, 80);
         }},
        {"dashedWave",
         [] {
             glTranslatef(14, 56, 0);
             stippled([] { D::dashedWave(22, 80, kAmber, kDark); });
         }},
        {"lightObject", [] { D::lightObject(54, 68); }},
        {"drawHint", [] { D::drawHint("hint text", 20, 50); }},
        {"VxDCircle", [=] { VxDCircle(cx, cy, r); }},
        {"VxDCircleF", [=] { VxDCircleF(cx, cy, r); }},
        {"VxDArc", [=] { VxDArc(cx, cy, r, 45, 315); }},
        {"VxDArcF", [=] { VxDArcF(cx, cy, r, 45, 315); }},
        {"VxTDrawHueRamp",
         [] {
             glTranslatef(14, 44, 0);
             VxTDrawHueRamp(HvVec2(80, 24), 1);
         }},
        {"matrix stack",
         [=] {
             // A box turned by 30 degrees through the widgets' own stack.
             HvMatrix33 turn;
             turn.Rotate(0.5235988f);
             VxTDraw::matrixPush();
             VxTDraw::matrixTranslate(HvVec2(cx, cy));
             VxTDraw::matrixMult(turn);
             VxTDraw::matrixPutOntoGLStack();
             VxTDraw::matrixPop();
             D::outlineBox(-26, -16, 26, 16);
             D::solidCircle(0, 0, 3);
         }},
    };
}

void drawPrimitives() {
    text("drawing primitives (VxTDraw)", kMargin, kH - 44, kHeading);
    const std::vector<Primitive> all = primitives();
    for (size_t i = 0; i < all.size(); ++i) {
        const float x = kMargin + static_cast<float>(i % kGridColumns) * kCellW;
        const float y = kGridTop - static_cast<float>(i / kGridColumns + 1) * kCellH;
        glPushMatrix();
        glTranslatef(x, y, 0);
        text(all[i].name, 4, 6, kText);
        colour(kInk);
        all[i].draw();
        glLineWidth(1);
        glPopMatrix();
    }
}

// --- The value widgets ----------------------------------------------------

// One widget in one state: its own manager, drawn translated to its cell.
struct Instance {
    VxTManager manager;
    std::unique_ptr<VxTObject> widget;
    HvVec2 at;            // the cell's corner plus the widget's inset
    bool display = false; // the pen passes through it: poised and pressed by hand
    bool hintByHand = false;
    HvVec2 hintAt; // where a hint drawn by hand goes
};

void pen(VxTManager& m, int event, float x, float y) {
    m.tmUIMessage(VxTPointerMessage(event, kVxTDeviceMouse, HvVec2(x, y)));
}

// The pen's path for each state. Idle: no pen. Poised: the pen moved over
// `hover`. Active: pressed at `press` and dragged to `drag`.
struct PenPath {
    HvVec2 hover, press, drag;
};

float sineOf(float x, void*) {
    return std::sin(x);
}

// A display list of one multi-toggle state, in 0..24 x 0..24.
VxTGLList* stateList(int shape) {
    auto* list = new VxTGLList;
    glNewList(list->id, GL_COMPILE);
    if (shape == 0) {
        glColor3f(1.0f, 0.3f, 0.3f);
        VxTDraw::solidCircle(12, 12, 8);
    } else if (shape == 1) {
        glColor3f(0.3f, 1.0f, 0.4f);
        glBegin(GL_TRIANGLES);
        glVertex2f(4, 4);
        glVertex2f(20, 4);
        glVertex2f(12, 20);
        glEnd();
    } else {
        glColor3f(0.4f, 0.6f, 1.0f);
        VxTDraw::solidBox(5, 5, 19, 19);
    }
    glEndList();
    return list;
}

// A small picture for the image box: red across, green up, a blue checker.
GLuint makeTexture() {
    unsigned char pixels[8 * 8 * 3];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            unsigned char* p = pixels + (y * 8 + x) * 3;
            p[0] = static_cast<unsigned char>(x * 36);
            p[1] = static_cast<unsigned char>(y * 36);
            p[2] = static_cast<unsigned char>(((x + y) & 1) != 0 ? 220 : 60);
        }
    }
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 8, 8, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

// Builds the widget of table row `row` for one state.
std::unique_ptr<VxTObject> makeWidget(int row, GLuint texture, PenPath& path, HvVec2& offset) {
    offset = HvVec2(0, 0);
    switch (row) {
    case 0:
    case 1:
    case 2: {
        std::unique_ptr<VxTSlider> s;
        if (row == 0) {
            s.reset(new VxTSlider("gain", 0.3f, 1));
            s->tsSetLabel("gain");
            s->tHint("gain 0..1");
        } else if (row == 1) {
            s.reset(new VxTSliderColRamp("hue", 0.6f, 1));
            s->tsSetLabel("hue");
            s->tHint("hue 0..1");
        } else {
            auto* m = new VxTMultiSlider("keys", 3, 1);
            m->colours[1] = kAmber;
            s.reset(m);
            s->tHint("key values");
        }
        s->labelFlags = 1;
        s->tSize(HvVec2(110, 22));
        // The multi-slider is poised over its middle handle and drags its
        // first; the others are pressed at a third and dragged on.
        path = row == 2 ? PenPath{HvVec2(55, 20), HvVec2(1, 11), HvVec2(30, 11)}
                        : PenPath{HvVec2(70, 20), HvVec2(37, 11), HvVec2(80, 11)};
        return s;
    }
    case 3: {
        auto* t = new VxTToggle("bypass", 1);
        t->toggleFlags = kVxTToggleShowName;
        t->tSize(HvVec2(16, 16));
        t->tHint("on or off");
        path = {HvVec2(12, 14), HvVec2(8, 8), HvVec2(8, 8)};
        return std::unique_ptr<VxTObject>(t);
    }
    case 4: {
        auto* box = new VxTTabBox("tabs");
        box->ownsChildren = 1;
        box->childOffset(HvVec2(52, 0));
        const char* names[] = {"red", "lime", "blue"};
        for (int i = 0; i < 3; ++i) {
            auto* b = new VxTTabButton(names[i], i == 0);
            b->tSize(HvVec2(54, 20));
            b->tHint(i == 1 ? "pick lime" : i == 2 ? "pick blue" : "pick red");
            box->tAddChild(b);
        }
        path = {HvVec2(70, 16), HvVec2(120, 10), HvVec2(120, 10)};
        return std::unique_ptr<VxTObject>(box);
    }
    case 5: {
        auto* mt = new VxTMultiToggle("shape");
        mt->tSize(HvVec2(24, 24));
        mt->tHint("next shape");
        for (int shape = 0; shape < 3; ++shape) {
            VxTGLList* list = stateList(shape);
            mt->tmtAddState(list);
            list->dropReference();
        }
        path = {HvVec2(12, 20), HvVec2(12, 12), HvVec2(12, 12)};
        return std::unique_ptr<VxTObject>(mt);
    }
    case 6: {
        auto* plot = new VxTFunctionPlot("sine");
        plot->tSize(HvVec2(110, 44));
        plot->tfpFunction(&sineOf, nullptr);
        plot->xRange = HvVec2(0, 6.2831853f);
        plot->yRange = HvVec2(-1.25f, 1.25f);
        plot->colour = kAmber;
        plot->tHint("sin x");
        path = {HvVec2(60, 40), HvVec2(60, 22), HvVec2(60, 22)};
        return std::unique_ptr<VxTObject>(plot);
    }
    default: {
        auto* image = new VxTImageBox("image");
        image->width = 64;
        image->height = 44;
        image->resetBounds();
        image->texture = texture;
        image->colour = kInk;
        image->tHint("the picture");
        // Its bounds are centred on its origin.
        offset = HvVec2(32, 22);
        path = {HvVec2(10, 42), HvVec2(40, 20), HvVec2(40, 20)};
        return std::unique_ptr<VxTObject>(image);
    }
    }
}

constexpr int kWidgetRows = 8;
const char* const kRowNames[kWidgetRows] = {"slider",        "hue-ramp slider", "multi-slider",
                                            "toggle",        "tab box",         "multi-toggle",
                                            "function plot", "image box"};

void drawWidgets(GLuint texture) {
    text("value widgets", kTableX, kH - 44, kHeading);
    const char* const columns[] = {"idle", "poised: pen over it", "active: pen down"};
    for (int c = 0; c < 3; ++c) {
        text(columns[c], kTableX + kNameW + static_cast<float>(c) * kColumnW, kH - 44, kHeading);
    }
    std::vector<std::unique_ptr<Instance>> instances;
    for (int row = 0; row < kWidgetRows; ++row) {
        const float y = kGridTop - static_cast<float>(row + 1) * kRowH;
        text(kRowNames[row], kTableX, y + kInsetY + 4, kText);
        for (int state = 0; state < 3; ++state) {
            auto one = std::unique_ptr<Instance>(new Instance);
            PenPath path;
            HvVec2 offset;
            one->widget = makeWidget(row, texture, path, offset);
            one->display = row == 6;
            one->at =
                HvVec2(kTableX + kNameW + static_cast<float>(state) * kColumnW + kInsetX + offset.x,
                       y + kInsetY + offset.y);
            // Pen positions are the widget's cell's, from its lower-left corner.
            path.hover = path.hover - offset;
            path.press = path.press - offset;
            path.drag = path.drag - offset;
            VxTManager& m = one->manager;
            VxTObject& w = *one->widget;
            m.tmAddChild(&w);
            if (one->display) {
                if (state == 1) {
                    w.myTPoise(path.hover);
                    one->hintByHand = true;
                    one->hintAt = path.hover + HvVec2(8, 8);
                } else if (state == 2) {
                    w.myTActivate(path.press);
                }
            } else if (state == 1) {
                pen(m, kVxTPenMoved, path.hover.x, path.hover.y);
            } else if (state == 2) {
                pen(m, kVxTPenMoved, path.press.x, path.press.y);
                pen(m, kVxTPenPressed, path.press.x, path.press.y);
                pen(m, kVxTPenMoved, path.drag.x, path.drag.y);
            }
            instances.push_back(std::move(one));
        }
    }
    for (const auto& one : instances) {
        glPushMatrix();
        glTranslatef(one->at.x, one->at.y, 0);
        one->manager.tmDraw();
        if (one->hintByHand) {
            one->widget->tDrawHint(one->hintAt);
        }
        glPopMatrix();
    }
    // The widgets go before the context: the multi-toggles' display lists
    // are deleted with them.
    for (auto& one : instances) {
        one->manager.tmRemoveChild(one->widget.get());
        one->widget.reset();
    }
}

} // namespace

bool renderWidgetSheet(Image& image, int width, int height, std::string& error) {
    Context context(width, height);
    if (!context.ok()) {
        error = "Mesa's off-screen renderer (OSMesa) cannot draw a " + std::to_string(width) +
                " x " + std::to_string(height) + " picture";
        return false;
    }
    glViewport(0, 0, width, height);
    // The sheet scaled uniformly to fit, centred.
    const double scale =
        std::fmin(static_cast<double>(width) / kW, static_cast<double>(height) / kH);
    const double halfW = width / scale / 2, halfH = height / scale / 2;
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(kW / 2.0 - halfW, kW / 2.0 + halfW, kH / 2.0 - halfH, kH / 2.0 + halfH, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glDisable(GL_DITHER);
    glClearColor(kBackground.r, kBackground.g, kBackground.b, 1);
    glClear(GL_COLOR_BUFFER_BIT);

    VxStandaloneHostBuildFont(VxAsciiFontBitmaps(), kVxGlyphWidth, kVxGlyphHeight, kVxGlyphAdvance);
    VxGLInitFont();
    VxTDraw::matrixReset();
    const GLuint texture = makeTexture();

    text("Veltrix widget sheet: every drawing primitive, and every value widget idle, poised "
         "(with its hint) and active",
         kMargin, kH - 22, kText);
    drawPrimitives();
    drawWidgets(texture);
    glFinish();

    std::vector<unsigned char> rgba(static_cast<size_t>(width) * height * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    glDeleteTextures(1, &texture);
    VxGLFreeFont();
    VxDCleanup();

    image = Image(width, height, 3);
    for (int y = 0; y < height; ++y) {
        // GL's rows run up from the bottom; the picture's down from the top.
        const unsigned char* in = rgba.data() + static_cast<size_t>(height - 1 - y) * width * 4;
        float* out = image.row(y);
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 3; ++c) {
                out[x * 3 + c] = static_cast<float>(in[x * 4 + c]) / 255.0f;
            }
        }
    }
    return true;
}
