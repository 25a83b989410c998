#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <random>
#include <thread>
#include <type_traits>

#include "settings/screen_color.h"
#include "tests/hosts/ofx/test_host.h"
#include "tests/settings/unusual_look.h"

namespace veltrane::ofx::test {
namespace {

// Pictures as hosts hold them (red, green, blue, alpha, here with the top row first) and their way
// through the library, in arithmetic as plain as can be.

constexpr int kWidth = 40;
constexpr int kHeight = 30;

const std::string kOpaque = "OfxImageOpaque";
const std::string kPremultiplied = "OfxImageAlphaPremultiplied";
const std::string kStraight = "OfxImageAlphaUnPremultiplied";

template <class Component>
constexpr bool kIsFloat = std::is_floating_point_v<Component>;
template <class Component>
constexpr bool kIsByte = sizeof(Component) == 1;
template <class Component>
constexpr double kFull = kIsFloat<Component>  ? 1
                         : kIsByte<Component> ? 255
                                              : 65535;
template <class Component>
const std::string kDepth = kIsFloat<Component>  ? "OfxBitDepthFloat"
                           : kIsByte<Component> ? "OfxBitDepthByte"
                                                : "OfxBitDepthShort";

template <class Component>
using Frame = std::vector<std::conditional_t<kIsByte<Component>, std::uint8_t, std::uint16_t>>;

/// Where the keyer holds what a host has at i.
template <class Component>
std::size_t Place(std::size_t i) {
    constexpr int kBytes[] = {1, 2, 3, 0};
    constexpr int kShorts[] = {2, 1, 0, 3};
    return i / 4 * 4 + (kIsByte<Component> ? kBytes : kShorts)[i % 4];
}

/// A grainy screen on the left, anything on the right, alpha of every kind.
template <class Component>
std::vector<Component> MakePicture(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> any(0, 1);
    std::vector<Component> picture;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const bool screen = i % kWidth < 25;
        for (const double base : {0.2, 0.7, 0.25}) {
            double value = screen ? base + any(random) * 0.03 : any(random);
            if (kIsFloat<Component> && !screen) value = value * 1.4 - 0.2;
            picture.push_back(static_cast<Component>(value * kFull<Component>));
        }
        const double alpha = screen || i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : any(random);
        picture.push_back(static_cast<Component>(alpha * kFull<Component>));
    }
    if (kIsFloat<Component>) picture[30 * 4] = std::nanf("");
    return picture;
}

template <class Component>
Frame<Component> ToFrame(const std::vector<Component>& picture, const std::string& state) {
    constexpr double full = kFull<Component>;
    Frame<Component> frame(picture.size());
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const Component alpha = picture[i | 3];
        double value = picture[i];
        if (state == kOpaque && i % 4 == 3) value = full;
        if (state == kPremultiplied && i % 4 != 3 && alpha > 0) {
            if (kIsFloat<Component>)
                value = picture[i] / alpha;
            else
                value = std::min(std::floor(value * full / alpha + 0.5), full);
        }
        if (kIsFloat<Component>) value = std::clamp(std::floor(value * 65535 + 0.5), 0.0, 65535.0);
        frame[Place<Component>(i)] = value > 0 ? static_cast<std::uint16_t>(value) : 0;
    }
    return frame;
}

/// What the library makes of a picture.
template <class Component>
std::vector<Component> Keyed(const Settings& settings, const std::vector<Component>& picture,
                             const std::string& state, bool premultiply) {
    const Frame<Component> frame = ToFrame(picture, state);
    Frame<Component> keyed = frame;
    Key(settings, kWidth, kHeight, frame.data(), keyed.data());
    std::vector<Component> result(picture.size());
    for (std::size_t i = result.size(); i-- > 0;) {  // backwards, so that alpha precedes colour
        const auto sample = keyed[Place<Component>(i)];
        result[i] = kIsFloat<Component> ? sample / 65535.0f : sample;
        if (!premultiply || i % 4 == 3) continue;
        if (kIsFloat<Component>)
            result[i] *= result[i | 3];
        else
            result[i] = std::floor(1.0 * result[i] * result[i | 3] / kFull<Component> + 0.5);
    }
    return result;
}

template <class Component>
void Draw(const std::vector<Component>& picture, const RectI& place, TestImage& image) {
    for (int y = place.y1; y < place.y2; ++y)
        std::memcpy(image.At(place.x1, y), &picture[4 * kWidth * (place.y2 - 1 - y)],
                    4 * kWidth * sizeof(Component));
}

/// Whether the image shows the picture in the window, and transparent black beyond the picture.
template <class Component>
[[nodiscard]] bool Shows(TestImage& image, const RectI& window,
                         const std::vector<Component>& picture, const RectI& place) {
    for (int y = window.y1; y < window.y2; ++y)
        for (int x = window.x1; x < window.x2; ++x) {
            Component pixel[4] = {};
            if (x >= place.x1 && x < place.x2 && y >= place.y1 && y < place.y2)
                std::copy_n(&picture[4 * (kWidth * (place.y2 - 1 - y) + x - place.x1)], 4, pixel);
            if (std::memcmp(image.At(x, y), pixel, sizeof pixel) != 0) return false;
        }
    return true;
}

using Texts = std::vector<std::string>;
constexpr RectI kPlace{0, 0, kWidth, kHeight};

void Connect(TestHost& host, TestImage& source, TestImage& output) {
    source.HandOut();
    output.HandOut();
    host.clips["Source"].image = [&source](double) { return &source; };
    host.clips["Output"].image = [&output](double) { return &output; };
}

/// Everything on.
Settings Look() {
    Settings settings = UnusualLook();
    settings.keyColor = {51 / 255.0, 180 / 255.0, 65 / 255.0};
    settings.deBlockValue = 3;
    settings.contractMask = 4;
    settings.maskBlurRadius = 5;
    settings.clipBlack = 5;
    settings.clipWhite = 90;
    return settings;
}

/// The host's name of each row by its id; the button is none.
std::map<int, std::string> NamesIn(const TestHost& host) {
    std::map<int, std::string> names;
    auto name = host.order.begin();
    for (const Parameter* row : Panel(Host::OpenFx)) {
        if (*name == "pickScreenColor") ++name;
        names[row->id] = *name++;
    }
    EXPECT_EQ(name, host.order.end());
    return names;
}

void EnterLook(TestHost& host) {
    const Settings look = Look();
    const std::map<int, std::string> names = NamesIn(host);
    for (const Parameter* row : Panel(Host::OpenFx)) {
        if (row->kind == ParameterKind::Group) continue;
        auto& keys = host.params.at(names.at(row->id)).keys;
        if (row->kind == ParameterKind::Color)
            keys = {{0, {look.keyColor.red, look.keyColor.green, look.keyColor.blue}}};
        else
            keys = {{0, {double(ValueOf(look, *row))}}};
    }
}

Texts TextsOf(const Bag& bag, const std::string& name) {
    Texts texts;
    for (const Value& value : bag.properties.at(name).values)
        texts.push_back(std::get<std::string>(value));
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
    EXPECT_EQ(host.bag.Get("OfxImageEffectPluginRenderThreadSafety"),
              "OfxImageEffectRenderFullySafe");
    EXPECT_EQ(host.bag.Get<int>("OfxImageEffectPropSupportsTiles"), 0);
    EXPECT_EQ(host.bag.Get<int>("OfxImageEffectPluginPropHostFrameThreading"), 0);
    ASSERT_EQ(host.clips.size(), 2);
    for (const char* clip : {"Source", "Output"})
        EXPECT_EQ(host.clips.at(clip).bag.Get("OfxImageEffectPropSupportedComponents"),
                  "OfxImageComponentRGBA");
}

TEST_F(OfxPlugin, OffersTheTableInBothContexts) {
    for (const char* context : {"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}) {
        const TestHost host(context, {}, true);
        std::map<int, std::string> names = NamesIn(host);
        for (const Parameter* row : Panel(Host::OpenFx)) {
            SCOPED_TRACE(names[row->id]);
            const Bag& param = host.params.at(names[row->id]).bag;
            EXPECT_EQ(param.Get("OfxPropLabel"), Label(row->key));
            EXPECT_EQ(param.Get("OfxParamPropHint"), row->help);
            EXPECT_EQ(param.Get("OfxParamPropParent"), names[row->group]);
            EXPECT_EQ(param.Get<int>("OfxParamPropEnabled"), row->governor == 0);
            if (row->kind == ParameterKind::Integer) {
                EXPECT_EQ(param.Get<int>("OfxParamPropMin"), row->minimum);
                EXPECT_EQ(param.Get<int>("OfxParamPropDisplayMax"), row->maximum);
            }
        }
        // Saved projects hold these, by id.
        const Texts saved{"basic",
                          "view",
                          "keyColor",
                          "smoothBg",
                          "shadow",
                          "clipBlack",
                          "clipWhite",
                          "deBlockingGroup",
                          "deblocking",
                          "deblockValue",
                          "edgeContractGroup",
                          "edgeContract",
                          "contractMask",
                          "contractThreshold",
                          "edgeBlurGroup",
                          "edgeBlur",
                          "maskBlurRadius",
                          "maskBlurValue",
                          "hue",
                          "skinHue",
                          "blueHue",
                          "advanced",
                          "despill",
                          "despillGray",
                          "despillSkin",
                          "despillBlue",
                          "screenGain"};
        for (std::size_t i = 0; i < saved.size(); ++i)
            EXPECT_EQ(names[static_cast<int>(i) + 1], saved[i]);
        EXPECT_EQ(host.order.at(3), "pickScreenColor");
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
            if (host.params.at(name).bag.Get<int>("OfxParamPropEnabled") != 0)
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
    host.params.at("edgeBlur").keys = {{0, {1}}};
    host.Send("OfxActionCreateInstance");
    EXPECT_EQ(enabled(), (Texts{"maskBlurRadius", "maskBlurValue"}));
}

template <class Component>
class OfxRender : public OfxPlugin {};
using Components = testing::Types<std::uint8_t, std::uint16_t, float>;
TYPED_TEST_SUITE(OfxRender, Components);

TYPED_TEST(OfxRender, GivesTheLibrarysBitsInEveryAlphaStateAndLayout) {
    TestHost host;
    EnterLook(host);
    const auto picture = MakePicture<TypeParam>(1);
    const RectI place{-7, 3, -7 + kWidth, 3 + kHeight};
    int layout = 0;
    for (const std::string& from : {kOpaque, kPremultiplied, kStraight})
        for (const std::string& to : {kOpaque, kPremultiplied, kStraight}) {
            SCOPED_TRACE(from + " to " + to);
            ++layout;
            const RectI window = layout % 2 == 0 ? RectI{-9, 1, 20, 31} : RectI{-6, 5, 36, 35};
            TestImage source({place, kDepth<TypeParam>, from, 16 * (layout % 3), layout % 2 == 0});
            TestImage output(
                {{-10, 0, 50, 40}, kDepth<TypeParam>, to, 16 * (layout % 2), layout % 3 == 0});
            Draw(picture, place, source);
            Connect(host, source, output);
            ASSERT_EQ(host.Render(0, window), kOk);
            const bool premultiply = to == kPremultiplied || (to == kOpaque && from != kStraight);
            EXPECT_TRUE(source.IsKeptOutside({}));
            EXPECT_TRUE(output.IsKeptOutside(window));
            EXPECT_TRUE(Shows(output, window, Keyed(Look(), picture, from, premultiply), place));
        }
}

TYPED_TEST(OfxRender, PicksTheScreensColor) {
    TestHost host;
    const auto picture = MakePicture<TypeParam>(3);
    TestImage source({kPlace, kDepth<TypeParam>, kPremultiplied});
    Draw(picture, kPlace, source);
    Connect(host, source, source);
    ASSERT_EQ(host.Change("pickScreenColor"), kOk);
    host.log.clear();
    ASSERT_EQ(host.Change("pickScreenColor"), kOk);
    const auto narrow = ToFrame(picture, kPremultiplied);
    std::vector<std::uint16_t> frame(picture.size());
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = kIsByte<TypeParam> ? 257 * narrow[i ^ 3] : narrow[i];
    const Color found = FindScreenColor(kWidth, kHeight, frame.data()).value().color;
    EXPECT_EQ(host.params.at("keyColor").keys.at(0),
              (std::vector{found.red, found.green, found.blue}));
    EXPECT_EQ(host.log, (Texts{"begin Pick screen colour", "keyColor", "end"}));
}

TEST_F(OfxPlugin, SaysWhenThereIsNoScreenToPick) {
    TestHost host;
    TestImage source({kPlace, kDepth<float>});
    Connect(host, source, source);
    EXPECT_EQ(host.Change("pickScreenColor"), kOk);
    EXPECT_EQ(host.log.at(0).substr(0, 19), "OfxMessageMessage: ");
    EXPECT_EQ(host.Change("pickScreenColor", "OfxChangePluginEdited"), kReplyDefault);
    host.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Change("pickScreenColor"), kFailed);
    EXPECT_EQ(host.log.size(), 1);
}

TEST_F(OfxPlugin, ScalesRadiiInProxies) {
    TestHost host;
    EnterLook(host);
    const auto picture = MakePicture<float>(2);
    // Of 3, 4 and 5 pixels: halves round up, nothing falls below 1 or leaves its range; 0 is none.
    for (const auto& [scale, deblock, contract, blur] :
         {std::tuple{0.5, 2, 2, 3}, {0.01, 1, 1, 1}, {30.0, 10, 10, 100}, {0.0, 3, 4, 5}}) {
        TestImage source({kPlace, kDepth<float>, kOpaque, 0, false, scale});
        TestImage output({kPlace, kDepth<float>, kStraight, 0, false, scale});
        Draw(picture, kPlace, source);
        Connect(host, source, output);
        ASSERT_EQ(host.Render(0, kPlace), kOk);
        Settings look = Look();
        look.deBlockValue = deblock;
        look.contractMask = contract;
        look.maskBlurRadius = blur;
        EXPECT_TRUE(Shows(output, kPlace, Keyed(look, picture, kOpaque, false), kPlace)) << scale;
    }
}

TEST_F(OfxPlugin, FallsBackOnDefaultsAndRanges) {
    TestHost host;
    const auto picture = MakePicture<std::uint16_t>(4);
    TestImage source({kPlace, kDepth<std::uint16_t>, kOpaque});
    TestImage output({kPlace, kDepth<std::uint16_t>});
    Draw(picture, kPlace, source);
    Connect(host, source, output);
    host.params.at("keyColor").keys = {{0, {0.2, 7.5, std::nan("")}}};
    host.params.at("shadow").keys = {{0, {-5}}};
    host.params.at("clipWhite").keys = {{0, {400}}};
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    Settings settings;
    settings.keyColor = {0.2, 1, 0};
    settings.shadow = 0;
    EXPECT_TRUE(Shows(output, kPlace, Keyed(settings, picture, kOpaque, false), kPlace));
    host.refusesValues = true;
    ASSERT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(output, kPlace, Keyed({}, picture, kOpaque, false), kPlace));
}

TEST_F(OfxPlugin, AnswersWhatHostsAskBeforeARender) {
    TestHost host;
    Bag in{{{"OfxPropTime", {{7.0}}}}};
    Bag out{{{"OfxPropName", {{std::string()}}}, {"OfxPropTime", {{0.0}}}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionIsIdentity", &in, &out), kReplyDefault);
    host.params.at("view").keys = {{0, {2}}, {7, {0}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionIsIdentity", &in, &out), kOk);
    EXPECT_EQ(out.Get("OfxPropName"), "Source");
    EXPECT_EQ(out.Get<double>("OfxPropTime"), 7);

    host.clips["Source"].region = {-3, 1, 90, 51};
    Bag regions{{{"OfxImageClipPropRoI_Source", {{0.0, 0.0, 0.0, 0.0}}}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionGetRegionsOfInterest", &in, &regions), kOk);
    EXPECT_EQ(regions.properties["OfxImageClipPropRoI_Source"].values,
              (std::vector<Value>{-3.0, 1.0, 90.0, 51.0}));

    const std::string state = "OfxImageEffectPropPreMultiplication";
    for (const std::string& from : {kOpaque, kPremultiplied, kStraight}) {
        host.clips["Source"].bag.Put(state, {from});
        Bag preferences{{{state, {{std::string()}}}}};
        EXPECT_EQ(host.Send("OfxImageEffectActionGetClipPreferences", nullptr, &preferences), kOk);
        EXPECT_EQ(preferences.Get(state), from == kStraight ? kStraight : kPremultiplied);
    }
    EXPECT_EQ(host.Send("OfxActionSomethingNew"), kReplyDefault);
}

TEST_F(OfxPlugin, RendersSeveralFramesOfOneInstanceAtOnce) {
    TestHost host;
    EnterLook(host);
    std::deque<TestImage> sources;
    std::deque<TestImage> outputs;
    for (int i = 0; i < 8; ++i) {
        outputs.emplace_back(TestImage::Plan{kPlace, kDepth<float>});
        Draw(MakePicture<float>(i), kPlace,
             sources.emplace_back(TestImage::Plan{kPlace, kDepth<float>}));
        host.params.at("shadow").keys[i] = {10.0 * i};
    }
    host.clips["Source"].image = [&](double time) { return &sources[static_cast<int>(time)]; };
    host.clips["Output"].image = [&](double time) { return &outputs[static_cast<int>(time)]; };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] { EXPECT_EQ(host.Render(i, kPlace), kOk); });
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 8; ++i) {
        Settings look = Look();
        look.shadow = 10 * i;
        const auto expected = Keyed(look, MakePicture<float>(i), kStraight, false);
        EXPECT_TRUE(Shows(outputs[i], kPlace, expected, kPlace)) << i;
    }
}

TEST_F(OfxPlugin, SharesAFrameAmongTheThreadsThatTheHostLends) {
    for (const unsigned cpus : {1u, 2u, 5u, 100000u}) {
        for (const bool lendsNone : {false, true}) {
            TestHost host;
            host.cpus = cpus;
            host.lendsNone = lendsNone;
            EnterLook(host);
            const auto picture = MakePicture<std::uint16_t>(3);
            TestImage source({kPlace, kDepth<std::uint16_t>});
            TestImage output({kPlace, kDepth<std::uint16_t>});
            Draw(picture, kPlace, source);
            host.clips["Source"].image = [&](double) { return &source; };
            host.clips["Output"].image = [&](double) { return &output; };
            EXPECT_EQ(host.Render(0, kPlace), kOk);
            EXPECT_TRUE(Shows(output, kPlace, Keyed(Look(), picture, kStraight, false), kPlace))
                << cpus;
            EXPECT_EQ(host.threadRuns > 0, cpus > 1 && !lendsNone);
        }
    }
}

TEST_F(OfxPlugin, RefusesImagesItCannotTake) {
    TestHost host;
    const Value null = static_cast<void*>(nullptr);
    const std::tuple<char, const char*, std::vector<Value>, Status> cases[] = {
        {'S', "OfxImagePropData", {null}, kFailed},
        {'O', "OfxImagePropData", {null}, kFailed},
        {'S', "OfxImageEffectPropPixelDepth", {std::string("OfxBitDepthHalf")}, kBadImageFormat},
        {'S', "OfxImageEffectPropPixelDepth", {std::string("OfxBitDepthByte")}, kBadImageFormat},
        {'O',
         "OfxImageEffectPropComponents",
         {std::string("OfxImageComponentRGB")},
         kBadImageFormat},
        {'S', "OfxImagePropRowBytes", {kWidth * 16 - 16}, kBadImageFormat},
        {'O', "OfxImagePropRowBytes", {kWidth * -16 - 2}, kBadImageFormat},
        {'S', "OfxImagePropBounds", {-2000000000, 0, 2000000000, 1}, kBadImageFormat},
        {'S', "OfxImagePropBounds", {5, 0, -5, 1}, kBadImageFormat},
        {'O', "OfxImagePropBounds", {0, 0, kWidth, kHeight - 1}, kBadValue},
        {'S', "OfxImageEffectPropRenderScale", {0.5, 0.5}, kBadValue},
    };
    for (const auto& [clip, property, values, status] : cases) {
        TestImage source({kPlace, kDepth<float>});
        TestImage output({kPlace, kDepth<float>});
        Connect(host, source, output);
        (clip == 'S' ? source : output).bag.Put(property, values);
        EXPECT_EQ(host.Render(0, kPlace), status) << clip << ' ' << property;
        EXPECT_TRUE(output.IsKeptOutside({}));
    }
}

TEST_F(OfxPlugin, AnswersStopsAndMissingThings) {
    TestHost host;
    TestImage source({kPlace, kDepth<float>});
    TestImage output({kPlace, kDepth<float>});
    Connect(host, source, output);
    host.stops = true;
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
    EXPECT_TRUE(output.IsKeptOutside({}));
    host.stops = false;
    EXPECT_EQ(host.Send("OfxImageEffectActionRender"), kBadHandle);
    EXPECT_EQ(host.plugin->main(nullptr, nullptr, nullptr, nullptr), kBadValue);
    host.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(output, kPlace, std::vector<float>(4 * kWidth * kHeight), kPlace));
    host.clips["Output"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
}

TEST_F(OfxPlugin, LoadsOnlyWithTheSuitesItNeeds) {
    for (const char* suite : {"OfxPropertySuite", "OfxImageEffectSuite", "OfxParameterSuite"}) {
        TestHost host("OfxImageEffectContextFilter", {suite});
        EXPECT_EQ(host.loaded, kMissingHostFeature) << suite;
        EXPECT_EQ(host.Send("OfxActionDescribe"), kMissingHostFeature);
    }
    TestHost mute("OfxImageEffectContextFilter", {"OfxMessageSuite"});
    TestImage source({kPlace, kDepth<float>});
    Connect(mute, source, source);
    EXPECT_EQ(mute.Change("pickScreenColor"), kOk);
}

}  // namespace
}  // namespace veltrane::ofx::test
