#include "media/grain_zipper.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace veltrane::media {
namespace {

static_assert(std::endian::native == std::endian::little, "words are taken as they lie");

constexpr int kHashBits = 12;
constexpr std::size_t kWord = 8;
constexpr std::size_t kMostBlock = 120 * 1024;
constexpr std::size_t kFarthest = 32768, kLongest = 258;
constexpr int kSampling = 4;         // one word in so many is counted
constexpr int kLongestLiteral = 14;  // so that four fit beside the seven bits left over
constexpr std::size_t kEndOfBlock = 256, kLengths = 257;

/// What a symbol for lengths or distances stands for: a first value, and how many bits tell the
/// rest.
struct Range {
    std::uint16_t first;
    std::uint16_t bits;
};

/// Each second, or each fourth, of these has one bit more than those before it.
template <std::size_t count>
constexpr std::array<Range, count> Ranges(int first, int alike) {
    std::array<Range, count> ranges{};
    int value = first;
    for (int i = 0; i < static_cast<int>(count); ++i) {
        const int bits = std::max(i / alike - 1, 0);
        ranges[i] = {static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(bits)};
        value += 1 << bits;
    }
    return ranges;
}

constexpr auto kDistanceRanges = Ranges<30>(1, 2);
constexpr auto kLengthRanges = [] {
    auto ranges = Ranges<29>(3, 4);
    ranges.back() = {kLongest, 0};
    return ranges;
}();

/// Of each length the symbol, from 0.
constexpr auto kLengthSymbols = [] {
    std::array<std::uint8_t, kLongest + 1> symbols{};
    for (std::size_t symbol = 0; symbol < kLengthRanges.size(); ++symbol)
        for (std::size_t length = kLengthRanges[symbol].first; length <= kLongest; ++length)
            symbols[length] = static_cast<std::uint8_t>(symbol);
    return symbols;
}();

std::size_t DistanceSymbol(std::uint32_t distance) {
    const std::uint32_t from = distance - 1;
    if (from < 2) return from;
    const int bits = std::bit_width(from) - 2;
    return 2 * static_cast<std::size_t>(bits) + (from >> bits);
}

std::uint64_t WordAt(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, kWord);
    return word;
}

/// The next place at which a repetition is looked for. There is a word before it in any case.
std::size_t PlaceFrom(std::size_t at) {
    return std::max((at + kWord - 1) / kWord * kWord, kWord);
}

}  // namespace

/// Bits in a row. Whole bytes are stored at once: room for a word more is needed behind them.
class GrainZipper::Writer {
public:
    explicit Writer(std::uint8_t* to) : to_(to) {}

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

struct GrainZipper::Codes {
    std::array<PrefixCode, kSymbols> symbols;
    std::array<PrefixCode, kDistances> distances;
};

GrainZipper::GrainZipper() : places_(std::size_t{1} << kHashBits) {
    steps_.reserve(kMostBlock / kWord + 1);
}

void GrainZipper::Forget() {
    std::fill(places_.begin(), places_.end(), 0);
}

void GrainZipper::Count(const std::uint8_t* begin, const std::uint8_t* end) {
    constexpr std::ptrdiff_t kStep = kWord * kSampling;
    for (; end - begin >= static_cast<std::ptrdiff_t>(kWord); begin += kStep) {
        const std::uint64_t word = WordAt(begin);
        for (int i = 0; i < 8; ++i) ++sampled_[i % 4][word >> 8 * i & 0xff];
        if (end - begin < kStep) return;
    }
}

/// A repetition that was found by a word is as long as it goes on, on both sides.
void GrainZipper::AddRepetition(const std::uint8_t* bytes, std::size_t place, std::size_t distance,
                                std::size_t end) {
    const std::uint64_t before =
        WordAt(bytes + place - kWord) ^ WordAt(bytes + place - kWord - distance);
    const std::size_t first = std::max(place - std::countl_zero(before) / 8, done_);
    const std::size_t most = std::min(end - first, kLongest);
    const std::uint8_t *here = bytes + first, *there = here - distance;
    std::size_t length = place - first + kWord;
    while (length + kWord <= most) {
        const std::uint64_t other = WordAt(here + length) ^ WordAt(there + length);
        length += static_cast<std::size_t>(std::countr_zero(other) / 8);
        if (other != 0) break;
    }
    length = std::min(length, most);
    Count(bytes + done_, here);
    steps_.push_back({static_cast<std::uint32_t>(first - done_), static_cast<std::uint16_t>(length),
                      static_cast<std::uint16_t>(distance)});
    ++symbols_[kLengths + kLengthSymbols[length]];
    ++distances_[DistanceSymbol(static_cast<std::uint32_t>(distance))];
    done_ = first + length;
}

/// Finds the steps of a block, and counts what they are made of. An entry of the table may be of a
/// place so long ago that its low bits mean another one by now; words are compared in any case.
void GrainZipper::Divide(const std::uint8_t* bytes, std::size_t begin, std::size_t end) {
    constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;
    constexpr std::uint32_t kLow = 0xffff;
    steps_.clear();
    sampled_ = {};
    symbols_ = {};
    distances_ = {};
    done_ = begin;
    for (std::size_t place = PlaceFrom(begin); place + 2 * kWord <= end;) {
        const std::uint64_t word = WordAt(bytes + place), hash = word * kFactor;
        std::uint32_t& entry = places_[hash >> (64 - kHashBits)];
        const std::uint32_t low = static_cast<std::uint32_t>(place) & kLow;
        const std::uint32_t mine = (static_cast<std::uint32_t>(hash >> 16) & ~kLow) | low;
        const std::uint32_t other = std::exchange(entry, mine);
        const std::size_t distance = (place - other) & kLow;
        place += kWord;
        if ((other ^ mine) > kLow || distance - 1 >= kFarthest || distance + 2 * kWord > place)
            continue;
        if (WordAt(bytes + place - kWord - distance) != word) continue;
        AddRepetition(bytes, place - kWord, distance, end);
        place = PlaceFrom(done_);
    }
    Count(bytes + done_, bytes + end);
    steps_.push_back({static_cast<std::uint32_t>(end - done_), 0, 0});
    CountSymbols();
}

/// Bytes that the sample does not show may come all the same.
void GrainZipper::CountSymbols() {
    for (std::size_t byte = 0; byte < 256; ++byte) {
        symbols_[byte] = 1;
        for (const auto& counts : sampled_) symbols_[byte] += kSampling * counts[byte];
    }
    ++symbols_[kEndOfBlock];
}

/// The lengths of the codes have themselves a code, here the plainest: four bits for each of 0
/// to 15.
void GrainZipper::WriteCodes(const Codes& codes, Writer& to) {
    constexpr int kLengthCodes = 19, kRepeaters = 3;
    to.Add(kSymbols - 257, 5);
    to.Add(kDistances - 1, 5);
    to.Add(kLengthCodes - 4, 4);
    to.Store();
    for (int i = 0; i < kLengthCodes; ++i) {
        to.Add(i < kRepeaters ? 0 : 4, 3);
        to.Store();
    }
    const auto add = [&](const PrefixCode& code) {
        constexpr std::uint8_t kMirrored[] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
        to.Add(kMirrored[code.length], 4);
        to.Store();
    };
    std::for_each(codes.symbols.begin(), codes.symbols.end(), add);
    std::for_each(codes.distances.begin(), codes.distances.end(), add);
}

/// Four literals at a time: codes are put together in pairs, so that none waits for all before it.
/// A rest is read with bytes that follow it, whose codes are emptied: how many are left is no
/// branch that could be foretold.
void GrainZipper::WriteSteps(const Codes& codes, const std::uint8_t* bytes, Writer& to) const {
    Writer out = to;
    const auto& symbols = codes.symbols;
    const auto addFour = [&](const std::uint8_t* from, std::size_t count) {
        const auto code = [&](std::size_t i) {
            const auto kept = static_cast<std::uint16_t>(i < count ? 0xffff : 0);
            const PrefixCode& whole = symbols[from[i]];
            return PrefixCode{static_cast<std::uint16_t>(whole.bits & kept),
                              static_cast<std::uint16_t>(whole.length & kept)};
        };
        const PrefixCode a = code(0), b = code(1), c = code(2), d = code(3);
        const std::uint64_t first = a.bits | std::uint64_t{b.bits} << a.length;
        const std::uint64_t second = c.bits | std::uint64_t{d.bits} << c.length;
        const int half = a.length + b.length;
        out.Add(first | second << half, half + c.length + d.length);
        out.Store();
    };
    for (const Step& step : steps_) {
        const std::uint8_t* const end = bytes + step.literals;
        for (; end - bytes >= 4; bytes += 4) addFour(bytes, 4);
        if (step.length == 0) {
            for (; bytes < end; ++bytes) out.Add(symbols[*bytes]);
            out.Store();
            break;
        }
        addFour(bytes, static_cast<std::size_t>(end - bytes));
        bytes = end + step.length;
        const std::size_t length = kLengthSymbols[step.length];
        const std::size_t distance = DistanceSymbol(step.distance);
        out.Add(symbols[kLengths + length]);
        out.Add(step.length - kLengthRanges[length].first, kLengthRanges[length].bits);
        out.Add(codes.distances[distance]);
        out.Add(step.distance - kDistanceRanges[distance].first, kDistanceRanges[distance].bits);
        out.Store();
    }
    out.Add(symbols[kEndOfBlock]);
    out.Store();
    to = out;
}

bool GrainZipper::Suits(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t kLook = std::size_t{1} << 15, kLeast = 4096, kParts = 6;
    if (size < kLeast) return false;
    const std::size_t looked = std::min(size, kLook);
    Forget();
    Divide(bytes + (size - looked) / 2, 0, looked);
    std::size_t repeated = 0;
    for (const Step& step : steps_) repeated += step.length;
    return repeated <= looked / kParts;
}

std::span<const std::uint8_t> GrainZipper::Zip(const std::uint8_t* bytes, std::size_t size) {
    // An even number of blocks: the halves of an EXR's chunk differ in kind.
    const std::size_t blocks = 2 * ((size - 1) / (2 * kMostBlock) + 1);
    const std::size_t block = (size - 1) / blocks + 1;
    constexpr std::size_t kRoomABlock = 1024;
    room_.resize(2 * size + blocks * kRoomABlock);
    Writer out(room_.data());
    constexpr std::uint64_t kZlib = 0x0178;
    out.Add(kZlib, 16);
    Forget();
    for (std::size_t begin = 0; begin < size; begin += block) {
        const std::size_t end = std::min(begin + block, size);
        Divide(bytes, begin, end);
        Codes codes;
        MakePrefixCodes(symbols_, kLongestLiteral, codes.symbols);
        MakePrefixCodes(distances_, kLongestLiteral, codes.distances);
        constexpr int kOwnCodes = 2;
        out.Add(end == size ? 1 : 0, 1);
        out.Add(kOwnCodes, 2);
        WriteCodes(codes, out);
        WriteSteps(codes, bytes + begin, out);
    }
    out.FillByte();
    const std::uint32_t sum = isal_adler32(1, bytes, size);
    for (int shift = 24; shift >= 0; shift -= 8) out.Add(sum >> shift & 0xff, 8);
    out.Store();
    return {room_.data(), out.end()};
}

}  // namespace veltrane::media
