#import <objc/runtime.h>

#include <cmath>
#include <limits>

#include "keyer/entry_call.h"
#import "plugin/VeltraneGreen.h"
#include "settings/settings.h"
#include "tests/imaging/frames.h"
#include "tests/plugin/host.h"
#include "tests/settings/unusual_look.h"

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

namespace veltrane::testing {
namespace {

using Lines = std::vector<std::string>;
using Frame = std::vector<unsigned short>;
using Pixels = std::vector<float>;

/// A host whose filter has added its parameters.
class Filter : public ::testing::Test {
protected:
    Filter() { host->AddParameters(); }
    ~Filter() override {
        host.reset();
        [pool release];
    }

    void Set(int id, double value) { host->parameters.at(id).value[0] = value; }

    /// The texts of a language in the bundle; null when there are none.
    NSDictionary* Texts(NSString* language) {
        NSString* path = [[NSBundle bundleForClass:[filter class]] pathForResource:@"Localizable"
                                                                            ofType:@"strings"
                                                                       inDirectory:nil
                                                                   forLocalization:language];
        return [[NSString stringWithContentsOfFile:path] propertyListFromStringsFileFormat];
    }
    /// What a key reads as in the language of this run.
    std::string Text(const char* key) {
        NSUserDefaults* user = [NSUserDefaults standardUserDefaults];
        NSString* language = [[user stringArrayForKey:@"NSLanguages"] objectAtIndex:0];
        NSString* text = [Texts(language) objectForKey:@(key)];
        return text != nil ? [text UTF8String] : std::string(Label(key));
    }

    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    std::unique_ptr<FxHost> host = FxHost::Load(VELTRANE_BUNDLE);
    VeltraneGreen* filter = static_cast<VeltraneGreen*>(host->filter());
};

TEST_F(Filter, AddsItsPanelInOrder) {
    const std::map<int, int> groupsEnding{{10, 1}, {14, 1}, {18, 1}, {21, 2}, {26, 1}, {27, 1}};
    Lines expected;
    for (const Parameter* each : Panel(Host::FxPlug)) {
        const Parameter& row = *each;
        const auto number = [](int value) { return ' ' + std::to_string(value); };
        const std::string name = ' ' + Text(row.key) + number(row.id);
        const std::string value = name + number(row.defaultValue);
        const std::string range = number(row.minimum) + number(row.maximum);
        std::string choices;
        for (const ChoiceEntry& entry : row.entries)
            if (entry.hosts.Contains(Host::FxPlug))
                choices += (choices.empty() ? "" : "|") + Text(entry.key);
        const std::string calls[] = {
            "startParameterSubGroup" + name, "addPopupMenuWithName" + value + ' ' + choices,
            "addColorParameterWithName" + name + " 0 0 0", "addToggleButtonWithName" + value,
            "addIntSliderWithName" + value + range + range + " 1"};
        expected.push_back(calls[int(row.kind)] + number(int(row.flags)));
        const auto ends = groupsEnding.find(row.id);
        for (int i = 0; ends != groupsEnding.end() && i < ends->second; ++i)
            expected.push_back("endParameterSubGroup");
    }
    EXPECT_EQ(host->calls, expected);
    EXPECT_TRUE(host->AddParameters());
    host->withheld = {"FxParameterCreationAPI"};
    EXPECT_FALSE(host->AddParameters());
    EXPECT_EQ(host->calls.size(), 2 * expected.size());
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
    for (const auto& [id, remaining] : left)
        for (const bool on : {true, true, false}) {
            Set(id, on);
            EXPECT_TRUE([filter parameterChanged:UInt32(id)]);
            EXPECT_EQ(disabled(), on ? remaining : all);
        }
    host->currentTime = 3.5;
    Set(12, 1);
    const auto changed = [&](UInt32 id) {
        host->calls.clear();
        EXPECT_TRUE([filter parameterChanged:id]);
        return host->calls;
    };
    for (UInt32 id = 0; id < 30; ++id)
        if (!left.contains(int(id))) EXPECT_EQ(changed(id), Lines());
    for (const char* api : {"FxParameterRetrievalAPI", "FxCustomParameterActionAPI"}) {
        host->withheld = {api};
        EXPECT_EQ(changed(12), Lines());
    }
    const Lines read{"currentTime", "getBoolValue 12 3.5"};
    host->withheld = {"FxParameterSettingAPI"};
    EXPECT_EQ(changed(12), read);
    host->withheld.clear();
    host->unreadable = {12};
    EXPECT_EQ(changed(12), read);
    EXPECT_EQ(disabled(), all);
    host->unreadable = {13};  // whose flags are then left alone
    const Lines calls{read[0], read[1], "getParameterFlags 13", "getParameterFlags 14",
                      "setParameterFlags 2057 14"};
    EXPECT_EQ(changed(12), calls);
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
    Lines expected;
    for (const Parameter* row : Panel(Host::FxPlug)) {
        const char* calls[] = {"", "getIntValue ", "getRedValue ", "getBoolValue ", "getIntValue "};
        if (row->kind != ParameterKind::Group)
            expected.push_back(calls[int(row->kind)] + std::to_string(row->id) + " 12.5");
    }
    HostPicture picture{1, 1, {1, 0, 1, 0}};
    for (const bool later : {false, true}) {
        host->laterSpelling = later;
        host->calls.clear();
        EXPECT_TRUE(host->Render(picture, picture, 12.5));
        EXPECT_EQ(host->calls, expected);
    }
}

/// The samples in the host's order as floats, moved up by a part of a step.
Pixels Floats(const Frame& frame, float part = 0) {
    Pixels pixels;
    for (std::size_t i = 0; i < frame.size(); ++i)
        pixels.push_back((float(frame[i / 4 * 4 + 3 - i % 4]) + part) / 65535.0f);
    return pixels;
}

HostPicture Picture(const Frame& frame, std::size_t width) {
    return {width, frame.size() / 4 / width, Floats(frame, 0.25f)};
}

/// What the entry makes of the frame.
Pixels Keyed(const Settings& s, Frame frame, int width) {
    Frame keyed(frame.size());
    CallEntry(VeltraneFinalCut16bit, s, {}, keyed.data(), frame.data(), width,
              int(frame.size()) / 4 / width);
    return Floats(keyed);
}

TEST_F(Filter, HandsEveryValueToTheKeyerAtItsPlace) {
    constexpr int kWidth = 320;
    Random random(5);
    const Frame frame = CalmFrame<unsigned short>(random, kWidth, 200);
    const HostPicture input = Picture(frame, kWidth);
    const Settings look = UnusualLook();
    host->Use(look);
    const auto expectKeyed = [&](const Settings& settings) {
        HostPicture output = input;
        EXPECT_TRUE(host->Render(input, output));
        EXPECT_TRUE(Same(Keyed(settings, frame, kWidth), output.pixels, kWidth));
        return output.pixels;
    };
    const Pixels usual = expectKeyed(look);
    for (const Parameter* row : Panel(Host::FxPlug)) {
        if (row->kind == ParameterKind::Group) continue;
        SCOPED_TRACE(row->name);
        host->unreadable = {row->id};  // and so 0
        Settings without = look;
        if (row->kind == ParameterKind::Color) without.keyColor = {0, 0, 0};
        if (row->kind != ParameterKind::Color) SetValue(without, *row, 0);
        EXPECT_NE(expectKeyed(without), usual);
    }
    EXPECT_EQ(input.pixels, Floats(frame, 0.25f));
}

TEST_F(Filter, RoundsFloatsDown) {
    Set(2, 0);
    const float infinity = std::numeric_limits<float>::infinity();
    HostPicture picture{2, 1, {0.5f, 2.5f / 65535, 0.99999f, 1.5f, -1, std::nanf(""), infinity, 1}};
    EXPECT_TRUE(host->Render(picture, picture));
    Pixels expected{32767, 2, 65534, 65535, 0, 0, 65535, 65535};
    for (float& value : expected) value /= 65535.0f;
    EXPECT_EQ(picture.pixels, expected);
}

TEST_F(Filter, RaisesPremultipliedAlphaToLinearLight) {
    Set(2, 0);
    HostPicture picture{1, 1, {0.50001f, 1, 0.5f, 0}};
    picture.premultiplied = true;
    EXPECT_TRUE(host->Render(picture, picture));
    const double alpha = 0.21764, expected[] = {alpha, alpha, 32767 / 65535.0 * alpha, 0};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(picture.pixels[i], expected[i], 5e-6) << i;
}

TEST_F(Filter, RendersWhatBothPicturesCover) {
    Set(2, 0);
    for (const auto& [width, height] : {std::pair{7, 6}, {3, 2}, {7, 2}, {3, 6}, {0, 3}, {5, 0}}) {
        constexpr int kWidth = 5, kHeight = 4;
        Random random(9);
        const auto frame = RandomSamples<unsigned short>(random, kWidth * kHeight * 4);
        const HostPicture input = Picture(frame, kWidth);
        HostPicture output{std::size_t(width), std::size_t(height), Pixels(width * height * 4, -7)};
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
    host->calls.clear();
    EXPECT_TRUE(host->Render(texture, untouched));
    host->withheld = {"FxParameterRetrievalAPI"};
    EXPECT_TRUE(host->Render(input, untouched));
    EXPECT_EQ(host->calls, Lines());
    host->withheld.clear();
    huge.width = huge.height = std::size_t(1) << 30;  // more than there is memory for
    EXPECT_TRUE(host->Render(huge, huge));
    for (const HostPicture& picture : {untouched, huge}) EXPECT_EQ(picture.pixels, Pixels(4, 7));
}

TEST_F(Filter, NamesEverythingInEachLanguage) {
    std::vector<const char*> keys{"VeltraneGreen::FxPlug Group", "VeltraneGreen::FxPlug Name",
                                  "VeltraneGreen::FxPlug Description"};
    for (const Parameter* row : Panel(Host::FxPlug)) {
        keys.push_back(row->key);
        for (const ChoiceEntry& entry : row->entries)
            if (entry.hosts.Contains(Host::FxPlug)) keys.push_back(entry.key);
    }
    const std::map<const char*, const char*> shadows{
        {"en", "Shadow"}, {"de", "Schatten"}, {"ja", "影"}};
    for (const auto& [language, shadow] : shadows) {
        NSDictionary* texts = Texts(@(language));
        EXPECT_EQ([texts count], keys.size());
        for (const char* key : keys) EXPECT_GT([[texts objectForKey:@(key)] length], 0u) << key;
        EXPECT_STREQ([[texts objectForKey:@"VeltraneGreen::Shadow"] UTF8String], shadow);
    }
}

}  // namespace
}  // namespace veltrane::testing
