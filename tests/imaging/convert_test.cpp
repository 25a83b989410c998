#include "imaging/convert/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "imaging/sample.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

constexpr PixelFormat kRgba{PixelOrder::kRgba};
constexpr PixelFormat kPremultiplied{PixelOrder::kRgba, AlphaState::kPremultiplied};
constexpr PixelFormat kDown{PixelOrder::kRgba, AlphaState::kStraight, FloatRounding::kDown};

using Bytes = std::vector<std::uint8_t>;
using Shorts = std::vector<std::uint16_t>;
using Floats = std::vector<float>;
template <typename T>
using Samples = std::vector<SampleFor<T>>;
template <typename T>
constexpr bool kIsFloat = std::is_same_v<T, float>;
template <typename T>
constexpr double kWhole = kIsFloat<T> ? 1 : kFull<T>;

/// Runs convert on rows of guarded memory, and in place where that is possible.
template <typename To, typename Converter, typename From>
std::vector<To> Converted(const Converter& convert, const std::vector<From>& from) {
    constexpr To kGuard = 77;
    std::vector<To> to(from.size() + 80, kGuard);
    convert(from.data(), to.data(), std::ssize(from) / 4);
    for (; to.size() > from.size(); to.pop_back()) EXPECT_EQ(to.back(), kGuard);
    if constexpr (std::is_same_v<From, To>) {
        auto same = from;
        convert(same.data(), same.data(), std::ssize(from) / 4);
        EXPECT_EQ(same, to);
    }
    return to;
}

template <typename T>
Samples<T> Read(const PixelFormat& format, const std::vector<T>& pixels) {
    return Converted<SampleFor<T>>(PixelReader<T>(format), pixels);
}

template <typename T>
std::vector<T> Write(const PixelFormat& format, const Samples<T>& row) {
    return Converted<T>(PixelWriter<T>(format), row);
}

/// Where a pixel holds what a row has at e.
int Place(PixelOrder order, int e) {
    if (order == PixelOrder::kArgb) return 3 - e;
    return order == PixelOrder::kRgba && e < 3 ? 2 - e : e;
}

/// What reading gives, in double precision.
template <typename T>
Samples<T> ReadByHand(const PixelFormat& format, const std::vector<T>& pixels) {
    Samples<T> row(pixels.size());
    for (size_t i = 0; i < row.size(); ++i) {
        const T* pixel = &pixels[i - i % 4];
        const bool color = i % 4 != 3;
        const T alpha = pixel[Place(format.order, 3)];
        double value = pixel[Place(format.order, i % 4)];
        if (format.alpha == AlphaState::kPremultiplied && color && alpha > 0)
            value = kIsFloat<T> ? float(value) / alpha
                                : std::min(std::floor(value * kFull<T> / alpha + 0.5), kWhole<T>);
        if (format.alpha == AlphaState::kOpaque && !color) value = kWhole<T>;
        // At most 40 bits long, so exact.
        if (kIsFloat<T>) value = value * 65535 + (format.rounding == kDown.rounding ? 0 : 0.5);
        row[i] = value > 0 ? static_cast<SampleFor<T>>(std::min(value, 65535.0)) : 0;
    }
    return row;
}

template <typename T>
std::vector<T> WrittenByHand(const PixelFormat& format, const Samples<T>& row) {
    std::vector<T> pixels(row.size());
    for (size_t i = 0; i < row.size(); ++i) {
        const auto written = [&](size_t at) {
            return kIsFloat<T> ? row[at] / 65535.0f : T(row[at]);
        };
        T& value = pixels[i - i % 4 + Place(format.order, i % 4)];
        value = written(i);
        if (format.alpha != AlphaState::kPremultiplied || i % 4 == 3) continue;
        const double product = 1.0 * value * written(i | 3);
        value = T(kIsFloat<T> ? product : std::floor(product / kWhole<T> + 0.5));
    }
    return pixels;
}

template <typename T>
void ExpectRead(const PixelFormat& format, const std::vector<T>& pixels) {
    const auto expected = ReadByHand(format, pixels);
    AtEveryLevel([&] { EXPECT_TRUE(Same(expected, Read(format, pixels), 1 << 20)); });
}

template <typename T>
void ExpectWritten(const PixelFormat& format, const Samples<T>& row) {
    const auto expected = WrittenByHand<T>(format, row);
    AtEveryLevel([&] { EXPECT_TRUE(Same(expected, Write<T>(format, row), 1 << 20)); });
}

/// Samples, or floats within and beyond 0..1; now and then with alphas that are empty or full.
template <typename T>
std::vector<T> PixelsOf(Random& random, int width, PixelOrder order) {
    std::vector<T> pixels(size_t(width) * 4);
    for (T& value : pixels)
        value = T(kIsFloat<T> ? random(-1 << 20, 9 << 20) / 8388608.0
                              : random.Biased(0, int(kWhole<T>)));
    if (random.OneIn(3))
        for (size_t i = Place(order, 3); i < pixels.size(); i += 4)
            pixels[i] = T(random(0, 1) * kWhole<T>);
    return pixels;
}

template <typename T>
void ExpectEveryFormatAndWidth() {
    for (int width = 1; width <= 70 && !::testing::Test::HasFailure(); ++width) {
        Random random(width);
        for (int f = 0; f < 18; ++f) {
            SCOPED_TRACE(::testing::Message() << width << " pixels, format " << f);
            const PixelFormat format{PixelOrder(f % 3), AlphaState(f / 3 % 3),
                                     FloatRounding(f / 9)};
            ExpectRead(format, PixelsOf<T>(random, width, format.order));
            ExpectWritten<T>(format, RandomSamples<SampleFor<T>>(random, width * 4));
        }
    }
}

TEST(Convert, IsAsByHandInEveryFormatAtEveryLevelAndWidth) {
    ExpectEveryFormatAndWidth<std::uint8_t>();
    ExpectEveryFormatAndWidth<std::uint16_t>();
    ExpectEveryFormatAndWidth<float>();
}

TEST(Convert, WorkedValues) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    AtEveryLevel([&] {
        // 0.5 is 32767.5.
        const Floats floats{0.5f, 1, 0.25f, 0};
        EXPECT_EQ(Read({PixelOrder::kArgb, {}, FloatRounding::kDown}, floats),
                  (Shorts{0, 16383, 65535, 32767}));
        EXPECT_EQ(Read(kRgba, floats), (Shorts{16384, 65535, 32768, 0}));
        const Floats wild{-0.0f, -1, 1.5f, std::nanf(""), kInfinity, -kInfinity, 1e30f, -1e-40f};
        for (const PixelFormat& format : {kRgba, kDown})
            EXPECT_EQ(Read(format, wild), (Shorts{65535, 0, 0, 0, 65535, 0, 65535, 0}));
        EXPECT_EQ(Write<float>({PixelOrder::kArgb}, {0, 16384, 32768, 65535}),
                  (Floats{1, 32768 / 65535.0f, 16384 / 65535.0f, 0}));
        // Colour stays where alpha is 0 or none, and is at most full scale elsewhere.
        EXPECT_EQ(Read(kPremultiplied, Bytes{1, 2, 3, 0, 200, 50, 1, 100}),
                  (Bytes{3, 2, 1, 0, 3, 128, 255, 100}));
        EXPECT_EQ(Read(kPremultiplied, Floats{1, 0.5f, 0, -1, 0.25f, 1, 0.125f, 0.5f}),
                  (Shorts{0, 32768, 65535, 0, 16384, 65535, 32768, 32768}));
    });
}

TEST(Convert, RoundsAsAskedAroundEverySampleAndDividesIt) {
    Shorts samples(65536);
    std::iota(samples.begin(), samples.end(), 0);
    ExpectWritten<float>(kRgba, samples);
    for (const PixelFormat& format : {kRgba, kDown}) {
        const double middle = format.rounding == FloatRounding::kDown ? 0 : 0.5;
        Floats pixels;
        for (const int sample : samples) {
            float value = float((sample + middle) / 65535.0);
            for (int i = 0; i < 3; ++i) value = std::nextafter(value, -1.0f);
            for (int i = 0; i < 7; ++i, value = std::nextafter(value, 2)) pixels.push_back(value);
        }
        ExpectRead(format, pixels);
    }
}

TEST(Convert, DividesAndMultipliesToTheNearestStep) {
    Bytes bytes;
    for (int alpha = 0; alpha < 256; ++alpha)
        for (int value = 0; value < 256; ++value)
            bytes.insert(bytes.end(), {std::uint8_t(value), std::uint8_t(255 - value),
                                       std::uint8_t(value ^ 85), std::uint8_t(alpha)});
    ExpectRead(kPremultiplied, bytes);
    ExpectWritten<std::uint8_t>(kPremultiplied, bytes);
    std::mt19937 random(7);
    Shorts shorts;
    for (int i = 0; i < 100003; ++i) {
        const unsigned alpha = random() >> (16 + random() % 16);
        // Quotients next to the middle between two steps, and now and then anywhere.
        for (int e = 0; e < 3; ++e) {
            const double middle = (random() % 65535 + 0.5) * alpha / 65535;
            shorts.push_back(
                std::uint16_t(i % 8 == 0 ? random() : unsigned(middle) + random() % 2));
        }
        shorts.push_back(std::uint16_t(alpha));
    }
    ExpectRead(kPremultiplied, shorts);
    ExpectWritten<std::uint16_t>(kPremultiplied, shorts);
}

TEST(Convert, LinearLightComesBackToItsNearestStep) {
    const auto there = [](Light light, const Floats& pixels) {
        return Read({PixelOrder::kBgra, AlphaState::kPremultiplied, {}, light}, pixels);
    };
    // The curve lies between alpha and the samples: 0.3 / 0.4 and 0.2 / 0.4 by the curve's formula.
    const Shorts encoded = there(Light::kLinear, {0.3f, 0.2f, 0.001f, 0.4f, -1, 2, 0, 1});
    EXPECT_EQ(encoded, (Shorts{57725, 48192, 2117, 26214, 0, 65535, 0, 65535}));
    Shorts every(65536);
    std::iota(every.begin(), every.end(), 0);
    const PixelFormat linear{PixelOrder::kArgb, {}, {}, Light::kLinear};
    EXPECT_EQ(Read(linear, Write<float>(linear, every)), every);
    EXPECT_EQ(Write<std::uint8_t>(linear, Bytes{0, 128, 255, 77}), (Bytes{77, 255, 55, 0}));
    EXPECT_EQ(Read(linear, Bytes{77, 255, 55, 0}), (Bytes{0, 128, 255, 77}));
}

/// What restoring gives, in arithmetic as plain as can be; the light is that of the display.
Floats RestoredByHand(const FloatRestorer::Formats& formats, const Floats& source,
                      const Shorts& row) {
    const Shorts keyedFrom = ReadByHand(formats.source, source);
    Floats pixels = WrittenByHand<float>({formats.target.order}, row);
    for (size_t i = 0; i < row.size(); ++i) {
        const size_t first = i - i % 4, place = first + Place(formats.target.order, i % 4);
        if (i % 4 == 3) continue;
        float given = source[first + Place(formats.source.order, i % 4)];
        const float alpha = source[first + Place(formats.source.order, 3)];
        if (formats.source.alpha == AlphaState::kPremultiplied && alpha > 0) given /= alpha;
        const bool same =
            row[i | 3] == 65535 && std::equal(&row[first], &row[first] + 3, &keyedFrom[first]);
        if (same) pixels[place] = given;
        if (!same && row[i | 3] > 0) pixels[place] += given - std::clamp(given, 0.0f, 1.0f);
        if (formats.target.alpha == AlphaState::kPremultiplied)
            pixels[place] *= row[i | 3] / 65535.0f;
    }
    return pixels;
}

TEST(FloatRestorer, GivesBackWhatIsUntouchedAndCarriesTheExcess) {
    for (int width = 1; width <= 70 && !::testing::Test::HasFailure(); ++width) {
        Random random(width);
        for (int f = 0; f < 36; ++f) {
            const FloatRestorer::Formats formats{{PixelOrder(f % 3), AlphaState(f / 3 % 3)},
                                                 {PixelOrder(f / 9 % 3), AlphaState(f / 18)}};
            const auto source = PixelsOf<float>(random, width, formats.source.order);
            // Half of the pixels as they were read, opaque or not, the others anyhow.
            Shorts row = ReadByHand(formats.source, source);
            for (size_t i = 0; i < row.size(); i += 4)
                for (size_t e = random.OneIn(2) ? 3 : 0; e < 4; ++e)
                    row[i + e] = std::uint16_t(random.Biased(0, 65535));
            const auto expected = RestoredByHand(formats, source, row);
            AtEveryLevel([&] {
                Floats pixels(row.size());
                const FloatRestorer restore(formats);
                restore(source.data(), row.data(), pixels.data(), width);
                EXPECT_TRUE(Same(expected, pixels, 1 << 20)) << "format " << f;
            });
        }
    }
}

TEST(FloatRestorer, WorkedValues) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const PixelFormat display{PixelOrder::kBgra, AlphaState::kPremultiplied};
    PixelFormat linear = display;
    linear.light = Light::kLinear;
    // Untouched; half covered; clear; despilled; and what is no colour at all.
    const Floats source{6, -0.5f, 0.2f,          1,         3, 0, -1, 1, 5, 5, 5, 1, 2, 1,
                        1, 1,     std::nanf(""), kInfinity, 0, 1};
    const Shorts row{65535, 0, 13107, 65535, 65535, 0,     0, 32768, 9, 9,
                     9,     0, 65535, 0,     65535, 65535, 0, 65535, 0, 65535};
    const float half = 32768 / 65535.0f;
    AtEveryLevel([&] {
        Floats pixels(row.size());
        FloatRestorer({display, display})(source.data(), row.data(), pixels.data(), 5);
        EXPECT_EQ(pixels, (Floats{6, -0.5f, 0.2f, 1, 3 * half, 0, -half, half,      0, 0,
                                  0, 0,     2,    0, 1,        1, 0,     kInfinity, 0, 1}));
        const Floats beyond{4, 0.5f, 0.5f, 1};
        Shorts keyed = Read(linear, beyond);
        FloatRestorer({linear, linear})(beyond.data(), keyed.data(), pixels.data(), 1);
        EXPECT_EQ(Floats(pixels.begin(), pixels.begin() + 4), beyond);
        keyed[3] = 32768;
        FloatRestorer({linear, linear})(beyond.data(), keyed.data(), pixels.data(), 1);
        EXPECT_EQ(pixels[0], 4 * half);
        EXPECT_NEAR(pixels[1], 0.5f * half, 1e-5);
    });
}

TEST(Convert, LinearPremultiplicationRaisesAlpha) {
    const Shorts row{65535, 32768, 0, 32768, 1, 2, 3, 0, 7, 8, 9, 65535};
    Floats pixels(row.size());
    WriteLinearPremultiplied(row.data(), PixelOrder::kArgb, pixels.data(), 3);
    // 0.50000763 to the power 2.2, worked by hand to five places.
    EXPECT_NEAR(pixels[0], 0.21764, 5e-6);
    EXPECT_EQ(pixels, (Floats{pixels[0], 0, 32768 / 65535.0f * pixels[0], pixels[0], 0, 0, 0, 0, 1,
                              9 / 65535.0f, 8 / 65535.0f, 7 / 65535.0f}));
}

}  // namespace
}  // namespace veltrane::testing
