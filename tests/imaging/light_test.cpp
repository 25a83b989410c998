#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <random>

#include "imaging/convert/light_curve.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

using Floats = std::vector<float>;

/// Both neighbours of every place where the sample changes, of which each is found by halving.
Floats Borders(const LightCurve& curve) {
    Floats borders;
    for (int k = 1; k <= 65535; ++k) {
        auto below =
            std::bit_cast<std::uint32_t>(curve.ToStored(static_cast<std::uint16_t>(k - 1)));
        auto above = std::bit_cast<std::uint32_t>(curve.ToStored(static_cast<std::uint16_t>(k)));
        while (above - below > 1) {
            const std::uint32_t middle = below + (above - below) / 2;
            (curve.ToWorking(std::bit_cast<float>(middle)) < k ? below : above) = middle;
        }
        borders.insert(borders.end(), {std::bit_cast<float>(below), std::bit_cast<float>(above)});
    }
    return borders;
}

TEST(LightCurve, EveryFormFindsTheSampleOfEachFloat) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const Light light : {Light::kDisplay, Light::kLinear}) {
        const LightCurve& curve = LightCurve::For(light);
        Floats values = Borders(curve);
        for (const float odd : {0.0f, -0.0f, -1.0f, -kInfinity, 0x1p-22f, 0x1.fffffep-23f, 1e-40f,
                                1.0f, 0x1.fffffep-1f, 7.0f, kInfinity, std::nanf("")}) {
            values.push_back(odd);
        }
        std::mt19937 random(11);
        for (int i = 0; i < 100'000; ++i) {
            values.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
            values.push_back(static_cast<float>(random()) * 0x1p-32f);
        }
        std::vector<std::uint16_t> expected;
        for (const float value : values) expected.push_back(curve.ToWorking(value));
        ForEachLevel([&] {
            std::vector<std::uint16_t> samples(values.size());
            curve.ToWorking(values.data(), std::ssize(values), samples.data());
            EXPECT_TRUE(samples == expected);
        });
    }
}

}  // namespace
}  // namespace veltrane::testing
