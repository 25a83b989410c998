#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "imaging/imaging.h"
#include "imaging/resample/resample_axis.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Byte = unsigned char;
using Word = unsigned short;
const CImagingORV imaging;

float Lanczos(double t, int lobes, int kernelType) {
    constexpr double kPi = 3.141592653589793;
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
    const double f = enlarge ? 1.0 : D / S, m = enlarge ? -S / D : -1.0;
    const double offset = enlarge ? S / (2 * D) - 0.5 : 0.5 - D / (2 * S);
    const float reach = enlarge ? float(lobes) : float(lobes) * (float(source) / float(target));
    const double centre = (2 * x - 1) * (S / (2 * D));
    Taps taps{std::max(1, int(centre - reach + 0.5 + 1.0)), {}};
    std::vector<float> kernel;
    for (int i = taps.first; i <= std::min(source, int(centre + reach + 0.5)); ++i)
        kernel.push_back(Lanczos(i * f + x * m + offset, lobes, kernelType));
    float sum = 0;
    for (float weight : kernel) sum += weight;
    for (float weight : kernel) taps.weights.push_back(int(weight / sum * 65536.0f));
    return taps;
}

int64_t Floor16(int64_t sum) {
    return static_cast<int64_t>(std::floor(sum / 65536.0));
}

/// One element of one target pixel on the 8-bit scale; sample(x, y) reads the source.
template <typename Sample>
int PlainResample(const Taps& across, const Taps& down, Sample sample) {
    int64_t column = 0;
    for (size_t k = 0; k < down.weights.size(); ++k) {
        int64_t row = 0;
        for (size_t i = 0; i < across.weights.size(); ++i)
            row += int64_t(sample(across.first - 1 + i, down.first - 1 + k)) * across.weights[i];
        column += Floor16(row) * down.weights[k];
    }
    return static_cast<int>(std::clamp<int64_t>(Floor16(column + 32768), 0, 255));
}

struct Side {
    int source;
    int target;
};

/// Resamples random samples with the member for the two types and compares with the plain form.
template <typename From, typename To>
void Check(Random& random, Side width, Side height, int kernelType, int lobes) {
    const int sourcePitch = width.source * 4 + random(0, 5);
    const int targetPitch = width.target * 4 + random(0, 5);
    auto source = RandomSamples<From>(random, size_t(sourcePitch) * height.source);
    auto target = RandomSamples<To>(random, size_t(targetPitch) * height.target), expected = target;
    for (int y = 0; y < height.target; ++y) {
        const Taps down = TapsAt(y + 1, height.source, height.target, lobes, kernelType);
        for (int x = 0; x < width.target; ++x) {
            const Taps across = TapsAt(x + 1, width.source, width.target, lobes, kernelType);
            for (int e = 0; e < 3; ++e) {
                const auto sample = [&](size_t column, size_t row) {
                    return (source[row * sourcePitch + column * 4 + e] + kUnit<From> / 2) /
                           kUnit<From>;
                };
                expected[y * targetPitch + x * 4 + e] =
                    static_cast<To>(PlainResample(across, down, sample) * kUnit<To>);
            }
        }
    }
    constexpr auto member =
        ByDepth<From>(&CImagingORV::DF_WH64bitTo32bit5_1,
                      ByDepth<To>(&CImagingORV::DF_WH32bitTo64bit5_1, &CImagingORV::DF_WH32bit5_1));
    (imaging.*member)(source.data(), width.source, height.source, sourcePitch, target.data(),
                      width.target, height.target, targetPitch, kernelType, lobes);
    EXPECT_TRUE(Same(expected, target, targetPitch, 1))
        << width.source << "x" << height.source << " to " << width.target << "x" << height.target
        << " type " << kernelType << " lobes " << lobes << " bits " << 8 * sizeof(From) << " to "
        << 8 * sizeof(To);
}

TEST(Resample, MatchesThePlainForm) {
    Random random(21);
    for (int n = 0; n < 12 * 12 * 6 && !HasFailure(); ++n) {
        const int S = n % 12 + 1, D = n / 12 % 12 + 1, lobes = n / 144 % 2 + 1, type = n / 288;
        Check<Word, Byte>(random, {S, D}, {D, S}, type, lobes);
        Check<Byte, Word>(random, {S, D}, {D, S}, type, lobes);
        Check<Byte, Byte>(random, {S, D}, {D, S}, type, lobes);
    }
    for (const auto& [S, D] : {Side{97, 13}, {13, 97}, {640, 3}, {3, 640}, {50, 1}}) {
        Check<Word, Byte>(random, {S, D}, {7, 5}, 0, 2);
        Check<Byte, Word>(random, {5, 9}, {S, D}, 0, 1);
        Check<Byte, Byte>(random, {S, D}, {D, S}, 1, 3);
    }
}

TEST(Resample, FiltersOfLargeFramesHaveExactWeights) {
    struct Filter {
        Side side;
        int lobes, kernelType;
    };
    const Filter filters[] = {{{1920, 320}, 2, 0}, {{1080, 180}, 2, 0},  {{4096, 320}, 2, 0},
                              {{1998, 320}, 2, 0}, {{65535, 320}, 2, 0}, {{320, 1920}, 1, 0},
                              {{180, 1080}, 1, 0}, {{320, 65535}, 1, 0}, {{65535, 65535}, 1, 0},
                              {{331, 1997}, 2, 1}, {{2160, 168}, 3, 1},  {{300, 299}, 2, 0}};
    for (const auto& [side, lobes, type] : filters) {
        SCOPED_TRACE(::testing::Message() << side.source << " to " << side.target);
        const ResampleAxis axis(side.source, side.target, type, lobes);
        ASSERT_EQ(axis.taps.size(), size_t(side.target));
        for (int x = 0; x < side.target; ++x) {
            const veltrane::Taps& taps = axis.taps[x];
            const Taps expected = TapsAt(x + 1, side.source, side.target, lobes, type);
            const int32_t* weights = axis.Weights(taps);
            ASSERT_EQ(taps.first, expected.first - 1) << x;
            ASSERT_EQ(std::vector<int>(weights, weights + taps.count), expected.weights) << x;
        }
    }
}

}  // namespace
}  // namespace veltrane::testing
