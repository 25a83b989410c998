#include "media/exr_zip.h"

#include <bit>
#include <cstring>
#include <utility>

namespace veltrane::media {
namespace {

// A difference is kept with 128 added to it, the first byte as it is.

void ToDifferences(const std::uint8_t* chunk, std::size_t size, std::uint8_t* differences) {
    const std::size_t evens = (size + 1) / 2, odds = size / 2;
    std::uint8_t *even = differences, *odd = differences + evens;
    even[0] = chunk[0];
    for (std::size_t i = 1; i < evens; ++i) {
        even[i] = static_cast<std::uint8_t>(chunk[2 * i] - chunk[2 * i - 2] + 128);
    }
    if (odds == 0) return;
    odd[0] = static_cast<std::uint8_t>(chunk[1] - chunk[2 * evens - 2] + 128);
    for (std::size_t i = 1; i < odds; ++i) {
        odd[i] = static_cast<std::uint8_t>(chunk[2 * i + 1] - chunk[2 * i - 1] + 128);
    }
}

/// Sums differences up in place, eight at a time in fields of 16 bits: a product by ones in each
/// field is the sum of the fields up to each.
void SumUp(std::uint8_t* bytes, std::size_t size) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t kOnes = 0x0001000100010001, kLow = kOnes * 0xff;
    constexpr std::uint64_t kMiddle = 0x8080808080808080;
    std::uint64_t sum = 128;  // takes back what the first byte has not been given
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, 8);
        word ^= kMiddle;
        const std::uint64_t odd = word >> 8 & kLow;
        const std::uint64_t sums = ((word & kLow) + odd) * kOnes + sum * kOnes;
        sum = sums >> 48 & 0xff;
        word = ((sums - odd) & kLow) | (sums & kLow) << 8;
        std::memcpy(bytes + i, &word, 8);
    }
    for (; i < size; ++i) {
        sum = (sum + bytes[i] + 128) & 0xff;
        bytes[i] = static_cast<std::uint8_t>(sum);
    }
}

void Interleave(const std::uint8_t* halves, std::size_t size, std::uint8_t* chunk) {
    const std::uint8_t *even = halves, *odd = halves + (size + 1) / 2;
    for (std::size_t i = 0; i < size / 2; ++i) {
        chunk[2 * i] = even[i];
        chunk[2 * i + 1] = odd[i];
    }
    if (size % 2 == 1) chunk[size - 1] = even[size / 2];
}

}  // namespace

Bytes ExrZipper::Zip(const std::uint8_t* chunk, std::size_t size) {
    differences_.resize(size);
    ToDifferences(chunk, size, differences_.data());
    Bytes zipped = zipper_.Zip(differences_.data(), size, grain_);
    return zipped.size() < size ? std::move(zipped) : Bytes(chunk, chunk + size);
}

bool ExrUnzip(const std::uint8_t* zipped, std::size_t zippedSize, std::uint8_t* chunk,
              std::size_t size, std::uint8_t* scratch) {
    if (!UnzipWhole(zipped, zippedSize, scratch, size)) return false;
    SumUp(scratch, size);
    Interleave(scratch, size, chunk);
    return true;
}

}  // namespace veltrane::media
