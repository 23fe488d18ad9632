// Widget dispatch cost beside its anchor in one run: a pen move (pen up)
// over a manager holding 1000 bounded top-level widgets, none of them under
// the pen, against a plain loop testing the same 1000 boxes with the same
// inclusive tolerance (target: at most 3 times the loop). Then a drawn
// frame of 1000 sliders in Mesa's off-screen renderer, in widgets per
// millisecond (software rendering: a floor, not what a host's GPU does).
#include "benchRatios.h"

#include "vxGLTestContext.h"
#include "vxTManager.h"
#include "vxTObject.h"
#include "vxTSlider.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int kWidgets = 1000;

struct Leaf : VxTObject {
    VxTObject* myTFind(HvVec2, HvVec2) override {
        found = this;
        return this;
    }
    void myTDraw() override {}
    int myTDrag(HvVec2) override { return 0; }
};

// 1000 widgets of 8 x 8 on a grid; the pen moves over the gaps between them.
struct Scene {
    Scene() {
        for (int i = 0; i < kWidgets; ++i) {
            auto w = std::make_unique<Leaf>();
            w->tOrigin(
                HvVec2(static_cast<float>(i % 40) * 20.0f, static_cast<float>(i / 40) * 20.0f));
            w->tSize(HvVec2(8.0f, 8.0f));
            manager.tmAddChild(w.get());
            boxes.push_back(
                HvBox2(w->origin.x, w->origin.x + w->size.x, w->origin.y, w->origin.y + w->size.y));
            widgets.push_back(std::move(w));
        }
    }
    VxTManager manager;
    std::vector<std::unique_ptr<Leaf>> widgets;
    std::vector<HvBox2> boxes;
};

// Two gap positions, alternated so that every move is a real one.
const HvVec2 kPen[2] = {HvVec2(14.0f, 14.0f), HvVec2(15.0f, 15.0f)};

void BM_ManagerPenMove(benchmark::State& state) {
    Scene scene;
    int n = 0;
    for (auto _ : state) {
        const HvVec2& p = kPen[n++ & 1];
        benchmark::DoNotOptimize(
            scene.manager.tmUIMessage(VxTPointerMessage(kVxTPenMoved, kVxTDeviceMouse, p)));
    }
    if (scene.manager.found)
        state.SkipWithError("a widget was hit");
}

// The same boxes, searched from the last to the first as the manager does.
int PlainSearch(const std::vector<HvBox2>& boxes, const HvVec2& p, const HvVec2& tol) {
    for (int i = static_cast<int>(boxes.size()) - 1; i >= 0; --i) {
        const HvBox2& b = boxes[static_cast<size_t>(i)];
        if (p.x + tol.x >= b.xmin && p.y + tol.y >= b.ymin && p.x - tol.x <= b.xmax &&
            p.y - tol.y <= b.ymax)
            return i;
    }
    return -1;
}

void BM_PlainBoxLoop(benchmark::State& state) {
    Scene scene;
    const HvVec2 tol(3.0f, 3.0f);
    int n = 0;
    for (auto _ : state) {
        const HvVec2& p = kPen[n++ & 1];
        benchmark::DoNotOptimize(PlainSearch(scene.boxes, p, tol));
    }
}

// 1000 sliders in a 40 x 25 grid filling the 256 x 256 context, each frame
// finished (glFinish) before the next.
void BM_DrawSliders(benchmark::State& state) {
    VxGLTestContext gl;
    if (!gl.ok()) {
        state.SkipWithError("no OSMesa context");
        return;
    }
    VxTManager manager;
    std::vector<std::unique_ptr<VxTSlider>> sliders;
    for (int i = 0; i < kWidgets; ++i) {
        auto s = std::make_unique<VxTSlider>("s", static_cast<float>(i % 7) / 6.0f, 0);
        s->tOrigin(HvVec2(static_cast<float>(i % 40) * 6.0f, static_cast<float>(i / 40) * 10.0f));
        s->tSize(HvVec2(5.0f, 9.0f));
        manager.tmAddChild(s.get());
        sliders.push_back(std::move(s));
    }
    for (auto _ : state) {
        manager.tmDraw();
        glFinish();
    }
    state.SetItemsProcessed(state.iterations() * kWidgets);
}

BENCHMARK(BM_DrawSliders)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ManagerPenMove)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_PlainBoxLoop)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char** argv) {
    if (!StartBenchmarks(&argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    RunBenchmarks(reporter);

    RatioTable table("widgets");
    table.ratio("pen move over 1000 widgets, none hit / plain box loop (<= 3)", reporter,
                "BM_ManagerPenMove/repeats:5", "BM_PlainBoxLoop/repeats:5");
    table.print();
    const double frame = reporter.nanoseconds("BM_DrawSliders/repeats:3");
    if (frame > 0)
        std::printf("%-58s %12.1f widgets per ms (frame %.2f ms)\n",
                    "1000 sliders drawn, OSMesa, median frame", kWidgets / (frame * 1e-6),
                    frame * 1e-6);
    return 0;
}
