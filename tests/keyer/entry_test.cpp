#include <gtest/gtest.h>

#include <cmath>

#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

/// round(percent of 0..high) in whole numbers.
int Scale(int high, int percent) {
    return (high * percent + 50) / 100;
}

template <typename T>
Record<T> PlainRecord(const Settings& s, const std::vector<T>& source, std::vector<T>& target,
                      int width, int height) {
    auto r = DefaultRecord(source, target, width, height);
    SetPair(r.keyR, int(std::floor(s.keyColor.red * kFull<T> + 0.5)));
    SetPair(r.keyG, int(std::floor(s.keyColor.green * kFull<T> + 0.5)));
    SetPair(r.keyB, int(std::floor(s.keyColor.blue * kFull<T> + 0.5)));
    SetPair(r.screenGain, Scale(30, s.screenGain));
    SetPair(r.shadow, s.shadow);
    SetPair(r.skinHue, 120 + Scale(50, s.skinHue + 50));
    SetPair(r.blueHue, 250 + Scale(80, s.blueHue + 50));
    SetPair(r.despillGray, s.despillGray);
    SetPair(r.despillSkin, Scale(50, s.despillSkin));
    SetPair(r.despillBlue, Scale(50, s.despillBlue));
    r.deblockValue = static_cast<unsigned short>(s.deBlocking * s.deBlockValue);
    r.contractMask = static_cast<unsigned short>(s.edgeContract * s.contractMask);
    r.contractThreshold = static_cast<unsigned short>(s.edgeContract * s.contractThreshold);
    r.smoothBG = s.smoothBG;
    r.maskBlurRadius = static_cast<unsigned short>(s.edgeBlur * s.maskBlurRadius);
    r.maskBlurValue = static_cast<unsigned short>(s.edgeBlur * s.maskBlurValue);
    return r;
}

template <typename T>
T PlainClip(int black, int white, int alpha) {
    if (white >= 100 && black <= 0) return static_cast<T>(alpha);
    const int high = Scale(kFull<T>, white), low = Scale(kFull<T>, black) + (black == white);
    if (alpha <= low) return 0;
    if (alpha >= high) return static_cast<T>(kFull<T>);
    return static_cast<T>(float(alpha - low) * (float(kFull<T>) / float(high - low)));
}

/// The entry in blue, green, red, alpha: input is smoothed in place as the driver does it; output
/// goes in as the driver finds it.
template <typename T>
void PlainEntry(const Settings& s, std::vector<T>& input, std::vector<T>& output, int width,
                int height) {
    const auto untouched = input;
    auto record = PlainRecord(s, input, output, width, height);
    if (s.view == View::Source ||
        std::max({s.keyColor.red, s.keyColor.green, s.keyColor.blue}) * 255 <= 1.0) {
        output = input;
    } else if (std::max(width, height) < 65536) {
        Drive<T>(record);
    }
    for (size_t i = 0; i < output.size() && s.view != View::Source; i += 4) {
        const auto& transparent = sizeof(T) == 2 ? input : untouched;
        if (input[i + 3] == 0) std::copy_n(&transparent[i], 4, &output[i]);
        output[i + 3] =
            PlainClip<T>(s.clipBlack, s.clipWhite, std::min(input[i + 3], output[i + 3]));
        if (s.view == View::Result) continue;
        std::fill_n(&output[i], 3, output[i + 3]);
        output[i + 3] = static_cast<T>(kFull<T>);
    }
}

/// The top left width x height pixels; at 8 bits with the elements of each turned round (between
/// the host's order alpha, red, green, blue and the working order).
template <typename T>
std::vector<T> Crop(const std::vector<T>& frame, int frameWidth, int width, int height) {
    std::vector<T> cropped;
    for (int i = 0; i < width * height * 4; ++i)
        cropped.push_back(frame[(i / (width * 4) * frameWidth + i / 4 % width) * 4 +
                                (sizeof(T) == 2 ? i % 4 : 3 - i % 4)]);
    return cropped;
}

TYPED_TEST(BothDepths, EntryMatchesThePlainFormOnTheOverlap) {
    using T = TypeParam;
    for (unsigned seed = 0; seed < 250; ++seed) {
        Random random(seed);
        const int limit = seed % 32 ? 50 : 65537;  // a side that no record holds, passed unkeyed
        const int inWidth = seed % 64 ? random.Biased(1, limit == 50 ? 50 : 2) : limit;
        const int inHeight = seed % 64 == 32 ? limit : random.Biased(1, seed % 64 ? 30 : 1);
        const bool same = sizeof(T) == 2 || limit > 50 || random.OneIn(2);
        const int outWidth = same ? inWidth : random(1, 50), width = std::min(inWidth, outWidth);
        const int outHeight = same ? inHeight : random(1, 30);
        const int height = std::min(inHeight, outHeight);
        const Settings call = AnySettings(random);
        auto input = random.OneIn(2) ? StudioFrame<T>(random, inWidth, inHeight)
                                     : CalmFrame<T>(random, inWidth, inHeight);
        for (size_t i = sizeof(T) == 2 ? 3 : 0; i < input.size(); i += 4)
            if (random.OneIn(5)) input[i] = static_cast<T>(random.Biased(0, kFull<T>));
        // The rows behind the output are guards.
        auto output = RandomSamples<T>(random, size_t(outWidth) * (outHeight + 2) * 4);
        auto expected = output, working = Crop(input, inWidth, width, height), kept = input;
        auto keyed = sizeof(T) == 2 ? Crop(output, outWidth, width, height)
                                    : std::vector<T>(working.size(), 0);
        PlainEntry(call, working, keyed, width, height);
        keyed = Crop(keyed, width, width, height);
        for (int y = 0; y < height; ++y)
            std::copy_n(&keyed[y * width * 4], width * 4, &expected[y * outWidth * 4]);
        SCOPED_TRACE("seed " + std::to_string(seed) + " " + ::testing::PrintToString(call));
        Enter(call, output.data(), outWidth, outHeight, input.data(), inWidth, inHeight);
        ASSERT_TRUE(Same(expected, output, outWidth));
        ASSERT_TRUE(Same(sizeof(T) == 2 ? working : kept, input, inWidth)) << "in the input";
    }
}

TYPED_TEST(BothDepths, EntryLeavesFramesWithoutPixelsAlone) {
    std::vector<TypeParam> frame(8, 43), output(8, 12);
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -2}}) {
        Settings call = kAllOn;
        for (const View view : {View::Source, View::Matte, View::Result}) {
            call.view = view;
            Enter(call, output.data(), width, height, frame.data(), 2, 1);
            if (sizeof(TypeParam) == 1)
                Enter(call, output.data(), 2, 1, frame.data(), width, height);
        }
    }
    EXPECT_EQ(output, std::vector<TypeParam>(8, 12));
    EXPECT_EQ(frame, std::vector<TypeParam>(8, 43));
}

TEST(Entry, RefusesFramesThatARecordCannotDescribe) {
    Settings direct;  // would key a width of 65536 as one of 0, and call that done
    direct.keyColor = {0, 1, 0};
    direct.smoothBG = false;
    const std::vector<unsigned short> wide(65536 * 4, 65535);
    auto output = std::vector<unsigned short>(wide.size(), 7);
    const auto untouched = output;
    Enter(direct, output.data(), 65536, 1, wide.data(), 65536, 1);
    EXPECT_EQ(output, untouched);
    Enter(direct, output.data(), 65535, 1, wide.data(), 65535, 1);
    EXPECT_NE(output, untouched);
}

TEST(Entry, BothDepthsAgree) {
    // Without de-blocking, contraction and blur the two see the same numbers up to the last step,
    // where the matte and the colour are cut to their own scales. Where the 8-bit matte is cut to
    // 0, its colour may be the grey of the open screen while the 16-bit one is a shadow's black.
    constexpr int kWidth = 90, kHeight = 50;
    for (unsigned seed = 0; seed < 40; ++seed) {
        Random random(seed);
        const auto working = CalmFrame<unsigned char>(random, kWidth, kHeight);
        const auto input = Crop(working, kWidth, kWidth, kHeight);
        std::vector<unsigned short> wide(working.begin(), working.end()), wideOutput(wide.size());
        for (auto& sample : wide) sample *= 257;
        Settings call = AnySettings(random);
        call.view = View::Result;
        call.keyColor = {random(0, 90) / 255.0, random(120, 255) / 255.0, random(0, 90) / 255.0};
        call.deBlocking = call.edgeContract = call.edgeBlur = false;
        call.clipBlack = 0;
        call.clipWhite = call.shadow = 100;
        std::vector<unsigned char> output(input.size());
        Enter(call, output.data(), kWidth, kHeight, input.data(), kWidth, kHeight);
        Enter(call, wideOutput.data(), kWidth, kHeight, wide.data(), kWidth, kHeight);
        const auto narrow = Crop(output, kWidth, kWidth, kHeight);
        for (size_t i = 0; i < narrow.size(); ++i) {
            const bool comparable = i % 4 == 3 || narrow[i | 3] > 0;
            ASSERT_LE(comparable ? std::abs(narrow[i] * 257 - wideOutput[i]) : 0, 257)
                << "seed " << seed << " sample " << i;
        }
    }
}

TEST(Scaling, InversesBringEveryPercentageBack) {
    for (int percent = 0; percent <= 100; ++percent) {
        EXPECT_NEAR(toParcentage(30, 0, toValue(30, 0, percent)), percent, 1e-9);
        EXPECT_NEAR(toParcentage2(170, 120, toValue2(170, 120, percent - 50)), percent - 50, 1e-9);
    }
    EXPECT_DOUBLE_EQ(toParcentage(170, 120, 145), 50);
    EXPECT_DOUBLE_EQ(toParcentage2(330, 250, 330), 50);
}

}  // namespace
}  // namespace veltrane::testing
