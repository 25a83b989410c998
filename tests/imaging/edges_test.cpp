#include <gtest/gtest.h>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

const CImagingORV imaging;

int Mirror(int i, int size) {
    return i < 0 ? 1 : i >= size ? size - 1 : i;
}

std::vector<unsigned char> PlainEdges(const std::vector<unsigned char>& frame, int width,
                                      int height, int pitch, std::vector<unsigned char> map,
                                      int mapPitch, int threshold) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int total = 0;
            for (int e = 0; e < 3; ++e) {
                int sum = 9 * frame[y * pitch + 4 * x + e];
                for (int j = -1; j <= 1; ++j)
                    for (int i = -1; i <= 1; ++i)
                        sum -= frame[Mirror(y + j, height) * pitch + 4 * Mirror(x + i, width) + e];
                total += std::max(sum, 0);
            }
            map[y * mapPitch + x] =
                static_cast<unsigned char>(total / 3 >= threshold ? total / 24 : 0);
        }
    }
    return map;
}

TEST(EdgeMap, MatchesThePlainForm) {
    Random random(31);
    for (int n = 0; n < 300; ++n) {
        const int width = random(2, 12), height = random(2, 12);
        const int pitch = width * 4 + random(0, 3), mapPitch = imaging.Align8(width);
        const int threshold = random.OneIn(3) ? 40 : random.Biased(0, 2040);
        auto frame = RandomSamples<unsigned char>(random, size_t(pitch) * height);
        std::vector<unsigned char> map(size_t(mapPitch) * height, 201);
        const auto expected = PlainEdges(frame, width, height, pitch, map, mapPitch, threshold);
        imaging.Laplacian32bit8(frame.data(), width, height, pitch, map.data(), width, height,
                                mapPitch, threshold);
        ASSERT_TRUE(Same(expected, map, mapPitch, 1))
            << width << "x" << height << " threshold " << threshold;
    }
}

TEST(EdgeMap, MirrorsTheFirstAndRepeatsTheLast) {
    // Two rows of one value leave the columns to decide: 8 x 0 - 6 x 8 is clamped to 0 at the left,
    // where column 1 is seen twice; at the right 8 sees itself: 3 x 8 remain of the three columns.
    std::vector<unsigned char> frame{0, 0, 0, 9, 8, 8, 8, 9, 0, 0, 0, 9, 8, 8, 8, 9};
    std::vector<unsigned char> map(4, 99);
    imaging.Laplacian32bit8(frame.data(), 2, 2, 8, map.data(), 0, 0, 2, 24);
    EXPECT_EQ(map, (std::vector<unsigned char>{0, 3, 0, 3}));
    imaging.Laplacian32bit8(frame.data(), 2, 2, 8, map.data(), 0, 0, 2, 25);
    EXPECT_EQ(map, std::vector<unsigned char>(4, 0));
}

template <typename T>
class Matte : public ::testing::Test {
protected:
    static int Contract(int width, int height, T* frame, int iterations, int threshold) {
        return (imaging.*ByDepth<T>(&CImagingORV::ContGray7_64, &CImagingORV::ContGray7))(
            width, height, frame, iterations, threshold);
    }
    static int Pass(bool square, int width, int height, T* frame, int threshold) {
        const auto cross = ByDepth<T>(&CImagingORV::ContGrayCore4_64, &CImagingORV::ContGrayCore4);
        const auto block = ByDepth<T>(&CImagingORV::ContGrayCore8_64, &CImagingORV::ContGrayCore8);
        return (imaging.*(square ? block : cross))(width, height, frame, threshold);
    }
};
TYPED_TEST_SUITE(Matte, Depths);

template <typename T>
std::vector<T> PlainPass(const std::vector<T>& frame, int width, int height, bool square, int t) {
    auto result = frame;
    const auto alpha = [&](int x, int y) { return int(frame[4 * (y * width + x) + 3]); };
    for (int y = 1; y < height - 1; ++y) {
        for (int x = 1; x < width - 1; ++x) {
            int m = kFull<T>;
            for (int j = -1; j <= 1; ++j)
                for (int i = -1; i <= 1; ++i)
                    if (square || (i == 0) != (j == 0)) m = std::min(m, alpha(x + i, y + j));
            if (alpha(x, y) > m + t) result[4 * (y * width + x) + 3] = static_cast<T>(m + t);
        }
    }
    return result;
}

TYPED_TEST(Matte, ContractionAlternatesCrossAndSquare) {
    Random random(32);
    for (int n = 0; n < 300; ++n) {
        const int width = random(1, 12), height = random(1, 12);
        const int iterations = random(-1, 5), threshold = random.Biased(0, 255);
        auto frame = RandomSamples<TypeParam>(random, size_t(width) * height * 4);
        const int t = threshold * kUnit<TypeParam>;
        for (bool square : {false, true}) {
            auto once = frame;
            EXPECT_EQ(this->Pass(square, width, height, once.data(), t), 1);
            ASSERT_TRUE(Same(PlainPass(frame, width, height, square, t), once, width));
        }
        auto expected = frame;
        for (int i = 0; i < iterations; ++i)
            expected = PlainPass(expected, width, height, i % 2 == 1, t);
        EXPECT_EQ(this->Contract(width, height, frame.data(), iterations, threshold), 1);
        ASSERT_TRUE(Same(expected, frame, width))
            << width << "x" << height << " iterations " << iterations << " threshold " << threshold;
    }
    EXPECT_EQ(this->Contract(3, 3, nullptr, 1, 0), 0);
}

TYPED_TEST(Matte, WorkedContraction) {
    std::vector<TypeParam> frame(5 * 5 * 4, kFull<TypeParam>);
    frame[4 * (2 * 5 + 2) + 3] = 0;
    this->Contract(5, 5, frame.data(), 1, 10);
    const auto alpha = [&](int x, int y) { return int(frame[4 * (y * 5 + x) + 3]); };
    EXPECT_EQ(alpha(2, 1), 10 * kUnit<TypeParam>);
    EXPECT_EQ(alpha(1, 1), kFull<TypeParam>);  // diagonal: the cross does not see the hole
    EXPECT_EQ(alpha(2, 2), 0);
    this->Contract(5, 5, frame.data(), 2, 255);
    EXPECT_EQ(alpha(1, 1), kFull<TypeParam>);
    EXPECT_EQ(alpha(2, 0), kFull<TypeParam>);
}

TYPED_TEST(Matte, FieldsSplitAndMerge) {
    const auto split =
        ByDepth<TypeParam>(&CImagingORV::SepareteField64bit, &CImagingORV::SepareteField32bit);
    const auto merge =
        ByDepth<TypeParam>(&CImagingORV::CompositeField64bit, &CImagingORV::CompositeField32bit);
    Random random(33);
    for (int height = 1; height <= 7; ++height) {
        constexpr int kRow = 3 * 4;
        auto frame = RandomSamples<TypeParam>(random, size_t(kRow) * height);
        std::vector<TypeParam> odd(height / 2 * kRow), even((height + 1) / 2 * kRow);
        EXPECT_EQ((imaging.*split)(3, height, frame.data(), odd.data(), even.data()), 1);
        for (int y = 0; y < height; ++y) {
            const auto& field = y % 2 ? odd : even;
            EXPECT_TRUE(std::equal(field.begin() + y / 2 * kRow, field.begin() + (y / 2 + 1) * kRow,
                                   frame.begin() + y * kRow));
        }
        std::vector<TypeParam> merged(frame.size());
        EXPECT_EQ((imaging.*merge)(3, height, merged.data(), odd.data(), even.data()), 1);
        EXPECT_EQ(merged, frame);
    }
    EXPECT_EQ((imaging.*split)(0, 3, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ((imaging.*merge)(3, 0, nullptr, nullptr, nullptr), 1);
}

}  // namespace
}  // namespace veltrane::testing
