#include <gtest/gtest.h>

#include "imaging/imaging.h"
#include "imaging/resample/resample.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

using Byte = unsigned char;
using Word = unsigned short;
const CImagingORV imaging;

/// Noise, extremes alone, a calm shot, or one colour.
template <typename T>
std::vector<T> AnyFrame(Random& random, int width, int height) {
    const int kind = random(0, 3);
    if (kind == 0) return CalmFrame<T>(random, width, height);
    auto frame = RandomSamples<T>(random, size_t(width) * height * 4);
    for (size_t i = 0; i < frame.size(); ++i) {
        if (kind == 1) frame[i] = static_cast<T>(random.OneIn(2) ? kFull<T> : 0);
        if (kind == 2) frame[i] = frame[i % 4];
    }
    return frame;
}

struct Scaling {
    int sourceWidth, sourceHeight, targetWidth, targetHeight, kernelType, lobes;
};

std::ostream& operator<<(std::ostream& out, const Scaling& s) {
    return out << s.sourceWidth << "x" << s.sourceHeight << " to " << s.targetWidth << "x"
               << s.targetHeight << " type " << s.kernelType << " lobes " << s.lobes;
}

/// Any two sizes, often far apart, and what the keyer asks for: 2 lobes to shrink, 1 to enlarge.
Scaling AnyScaling(Random& random) {
    const auto side = [&] { return random.OneIn(6) ? random(71, 900) : random(1, 70); };
    Scaling s{side(), random(1, 60), side(), random(1, 60), 0, random(1, 2)};
    if (random.OneIn(3)) s = {s.sourceWidth, s.sourceHeight, s.targetWidth, s.targetHeight, 1, 3};
    return s;
}

/// The target, row after row with what lies between them, as a member leaves it.
template <typename From, typename To>
std::vector<To> Resample(const Scaling& s, std::vector<From> source, std::vector<To> target) {
    constexpr auto member =
        ByDepth<From>(&CImagingORV::DF_WH64bitTo32bit5_1,
                      ByDepth<To>(&CImagingORV::DF_WH32bitTo64bit5_1, &CImagingORV::DF_WH32bit5_1));
    const int sourcePitch = static_cast<int>(source.size()) / s.sourceHeight;
    const int targetPitch = static_cast<int>(target.size()) / s.targetHeight;
    (imaging.*member)(source.data(), s.sourceWidth, s.sourceHeight, sourcePitch, target.data(),
                      s.targetWidth, s.targetHeight, targetPitch, s.kernelType, s.lobes);
    return target;
}

TEST(ResampleLevels, ReduceEverySampleOf16BitsExactly) {
    const auto check = [] {
        std::vector<Word> source(65536 * 4);
        for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<Word>(i / 4);
        const auto target =
            Resample({256, 256, 256, 256, 0, 2}, source, std::vector<Byte>(source.size(), 7));
        for (int v = 0; v < 65536; ++v) {
            const auto reduced = static_cast<Byte>(v / 257.0f + 0.5f);
            const auto at = target.begin() + 4 * v;
            ASSERT_TRUE(std::count(at, at + 3, reduced) == 3 && at[3] == 7) << v;
        }
    };
    AtEveryLevel(check);
}

/// All rows of an enlargement as the pixels of a frame, made by enlargers of so many rows each.
std::vector<Byte> Enlarge(const Scaling& s, const std::vector<Byte>& source, int rowsEach) {
    const Enlargement enlargement(source.data(), s.sourceWidth, s.sourceHeight, s.sourceWidth * 4,
                                  s.targetWidth, s.targetHeight, s.kernelType, s.lobes);
    std::vector<Byte> frame;
    for (int first = 0; first < s.targetHeight; first += rowsEach) {
        RowEnlarger made(enlargement, first);
        RowEnlarger rows = std::move(made);
        for (int y = first; y < std::min(first + rowsEach, s.targetHeight); ++y) {
            const PlanarRow row = rows.Next();
            for (int x = 0; x < s.targetWidth; ++x)
                frame.insert(frame.end(), {row.blue[x], row.green[x], row.red[x], 0});
        }
    }
    return frame;
}

TEST(RowEnlarger, GivesTheRowsOfTheWholeFrame) {
    Random random(72);
    std::vector<Scaling> scalings{{320, 2, 65535, 1, 0, 1},
                                  {2, 320, 1, 65535, 0, 1},
                                  {320, 180, 337, 190, 0, 1},
                                  {40, 30, 40, 30, 0, 1}};
    while (scalings.size() < 150) scalings.push_back(AnyScaling(random));
    for (const Scaling& s : scalings) {
        SCOPED_TRACE(::testing::Message() << s);
        const auto source = AnyFrame<Byte>(random, s.sourceWidth, s.sourceHeight);
        const auto expected = Plainly([&] {
            return Resample(s, source,
                            std::vector<Byte>(size_t(s.targetWidth) * s.targetHeight * 4));
        });
        const int rowsEach = random(1, s.targetHeight);
        const auto check = [&] {
            EXPECT_TRUE(Same(expected, Enlarge(s, source, rowsEach), s.targetWidth));
        };
        AtEveryLevel(check);
        if (HasFailure()) return;
    }
}

TEST(ShrinkRows, GivesTheSameRowsInAnyNumberOfBands) {
    Random random(74);
    const auto oneByOneFromTheLast = [](int tasks, const std::function<void(int)>& task) {
        while (tasks-- > 0) task(tasks);
    };
    for (const Scaling& s : {Scaling{700, 90, 64, 17, 0, 2}, {33, 20, 33, 20, 0, 2}}) {
        const auto source = AnyFrame<Byte>(random, s.sourceWidth, s.sourceHeight);
        std::vector<Byte> target(size_t(s.targetWidth) * s.targetHeight * 4, 5);
        const auto expected = Resample(s, source, target);
        for (const int bands : {1, 2, 5, 40}) {
            int last = -1, jumps = 0;
            const RowSource<Byte> rows{nullptr, [&](int y, Byte* row) {
                                           jumps += y != last + 1;
                                           last = y;
                                           std::copy_n(&source[size_t(y) * s.sourceWidth * 4],
                                                       s.sourceWidth * 4, row);
                                       }};
            veltrane::ShrinkRows(rows, s.sourceWidth, s.sourceHeight, target.data(), s.targetWidth,
                                 s.targetHeight, s.lobes, {bands, oneByOneFromTheLast});
            EXPECT_TRUE(Same(expected, target, s.targetWidth)) << bands;
            EXPECT_LE(jumps, std::min(bands, s.targetHeight) - (bands == 1));
        }
    }
}

}  // namespace
}  // namespace veltrane::testing
