#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <random>
#include <thread>

#include "imaging/convert/convert.h"
#include "settings/frame_keyer.h"
#include "settings/plate_match.h"
#include "settings/screen_color.h"
#include "settings/tune/tune.h"
#include "tests/hosts/ofx/test_host.h"
#include "tests/settings/unusual_look.h"

namespace veltrane::ofx::test {
namespace {

constexpr int kWidth = 40;
constexpr int kHeight = 30;
constexpr RectI kPlace{0, 0, kWidth, kHeight};

const std::map<std::string, AlphaState> kAlphaStates{
    {"OfxImageOpaque", AlphaState::kOpaque},
    {"OfxImageAlphaPremultiplied", AlphaState::kPremultiplied},
    {"OfxImageAlphaUnPremultiplied", AlphaState::kStraight}};

template <class Component>
const std::string kDepth = sizeof(Component) == 4   ? "OfxBitDepthFloat"
                           : sizeof(Component) == 1 ? "OfxBitDepthByte"
                                                    : "OfxBitDepthShort";

/// A picture as hosts hold it: red, green, blue, alpha, here with the top row first.
template <class Component>
using Picture = std::vector<Component>;

/// A grainy screen on the left, anything on the right, alpha of every kind.
template <class Component>
Picture<Component> MakePicture(unsigned seed) {
    constexpr double kFull = sizeof(Component) == 4 ? 1 : std::numeric_limits<Component>::max();
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> any(0, 1);
    Picture<Component> picture;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const bool screen = i % kWidth < 25;
        for (const double base : {0.2, 0.7, 0.25})
            picture.push_back((screen ? base + any(random) * 0.03 : any(random)) * kFull);
        picture.push_back((screen || i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : any(random)) * kFull);
    }
    return picture;
}

/// What the library makes of a picture, converted as an independent test of conversions proves it.
template <class Component>
Picture<Component> Keyed(const Settings& settings, const Picture<Component>& picture,
                         AlphaState from = AlphaState::kStraight,
                         AlphaState to = AlphaState::kStraight, Light light = Light::kDisplay,
                         const KeyInputs<SampleFor<Component>>& inputs = {}) {
    using Sample = SampleFor<Component>;
    const FloatRestorer::Formats formats{{PixelOrder::kRgba, from, {}, light},
                                         {PixelOrder::kRgba, to, {}, light}};
    const PixelReader<Component> reader(formats.source);
    const PixelWriter<Component> writer(formats.target);
    const FloatRestorer restorer(formats);
    Picture<Component> result(picture.size());
    const auto write = [&](int y, const Sample* row) {
        if constexpr (sizeof(Component) == 4)
            restorer(&picture[4 * kWidth * y], row, &result[4 * kWidth * y], kWidth);
        else
            writer(row, &result[4 * kWidth * y], kWidth);
    };
    Key<Sample>(
        settings, kWidth, kHeight,
        {nullptr, [&](int y, Sample* row) { reader(&picture[4 * kWidth * y], row, kWidth); }},
        {nullptr, write}, {}, inputs);
    return result;
}

/// A picture as a frame of 16 bits.
template <class Component>
std::vector<std::uint16_t> Wide(const Picture<Component>& picture,
                                AlphaState alpha = AlphaState::kStraight,
                                Light light = Light::kDisplay) {
    std::vector<SampleFor<Component>> narrow(picture.size());
    PixelReader<Component>({PixelOrder::kRgba, alpha, {}, light})(picture.data(), narrow.data(),
                                                                  kWidth * kHeight);
    std::vector<std::uint16_t> frame(narrow.begin(), narrow.end());
    for (std::uint16_t& sample : frame) sample *= sizeof(Component) == 1 ? 257 : 1;
    return frame;
}

/// The colour of the screen that the library finds.
template <class Component>
Color FoundIn(const Picture<Component>& picture, AlphaState alpha, Light light) {
    return FindScreenColor(kWidth, kHeight, Wide(picture, alpha, light).data()).value().color;
}

/// Whether the image shows the picture in the window, and transparent black beyond the picture.
template <class Component>
[[nodiscard]] bool Shows(TestImage& image, const Picture<Component>& picture,
                         const RectI& window = kPlace, const RectI& place = kPlace) {
    for (int y = window.y1; y < window.y2; ++y)
        for (int x = window.x1; x < window.x2; ++x) {
            Component pixel[4] = {};
            if (x >= place.x1 && x < place.x2 && y >= place.y1 && y < place.y2)
                std::copy_n(&picture[4 * (kWidth * (place.y2 - 1 - y) + x - place.x1)], 4, pixel);
            if (std::memcmp(image.At(x, y), pixel, sizeof pixel) != 0) return false;
        }
    return true;
}

const Picture<float> kBlack(4 * kWidth * kHeight);

/// A source that shows a picture and an output, connected to a host's clips.
template <class Component>
struct Images {
    using Plan = TestImage::Plan;

    Images(TestHost& host, const Picture<Component>& picture, const Plan& from = kPlan,
           const Plan& to = kPlan)
        : source(from), output(to) {
        const RectI& place = from.bounds;
        for (int y = place.y1; y < place.y2; ++y)
            std::memcpy(source.At(place.x1, y), &picture[4 * kWidth * (place.y2 - 1 - y)],
                        4 * kWidth * sizeof(Component));
        source.HandOut();
        output.HandOut();
        host.clips["Source"].image = [this](double) { return &source; };
        host.clips["Output"].image = [this](double) { return &output; };
    }

    inline static const Plan kPlan{kPlace, kDepth<Component>};
    TestImage source, output;
};

using Texts = std::vector<std::string>;

/// The host's name of each row by its id; the buttons are none.
std::map<int, std::string> NamesIn(const TestHost& host) {
    std::map<int, std::string> names;
    auto name = host.order.begin();
    for (const Parameter* row : Panel(Host::OpenFx)) {
        while (*name == "pickScreenColor" || *name == "findSettings") ++name;
        names[row->id] = *name++;
    }
    EXPECT_EQ(name, host.order.end());
    return names;
}

void Enter(TestHost& host, const Settings& look) {
    for (const auto& [id, name] : NamesIn(host)) {
        const Parameter& row = ParameterOf(ParameterId(id));
        if (row.kind == ParameterKind::Color)
            host.Set(name, {look.keyColor.red, look.keyColor.green, look.keyColor.blue});
        else if (IsSetting(row))
            host.Set(name, {double(ValueOf(look, row))});
    }
}

Texts TextsOf(const Bag& bag, const std::string& name) {
    Texts texts;
    for (const Value& value : bag.at(name)) texts.push_back(std::get<std::string>(value));
    return texts;
}

class OfxPlugin : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(TestHost::TakeFaults(), Texts{}); }
};

TEST_F(OfxPlugin, DescribesItself) {
    const TestHost host;
    EXPECT_EQ(TextsOf(host.bag, "OfxImageEffectPropSupportedContexts"),
              (Texts{"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}));
    EXPECT_EQ(TextsOf(host.bag, "OfxImageEffectPropSupportedPixelDepths"),
              (Texts{"OfxBitDepthByte", "OfxBitDepthShort", "OfxBitDepthFloat"}));
    EXPECT_EQ(Get(host.bag, "OfxImageEffectPluginRenderThreadSafety"),
              "OfxImageEffectRenderFullySafe");
    for (const char* none : {"PropSupportsTiles", "PluginPropHostFrameThreading"})
        EXPECT_EQ(Get<int>(host.bag, std::string("OfxImageEffect") + none), 0) << none;
    ASSERT_EQ(host.clips.size(), 2);
    for (const char* clip : {"Source", "Output"})
        EXPECT_EQ(Get(host.clips.at(clip).bag, "OfxImageEffectPropSupportedComponents"),
                  "OfxImageComponentRGBA");
}

TEST_F(OfxPlugin, OffersTheTableInBothContexts) {
    for (const char* context : {"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}) {
        const TestHost host(context, {}, true);
        std::map<int, std::string> names = NamesIn(host);
        for (const Parameter* row : Panel(Host::OpenFx)) {
            SCOPED_TRACE(names[row->id]);
            const Bag& param = host.params.at(names[row->id]).bag;
            EXPECT_EQ(Get(param, "OfxPropLabel"), LabelOf(*row));
            EXPECT_EQ(Get(param, "OfxParamPropHint"), row->help);
            EXPECT_EQ(row->group == 0 ? "" : Get(param, "OfxParamPropParent"), names[row->group]);
            EXPECT_EQ(Get<int>(param, "OfxParamPropEnabled"), row->governor == 0);
            if (row->kind == ParameterKind::Integer) {
                EXPECT_EQ(Get<int>(param, "OfxParamPropMin"), row->minimum);
                EXPECT_EQ(Get<int>(param, "OfxParamPropDisplayMax"), row->maximum);
            }
        }
        std::string saved;  // in projects, by id
        for (int id = 1; id <= 29; ++id) saved += names[id] + ' ';
        EXPECT_EQ(saved,
                  "basic view keyColor smoothBg shadow clipBlack clipWhite deBlockingGroup "
                  "deblocking deblockValue edgeContractGroup edgeContract contractMask "
                  "contractThreshold edgeBlurGroup edgeBlur maskBlurRadius maskBlurValue hue "
                  "skinHue blueHue advanced despill despillGray despillSkin despillBlue "
                  "screenGain screen colour ");
        EXPECT_EQ(host.order.at(3), "pickScreenColor");
        EXPECT_EQ(host.order.at(4), "findSettings");
        Texts views = TextsOf(host.params.at("view").bag, "OfxParamPropChoiceOption");
        views.resize(3);
        EXPECT_EQ(views, (Texts{"Source", "Matte", "Result"}));
    }
}

TEST_F(OfxPlugin, SlidersFollowTheirSwitches) {
    TestHost host;
    const auto enabled = [&] {
        Texts names;
        for (const char* name : {"deblockValue", "contractMask", "contractThreshold",
                                 "maskBlurRadius", "maskBlurValue"})
            if (Get<int>(host.params.at(name).bag, "OfxParamPropEnabled") != 0)
                names.emplace_back(name);
        return names;
    };
    host.params.at("edgeContract").keys = {{0, {0}}, {8, {1}}};
    host.Change("edgeContract", "OfxChangeUserEdited", 7);
    host.Change("shadow", "OfxChangeTime", 8);
    EXPECT_EQ(enabled(), Texts{});
    host.Change("edgeContract", "OfxChangeTime", 8);
    EXPECT_EQ(enabled(), (Texts{"contractMask", "contractThreshold"}));
    host.refusesValues = true;
    host.Change("edgeContract", "OfxChangeUserEdited", 7);
    EXPECT_EQ(enabled().size(), 2);
    host.refusesValues = false;
    host.Set("edgeBlur", {1});
    host.Send("OfxActionCreateInstance");
    EXPECT_EQ(enabled(), (Texts{"maskBlurRadius", "maskBlurValue"}));
}

TEST_F(OfxPlugin, FollowsTheScreen) {
    TestHost host;
    const auto expect = [&](int screen, const char* hue, const char* despill) {
        EXPECT_EQ(host.params.at("screen").keys.at(0), std::vector<double>{double(screen)});
        EXPECT_EQ(Get(host.params.at("blueHue").bag, "OfxPropLabel"), hue);
        EXPECT_EQ(Get(host.params.at("despillBlue").bag, "OfxPropLabel"), despill);
    };
    host.Set("screen", {0});
    host.Set("keyColor", {0.1, 0.3, 0.7});
    host.Change("keyColor", "OfxChangeTime");
    expect(0, "Border to blue", "Spill on blue");
    host.Change("keyColor");
    expect(1, "Border to green", "Spill on green");
    host.Set("keyColor", {0.5, 0.5, 0.5});
    host.Change("keyColor");
    expect(1, "Border to green", "Spill on green");
    host.Set("screen", {0});
    host.Change("screen");
    expect(0, "Border to blue", "Spill on blue");
    host.Set("screen", {1});
    host.Send("OfxActionCreateInstance");
    expect(1, "Border to green", "Spill on green");
    host.Set("keyColor", {0.1, 0.7, 0.3});
    host.Change("keyColor");
    expect(0, "Border to blue", "Spill on blue");
    host.log.clear();
    host.Change("keyColor");
    EXPECT_EQ(host.log, Texts{}) << "nothing is set that is so already";
}

template <class Component>
class OfxRender : public OfxPlugin {};
using Components = testing::Types<std::uint8_t, std::uint16_t, float>;
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

/// Lays the left part of a picture of the frame's size into an image and connects that.
template <class Component>
void Connect(TestHost& host, const char* clip, TestImage& image, const Picture<Component>& shown,
             int width = kWidth) {
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(image.At(0, y), &shown[4 * kWidth * (kHeight - 1 - y)],
                    4 * width * sizeof(Component));
    EXPECT_EQ(Get<int>(host.clips.at(clip).bag, "OfxImageClipPropOptional"), 1);
    host.clips[clip].image = [&image](double) { return &image; };
    host.clips[clip].bag["OfxImageClipPropConnected"] = {1};
}

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

TYPED_TEST(OfxRender, PicksTheScreen) {
    for (const Screen screen : {Screen::Green, Screen::Blue}) {
        TestHost host;
        auto picture = MakePicture<TypeParam>(3);
        for (std::size_t i = 0; i < picture.size() && screen == Screen::Blue; i += 4)
            std::swap(picture[i + 1], picture[i + 2]);
        const Images<TypeParam> images(host, picture,
                                       {kPlace, kDepth<TypeParam>, "OfxImageAlphaPremultiplied"});
        ASSERT_EQ(host.Change("pickScreenColor"), kOk);
        host.log.clear();
        ASSERT_EQ(host.Change("pickScreenColor"), kOk);
        EXPECT_EQ(host.log, (Texts{"begin Pick screen colour", "keyColor", "screen", "end"}));
        const Color found = FoundIn(picture, AlphaState::kPremultiplied, Light::kDisplay);
        EXPECT_EQ(host.params.at("keyColor").keys.at(0),
                  (std::vector{found.red, found.green, found.blue}));
        EXPECT_EQ(host.params.at("screen").keys.at(0), std::vector{double(screen)});
        EXPECT_EQ(Get(host.params.at("blueHue").bag, "OfxPropLabel"),
                  screen == Screen::Blue ? "Border to green" : "Border to blue");
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

TEST_F(OfxPlugin, SaysWhenThereIsNoScreenToPick) {
    TestHost host;
    const Images<float> images(host, kBlack);
    EXPECT_EQ(host.Change("pickScreenColor"), kOk);
    EXPECT_EQ(host.log.at(0).substr(0, 19), "OfxMessageMessage: ");
    EXPECT_EQ(host.Change("pickScreenColor", "OfxChangePluginEdited"), kReplyDefault);
    host.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Change("pickScreenColor"), kFailed);
    EXPECT_EQ(host.log.size(), 1);
}

TYPED_TEST(OfxRender, FindsSettingsInOneStep) {
    TestHost host("OfxImageEffectContextGeneral");
    auto picture = MakePicture<TypeParam>(3), other = MakePicture<TypeParam>(4);
    for (auto* each : {&picture, &other})
        for (std::size_t i = 3; i < each->size(); i += 4) (*each)[i] = (*each)[3];
    const Images<TypeParam> images(host, picture);
    TestImage plate({kPlace, kDepth<TypeParam>});
    host.Set("colour", {1});
    host.Set("shadow", {30});
    host.Set("deblocking", {1});
    const Settings before{.shadow = 100, .deBlocking = true};
    const auto expect = [&](const std::vector<std::uint16_t>* against) {
        host.log.clear();
        ASSERT_EQ(host.Change("findSettings"), kOk);
        const auto frame = Wide(picture, AlphaState::kStraight, Light::kLinear);
        Settings from = before;
        from.keyColor = FoundIn(picture, AlphaState::kStraight, Light::kLinear);
        ShotTuner tuner(kWidth, kHeight, {from});
        tuner.Look(frame.data(), {}, against != nullptr ? against->data() : nullptr);
        const TunedSettings found = tuner.Find();
        EXPECT_EQ(found.kind, ShotKind::Usual);
        EXPECT_FALSE(found.sliders.empty());
        Texts expected{"begin Find settings", "keyColor", "screen"};
        const auto names = NamesIn(host);
        for (const ParameterId id : TunableSliders()) {
            expected.push_back(names.at(int(id)));
            EXPECT_EQ(host.params.at(expected.back()).keys.at(0),
                      std::vector{double(ValueOf(found.settings, ParameterOf(id)))});
        }
        expected.emplace_back("end");
        EXPECT_EQ(host.log, expected);
    };
    expect(nullptr);
    expect(nullptr);
    Connect(host, "CleanPlate", plate, other);
    const auto against = Wide(other, AlphaState::kStraight, Light::kLinear);
    expect(&against);
}

TEST_F(OfxPlugin, FindsNothingWhereThePictureSaysTooLittle) {
    TestHost host;
    auto screen = MakePicture<float>(1);
    for (std::size_t i = 0; i < screen.size(); ++i) screen[i] = screen[i % 4];
    for (const Picture<float>& picture : {kBlack, screen}) {
        const Images<float> images(host, picture);
        host.log.clear();
        EXPECT_EQ(host.Change("findSettings"), kOk);
        ASSERT_EQ(host.log.size(), 1);
        EXPECT_EQ(host.log[0].substr(0, 19), "OfxMessageMessage: ");
    }
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

TEST_F(OfxPlugin, AnswersWhatHostsAskBeforeARender) {
    TestHost host;
    Bag in{{"OfxPropTime", {7.0}}};
    Bag out{{"OfxPropName", {std::string()}}, {"OfxPropTime", {0.0}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionIsIdentity", &in, &out), kReplyDefault);
    host.params.at("view").keys = {{0, {2}}, {7, {0}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionIsIdentity", &in, &out), kOk);
    EXPECT_EQ(Get(out, "OfxPropName"), "Source");
    EXPECT_EQ(Get<double>(out, "OfxPropTime"), 7);

    host.clips["Source"].region = {-3, 1, 90, 51};
    Bag regions{{"OfxImageClipPropRoI_Source", {0.0, 0.0, 0.0, 0.0}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionGetRegionsOfInterest", &in, &regions), kOk);
    EXPECT_EQ(regions["OfxImageClipPropRoI_Source"], (std::vector<Value>{-3.0, 1.0, 90.0, 51.0}));

    const std::string state = "OfxImageEffectPropPreMultiplication";
    for (const auto& [from, read] : kAlphaStates) {
        host.clips["Source"].bag[state] = {from};
        Bag preferences{{state, {std::string()}}};
        EXPECT_EQ(host.Send("OfxImageEffectActionGetClipPreferences", nullptr, &preferences), kOk);
        EXPECT_EQ(Get(preferences, state),
                  read == AlphaState::kStraight ? from : "OfxImageAlphaPremultiplied");
    }
    EXPECT_EQ(host.Send("OfxActionSomethingNew"), kReplyDefault);
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

TEST_F(OfxPlugin, LoadsOnlyWithTheSuitesItNeeds) {
    for (const std::string suite : {"Property", "ImageEffect", "Parameter", "Message"}) {
        TestHost host("OfxImageEffectContextFilter", {"Ofx" + suite + "Suite"});
        const Images<float> images(host, kBlack);
        const Status expected = suite == "Message" ? kOk : kMissingHostFeature;
        EXPECT_EQ(host.loaded, expected) << suite;
        EXPECT_EQ(host.Send(suite == "Message" ? "OfxActionCreateInstance" : "OfxActionDescribe"),
                  expected);
        EXPECT_EQ(host.Change("pickScreenColor"), expected) << suite;
    }
}

}  // namespace
}  // namespace veltrane::ofx::test
