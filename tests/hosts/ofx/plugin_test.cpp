#include "settings/tune/tune.h"
#include "tests/hosts/ofx/fixture.h"

namespace veltrane::ofx::test {
namespace {

Texts TextsOf(const Bag& bag, const std::string& name) {
    Texts texts;
    for (const Value& value : bag.at(name)) texts.push_back(std::get<std::string>(value));
    return texts;
}

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
class OfxFinds : public OfxPlugin {};
TYPED_TEST_SUITE(OfxFinds, Components);

TYPED_TEST(OfxFinds, PicksTheScreen) {
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

TYPED_TEST(OfxFinds, FindsSettingsInOneStep) {
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
        for (const ParameterId id : TunedParameters()) {
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

TEST_F(OfxPlugin, SaysWhereThePictureTellsTooLittle) {
    TestHost host;
    auto screen = MakePicture<float>(1);
    for (std::size_t i = 0; i < screen.size(); ++i) screen[i] = screen[i % 4];
    for (const auto& [button, picture] : {std::pair{"pickScreenColor", &kBlack},
                                          {"findSettings", &kBlack},
                                          {"findSettings", &screen}}) {
        const Images<float> images(host, *picture);
        host.log.clear();
        EXPECT_EQ(host.Change(button), kOk);
        ASSERT_EQ(host.log.size(), 1);
        EXPECT_EQ(host.log[0].substr(0, 19), "OfxMessageMessage: ");
        EXPECT_EQ(host.Change(button, "OfxChangePluginEdited"), kReplyDefault);
        host.clips["Source"].image = [](double) { return nullptr; };
        EXPECT_EQ(host.Change(button), kFailed);
        EXPECT_EQ(host.log.size(), 1);
    }
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
