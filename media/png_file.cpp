#include "media/png_file.h"

#include <isa-l/crc.h>

#include <bit>
#include <cstring>

#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::uint8_t kUpFilter = 2;

void AddBigEndian(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void AddChunk(Bytes& file, const char* name, const Bytes& data, std::size_t length) {
    AddBigEndian(file, static_cast<std::uint32_t>(length));
    const std::size_t begin = file.size();
    file.insert(file.end(), name, name + 4);
    file.insert(file.end(), data.data(), data.data() + length);
    AddBigEndian(file, PngChecksum(file.data() + begin, length + 4));
}

void AddHeader(Bytes& file, int width, int height, bool alpha) {
    constexpr std::uint8_t kBits = 16, kRgb = 2, kRgba = 6;
    Bytes header;
    AddBigEndian(header, static_cast<std::uint32_t>(width));
    AddBigEndian(header, static_cast<std::uint32_t>(height));
    const std::uint8_t colour = alpha ? kRgba : kRgb;
    header.insert(header.end(), {kBits, colour, 0, 0, 0});
    AddChunk(file, "IHDR", header, header.size());
}

/// The chunks of compressed pixels.
class PixelChunks {
public:
    explicit PixelChunks(Bytes& file) : file_(file) { zipper_.Begin(); }

    void Add(const Bytes& bytes, bool last) {
        zipper_.Give(bytes.data(), bytes.size(), last);
        for (;;) {
            made_ += zipper_.Take(chunk_.data() + made_, chunk_.size() - made_);
            if (made_ < chunk_.size()) break;
            Flush();
        }
        if (last) Flush();
    }

private:
    void Flush() {
        AddChunk(file_, "IDAT", chunk_, made_);
        made_ = 0;
    }

    Bytes& file_;
    Zipper zipper_;
    Bytes chunk_ = Bytes(std::size_t{1} << 18);
    std::size_t made_ = 0;
};

/// A row as it stands in the file before it is filtered.
template <int channels>
void StoreRow(const std::uint16_t* pixels, int width, std::uint8_t* row) {
    static_assert(std::endian::native == std::endian::little, "pixels are taken as words");
    constexpr std::uint64_t kHigh = 0xff00ff00ff00ff00, kRedAndBlue = 0x0000ffff0000ffff;
    for (int x = 0; x < width; ++x, pixels += 4, row += 2 * channels) {
        std::uint64_t pixel;
        std::memcpy(&pixel, pixels, sizeof pixel);
        pixel = (pixel & kHigh) >> 8 | (pixel << 8 & kHigh);
        const std::uint64_t swapped = pixel & kRedAndBlue;
        pixel = (pixel & ~kRedAndBlue) | swapped >> 32 | swapped << 32;
        std::memcpy(row, &pixel, 2 * channels);
    }
}

/// Appends a row as differences from the row above it.
void AddFiltered(Bytes& bytes, const Bytes& row, const Bytes& above) {
    bytes.push_back(kUpFilter);
    const std::size_t begin = bytes.size();
    bytes.resize(begin + row.size());
    std::uint8_t* to = bytes.data() + begin;
    for (std::size_t i = 0; i < row.size(); ++i) {
        to[i] = static_cast<std::uint8_t>(row[i] - above[i]);
    }
}

}  // namespace

std::uint32_t PngChecksum(const std::uint8_t* name, std::size_t length) {
    return crc32_gzip_refl(0, name, length);
}

Bytes EncodePng(const Pixels& pixels, int width, int height, bool alpha, const Bytes& metadata) {
    Bytes file(std::begin(kSignature), std::end(kSignature));
    AddHeader(file, width, height, alpha);
    file.insert(file.end(), metadata.begin(), metadata.end());
    const std::size_t rowBytes = std::size_t(width) * (alpha ? 8 : 6);
    Bytes row(rowBytes), above(rowBytes, 0), block;
    constexpr std::size_t kBlock = std::size_t{1} << 17;
    block.reserve(kBlock + rowBytes + 1);
    PixelChunks chunks(file);
    for (int y = 0; y < height; ++y) {
        const std::uint16_t* from = pixels.data() + std::size_t(y) * width * 4;
        alpha ? StoreRow<4>(from, width, row.data()) : StoreRow<3>(from, width, row.data());
        AddFiltered(block, row, above);
        row.swap(above);
        const bool last = y == height - 1;
        if (block.size() < kBlock && !last) continue;
        chunks.Add(block, last);
        block.clear();
    }
    AddChunk(file, "IEND", {}, 0);
    return file;
}

}  // namespace veltrane::media
