#import <objc/runtime.h>

#include <cfloat>
#include <cmath>
#include <thread>

#import "plugin/VeltraneGreen.h"
#include "settings/parameters.h"
#include "tests/keyer/entry_call.h"
#include "tests/plugin/host.h"

namespace {
int programsDeleted = 0;
}

// Found before OpenGL's own.
extern "C" void glDeleteProgramsARB(int count, const unsigned* programs) {
    if (count == 1 && *programs == 0) ++programsDeleted;
}

extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0:allocator_may_return_null=1";
}

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libobjc.so\n";
}

namespace veltrane::testing {
namespace {

using Strings = std::map<std::string, std::string>;

/// A host whose filter has added its parameters.
class Filter : public ::testing::Test {
protected:
    Filter() { host->AddParameters(); }
    ~Filter() override {
        host.reset();
        [pool release];
    }

    unsigned Flags(int id) { return host->parameters.at(id).flags; }
    void Set(int id, double value) { host->parameters.at(id).value[0] = value; }
    void Set(const Controls& controls);

    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    std::unique_ptr<FxHost> host = FxHost::Load(VELTRANE_BUNDLE);
    VeltraneGreen* filter = static_cast<VeltraneGreen*>(host->filter());
};

TEST_F(Filter, AddsItsPanelInOrder) {
    const auto slider = [](std::string name, int value, int low, int high, int flags = 0) {
        const std::string range = std::to_string(low) + ".." + std::to_string(high);
        return name + " " + std::to_string(value) + " in " + range + ", shown " + range +
               " by 1, flags " + std::to_string(flags);
    };
    const std::vector<std::string> expected{
        "1 group Basic, flags 0",
        "2 popup View 2 of Source|Matte|Result, flags 0",
        "3 color Key Color 0 0 0, flags 0",
        "4 toggle Smooth BG 1, flags 0",
        slider("5 slider Shadow", 100, 0, 100),
        slider("6 slider Clip Black", 0, 0, 100),
        slider("7 slider Clip White", 100, 0, 100),
        "8 group DeBlocking Group, flags 0",
        "9 toggle DeBlocking 0, flags 0",
        slider("10 slider DeBlock Value", 1, 1, 10, 4),
        "end",
        "11 group Edge Contract Group, flags 0",
        "12 toggle Edge Contract 0, flags 0",
        slider("13 slider Contract Mask", 2, 1, 10, 4),
        slider("14 slider Contract Threshold", 10, 0, 50, 4),
        "end",
        "15 group Edge Blur Group, flags 0",
        "16 toggle Edge Blur 0, flags 0",
        slider("17 slider Mask Blur Radius (pixel)", 2, 1, 100, 4),
        slider("18 slider Mask Blur Value", 50, 0, 100, 4),
        "end",
        "19 group Hue, flags 0",
        slider("20 slider skin, hair color Hue", 0, -50, 50),
        slider("21 slider blue Hue", 0, -50, 50),
        "end",
        "end",
        "22 group Advanced, flags 0",
        "23 group Despill, flags 0",
        slider("24 slider white, gray", 20, 0, 100),
        slider("25 slider skin, hair color", 20, 0, 100),
        slider("26 slider blue", 0, 0, 100),
        "end",
        slider("27 slider Screen Gain", 33, 0, 100),
        "end",
    };
    EXPECT_EQ(host->panel, expected);
    EXPECT_TRUE(host->AddParameters());
    host->withheld = {"FxParameterCreationAPI"};
    EXPECT_FALSE(host->AddParameters());
    EXPECT_EQ(host->panel.size(), 2 * expected.size());
}

TEST_F(Filter, GreysOutWhatASwitchGoverns) {
    constexpr unsigned kOthers = 1 + 8 + 2048;
    for (auto& [id, parameter] : host->parameters) parameter.flags |= kOthers;
    const auto disabled = [&] {
        std::vector<int> ids;
        for (const auto& [id, parameter] : host->parameters) {
            EXPECT_EQ(parameter.flags & ~4u, kOthers);
            if (parameter.flags & 4) ids.push_back(id);
        }
        return ids;
    };
    using Ids = std::vector<int>;
    const std::map<int, Ids> left{{9, {13, 14, 17, 18}}, {12, {10, 17, 18}}, {16, {10, 13, 14}}};
    const Ids all{10, 13, 14, 17, 18};
    host->currentTime = 3.5;
    for (const auto& [id, remaining] : left) {
        for (const bool on : {true, true, false}) {
            Set(id, on);
            EXPECT_TRUE([filter parameterChanged:UInt32(id)]);
            EXPECT_EQ(disabled(), on ? remaining : all);
            EXPECT_EQ(host->reads.back(), "bool " + std::to_string(id) + " at 3.5");
        }
    }
    // With every switch on and nothing but refusals, nothing changes.
    for (const auto& entry : left) Set(entry.first, 1);
    const std::size_t reads = host->reads.size();
    for (UInt32 id = 0; id < 30; ++id)
        if (!left.contains(int(id))) EXPECT_TRUE([filter parameterChanged:id]);
    for (const char* api : {"FxParameterRetrievalAPI", "FxCustomParameterActionAPI"}) {
        host->withheld = {api};
        EXPECT_TRUE([filter parameterChanged:12]);
    }
    EXPECT_EQ(host->reads.size(), reads);
    host->withheld = {"FxParameterSettingAPI"};
    EXPECT_TRUE([filter parameterChanged:12]);
    host->withheld.clear();
    host->unreadable = {12};
    EXPECT_TRUE([filter parameterChanged:12]);
    EXPECT_EQ(disabled(), all);
    host->unreadable = {13};
    EXPECT_TRUE([filter parameterChanged:12]);
    EXPECT_EQ(disabled(), (Ids{10, 13, 17, 18}));
}

TEST_F(Filter, TellsTheHostWhatItIs) {
    NSDictionary* expected = @{
        @"DesiredProcessingColorInfo" : @2,
        @"MayRemapTime" : @0,
        @"SupportsR4fl" : @0,
        @"SupportsR408" : @0,
        @"SupportsRowBytes" : @0,
    };
    EXPECT_TRUE([[filter properties] isEqualToDictionary:expected]);
    EXPECT_FALSE([filter variesOverTime]);
    FxImageInfo input{};
    input.width = 1920;
    input.height = 1080;
    NSUInteger width = 7, height = 8;
    const FxRenderInfo at{};
    EXPECT_FALSE([filter getOutputWidth:&width height:NULL withInput:input withInfo:at]);
    EXPECT_FALSE([filter getOutputWidth:NULL height:&height withInput:input withInfo:at]);
    EXPECT_EQ(width * 100 + height, 708u);
    EXPECT_TRUE([filter getOutputWidth:&width height:&height withInput:input withInfo:at]);
    EXPECT_EQ(width * 10000 + height, 19201080u);
}

TEST_F(Filter, HoldsItsVariablesInOrderAndLetsThemGo) {
    unsigned count = 0;
    Ivar* variables = class_copyIvarList([filter class], &count);
    std::string names;
    for (unsigned i = 0; i < count; ++i)
        names += std::string(ivar_getTypeEncoding(variables[i])) + ivar_getName(variables[i]) + ' ';
    EXPECT_EQ(names, "@_apiManager f_cachedBright ^v_cachedLUT I_lutDepth I_programID " +
                         std::string(@encode(BOOL)) + "_canDoHardware ");
    const char* bright = reinterpret_cast<const char*>(filter) + ivar_getOffset(variables[1]);
    EXPECT_EQ(*reinterpret_cast<const float*>(bright), -1.0f);
    free(variables);
    object_setInstanceVariable(filter, "_cachedLUT", std::malloc(64));  // a leak unless freed
    const int before = programsDeleted;
    host.reset();
    EXPECT_EQ(programsDeleted, before + 1);
}

TEST_F(Filter, ReadsEveryValueOnceAtTheFramesTime) {
    const std::vector<std::string> expected{"int 2",  "Color 3", "bool 4", "int 5",   "int 6",
                                            "int 7",  "bool 9",  "int 10", "bool 12", "int 13",
                                            "int 14", "bool 16", "int 17", "int 18",  "int 20",
                                            "int 21", "int 24",  "int 25", "int 26",  "int 27"};
    HostPicture picture{1, 1, {1, 0, 1, 0}};
    for (const bool later : {false, true}) {
        host->laterSpelling = later;
        host->reads.clear();
        EXPECT_TRUE(host->Render(picture, picture, 12.5));
        ASSERT_EQ(host->reads.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_EQ(host->reads[i], (later && i == 1 ? "color 3" : expected[i]) + " at 12.5");
    }
}

struct Place {
    int id;
    int Controls::*member;
    int value;  ///< one that matters and that no other parameter of kAllOn has
};
constexpr Place kPlaces[] = {{2, &Controls::view, 1},
                             {4, &Controls::smoothBG, 0},
                             {5, &Controls::shadow, 31},
                             {6, &Controls::clipBlack, 41},
                             {7, &Controls::clipWhite, 63},
                             {9, &Controls::deBlocking, 0},
                             {10, &Controls::deBlockValue, 6},
                             {12, &Controls::edgeContract, 0},
                             {13, &Controls::contractMask, 4},
                             {14, &Controls::contractThreshold, 47},
                             {16, &Controls::edgeBlur, 0},
                             {17, &Controls::maskBlurRadius, 7},
                             {18, &Controls::maskBlurValue, 83},
                             {20, &Controls::skinHue, -43},
                             {21, &Controls::blueHue, 44},
                             {24, &Controls::despillGray, 91},
                             {25, &Controls::despillSkin, 97},
                             {26, &Controls::despillBlue, 98},
                             {27, &Controls::screenGain, 77}};

void Filter::Set(const Controls& controls) {
    for (const Place& place : kPlaces) Set(place.id, controls.*place.member);
    host->parameters.at(3).value = {controls.keyRed, controls.keyGreen, controls.keyBlue};
}

using Frame = std::vector<unsigned short>;

/// Floats that lie a quarter step above the samples, turned round to alpha, red, green, blue.
HostPicture ToHost(const Frame& frame, std::size_t width) {
    HostPicture picture{width, frame.size() / 4 / width, {}};
    for (std::size_t i = 0; i < frame.size(); ++i)
        picture.pixels.push_back((frame[i / 4 * 4 + 3 - i % 4] + 0.25f) / 65535.0f);
    return picture;
}

/// What the entry makes of the frame, as the host is to receive it.
std::vector<float> Keyed(const Controls& controls, Frame frame, int width) {
    const int height = int(frame.size()) / 4 / width;
    Frame keyed(frame.size());
    Enter(controls, keyed.data(), width, height, frame.data(), width, height);
    std::vector<float> pixels;
    for (std::size_t i = 0; i < keyed.size(); ++i)
        pixels.push_back(float(keyed[i / 4 * 4 + 3 - i % 4]) / 65535.0f);
    return pixels;
}

TEST_F(Filter, HandsEveryValueToTheKeyerAtItsPlace) {
    constexpr int kWidth = 70;
    Random random(5);
    const Frame frame = StudioFrame<unsigned short>(random, kWidth, 50);
    const HostPicture input = ToHost(frame, kWidth);
    HostPicture output = input;
    const auto render = [&](const Controls& controls) {
        Set(controls);
        output.pixels.assign(output.pixels.size(), -1);
        EXPECT_TRUE(host->Render(input, output));
        return output.pixels;
    };
    const std::vector<float> usual = render(kAllOn);
    EXPECT_TRUE(Same(Keyed(kAllOn, frame, kWidth), usual, kWidth));
    for (const Place& place : kPlaces) {
        SCOPED_TRACE(place.id);
        Controls call = kAllOn;
        call.*place.member = place.value;
        const std::vector<float> changed = render(call);
        EXPECT_TRUE(Same(Keyed(call, frame, kWidth), changed, kWidth));
        EXPECT_NE(changed, usual);
        host->unreadable = {place.id};
        const std::vector<float> unread = render(call);
        host->unreadable.clear();
        call.*place.member = 0;
        EXPECT_TRUE(Same(Keyed(call, frame, kWidth), unread, kWidth));
    }
    for (double Controls::*channel : {&Controls::keyRed, &Controls::keyGreen, &Controls::keyBlue}) {
        Controls call = kAllOn;
        call.*channel = 0.35;
        EXPECT_TRUE(Same(Keyed(call, frame, kWidth), render(call), kWidth));
        EXPECT_NE(output.pixels, usual);
    }
    EXPECT_EQ(input.pixels, ToHost(frame, kWidth).pixels);
}

TEST_F(Filter, ConvertsEveryFloat) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::map<float, int> cases{
        {-kInfinity, 0}, {-FLT_MAX, 0},     {-1, 0},           {-1e-9f, 0},       {0, 0},
        {FLT_MIN, 0},    {1.0f / 65536, 0}, {2.5f / 65535, 2}, {0.5f, 32767},     {0.99999f, 65534},
        {1, 65535},      {1.5f, 65535},     {FLT_MAX, 65535},  {kInfinity, 65535}};
    Set(2, 0);
    const auto expectAll = [&](float value, int sample) {
        HostPicture picture{1, 1, std::vector<float>(4, value)};
        EXPECT_TRUE(host->Render(picture, picture));
        EXPECT_EQ(picture.pixels, std::vector<float>(4, float(sample) / 65535.0f)) << value;
    };
    for (const auto& [value, sample] : cases) expectAll(value, sample);
    expectAll(std::numeric_limits<float>::quiet_NaN(), 0);
}

TEST_F(Filter, RaisesPremultipliedAlphaToLinearLight) {
    Set(2, 0);
    HostPicture picture{3, 1, {0.50001f, 1, 0.5f, 0, 1, 1, 0.2f, -1, 0, 1, 0.5f, 1}};
    picture.premultiplied = true;
    EXPECT_TRUE(host->Render(picture, picture));
    const double alpha = std::pow(32768 / 65535.0, 2.2);
    const double expected[] = {alpha, alpha, 32767 / 65535.0 * alpha, 0, 1, 1, 0.2, 0, 0, 0, 0, 0};
    EXPECT_NEAR(picture.pixels[0], 0.21764, 5e-6);
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(picture.pixels[i], expected[i], 1e-7) << i;
}

TEST_F(Filter, RendersWhatBothPicturesCover) {
    Set(2, 0);
    for (const auto& [width, height] : {std::pair{7, 6}, {3, 2}, {7, 2}, {3, 6}, {0, 3}, {5, 0}}) {
        constexpr int kWidth = 5, kHeight = 4;
        Random random(9);
        const auto frame = RandomSamples<unsigned short>(random, kWidth * kHeight * 4);
        const HostPicture input = ToHost(frame, kWidth);
        HostPicture output{std::size_t(width), std::size_t(height),
                           std::vector<float>(width * height * 4, -7)};
        EXPECT_TRUE(host->Render(input, output));
        for (int i = 0; i < width * height * 4; ++i) {
            const int x = i / 4 % width, y = i / 4 / width;
            const bool covered = x < kWidth && y < kHeight;
            const int at = (y * kWidth + x) * 4 + 3 - i % 4;
            ASSERT_EQ(output.pixels[i], covered ? float(frame[at]) / 65535.0f : -7)
                << x << ',' << y;
        }
    }
}

TEST_F(Filter, LeavesTheOutputAloneWhereItRendersNothing) {
    const HostPicture input{1, 1, {1, 1, 1, 1}};
    HostPicture texture = input, untouched{1, 1, {7, 7, 7, 7}}, huge = untouched;
    texture.texture = true;
    EXPECT_TRUE(host->Render(texture, untouched));
    host->withheld = {"FxParameterRetrievalAPI"};
    EXPECT_TRUE(host->Render(input, untouched));
    EXPECT_TRUE(host->reads.empty());
    host->withheld.clear();
    huge.width = huge.height = std::size_t(1) << 30;  // more than there is memory for
    EXPECT_TRUE(host->Render(huge, huge));
    for (const HostPicture& picture : {untouched, huge})
        EXPECT_EQ(picture.pixels, std::vector<float>(4, 7));
}

TEST_F(Filter, MakesAFrameTheKeyerRefusesTransparentBlack) {
    Set(kAllOn);
    Set(5, 101);
    HostPicture picture{2, 1, {1, 0.2f, 0.7f, 0.2f, 1, 1, 1, 1}};
    EXPECT_TRUE(host->Render(picture, picture));
    EXPECT_EQ(picture.pixels, std::vector<float>(8, 0));
}

TEST_F(Filter, RendersOnTwoThreadsAtOnce) {
    constexpr int kWidth = 90, kFrames = 6;
    Set(kAllOn);
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 2; ++seed) {
        threads.emplace_back([&, seed] {
            Random random(seed);
            const auto frame = CalmFrame<unsigned short>(random, kWidth, 60 + int(seed) * 20);
            const HostPicture input = ToHost(frame, kWidth);
            const std::vector<float> expected = Keyed(kAllOn, frame, kWidth);
            for (int i = 0; i < kFrames; ++i) {
                HostPicture output = input;
                EXPECT_TRUE(host->Render(input, output));
                EXPECT_TRUE(Same(expected, output.pixels, kWidth)) << "thread " << seed;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

Strings Texts(NSBundle* bundle, NSString* language) {
    NSString* path = [bundle pathForResource:@"Localizable"
                                      ofType:@"strings"
                                 inDirectory:nil
                             forLocalization:language];
    NSDictionary* all =
        [[NSString stringWithContentsOfFile:path] propertyListFromStringsFileFormat];
    Strings texts;
    for (NSString* key in all) texts[[key UTF8String]] = [[all objectForKey:key] UTF8String];
    return texts;
}

TEST_F(Filter, NamesEveryParameterInEachLanguage) {
    NSBundle* bundle = [NSBundle bundleForClass:[filter class]];
    std::vector<std::string> keys{"VeltraneGreen::FxPlug Group", "VeltraneGreen::FxPlug Name",
                                  "VeltraneGreen::FxPlug Description"};
    Strings english = Texts(bundle, @"en"), german = Texts(bundle, @"de");
    Strings japanese = Texts(bundle, @"ja");
    for (const Parameter& row : Parameters()) {
        keys.push_back(row.key);
        for (const char* key : ChoiceKeys(row)) keys.push_back(key);
        EXPECT_EQ(english[row.key], Label(row.key));
    }
    for (const Strings& texts : {english, german, japanese}) {
        EXPECT_EQ(texts.size(), keys.size());
        for (const std::string& key : keys) EXPECT_TRUE(texts.contains(key)) << key;
    }
    EXPECT_EQ(german["VeltraneGreen::Clip White"], "Weiß beschneiden");
    EXPECT_EQ(japanese["VeltraneGreen::Shadow"], "影");
}

}  // namespace
}  // namespace veltrane::testing
