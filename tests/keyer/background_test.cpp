#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/imaging/levels.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);
using Bytes = std::vector<unsigned char>;

struct Tables {
    std::vector<float> I = std::vector<float>(256, -999.0f);
    std::vector<float> Q = I;
};

/// One channel of the screen at a fraction of its light, through the tone curve and its toe.
int Darken(int component, float light) {
    const float k = static_cast<float>(255.0 / std::log10(34.33333407839141));
    const double span = 7.649999618530273, toe = 0.029999999329447746;
    const float s = static_cast<float>(65.0 / ((std::pow(10.0, 60.0 / double(k)) - 1.0) * span));
    const double L = component >= 60 ? (std::pow(10.0, component / double(k)) - 1.0) * span
                                     : double((component + 5) / s);
    float v = static_cast<float>((std::log10(L * light / 255.0 + toe) - std::log10(toe)) * k);
    if (v < 60.0f) v = s * float(L) * light - 5.0f;
    return static_cast<int>(std::clamp(v, 0.0f, 255.0f));
}

Tables PlainCorrect(int R, int G, int B) {
    Tables tables;
    for (int t = 0; t < 10000; ++t) {
        const float light = t / 9999.0f;
        const YIQ c = stages.RGBtoYIQ(Darken(R, light), Darken(G, light), Darken(B, light));
        const int j = static_cast<int>(std::clamp(c.Y, 0.0f, 255.0f));
        tables.I[j] = c.I;
        tables.Q[j] = c.Q;
    }
    std::fill_n(tables.I.begin(), 80, tables.I[80]);
    std::fill_n(tables.Q.begin(), 80, tables.Q[80]);
    const YIQ key = stages.RGBtoYIQ(R, G, B);
    std::replace(tables.I.begin(), tables.I.end(), -999.0f, key.I);
    std::replace(tables.Q.begin(), tables.Q.end(), -999.0f, key.Q);
    return tables;
}

TEST(BackgroundExtract, MatchesThePlainForm) {
    Random random(42);
    int kept = 0, emptied = 0, marked = 0;
    for (int n = 0; n < 80; ++n) {
        const int width = random(1, 33), height = random(1, 20), pitch = width * 4 + random(0, 3);
        const int spread = n % 2 ? 30 : 60, G = kScreen[1] + random(-spread, spread);
        const int R = kScreen[2] + random(-spread, spread);
        const int B = kScreen[0] + random(-spread, spread);
        const int lower = random.Biased(120, 170), upper = random.Biased(250, 330);
        Bytes image = StudioFrame<unsigned char>(random, width + 1, height);
        const int rowBytes = (width + 3) / 4 * 4;
        Bytes map(size_t(rowBytes) * height, 99), expected = image, expectedMap = map;
        const Tables tables = PlainCorrect(R, G, B);
        Tables actual;
        EXPECT_EQ(stages.MakeBCCorrect(R, G, B, stages.RGBtoYIQ(R, G, B), actual.I.data(),
                                       actual.Q.data()),
                  1u);
        ASSERT_TRUE(tables.I == actual.I && tables.Q == actual.Q) << R << "," << G << "," << B;
        const auto slope = [](int hue) {
            const YIQ edge = stages.HLStoYIQ({float(hue), 128.0f, 50.0f});
            return edge.Q / edge.I;
        };
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                unsigned char* pixel = &expected[y * pitch + 4 * x];
                const YIQ c = stages.RGBtoYIQ(pixel[2], pixel[1], pixel[0]);
                const float dI = c.I - tables.I[int(c.Y)], dQ = c.Q - tables.Q[int(c.Y)];
                const bool outside = c.I * slope(lower) <= c.Q || c.I * slope(upper) <= c.Q;
                const bool other = !outside && std::sqrt(dQ * dQ + dI * dI) > 20.0f;
                if (outside || other) pixel[0] = pixel[1] = pixel[2] = 0;
                expectedMap[y * rowBytes + x] = other ? 255 : 0;
                ++(outside ? emptied : other ? marked : kept);
            }
        }
        EXPECT_EQ(stages.ExtractBack32bit(image.data(), map.data(), width, height, pitch, R, G, B,
                                          lower, upper),
                  1u);
        ASSERT_TRUE(Same(expected, image, pitch, 1)) << "case " << n;
        ASSERT_TRUE(Same(expectedMap, map, rowBytes, 1)) << "case " << n;
    }
    EXPECT_GT(std::min({kept, emptied, marked}), 100);
    Bytes pixel{1, 2, 3, 4}, one(4, 7);
    float table[256];
    EXPECT_EQ(stages.MakeBCCorrect(9, 9, 9, {}, nullptr, table), 0u);
    EXPECT_EQ(stages.MakeBCCorrect(9, 9, 9, {}, table, nullptr), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(nullptr, one.data(), 1, 1, 4, 0, 9, 0, 120, 250), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(pixel.data(), nullptr, 1, 1, 4, 0, 9, 0, 120, 250), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(pixel.data(), one.data(), 0, 1, 4, 0, 9, 0, 120, 250), 1u);
    EXPECT_EQ(pixel, (Bytes{1, 2, 3, 4}));
}

/// A frame after extraction and, behind it, the map.
Bytes Extract(Bytes image, int width, int height, const int (&key)[3], int lower, int upper) {
    Bytes map(size_t(width + 3) / 4 * 4 * height, 99);
    stages.ExtractBack32bit(image.data(), map.data(), width, height, width * 4, key[2], key[1],
                            key[0], lower, upper);
    image.insert(image.end(), map.begin(), map.end());
    return image;
}

TEST(BackgroundExtract, GivesTheSameBitsAtEveryLevel) {
    Random random(47);
    for (int n = 0; n < 140; ++n) {
        const int width = n % 70 + 1, height = random(1, 20);
        const int lower = random.Biased(-360, 360), upper = random.Biased(-360, 360);
        int key[3];
        for (int e = 0; e < 3; ++e) key[e] = n % 2 ? kScreen[e] : random.Biased(0, 255);
        const Bytes image = n % 3
                                ? StudioFrame<unsigned char>(random, width, height)
                                : RandomSamples<unsigned char>(random, size_t(width) * height * 4);
        const auto extract = [&] { return Extract(image, width, height, key, lower, upper); };
        const Bytes expected = Plainly(extract);
        SCOPED_TRACE(::testing::Message()
                     << width << "x" << height << " hues " << lower << " to " << upper);
        ForEachLevel([&] { ASSERT_TRUE(Same(expected, extract(), width)); });
    }
}

struct Fill {
    Bytes pixels;
    int width;
    int height;

    bool Empty(int i) const { return std::count(&pixels[4 * i], &pixels[4 * i + 3], 0) == 3; }

    /// The up to eight neighbours of a pixel.
    std::vector<int> Around(int i) const {
        std::vector<int> found;
        for (int y = std::max(0, i / width - 1); y <= std::min(height - 1, i / width + 1); ++y)
            for (int x = std::max(0, i % width - 1); x <= std::min(width - 1, i % width + 1); ++x)
                if (y * width + x != i) found.push_back(y * width + x);
        return found;
    }
};

/// A frame of small and large values with holes (elements 0..2 are 0) of a given share per cent.
Bytes Holed(Random& random, int width, int height, int share) {
    Bytes image = RandomSamples<unsigned char>(random, size_t(width) * height * 4);
    const bool dark = random.OneIn(3);
    for (size_t i = 0; i < image.size(); i += 4) {
        if (dark)
            for (int e = 0; e < 3; ++e) image[i + e] %= 3;
        if (random(1, 100) <= share) image[i] = image[i + 1] = image[i + 2] = 0;
    }
    return image;
}

TEST(BackgroundContract, MatchesThePlainForm) {
    Random random(43);
    for (int n = 0; n < 200; ++n) {
        const bool wide = n % 4 == 0;  // several words of flags
        const int width = wide ? random(60, 200) : random(1, 15);
        const int height = random(1, 15), steps = random(0, 4);
        Bytes image = Holed(random, width, height, wide ? 1 : random(0, 20));
        Bytes expected = image;
        for (int step = 0; step < steps; ++step) {
            const Fill before{expected, width, height};
            for (int i = 0; i < width * height; ++i)
                for (int near : before.Around(i))
                    if (before.pixels[4 * near + 2] == 0) std::fill_n(&expected[4 * i], 3, 0);
        }
        EXPECT_EQ(stages.ContractBack32bit(image.data(), width, height, width * 4, steps), 1u);
        ASSERT_TRUE(Same(expected, image, width)) << "case " << n << " steps " << steps;
    }
}

/// The mean of all screen pixels; blue, green, red.
std::array<int, 3> PlainFallback(const Fill& image, std::array<int, 3> colour) {
    std::array<int, 3> sums{};
    int count = 0;
    for (int i = 0; i < image.width * image.height; ++i) {
        if (image.Empty(i)) continue;
        ++count;
        for (int e = 0; e < 3; ++e) sums[e] += image.pixels[4 * i + e];
    }
    for (int e = 0; e < 3 && count > 0; ++e) colour[e] = sums[e] / count;
    return colour;
}

/// Fills each hole pixel from the two ends of its run in the row.
void PlainRows(Fill& image, std::array<int, 3> fallback) {
    const Fill before = image;
    for (int i = 0; i < image.width * image.height; ++i) {
        if (!before.Empty(i)) continue;
        const int start = i / image.width * image.width, end = start + image.width;
        int left = i, right = i;
        while (left >= start && before.Empty(left)) --left;
        while (right < end && before.Empty(right)) ++right;
        const int k = i - left, m = right - left - 1;
        if (left < start) left = right;
        if (right == end) right = left;
        for (int e = 0; e < 3; ++e) {
            const auto at = [&](int n) { return int(before.pixels[4 * n + e]); };
            const bool wholeRow = m == image.width;
            image.pixels[4 * i + e] = static_cast<unsigned char>(
                wholeRow ? float(fallback[e])
                         : float(k * (at(right) - at(left))) / float(m + 2) + float(at(left)));
        }
    }
}

/// Averages the column around a pixel within k rows; false when nothing is there.
bool PlainColumn(const Fill& before, int i, int k, Fill& image) {
    float sums[3] = {0, 0, 0}, count = 0;
    for (int n = i % image.width, y = 0; y < image.height; ++y, n += image.width) {
        if (n == i || std::abs(y - i / image.width) > k || before.Empty(n)) continue;
        ++count;
        for (int e = 0; e < 3; ++e) sums[e] += before.pixels[4 * n + e];
    }
    for (int e = 0; e < 3 && count > 0; ++e)
        image.pixels[4 * i + e] = static_cast<unsigned char>((sums[e] + 0.5f) / count);
    return count > 0;
}

Bytes PlainExpand(Fill image, std::array<int, 3> colour) {
    const int size = image.width * image.height;
    std::vector<int> ring(size, 0);
    for (int i = 0; i < size; ++i) {
        if (!image.Empty(i)) continue;
        const auto around = image.Around(i);
        const auto solid = [&](int n) { return !image.Empty(n); };
        ring[i] = std::any_of(around.begin(), around.end(), solid) ? 255 : 1;
    }
    PlainRows(image, PlainFallback(image, colour));
    bool changed = true;
    for (int k = 1; changed && k <= size; ++k) {
        changed = false;
        const Fill before = image;
        const auto oldRing = ring;
        for (int i = 0; i < size; ++i) {
            if (oldRing[i] != 255 || !PlainColumn(before, i, k, image)) continue;
            ring[i] = 0;
            for (int n : image.Around(i))
                if (oldRing[n] == 1) ring[n] = 255, changed = true;
        }
    }
    return image.pixels;
}

TEST(BackgroundExpand, MatchesThePlainForm) {
    Random random(44);
    for (int n = 0; n < 400; ++n) {
        const int width = random(1, 24), height = random(1, 24), share = random.Biased(0, 100);
        Bytes image = Holed(random, width, height, share);
        for (int block = random(0, 2); block > 0; --block) {
            const int x0 = random(0, width - 1), y0 = random(0, height - 1);
            for (int y = y0; y < std::min(height, y0 + 12); ++y)
                for (int x = x0; x < std::min(width, x0 + 12); ++x)
                    std::fill_n(&image[4 * (y * width + x)], 3, 0);
        }
        const Bytes expected = PlainExpand({image, width, height}, {33, 22, 11});
        EXPECT_EQ(stages.ExpandBack32bit8(image.data(), width, height, width * 4, 11, 22, 33), 1u);
        ASSERT_TRUE(Same(expected, image, width))
            << "case " << n << ": " << width << "x" << height << " holes " << share;
    }
    EXPECT_EQ(stages.ExpandBack32bit8(nullptr, 1, 1, 4, 0, 0, 0), 0u);
}

TEST(BackgroundExpand, FillsDeepHolesInwards) {
    struct Shape {
        int width, height, left, top, right, bottom;  // what lies within is a hole
    };
    const Shape shapes[] = {{4, 640, 0, 20, 4, 630},
                            {140, 30, 1, 2, 139, 29},
                            {70, 60, 1, 0, 70, 60},
                            {3, 700, 0, 1, 2, 700},
                            {130, 9, 66, 0, 130, 9}};
    Random random(46);
    for (const auto& [width, height, left, top, right, bottom] : shapes) {
        for (int share : {0, 20}) {
            Bytes image = Holed(random, width, height, share);
            for (unsigned char& sample : image) sample |= share == 0 ? 192 : 0;
            for (int y = top; y < bottom; ++y)
                for (int x = left; x < right; ++x) std::fill_n(&image[4 * (y * width + x)], 3, 0);
            const Bytes expected = PlainExpand({image, width, height}, {3, 2, 1});
            stages.ExpandBack32bit8(image.data(), width, height, width * 4, 1, 2, 3);
            ASSERT_TRUE(Same(expected, image, width)) << width << "x" << height;
        }
    }
}

/// The clean plate composed from the image operations.
template <typename T>
std::vector<T> PlainPlate(const Record<T>& record, int sw, int sh) {
    const int w = record.width, h = record.height, pitch = sw * 4, rowBytes = (sw + 3) / 4 * 4;
    Bytes small(size_t(pitch) * sh), edges(size_t(rowBytes) * sh), map(edges.size());
    std::vector<T> plate(size_t(w) * h * 4);
    const int R = record.keyR[0], G = record.keyG[0], B = record.keyB[0], unit = kUnit<T>;
    (stages.*ByDepth<T>(&Keyer::DF_WH64bitTo32bit5_1, &Keyer::DF_WH32bit5_1))(
        const_cast<T*>(record.src), w, h, w * 4, small.data(), sw, sh, pitch, 0, 2);
    stages.Laplacian32bit8(small.data(), sw, sh, pitch, edges.data(), sw, sh, rowBytes, 40);
    stages.ExtractBack32bit(small.data(), map.data(), sw, sh, pitch, R / unit, G / unit, B / unit,
                            record.skinHue[0], record.blueHue[0]);
    for (int y = 0; y < sh; ++y)
        for (int x = 0; x < sw; ++x)
            if (edges[y * rowBytes + x] != 0) std::fill_n(&small[y * pitch + 4 * x], 3, 0);
    stages.ContractBack32bit(small.data(), sw, sh, pitch, 3);
    stages.ExpandBack32bit8(small.data(), sw, sh, pitch, R % 256, G % 256, B % 256);
    stages.AverageBlurCore32bit6(small.data(), sw, sh, pitch, 7);
    (stages.*ByDepth<T>(&Keyer::DF_WH32bitTo64bit5_1, &Keyer::DF_WH32bit5_1))(
        small.data(), sw, sh, pitch, plate.data(), w, h, w * 4, 0, 1);
    return plate;
}

TYPED_TEST(BothDepths, BackgroundModelIsComposedInOrderAtTheReducedSize) {
    // The sides are evaluated in single precision: 360 x 81 would give 71 in double, 90 x 384
    // exactly 75.
    const int sizes[][4] = {{320, 240, 320, 240}, {321, 240, 320, 239}, {360, 81, 320, 72},
                            {90, 384, 74, 320},   {540, 960, 180, 320}, {640, 1, 320, 2},
                            {1, 1, 2, 2},         {1, 50, 2, 50},       {3, 700, 2, 320}};
    Random random(45);
    for (const auto& [width, height, sw, sh] : sizes) {
        for (bool screen : {true, false}) {  // without any screen only the key colour is left
            auto source = CalmFrame<TypeParam>(random, width, height);
            for (size_t i = 1; !screen && i < source.size(); i += 4) source[i] = 0;
            std::vector<TypeParam> target(source.size()), expected(source.size());
            auto smoothed = source;
            auto record = RandomRecord(random, source, target, width, height);
            auto plain = record;
            plain.src = smoothed.data();
            plain.dst = expected.data();
            auto plate = PlainPlate<TypeParam>(plain, sw, sh);
            int darkest = kFull<TypeParam>, brightest = 0;  // of the plate's green
            for (size_t i = 1; i < plate.size(); i += 4) {
                darkest = std::min<int>(darkest, plate[i]);
                brightest = std::max<int>(brightest, plate[i]);
            }
            const bool modelled = brightest - darkest > 20 * kUnit<TypeParam>;
            EXPECT_TRUE(modelled || !screen || width * height < 9999);
            if (record.deblockValue != 0) (stages.*kDeblock<TypeParam>)(&plain);
            (stages.*kPlateKey<TypeParam>)(&plain, plate.data());
            SCOPED_TRACE(::testing::PrintToString(record));
            EXPECT_EQ((stages.*kModel<TypeParam>)(&record), 0u);
            ASSERT_TRUE(Same(expected, target, width));
            ASSERT_TRUE(Same(smoothed, source, width)) << "in the source";
        }
    }
}

}  // namespace
}  // namespace veltrane::testing
