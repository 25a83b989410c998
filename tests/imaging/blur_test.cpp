#include <gtest/gtest.h>

#include <cstdint>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

const CImagingORV imaging;
constexpr int kSizes[] = {1, 2, 3, 4, 7, 12, 20};

/// The samples that a clipped window sums, and the number that it divides by. A side that is not
/// longer than the radius leaves its last sample out of the sum alone.
struct Window {
    int first;
    int last;
    int count;
};

Window WindowAt(int i, int size, int radius) {
    const int first = std::max(0, i - radius), last = std::min(size - 1, i + radius);
    return {first, size <= radius ? size - 2 : last, last - first + 1};
}

/// A frame's element as a plane: sample (x, y) is data[(y * width + x) * elements + element].
template <typename T>
struct Plane {
    const T* data;
    int width;
    int height;
    int elements;
    int element;
};

template <typename T>
int64_t WindowSum(const Plane<T>& plane, const Window& across, const Window& down) {
    int64_t sum = 0;
    for (int y = down.first; y <= down.last; ++y)
        for (int x = across.first; x <= across.last; ++x)
            sum += plane.data[(y * plane.width + x) * plane.elements + plane.element];
    return sum;
}

/// Applies finish(sum, columns, rows) to every window of the plane.
template <typename Result, typename T, typename Finish>
std::vector<Result> Filter(const Plane<T>& plane, int radius, Finish finish) {
    std::vector<Result> result;
    for (int y = 0; y < plane.height; ++y) {
        for (int x = 0; x < plane.width; ++x) {
            const Window across = WindowAt(x, plane.width, radius);
            const Window down = WindowAt(y, plane.height, radius);
            result.push_back(static_cast<Result>(
                finish(WindowSum(plane, across, down), across.count, down.count)));
        }
    }
    return result;
}

float Mean(int64_t sum, int columns, int rows) {
    return float(sum) * (1.0f / float(columns)) * (1.0f / float(rows));
}

template <typename T>
std::vector<T> PlainAverage(const std::vector<T>& plane, int width, int height, int radius,
                            float gain) {
    const auto finish = [gain](int64_t sum, int columns, int rows) {
        return std::clamp(int(Mean(sum, columns, rows) * gain), 0, kFull<T>);
    };
    return Filter<T>(Plane<T>{plane.data(), width, height, 1, 0}, radius, finish);
}

template <typename Visit>
void ForSizesAndRadii(Visit visit) {
    for (int width : kSizes) {
        for (int height : kSizes) {
            for (int radius = 0; radius <= 25; ++radius) {
                SCOPED_TRACE(::testing::Message()
                             << width << "x" << height << " radius " << radius);
                visit(width, height, radius);
                if (::testing::Test::HasFailure()) return;
            }
        }
    }
}

template <typename T>
class Blur : public ::testing::Test {
protected:
    static void Average(int width, int height, std::vector<T>& plane, float radius, float gain) {
        (imaging.*ByDepth<T>(&CImagingORV::AverageBlurA64, &CImagingORV::AverageBlurA))(
            width, height, plane.data(), radius, gain);
    }
    static int Mask(int width, int height, std::vector<T>& frame, int radius, int amount,
                    int offset) {
        return (imaging.*ByDepth<T>(&CImagingORV::MaskBlur64, &CImagingORV::MaskBlur))(
            width, height, frame.data(), radius, amount, offset);
    }
    static void Chroma(int width, int height, std::vector<T>& frame, std::vector<T>& work,
                       int radius) {
        (imaging.*ByDepth<T>(&CImagingORV::ChromaBlur64bit, &CImagingORV::ChromaBlur32bit))(
            width, height, frame.data(), work.data(), radius);
    }
    static void ChromaCore(int width, int height, std::vector<T>& frame, std::vector<T>& work,
                           int radius) {
        (imaging.*
         ByDepth<T>(&CImagingORV::ChromaBlurCore3_64bit, &CImagingORV::ChromaBlurCore3_32bit))(
            width, height, frame.data(), work.data(), radius);
    }
};
TYPED_TEST_SUITE(Blur, Depths);

TEST(FrameBlur, IsTheRoundedWindowMeanOfAllFourElements) {
    Random random(11);
    ForSizesAndRadii([&](int width, int height, int radius) {
        auto frame = RandomSamples<unsigned char>(random, size_t(width) * height * 4);
        auto expected = frame;
        for (int e = 0; e < 4; ++e) {
            const auto plane = Filter<unsigned char>(
                Plane<unsigned char>{frame.data(), width, height, 4, e}, radius,
                [](int64_t sum, int columns, int rows) { return Mean(sum, columns, rows) + 0.5f; });
            for (size_t i = 0; i < plane.size(); ++i) expected[4 * i + e] = plane[i];
        }
        imaging.AverageBlurCore32bit6(frame.data(), width, height, width * 4, radius);
        EXPECT_TRUE(Same(expected, frame, width));
    });
    std::vector<unsigned char> frame{1, 2, 3, 4, 50, 60, 70, 80};
    const auto before = frame;
    imaging.AverageBlurCore32bit6(frame.data(), 2, 1, 8, -1);
    EXPECT_EQ(frame, before);
}

TYPED_TEST(Blur, PlaneMeanIsTruncatedAfterTheGain) {
    Random random(12);
    ForSizesAndRadii([&](int width, int height, int radius) {
        auto plane = RandomSamples<TypeParam>(random, size_t(width) * height);
        const float gain = random(0, 8) * 0.25f;
        const auto expected = PlainAverage(plane, width, height, radius, gain);
        this->Average(width, height, plane, radius + random(0, 9) * 0.1f, gain);
        EXPECT_TRUE(Same(expected, plane, width, 1)) << "gain " << gain;
    });
    std::vector<TypeParam> square{0, 1, 0, 1};  // a mean of one half: rounded for frames alone
    this->Average(2, 2, square, 1.0f, 1.0f);
    EXPECT_EQ(square, std::vector<TypeParam>(4, 0));
    std::vector<unsigned char> frame{0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0, 1, 1, 1, 1};
    imaging.AverageBlurCore32bit6(frame.data(), 2, 2, 8, 1);
    EXPECT_EQ(frame, std::vector<unsigned char>(16, 1));
}

TYPED_TEST(Blur, SideNotLongerThanTheRadiusLosesItsLastSample) {
    const std::vector<TypeParam> square{30, 60, 90, 30, 60, 90, 30, 60, 90};
    auto blurred = square;
    this->Average(3, 3, blurred, 2.0f, 1.0f);
    EXPECT_EQ(blurred, std::vector<TypeParam>(9, 60));
    blurred = square;
    this->Average(3, 3, blurred, 3.0f, 1.0f);  // 2 rows of 30 + 60, divided by 9
    EXPECT_EQ(blurred, std::vector<TypeParam>(9, 20));
    std::vector<TypeParam> tall{30, 60, 90, 30, 60, 90, 30, 60, 90, 30, 60, 90};
    this->Average(3, 4, tall, 3.0f, 1.0f);  // high enough, so 4 rows of 30 + 60, divided by 12
    EXPECT_EQ(tall, std::vector<TypeParam>(12, 30));
    std::vector<TypeParam> row(5, 200);
    this->Average(5, 1, row, 1.0f, 1.0f);
    EXPECT_EQ(row, std::vector<TypeParam>(5, 0));
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
    Random random(13);
    ForSizesAndRadii([&](int width, int height, int radius) {
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        const bool opaque = random.OneIn(2);
        for (size_t i = 3; opaque && i < frame.size(); i += 4)
            if (!random.OneIn(9)) frame[i] = static_cast<TypeParam>(kFull<TypeParam>);
        const int amount = random.Biased(0, 100);
        const int offset = random.OneIn(3) ? random(0, kFull<TypeParam> / 4) : 0;
        const auto expected = PlainMaskBlur(frame, width, height, radius, amount, offset);
        EXPECT_EQ(this->Mask(width, height, frame, radius, amount, offset), 1);
        EXPECT_TRUE(Same(expected, frame, width)) << "amount " << amount << " offset " << offset;
    });
}

TYPED_TEST(Blur, MaskBlurAtTheEndsOfItsSettings) {
    Random random(14);
    const auto frame = RandomSamples<TypeParam>(random, 9 * 8 * 4);
    auto blurred = frame;
    EXPECT_EQ(this->Mask(9, 8, blurred, -1, 100, 0), 0);
    EXPECT_EQ(blurred, frame);
    this->Mask(9, 8, blurred, 3, 0, 0);
    EXPECT_EQ(blurred, frame);
    for (int alpha : {0, kFull<TypeParam>}) {
        for (size_t i = 3; i < blurred.size(); i += 4) blurred[i] = static_cast<TypeParam>(alpha);
        const auto flat = blurred;
        this->Mask(9, 8, blurred, 3, 100, 0);
        EXPECT_EQ(blurred, flat);
    }
}

TEST(MaskBlur, TruncatesJustBelowOneHalf) {
    // Alpha 254 has inverse 1, shaped to trunc(4 / 255) = 0. Alpha 127 has inverse 128, shaped to
    // full, so half its value goes: 63.5 + 0.499 is still 63.
    std::vector<unsigned char> frame{9, 9, 9, 254, 9, 9, 9, 127};
    imaging.MaskBlur(2, 1, frame.data(), 0, 50, 0);
    EXPECT_EQ(frame, (std::vector<unsigned char>{9, 9, 9, 254, 9, 9, 9, 63}));
}

/// The blur of the two colour differences; what the work frame holds does not matter.
template <typename T>
std::vector<T> PlainChromaCore(const std::vector<T>& frame, int width, int height, int radius) {
    auto result = frame;
    for (int e = 1; radius >= 1 && e <= 2; ++e) {
        const auto plane =
            Filter<T>(Plane<T>{frame.data(), width, height, 4, e}, radius,
                      [](int64_t sum, int columns, int rows) { return sum / (rows * columns); });
        for (size_t i = 0; i < plane.size(); ++i) result[4 * i + e] = plane[i];
    }
    return result;
}

template <typename T>
std::vector<T> PlainChromaBlur(std::vector<T> frame, int width, int height, int radius) {
    constexpr float half = (kFull<T> + 1) / 2, s = float(kFull<T>) / float(kFull<T> + 1);
    const auto store = [](float value) {
        return static_cast<T>(std::clamp(int(value), 0, kFull<T>));
    };
    for (size_t i = 0; i < frame.size(); i += 4) {
        const float B = frame[i], G = frame[i + 1], R = frame[i + 2];
        frame[i] = store(B * 0.114f + (R * 0.299f + G * 0.587f) + 0.5f);
        frame[i + 1] = store(R * -0.1687f + G * -0.3313f + B * 0.5f + half);
        frame[i + 2] = store(B * -0.0813f + (G * -0.4187f + R * 0.5f) + half);
    }
    frame = PlainChromaCore(frame, width, height, radius);
    for (size_t i = 0; i < frame.size(); i += 4) {
        const float Y = frame[i], Cb = frame[i + 1] - (half - 0.5f),
                    Cr = frame[i + 2] - (half - 0.5f);
        frame[i] = store((Cb * 1.772f + Y + Cr * 0.0f) * s + 0.5f);
        frame[i + 1] = store((Cr * -0.71414f + (Cb * -0.34414f + Y)) * s + 0.5f);
        frame[i + 2] = store((Cr * 1.402f + (Cb * 0.0f + Y)) * s + 0.5f);
    }
    return frame;
}

TYPED_TEST(Blur, ChromaBlurKeepsLumaAndAlpha) {
    Random random(15);
    ForSizesAndRadii([&](int width, int height, int radius) {
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        auto work = RandomSamples<TypeParam>(random, frame.size());
        const auto blurred = PlainChromaCore(frame, width, height, radius);
        const auto converted = PlainChromaBlur(frame, width, height, radius);
        auto core = frame;
        this->ChromaCore(width, height, core, work, radius);
        EXPECT_TRUE(Same(blurred, core, width));
        EXPECT_TRUE(radius == 0 || Same(blurred, work, width)) << "in the work frame";
        this->Chroma(width, height, frame, work, radius);
        EXPECT_TRUE(Same(converted, frame, width));
    });
}

TEST(ChromaBlur, WorkedGreys) {
    std::vector<unsigned short> frame{100,   100,   100,   7,     30000, 30000,
                                      30000, 65535, 65535, 65535, 65535, 0};
    std::vector<unsigned short> work(frame.size());
    imaging.ChromaBlur64bit(3, 1, frame.data(), work.data(), 0);
    EXPECT_EQ(frame, (std::vector<unsigned short>{101, 99, 101, 7, 30000, 29999, 30000, 65535,
                                                  65535, 65533, 65535, 0}));
    const auto before = frame;
    imaging.ChromaBlur64bit(3, 0, frame.data(), work.data(), 1);
    EXPECT_EQ(frame, before);
}

TEST(ChromaBlur, WideWindowsDoNotOverflow) {
    constexpr int kSide = 260;  // 259 x 259 x 65535 needs more than 32 bits
    std::vector<unsigned short> frame(kSide * kSide * 4, 65535), work(frame.size());
    const auto flat = frame;
    for (int radius : {91, 129}) {
        imaging.ChromaBlurCore3_64bit(kSide, kSide, frame.data(), work.data(), radius);
        ASSERT_TRUE(Same(flat, frame, kSide)) << "radius " << radius;
    }
}

}  // namespace
}  // namespace veltrane::testing
