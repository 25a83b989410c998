#include <gtest/gtest.h>

#include <cstdint>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Image = CImagingORV;
const Image imaging;
template <typename T>
constexpr auto kAverage = ByDepth<T>(&Image::AverageBlurA64, &Image::AverageBlurA);
template <typename T>
constexpr auto kMaskBlur = ByDepth<T>(&Image::MaskBlur64, &Image::MaskBlur);
template <typename T>
constexpr auto kChroma = ByDepth<T>(&Image::ChromaBlur64bit, &Image::ChromaBlur32bit);
template <typename T>
constexpr auto kChromaCore = ByDepth<T>(&Image::ChromaBlurCore3_64bit,
                                        &Image::ChromaBlurCore3_32bit);

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
std::vector<T> Filter(const std::vector<T>& data, int width, int height, int elements, int element,
                      int radius, Finish finish) {
    std::vector<T> result;
    for (int i = 0; i < width * height; ++i) {
        const Window across(i % width, width, radius), down(i / width, height, radius);
        int64_t sum = 0;
        for (int y = down.first; y <= down.last; ++y)
            for (int x = across.first; x <= across.last; ++x)
                sum += data[(y * width + x) * elements + element];
        result.push_back(static_cast<T>(finish(sum, across.count, down.count)));
    }
    return result;
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

/// Calls visit(random, width, height, radius) up to radii beyond the sides.
template <typename Visit>
void ForSizesAndRadii(Visit visit) {
    Random random(11);
    constexpr int kSizes[] = {1, 2, 3, 4, 7, 12, 20};
    for (int width : kSizes) {
        for (int height : kSizes) {
            for (int radius = 0; radius <= 25 && !::testing::Test::HasFailure(); ++radius) {
                SCOPED_TRACE(::testing::Message() << width << "x" << height << " r " << radius);
                visit(random, width, height, radius);
            }
        }
    }
}

template <typename T>
class Blur : public ::testing::Test {};
TYPED_TEST_SUITE(Blur, Depths);

TEST(FrameBlur, IsTheRoundedWindowMeanOfAllFourElements) {
    ForSizesAndRadii([](Random& random, int width, int height, int radius) {
        auto frame = RandomSamples<unsigned char>(random, size_t(width) * height * 4);
        auto expected = frame;
        for (int e = 0; e < 4; ++e) {
            const auto plane = Filter(frame, width, height, 4, e, radius,
                                      [](auto... window) { return Mean(window...) + 0.5f; });
            for (size_t i = 0; i < plane.size(); ++i) expected[4 * i + e] = plane[i];
        }
        imaging.AverageBlurCore32bit6(frame.data(), width, height, width * 4, -1);
        imaging.AverageBlurCore32bit6(frame.data(), width, height, width * 4, radius);
        EXPECT_TRUE(Same(expected, frame, width));
    });
}

TYPED_TEST(Blur, PlaneMeanIsTruncatedAfterTheGain) {
    ForSizesAndRadii([](Random& random, int width, int height, int radius) {
        auto plane = RandomSamples<TypeParam>(random, size_t(width) * height);
        const float gain = random(0, 8) * 0.25f, fraction = random(0, 9) * 0.1f;
        const auto expected = PlainAverage(plane, width, height, radius, gain);
        (imaging.*kAverage<TypeParam>)(width, height, plane.data(), radius + fraction, gain);
        EXPECT_TRUE(Same(expected, plane, width, 1)) << "gain " << gain;
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

TYPED_TEST(Blur, MaskBlurLowersTheMatteWhereItsInverseIsStrong) {
    ForSizesAndRadii([](Random& random, int width, int height, int radius) {
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        const bool opaque = random.OneIn(2);
        for (size_t i = 3; opaque && i < frame.size(); i += 4)
            if (!random.OneIn(9)) frame[i] = static_cast<TypeParam>(kFull<TypeParam>);
        const int amount = random.Biased(0, 100);
        const int offset = random.OneIn(3) ? random(0, kFull<TypeParam> / 4) : 0;
        const auto before = frame;
        const auto blur = [&](int r, int percent) {
            return (imaging.*kMaskBlur<TypeParam>)(width, height, frame.data(), r, percent, offset);
        };
        EXPECT_EQ(blur(-1, 100), 0);
        EXPECT_EQ(blur(radius, 0), 1);
        EXPECT_TRUE(Same(before, frame, width)) << "at radius -1 or amount 0";
        blur(radius, amount);
        EXPECT_TRUE(
            Same(PlainMaskBlur(before, width, height, radius, amount, offset), frame, width))
            << "amount " << amount << " offset " << offset;
    });
}

template <typename T>
std::vector<T> PlainChromaCore(const std::vector<T>& frame, int width, int height, int radius) {
    auto result = frame;
    for (int e = 1; radius >= 1 && e <= 2; ++e) {
        const auto plane = Filter(frame, width, height, 4, e, radius,
                                  [](auto sum, int c, int r) { return sum / (r * c); });
        for (size_t i = 0; i < plane.size(); ++i) result[4 * i + e] = plane[i];
    }
    return result;
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

TYPED_TEST(Blur, ChromaBlurKeepsLumaAndAlpha) {
    ForSizesAndRadii([](Random& random, int width, int height, int radius) {
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        auto work = RandomSamples<TypeParam>(random, frame.size()), core = frame;
        const auto blurred = PlainChromaCore(frame, width, height, radius);
        const auto converted = PlainChromaBlur(frame, width, height, radius);
        (imaging.*kChromaCore<TypeParam>)(width, height, core.data(), work.data(), radius);
        EXPECT_TRUE(Same(blurred, core, width));
        EXPECT_TRUE(radius == 0 || Same(blurred, work, width)) << "in the work frame";
        (imaging.*kChroma<TypeParam>)(width, 0, frame.data(), work.data(), radius);
        (imaging.*kChroma<TypeParam>)(width, height, frame.data(), work.data(), radius);
        EXPECT_TRUE(Same(converted, frame, width));
    });
}

TEST(ChromaBlur, WorkedGreysAndWideWindows) {
    using Words = std::vector<unsigned short>;
    Words frame{100, 100, 100, 7, 30000, 30000, 30000, 65535, 65535, 65535, 65535, 0}, work(12);
    imaging.ChromaBlur64bit(3, 1, frame.data(), work.data(), 0);
    EXPECT_EQ(frame, (Words{101, 99, 101, 7, 30000, 29999, 30000, 65535, 65535, 65533, 65535, 0}));
    constexpr int kSide = 260;  // 259 x 259 x 65535 needs more than 32 bits
    Words wide(kSide * kSide * 4, 65535), wideWork(wide.size());
    const Words flat = wide;
    for (int radius : {91, 129}) {
        imaging.ChromaBlurCore3_64bit(kSide, kSide, wide.data(), wideWork.data(), radius);
        EXPECT_TRUE(Same(flat, wide, kSide)) << "radius " << radius;
    }
}

}  // namespace
}  // namespace veltrane::testing
