#include "media/grain_zipper.h"

#include <algorithm>
#include <utility>

namespace veltrane::media {
namespace {

constexpr int kHashBits = 12;
constexpr std::size_t kMostBlock = 120 * 1024;
constexpr int kSampling = 4;  // one word in so many is counted

/// The next place at which a repetition is looked for. There is a word before it in any case.
std::size_t PlaceFrom(std::size_t at) {
    return std::max((at + kWord - 1) / kWord * kWord, kWord);
}

}  // namespace

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
    ++counts_.symbols[kLengths + kLengthSymbols[length]];
    ++counts_.distances[DistanceSymbol(static_cast<std::uint32_t>(distance))];
    done_ = first + length;
}

/// Finds the steps of a block, and counts what they are made of. An entry of the table may be of a
/// place so long ago that its low bits mean another one by now; words are compared in any case.
void GrainZipper::Divide(const std::uint8_t* bytes, std::size_t begin, std::size_t end) {
    constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;
    constexpr std::uint32_t kLow = 0xffff;
    steps_.clear();
    sampled_ = {};
    counts_ = {};
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
        counts_.symbols[byte] = 1;
        for (const auto& counts : sampled_) counts_.symbols[byte] += kSampling * counts[byte];
    }
    ++counts_.symbols[kEndOfBlock];
}

/// Four literals at a time: codes are put together in pairs, so that none waits for all before it.
/// A rest is read with bytes that follow it, whose codes are emptied: how many are left is no
/// branch that could be foretold.
void GrainZipper::WriteSteps(const DeflateCodes& codes, const std::uint8_t* bytes,
                             BitWriter& to) const {
    BitWriter out = to;
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

double GrainZipper::Repetition(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t kLook = std::size_t{1} << 15, kLeast = 4096;
    if (size < kLeast) return 1;
    const std::size_t looked = std::min(size, kLook);
    Forget();
    Divide(bytes + (size - looked) / 2, 0, looked);
    std::size_t repeated = 0;
    for (const Step& step : steps_) repeated += step.length;
    return static_cast<double>(repeated) / static_cast<double>(looked);
}

std::span<const std::uint8_t> GrainZipper::Zip(const std::uint8_t* bytes, std::size_t size) {
    // An even number of blocks: the halves of an EXR's chunk differ in kind.
    const std::size_t blocks = 2 * ((size - 1) / (2 * kMostBlock) + 1);
    const std::size_t block = (size - 1) / blocks + 1;
    room_.resize(2 * size + blocks * kMostOfBlockHead);
    BitWriter out(room_.data());
    BeginZlib(out);
    Forget();
    for (std::size_t begin = 0; begin < size; begin += block) {
        const std::size_t end = std::min(begin + block, size);
        Divide(bytes, begin, end);
        const DeflateCodes codes(counts_);
        BeginBlock(codes, end == size, out);
        WriteSteps(codes, bytes + begin, out);
    }
    EndZlib(bytes, size, out);
    return {room_.data(), out.end()};
}

}  // namespace veltrane::media
