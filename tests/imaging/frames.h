#ifndef VELTRANE_TESTS_IMAGING_FRAMES_H
#define VELTRANE_TESTS_IMAGING_FRAMES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace veltrane::testing {

template <typename T>
inline constexpr int kFull = sizeof(T) == 2 ? 65535 : 255;

/// The unit of the 8-bit scale in samples of type T.
template <typename T>
inline constexpr int kUnit = kFull<T> / 255;

using Depths = ::testing::Types<unsigned short, unsigned char>;
template <typename T>
class BothDepths : public ::testing::Test {};

/// The 16-bit or the 8-bit one of a pair of functions.
template <typename T, typename Sixteen, typename Eight>
constexpr auto ByDepth(Sixteen sixteen, Eight eight) {
    if constexpr (sizeof(T) == 2)
        return sixteen;
    else
        return eight;
}

/// Whole numbers that are the same on every machine and with every library.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) { (*this)(0, 1); }
    int operator()(int low, int high) {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return low + int((state_ >> 33) % unsigned(high - low + 1));
    }
    bool OneIn(int n) { return (*this)(1, n) == 1; }
    /// low and high a sixth of the time each, else anything between.
    int Biased(int low, int high) {
        const int pick = (*this)(0, 5);
        return pick == 0 ? low : pick == 1 ? high : (*this)(low, high);
    }

private:
    std::uint64_t state_;
};

template <typename T>
std::vector<T> RandomSamples(Random& random, size_t count) {
    std::vector<T> samples(count);
    for (T& sample : samples) sample = T(random.Biased(0, kFull<T>));
    return samples;
}

inline constexpr int kScreen[3] = {70, 180, 60};  // blue, green, red

/// A frame with all that a studio shot holds, pixel by pixel: bare and noisy screen, shadows,
/// mixtures with grey, skin and blue subjects, bright and arbitrary pixels, alpha mostly full.
template <typename T>
std::vector<T> StudioFrame(Random& random, int width, int height) {
    static constexpr int kSubjects[][3] = {{128, 128, 128}, {120, 150, 215}, {205, 110, 60},
                                           {240, 250, 255}, {235, 245, 190}, {10, 8, 12}};
    std::vector<T> frame = RandomSamples<T>(random, size_t(width) * height * 4);
    for (size_t i = 0; i < frame.size(); i += 4) {
        const int kind = random(0, 9), mix = kind < 3 ? 0 : random(0, 100);
        const int noise = kind == 0 ? 0 : random(0, 14);
        const int light = kind == 2 ? random(5, 100) : random.OneIn(6) ? random(70, 160) : 100;
        const int* subject = kSubjects[random(0, 5)];
        for (int e = 0; e < 3 && kind < 9; ++e) {
            const int value =
                (kScreen[e] * (100 - mix) + subject[e] * mix) * light / 10000 * kUnit<T>;
            const int grain = random(-noise * kUnit<T>, noise * kUnit<T>);
            frame[i + e] = T(std::clamp(value + grain, 0, kFull<T>));
        }
        if (!random.OneIn(8)) frame[i + 3] = T(kFull<T>);
    }
    return frame;
}

/// A calm shot: the screen with falloff and light grain, and blocks of other colours before it.
template <typename T>
std::vector<T> CalmFrame(Random& random, int width, int height) {
    const int blocks = width / 40 + 1;
    const auto subjects = StudioFrame<T>(random, blocks, height / 40 + 1);
    std::vector<T> frame(size_t(width) * height * 4, T(kFull<T>));
    for (size_t i = 0; i < frame.size(); i += i % 4 == 2 ? 2 : 1) {
        const int e = i % 4, x = int(i / 4) % width, y = int(i / 4) / width;
        const int block = y / 40 * blocks + x / 40, light = 110 - 30 * (x + y) / (width + height);
        const int value =
            block % 4 == 1 ? subjects[4 * block + e] : kScreen[e] * kUnit<T> * light / 100;
        frame[i] = T(std::clamp(value + random(-kUnit<T>, kUnit<T>), 0, kFull<T>));
    }
    return frame;
}

/// With blue and green in each other's place.
template <typename T>
std::vector<T> Exchanged(std::vector<T> frame) {
    for (size_t i = 0; i < frame.size(); i += 4) std::swap(frame[i], frame[i + 1]);
    return frame;
}

/// Whether two frames are equal; the message names the first difference as pixel and element.
template <typename T>
[[nodiscard]] ::testing::AssertionResult Same(const std::vector<T>& expected,
                                              const std::vector<T>& actual, int width,
                                              int elements = 4) {
    if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
    const auto at = std::mismatch(expected.begin(), expected.end(), actual.begin());
    if (at.first == expected.end()) return ::testing::AssertionSuccess();
    const int index = int(at.first - expected.begin()), pixel = index / elements;
    return ::testing::AssertionFailure()
           << "pixel (" << pixel % width << ", " << pixel / width << ") element "
           << index % elements << ": expected " << +*at.first << ", got " << +*at.second;
}

}  // namespace veltrane::testing

#endif
