#ifndef VELTRANE_TESTS_IMAGING_FRAMES_H
#define VELTRANE_TESTS_IMAGING_FRAMES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace veltrane::testing {

/// Full scale of a sample type.
template <typename T>
inline constexpr int kFull = sizeof(T) == 2 ? 65535 : 255;

/// The unit of the 8-bit scale in samples of type T.
template <typename T>
inline constexpr int kUnit = sizeof(T) == 2 ? 257 : 1;

using Depths = ::testing::Types<unsigned short, unsigned char>;

/// The 16-bit or the 8-bit member of a pair, by sample type.
template <typename T, typename Sixteen, typename Eight>
constexpr auto ByDepth(Sixteen sixteen, Eight eight) {
    if constexpr (sizeof(T) == 2) {
        return sixteen;
    } else {
        return eight;
    }
}

class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}
    int operator()(int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(engine);
    }
    bool OneIn(int n) { return (*this)(1, n) == 1; }
    /// low and high a sixth of the time each, else anything between.
    int Biased(int low, int high) {
        const int pick = (*this)(0, 5);
        return pick == 0 ? low : pick == 1 ? high : (*this)(low, high);
    }

private:
    std::mt19937 engine;
};

template <typename T>
std::vector<T> RandomSamples(Random& random, size_t count) {
    std::vector<T> samples(count);
    for (T& sample : samples) sample = static_cast<T>(random.Biased(0, kFull<T>));
    return samples;
}

/// A frame in the manner of a studio shot, around a screen colour given in blue, green, red on the
/// 8-bit scale: bare and noisy screen, shadows, mixtures with grey, skin and blue subjects, bright
/// pixels and arbitrary ones, with alpha mostly full.
template <typename T>
std::vector<T> StudioFrame(Random& random, int width, int height, const int (&screen)[3]) {
    static constexpr int kSubjects[][3] = {{128, 128, 128}, {120, 150, 215}, {205, 110, 60},
                                           {240, 250, 255}, {235, 245, 190}, {10, 8, 12}};
    std::vector<T> frame(size_t(width) * height * 4);
    for (size_t i = 0; i < frame.size(); i += 4) {
        const int kind = random(0, 9);
        const int noise = kind == 0 ? 0 : random(0, 14);
        const int mix = kind < 3 ? 0 : random(0, 100);
        const int light = kind == 2 ? random(5, 100) : random.OneIn(6) ? random(70, 160) : 100;
        const int* subject = kSubjects[random(0, 5)];
        for (int e = 0; e < 3; ++e) {
            int value = (screen[e] * (100 - mix) + subject[e] * mix) * light * kUnit<T> / 10000;
            value += random(-noise, noise) * kUnit<T>;
            if (kind == 9) value = random.Biased(0, kFull<T>);
            frame[i + e] = static_cast<T>(std::clamp(value, 0, kFull<T>));
        }
        frame[i + 3] = static_cast<T>(random.OneIn(8) ? random.Biased(0, kFull<T>) : kFull<T>);
    }
    return frame;
}

/// A calm shot: the screen with falloff and light grain, and in front of it blocks of the colours
/// of a studio frame.
template <typename T>
std::vector<T> CalmFrame(Random& random, int width, int height, const int (&screen)[3]) {
    constexpr int kBlock = 40;
    const int blocks = width / kBlock + 1;
    const auto subjects = StudioFrame<T>(random, blocks, height / kBlock + 1, screen);
    std::vector<T> frame(size_t(width) * height * 4);
    for (size_t i = 0; i < frame.size(); ++i) {
        const int e = i % 4, x = int(i / 4) % width, y = int(i / 4) / width;
        const int block = y / kBlock * blocks + x / kBlock;
        const int falloff = 110 - 30 * (x + y) / (width + height);
        int value = e == 3 ? 255 * kUnit<T> : screen[e] * kUnit<T> * falloff / 100;
        if (block % 4 == 1) value = subjects[4 * block + e];
        frame[i] = static_cast<T>(std::clamp(value + random(-kUnit<T>, kUnit<T>), 0, kFull<T>));
    }
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
    const int index = static_cast<int>(at.first - expected.begin());
    const int pixel = index / elements;
    return ::testing::AssertionFailure()
           << "pixel (" << pixel % width << ", " << pixel / width << ") element "
           << index % elements << ": expected " << +*at.first << ", got " << +*at.second;
}

}  // namespace veltrane::testing

#endif
