#include "keyer/entry.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

using Words = std::vector<unsigned short>;
using Bytes = std::vector<unsigned char>;

/// round(percent of 0..high) in whole numbers.
int Scale(int high, int percent) {
    return (high * percent + 50) / 100;
}

template <typename T>
Record<T> PlainRecord(const EntryCall& call, const std::vector<T>& source, std::vector<T>& target,
                      int width, int height) {
    auto r = DefaultRecord(source, target, width, height);
    SetPair(r.keyR, int(std::floor(call.red * kFull<T> + 0.5)));
    SetPair(r.keyG, int(std::floor(call.green * kFull<T> + 0.5)));
    SetPair(r.keyB, int(std::floor(call.blue * kFull<T> + 0.5)));
    SetPair(r.screenGain, Scale(30, call[kScreenGain]));
    SetPair(r.shadow, call[kShadow]);
    SetPair(r.skinHue, 120 + Scale(50, call[kSkinHue] + 50));
    SetPair(r.blueHue, 250 + Scale(80, call[kBlueHue] + 50));
    SetPair(r.despillGray, call[kDespillGray]);
    SetPair(r.despillSkin, Scale(50, call[kDespillSkin]));
    SetPair(r.despillBlue, Scale(50, call[kDespillBlue]));
    const auto option = [&](Setting on, Setting value) {
        return static_cast<unsigned short>(call[on] ? call[value] : 0);
    };
    r.deblockValue = option(kDeBlocking, kDeBlockValue);
    r.contractMask = option(kEdgeContract, kContractMask);
    r.contractThreshold = option(kEdgeContract, kContractThreshold);
    r.smoothBG = call[kSmoothBG];
    r.maskBlurRadius = option(kEdgeBlur, kMaskBlurRadius);
    r.maskBlurValue = option(kEdgeBlur, kMaskBlurValue);
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
void PlainEntry(const EntryCall& call, std::vector<T>& input, std::vector<T>& output, int width,
                int height) {
    const auto untouched = input;
    auto record = PlainRecord(call, input, output, width, height);
    if (call.view == 0 || std::max({call.red, call.green, call.blue}) * 255 <= 1.0) {
        output = input;
    } else {
        Drive<T>(record);
    }
    for (size_t i = 0; i < output.size() && call.view != 0; i += 4) {
        const auto& transparent = sizeof(T) == 2 ? input : untouched;
        if (input[i + 3] == 0) std::copy_n(&transparent[i], 4, &output[i]);
        output[i + 3] =
            PlainClip<T>(call[kClipBlack], call[kClipWhite], std::min(input[i + 3], output[i + 3]));
        if (call.view == 2) continue;
        std::fill_n(&output[i], 3, output[i + 3]);
        output[i + 3] = static_cast<T>(kFull<T>);
    }
}

TEST(Entry, ScalesSettings) {
    for (int value = -50; value <= 50; ++value) {
        EXPECT_NEAR(toParcentage(75, 25, toValue(75, 25, value)), value, 1e-9);
        EXPECT_NEAR(toParcentage2(330, 250, toValue2(330, 250, value)), value, 1e-9);
    }
}

/// A studio or calm frame with some transparency, and any call, now and then with a setting that
/// the driver refuses.
template <typename T>
std::vector<T> AnyFrame(Random& random, int width, int height, EntryCall& call) {
    auto frame = random.OneIn(2) ? StudioFrame<T>(random, width, height)
                                 : CalmFrame<T>(random, width, height);
    for (size_t i = 3; i < frame.size(); i += 4)
        if (random.OneIn(5)) frame[i] = static_cast<T>(random.Biased(0, kFull<T>));
    call = EntryCall::Any(random);
    if (random.OneIn(6)) call[kDespillGray] = random(101, 1000);
    return frame;
}

TEST(Entry, WordsMatchThePlainForm) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        Random random(seed);
        const int width = random.Biased(1, 60), height = random.Biased(1, 44);
        EntryCall call;
        auto input = AnyFrame<unsigned short>(random, width, height, call), plainInput = input;
        auto output = RandomSamples<unsigned short>(random, input.size()), expected = output;
        PlainEntry(call, plainInput, expected, width, height);
        call(output.data(), input.data(), width, height);
        ASSERT_TRUE(Same(expected, output, width))
            << "seed " << seed << " call " << ::testing::PrintToString(call.values);
        ASSERT_TRUE(Same(plainInput, input, width)) << "in the input, seed " << seed;
    }
}

/// The top left width x height pixels, with the elements of each turned round (between the host's
/// order alpha, red, green, blue and the working order).
Bytes Crop(const Bytes& frame, int frameWidth, int width, int height) {
    Bytes cropped;
    for (int i = 0; i < width * height * 4; ++i)
        cropped.push_back(frame[(i / (width * 4) * frameWidth + i / 4 % width) * 4 + 3 - i % 4]);
    return cropped;
}

TEST(Entry, BytesMatchThePlainFormOnTheOverlap) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        Random random(seed);
        const int inWidth = random(1, 50), inHeight = random(1, 30);
        const int outWidth = random.OneIn(2) ? inWidth : random(1, 50);
        const int outHeight = random.OneIn(2) ? inHeight : random(1, 30);
        const int width = std::min(inWidth, outWidth), height = std::min(inHeight, outHeight);
        EntryCall call;
        const Bytes input = Crop(AnyFrame<unsigned char>(random, inWidth, inHeight, call), inWidth,
                                 inWidth, inHeight);
        auto output = RandomSamples<unsigned char>(random, size_t(outWidth) * outHeight * 4);
        auto expected = output, kept = input, working = Crop(input, inWidth, width, height);
        Bytes keyed(working.size(), 0);
        PlainEntry(call, working, keyed, width, height);
        for (int i = 0; i < int(keyed.size()); ++i)
            expected[(i / (width * 4) * outWidth + i / 4 % width) * 4 + 3 - i % 4] = keyed[i];
        call(output.data(), outWidth, outHeight, kept.data(), inWidth, inHeight);
        ASSERT_TRUE(Same(expected, output, outWidth))
            << "seed " << seed << " call " << ::testing::PrintToString(call.values);
        ASSERT_EQ(input, kept) << "seed " << seed << " call "
                               << ::testing::PrintToString(call.values);
    }
}

TEST(Entry, WorkedClips) {
    EntryCall call;
    call.red = call.green = call.blue = 1 / 255.0;  // no key is chosen, so alpha is the source's
    const auto alphas = [&](int black, int white, const Words& levels) {
        call[kClipBlack] = black;
        call[kClipWhite] = white;
        Words input, clipped;
        for (auto level : levels) input.insert(input.end(), {500, 500, 500, level});
        Words output(input.size());
        call(output.data(), input.data(), int(levels.size()), 1);
        for (size_t i = 3; i < output.size(); i += 4) clipped.push_back(output[i]);
        return clipped;
    };
    const Words levels{0, 1, 32768, 32769, 32770, 65535};
    EXPECT_EQ(alphas(0, 100, levels), levels);
    EXPECT_EQ(alphas(50, 50, levels), (Words{0, 0, 0, 0, 65535, 65535}));
    EXPECT_EQ(alphas(50, 20, levels), (Words{0, 0, 0, 65535, 65535, 65535}));
    EXPECT_EQ(alphas(0, 50, {16384, 32767, 32768}), (Words{32767, 65533, 65535}));
}

TEST(Entry, SidesThatNoFrameHas) {
    EntryCall call;
    Words words(8, 4321), wordsOut(8, 1234);
    Bytes bytes(8, 43), bytesOut(8, 12);
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -2}}) {
        for (call.view = 0; call.view < 3; ++call.view) {
            call(wordsOut.data(), words.data(), width, height);
            call(bytesOut.data(), width, height, bytes.data(), 2, 1);
            call(bytesOut.data(), 2, 1, bytes.data(), width, height);
        }
    }
    EXPECT_TRUE(wordsOut == Words(8, 1234) && words == Words(8, 4321));
    EXPECT_TRUE(bytesOut == Bytes(8, 12) && bytes == Bytes(8, 43));

    // Longer than a record can hold: no key, yet alpha is still combined and clipped.
    EntryCall clipped;
    clipped[kClipBlack] = 0;
    clipped[kClipWhite] = 50;
    constexpr int kLong = 65537;
    Words wide(kLong * 4, 20000), wideOut(kLong * 4, 30000), expected = wideOut;
    for (size_t i = 3; i < wide.size(); i += 4) expected[i] = 39999;
    wide[3] = 0;
    std::copy_n(wide.begin(), 4, expected.begin());
    Bytes tall(kLong * 4, 200), tallOut(kLong * 4, 99);
    for (int smoothBG : {0, 1}) {
        clipped[kSmoothBG] = smoothBG;
        auto output = wideOut;
        clipped(output.data(), wide.data(), kLong, 1);
        EXPECT_TRUE(Same(expected, output, kLong));
        clipped(tallOut.data(), tall.data(), 1, kLong);
        EXPECT_EQ(tallOut, Bytes(tall.size(), 0));
    }
}

TEST(Entry, BothDepthsAgree) {
    // Without de-blocking, contraction and blur the two see the same numbers up to the last step,
    // where the matte and the colour are cut to their own scales. Where the 8-bit matte is cut to
    // 0, its colour may be the grey of the open screen while the 16-bit one is a shadow's black.
    constexpr int kWidth = 90, kHeight = 50;
    for (unsigned seed = 0; seed < 40; ++seed) {
        Random random(seed);
        const Bytes working = CalmFrame<unsigned char>(random, kWidth, kHeight);
        const Bytes input = Crop(working, kWidth, kWidth, kHeight);
        Words wide;
        for (int sample : working) wide.push_back(static_cast<unsigned short>(sample * 257));
        EntryCall call = EntryCall::Any(random);
        call.view = 2;
        call.red = random(0, 90) / 255.0;
        call.green = random(120, 255) / 255.0;
        call.blue = random(0, 90) / 255.0;
        for (Setting off : {kDeBlocking, kEdgeContract, kEdgeBlur, kClipBlack}) call[off] = 0;
        call[kClipWhite] = call[kShadow] = 100;
        Bytes output(input.size());
        Words wideOutput(wide.size());
        call(output.data(), input.data(), kWidth, kHeight);
        call(wideOutput.data(), wide.data(), kWidth, kHeight);
        const Bytes narrow = Crop(output, kWidth, kWidth, kHeight);
        for (size_t i = 0; i < narrow.size(); ++i) {
            const bool comparable = i % 4 == 3 || narrow[i | 3] > 0;
            ASSERT_LE(comparable ? std::abs(narrow[i] * 257 - wideOutput[i]) : 0, 257)
                << "seed " << seed << " sample " << i;
        }
    }
}

template <typename T>
class Degenerate : public ::testing::Test {
protected:
    /// Keys one frame through the entry and through the driver both ways, with guards around it.
    static void Key(Random& random, int width, int height, const EntryCall& call) {
        constexpr size_t kGuard = 16;
        const size_t size = size_t(width) * height * 4;
        auto input = random.OneIn(3) ? StudioFrame<T>(random, width, height)
                                     : RandomSamples<T>(random, size);
        std::vector<T> output(size + 2 * kGuard, 171);
        call(output.data() + kGuard, input.data(), width, height);
        for (unsigned interlaced : {0u, 1u}) {
            auto record = RandomRecord(random, input, output, width, height);
            record.dst += kGuard;
            EXPECT_EQ(Drive<T>(record, interlaced), 0u) << width << "x" << height;
        }
        for (size_t i = 0; i < kGuard; ++i)
            EXPECT_TRUE(output[i] == 171 && output[size + kGuard + i] == 171) << "guard " << i;
    }
};
TYPED_TEST_SUITE(Degenerate, Depths);

TYPED_TEST(Degenerate, OnePixelWideOrHighWithAnySettings) {
    for (unsigned seed = 0; seed < 150; ++seed) {
        Random random(seed);
        const int length = random.OneIn(10) ? random(300, 4000) : random(1, 40);
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " length " << length);
        this->Key(random, 1, 1, EntryCall::Any(random));
        this->Key(random, 1, length, EntryCall::Any(random));
        this->Key(random, length, 1, EntryCall::Any(random));
        this->Key(random, random(2, 3), random(2, 3), EntryCall::Any(random));
    }
}

TYPED_TEST(Degenerate, LongestSidesWithEveryOption) {
    Random random(7);
    EntryCall call;
    for (int smoothBG : {1, 0}) {
        call[kSmoothBG] = smoothBG;
        this->Key(random, 65535, 1, call);
        this->Key(random, 1, 65535, call);
        call[kMaskBlurRadius] = 100;
    }
}

}  // namespace
}  // namespace veltrane::testing
