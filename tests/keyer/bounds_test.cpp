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

constexpr int kWidth = 37, kHeight = 11, kGap = 28, kPitch = kWidth * 4;

/// Works on a frame and leaves something in a map of a byte a pixel; gap is what lies between the
/// rows, in bytes. The same has to come of packed rows and of parts of something wider, of which
/// nothing else may be touched; the address sanitizer tells what lies beyond.
void CheckPart(const std::function<void(Byte* frame, Byte* map, int gap)>& work,
               const std::vector<Byte>& frame) {
    const std::vector<Byte> empty(kWidth * kHeight, 0x5A);
    auto packed = frame, map = empty;
    work(packed.data(), map.data(), 0);
    auto part = Spread(frame, kPitch, kPitch + kGap),
         mapPart = Spread(empty, kWidth, kWidth + kGap);
    work(part.data(), mapPart.data(), kGap);
    EXPECT_EQ(part, Spread(packed, kPitch, kPitch + kGap));
    EXPECT_EQ(mapPart, Spread(map, kWidth, kWidth + kGap));
}

TEST(Bounds, RoutinesKeepToPartsOfWiderFrames) {
    const auto edges = [](Byte* frame, Byte* map, int gap) {
        keyer.Laplacian32bit8(frame, kWidth, kHeight, kPitch + gap, map, kWidth, kHeight,
                              kWidth + gap, 40);
    };
    const auto plate = [](Byte* frame, Byte*, int gap) {
        const int pitch = kPitch + gap;
        std::vector<Byte> map(size_t(keyer.Align8(kWidth)) * kHeight);
        keyer.ExtractBack32bit(frame, map.data(), kWidth, kHeight, pitch, 60, 180, 70, 145, 290);
        keyer.ContractBack32bit(frame, kWidth, kHeight, pitch, 2);
        keyer.ExpandBack32bit8(frame, kWidth, kHeight, pitch, 60, 180, 70);
        keyer.AverageBlurCore32bit6(frame, kWidth, kHeight, pitch, 3);
    };
    Random random(81);
    AtEveryLevel([&] {
        const auto frame = StudioFrame<Byte>(random, kWidth, kHeight);
        CheckPart(edges, frame);
        CheckPart(plate, frame);
    });
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
