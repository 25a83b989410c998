#include <gtest/gtest.h>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Image = CImagingORV;
using Bytes = std::vector<unsigned char>;
const Image imaging;

/// Mirrors about the first sample, but repeats the last.
int Mirror(int i, int size) {
    return i < 0 ? 1 : i >= size ? size - 1 : i;
}

int PlainStrength(const Bytes& frame, int width, int height, int pitch, int x, int y) {
    int total = 0;
    for (int e = 0; e < 3; ++e) {
        int sum = 9 * frame[y * pitch + 4 * x + e];
        for (int n = 0; n < 9; ++n)
            sum -=
                frame[Mirror(y + n / 3 - 1, height) * pitch + 4 * Mirror(x + n % 3 - 1, width) + e];
        total += std::max(sum, 0);
    }
    return total;
}

TEST(EdgeMap, MatchesThePlainForm) {
    Random random(31);
    for (int n = 0; n < 300; ++n) {
        const int width = random(2, 12), height = random(2, 12);
        const int pitch = width * 4 + random(0, 3), mapPitch = imaging.Align8(width);
        const int threshold = random.OneIn(3) ? 40 : random.Biased(0, 2040);
        auto frame = RandomSamples<unsigned char>(random, size_t(pitch) * height);
        Bytes map(size_t(mapPitch) * height, 201), expected = map;
        for (int i = 0; i < width * height; ++i) {
            const int S = PlainStrength(frame, width, height, pitch, i % width, i / width);
            expected[i / width * mapPitch + i % width] =
                static_cast<unsigned char>(S / 3 >= threshold ? S / 24 : 0);
        }
        imaging.Laplacian32bit8(frame.data(), width, height, pitch, map.data(), width, height,
                                mapPitch, threshold);
        ASSERT_TRUE(Same(expected, map, mapPitch, 1)) << "case " << n << " threshold " << threshold;
    }
}

template <typename T>
class Matte : public ::testing::Test {};
TYPED_TEST_SUITE(Matte, Depths);

template <typename T>
std::vector<T> PlainPass(const std::vector<T>& frame, int width, int height, bool square, int t) {
    auto result = frame;
    const auto alpha = [&](int x, int y) { return int(frame[4 * (y * width + x) + 3]); };
    for (int y = 1; y < height - 1; ++y) {
        for (int x = 1; x < width - 1; ++x) {
            int m = kFull<T>;
            for (int n = 0; n < 9; ++n)
                if (square || n % 2 == 1) m = std::min(m, alpha(x + n % 3 - 1, y + n / 3 - 1));
            if (alpha(x, y) > m + t) result[4 * (y * width + x) + 3] = static_cast<T>(m + t);
        }
    }
    return result;
}

TYPED_TEST(Matte, ContractionAlternatesCrossAndSquare) {
    const auto contract = ByDepth<TypeParam>(&Image::ContGray7_64, &Image::ContGray7);
    const auto oneCross = ByDepth<TypeParam>(&Image::ContGrayCore4_64, &Image::ContGrayCore4);
    const auto oneSquare = ByDepth<TypeParam>(&Image::ContGrayCore8_64, &Image::ContGrayCore8);
    Random random(32);
    for (int n = 0; n < 300; ++n) {
        const int width = random(1, 12), height = random(1, 12);
        const int iterations = random(-1, 5), threshold = random.Biased(0, 255);
        const int t = threshold * kUnit<TypeParam>;
        SCOPED_TRACE(::testing::Message() << width << "x" << height << " iterations " << iterations
                                          << " threshold " << threshold);
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        auto cross = frame, square = frame, expected = frame;
        EXPECT_EQ((imaging.*oneCross)(width, height, cross.data(), t), 1);
        EXPECT_EQ((imaging.*oneSquare)(width, height, square.data(), t), 1);
        ASSERT_TRUE(Same(PlainPass(frame, width, height, false, t), cross, width));
        ASSERT_TRUE(Same(PlainPass(frame, width, height, true, t), square, width));
        for (int i = 0; i < iterations; ++i)
            expected = PlainPass(expected, width, height, i % 2 == 1, t);
        EXPECT_EQ((imaging.*contract)(width, height, frame.data(), iterations, threshold), 1);
        ASSERT_TRUE(Same(expected, frame, width));
    }
    EXPECT_EQ((imaging.*contract)(3, 3, nullptr, 1, 0), 0);
}

}  // namespace
}  // namespace veltrane::testing
