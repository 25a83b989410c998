#include <gtest/gtest.h>

#include <cstdint>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Image = CImagingORV;
const Image imaging;
TYPED_TEST_SUITE(BothDepths, Depths);

/// The samples that a clipped window sums, and the number that it divides by. A side that is not
/// longer than the radius leaves its last sample out of the sum alone.
struct Window {
    Window(int i, int size, int radius)
        : first(std::max(0, i - radius)), last(std::min(size - 1, i + radius)) {
        count = last - first + 1;
        if (size <= radius) last = size - 2;
    }
    int first, last, count;
};

/// Applies finish(sum, columns, rows) to every window of one element of a frame, or of a plane.
template <typename T, typename Finish>
std::vector<T> Filter(std::vector<T> data, int width, int height, int elements, int element,
                      int radius, Finish finish) {
    const auto source = data;
    for (int i = 0; i < width * height; ++i) {
        const Window across(i % width, width, radius), down(i / width, height, radius);
        int64_t sum = 0;
        for (int y = down.first; y <= down.last; ++y)
            for (int x = across.first; x <= across.last; ++x)
                sum += source[(y * width + x) * elements + element];
        data[i * elements + element] = static_cast<T>(finish(sum, across.count, down.count));
    }
    return data;
}

float Mean(int64_t sum, int columns, int rows) {
    return float(sum) * (1.0f / float(columns)) * (1.0f / float(rows));
}

template <typename T>
std::vector<T> PlainAverage(const std::vector<T>& plane, int width, int height, int radius,
                            float gain) {
    return Filter(plane, width, height, 1, 0, radius, [gain](int64_t sum, int columns, int rows) {
        return std::clamp(int(Mean(sum, columns, rows) * gain), 0, kFull<T>);
    });
}

template <typename T>
std::vector<T> PlainMaskBlur(std::vector<T> frame, int width, int height, int radius, int amount,
                             int offset) {
    constexpr float full = kFull<T>;
    std::vector<T> inverse;
    for (size_t i = 3; i < frame.size(); i += 4) inverse.push_back(kFull<T> - frame[i]);
    inverse = PlainAverage(inverse, width, height, radius, 1.0f);
    for (size_t i = 0; i < inverse.size(); ++i) {
        float P = inverse[i];
        if (P >= 1 && P < full) P = std::trunc(std::clamp(P * P / full * 4.0f, 0.0f, full));
        const float a = frame[4 * i + 3];
        const float k = P * (float(amount) / 100.0f) / -full + 1.0f;
        const float e = std::max(0.0f, a - k * (a / full) * full - float(offset));
        frame[4 * i + 3] = static_cast<T>(std::clamp(a - e + 0.499f, 0.0f, full));
    }
    return frame;
}

template <typename T>
std::vector<T> PlainChromaCore(std::vector<T> frame, int width, int height, int radius) {
    for (int e = 1; radius >= 1 && e <= 2; ++e)
        frame = Filter(frame, width, height, 4, e, radius,
                       [](auto sum, int c, int r) { return sum / (r * c); });
    return frame;
}

template <typename T>
std::vector<T> PlainChromaBlur(std::vector<T> frame, int width, int height, int radius) {
    constexpr float half = (kFull<T> + 1) / 2, s = float(kFull<T>) / float(kFull<T> + 1);
    const auto store = [](float v) { return static_cast<T>(std::clamp(int(v), 0, kFull<T>)); };
    for (size_t i = 0; i < frame.size(); i += 4) {
        const float B = frame[i], G = frame[i + 1], R = frame[i + 2];
        frame[i] = store(B * 0.114f + (R * 0.299f + G * 0.587f) + 0.5f);
        frame[i + 1] = store(R * -0.1687f + G * -0.3313f + B * 0.5f + half);
        frame[i + 2] = store(B * -0.0813f + (G * -0.4187f + R * 0.5f) + half);
    }
    frame = PlainChromaCore(frame, width, height, radius);
    for (size_t i = 0; i < frame.size(); i += 4) {
        const float Y = frame[i];
        const float Cb = frame[i + 1] - (half - 0.5f), Cr = frame[i + 2] - (half - 0.5f);
        frame[i] = store((Cb * 1.772f + Y + Cr * 0.0f) * s + 0.5f);
        frame[i + 1] = store((Cr * -0.71414f + (Cb * -0.34414f + Y)) * s + 0.5f);
        frame[i + 2] = store((Cr * 1.402f + (Cb * 0.0f + Y)) * s + 0.5f);
    }
    return frame;
}

TYPED_TEST(BothDepths, BlursMatchThePlainFormsAtAnyRadius) {
    using T = TypeParam;
    const auto average = ByDepth<T>(&Image::AverageBlurA64, &Image::AverageBlurA);
    const auto maskBlur = ByDepth<T>(&Image::MaskBlur64, &Image::MaskBlur);
    const auto chroma = ByDepth<T>(&Image::ChromaBlur64bit, &Image::ChromaBlur32bit);
    const auto core = ByDepth<T>(&Image::ChromaBlurCore3_64bit, &Image::ChromaBlurCore3_32bit);
    constexpr int kSizes[] = {1, 2, 3, 4, 7, 12, 20};
    Random random(11);
    for (int n = 0; n < 7 * 7 * 26 && !this->HasFailure(); ++n) {
        const int width = kSizes[n % 7], height = kSizes[n / 7 % 7], radius = n / 49;
        const int amount = random.Biased(0, 100), opaque = random.OneIn(2);
        const int offset = random.OneIn(3) ? random(0, kFull<T> / 4) : 0;
        const float gain = random(0, 8) * 0.25f, fraction = random(0, 9) * 0.1f;
        SCOPED_TRACE(::testing::Message() << width << "x" << height << " radius " << radius << " "
                                          << amount << "% offset " << offset << " gain " << gain);
        auto frame = RandomSamples<T>(random, size_t(width) * height * 4), work = frame;
        for (size_t i = 3; opaque && i < frame.size(); i += 4)
            if (!random.OneIn(9)) frame[i] = static_cast<T>(kFull<T>);
        auto plane = RandomSamples<T>(random, size_t(width) * height);
        auto expected = PlainAverage(plane, width, height, radius, gain);
        (imaging.*average)(width, height, plane.data(), radius + fraction, gain);
        EXPECT_TRUE(Same(expected, plane, width, 1)) << "average";
        expected = PlainMaskBlur(frame, width, height, radius, amount, offset);
        EXPECT_EQ((imaging.*maskBlur)(width, height, frame.data(), -1, 100, 0), 0);
        EXPECT_EQ((imaging.*maskBlur)(width, height, frame.data(), radius, amount, offset), 1);
        EXPECT_TRUE(Same(expected, frame, width)) << "mask";
        expected = PlainChromaCore(frame, width, height, radius);
        (imaging.*core)(width, height, frame.data(), work.data(), radius);
        EXPECT_TRUE(Same(expected, frame, width)) << "chroma core";
        EXPECT_TRUE(radius == 0 || Same(expected, work, width)) << "work frame";
        expected = PlainChromaBlur(frame, width, height, radius);
        (imaging.*chroma)(width, 0, frame.data(), work.data(), radius);
        (imaging.*chroma)(width, height, frame.data(), work.data(), radius);
        EXPECT_TRUE(Same(expected, frame, width)) << "chroma";
        if constexpr (sizeof(T) == 1) {
            expected = frame;
            for (int e = 0; e < 4; ++e)
                expected = Filter(expected, width, height, 4, e, radius,
                                  [](auto... window) { return Mean(window...) + 0.5f; });
            imaging.AverageBlurCore32bit6(frame.data(), width, height, width * 4, -1);
            imaging.AverageBlurCore32bit6(frame.data(), width, height, width * 4, radius);
            EXPECT_TRUE(Same(expected, frame, width)) << "frame";
        }
    }
}

TEST(ChromaBlur, WideWindowsDoNotOverflow) {
    constexpr int kSide = 260;  // 259 x 259 x 65535 needs more than 32 bits
    std::vector<unsigned short> wide(kSide * kSide * 4, 65535), work = wide;
    const auto flat = wide;
    for (int radius : {91, 129}) {
        imaging.ChromaBlurCore3_64bit(kSide, kSide, wide.data(), work.data(), radius);
        EXPECT_TRUE(Same(flat, wide, kSide)) << "radius " << radius;
    }
}

/// Three times the strength; the first sample mirrors, the last repeats.
int PlainStrength(const std::vector<unsigned char>& frame, int width, int height, int pitch, int x,
                  int y) {
    const auto inside = [](int i, int size) { return i < 0 ? 1 : std::min(i, size - 1); };
    int total = 0;
    for (int e = 0; e < 3; ++e) {
        int sum = 9 * frame[y * pitch + 4 * x + e];
        for (int n = 0; n < 9; ++n)
            sum -=
                frame[inside(y + n / 3 - 1, height) * pitch + 4 * inside(x + n % 3 - 1, width) + e];
        total += std::max(sum, 0);
    }
    return total;
}

TEST(EdgeMap, MatchesThePlainForm) {
    Random random(31);
    for (int n = 0; n < 300; ++n) {
        const int width = random(2, 12), height = random(2, 12);
        const int pitch = width * 4 + random(0, 3), mapPitch = imaging.Align8(width);
        const int threshold = random.OneIn(3) ? 40 : random.Biased(0, 2040);
        auto frame = RandomSamples<unsigned char>(random, size_t(pitch) * height);
        std::vector<unsigned char> map(size_t(mapPitch) * height, 201), expected = map;
        for (int i = 0; i < width * height; ++i) {
            const int S = PlainStrength(frame, width, height, pitch, i % width, i / width);
            expected[i / width * mapPitch + i % width] =
                static_cast<unsigned char>(S / 3 >= threshold ? S / 24 : 0);
        }
        imaging.Laplacian32bit8(frame.data(), width, height, pitch, map.data(), width, height,
                                mapPitch, threshold);
        ASSERT_TRUE(Same(expected, map, mapPitch, 1)) << "case " << n << " threshold " << threshold;
    }
}

template <typename T>
std::vector<T> PlainPass(const std::vector<T>& frame, int width, int height, bool square, int t) {
    auto result = frame;
    const auto alpha = [&](int x, int y) { return int(frame[4 * (y * width + x) + 3]); };
    for (int y = 1; y < height - 1; ++y) {
        for (int x = 1; x < width - 1; ++x) {
            int m = kFull<T>;
            for (int n = 0; n < 9; ++n)
                if (square || n % 2 == 1) m = std::min(m, alpha(x + n % 3 - 1, y + n / 3 - 1));
            if (alpha(x, y) > m + t) result[4 * (y * width + x) + 3] = static_cast<T>(m + t);
        }
    }
    return result;
}

TYPED_TEST(BothDepths, ContractionAlternatesCrossAndSquare) {
    using T = TypeParam;
    const auto contract = ByDepth<T>(&Image::ContGray7_64, &Image::ContGray7);
    const auto cross = ByDepth<T>(&Image::ContGrayCore4_64, &Image::ContGrayCore4);
    const auto square = ByDepth<T>(&Image::ContGrayCore8_64, &Image::ContGrayCore8);
    Random random(32);
    for (int n = 0; n < 300; ++n) {
        const int width = random(1, 12), height = random(1, 12), iterations = random(-1, 5);
        const int threshold = random.Biased(0, 255), t = threshold * kUnit<T>;
        auto frame = RandomSamples<T>(random, size_t(width) * height * 4), expected = frame;
        EXPECT_EQ((imaging.*contract)(width, height, frame.data(), iterations, threshold), 1);
        for (int i = 0; i < iterations; ++i)
            expected = PlainPass(expected, width, height, i % 2 == 1, t);
        ASSERT_TRUE(Same(expected, frame, width)) << iterations << " at threshold " << threshold;
        for (bool isSquare : {true, false}) {  // a single pass takes the frame's own scale
            auto single = RandomSamples<T>(random, frame.size());
            expected = PlainPass(single, width, height, isSquare, t);
            EXPECT_EQ((imaging.*(isSquare ? square : cross))(width, height, single.data(), t), 1);
            ASSERT_TRUE(Same(expected, single, width)) << isSquare << " at threshold " << t;
        }
    }
    EXPECT_EQ((imaging.*contract)(3, 3, nullptr, 1, 0), 0);
}

}  // namespace
}  // namespace veltrane::testing
