#include <gtest/gtest.h>

#include <cmath>

#include "imaging/convert/light_curve.h"
#include "keyer/light/linear_matte.h"
#include "settings/frame_keyer.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"
#include "tests/support/threads.h"

namespace veltrane::testing {
namespace {

constexpr int kWidth = 67, kHeight = 41;

template <class T>
std::vector<T> Cut(Settings s, MatteLight light, const std::vector<T>& source,
                   const KeyInputs<T>& inputs = {}, const Threads& threads = {}) {
    s.keyColor = {60 / 255.0, 180 / 255.0, 70 / 255.0};
    s.matteLight = light;
    std::vector<T> result(source.size());
    Key<T>(s, kWidth, kHeight, {source.data()}, {result.data()}, threads, inputs);
    return result;
}

TYPED_TEST_SUITE(BothDepths, Depths);

// Against a modelled plate, one colour and a given plate, with work on the matte or without.
TYPED_TEST(BothDepths, LinearMattesGiveTheSameBitsInEveryFormAndSplit) {
    using T = TypeParam;
    Random random(101);
    const auto source = StudioFrame<T>(random, kWidth, kHeight);
    const auto plate = CalmFrame<T>(random, kWidth, kHeight);
    for (int variant = 0; variant < 4; ++variant) {
        Settings s;
        s.smoothBG = variant != 1;
        s.edgeContract = s.edgeBlur = s.deBlocking = variant == 3;
        KeyInputs<T> inputs;
        if (variant == 2) inputs.cleanPlate.packed = plate.data();
        const auto cut = [&](const Threads& threads) {
            return Cut(s, MatteLight::Linear, source, inputs, threads);
        };
        const auto expected = Plainly([&] { return cut({}); });
        EXPECT_NE(expected, Cut(s, MatteLight::Display, source, inputs)) << variant;
        ForEachLevel([&] { EXPECT_TRUE(Same(expected, cut({}), kWidth)) << variant; });
        EXPECT_TRUE(Same(expected, cut(Lent(3)), kWidth)) << variant;
    }
}

TYPED_TEST(BothDepths, LinearLightTouchesNothingButMixedMattes) {
    using T = TypeParam;
    Random random(102);
    auto source = StudioFrame<T>(random, kWidth, kHeight);
    for (std::size_t i = 3; i < source.size(); i += 4) source[i] = T(kFull<T>);
    const auto display = Cut({}, MatteLight::Display, source);
    EXPECT_EQ(display, Cut({}, MatteLight::Automatic, source));
    const auto linear = Cut({}, MatteLight::Linear, source);
    int moved = 0, shadows = 0;
    for (std::size_t i = 0; i < source.size(); i += 4) {
        const T* before = &display[i];
        const T* after = &linear[i];
        ASSERT_TRUE(std::equal(before, before + 3, after)) << i;
        const bool isEnd = before[3] == 0 || before[3] == kFull<T>;
        const bool isShadow = !isEnd && before[0] + before[1] + before[2] == 0;
        shadows += isShadow;
        moved += before[3] != after[3];
        if (isEnd || isShadow) {
            ASSERT_EQ(before[3], after[3]) << i;
        } else {
            ASSERT_TRUE(after[3] > 0 && after[3] < kFull<T>) << i;
        }
    }
    EXPECT_GT(moved, 300);
    EXPECT_GT(shadows, 20);
}

/// The nearest sample to a linear value.
template <class T>
T Encoded(double linear) {
    return static_cast<T>(std::lround(SrgbFromLinear(linear) * kFull<T>));
}

/// Rows of one subject that covers the screen more and more, mixed in linear light, and how it is
/// keyed with mattes that are off by as much as is asked for.
template <class T>
struct Mixtures {
    static constexpr int kCount = 200;
    static constexpr double kBehind[] = {0.06, 0.42, 0.05};

    Mixtures(double level, double matteError) {
        for (int i = 0; i < kCount; ++i) {
            const double cover = 0.1 + 0.8 * i / (kCount - 1);
            const double matte = std::clamp(cover + matteError, 0.08, 0.92);
            for (int e = 0; e < 3; ++e) {
                const double subject = level * (e + 2) / 4;
                source.push_back(Encoded<T>(subject * cover + kBehind[e] * (1 - cover)));
                plate.push_back(Encoded<T>(kBehind[e]));
                row.push_back(Encoded<T>(subject));
            }
            covers.push_back(cover);
            source.push_back(T(kFull<T>));
            plate.push_back(T(kFull<T>));
            row.push_back(static_cast<T>(std::lround(matte * kFull<T>)));
        }
    }

    std::vector<T> source, plate, row;
    std::vector<double> covers;
};

// A step of 8 bits changes the coverage of what is close to the screen by some hundredths.
TYPED_TEST(BothDepths, LinearMixturesGetTheirCoverage) {
    using T = TypeParam;
    const double tolerance = sizeof(T) == 2 ? 3e-4 : 0.04;
    for (const double level : {0.02, 0.2, 0.9})
        for (const double error : {-0.25, 0.0, 0.25}) {
            Mixtures<T> mixtures(level, error);
            LinearMatte<T>()(mixtures.source.data(), mixtures.plate.data(), mixtures.row.data(),
                             Mixtures<T>::kCount);
            for (int i = 0; i < Mixtures<T>::kCount; ++i)
                EXPECT_NEAR(mixtures.row[4 * i + 3] / double(kFull<T>), mixtures.covers[i],
                            tolerance)
                    << level << ' ' << error;
        }
}

// What no mixture of the two explains, such as a reflection, is not taken for one, and at the ends
// of the matte little changes.
TYPED_TEST(BothDepths, LinearLightDoubtsWhatItCannotExplain) {
    using T = TypeParam;
    Mixtures<T> mixtures(0.5, 0.2);
    for (int i = 0; i < Mixtures<T>::kCount; ++i) mixtures.source[4 * i + 2] = T(kFull<T>);
    const auto before = mixtures.row;
    LinearMatte<T>()(mixtures.source.data(), mixtures.plate.data(), mixtures.row.data(),
                     Mixtures<T>::kCount);
    for (std::size_t i = 3; i < before.size(); i += 4)
        EXPECT_NEAR(before[i] / double(kFull<T>), mixtures.row[i] / double(kFull<T>), 0.02);

    Mixtures<std::uint16_t> faint(0.5, 0);
    for (std::size_t i = 3; i < faint.row.size(); i += 4) faint.row[i] = i % 8 == 3 ? 40 : 65495;
    const auto asKeyed = faint.row;
    LinearMatte<std::uint16_t>()(faint.source.data(), faint.plate.data(), faint.row.data(),
                                 Mixtures<std::uint16_t>::kCount);
    for (std::size_t i = 3; i < asKeyed.size(); i += 4)
        EXPECT_NEAR(asKeyed[i], faint.row[i], 40 * 16 * 0.32);  // of 65535
}

}  // namespace
}  // namespace veltrane::testing
