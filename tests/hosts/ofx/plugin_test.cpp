#include <gtest/gtest.h>

#include <thread>

#include "settings/screen_color.h"
#include "tests/hosts/ofx/pictures.h"

namespace veltrane::ofx::test {
namespace {

using Texts = std::vector<std::string>;
constexpr RectI kPlace{0, 0, kWidth, kHeight};

void Connect(TestHost& host, TestImage& source, TestImage& output) {
    source.HandOut();
    output.HandOut();
    host.instance.clips["Source"].image = [&source](double) { return &source; };
    host.instance.clips["Output"].image = [&output](double) { return &output; };
}

/// Everything on, and every radius such that a scale shows.
Settings Look() {
    Settings settings;
    settings.keyColor = {51 / 255.0, 180 / 255.0, 65 / 255.0};
    settings.deBlocking = settings.edgeContract = settings.edgeBlur = true;
    settings.deBlockValue = 3;
    settings.contractMask = 4;
    settings.maskBlurRadius = 5;
    settings.clipBlack = 5;
    settings.clipWhite = 90;
    return settings;
}

void Enter(TestHost& host, const Settings& settings) {
    const std::map<std::string, int Settings::*> numbers{
        {"deblockValue", &Settings::deBlockValue},
        {"contractMask", &Settings::contractMask},
        {"maskBlurRadius", &Settings::maskBlurRadius},
        {"clipBlack", &Settings::clipBlack},
        {"clipWhite", &Settings::clipWhite}};
    for (const auto& [name, member] : numbers)
        host.instance.params.at(name).keys = {{0, {double(settings.*member)}}};
    for (const char* name : {"deblocking", "edgeContract", "edgeBlur"})
        host.instance.params.at(name).keys = {{0, {1}}};
    const Color& key = settings.keyColor;
    host.instance.params.at("keyColor").keys = {{0, {key.red, key.green, key.blue}}};
}

class OfxPlugin : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(TestHost::TakeFaults(), Texts{}); }
};

Texts AllTexts(const Bag& bag, const std::string& name) {
    Texts texts;
    for (const Value& value : bag.properties.at(name).values)
        texts.push_back(std::get<std::string>(value));
    return texts;
}

TEST_F(OfxPlugin, DescribesItself) {
    const TestHost host;
    const Bag& effect = host.descriptor.bag;
    EXPECT_EQ(AllTexts(effect, "OfxImageEffectPropSupportedContexts"),
              (Texts{"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}));
    EXPECT_EQ(AllTexts(effect, "OfxImageEffectPropSupportedPixelDepths"),
              (Texts{"OfxBitDepthByte", "OfxBitDepthShort", "OfxBitDepthFloat"}));
    EXPECT_EQ(AllTexts(effect, "OfxImageEffectPluginRenderThreadSafety"),
              Texts{"OfxImageEffectRenderFullySafe"});
    EXPECT_EQ(effect.Get<int>("OfxImageEffectPropSupportsTiles"), 0);
    EXPECT_EQ(effect.Get<int>("OfxImageEffectPluginPropHostFrameThreading"), 0);
    ASSERT_EQ(host.descriptor.clips.size(), 2);
    for (const char* clip : {"Source", "Output"})
        EXPECT_EQ(
            AllTexts(host.descriptor.clips.at(clip).bag, "OfxImageEffectPropSupportedComponents"),
            Texts{"OfxImageComponentRGBA"});
}

TEST_F(OfxPlugin, OffersTheTableInBothContexts) {
    for (const char* context : {"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}) {
        const TestHost host(context);
        auto name = host.descriptor.order.begin();
        std::map<int, std::string> groups{{0, ""}};
        for (const Parameter& row : Parameters()) {
            if (*name == "pickScreenColor") ++name;
            SCOPED_TRACE(*name);
            const TestParam& param = host.descriptor.params.at(*name);
            if (row.kind == ParameterKind::Group) groups[row.id] = *name;
            EXPECT_EQ(param.bag.Get<std::string>("OfxPropLabel"), Label(row.key));
            EXPECT_EQ(param.bag.Get<std::string>("OfxParamPropHint"), row.help);
            EXPECT_EQ(param.bag.Get<std::string>("OfxParamPropParent"), groups.at(row.group));
            EXPECT_EQ(param.bag.Get<int>("OfxParamPropEnabled"), row.governor == 0);
            if (row.kind == ParameterKind::Integer) {
                EXPECT_EQ(param.bag.Get<int>("OfxParamPropMin"), row.minimum);
                EXPECT_EQ(param.bag.Get<int>("OfxParamPropDisplayMax"), row.maximum);
            }
            ++name;
        }
        EXPECT_EQ(name, host.descriptor.order.end());
        EXPECT_EQ(AllTexts(host.descriptor.params.at("view").bag, "OfxParamPropChoiceOption"),
                  (Texts{"Source", "Matte", "Result"}));
    }
}

TEST_F(OfxPlugin, SlidersFollowTheirSwitches) {
    TestHost host;
    auto& params = host.instance.params;
    const auto enabled = [&](const char* name) {
        return params.at(name).bag.Get<int>("OfxParamPropEnabled");
    };
    params.at("edgeContract").keys = {{0, {0}}, {8, {1}}};
    host.Change("edgeContract", "OfxChangeUserEdited", 7);
    EXPECT_EQ(enabled("contractMask") + enabled("contractThreshold"), 0);
    host.Change("shadow", "OfxChangeTime", 8);
    EXPECT_EQ(enabled("contractMask") + enabled("contractThreshold"), 0);
    host.Change("edgeContract", "OfxChangeTime", 8);
    EXPECT_EQ(enabled("contractMask") + enabled("contractThreshold"), 2);
    EXPECT_EQ(enabled("deblockValue") + enabled("maskBlurRadius") + enabled("maskBlurValue"), 0);
    host.refusesValues = true;
    host.Change("edgeContract", "OfxChangeUserEdited", 7);
    EXPECT_EQ(enabled("contractMask"), 1);
    host.refusesValues = false;
    params.at("edgeBlur").keys = {{0, {1}}};
    host.Send("OfxActionCreateInstance", &host.instance);
    EXPECT_EQ(enabled("maskBlurRadius") + enabled("maskBlurValue"), 2);
}

template <class Component>
class OfxRender : public OfxPlugin {};
using Components = testing::Types<std::uint8_t, std::uint16_t, float>;
TYPED_TEST_SUITE(OfxRender, Components);

TYPED_TEST(OfxRender, GivesTheLibrarysBitsInEveryAlphaStateAndLayout) {
    TestHost host;
    Enter(host, Look());
    const auto picture = MakePicture<TypeParam>(1);
    const RectI place{-7, 3, -7 + kWidth, 3 + kHeight};
    const RectI window{-9, 1, 20, 31};
    int layout = 0;
    for (const std::string from : {kOpaque, kPremultiplied, kStraight})
        for (const std::string to : {kOpaque, kPremultiplied, kStraight}) {
            SCOPED_TRACE(from + " to " + to);
            ++layout;
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

TYPED_TEST(OfxRender, ScalesRadiiInProxies) {
    TestHost host;
    Enter(host, Look());
    const auto picture = MakePicture<TypeParam>(2);
    // Of 3, 4 and 5 pixels: halves round up, nothing falls below 1 or leaves its range.
    for (const auto& [scale, deblock, contract, blur] :
         {std::tuple{0.5, 2, 2, 3}, {0.01, 1, 1, 1}, {30.0, 10, 10, 100}}) {
        TestImage source({kPlace, kDepth<TypeParam>, kOpaque, 0, false, scale});
        TestImage output({kPlace, kDepth<TypeParam>, kStraight, 0, false, scale});
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

TYPED_TEST(OfxRender, PicksTheScreensColor) {
    TestHost host;
    const auto picture = MakePicture<TypeParam>(3);
    TestImage source({kPlace, kDepth<TypeParam>, kPremultiplied});
    Draw(picture, kPlace, source);
    Connect(host, source, source);
    ASSERT_EQ(host.Change("pickScreenColor"), kOk);
    std::vector<std::uint16_t> frame(picture.size());
    const auto narrow = ToFrame(picture, kPremultiplied);
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = sizeof(TypeParam) == 1 ? 257 * narrow[i ^ 3] : narrow[i];
    const Color found = FindScreenColor(kWidth, kHeight, frame.data()).value().color;
    EXPECT_EQ(host.instance.params.at("keyColor").keys.at(0),
              (std::vector{found.red, found.green, found.blue}));
    EXPECT_EQ(host.pluginEdits, (Texts{"begin Pick screen colour", "keyColor", "end"}));
    EXPECT_EQ(host.messages, Texts{});
}

TEST_F(OfxPlugin, PickingSaysWhenThereIsNoScreen) {
    TestHost host;
    TestImage source({kPlace, "OfxBitDepthShort"});
    Connect(host, source, source);
    EXPECT_EQ(host.Change("pickScreenColor"), kOk);
    EXPECT_EQ(host.messages.size(), 1);
    EXPECT_EQ(host.Change("pickScreenColor", "OfxChangePluginEdited"), kReplyDefault);
    host.instance.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Change("pickScreenColor"), kFailed);
    EXPECT_EQ(host.pluginEdits, Texts{});
}

TEST_F(OfxPlugin, FallsBackOnDefaultsAndRanges) {
    using Component = std::uint16_t;
    TestHost host;
    const auto picture = MakePicture<Component>(4);
    TestImage source({kPlace, kDepth<Component>, kOpaque});
    TestImage output({kPlace, kDepth<Component>});
    Draw(picture, kPlace, source);
    Connect(host, source, output);
    auto& params = host.instance.params;
    params.at("keyColor").keys = {{0, {0.2, 7.5, std::nan("")}}};
    params.at("shadow").keys = {{0, {-5}}};
    params.at("clipWhite").keys = {{0, {400}}};
    params.at("view").keys = {{0, {9}}};
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
    const char* const identity = "OfxImageEffectActionIsIdentity";
    EXPECT_EQ(host.Send(identity, &host.instance, &in, &out), kReplyDefault);
    host.instance.params.at("view").keys = {{0, {2}}, {7, {0}}};
    EXPECT_EQ(host.Send(identity, &host.instance, &in, &out), kOk);
    EXPECT_EQ(out.Get<std::string>("OfxPropName"), "Source");
    EXPECT_EQ(out.Get<double>("OfxPropTime"), 7);

    host.instance.clips["Source"].region = {-3, 1, 90, 51};
    Bag regions{{{"OfxImageClipPropRoI_Source", {{0.0, 0.0, 0.0, 0.0}}}}};
    EXPECT_EQ(host.Send("OfxImageEffectActionGetRegionsOfInterest", &host.instance, &in, &regions),
              kOk);
    EXPECT_EQ(regions.properties["OfxImageClipPropRoI_Source"].values,
              (std::vector<Value>{-3.0, 1.0, 90.0, 51.0}));

    for (const auto& [from, to] : {std::pair{kOpaque, kPremultiplied},
                                   {kPremultiplied, kPremultiplied},
                                   {kStraight, kStraight}}) {
        const std::string name = "OfxImageEffectPropPreMultiplication";
        host.instance.clips["Source"].bag.Put(name, {std::string(from)});
        Bag preferences{{{name, {{std::string()}}}}};
        EXPECT_EQ(host.Send("OfxImageEffectActionGetClipPreferences", &host.instance, nullptr,
                            &preferences),
                  kOk);
        EXPECT_EQ(preferences.Get<std::string>(name), to);
    }
    EXPECT_EQ(host.Send("OfxActionSomethingNew", &host.instance), kReplyDefault);
}

TEST_F(OfxPlugin, RendersSeveralFramesOfOneInstanceAtOnce) {
    using Component = float;
    constexpr int kFrames = 8;
    TestHost host;
    Enter(host, Look());
    host.instance.params.at("shadow").keys = {};
    std::vector<std::unique_ptr<TestImage>> sources;
    std::vector<std::unique_ptr<TestImage>> outputs;
    for (int i = 0; i < kFrames; ++i) {
        sources.push_back(std::make_unique<TestImage>(TestImage::Plan{kPlace, kDepth<Component>}));
        outputs.push_back(std::make_unique<TestImage>(TestImage::Plan{kPlace, kDepth<Component>}));
        Draw(MakePicture<Component>(i), kPlace, *sources[i]);
        host.instance.params.at("shadow").keys[i] = {10.0 * i};
    }
    host.instance.clips["Source"].image = [&](double time) { return sources[int(time)].get(); };
    host.instance.clips["Output"].image = [&](double time) { return outputs[int(time)].get(); };
    std::vector<std::thread> threads;
    for (int i = 0; i < kFrames; ++i)
        threads.emplace_back([&, i] { EXPECT_EQ(host.Render(i, kPlace), kOk); });
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < kFrames; ++i) {
        Settings look = Look();
        look.shadow = 10 * i;
        const auto expected = Keyed(look, MakePicture<Component>(i), kStraight, false);
        EXPECT_TRUE(Shows(*outputs[i], kPlace, expected, kPlace)) << i;
    }
}

TEST_F(OfxPlugin, AnswersBadInputWithTheInterfacesStatus) {
    TestHost host;
    struct Case {
        const char* clip;
        const char* property;
        std::vector<Value> values;
        Status status;
    };
    const Case cases[] = {
        {"Source", "OfxImagePropData", {static_cast<void*>(nullptr)}, kFailed},
        {"Output", "OfxImagePropData", {static_cast<void*>(nullptr)}, kFailed},
        {"Source", "OfxImageEffectPropPixelDepth", {std::string("OfxBitDepthHalf")}, 1000},
        {"Source", "OfxImageEffectPropPixelDepth", {std::string("OfxBitDepthByte")}, 1000},
        {"Output", "OfxImageEffectPropPixelDepth", {std::string()}, 1000},
        {"Output", "OfxImageEffectPropComponents", {std::string("OfxImageComponentRGB")}, 1000},
        {"Source", "OfxImagePropRowBytes", {kWidth * 16 - 16}, 1000},
        {"Output", "OfxImagePropRowBytes", {kWidth * -16 - 2}, 1000},
        {"Source", "OfxImagePropBounds", {-2000000000, 0, 2000000000, 1}, 1000},
        {"Source", "OfxImagePropBounds", {5, 0, -5, 1}, 1000},
        {"Output", "OfxImagePropBounds", {0, 0, kWidth, kHeight - 1}, kBadValue},
        {"Source", "OfxImageEffectPropRenderScale", {0.5, 0.5}, kBadValue},
    };
    for (const Case& bad : cases) {
        SCOPED_TRACE(std::string(bad.clip) + ' ' + bad.property);
        TestImage source({kPlace, kDepth<float>});
        TestImage output({kPlace, kDepth<float>});
        Connect(host, source, output);
        (bad.clip[0] == 'S' ? source : output).bag.Put(bad.property, bad.values);
        EXPECT_EQ(host.Render(0, kPlace), bad.status);
        EXPECT_TRUE(output.IsKeptOutside({}));
    }
}

TEST_F(OfxPlugin, AnswersMissingThings) {
    TestHost host;
    TestImage source({kPlace, kDepth<float>});
    TestImage output({kPlace, kDepth<float>});
    Connect(host, source, output);
    host.instance.stops = true;
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
    EXPECT_TRUE(output.IsKeptOutside({}));
    host.instance.stops = false;
    EXPECT_EQ(host.Send("OfxImageEffectActionRender", &host.instance), kBadHandle);
    EXPECT_EQ(host.plugin->main(nullptr, nullptr, nullptr, nullptr), kBadValue);
    host.instance.clips["Source"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kOk);
    EXPECT_TRUE(Shows(output, kPlace, Picture<float>(4 * kWidth * kHeight), kPlace));
    host.instance.clips["Output"].image = [](double) { return nullptr; };
    EXPECT_EQ(host.Render(0, kPlace), kFailed);
}

TEST_F(OfxPlugin, LoadsOnlyWithTheSuitesItNeeds) {
    for (const char* suite : {"OfxPropertySuite", "OfxImageEffectSuite", "OfxParameterSuite"}) {
        TestHost host("OfxImageEffectContextFilter", {suite});
        EXPECT_EQ(host.loaded, kMissingHostFeature) << suite;
        EXPECT_EQ(host.Send("OfxActionDescribe", &host.descriptor), kMissingHostFeature);
    }
    TestHost mute("OfxImageEffectContextFilter", {"OfxMessageSuite"});
    TestImage source({kPlace, kDepth<float>});
    Connect(mute, source, source);
    EXPECT_EQ(mute.Change("pickScreenColor"), kOk);
}

}  // namespace
}  // namespace veltrane::ofx::test
