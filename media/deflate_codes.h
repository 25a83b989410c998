#ifndef VELTRANE_MEDIA_DEFLATE_CODES_H
#define VELTRANE_MEDIA_DEFLATE_CODES_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media/prefix_codes.h"

namespace veltrane::media {

static_assert(std::endian::native == std::endian::little, "words are taken as they lie");

// What the format of zlib is made of: bytes as they are (literals), and repetitions of bytes from
// before, each told by a length and a distance. Codes of a block's own say which.

inline constexpr std::size_t kWord = 8;
inline constexpr std::size_t kFarthest = 32768, kLongest = 258;
inline constexpr std::size_t kEndOfBlock = 256, kLengths = 257;  ///< symbols; bytes come before
inline constexpr std::size_t kSymbols = 286, kDistances = 30;
inline constexpr int kLongestCode = 14;  ///< so that four fit beside the seven bits left over

inline std::uint64_t WordAt(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, kWord);
    return word;
}

/// What a symbol for lengths or distances stands for: a first value, and how many bits tell the
/// rest.
struct DeflateRange {
    std::uint16_t first;
    std::uint16_t bits;
};

/// Each second, or each fourth, of these has one bit more than those before it.
template <std::size_t count>
constexpr std::array<DeflateRange, count> DeflateRanges(int first, int alike) {
    std::array<DeflateRange, count> ranges{};
    int value = first;
    for (int i = 0; i < static_cast<int>(count); ++i) {
        const int bits = std::max(i / alike - 1, 0);
        ranges[i] = {static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(bits)};
        value += 1 << bits;
    }
    return ranges;
}

inline constexpr auto kDistanceRanges = DeflateRanges<kDistances>(1, 2);
inline constexpr auto kLengthRanges = [] {
    auto ranges = DeflateRanges<29>(3, 4);
    ranges.back() = {kLongest, 0};
    return ranges;
}();

/// Of each length the symbol, from 0.
inline constexpr auto kLengthSymbols = [] {
    std::array<std::uint8_t, kLongest + 1> symbols{};
    for (std::size_t symbol = 0; symbol < kLengthRanges.size(); ++symbol)
        for (std::size_t length = kLengthRanges[symbol].first; length <= kLongest; ++length)
            symbols[length] = static_cast<std::uint8_t>(symbol);
    return symbols;
}();

inline std::size_t DistanceSymbol(std::uint32_t distance) {
    const std::uint32_t from = distance - 1;
    if (from < 2) return from;
    const int bits = std::bit_width(from) - 2;
    return 2 * static_cast<std::size_t>(bits) + (from >> bits);
}

/// Bits in a row. Whole bytes are stored at once: room for a word more is needed behind them.
class BitWriter {
public:
    explicit BitWriter(std::uint8_t* to) : to_(to) {}

    void Add(std::uint64_t bits, int count) {
        bits_ |= bits << count_;
        count_ += count;
    }
    void Add(const PrefixCode& code) { Add(code.bits, code.length); }
    /// Leaves at most seven bits, so that 57 can be added.
    void Store() {
        std::memcpy(to_, &bits_, kWord);
        to_ += count_ / 8;
        bits_ >>= count_ & ~7;
        count_ &= 7;
    }
    void FillByte() {
        count_ = (count_ + 7) & ~7;
        Store();
    }
    std::uint8_t* end() const { return to_; }

private:
    std::uint8_t* to_;
    std::uint64_t bits_ = 0;
    int count_ = 0;
};

/// How often a block's symbols come, and their codes.
struct DeflateCounts {
    std::array<std::uint32_t, kSymbols> symbols;
    std::array<std::uint32_t, kDistances> distances;
};
struct DeflateCodes {
    explicit DeflateCodes(const DeflateCounts& counts);

    std::array<PrefixCode, kSymbols> symbols;
    std::array<PrefixCode, kDistances> distances;
};

/// The most bytes that a block's head takes.
inline constexpr std::size_t kMostOfBlockHead = 1024;

void BeginZlib(BitWriter& to);
/// What comes before a block's content: whether it is the last one, and its codes.
void BeginBlock(const DeflateCodes& codes, bool last, BitWriter& to);
/// Fills the last byte and adds the checksum of all that was given.
void EndZlib(const std::uint8_t* bytes, std::size_t size, BitWriter& to);

}  // namespace veltrane::media

#endif
