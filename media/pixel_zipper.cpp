#include "media/pixel_zipper.h"

#include <algorithm>

namespace veltrane::media {
namespace {

constexpr int kHashBits = 12;
constexpr std::size_t kMostBlock = 30720;  // pixels
constexpr std::size_t kSampling = 7;       // one pixel in so many is counted, of all columns
constexpr std::size_t kColour = 6;         // bytes of a pixel
constexpr std::size_t kColourAgain = kLengths + kLengthSymbols[kColour];
constexpr std::size_t kPixelAgain = kLengths + kLengthSymbols[kWord];

/// Leaves a value, or makes it 0.
template <typename Value>
Value If(bool kept, Value value) {
    return value & (Value{0} - Value{kept});
}

/// Four literals' codes of at most 14 bits. They are put together in pairs, so that none waits for
/// all before it.
struct FourCodes {
    FourCodes(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
        const std::uint64_t first = Bits(a) | Bits(b) << Length(a);
        const std::uint64_t second = Bits(c) | Bits(d) << Length(c);
        const std::uint32_t half = Length(a) + Length(b);
        bits = first | second << half;
        length = half + Length(c) + Length(d);
    }
    static std::uint64_t Bits(std::uint32_t code) { return code & 0xffff; }
    static std::uint32_t Length(std::uint32_t code) { return code >> 16; }

    std::uint64_t bits;
    std::uint32_t length;
};

}  // namespace

PixelZipper::PixelZipper() : places_(std::size_t{1} << kHashBits), distances_(kMostBlock) {}

/// Whatever the table holds of pixels before, they are compared.
void PixelZipper::Divide(const std::uint8_t* bytes, std::size_t first, std::size_t count) {
    constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;
    constexpr int kAlphaBits = 16;
    for (std::size_t i = 0; i < count; ++i) {
        const auto place = static_cast<std::uint32_t>(first + i);
        const std::uint64_t pixel = WordAt(bytes + kWord * place);
        const std::uint64_t hash = (pixel << kAlphaBits) * kFactor >> (64 - kHashBits);
        const std::uint32_t other = places_[hash], distance = place - other;
        places_[hash] = place;
        const std::uint64_t differs = WordAt(bytes + kWord * other) ^ pixel;
        const bool near = distance - 1 < kMostPixels;
        const bool colour = static_cast<std::uint64_t>(differs << kAlphaBits) == 0;
        const std::uint32_t all = If(differs == 0, kWhole);
        distances_[i] = static_cast<std::uint16_t>(If(near & colour, distance + all));
    }
}

/// What the sample does not show may come all the same.
void PixelZipper::Count(const std::uint8_t* pixels, std::size_t count) {
    std::array<std::array<std::uint32_t, 256>, 4> literals{};
    counts_.symbols.fill(1);
    counts_.distances.fill(1);
    for (std::size_t i = 0; i < count; i += kSampling) {
        const std::uint64_t pixel = WordAt(pixels + kWord * i);
        const bool colour = distances_[i] > 0, all = distances_[i] > kMostPixels;
        for (std::size_t byte = 0; byte < kWord; ++byte)
            literals[byte % 4][pixel >> 8 * byte & 0xff] += byte < kColour ? !colour : !all;
        if (!colour) continue;
        counts_.symbols[all ? kPixelAgain : kColourAgain] += kSampling;
        counts_.distances[DistanceSymbol(kWord * (distances_[i] % kWhole))] += kSampling;
    }
    for (std::size_t byte = 0; byte < 256; ++byte)
        for (const auto& some : literals) counts_.symbols[byte] += kSampling * some[byte];
}

void PixelZipper::MakeRepetitions(const DeflateCodes& codes) {
    for (const bool all : {false, true})
        for (std::uint32_t pixels = 1; pixels <= kMostPixels; ++pixels) {
            const std::uint32_t distance = kWord * pixels;
            const std::size_t symbol = DistanceSymbol(distance);
            const PrefixCode length = codes.symbols[all ? kPixelAgain : kColourAgain];
            const PrefixCode far = codes.distances[symbol];
            const std::uint64_t rest = distance - kDistanceRanges[symbol].first;
            repetitions_[pixels + (all ? kWhole : 0)] = {
                length.bits | (far.bits | rest << far.length) << length.length,
                length.length + far.length + kDistanceRanges[symbol].bits};
        }
}

void PixelZipper::Write(const DeflateCodes& codes, const std::uint8_t* pixels, std::size_t count,
                        BitWriter& to) const {
    BitWriter out = to;
    std::array<std::uint32_t, 256> literals;
    for (std::size_t byte = 0; byte < 256; ++byte)
        literals[byte] = codes.symbols[byte].bits | std::uint32_t{codes.symbols[byte].length} << 16;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t pixel = WordAt(pixels + kWord * i);
        const auto literal = [&](int byte) { return literals[pixel >> 8 * byte & 0xff]; };
        const std::uint32_t distance = distances_[i];
        const bool colour = distance > 0, all = distance > kMostPixels;
        const Repetition& again = repetitions_[distance];
        const FourCodes first(literal(0), literal(1), literal(2), literal(3));
        out.Add(If(colour, again.bits) | If(!colour, first.bits),
                static_cast<int>(If(colour, static_cast<std::uint32_t>(again.length)) |
                                 If(!colour, first.length)));
        out.Store();
        const FourCodes second(If(!colour, literal(4)), If(!colour, literal(5)),
                               If(!all, literal(6)), If(!all, literal(7)));
        out.Add(second.bits, static_cast<int>(second.length));
        out.Store();
    }
    out.Add(codes.symbols[kEndOfBlock]);
    out.Store();
    to = out;
}

std::span<const std::uint8_t> PixelZipper::Zip(const std::uint8_t* bytes, std::size_t size) {
    const std::size_t pixels = size / kWord, blocks = (pixels - 1) / kMostBlock + 1;
    const std::size_t block = (pixels - 1) / blocks + 1;
    room_.resize(2 * size + blocks * kMostOfBlockHead);
    BitWriter out(room_.data());
    BeginZlib(out);
    std::fill(places_.begin(), places_.end(), 0);
    for (std::size_t first = 0; first < pixels; first += block) {
        const std::size_t count = std::min(block, pixels - first);
        const std::uint8_t* begin = bytes + kWord * first;
        Divide(bytes, first, count);
        Count(begin, count);
        const DeflateCodes codes(counts_);
        MakeRepetitions(codes);
        BeginBlock(codes, first + count == pixels, out);
        Write(codes, begin, count, out);
    }
    EndZlib(bytes, size, out);
    return {room_.data(), out.end()};
}

}  // namespace veltrane::media
