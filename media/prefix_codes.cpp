#include "media/prefix_codes.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace veltrane::media {
namespace {

constexpr std::size_t kMostSymbols = 286;
constexpr int kLongestOfAll = 15;

/// A symbol that comes at all. In rising order the count is the key, of equal ones the symbol.
struct Leaf {
    std::uint32_t count;
    std::uint32_t symbol;

    bool operator<(const Leaf& other) const {
        return count != other.count ? count < other.count : symbol < other.symbol;
    }
};

/// How many symbols have a code of each length.
using LengthCounts = std::array<std::uint32_t, kMostSymbols + 1>;

/// Joins the two rarest again and again; those that were joined already rise in weight as they
/// come, so two queues hold all in order. A leaf is as deep as the joints above it.
LengthCounts UnboundedLengths(std::span<const Leaf> leaves) {
    const std::size_t joints = leaves.size() - 1;
    std::array<std::uint64_t, kMostSymbols> weight;
    std::array<std::size_t, kMostSymbols> above{};
    std::array<std::size_t, kMostSymbols> aboveLeaf{};
    std::size_t leaf = 0, joined = 0;
    for (std::size_t joint = 0; joint < joints; ++joint) {
        weight[joint] = 0;
        for (int side = 0; side < 2; ++side) {
            const bool takesLeaf =
                joined == joint || (leaf < leaves.size() && leaves[leaf].count <= weight[joined]);
            weight[joint] += takesLeaf ? leaves[leaf].count : weight[joined];
            (takesLeaf ? aboveLeaf[leaf++] : above[joined++]) = joint;
        }
    }
    std::array<std::size_t, kMostSymbols> depth{};
    for (std::size_t joint = joints - 1; joint-- > 0;) depth[joint] = depth[above[joint]] + 1;
    LengthCounts counts{};
    for (std::size_t i = 0; i < leaves.size(); ++i) ++counts[depth[aboveLeaf[i]] + 1];
    return counts;
}

/// Codes that are too long are made the longest there may be. What they then take too much of is
/// won back by making others longer, the longest first, since their symbols are the rarest.
void Bound(LengthCounts& counts, int longest) {
    for (std::size_t length = longest + 1; length < counts.size(); ++length) {
        counts[longest] += counts[length];
        counts[length] = 0;
    }
    std::uint32_t taken = 0;
    for (int length = 1; length <= longest; ++length) taken += counts[length] << (longest - length);
    for (; taken > std::uint32_t{1} << longest; --taken) {
        int length = longest - 1;
        while (counts[length] == 0) --length;
        --counts[length];
        counts[length + 1] += 2;
        --counts[longest];
    }
}

std::uint16_t Mirrored(std::uint32_t bits, int count) {
    std::uint32_t mirrored = 0;
    for (int i = 0; i < count; ++i) mirrored = mirrored << 1 | (bits >> i & 1);
    return static_cast<std::uint16_t>(mirrored);
}

void Number(std::span<PrefixCode> codes) {
    std::array<std::uint32_t, kLongestOfAll + 2> next{};
    for (const PrefixCode& code : codes)
        if (code.length > 0) ++next[code.length + 1];
    for (int length = 1; length <= kLongestOfAll; ++length)
        next[length + 1] = (next[length] + next[length + 1]) << 1;
    for (PrefixCode& code : codes)
        if (code.length > 0) code.bits = Mirrored(next[code.length]++, code.length);
}

}  // namespace

void MakePrefixCodes(std::span<const std::uint32_t> counts, int longest,
                     std::span<PrefixCode> codes) {
    std::array<Leaf, kMostSymbols> room;
    std::size_t used = 0;
    for (std::uint32_t symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] > 0) room[used++] = {counts[symbol], symbol};
    std::fill(codes.begin(), codes.end(), PrefixCode{});
    if (used < 2) {
        codes[used == 0 ? 0 : room[0].symbol].length = 1;
        return;
    }
    const std::span<Leaf> leaves(room.data(), used);
    std::sort(leaves.begin(), leaves.end());
    LengthCounts lengths = UnboundedLengths(leaves);
    Bound(lengths, longest);
    auto leaf = leaves.begin();
    for (int length = longest; length > 0; --length)
        for (std::uint32_t i = 0; i < lengths[length]; ++i)
            codes[leaf++->symbol].length = static_cast<std::uint16_t>(length);
    Number(codes);
}

}  // namespace veltrane::media
