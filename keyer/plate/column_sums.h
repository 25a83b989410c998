#ifndef VELTRANE_KEYER_PLATE_COLUMN_SUMS_H
#define VELTRANE_KEYER_PLATE_COLUMN_SUMS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "imaging/sample.h"

namespace veltrane {

/// The colours of an 8-bit image by columns, for sums over ranges of rows of which pixels change
/// now and then. An entry holds four fields of 16 bits: blue, green, red and 1 for a pixel that is
/// not empty; long ranges are summed by blocks of rows.
class ColumnSums {
public:
    /// Blue, green, red and the count of the pixels that are not empty.
    using Sum = std::array<std::int64_t, 4>;

    ColumnSums(const unsigned char* image, int width, int height, std::ptrdiff_t pitch)
        : height_(static_cast<std::size_t>(height)),
          blocks_((height_ + kBlock - 1) / kBlock),
          entries_(MakeBuffer<std::uint64_t>(height_ * static_cast<std::size_t>(width))),
          blockSums_(blocks_ * static_cast<std::size_t>(width)) {
        constexpr int kTile = 16;  // columns at a time, so that the cache holds their ends
        for (int left = 0; left < width; left += kTile) {
            const int right = std::min(left + kTile, width);
            for (int y = 0; y < height; ++y) {
                const unsigned char* row = image + y * pitch;
                for (int x = left; x < right; ++x) {
                    const std::uint64_t entry =
                        Entry(row + static_cast<std::ptrdiff_t>(x) * kElements);
                    Entries(x)[y] = entry;
                    BlockSums(x)[y / kBlock] += entry;
                }
            }
        }
    }

    /// The sum over the rows top..bottom of column x without row y, which is one of them.
    Sum Around(int x, int top, int bottom, int y) const {
        const std::uint64_t own = Entries(x)[y];
        if (bottom - top < kMostRows) return Fields(Range(x, top, bottom) - own);
        Sum sum{};
        for (int first = top; first <= bottom; first += kMostRows) {
            const int last = std::min(bottom, first + kMostRows - 1);
            const std::uint64_t part = Range(x, first, last);
            const Sum fields = Fields(first <= y && y <= last ? part - own : part);
            for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += fields[i];
        }
        return sum;
    }

    void Set(int x, int y, const unsigned char* pixel) {
        const std::uint64_t entry = Entry(pixel);
        BlockSums(x)[y / kBlock] += entry - Entries(x)[y];
        Entries(x)[y] = entry;
    }

private:
    static constexpr int kBlock = 16;
    static constexpr int kMostRows = 256;  ///< whose sums fit an entry

    static std::uint64_t Entry(const unsigned char* pixel) {
        const std::uint64_t entry =
            pixel[0] | std::uint64_t{pixel[1]} << 16 | std::uint64_t{pixel[2]} << 32;
        return entry == 0 ? 0 : entry | std::uint64_t{1} << 48;
    }

    static Sum Fields(std::uint64_t entry) {
        Sum fields;
        for (int i = 0; i < 4; ++i)
            fields[i] = static_cast<std::int64_t>(entry >> (16 * i) & 0xFFFF);
        return fields;
    }

    static std::uint64_t Total(const std::uint64_t* from, const std::uint64_t* to) {
        std::uint64_t sum = 0;
        for (; from < to; ++from) sum += *from;
        return sum;
    }

    /// Over at most kMostRows rows.
    std::uint64_t Range(int x, int top, int bottom) const {
        const std::uint64_t* entries = Entries(x);
        if (bottom - top < 4 * kBlock) return Total(entries + top, entries + bottom + 1);
        const int first = top / kBlock + 1;
        const int last = bottom / kBlock;
        return Total(entries + top, entries + first * kBlock) +
               Total(BlockSums(x) + first, BlockSums(x) + last) +
               Total(entries + last * kBlock, entries + bottom + 1);
    }

    const std::uint64_t* Entries(int x) const { return entries_.get() + height_ * x; }
    std::uint64_t* Entries(int x) { return entries_.get() + height_ * x; }
    const std::uint64_t* BlockSums(int x) const { return blockSums_.data() + blocks_ * x; }
    std::uint64_t* BlockSums(int x) { return blockSums_.data() + blocks_ * x; }

    std::size_t height_;
    std::size_t blocks_;
    std::unique_ptr<std::uint64_t[]> entries_;
    std::vector<std::uint64_t> blockSums_;
};

}  // namespace veltrane

#endif
