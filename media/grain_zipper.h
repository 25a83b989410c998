#ifndef VELTRANE_MEDIA_GRAIN_ZIPPER_H
#define VELTRANE_MEDIA_GRAIN_ZIPPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/file_bytes.h"
#include "media/prefix_codes.h"

namespace veltrane::media {

/// Compresses pieces of which little repeats, such as those of a picture with grain, by zlib's
/// format: twice as fast as by searching at every byte, and hardly larger. Repetitions are looked
/// for at every eighth byte only, and the codes come from a sample of the others.
class GrainZipper {
public:
    GrainZipper();

    /// True where so little repeats in the middle of a piece that it is for this zipper.
    bool Suits(const std::uint8_t* bytes, std::size_t size);
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
    class Writer;
    struct Codes;

    void Forget();
    void Divide(const std::uint8_t* bytes, std::size_t begin, std::size_t end);
    void AddRepetition(const std::uint8_t* bytes, std::size_t place, std::size_t distance,
                       std::size_t end);
    void Count(const std::uint8_t* begin, const std::uint8_t* end);
    void CountSymbols();
    static void WriteCodes(const Codes& codes, Writer& to);
    void WriteSteps(const Codes& codes, const std::uint8_t* bytes, Writer& to) const;

    static constexpr std::size_t kSymbols = 286, kDistances = 30;

    std::vector<std::uint32_t> places_;  ///< by hash: further bits of it, and the place's low bits
    std::vector<Step> steps_;            ///< of a block
    std::size_t done_ = 0;               ///< where the last of them ends
    std::array<std::array<std::uint32_t, 256>, 4> sampled_;
    std::array<std::uint32_t, kSymbols> symbols_;
    std::array<std::uint32_t, kDistances> distances_;
    Bytes room_;
};

}  // namespace veltrane::media

#endif
