#include "studio/frame_changes.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <vector>

#include "imaging/sample.h"

namespace veltrane::studio {

namespace {

static_assert(std::endian::native == std::endian::little, "browsers take values as they lie here");

constexpr int kBlock = 32;
constexpr int kColors = 3;

struct BlockBits {
    std::uint32_t number = 0;
    std::uint32_t alphas = 0;
    std::uint32_t colors = 0;
};

/// Of a band of rows.
struct Changes {
    int firstRow = 0;
    std::vector<BlockBits> blocks;
    std::vector<std::uint16_t> alphas;
    std::vector<std::uint16_t> colors;
};

void AddPixel(const std::uint16_t* before, const std::uint16_t* after, std::uint32_t bit,
              BlockBits& bits, Changes& changes) {
    if (before[kColors] != after[kColors]) {
        bits.alphas |= bit;
        changes.alphas.push_back(after[kColors]);
    }
    if (std::memcmp(before, after, kColors * sizeof *after) != 0) {
        bits.colors |= bit;
        changes.colors.insert(changes.colors.end(), after, after + kColors);
    }
}

void AddRow(const std::uint16_t* before, const std::uint16_t* after, int width,
            std::uint32_t number, Changes& changes) {
    for (int x = 0; x < width; x += kBlock, ++number) {
        const int pixels = std::min(kBlock, width - x);
        const std::size_t at = static_cast<std::size_t>(x) * kElements;
        const std::size_t size = pixels * kElements * sizeof *after;
        if (std::memcmp(before + at, after + at, size) == 0) continue;
        BlockBits bits{number, 0, 0};
        for (int i = 0; i < pixels; ++i)
            AddPixel(before + at + i * kElements, after + at + i * kElements, 1u << i, bits,
                     changes);
        changes.blocks.push_back(bits);
    }
}

template <class Value>
std::byte* Append(const std::vector<Value>& values, std::byte* to) {
    if (!values.empty()) std::memcpy(to, values.data(), values.size() * sizeof(Value));
    return to + values.size() * sizeof(Value);
}

/// The bands' changes one after the other, kind by kind.
Bytes Joined(const std::vector<Changes>& bands) {
    std::uint32_t counts[3] = {};
    for (const Changes& band : bands) {
        counts[0] += static_cast<std::uint32_t>(band.blocks.size());
        counts[1] += static_cast<std::uint32_t>(band.alphas.size());
        counts[2] += static_cast<std::uint32_t>(band.colors.size() / kColors);
    }
    const std::size_t size = sizeof counts + counts[0] * sizeof(BlockBits) +
                             (counts[1] + std::size_t{kColors} * counts[2]) * sizeof(std::uint16_t);
    Bytes bytes = MakeBytes(size);
    auto* to = reinterpret_cast<std::byte*>(bytes.samples.get());
    std::memcpy(to, counts, sizeof counts);
    to += sizeof counts;
    for (const Changes& band : bands) to = Append(band.blocks, to);
    for (const Changes& band : bands) to = Append(band.alphas, to);
    for (const Changes& band : bands) to = Append(band.colors, to);
    return bytes;
}

}  // namespace

std::optional<Bytes> CodeChanges(const std::uint16_t* before, const std::uint16_t* after, int width,
                                 int height, const Threads& threads) {
    constexpr int kLeastRows = 16;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const auto blocksARow = static_cast<std::uint32_t>((width + kBlock - 1) / kBlock);
    std::mutex joining;
    std::vector<Changes> bands;
    ForEachBand(threads, height, kLeastRows, [&](Band band) {
        Changes changes;
        changes.firstRow = band.first;
        for (int y = band.first; y < band.end; ++y)
            AddRow(before + y * pitch, after + y * pitch, width,
                   static_cast<std::uint32_t>(y) * blocksARow, changes);
        const std::lock_guard lock(joining);
        bands.push_back(std::move(changes));
    });
    std::sort(bands.begin(), bands.end(),
              [](const Changes& a, const Changes& b) { return a.firstRow < b.firstRow; });
    Bytes bytes = Joined(bands);
    if (bytes.size > pitch * static_cast<std::size_t>(height)) return std::nullopt;
    return bytes;
}

}  // namespace veltrane::studio
