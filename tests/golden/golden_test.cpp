// Whole frames through every way into the keyer, against digests that were recorded while all forms
// agreed. VELTRANE_RECORD=1 makes the program print the table of digests.h as it would be now; only
// a proven fault of the keyer is a reason to replace a line there.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <type_traits>

#include "imaging/cpu/cpu.h"
#include "keyer/entry.h"
#include "keyer/pipeline.h"
#include "settings/frame_keyer.h"
#include "settings/settings.h"
#include "tests/golden/digests.h"
#include "tests/golden/shot.h"

namespace veltrane::testing {
namespace {

struct Case {
    std::string name;
    Shot shot;
    int width;
    int height;
    Settings settings;
};

template <class T>
using Frame = std::vector<T>;

template <class... Frames>
std::uint64_t DigestOf(const Frames&... frames) {
    std::uint64_t digest = 0xCBF29CE484222325u;
    const auto add = [&](const auto& frame) {
        for (const auto sample : frame) digest = (digest ^ sample) * 0x100000001B3u;
    };
    (add(frames), ...);
    return digest;
}

/// Blue, green, red, alpha.
template <class T>
Frame<T> SourceOf(const Case& c) {
    const auto wide =
        MakeShot(c.shot, c.width, c.height, static_cast<std::uint64_t>(c.width) * c.height);
    Frame<T> frame(wide.size());
    std::transform(wide.begin(), wide.end(), frame.begin(), [](std::uint16_t sample) {
        return static_cast<T>(sizeof(T) == 2 ? sample : sample / 257);
    });
    return frame;
}

/// Between the keyer's order and the one in which hosts hand over 8 bits.
template <class T>
Frame<T> HostOrder(Frame<T> frame) {
    for (std::size_t i = 0; sizeof(T) == 1 && i < frame.size(); i += 4)
        std::reverse(&frame[i], &frame[i] + 4);
    return frame;
}

template <class T>
Frame<T> ByKey(const Case& c, const Frame<T>& source) {
    Frame<T> output(source.size());
    Key(c.settings, c.width, c.height, HostOrder(source).data(), output.data());
    return HostOrder(output);
}

template <class T>
Frame<T> ByHostRows(const Case& c, const Frame<T>& source) {
    Frame<T> output(source.size());
    const std::size_t pitch = std::size_t{4} * c.width;
    const RowSource<T> from{nullptr,
                            [&](int y, T* row) { std::copy_n(&source[y * pitch], pitch, row); }};
    const RowSink<T> to{nullptr,
                        [&](int y, const T* row) { std::copy_n(row, pitch, &output[y * pitch]); }};
    Key(c.settings, c.width, c.height, from, to);
    return output;
}

/// In bands of any heights, each keyed by a thread of its own.
template <class T>
Frame<T> ByBands(const Case& c, const Frame<T>& source) {
    Frame<T> output(source.size());
    const auto sideBySide = [](int tasks, const std::function<void(int)>& task) {
        std::vector<std::thread> threads;
        for (int i = 0; i < tasks; ++i) threads.emplace_back(task, i);
        for (std::thread& thread : threads) thread.join();
    };
    const FrameKeyer<T> keyer(c.settings, c.width, c.height, RowSource<T>{source.data()},
                              {3, sideBySide});
    const int borders[] = {0, c.height / 7, c.height / 7 + 1, c.height / 2, c.height};
    sideBySide(4, [&](int i) {
        keyer.Key({borders[i], borders[i + 1]}, RowSink<T>{output.data()});
    });
    return output;
}

template <class T>
Frame<T> ByEntry(const Case& c, const Frame<T>& source) {
    auto input = HostOrder(source);
    Frame<T> output(source.size());
    const Settings& s = c.settings;
    const auto enter = [&](auto entry, auto... frames) {
        entry(frames..., 1e300, -7.0, static_cast<int>(s.view), s.keyColor.red, s.keyColor.green,
              s.keyColor.blue, s.smoothBG, s.shadow, s.clipBlack, s.clipWhite, s.deBlocking,
              s.deBlockValue, s.edgeContract, s.contractMask, s.contractThreshold, s.edgeBlur,
              s.maskBlurRadius, s.maskBlurValue, s.skinHue, s.blueHue, s.despillGray, s.despillSkin,
              s.despillBlue, s.screenGain);
    };
    if constexpr (sizeof(T) == 2) {
        enter(VeltraneFinalCut16bit, output.data(), input.data(), c.width, c.height);
    } else {
        enter(VeltraneFinalCut, output.data(), c.width, c.height, input.data(), c.width, c.height);
    }
    return HostOrder(output);
}

template <class T, class Member>
void SetPair(Member& pair, T value) {
    pair[0] = pair[1] = static_cast<std::remove_extent_t<Member>>(value);
}

/// The outcome of the drivers, and behind it the source, which de-blocking smooths.
template <class T>
std::uint64_t ByDriver(const Case& c, Frame<T> source, bool interlaced) {
    Frame<T> output(source.size());
    std::conditional_t<sizeof(T) == 2, VELTRANE_Param16bit, VELTRANE_Param> r{};
    const Settings& s = c.settings;
    const int full = sizeof(T) == 2 ? 65535 : 255;
    r.src = source.data();
    r.dst = output.data();
    r.width = static_cast<unsigned short>(c.width);
    r.height = static_cast<unsigned short>(c.height);
    SetPair(r.keyR, s.keyColor.red * full + 0.5);
    SetPair(r.keyG, s.keyColor.green * full + 0.5);
    SetPair(r.keyB, s.keyColor.blue * full + 0.5);
    SetPair(r.screenGain, s.screenGain * 3 / 10);
    SetPair(r.shadow, s.shadow);
    SetPair(r.skinHue, 145 + s.skinHue / 2);
    SetPair(r.blueHue, 290 + s.blueHue * 4 / 5);
    SetPair(r.despillGray, s.despillGray);
    SetPair(r.despillSkin, s.despillSkin / 2);
    SetPair(r.despillBlue, s.despillBlue / 2);
    r.deblockValue = static_cast<unsigned short>(s.deBlocking * s.deBlockValue);
    r.contractMask = static_cast<unsigned short>(s.edgeContract * s.contractMask);
    r.contractThreshold = static_cast<unsigned short>(s.contractThreshold * 5);
    r.smoothBG = s.smoothBG;
    r.maskBlurRadius = static_cast<unsigned short>(s.edgeBlur * s.maskBlurRadius);
    r.maskBlurValue = static_cast<unsigned short>(s.maskBlurValue);
    r.maskBlurMode = static_cast<unsigned short>(s.clipBlack);
    KORMADEL_Param frame{interlaced};
    if constexpr (sizeof(T) == 2) {
        EXPECT_EQ(VELTRANE_MakeMaskGreenBack64bit(&r, &frame, 0), 0u);
    } else {
        EXPECT_EQ(VELTRANE_MakeMaskGreenBack32bit(&r, &frame, 0), 0u);
    }
    return DigestOf(output, source);
}

Color Bytes(int red, int green, int blue) {
    return {red / 255.0, green / 255.0, blue / 255.0};
}

/// Keys that lie well, badly, or on no screen at all.
Color DrawKey(Noise& noise) {
    static const Color kKeys[] = {Bytes(60, 180, 70),  Bytes(50, 160, 85), Bytes(75, 200, 60),
                                  Bytes(0, 255, 0),    Bytes(10, 60, 20),  Bytes(127, 127, 127),
                                  Bytes(30, 60, 200),  Bytes(2, 0, 0),     Bytes(0, 1, 1),
                                  Bytes(255, 255, 255)};
    return kKeys[noise(0, 1) == 0 ? 0 : noise(0, 9)];
}

Settings Draw(Noise& noise) {
    Settings s;
    s.view = static_cast<View>(noise(0, 7) == 0 ? noise(0, 1) : 2);
    s.keyColor = DrawKey(noise);
    for (bool* on : {&s.smoothBG, &s.deBlocking, &s.edgeContract, &s.edgeBlur})
        *on = noise(0, 1) == 1;
    for (int* percent : {&s.shadow, &s.clipBlack, &s.clipWhite, &s.maskBlurValue, &s.despillGray,
                         &s.despillSkin, &s.despillBlue, &s.screenGain})
        *percent = noise.Biased(0, 100);
    if (noise(0, 2) > 0) s.clipBlack = noise(0, 20), s.clipWhite = noise(80, 100);
    s.deBlockValue = noise.Biased(1, 10);
    s.contractMask = noise.Biased(1, 10);
    s.contractThreshold = noise.Biased(0, 50);
    s.maskBlurRadius = noise.Biased(1, 100);
    s.skinHue = noise.Biased(-50, 50);
    s.blueHue = noise.Biased(-50, 50);
    return s;
}

Settings Set(void (*change)(Settings& settings)) {
    Settings s;
    s.keyColor = Bytes(60, 180, 70);
    change(s);
    return s;
}

std::vector<Case> Cases() {
    using enum Shot;
    std::vector<Case> cases = {
        {"Defaults", kStudio, 960, 540, Set([](Settings&) {})},
        {"OneColor", kStudio, 641, 363, Set([](Settings& s) { s.smoothBG = false; })},
        {"HairsOnSlope", kStudio, 700, 500, Set([](Settings& s) { s.screenGain = 20; })},
        {"Portrait", kStudio, 270, 480, Set([](Settings& s) { s.shadow = 40; })},
        {"SourceView", kStudio, 97, 61, Set([](Settings& s) { s.view = View::Source; })},
        {"MatteView", kStudio, 321, 181, Set([](Settings& s) { s.view = View::Matte; })},
        {"NoKey", kStudio, 65, 33, Set([](Settings& s) { s.keyColor = Bytes(1, 1, 1); })},
        {"BlackKey", kStudio, 65, 33, Set([](Settings& s) {
             s.keyColor = {};
             s.clipWhite = 60;
         })},
        {"GrayKey", kStudio, 129, 65, Set([](Settings& s) {
             s.keyColor = Bytes(127, 127, 127);
             s.smoothBG = false;
         })},
        {"BareScreen", kBare, 333, 222, Set([](Settings& s) { s.despillGray = 100; })},
        {"BareExactly", kBare, 160, 90, Set([](Settings& s) {
             s.smoothBG = false;
             s.screenGain = 0;
         })},
        {"DeepHole", kFramed, 400, 420, Set([](Settings& s) { s.shadow = 50; })},
        {"BlueKey", kStudio, 65, 65, Set([](Settings& s) {
             s.keyColor = Bytes(0, 0, 200);
             s.smoothBG = false;
         })},
        {"Ribbon", kStudio, 3, 30000, Set([](Settings&) {})},
        {"NoScreen", kCrowded, 333, 222, Set([](Settings& s) { s.despillSkin = 100; })},
        {"AllNoise", kNoise, 223, 141, Set([](Settings& s) { s.despillBlue = 100; })},
        {"EqualClips", kStudio, 321, 181, Set([](Settings& s) { s.clipBlack = s.clipWhite = 50; })},
        {"CrossedClips", kStudio, 321, 181, Set([](Settings& s) {
             s.clipBlack = 70;
             s.clipWhite = 30;
         })},
        {"DeBlockingLeast", kStudio, 321, 181, Set([](Settings& s) { s.deBlocking = true; })},
        {"DeBlockingMost", kStudio, 321, 181, Set([](Settings& s) {
             s.deBlocking = true;
             s.deBlockValue = 10;
             s.smoothBG = false;
         })},
        {"ContractLeast", kStudio, 321, 181, Set([](Settings& s) {
             s.edgeContract = true;
             s.contractMask = 1;
             s.contractThreshold = 0;
         })},
        {"ContractMost", kStudio, 321, 181, Set([](Settings& s) {
             s.edgeContract = true;
             s.contractMask = 10;
             s.contractThreshold = 50;
             s.smoothBG = false;
         })},
        {"BlurLeast", kStudio, 321, 181, Set([](Settings& s) {
             s.edgeBlur = true;
             s.maskBlurRadius = 1;
             s.maskBlurValue = 100;
         })},
        {"BlurMost", kStudio, 960, 540, Set([](Settings& s) {
             s.edgeBlur = true;
             s.maskBlurRadius = 100;
         })},
        {"LowHues", kStudio, 321, 181, Set([](Settings& s) { s.skinHue = s.blueHue = -50; })},
        {"HighHues", kStudio, 321, 181, Set([](Settings& s) {
             s.skinHue = s.blueHue = 50;
             s.despillSkin = s.despillBlue = 60;
         })},
        {"NoGainNoShadow", kStudio, 321, 181,
         Set([](Settings& s) { s.screenGain = s.shadow = 0; })},
        {"MostGain", kStudio, 321, 181, Set([](Settings& s) { s.screenGain = 100; })},
        {"OnePixel", kStudio, 1, 1,
         Set([](Settings& s) { s.edgeBlur = s.edgeContract = s.deBlocking = true; })},
        {"Column", kStudio, 1, 700, Set([](Settings& s) { s.edgeBlur = s.edgeContract = true; })},
        {"Line", kStudio, 900, 1, Set([](Settings& s) { s.edgeBlur = s.edgeContract = true; })},
    };
    constexpr int kSizes[][2] = {{3, 7}, {16, 9}, {321, 181}, {70, 70}, {180, 320}, {641, 363}};
    for (int i = 0; i < 18; ++i) {
        Noise noise(1000 + i);
        const auto& [width, height] = kSizes[i % 6];
        const Shot shot = i % 9 == 4 ? kNoise : i % 9 == 8 ? kFramed : kStudio;
        cases.push_back({"Drawn" + std::to_string(i), shot, width, height, Draw(noise)});
    }
    return cases;
}

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class Golden : public ::testing::TestWithParam<Case> {
protected:
    void TearDown() override { UseCpuLevel(CpuLevels().back()); }

    template <class T>
    static DepthDigests Digests(const Case& c) {
        const auto source = SourceOf<T>(c);
        return {DigestOf(ByKey(c, source)), ByDriver(c, source, false), ByDriver(c, source, true)};
    }

    template <class T>
    static void Check(const Case& c, const DepthDigests& recorded) {
        const auto source = SourceOf<T>(c);
        EXPECT_EQ(DigestOf(ByKey(c, source)), recorded.entry);
        EXPECT_EQ(DigestOf(ByEntry(c, source)), recorded.entry) << "by the entry";
        EXPECT_EQ(DigestOf(ByHostRows(c, source)), recorded.entry) << "by a host's rows";
        EXPECT_EQ(DigestOf(ByBands(c, source)), recorded.entry) << "in bands";
        EXPECT_EQ(ByDriver(c, source, false), recorded.driver);
        EXPECT_EQ(ByDriver(c, source, true), recorded.fields);
    }
};

TEST_P(Golden, FramesKeepTheirBits) {
    const Case& c = GetParam();
    if (std::getenv("VELTRANE_RECORD") != nullptr) {
        const auto print = [](const DepthDigests& d) {
            std::printf("     {0x%016jX, 0x%016jX, 0x%016jX}", std::uintmax_t{d.entry},
                        std::uintmax_t{d.driver}, std::uintmax_t{d.fields});
        };
        std::printf("    {\"%s\",\n", c.name.c_str());
        print(Digests<std::uint16_t>(c));
        std::printf(",\n");
        print(Digests<std::uint8_t>(c));
        std::printf("},\n");
        GTEST_SKIP() << "recording";
    }
    const auto recorded = std::find_if(std::begin(kDigests), std::end(kDigests),
                                       [&](const CaseDigests& d) { return d.name == c.name; });
    ASSERT_NE(recorded, std::end(kDigests));
    for (const CpuLevel level : CpuLevels()) {
        ASSERT_TRUE(UseCpuLevel(level));
        SCOPED_TRACE(CpuLevelName(level));
        {
            SCOPED_TRACE("16 bits");
            Check<std::uint16_t>(c, recorded->sixteen);
        }
        SCOPED_TRACE("8 bits");
        Check<std::uint8_t>(c, recorded->eight);
    }
}

INSTANTIATE_TEST_SUITE_P(Frames, Golden, ::testing::ValuesIn(Cases()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace veltrane::testing
