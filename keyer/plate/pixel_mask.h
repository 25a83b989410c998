#ifndef VELTRANE_KEYER_PLATE_PIXEL_MASK_H
#define VELTRANE_KEYER_PLATE_PIXEL_MASK_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace veltrane {

/// A bit for every pixel of an image, in words of 64 with a border of zeros, so that a neighbour
/// always exists.
class PixelMask {
public:
    PixelMask(int width, int height)
        : width_(width),
          height_(height),
          words_((width + 63) / 64),
          bits_((static_cast<std::size_t>(words_) + 2) * (static_cast<std::size_t>(height) + 2),
                0) {}

    /// Sets the pixels of row y whose bytes are 0 wherever those of which are not; the row has four
    /// bytes a pixel. Bits are made eight at a time: the factor moves the lowest bit of every byte
    /// to its place in the highest one.
    void SetRow(int y, const unsigned char* pixels, const std::array<unsigned char, 4>& which) {
        const auto mask = std::bit_cast<std::uint32_t>(which);
        for (int x = 0; x < width_; x += 64) {
            const int count = std::min(width_ - x, 64);
            unsigned char zero[64] = {};
            for (int i = 0; i < count; ++i) {
                std::uint32_t pixel;
                std::memcpy(&pixel, pixels + (std::ptrdiff_t{x} + i) * 4, 4);
                zero[i] = (pixel & mask) == 0;
            }
            std::uint64_t word = 0;
            for (int i = 0; i < 64; i += 8) {
                std::uint64_t eight = 0;
                for (int j = 0; j < 8; ++j) eight |= std::uint64_t{zero[i + j]} << 8 * j;
                word |= (eight * 0x0102040810204080u >> 56) << i;
            }
            Row(y)[x / 64] = word;
        }
    }

    /// How many pixels are set.
    std::int64_t Count() const {
        std::int64_t count = 0;
        for (const std::uint64_t word : bits_) count += std::popcount(word);
        return count;
    }

    void Set(int x, int y) { Row(y)[x / 64] |= std::uint64_t{1} << x % 64; }
    void Clear(int x, int y) { Row(y)[x / 64] &= ~(std::uint64_t{1} << x % 64); }

    /// Calls visit(x, y) for every pixel that is set.
    template <class Visit>
    void ForEach(Visit visit) const {
        for (int y = 0; y < height_; ++y) {
            for (int i = 0; i < words_; ++i) {
                for (std::uint64_t rest = Row(y)[i]; rest != 0; rest &= rest - 1) {
                    visit(64 * i + std::countr_zero(rest), y);
                }
            }
        }
    }

    /// The first pixel of row y from x on that is set, or that is not; the width if there is none.
    int Find(int x, int y, bool set) const {
        std::uint64_t skipped = ~std::uint64_t{0} << x % 64;
        for (int i = x / 64; i < words_; ++i) {
            const std::uint64_t found = (set ? Row(y)[i] : ~Row(y)[i]) & skipped;
            if (found != 0) return std::min(64 * i + std::countr_zero(found), width_);
            skipped = ~std::uint64_t{0};
        }
        return width_;
    }

    /// The pixels of which one of the eight neighbours is set.
    PixelMask Neighbours() const {
        PixelMask result(width_, height_);
        PixelMask all = Complement();
        all |= *this;
        result.MoveNeighbours(*this, all);
        return result;
    }

    PixelMask Complement() const {
        PixelMask result(width_, height_);
        for (int y = 0; y < height_; ++y) {
            for (int i = 0; i < words_; ++i) {
                const int spare = std::max(64 * (i + 1) - width_, 0);
                result.Row(y)[i] = ~Row(y)[i] & ~std::uint64_t{0} >> spare;
            }
        }
        return result;
    }

    PixelMask& operator|=(const PixelMask& other) {
        for (std::size_t i = 0; i < bits_.size(); ++i) bits_[i] |= other.bits_[i];
        return *this;
    }

    /// Becomes the pixels of which one of the eight neighbours is set in other and which are set in
    /// from, and takes them out of there. Returns whether there are any.
    bool MoveNeighbours(const PixelMask& other, PixelMask& from) {
        std::uint64_t any = 0;
        for (int y = 0; y < height_; ++y) {
            const std::uint64_t* above = other.Row(y - 1);
            const std::uint64_t* row = other.Row(y);
            const std::uint64_t* below = other.Row(y + 1);
            std::uint64_t left = 0;
            std::uint64_t here = above[0] | row[0] | below[0];
            std::fill_n(Row(y), words_, 0);
            for (int i = 0; i < words_; ++i) {
                const std::uint64_t right = above[i + 1] | row[i + 1] | below[i + 1];
                if ((left | here | right) != 0) {
                    const std::uint64_t beside = here << 1 | left >> 63 | here >> 1 | right << 63;
                    const std::uint64_t moved = (above[i] | below[i] | beside) & from.Row(y)[i];
                    Row(y)[i] = moved;
                    from.Row(y)[i] ^= moved;
                    any |= moved;
                }
                left = here;
                here = right;
            }
        }
        return any != 0;
    }

private:
    const std::uint64_t* Row(int y) const {
        return bits_.data() + (y + std::ptrdiff_t{1}) * (words_ + 2) + 1;
    }
    std::uint64_t* Row(int y) { return bits_.data() + (y + std::ptrdiff_t{1}) * (words_ + 2) + 1; }

    int width_;
    int height_;
    int words_;  ///< that hold a row
    std::vector<std::uint64_t> bits_;
};

}  // namespace veltrane

#endif
