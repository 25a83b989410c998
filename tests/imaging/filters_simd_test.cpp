#include <gtest/gtest.h>

#include "imaging/chroma/chroma_blur.h"
#include "imaging/imaging.h"
#include "imaging/matte/matte_plane.h"
#include "imaging/matte/soften_rows.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

constexpr int kGuard = 80;  // samples on both sides of what a function may write

/// Runs change on samples between guards, which must keep their values.
template <typename T, typename Change>
std::vector<T> Guarded(const std::vector<T>& samples, Change change) {
    constexpr T kMark = 0x5B;
    std::vector<T> memory(samples.size() + 2 * kGuard, kMark);
    std::copy(samples.begin(), samples.end(), memory.begin() + kGuard);
    change(memory.data() + kGuard);
    EXPECT_EQ(std::count(memory.begin(), memory.begin() + kGuard, kMark), kGuard);
    EXPECT_EQ(std::count(memory.end() - kGuard, memory.end(), kMark), kGuard);
    return {memory.begin() + kGuard, memory.end() - kGuard};
}

/// Whether change, which takes a pointer to the samples, does the same at every level.
template <typename T, typename Change>
void ExpectSameAtEveryLevel(const std::vector<T>& samples, int width, int elements, Change change) {
    const auto expected = Plainly([&] { return Guarded(samples, change); });
    ForEachLevel([&] { EXPECT_TRUE(Same(expected, Guarded(samples, change), width, elements)); });
}

/// Noise that is full or empty in large parts, or ramps with some grain: a matte, or any plane.
template <typename T>
std::vector<T> MatteOf(Random& random, int width, int height) {
    if (random.OneIn(8)) return std::vector<T>(size_t(width) * height, random.Biased(0, kFull<T>));
    auto matte = RandomSamples<T>(random, size_t(width) * height);
    const int kind = random(0, 3), grain = kUnit<T> * random.Biased(0, 8);
    for (int i = 0; i < width * height && kind != 0; ++i) {
        const int x = i % width - random(0, 1), y = i / width;
        const int ramp = kFull<T> / 2 + kFull<T> * (x * kind - y - width / 4) / (width + 3);
        matte[i] = static_cast<T>(std::clamp(ramp + random(-grain, grain), 0, kFull<T>));
    }
    return matte;
}

TYPED_TEST(BothDepths, MatteStagesGiveTheSameBitsAtEveryLevel) {
    using T = TypeParam;
    Random random(71);
    for (int n = 0; n < 700 && !this->HasFailure(); ++n) {
        const int width = n % 70 + 1, height = random.Biased(1, 40);
        const int passes = random(0, 11), threshold = random.Biased(0, kFull<T> + 1);
        const int step = random.OneIn(2) ? threshold : threshold / 64;
        const int radius = random.OneIn(2) ? random(0, 12) : random(0, 100);
        const int amount = random.OneIn(9) ? random(-300, 300) : random.Biased(0, 100);
        const int offset = random.OneIn(3) ? random(-kFull<T>, kFull<T>) : 0;
        SCOPED_TRACE(::testing::Message() << "case " << n << ", " << width << "x" << height << ", "
                                          << passes << " passes of " << step << ", radius "
                                          << radius << ", " << amount << "%, offset " << offset);
        const auto matte = MatteOf<T>(random, width, height);
        ExpectSameAtEveryLevel(
            matte, width, 1, [&](T* plane) { ContractMatte(width, height, plane, passes, step); });
        ExpectSameAtEveryLevel(matte, width, 1, [&](T* plane) {
            SoftenMatte(width, height, plane, radius, amount, offset);
        });
        ExpectSameAtEveryLevel(RandomSamples<T>(random, width * 4), width, 4,
                               [&](T* row) { PutMatte(matte.data(), row, width); });
        const auto row = RandomSamples<T>(random, width * 4);
        const std::vector<T> before(width);
        ExpectSameAtEveryLevel(before, width, 1,
                               [&](T* plane) { TakeMatte(row.data(), plane, width); });
    }
}

TYPED_TEST(BothDepths, SmoothedChromaIsTheSameAtEveryLevelAndWithAWorkFrame) {
    using T = TypeParam;
    const auto blur = ByDepth<T>(&CImagingORV::ChromaBlur64bit, &CImagingORV::ChromaBlur32bit);
    Random random(72);
    for (int n = 0; n < 420 && !this->HasFailure(); ++n) {
        const int width = n % 70 + 1, height = random.Biased(1, 40);
        const int radius = random.OneIn(3) ? random(-1, 100) : random(0, 10);
        SCOPED_TRACE(::testing::Message()
                     << "case " << n << ", " << width << "x" << height << ", radius " << radius);
        const auto frame = n % 3 == 0   ? RandomSamples<T>(random, size_t(width) * height * 4)
                           : n % 3 == 1 ? StudioFrame<T>(random, width, height)
                                        : CalmFrame<T>(random, width, height);
        const auto smooth = [&](T* pixels) { SmoothChroma(width, height, pixels, radius); };
        ExpectSameAtEveryLevel(frame, width, 4, smooth);
        auto smoothed = frame, blurred = frame, work = frame;
        smooth(smoothed.data());
        (CImagingORV().*blur)(width, height, blurred.data(), work.data(), radius);
        EXPECT_TRUE(Same(blurred, smoothed, width));
    }
}

TYPED_TEST(BothDepths, FactorsStandForTheDivisionsOfEveryValue) {
    using T = TypeParam;
    using Factors = FullScaleFactors<T>;
    constexpr float full = kFull<T>;
    for (int i = 0; i <= kFull<T>; ++i) {
        const float v = static_cast<float>(i);
        ASSERT_EQ(v * Factors::kMost + v * Factors::kRest, v / full) << i;
        const float steep = i < kFull<T> ? v * v / full * 4.0f : full;
        ASSERT_EQ(static_cast<int>(std::min(v * v * Factors::kSteepness, full)),
                  static_cast<int>(std::min(steep, full)))
            << i;
    }
}

TYPED_TEST(BothDepths, EveryMatteValueSoftensTheSameAtEveryLevel) {
    using T = TypeParam;
    std::vector<T> values(kFull<T> + 1);
    for (int v = 0; v <= kFull<T>; ++v) values[v] = static_cast<T>(v);
    for (int amount = 0; amount <= 100; amount += 5) {  // radius 0 keeps every inverse
        SCOPED_TRACE(amount);
        ExpectSameAtEveryLevel(values, kFull<T> + 1, 1, [&](T* plane) {
            SoftenMatte(kFull<T> + 1, 1, plane, 0, amount, 0);
        });
    }
}

/// Every window of a square of 2 * radius + 1 takes its middle in; with the middle one too low,
/// each sum is one below a multiple of its count, where the fraction to drop is largest.
TYPED_TEST(BothDepths, ChromaMeansDropTheLargestFractions) {
    using T = TypeParam;
    const auto blur =
        ByDepth<T>(&CImagingORV::ChromaBlurCore3_64bit, &CImagingORV::ChromaBlurCore3_32bit);
    for (const int radius : {1, 2, 3, 7, 10, 100, 127, 128}) {
        const int side = 2 * radius + 1, step = sizeof(T) == 1 ? 1 : radius < 4 ? 5 : 31 * radius;
        std::vector<T> frame(size_t(side) * side * 4), work = frame, expected = frame;
        const auto check = [&] {
            for (int mean = kFull<T>; mean > 0; mean -= radius < 100 ? step : 199 * kUnit<T>) {
                for (size_t i = 0; i < frame.size(); ++i) {
                    frame[i] = static_cast<T>(mean);
                    expected[i] = static_cast<T>(i % 4 == 1 ? mean - 1 : mean);
                }
                --frame[frame.size() / 8 * 4 + 1];
                (CImagingORV().*blur)(side, side, frame.data(), work.data(), radius);
                ASSERT_TRUE(Same(expected, frame, side)) << "radius " << radius;
            }
        };
        Plainly([&] { return check(), 0; });
        ForEachLevel(check);
    }
}

}  // namespace
}  // namespace veltrane::testing
