#include <gtest/gtest.h>

#include <functional>

#include "keyer/pipeline.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

using Byte = unsigned char;
const CVELTRANE keyer;

/// The rows of size bytes each as a part of something wider, which ends with the last of them.
std::vector<Byte> Spread(const std::vector<Byte>& rows, size_t size, size_t pitch) {
    std::vector<Byte> part((rows.size() / size - 1) * pitch + size, Byte{0x5A});
    for (size_t i = 0; i < rows.size(); ++i) part[i / size * pitch + i % size] = rows[i];
    return part;
}

constexpr int kWidth = 37, kHeight = 11, kTargetWidth = 53, kTargetHeight = 7, kGap = 28;

/// Works on a frame and leaves something in a target of kTargetWidth x kTargetHeight pixels; gap is
/// what lies between the rows, in bytes.
using Work = std::function<void(Byte* frame, Byte* target, int gap)>;

/// The frame and the target after the work on a part of each, and what that has to be: the same as
/// of packed rows, and nothing else touched; the address sanitizer tells what lies beyond.
void CheckPart(const Work& work, const std::vector<Byte>& frame, size_t targetSize) {
    std::vector<Byte> packed = frame, target(targetSize * kTargetHeight, Byte{0x5A});
    work(packed.data(), target.data(), 0);
    std::vector<Byte> part = Spread(frame, kWidth * 4, kWidth * 4 + kGap);
    std::vector<Byte> targetPart =
        Spread(std::vector<Byte>(target.size(), Byte{0x5A}), targetSize, targetSize + kGap);
    work(part.data(), targetPart.data(), kGap);
    EXPECT_EQ(part, Spread(packed, kWidth * 4, kWidth * 4 + kGap));
    EXPECT_EQ(targetPart, Spread(target, targetSize, targetSize + kGap));
}

TEST(Bounds, RoutinesKeepToPartsOfWiderFrames) {
    constexpr int kRow = kWidth * 4, kTargetRow = kTargetWidth * 4;
    const auto resample = [](Byte* frame, Byte* target, int gap) {
        keyer.DF_WH32bit5_1(frame, kWidth, kHeight, kRow + gap, target, kTargetWidth, kTargetHeight,
                            kTargetRow + gap, 0, 2);
    };
    const auto enlarge = [](Byte* frame, Byte* target, int gap) {
        keyer.DF_WH32bit5_1(frame, kWidth, 5, kRow + gap, target, kTargetWidth, kTargetHeight,
                            kTargetRow + gap, 0, 1);
    };
    const auto edges = [](Byte* frame, Byte* map, int gap) {
        keyer.Laplacian32bit8(frame, kWidth, kTargetHeight, kRow + gap, map, kWidth, kTargetHeight,
                              kWidth + gap, 40);
    };
    const auto plate = [](Byte* frame, Byte*, int gap) {
        std::vector<Byte> map(size_t(keyer.Align8(kWidth)) * kHeight);
        keyer.ExtractBack32bit(frame, map.data(), kWidth, kHeight, kRow + gap, 60, 180, 70, 145,
                               290);
        keyer.ContractBack32bit(frame, kWidth, kHeight, kRow + gap, 2);
        keyer.ExpandBack32bit8(frame, kWidth, kHeight, kRow + gap, 60, 180, 70);
        keyer.AverageBlurCore32bit6(frame, kWidth, kHeight, kRow + gap, 3);
    };
    Random random(81);
    const auto check = [&] {
        const auto frame = StudioFrame<Byte>(random, kWidth, kHeight);
        CheckPart(resample, frame, kTargetRow);
        CheckPart(enlarge, frame, kTargetRow);
        CheckPart(edges, frame, kWidth);
        CheckPart(plate, frame, kTargetRow);
    };
    AtEveryLevel(check);
}

TEST(Bounds, SumsOfHugeWindowsDoNotOverflow) {
    // Beyond 2^31 and beyond 2^32.
    for (const int side : {3000, 4110}) {
        std::vector<Byte> frame;
        for (size_t i = 0; i < size_t(side) * side; ++i)
            frame.insert(frame.end(), {255, 0, 7, 254});
        const auto flat = frame;
        keyer.AverageBlurCore32bit6(frame.data(), side, side, side * 4, side - 1);
        EXPECT_TRUE(Same(flat, frame, side));
    }
}

TEST(Bounds, NoThresholdIsTooHigh) {
    Random random(82);
    auto frame = RandomSamples<unsigned short>(random, 12 * 9 * 4);
    const auto before = frame;
    for (const int threshold : {255, 1 << 23, 1 << 30}) {
        keyer.ContGray7_64(12, 9, frame.data(), 3, threshold);
        EXPECT_TRUE(Same(before, frame, 12)) << threshold;
    }
}

}  // namespace
}  // namespace veltrane::testing
