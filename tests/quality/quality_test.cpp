// The mattes of the samples against their true coverage. The bounds are what was measured and a
// little more, so that no change makes them worse unseen; one that makes them better lowers them.

#include <gtest/gtest.h>

#include "bench/quality/shots.h"
#include "cli/shot_tuning.h"
#include "settings/screen_color.h"

namespace veltrane::bench {
namespace {

Shot Sample(const std::string& name) {
    for (const Shot& shot : ShotsIn(VELTRANE_SAMPLES))
        if (shot.source.filename() == name) return shot;
    throw std::runtime_error("no sample " + name);
}

/// With the colour found in the first frame.
Figures Keyed(const Shot& shot, Settings settings) {
    Meter meter;
    ForEachFrame(shot, [&](const media::Frame& frame, const Truth& truth) {
        const auto found = FindScreenColor(frame.width, frame.height, frame.pixels.data()).value();
        settings.keyColor = found.color;
        settings.screen = found.screen;
        media::Frame keyed = frame;
        Key(settings, frame.width, frame.height, frame.pixels.data(), keyed.pixels.data());
        meter.Add(keyed, truth);
    });
    return meter.Result();
}

void ExpectWithin(const Figures& figures, const Figures& bounds) {
    EXPECT_LT(figures.matte, bounds.matte);
    EXPECT_LT(figures.edges, bounds.edges);
    EXPECT_LT(figures.gradient, bounds.gradient);
    EXPECT_LT(figures.kept, bounds.kept);
    EXPECT_LT(figures.holes, bounds.holes);
    if (bounds.color) {
        EXPECT_LT(figures.color.value(), *bounds.color);
    }
}

Settings ForLinearLight() {
    Settings settings;
    settings.matteLight = MatteLight::Linear;
    return settings;
}

TEST(Quality, DefaultsKeyTheSamplesAsMeasured) {
    ExpectWithin(Keyed(Sample("still.jpg"), {}), {0.0230, 0.136, 14.3, 0.41, 0.170});
    ExpectWithin(Keyed(Sample("green.png"), {}), {0.0175, 0.128, 17.4, 0.54, 0.049, 0.0212});
    ExpectWithin(Keyed(Sample("blue.png"), {}), {0.0158, 0.116, 14.1, 0.59, 0.061, 0.0245});
}

// Edges and their colours gain, and the whole loses next to nothing.
TEST(Quality, LinearMattesAreBetterAtEdges) {
    for (const char* name : {"still.jpg", "green.png", "blue.png"}) {
        SCOPED_TRACE(name);
        const Shot shot = Sample(name);
        const Figures display = Keyed(shot, {}), linear = Keyed(shot, ForLinearLight());
        EXPECT_LT(linear.edges, display.edges * 0.95);
        EXPECT_LT(linear.matte, display.matte * 1.05);
        if (display.color) {
            EXPECT_LT(*linear.color, *display.color * 0.96);
        }
    }
}

// Found from the picture alone, settings bring both figures down; the bounds hold what they bring.
TEST(Quality, TunedMattesAreBetterAsMeasured) {
    const auto expectTuned = [](const std::string& name, const Figures& bounds) {
        SCOPED_TRACE(name);
        const Shot shot = Sample(name);
        const Settings tuned = cli::TuneShot(shot.source, {}, {}).found.settings;
        ExpectWithin(Keyed(shot, tuned), bounds);
    };
    expectTuned("still.jpg", {0.0185, 0.129, 13.4, 0.05, 0.180});
    expectTuned("green.png", {0.0120, 0.090, 13.9, 0.05, 0.092, 0.0180});
    expectTuned("blue.png", {0.0117, 0.095, 12.4, 0.06, 0.086, 0.0232});
}

/// A plain frame of this coverage or matte.
media::Frame Plain(std::uint16_t level, int width = 40, int height = 30) {
    media::Frame frame{width, height, 1, {}, nullptr};
    frame.pixels.assign(std::size_t{4} * width * height, level);
    return frame;
}

TEST(Quality, FiguresAreWhatTheySay) {
    Meter exact;
    exact.Add(Plain(30000), {Plain(30000)});
    const Figures none = exact.Result();
    EXPECT_EQ(none.matte + none.edges + none.gradient + none.kept + none.holes, 0);
    EXPECT_FALSE(none.color || none.flicker);

    // A tenth too much of bare screen, then of a solid subject a fifth too little.
    Meter wrong;
    wrong.Add(Plain(6554), {Plain(0)});
    wrong.Add(Plain(52428), {Plain(65535)});
    const Figures figures = wrong.Result();
    EXPECT_NEAR(figures.matte, 0.15, 1e-4);
    EXPECT_EQ(figures.edges, 0);
    EXPECT_EQ(figures.kept, 1);
    EXPECT_EQ(figures.holes, 1);
    EXPECT_NEAR(*figures.flicker, 0.3, 1e-4);
    EXPECT_THROW(wrong.Add(Plain(0), {Plain(0, 41)}), std::invalid_argument);
}

// Half of white over grey of 18 per cent is 59 per cent of linear light, sRGB 0.7918; and a step of
// the matte that is none of the coverage is steep at its sides alone.
TEST(Quality, ColorsAreComparedOverGreyAndSlopesAtSteps) {
    media::Frame keyed = Plain(65535), over = Plain(51890);
    for (std::size_t i = 3; i < keyed.pixels.size(); i += 4) keyed.pixels[i] = 32768;
    Meter meter;
    meter.Add(keyed, {Plain(32768), over});
    EXPECT_NEAR(*meter.Result().color, 0, 1e-4);

    for (std::size_t i = 3; i < keyed.pixels.size(); i += 4)
        keyed.pixels[i] = i / 4 % 40 < 20 ? 0 : 65535;
    Meter steep;
    steep.Add(keyed, {Plain(32768)});
    EXPECT_GT(steep.Result().gradient, 100);
}

}  // namespace
}  // namespace veltrane::bench
