#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "media/grain_zipper.h"
#include "media/pixel_zipper.h"
#include "media/prefix_codes.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

/// Where what compresses lies in memory must not show in what it makes.
TEST(ZipperTest, SameBytesWhereverItLies) {
    std::vector<std::uint8_t> data(222, 0x80);
    data[0] = 0;
    for (std::size_t i = 3; i < 33; i += 4) data[i] = 0x94, data[i + 1] = 0x6c;
    std::set<std::string> made;
    std::vector<std::unique_ptr<Zipper>> zippers;
    for (int i = 0; i < 1500; ++i) {
        zippers.push_back(std::make_unique<Zipper>(Zipper::Blocks::Short));
        const auto bytes = zippers.back()->Zip(data.data(), data.size());
        EXPECT_TRUE(IsWholeZlib(bytes, data.size()));
        made.emplace(bytes.begin(), bytes.end());
    }
    EXPECT_EQ(made.size(), 1);
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{3}, std::size_t{8}, std::size_t{9}}) {
        zippers[0]->Begin();
        std::vector<std::uint8_t> bits(100);
        std::size_t count = 0;
        for (std::size_t at = 0; at < size; ++at) {  // a byte in and a byte out at a time
            zippers[0]->Give(data.data() + at, 1, false);
            while (zippers[0]->Take(bits.data() + count, 1)) ++count;
        }
        zippers[0]->Give(nullptr, 0, true);
        while (zippers[0]->Take(bits.data() + count, 1)) ++count;
        const auto whole = zippers[1]->Zip(data.data(), size);
        ASSERT_EQ(count, whole.size());
        EXPECT_TRUE(std::equal(whole.begin(), whole.end(), bits.begin()));
        EXPECT_TRUE(IsWholeZlib(whole, size));
    }
}

/// Bytes whose values come by the given bits' weight, of which parts come again from near and far,
/// and runs; by zlib they come back whatever their kind, and grain alone becomes no larger.
TEST(ZipperTest, BringsBackEveryKindOfGrain) {
    std::mt19937 random(5);
    Zipper zipper;
    GrainZipper always;
    for (const std::size_t size : {1, 2, 7, 15, 16, 17, 63, 5000, 40000, 122881, 500000})
        for (const int bits : {0, 1, 3, 6, 8})
            for (const int again : {0, 30, 2}) {
                std::vector<std::uint8_t> data(size);
                for (std::size_t i = 0; i < size;) {
                    const std::size_t far = std::size_t{1} << random() % 17;
                    const bool repeats = again > 0 && i >= far && random() % again == 0;
                    const std::size_t end = std::min<std::size_t>(size, i + 1 + random() % 600);
                    for (; i < end && repeats; ++i) data[i] = data[i - far];
                    for (; i < end; ++i)  // the rarest has a count of one or so
                        data[i] = static_cast<std::uint8_t>(std::countl_zero(random() | 1u) * 9 +
                                                            random() % (1u << bits));
                }
                const auto grain = always.Zip(data.data(), size);
                const auto chosen = zipper.Zip(data.data(), size);
                for (const auto& [bytes, count] : {std::pair{grain.data(), grain.size()},
                                                   std::pair{chosen.data(), chosen.size()}}) {
                    std::vector<std::uint8_t> back(size + 1);
                    uLongf made = size + 1;
                    ASSERT_EQ(uncompress(back.data(), &made, bytes, count), Z_OK);
                    back.resize(made);
                    ASSERT_TRUE(back == data) << size << ' ' << bits << ' ' << again;
                    EXPECT_TRUE(UnzipWhole(bytes, count, back.data(), size));
                    EXPECT_FALSE(UnzipWhole(bytes, count, back.data(), size - 1));
                    EXPECT_FALSE(UnzipWhole(bytes, count - 1, back.data(), size));
                }
                if (size >= 40000 && again == 0) {
                    uLongf theirs = compressBound(size);
                    std::vector<std::uint8_t> room(theirs);
                    compress2(room.data(), &theirs, data.data(), size, 4);
                    EXPECT_LT(chosen.size(), theirs * 1.03) << size << ' ' << bits;
                }
            }
}

/// Colours of any weight that come again at once, just near enough, too far or never, alone or with
/// their alpha; zlib brings them back, and the zipper for pixels wins where they do come again.
TEST(ZipperTest, BringsBackPixels) {
    std::mt19937 random(9);
    Zipper zipper;
    PixelZipper always;
    for (const std::size_t count : {1, 2, 255, 256, 257, 3000, 30720, 30721, 70000})
        for (const int grain : {0, 3, 16})
            for (const std::size_t far : {1, 3, 254, 255, 256, 4000}) {
                std::vector<std::array<std::uint16_t, 4>> pixels(count);
                for (std::size_t i = 0; i < count; ++i) {
                    const std::uint32_t kind = random() % 4;
                    for (auto& sample : pixels[i])
                        sample = static_cast<std::uint16_t>(random() % (1u << grain));
                    if (kind == 0 || i < far) continue;
                    const std::uint16_t alpha = pixels[i][3];
                    pixels[i] = pixels[i - far];
                    if (kind == 1) pixels[i][3] = alpha;
                }
                const auto* bytes = reinterpret_cast<const std::uint8_t*>(pixels.data());
                const std::size_t size = count * sizeof pixels[0];
                const auto zipped = always.Zip(bytes, size);
                const auto chosen = zipper.ZipPixels(bytes, size);
                for (const std::span<const std::uint8_t> made : {zipped, {chosen}}) {
                    std::vector<std::uint8_t> back(size + 1);
                    uLongf length = size + 1;
                    ASSERT_EQ(uncompress(back.data(), &length, made.data(), made.size()), Z_OK);
                    ASSERT_EQ(length, size);
                    ASSERT_TRUE(std::equal(bytes, bytes + size, back.begin()))
                        << count << ' ' << grain << ' ' << far;
                }
                if (count < 3000 || grain < 16) continue;
                EXPECT_LT(zipped.size(), size * (far < 256 ? 0.6 : 1.03)) << count << ' ' << far;
            }
}

/// Counts as of Fibonacci's numbers make the longest codes that there can be.
TEST(PrefixCodesTest, NoneIsTooLongAndNoRoomIsLeft) {
    for (const int symbols : {1, 2, 17, 40, 286})
        for (const int longest : {9, 14}) {
            std::vector<std::uint32_t> counts(symbols, 1);
            for (int i = 2; i < std::min(symbols, 40); ++i)
                counts[i] = counts[i - 1] + counts[i - 2];
            std::vector<PrefixCode> codes(symbols);
            MakePrefixCodes(counts, longest, codes);
            double room = 0;
            for (int i = 0; i < symbols; ++i) {
                EXPECT_TRUE(codes[i].length > 0 && codes[i].length <= longest);
                room += std::exp2(-codes[i].length);
                const bool rarer = i > 1 && i < 40 && codes[i].length > codes[i - 1].length;
                EXPECT_FALSE(rarer) << "a more frequent one is longer";
            }
            EXPECT_EQ(room, symbols == 1 ? 0.5 : 1.0) << symbols;
        }
}

}  // namespace
}  // namespace veltrane::media
