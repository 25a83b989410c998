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
    const auto key = [](double level) { return int(std::floor(level * kFull<T> + 0.5)); };
    SetPair(r.keyR, key(call.red));
    SetPair(r.keyG, key(call.green));
    SetPair(r.keyB, key(call.blue));
    SetPair(r.screenGain, Scale(30, call.screenGain));
    SetPair(r.shadow, call.shadow);
    SetPair(r.skinHue, 120 + Scale(50, call.skinHue + 50));
    SetPair(r.blueHue, 250 + Scale(80, call.blueHue + 50));
    SetPair(r.despillGray, call.despillGray);
    SetPair(r.despillSkin, Scale(50, call.despillSkin));
    SetPair(r.despillBlue, Scale(50, call.despillBlue));
    const auto option = [](int on, int value) {
        return static_cast<unsigned short>(on ? value : 0);
    };
    r.deblockValue = option(call.deBlocking, call.deBlockValue);
    r.contractMask = option(call.edgeContract, call.contractMask);
    r.contractThreshold = option(call.edgeContract, call.contractThreshold);
    r.smoothBG = call.smoothBG;
    r.maskBlurRadius = option(call.edgeBlur, call.maskBlurRadius);
    r.maskBlurValue = option(call.edgeBlur, call.maskBlurValue);
    return r;
}

template <typename T>
T PlainClip(const EntryCall& call, int alpha) {
    if (call.clipWhite >= 100 && call.clipBlack <= 0) return static_cast<T>(alpha);
    const int high = Scale(kFull<T>, call.clipWhite);
    const int low = Scale(kFull<T>, call.clipBlack) + (call.clipBlack == call.clipWhite ? 1 : 0);
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
    if (call.view == 0) {
        output = input;
        return;
    }
    if (std::max({call.red, call.green, call.blue}) * 255 > 1.0) {
        auto record = PlainRecord(call, input, output, width, height);
        Drive(&record);
    } else {
        output = input;
    }
    for (size_t i = 0; i < output.size(); i += 4) {
        const auto& transparent = sizeof(T) == 2 ? input : untouched;
        if (input[i + 3] == 0) std::copy_n(&transparent[i], 4, &output[i]);
        output[i + 3] = PlainClip<T>(call, std::min(input[i + 3], output[i + 3]));
        if (call.view != 1) continue;
        std::fill_n(&output[i], 3, output[i + 3]);
        output[i + 3] = static_cast<T>(kFull<T>);
    }
}

TEST(Entry, ScalesSettings) {
    EXPECT_EQ(toValue(30, 0, 33), 9.9);
    EXPECT_EQ(toValue(170, 120, 100), 170);
    EXPECT_EQ(toValue2(330, 250, 0), 290);
    EXPECT_EQ(toValue2(170, 120, -50), 120);
    for (int value = -50; value <= 50; ++value) {
        EXPECT_NEAR(toParcentage(75, 25, toValue(75, 25, value)), value, 1e-9);
        EXPECT_NEAR(toParcentage2(330, 250, toValue2(330, 250, value)), value, 1e-9);
    }
}

TEST(Entry, WordsMatchThePlainForm) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        Random random(seed);
        const int width = random.Biased(1, 60), height = random.Biased(1, 44);
        auto input = seed % 2 ? StudioFrame<unsigned short>(random, width, height, kScreen)
                              : CalmFrame<unsigned short>(random, width, height, kScreen);
        for (size_t i = 3; i < input.size(); i += 4)
            if (random.OneIn(5)) input[i] = static_cast<unsigned short>(random.Biased(0, 65535));
        EntryCall call = EntryCall::Any(random);
        if (random.OneIn(6)) call.shadow = random(101, 1000);  // refused; what follows still runs
        auto output = RandomSamples<unsigned short>(random, input.size());
        auto plainInput = input, expected = output;
        PlainEntry(call, plainInput, expected, width, height);
        call(output.data(), input.data(), width, height);
        ASSERT_TRUE(Same(expected, output, width)) << "seed " << seed;
        ASSERT_TRUE(Same(plainInput, input, width)) << "in the input, seed " << seed;
    }
}

/// Alpha, red, green, blue to blue, green, red, alpha of the overlap, and back.
Bytes Crop(const Bytes& host, int hostWidth, int width, int height) {
    Bytes working;
    for (int i = 0; i < width * height * 4; ++i) {
        const int row = i / (width * 4), column = i / 4 % width;
        working.push_back(host[(row * hostWidth + column) * 4 + 3 - i % 4]);
    }
    return working;
}

TEST(Entry, BytesMatchThePlainFormOnTheOverlap) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        Random random(seed);
        const int inputWidth = random(1, 50), inputHeight = random(1, 30);
        const int outputWidth = random.OneIn(2) ? inputWidth : random(1, 50);
        const int outputHeight = random.OneIn(2) ? inputHeight : random(1, 30);
        const int width = std::min(inputWidth, outputWidth);
        const int height = std::min(inputHeight, outputHeight);
        auto input = StudioFrame<unsigned char>(random, inputWidth, inputHeight, kScreen);
        for (size_t i = 0; i < input.size(); i += 4) {
            std::reverse(&input[i], &input[i] + 4);
            if (random.OneIn(5)) input[i] = static_cast<unsigned char>(random.Biased(0, 255));
        }
        EntryCall call = EntryCall::Any(random);
        if (random.OneIn(6)) call.despillGray = 101;
        auto output = RandomSamples<unsigned char>(random, size_t(outputWidth) * outputHeight * 4);
        const auto inputBefore = input;
        auto expected = output;
        auto working = Crop(input, inputWidth, width, height);
        Bytes keyed(working.size(), 0);
        PlainEntry(call, working, keyed, width, height);
        for (size_t i = 0; i < keyed.size(); ++i) {
            const size_t row = i / (width * 4), column = i / 4 % width;
            expected[(row * outputWidth + column) * 4 + 3 - i % 4] = keyed[i];
        }
        call(output.data(), outputWidth, outputHeight, input.data(), inputWidth, inputHeight);
        ASSERT_TRUE(Same(expected, output, outputWidth)) << "seed " << seed;
        ASSERT_EQ(inputBefore, input) << "seed " << seed;
    }
}

TEST(Entry, WorkedClips) {
    EntryCall call;
    call.red = call.green = call.blue = 1 / 255.0;  // no key is chosen, so alpha is the source's
    const auto alphas = [&](int black, int white, Words levels) {
        call.clipBlack = black;
        call.clipWhite = white;
        Words input(levels.size() * 4, 500), output(input.size());
        for (size_t i = 0; i < levels.size(); ++i) input[4 * i + 3] = levels[i];
        call(output.data(), input.data(), int(levels.size()), 1);
        for (size_t i = 0; i < levels.size(); ++i) levels[i] = output[4 * i + 3];
        EXPECT_EQ(output[0], call.view == 1 ? output[2] : 500);
        return levels;
    };
    const Words levels{0, 1, 32768, 32769, 32770, 65535};
    EXPECT_EQ(alphas(0, 100, levels), levels);
    EXPECT_EQ(alphas(50, 50, levels), (Words{0, 0, 0, 0, 65535, 65535}));
    EXPECT_EQ(alphas(50, 20, levels), (Words{0, 0, 0, 65535, 65535, 65535}));
    EXPECT_EQ(alphas(0, 50, {16384, 32767, 32768}), (Words{32767, 65533, 65535}));
    call.view = 1;
    EXPECT_EQ(alphas(0, 100, levels), Words(6, 65535));
}

TEST(Entry, SidesThatNoFrameHas) {
    const EntryCall call = EntryCall::Everything();
    Words words(8, 4321), wordsOut(8, 1234);
    Bytes bytes(8, 43), bytesOut(8, 12);
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -2}}) {
        for (int view : {0, 1, 2}) {
            EntryCall viewed = call;
            viewed.view = view;
            viewed(wordsOut.data(), words.data(), width, height);
            viewed(bytesOut.data(), width, height, bytes.data(), 2, 1);
            viewed(bytesOut.data(), 2, 1, bytes.data(), width, height);
        }
    }
    EXPECT_EQ(wordsOut, Words(8, 1234));
    EXPECT_EQ(bytesOut, Bytes(8, 12));
    EXPECT_TRUE(words == Words(8, 4321) && bytes == Bytes(8, 43));

    // One column too many for the record: no key, yet alpha is still combined and clipped.
    EntryCall clipped;
    clipped.clipWhite = 50;
    Words wide(65536 * 4, 20000), wideOut(65536 * 4, 30000);
    wide[3] = 0;
    clipped(wideOut.data(), wide.data(), 65536, 1);
    EXPECT_EQ(Words(&wideOut[0], &wideOut[8]),
              (Words{20000, 20000, 20000, 0, 30000, 30000, 30000, 39999}));
    Bytes wideBytes(65536 * 4, 200), wideBytesOut(65536 * 4, 99);
    clipped(wideBytesOut.data(), wideBytes.data(), 1, 65536);
    EXPECT_EQ(wideBytesOut, Bytes(wideBytes.size(), 0));
}

TEST(Entry, BothDepthsAgree) {
    // Without de-blocking and contraction the two see the same numbers up to the last step, where
    // the matte and the colour are cut to their own scales. Where the 8-bit matte is cut to 0, its
    // colour may be the grey of the open screen while the 16-bit one is still a shadow's black.
    for (unsigned seed = 0; seed < 40; ++seed) {
        Random random(seed);
        constexpr int kWidth = 90, kHeight = 50;
        const Bytes working = CalmFrame<unsigned char>(random, kWidth, kHeight, kScreen);
        const Bytes input = Crop(working, kWidth, kWidth, kHeight);
        Words wide;
        for (int sample : working) wide.push_back(static_cast<unsigned short>(sample * 257));
        EntryCall call = EntryCall::Any(random);
        call.red = random(0, 90) / 255.0;
        call.green = random(120, 255) / 255.0;
        call.blue = random(0, 90) / 255.0;
        call.deBlocking = call.edgeContract = call.edgeBlur = call.clipBlack = 0;
        call.clipWhite = call.shadow = 100;
        call.view = 2;
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

}  // namespace
}  // namespace veltrane::testing
