#include <gtest/gtest.h>

#include <cmath>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

const CImagingORV imaging;
constexpr double kPi = 3.141592653589793;

float Lanczos(double t, int lobes, int kernelType) {
    if (std::fabs(t) < 2.220446049250313e-16) return 1.0f;
    if (std::fabs(t) >= lobes) return 0.0f;
    const double narrow = (kernelType == 1 ? 2.670353755551324 : kPi) * t, wide = kPi * t / lobes;
    return static_cast<float>(std::sin(narrow) / narrow * std::sin(wide) / wide);
}

/// The source samples (1-based) behind one target sample, with weights in 1/65536.
struct Taps {
    int first;
    std::vector<int> weights;
};

Taps TapsAt(int x, int source, int target, int lobes, int kernelType) {
    const double S = source, D = target;
    const bool enlarge = source < target;
    const double f = enlarge ? 1.0 : D / S;
    const double m = enlarge ? -S / D : -1.0;
    const double offset = enlarge ? S / (2 * D) - 0.5 : 0.5 - D / (2 * S);
    const float reach = enlarge ? float(lobes) : float(lobes) * (float(source) / float(target));
    const double centre = (2 * x - 1) * (S / (2 * D));
    const int first = std::max(1, int(centre - reach + 0.5 + 1.0));
    const int last = std::min(source, int(centre + reach + 0.5));
    std::vector<float> kernel;
    float sum = 0;
    for (int i = first; i <= last; ++i) {
        kernel.push_back(Lanczos(i * f + x * m + offset, lobes, kernelType));
        sum += kernel.back();
    }
    Taps taps{first, {}};
    for (float weight : kernel) taps.weights.push_back(int(weight / sum * 65536.0f));
    return taps;
}

struct Side {
    int source;
    int target;
};

int Floor16(int64_t sum) {
    return static_cast<int>(std::floor(sum / 65536.0));
}

/// One element of one target pixel (1-based), on the 8-bit scale; sample(x, y) reads the source.
template <typename Sample>
int PlainResample(const Taps& across, const Taps& down, Sample sample) {
    int64_t column = 0;
    for (size_t k = 0; k < down.weights.size(); ++k) {
        int64_t row = 0;
        for (size_t i = 0; i < across.weights.size(); ++i)
            row += int64_t(sample(across.first - 1 + i, down.first - 1 + k)) * across.weights[i];
        column += int64_t(Floor16(row)) * down.weights[k];
    }
    return std::clamp(Floor16(column + 32768), 0, 255);
}

template <typename From, typename To>
void Resample(std::vector<From>& source, Side width, Side height, int sourcePitch,
              std::vector<To>& target, int targetPitch, int kernelType, int lobes) {
    const auto run = [&](auto member) {
        (imaging.*member)(source.data(), width.source, height.source, sourcePitch, target.data(),
                          width.target, height.target, targetPitch, kernelType, lobes);
    };
    if constexpr (sizeof(From) == 2) {
        run(&CImagingORV::DF_WH64bitTo32bit5_1);
    } else if constexpr (sizeof(To) == 2) {
        run(&CImagingORV::DF_WH32bitTo64bit5_1);
    } else {
        run(&CImagingORV::DF_WH32bit5_1);
    }
}

template <typename From, typename To>
void ExpectPlain(Random& random, Side width, Side height, int kernelType, int lobes) {
    SCOPED_TRACE(::testing::Message()
                 << width.source << "x" << height.source << " to " << width.target << "x"
                 << height.target << " type " << kernelType << " lobes " << lobes << " bits "
                 << 8 * sizeof(From) << " to " << 8 * sizeof(To));
    const int sourcePitch = width.source * 4 + random(0, 5);
    const int targetPitch = width.target * 4 + random(0, 5);
    auto source = RandomSamples<From>(random, size_t(sourcePitch) * height.source);
    auto target = RandomSamples<To>(random, size_t(targetPitch) * height.target);
    auto expected = target;
    for (int y = 0; y < height.target; ++y) {
        const Taps down = TapsAt(y + 1, height.source, height.target, lobes, kernelType);
        for (int x = 0; x < width.target; ++x) {
            const Taps across = TapsAt(x + 1, width.source, width.target, lobes, kernelType);
            for (int e = 0; e < 3; ++e) {
                const auto sample = [&](size_t column, size_t row) {
                    const From value = source[row * sourcePitch + column * 4 + e];
                    return sizeof(From) == 2 ? int(value / 257.0f + 0.5f) : int(value);
                };
                expected[y * targetPitch + x * 4 + e] =
                    static_cast<To>(PlainResample(across, down, sample) * kUnit<To>);
            }
        }
    }
    Resample(source, width, height, sourcePitch, target, targetPitch, kernelType, lobes);
    EXPECT_TRUE(Same(expected, target, targetPitch, 1));
}

TEST(Resample, MatchesThePlainFormForEverySmallSize) {
    Random random(21);
    for (int S = 1; S <= 12; ++S) {
        for (int D = 1; D <= 12; ++D) {
            for (int lobes : {1, 2}) {
                for (int kernelType : {0, 1, 2}) {
                    const Side width{S, D}, height{D, S};
                    using Byte = unsigned char;
                    using Word = unsigned short;
                    ExpectPlain<Word, Byte>(random, width, height, kernelType, lobes);
                    ExpectPlain<Byte, Word>(random, width, height, kernelType, lobes);
                    ExpectPlain<Byte, Byte>(random, width, height, kernelType, lobes);
                    if (HasFailure()) return;
                }
            }
        }
    }
}

TEST(Resample, MatchesThePlainFormAtUnrelatedSizes) {
    Random random(22);
    for (const auto& [S, D] :
         {Side{97, 13}, Side{13, 97}, Side{640, 3}, Side{3, 640}, Side{50, 1}}) {
        ExpectPlain<unsigned short, unsigned char>(random, {S, D}, {7, 5}, 0, 2);
        ExpectPlain<unsigned char, unsigned short>(random, {5, 9}, {S, D}, 0, 1);
        ExpectPlain<unsigned char, unsigned char>(random, {S, D}, {D, S}, 1, 3);
    }
}

TEST(Resample, EqualSizesCopy) {
    Random random(23);
    for (int lobes : {1, 2}) {
        auto bytes = RandomSamples<unsigned char>(random, 9 * 5 * 4);
        std::vector<unsigned char> copy(bytes.size(), 77);
        Resample(bytes, {9, 9}, {5, 5}, 36, copy, 36, 0, lobes);
        auto words = RandomSamples<unsigned short>(random, 9 * 5 * 4);
        std::vector<unsigned char> reduced(words.size(), 77);
        Resample(words, {9, 9}, {5, 5}, 36, reduced, 36, 0, lobes);
        for (size_t i = 0; i < copy.size(); ++i) {
            EXPECT_EQ(copy[i], i % 4 == 3 ? 77 : bytes[i]);
            EXPECT_EQ(reduced[i], i % 4 == 3 ? 77 : (words[i] + 128) / 257);
        }
    }
}

TEST(Resample, WorkedHalving) {
    // One target sample over two: both weigh one half, so 10 and 21 give floor(15.5), then 15.
    std::vector<unsigned char> source{10, 0, 255, 1, 21, 1, 255, 2}, target{0, 0, 0, 9};
    Resample(source, {2, 1}, {1, 1}, 8, target, 4, 0, 1);
    EXPECT_EQ(target, (std::vector<unsigned char>{15, 0, 255, 9}));
    // The same down a column: the second pass rounds one half up.
    Resample(source, {1, 1}, {2, 1}, 4, target, 4, 0, 1);
    EXPECT_EQ(target, (std::vector<unsigned char>{16, 1, 255, 9}));
}

}  // namespace
}  // namespace veltrane::testing
