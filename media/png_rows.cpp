#include "media/png_rows.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

/// The data of the chunks that hold pixels, one after another, which is one stream.
Bytes PixelData(const Bytes& file) {
    constexpr std::size_t kSignature = 8, kFrame = 12;
    Bytes data;
    data.reserve(file.size());
    for (std::size_t at = kSignature; at + kFrame <= file.size();) {
        std::size_t length = 0;
        for (int i = 0; i < 4; ++i) length = length << 8 | file[at + i];
        if (length > file.size() - at - kFrame) break;
        const std::uint8_t* name = file.data() + at + 4;
        if (std::memcmp(name, "IDAT", 4) == 0) data.insert(data.end(), name + 4, name + 4 + length);
        at += length + kFrame;
    }
    return data;
}

/// Of the bytes to the left, above and above to the left, the one nearest to where they lead.
int Nearest(int left, int above, int corner) {
    const int toLeft = std::abs(above - corner), toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    if (toLeft <= toAbove && toLeft <= toCorner) return left;
    return toAbove <= toCorner ? above : corner;
}

enum Filter { kNone, kLeft, kUp, kMean, kNearest };

/// Adds to each byte what its filter foretold of it. above may be the row of zeros.
template <typename Foretell>
void Add(std::uint8_t* row, std::size_t begin, std::size_t end, Foretell foretell) {
    for (std::size_t i = begin; i < end; ++i) {
        row[i] = static_cast<std::uint8_t>(row[i] + foretell(i));
    }
}

bool Undo(int filter, const PngRowLayout& layout, const std::uint8_t* above, std::uint8_t* row) {
    const std::size_t step = layout.pixelBytes, end = layout.rowBytes;
    switch (filter) {
        case kNone:
            return true;
        case kLeft:
            Add(row, step, end, [=](std::size_t i) { return row[i - step]; });
            return true;
        case kUp:
            Add(row, 0, end, [=](std::size_t i) { return above[i]; });
            return true;
        case kMean:
            Add(row, 0, step, [=](std::size_t i) { return above[i] / 2; });
            Add(row, step, end, [=](std::size_t i) { return (row[i - step] + above[i]) / 2; });
            return true;
        case kNearest:
            Add(row, 0, step, [=](std::size_t i) { return above[i]; });
            Add(row, step, end,
                [=](std::size_t i) { return Nearest(row[i - step], above[i], above[i - step]); });
            return true;
        default:
            return false;
    }
}

}  // namespace

Bytes PngRows(const Bytes& file, const PngRowLayout& layout) {
    const std::size_t stride = layout.rowBytes + 1;
    Bytes rows(stride * layout.rows);
    if (!Unzip(PixelData(file), rows.data(), rows.size())) return {};
    const Bytes zeros(layout.rowBytes);
    const std::uint8_t* above = zeros.data();
    for (std::size_t y = 0; y < layout.rows; ++y) {
        std::uint8_t* row = rows.data() + stride * y;
        if (!Undo(row[0], layout, above, row + 1)) return {};
        above = row + 1;
    }
    return rows;
}

}  // namespace veltrane::media
