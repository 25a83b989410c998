#ifndef VELTRANE_MEDIA_ORIGINALS_H
#define VELTRANE_MEDIA_ORIGINALS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

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
    /// Whether there are any.
    bool Known() const { return colour_ != nullptr; }
    /// How far the value lies beyond 0..1, of a composite as far as its pixel shows the source.
    float ExcessOf(std::size_t index) const;
    /// Of three a pixel: red, green, blue.
    float Float(std::size_t index) const { return floats_ ? floats_[index] : Converted(index); }
    /// The same as the bits of a half.
    std::uint16_t Half(std::size_t index) const {
        return halves_ ? halves_[index] : HalfFromFloat(Float(index));
    }

    /// The pixels before they were keyed.
    const std::uint16_t* Source() const { return source_; }
    /// The values, three a pixel, where the file stores them as they are, as halves or floats, and
    /// every pixel is the source's alone; else null.
    template <class Sample>
    const Sample* Direct() const {
        if (given_ || coverage_) return nullptr;
        if constexpr (std::is_same_v<Sample, float>) {
            return floats_;
        } else {
            return halves_;
        }
    }

private:
    float Stored(std::size_t index) const;
    float Converted(std::size_t index) const;

    const std::uint16_t* result_;
    const std::uint16_t* source_;
    const float* given_ = nullptr;
    const std::uint16_t* coverage_ = nullptr;  ///< null where all pixels are the source's
    const OriginalColour* colour_ = nullptr;   ///< null where there are none
    const std::uint16_t* halves_ = nullptr;    ///< its halves where they are stored as they are
    const float* floats_ = nullptr;            ///< its floats, likewise
    Transfer from_ = Transfer::None;
    Transfer to_;
};

}  // namespace veltrane::media

#endif
