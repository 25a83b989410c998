#include <gtest/gtest.h>

#include "keyer/core/matte_rows.h"
#include "tests/imaging/levels.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

constexpr int kGuard = 80;  // samples on both sides of a target

/// A row to key, with a plate behind it.
template <typename T>
struct Row {
    int width;
    std::vector<T> source;
    std::vector<unsigned char> plate;  // planes of blue, green and red
    std::vector<T> pixels;             // another plate, interleaved

    PlanarRow Planes() const {
        return {plate.data(), plate.data() + width, plate.data() + 2 * width};
    }
    T PlateSample(int x, int e) const { return static_cast<T>(plate[e * width + x] * kUnit<T>); }
};

/// Screen colours: mostly near the studio's, in runs; some gray, black, the neutral one or any.
std::vector<unsigned char> AnyPlate(Random& random, int width) {
    std::vector<unsigned char> plate(size_t(width) * 3);
    for (int x = 0; x < width;) {
        const int kind = random(0, 11), spread = random.Biased(0, 30);
        const int gray = kind == 1 ? 127 : kind == 2 ? 0 : random(0, 255);
        for (int end = std::min(width, x + random(1, 40)); x < end; ++x) {
            for (int e = 0; e < 3; ++e) {
                const int near = std::clamp(kScreen[e] + random(-spread, spread), 0, 255);
                plate[e * width + x] = static_cast<unsigned char>(kind == 0   ? random(0, 255)
                                                                  : kind <= 3 ? gray
                                                                              : near);
            }
        }
    }
    return plate;
}

/// As bright as the screen but for a hair, and of another hue: there the matte tells the last bit
/// of the luma without the screen.
template <typename T>
void MakeTwilight(Random& random, Row<T>& row) {
    for (int x = 0; x < row.width; ++x) {
        T* pixel = &row.source[4 * x];
        const auto moved = [&](int e) {
            const int step = random(-60 * kUnit<T>, 60 * kUnit<T>);
            pixel[e] = static_cast<T>(std::clamp(row.PlateSample(x, e) + step, 0, kFull<T>));
            return pixel[e] - double(row.PlateSample(x, e));
        };
        const double brighter = 0.114 * moved(0) + 0.299 * moved(2);
        const double green = row.PlateSample(x, 1) - brighter / 0.587 + random(0, 2 * kUnit<T>);
        pixel[1] = static_cast<T>(std::clamp(green, 0.0, double(kFull<T>)));
    }
}

template <typename T>
Row<T> AnyRow(Random& random, int width) {
    Row<T> row{width, {}, AnyPlate(random, width), RandomSamples<T>(random, size_t(width) * 4)};
    const int kind = random(0, 5), run = kind == 5 ? random(2, 60) : 1;
    row.source = kind == 0   ? RandomSamples<T>(random, size_t(width) * 4)
                 : kind == 1 ? CalmFrame<T>(random, width, 1)
                             : StudioFrame<T>(random, width, 1);
    if (kind == 2) MakeTwilight(random, row);
    for (int i = 0; i < 4 * width; ++i) row.source[i] = row.source[i / 4 / run * run * 4 + i % 4];
    for (int x = 0; x < width; ++x) {
        for (int e = 0; e < 3 && !random.OneIn(9); ++e) {
            row.pixels[4 * x + e] = row.PlateSample(x, e);
            if (kind == 3 && x % 50 < 20) row.source[4 * x + e] = row.PlateSample(x, e);
        }
    }
    return row;
}

/// A pixel's screen, from the record.
template <typename T>
KeyAxis AxisOf(const Record<T>& record, Chroma neutral) {
    return KeyAxis(SampleToYiq(record.keyR[0], record.keyG[0], record.keyB[0]), neutral,
                   kColorMargins);
}

/// All forms of the key of a row, one behind the other, in the form of the level in use. The guards
/// around every target must keep their values.
template <typename T>
std::vector<T> KeyAllWays(const Record<T>& record, const Row<T>& row) {
    const KeyLook<T> look(record);
    const KeyAxis axis = AxisOf<T>(record, look.neutral);
    const KeyRows<T>& rows = KeyRowsInUse<T>();
    const T* source = row.source.data();
    std::vector<T> results;
    const auto add = [&](auto key) {
        std::vector<T> memory(row.source.size() + 2 * kGuard, T{0x5B});
        T* target = memory.data() + kGuard;
        key(target);
        results.insert(results.end(), target, target + row.source.size());
        std::fill_n(target, row.source.size(), T{0x5B});
        EXPECT_EQ(memory, std::vector<T>(memory.size(), T{0x5B}));
    };
    add([&](T* to) { rows.againstPlate(look, source, row.Planes(), to, row.width); });
    add([&](T* to) { rows.againstPixels(look, source, row.pixels.data(), to, row.width); });
    add([&](T* to) { rows.againstColor(look, axis, source, to, row.width); });
    add([&](T* to) {
        std::copy(row.source.begin(), row.source.end(), to);
        rows.againstPlate(look, to, row.Planes(), to, row.width);
    });
    return results;
}

TYPED_TEST(BothDepths, RowsAreKeyedToTheSameBitsAtEveryLevel) {
    using T = TypeParam;
    long clear = 0, solid = 0, partial = 0, pixels = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        Random random(seed);
        const int width = seed % 5 == 0 ? random(71, 700) : 1 + static_cast<int>(seed) % 70;
        const Row<T> row = AnyRow<T>(random, width);
        std::vector<T> unused(1);
        auto record = RandomRecord<T>(random, row.source, unused, width, 1);
        if (seed % 8 != 0) SetPair(record.shadow, 100);  // 16-bit curves take a while
        if (seed % 40 == 1)                              // a key without chroma
            for (auto* pair : {&record.keyR, &record.keyG, &record.keyB})
                SetPair(*pair, 127 * kUnit<T>);
        SCOPED_TRACE(::testing::Message() << "seed " << seed << ", width " << width << ", record "
                                          << ::testing::PrintToString(record));
        const auto expected = Plainly([&] { return KeyAllWays<T>(record, row); });
        ForEachLevel([&] { ASSERT_TRUE(Same(expected, KeyAllWays<T>(record, row), width)); });
        if (this->HasFailure()) return;
        for (int i = 3; i < 4 * width; i += 4, ++pixels) {
            clear += expected[i] == 0;
            solid += expected[i] == kFull<T>;
            partial += expected[i] != 0 && expected[i] != kFull<T>;
        }
    }
    EXPECT_GT(std::min({clear, solid, partial}), pixels / 20);
}

/// The plain form takes a planar plate for the interleaved one of the same colours.
TYPED_TEST(BothDepths, APlanarPlateIsTheInterleavedOne) {
    using T = TypeParam;
    Random random(5);
    Row<T> row = AnyRow<T>(random, 500);
    for (int i = 0; i < 4 * row.width; ++i)
        if (i % 4 < 3) row.pixels[i] = row.PlateSample(i / 4, i % 4);
    std::vector<T> planar(row.source.size()), interleaved(row.source.size());
    const auto record = DefaultRecord<T>(row.source, planar, row.width, 1);
    const KeyLook<T> look(record);
    const KeyRows<T>& rows = KeyRowsInUse<T>();
    rows.againstPlate(look, row.source.data(), row.Planes(), planar.data(), row.width);
    rows.againstPixels(look, row.source.data(), row.pixels.data(), interleaved.data(), row.width);
    EXPECT_TRUE(Same(interleaved, planar, row.width));
}

// Most of these pixels need a power, and about one in 2000 of the powers lies too near to the
// middle between two floats for the vectors to tell.
TEST(MattePowers, OfDarkMixturesAreTheLibrarysToTheLastBit) {
    Random random(17);
    long partial = 0;
    for (int n = 0; n < 150 && !::testing::Test::HasFailure(); ++n) {
        Row<unsigned short> row = AnyRow<unsigned short>(random, 2000);
        MakeTwilight(random, row);
        std::vector<unsigned short> unused(1);
        auto record = DefaultRecord<unsigned short>(row.source, unused, row.width, 1);
        SetPair(record.screenGain, random(0, 30));
        SetPair(record.despillGray, random.OneIn(2) ? 0 : random(0, 30));
        const auto expected = Plainly([&] { return KeyAllWays(record, row); });
        ForEachLevel([&] { EXPECT_TRUE(Same(expected, KeyAllWays(record, row), row.width)); });
        for (size_t i = 3; i < row.source.size(); i += 4)
            partial += expected[i] != 0 && expected[i] != 65535;
    }
    EXPECT_GT(partial, 50'000);
}

TYPED_TEST(BothDepths, MatteCurvesAreTheLibrarysForEveryShadow) {
    using T = TypeParam;
    std::vector<T> unused(1);
    auto record = DefaultRecord<T>(unused, unused, 1, 1);
    // The last ones are beyond what the driver accepts.
    for (const int shadow : {101, 200, 201, 1000}) {
        SetPair(record.shadow, shadow);
        EXPECT_EQ(KeyLook<T>(record).curve, Plainly([&] { return KeyLook<T>(record).curve; }));
    }
    for (int shadow = 0; shadow < 100; ++shadow) {
        SetPair(record.shadow, shadow);
        const auto expected = Plainly([&] { return KeyLook<T>(record).curve; });
        ASSERT_EQ(expected.size(), size_t(kFull<T>) + 1);
        ForEachLevel([&] { ASSERT_EQ(KeyLook<T>(record).curve, expected) << shadow; });
    }
}

// What the vectors rely on.
TEST(MattePowers, OfAFullMatteLeavesTheLuma) {
    Random random(23);
    for (int n = 0; n < 100'000; ++n) {
        const auto any = [&] { return static_cast<unsigned short>(random.Biased(0, 65535)); };
        const float luma = SampleToYiq(any(), any(), any()).Y;
        const float screenLuma = luma + static_cast<float>(random(0, 1000)) / 7.0f;
        ASSERT_EQ(UnmixedDarkLuma(luma, screenLuma, 1.0f), luma);
    }
}

TEST(MatteSamples, AreBroughtToThe8BitScaleWithoutADivision) {
    for (int sample = 0; sample <= 65535; ++sample) {
        const float value = static_cast<float>(sample);
        ASSERT_EQ(value - value * (1 / 257.0f), value / 257.0f * 256.0f) << sample;
    }
}

}  // namespace
}  // namespace veltrane::testing
