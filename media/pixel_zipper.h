#ifndef VELTRANE_MEDIA_PIXEL_ZIPPER_H
#define VELTRANE_MEDIA_PIXEL_ZIPPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/deflate_codes.h"
#include "media/file_bytes.h"

namespace veltrane::media {

/// Compresses pixels of three colours and alpha, 16 bits each, by zlib's format. In a keyed frame
/// colours or whole pixels come again soon where it is transparent, and nothing does elsewhere; in
/// grain either may come next. So each pixel takes the same steps, whatever it is, without a branch
/// that could not be foretold: its colour, or all of it, is one seen up to 255 pixels before, or
/// stands as it is. That is half as fast again as searching at every byte.
class PixelZipper {
public:
    PixelZipper();

    /// What a piece of whole pixels, at least one of them, becomes, which depends on nothing but
    /// its bytes. It stays until the next one.
    std::span<const std::uint8_t> Zip(const std::uint8_t* bytes, std::size_t size);

private:
    /// A repetition's code.
    struct Repetition {
        std::uint64_t bits;
        int length;
    };

    void Divide(const std::uint8_t* bytes, std::size_t first, std::size_t count);
    void Count(const std::uint8_t* pixels, std::size_t count);
    void MakeRepetitions(const DeflateCodes& codes);
    void Write(const DeflateCodes& codes, const std::uint8_t* pixels, std::size_t count,
               BitWriter& to) const;

    static constexpr std::uint32_t kMostPixels = 255;  ///< that a colour is looked for before
    static constexpr std::uint32_t kWhole = kMostPixels + 1;

    std::vector<std::uint32_t> places_;  ///< by a colour's hash, the last pixel
    /// Of each pixel how many before it the same colour came; more by kWhole where all of it did,
    /// and 0 where none did.
    std::vector<std::uint16_t> distances_;
    std::array<Repetition, 2 * kWhole> repetitions_;  ///< by such a distance
    DeflateCounts counts_;
    Bytes room_;
};

}  // namespace veltrane::media

#endif
