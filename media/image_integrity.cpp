#include "media/image_integrity.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "media/png_file.h"

namespace veltrane::media {
namespace {

constexpr const char* kCut = "breaks off before its end";
constexpr const char* kDamaged = "is damaged";

using Bytes = std::vector<std::uint8_t>;

Bytes ReadAll(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    Bytes bytes(error ? 0 : size);
    std::ifstream(path, std::ios::binary)
        .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

std::uint64_t BigEndian(const Bytes& bytes, std::size_t at, int count) {
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 8 | bytes[at + i];
    return value;
}

/// The bytes that the header's picture takes before compression.
std::uint64_t PngBytes(const Bytes& bytes) {
    constexpr std::uint64_t kChannels[] = {1, 0, 3, 1, 2, 0, 4};
    const std::uint64_t channels = kChannels[std::min<std::size_t>(bytes[25], 6)];
    return BigEndian(bytes, 16, 4) * BigEndian(bytes, 20, 4) * channels * bytes[24] / 8;
}

/// A PNG is a signature and chunks: length, four letters, data, checksum of letters and data.
std::optional<std::string> PngDamage(const Bytes& bytes) {
    constexpr std::size_t kFrame = 12;
    // No compressed byte stands for more than 1032, so a small file cannot ask for much memory.
    constexpr std::uint64_t kMostExpansion = 1032;
    if (bytes.size() < 33) return kCut;
    if (PngBytes(bytes) / kMostExpansion > bytes.size()) return kDamaged;
    std::size_t at = 8;
    while (bytes.size() >= at + kFrame) {
        const std::size_t length = BigEndian(bytes, at, 4);
        if (bytes.size() - at - kFrame < length) return kCut;
        const std::uint8_t* name = bytes.data() + at + 4;
        const std::uint32_t sum = PngChecksum(name, length + 4);
        if (sum != BigEndian(bytes, at + 8 + length, 4)) return kDamaged;
        if (std::memcmp(name, "IEND", 4) == 0) return std::nullopt;
        at += length + kFrame;
    }
    return kCut;
}

/// Where the next marker of a JPEG begins, passing coded data with its stuffed and restart bytes.
std::size_t NextMarker(const Bytes& bytes, std::size_t at) {
    const auto isMarker = [](std::uint8_t code) {
        return code != 0 && code != 0xff && (code < 0xd0 || code > 0xd7);
    };
    for (; at + 1 < bytes.size(); ++at) {
        if (bytes[at] == 0xff && isMarker(bytes[at + 1])) return at;
    }
    return bytes.size();
}

std::optional<std::string> JpegDamage(const Bytes& bytes) {
    constexpr std::uint8_t kEndOfImage = 0xd9;
    bool scanned = false;
    std::size_t at = NextMarker(bytes, 2);
    while (at + 4 <= bytes.size() && bytes[at + 1] != kEndOfImage) {
        scanned |= bytes[at + 1] == 0xda;
        at = NextMarker(bytes, at + 2 + BigEndian(bytes, at + 2, 2));
    }
    const bool ended = at + 2 <= bytes.size() && bytes[at + 1] == kEndOfImage;
    if (!ended) return kCut;
    if (!scanned) return kDamaged;
    return std::nullopt;
}

/// Little- and big-endian DPX differ in their first letter.
std::uint64_t DpxNumber(const Bytes& bytes, std::size_t at, int count) {
    if (bytes[0] == 'S') return BigEndian(bytes, at, count);
    std::uint64_t value = 0;
    for (int i = count; i-- > 0;) value = value << 8 | bytes[at + i];
    return value;
}

/// The least bytes that a row of an uncompressed DPX takes: "filled" samples of 10 bits lie three
/// to a 32-bit word, those of 12 bits in 16. Rows may be padded beyond that.
std::uint64_t DpxRowBytes(std::uint64_t samples, std::uint64_t bits, bool filled) {
    if (bits == 10 && filled) return samples / 3 * 4;
    return samples * (bits == 12 && filled ? 16 : bits) / 8;
}

/// The library takes what follows the end of a DPX file for pixels.
std::optional<std::string> DpxDamage(const Bytes& bytes) {
    constexpr std::size_t kHeader = 2048;
    if (bytes.size() < kHeader) return kCut;
    const bool compressed = DpxNumber(bytes, 806, 2) == 1;
    if (compressed) return std::nullopt;
    const std::uint8_t descriptor = bytes[800];
    std::uint64_t channels = 1;
    if (descriptor == 50) channels = 3;
    if (descriptor == 51) channels = 4;
    const std::uint64_t samples = DpxNumber(bytes, 772, 4) * channels;
    const bool filled = DpxNumber(bytes, 804, 2) != 0;
    const std::uint64_t row = DpxRowBytes(samples, bytes[803], filled);
    if (DpxNumber(bytes, 808, 4) + row * DpxNumber(bytes, 776, 4) > bytes.size()) return kCut;
    return std::nullopt;
}

}  // namespace

std::optional<std::string> StructuralDamage(const std::string& path, const std::string& format) {
    if (format == "png") return PngDamage(ReadAll(path));
    if (format == "jpeg") return JpegDamage(ReadAll(path));
    if (format == "dpx") return DpxDamage(ReadAll(path));
    return std::nullopt;
}

}  // namespace veltrane::media
