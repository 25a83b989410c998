#ifndef VELTRANE_MEDIA_ORIGINALS_H
#define VELTRANE_MEDIA_ORIGINALS_H

#include <cstdint>

#include "imaging/convert/convert.h"
#include "media/half.h"
#include "media/source_details.h"

namespace veltrane::media {

/// The values that a float file's pixels held before they were keyed, for a file that can hold
/// them.
class Originals {
public:
    /// transfer is that of the values as they will be stored.
    Originals(const Frame& result, const Frame& source, Transfer transfer);

    /// True where the pixel's colour came out as it went in.
    bool Apply(std::size_t pixel) const {
        if (!colour_ || (coverage_ && coverage_[pixel] != 65535)) return false;
        const std::uint16_t *result = result_ + pixel * 4, *source = source_ + pixel * 4;
        return result[0] == source[0] && result[1] == source[1] && result[2] == source[2];
    }
    /// The colours that the result holds instead of its pixels', or null.
    const float* Given() const { return given_; }
    /// Whether any value lies beyond 0..1, and how far this one does, of a composite as far as its
    /// pixel shows the source.
    bool Exceed() const { return exceed_; }
    float ExcessOf(std::size_t index) const {
        const bool within = !exceed_ || (halves_ && halves_[index] <= kOneHalf);
        if (within) return 0.0f;
        return Excess(Float(index)) * (coverage_ ? ToFloat(coverage_[index / 3]) : 1.0f);
    }
    /// Of three a pixel: red, green, blue.
    float Float(std::size_t index) const { return floats_ ? floats_[index] : Converted(index); }
    /// The same as the bits of a half.
    std::uint16_t Half(std::size_t index) const {
        return halves_ ? halves_[index] : HalfFromFloat(Float(index));
    }

    static constexpr std::uint16_t kOneHalf = 0x3C00;  ///< bits above it: larger, negative, or none

private:
    float Converted(std::size_t index) const;

    const std::uint16_t* result_;
    const std::uint16_t* source_;
    const float* given_ = nullptr;
    const std::uint16_t* coverage_ = nullptr;  ///< null where all pixels are the source's
    bool exceed_ = false;
    const OriginalColour* colour_ = nullptr;  ///< null where there are none
    const std::uint16_t* halves_ = nullptr;   ///< its halves where they are stored as they are
    const float* floats_ = nullptr;           ///< its floats, likewise
    Transfer from_ = Transfer::None;
    Transfer to_;
};

}  // namespace veltrane::media

#endif
