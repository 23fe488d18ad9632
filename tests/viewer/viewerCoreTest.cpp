// The viewer's logic without a window: parameters from widget values, and the
// render scheduler's abandoning of superseded renders.
#include "viewerCore.h"
#include "demoSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(ViewerParams, SliderValuesMapToTheParameterRange) {
    ViewParams p;
    // octaves: 1..8, rounded.
    EXPECT_TRUE(applyWidgetValue(p, kEffectNoise, 0, 1.0f));
    EXPECT_EQ(p.noise.octaves, 8);
    EXPECT_FALSE(applyWidgetValue(p, kEffectNoise, 0, 0.99f)); // still 8: no new render
    EXPECT_TRUE(applyWidgetValue(p, kEffectNoise, 0, 0.0f));
    EXPECT_EQ(p.noise.octaves, 1);
    EXPECT_FLOAT_EQ(widgetValue(p, kEffectNoise, 0), 0.0f);
    EXPECT_EQ(paramLabel(p, kEffectNoise, 0), "octaves 1");
    // Angles are shown in degrees and kept in radians; the extent sets both axes.
    EXPECT_TRUE(applyWidgetValue(p, kEffectMosaic, 2, 0.75f));
    EXPECT_NEAR(p.mosaic.angle, 3.14159265f / 2, 1e-5f);
    EXPECT_TRUE(applyWidgetValue(p, kEffectMask, 1, 1.0f));
    EXPECT_FLOAT_EQ(p.mask.sizeX, 0.6f);
    EXPECT_FLOAT_EQ(p.mask.sizeY, 0.6f);
    // A multi-toggle's state picks the map; NaN and unknown indices change nothing.
    EXPECT_TRUE(applyWidgetValue(p, kEffectMosaic, 0, 3));
    EXPECT_EQ(p.mosaic.map, 3);
    EXPECT_FALSE(applyWidgetValue(p, kEffectNoise, 1, std::nanf("")));
    EXPECT_FALSE(applyWidgetValue(p, kEffectNoise, 7, 0.5f));
    // Every slider's widget value survives the round trip.
    for (int e = 0; e < kEffectCount; ++e) {
        for (int i = 0; i < static_cast<int>(effectParams(e).size()); ++i) {
            const float v = widgetValue(p, e, i);
            ViewParams q = p;
            EXPECT_FALSE(applyWidgetValue(q, e, i, v)) << effectName(e) << " " << i;
            // Every slider reaches its parameter: its top end reads back as 1.
            if (effectParams(e)[i].kind == kParamSlider) {
                applyWidgetValue(q, e, i, 1.0f);
                EXPECT_FLOAT_EQ(widgetValue(q, e, i), 1.0f) << effectName(e) << " " << i;
            }
        }
    }
}

TEST(ViewerRender, ANewerRequestAbandonsTheRenderFrame) {
    Image picture(64, 200, 3);
    ViewParams p;
    Image out;
    std::atomic<uint64_t> generation{5};
    std::atomic<int> tests{0};
    RenderWatch watch{&generation, 5, &tests};
    setRenderWatch(&watch);
    EXPECT_TRUE(renderView(out, picture, p));
    EXPECT_EQ(tests.load(), expectedTests(p, picture.height));
    generation = 6;
    EXPECT_FALSE(renderView(out, picture, p));
    setRenderWatch(nullptr);
    // Other threads (saving on the interface thread) are never interrupted.
    EXPECT_FALSE(interruptRequested());
}

TEST(ViewerRender, GreyPicturesFeedTheEffectsThatTakeOne) {
    Image grey(40, 30, 2);
    grey.at(5, 7)[0] = 0.25f;
    const Image rgb = pictureAsRGB(grey);
    ASSERT_EQ(rgb.channels, 3);
    EXPECT_EQ(rgb.at(5, 7)[2], 0.25f);
    ViewParams p;
    p.effect = kEffectMosaic;
    Image out;
    EXPECT_TRUE(renderView(out, rgb, p));
    EXPECT_EQ(out.width, 40);
    p.effect = kEffectShake;
    EXPECT_TRUE(renderView(out, rgb, p));
    p.effect = kEffectBlur;
    EXPECT_TRUE(renderView(out, rgb, p));
    EXPECT_EQ(out.channels, 3);
    // The map toggle offers every mosaic map by its name.
    EXPECT_EQ(effectParams(kEffectMosaic)[0].states.size(), static_cast<size_t>(mosaicMapCount()));
}

TEST(ViewerScheduler, TheLastRequestIsRenderedAndNoneQueues) {
    // Seed 1 renders until it is abandoned; any other seed finishes at once.
    std::atomic<int> running{0};
    RenderScheduler s(
        [&running](const ViewParams& p, Frame& f) {
            if (p.noise.seed == 1) {
                running = 1;
                while (!interruptRequested()) {
                    std::this_thread::yield();
                }
                return false;
            }
            f.result = Image(1, 1, 1);
            return true;
        },
        100);
    s.request(ViewParams());
    while (running.load() == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(s.busy());
    // The running render's interruption tests move its progress.
    while (s.progress() <= 0.0f) {
        std::this_thread::yield();
    }
    EXPECT_LE(s.progress(), 1.0f);
    ViewParams last;
    last.noise.seed = 2;
    s.request(last);
    last.noise.seed = 3;
    const uint64_t g = s.request(last);
    ASSERT_TRUE(s.waitIdle(60));
    Frame f;
    ASSERT_TRUE(s.takeFrame(f));
    EXPECT_EQ(f.params.noise.seed, 3);
    EXPECT_EQ(f.generation, g);
    EXPECT_FALSE(s.takeFrame(f));
    const RenderScheduler::Counts c = s.counts();
    EXPECT_EQ(c.abandoned, 1);
    // Seed 2 may or may not have started before seed 3 replaced it, but it
    // never completed after it: one frame, the last one.
    EXPECT_EQ(c.completed + c.abandoned, c.started);
    EXPECT_LE(c.started, 3);
    EXPECT_EQ(s.progress(), 0.0f);
}
