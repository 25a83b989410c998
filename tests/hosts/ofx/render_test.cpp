#include <cmath>
#include <deque>
#include <thread>

#include "settings/plate_match.h"
#include "tests/hosts/ofx/fixture.h"
#include "tests/settings/unusual_look.h"

namespace veltrane::ofx::test {
namespace {

template <class Component>
class OfxRender : public OfxPlugin {};
TYPED_TEST_SUITE(OfxRender, Components);

TYPED_TEST(OfxRender, GivesTheLibrarysBitsInEveryAlphaStateAndLayout) {
    TestHost host;
    Enter(host, UnusualLook());
    const auto picture = MakePicture<TypeParam>(1);
    const RectI place{-7, 3, -7 + kWidth, 3 + kHeight}, bounds{-10, 0, 50, 40};
    int layout = 0;
    for (const auto& [from, read] : kAlphaStates)
        for (const auto& [to, written] : kAlphaStates) {
            SCOPED_TRACE(from + " to " + to);
            ++layout;
            const RectI window = layout % 2 == 0 ? RectI{-9, 1, 20, 31} : RectI{-6, 5, 36, 35};
            Images<TypeParam> images(
                host, picture, {place, kDepth<TypeParam>, from, 16 * (layout % 3), layout % 2 == 0},
                {bounds, kDepth<TypeParam>, to, 16 * (layout % 2), layout % 3 == 0});
            ASSERT_EQ(host.Render(0, window), kOk);
            const bool straight = written == AlphaState::kStraight ||
                                  (written == AlphaState::kOpaque && read == AlphaState::kStraight);
            const auto expected =
                Keyed(UnusualLook(), picture, read,
                      straight ? AlphaState::kStraight : AlphaState::kPremultiplied);
            EXPECT_TRUE(images.source.IsKeptOutside({}));
            EXPECT_TRUE(images.output.IsKeptOutside(window));
            EXPECT_TRUE(Shows(images.output, expected, window, place));
        }
}

/// A soft matte as hosts hold it, in alpha or as opaque grey, and its levels.
template <class Component>
struct Matte {
    Matte(int moved, bool inAlpha, int cut) {
        constexpr double kFull = sizeof(Component) == 4 ? 1 : std::numeric_limits<Component>::max();
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const int x = i % kWidth, level = std::clamp((x - moved) * 20 + i / kWidth, 0, 255);
            const auto value =
                static_cast<Component>(level / 255.0 * kFull + (kFull > 1 ? 0.5 : 0));
            const auto full = static_cast<Component>(kFull);
            const Component grey = inAlpha ? full : value;
            picture.insert(picture.end(), {grey, grey, grey, inAlpha ? value : full});
            levels.push_back(x < cut ? level * 257 : 0);
        }
    }

    Picture<Component> picture;
    std::vector<std::uint16_t> levels;
};

TYPED_TEST(OfxRender, KeysWithMattesAndAPlateWhereTheyAreConnected) {
    using Sample = SampleFor<TypeParam>;
    TestHost host("OfxImageEffectContextGeneral");
    Settings look;
    look.keyColor = {51 / 255.0, 180 / 255.0, 65 / 255.0};
    Enter(host, look);
    const auto picture = MakePicture<TypeParam>(1), plate = MakePicture<TypeParam>(2);
    const Matte<TypeParam> garbage(20, false, 30), core(-9, true, kWidth);
    Images<TypeParam> images(host, picture);
    const std::string depth = kDepth<TypeParam>;
    TestImage narrow({{0, 0, 30, kHeight}, depth}), whole({kPlace, depth}),
        wide({{-3, -2, 60, 40}, depth});
    const auto connect = [&](const char* clip, TestImage& image, const Picture<TypeParam>& shown,
                             int width) { Connect(host, clip, image, shown, width); };
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(images.output, Keyed(look, picture)));

    connect("GarbageMatte", narrow, garbage.picture, 30);
    connect("CoreMatte", whole, core.picture, kWidth);
    connect("CleanPlate", wide, plate, kWidth);
    const PixelReader<TypeParam> reader({PixelOrder::kRgba});
    const auto readPlate = [&](int y, Sample* row) { reader(&plate[4 * kWidth * y], row, kWidth); };
    const auto straight = AlphaState::kStraight;
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(
        Shows(images.output,
              Keyed(look, picture, straight, straight, Light::kDisplay,
                    {{nullptr, readPlate}, {garbage.levels.data()}, {core.levels.data()}})));
    connect("CleanPlate", narrow, plate, 30);
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
    EXPECT_NE(host.log.back().find("must cover"), std::string::npos);
}

TYPED_TEST(OfxRender, MatchesThePlateWhereAsked) {
    TestHost host("OfxImageEffectContextGeneral");
    Settings look;
    look.keyColor = {51 / 255.0, 180 / 255.0, 65 / 255.0};
    Enter(host, look);
    const auto picture = MakePicture<TypeParam>(1);
    auto plate = MakePicture<TypeParam>(2);
    for (std::size_t i = 0; i < plate.size(); ++i)
        if (i % 4 != 3) plate[i] = static_cast<TypeParam>(plate[i] * 0.75);
    Images<TypeParam> images(host, picture);
    TestImage image({kPlace, kDepth<TypeParam>});
    Connect(host, "CleanPlate", image, plate);
    const auto shot = Wide(picture);
    Picture<TypeParam> last;
    for (const PlateMatch match : {PlateMatch::None, PlateMatch::Exposure, PlateMatch::Shade}) {
        host.Set("plateMatch", {double(match)});
        ASSERT_EQ(host.Render(0, kPlace), kOk);
        auto matched = Wide(plate);
        ASSERT_TRUE(MatchPlate(match, kWidth, kHeight, shot.data(), matched.data(), look.keyColor));
        std::vector<SampleFor<TypeParam>> samples(matched.size());
        NarrowRow(matched.data(), samples.data(), kWidth * kHeight);
        const auto expected = Keyed(look, picture, AlphaState::kStraight, AlphaState::kStraight,
                                    Light::kDisplay, {{samples.data()}});
        EXPECT_TRUE(Shows(images.output, expected));
        EXPECT_NE(expected, last);
        last = expected;
    }
}

TEST_F(OfxPlugin, KeysLinearLightThroughTheCurveAndKeepsHighlights) {
    TestHost host;
    host.Set("colour", {1});
    auto picture = MakePicture<float>(5);
    for (std::size_t i = 0; i < picture.size(); ++i)
        if (i / 4 % kWidth > 30 && i % 4 != 3) picture[i] = 3 * picture[i] - 0.5f;
    const TestImage::Plan opaque{kPlace, kDepth<float>, "OfxImageOpaque"};
    Images<float> images(host, picture, opaque);
    ASSERT_EQ(host.Change("pickScreenColor"), kOk);
    Settings settings{.keyColor = FoundIn(picture, AlphaState::kOpaque, Light::kLinear)};
    // The swatch is in the host's colour; of 0.7 of light the curve makes 0.854.
    EXPECT_NEAR(host.params.at("keyColor").keys.at(0)[1], 0.71, 0.02);
    EXPECT_NEAR(settings.keyColor.green, 0.86, 0.02);
    // Automatic is the project's light.
    const auto expect = [&](MatteLight chosen, MatteLight used) {
        settings.matteLight = used;
        host.Set("matteLight", {double(chosen)});
        ASSERT_EQ(host.Render(0, kPlace), kOk);
        const auto expected =
            Keyed(settings, picture, AlphaState::kOpaque, AlphaState::kStraight, Light::kLinear);
        EXPECT_GT(*std::ranges::max_element(expected), 2);
        EXPECT_TRUE(Shows(images.output, expected));
    };
    expect(MatteLight::Automatic, MatteLight::Linear);
    expect(MatteLight::Display, MatteLight::Display);
    // What shows no source has no highlights.
    host.Set("view", {double(View::Spill)});
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    for (int x = 0; x < kWidth; ++x)
        EXPECT_LE(*reinterpret_cast<const float*>(images.output.At(x, 3)), 1);
}

TEST_F(OfxPlugin, ScalesRadiiInProxies) {
    TestHost host;
    Settings look = UnusualLook();
    look.deBlockValue = 3, look.contractMask = 4, look.maskBlurRadius = 5;
    Enter(host, look);
    const auto picture = MakePicture<float>(2);
    // Of 3, 4 and 5 pixels: halves round up, nothing falls below 1 or leaves its range; 0 is none.
    for (const auto& [scale, deblock, contract, blur] :
         {std::tuple{0.5, 2, 2, 3}, {0.01, 1, 1, 1}, {30.0, 10, 10, 100}, {0.0, 3, 4, 5}}) {
        TestImage::Plan plan{kPlace, kDepth<float>};
        plan.scale = scale;
        Images<float> images(host, picture, plan, plan);
        ASSERT_EQ(host.Render(0, kPlace), kOk);
        look.deBlockValue = deblock, look.contractMask = contract, look.maskBlurRadius = blur;
        EXPECT_TRUE(Shows(images.output, Keyed(look, picture))) << scale;
    }
}

TEST_F(OfxPlugin, FallsBackOnDefaultsAndRanges) {
    TestHost host;
    const auto picture = MakePicture<std::uint16_t>(4);
    Images<std::uint16_t> images(host, picture);
    host.Set("keyColor", {0.2, 7.5, std::nan("")});
    host.Set("shadow", {-5});
    host.Set("clipWhite", {400});
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    Settings settings;
    settings.keyColor = {0.2, 1, 0};
    settings.shadow = 0;
    EXPECT_TRUE(Shows(images.output, Keyed(settings, picture)));
    host.refusesValues = true;
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(images.output, Keyed({}, picture)));
}

TEST_F(OfxPlugin, RendersSeveralFramesOfOneInstanceAtOnce) {
    TestHost host;
    Enter(host, UnusualLook());
    std::deque<Images<float>> images;
    for (int i = 0; i < 8; ++i) {
        images.emplace_back(host, MakePicture<float>(i));
        host.params.at("shadow").keys[i] = {10.0 * i};
    }
    host.clips["Source"].image = [&](double time) { return &images[int(time)].source; };
    host.clips["Output"].image = [&](double time) { return &images[int(time)].output; };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] { EXPECT_EQ(host.Render(i, kPlace), kOk); });
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 8; ++i) {
        Settings look = UnusualLook();
        look.shadow = 10 * i;
        EXPECT_TRUE(Shows(images[i].output, Keyed(look, MakePicture<float>(i)))) << i;
    }
}

TEST_F(OfxPlugin, SharesAFrameAmongTheThreadsThatTheHostLends) {
    for (const unsigned cpus : {1u, 2u, 5u, 100000u})
        for (const bool lendsNone : {false, true}) {
            TestHost host;
            host.cpus = cpus;
            host.lendsNone = lendsNone;
            Enter(host, UnusualLook());
            const auto picture = MakePicture<std::uint16_t>(3);
            Images<std::uint16_t> images(host, picture);
            EXPECT_EQ(host.Render(0, kPlace), kOk);
            EXPECT_TRUE(Shows(images.output, Keyed(UnusualLook(), picture))) << cpus;
            EXPECT_EQ(host.threadRuns > 0, cpus > 1 && !lendsNone);
        }
}

TEST_F(OfxPlugin, RefusesImagesItCannotTake) {
    TestHost host;
    const Value null = static_cast<void*>(nullptr), half = std::string("OfxBitDepthHalf"),
                byte = std::string("OfxBitDepthByte"), rgb = std::string("OfxImageComponentRGB");
    const std::tuple<char, std::string, std::vector<Value>, Status> cases[] = {
        {'S', "Data", {null}, kFailed},
        {'O', "Data", {null}, kFailed},
        {'S', "PixelDepth", {half}, kBadImageFormat},
        {'S', "PixelDepth", {byte}, kBadImageFormat},
        {'O', "Components", {rgb}, kBadImageFormat},
        {'S', "RowBytes", {kWidth * 16 - 16}, kBadImageFormat},
        {'O', "RowBytes", {kWidth * -16 - 2}, kBadImageFormat},
        {'S', "Bounds", {-2000000000, 0, 2000000000, 1}, kBadImageFormat},
        {'S', "Bounds", {5, 0, -5, 1}, kBadImageFormat},
        {'O', "Bounds", {0, 0, kWidth, kHeight - 1}, kBadValue},
        {'S', "RenderScale", {0.5, 0.5}, kBadValue},
    };
    for (const auto& [clip, property, values, status] : cases) {
        Images<float> images(host, kBlack);
        Bag& bag = (clip == 'S' ? images.source : images.output).bag;
        const std::string effect = "OfxImageEffectProp" + property;
        bag.at(bag.count(effect) != 0 ? effect : "OfxImageProp" + property) = values;
        EXPECT_EQ(host.Render(0, kPlace), status) << clip << ' ' << property;
        EXPECT_TRUE(images.output.IsKeptOutside({}));
    }
}

TEST_F(OfxPlugin, AnswersStopsAndMissingThings) {
    TestHost host;
    Images<float> images(host, kBlack);
    host.stops = true;
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
    EXPECT_TRUE(images.output.IsKeptOutside({}));
    host.stops = false;
    EXPECT_EQ(host.Send("OfxImageEffectActionRender"), kBadHandle);
    EXPECT_EQ(host.plugin->main(nullptr, nullptr, nullptr, nullptr), kBadValue);
    host.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(images.output, kBlack));
    host.clips["Output"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
}

}  // namespace
}  // namespace veltrane::ofx::test
