#ifndef VELTRANE_KEYER_PIXEL_MASK_H
#define VELTRANE_KEYER_PIXEL_MASK_H

#include <cstddef>
#include <vector>

namespace veltrane {

/// A flag of 0 or 1 for every pixel of an image, with a border of zeros, so that a neighbour always
/// exists.
class PixelMask {
public:
    PixelMask(int width, int height)
        : width_(width),
          height_(height),
          pitch_(static_cast<std::size_t>(width) + 2),
          flags_(pitch_ * (static_cast<std::size_t>(height) + 2), 0) {}

    int Width() const { return width_; }
    int Height() const { return height_; }
    std::ptrdiff_t Pitch() const { return static_cast<std::ptrdiff_t>(pitch_); }

    unsigned char* Row(int y) { return flags_.data() + (y + std::size_t{1}) * pitch_ + 1; }
    const unsigned char* Row(int y) const {
        return flags_.data() + (y + std::size_t{1}) * pitch_ + 1;
    }

    /// Where one of the eight neighbours is set.
    PixelMask Neighbours() const {
        PixelMask result(width_, height_);
        for (int y = 0; y < height_; ++y) {
            const unsigned char* above = Row(y - 1);
            const unsigned char* row = Row(y);
            const unsigned char* below = Row(y + 1);
            unsigned char* any = result.Row(y);
            for (int x = 0; x < width_; ++x) {
                any[x] = above[x - 1] | above[x] | above[x + 1] | row[x - 1] | row[x + 1] |
                         below[x - 1] | below[x] | below[x + 1];
            }
        }
        return result;
    }

    PixelMask Complement() const {
        PixelMask result(width_, height_);
        for (int y = 0; y < height_; ++y) {
            const unsigned char* row = Row(y);
            unsigned char* inverse = result.Row(y);
            for (int x = 0; x < width_; ++x) inverse[x] = row[x] ^ 1;
        }
        return result;
    }

    PixelMask& operator|=(const PixelMask& other) {
        for (std::size_t i = 0; i < flags_.size(); ++i) flags_[i] |= other.flags_[i];
        return *this;
    }

private:
    int width_;
    int height_;
    std::size_t pitch_;
    std::vector<unsigned char> flags_;
};

}  // namespace veltrane

#endif
