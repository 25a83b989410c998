#ifndef VELTRANE_MEDIA_GRAIN_ZIPPER_H
#define VELTRANE_MEDIA_GRAIN_ZIPPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/deflate_codes.h"
#include "media/file_bytes.h"

namespace veltrane::media {

/// Compresses pieces of which little repeats, such as those of a picture with grain, by zlib's
/// format: twice as fast as by searching at every byte, and hardly larger. Repetitions are looked
/// for at every eighth byte only, and the codes come from a sample of the others.
class GrainZipper {
public:
    GrainZipper();

    /// How much of the middle of a piece repeats, of 1, as far as this zipper finds it; 1 for a
    /// short piece.
    double Repetition(const std::uint8_t* bytes, std::size_t size);
    /// What a piece of at least one byte becomes, which depends on nothing but its bytes. It stays
    /// until the next one.
    std::span<const std::uint8_t> Zip(const std::uint8_t* bytes, std::size_t size);

private:
    /// So many bytes as they are, and then `length` that have come `distance` before.
    struct Step {
        std::uint32_t literals;
        std::uint16_t length;
        std::uint16_t distance;
    };

    void Forget();
    void Divide(const std::uint8_t* bytes, std::size_t begin, std::size_t end);
    void AddRepetition(const std::uint8_t* bytes, std::size_t place, std::size_t distance,
                       std::size_t end);
    void Count(const std::uint8_t* begin, const std::uint8_t* end);
    void CountSymbols();
    void WriteSteps(const DeflateCodes& codes, const std::uint8_t* bytes, BitWriter& to) const;

    std::vector<std::uint32_t> places_;  ///< by hash: further bits of it, and the place's low bits
    std::vector<Step> steps_;            ///< of a block
    std::size_t done_ = 0;               ///< where the last of them ends
    std::array<std::array<std::uint32_t, 256>, 4> sampled_;
    DeflateCounts counts_;
    Bytes room_;
};

}  // namespace veltrane::media

#endif
