#include "media/image_integrity.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "media/fail.h"
#include "media/jpeg_data.h"
#include "media/png_file.h"
#include "media/tiff_file.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

constexpr const char* kCut = "breaks off before its end";
constexpr const char* kDamaged = "is damaged";

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
    if (bytes.size() < 33) return kCut;
    if (PngBytes(bytes) / kMostZlibExpansion > bytes.size()) return kDamaged;
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

/// What a JPEG's frame header tells.
struct JpegFrame {
    std::uint8_t process = 0;  ///< its marker
    std::uint64_t height = 0;
    std::uint64_t width = 0;
    int components = 0;
};

bool BeginsFrame(std::uint8_t marker) {
    return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

/// One bit is at least what a block of 8 x 8 samples takes, where arithmetic does not code them.
bool FitsInto(const JpegFrame& frame, std::size_t size) {
    constexpr std::uint64_t kSamplesAByte = 8 * 64;
    const bool huffman = frame.process <= 0xc2;
    return !huffman || frame.width * frame.height / kSamplesAByte <= size;
}

std::optional<std::string> JpegDamage(const Bytes& bytes) {
    constexpr std::uint8_t kEndOfImage = 0xd9;
    bool scanned = false;
    JpegFrame frame;
    std::size_t at = NextMarker(bytes, 2);
    while (at + 4 <= bytes.size() && bytes[at + 1] != kEndOfImage) {
        const std::uint8_t marker = bytes[at + 1];
        scanned |= marker == 0xda;
        if (BeginsFrame(marker) && at + 10 <= bytes.size()) {
            frame = {marker, BigEndian(bytes, at + 5, 2), BigEndian(bytes, at + 7, 2),
                     bytes[at + 9]};
        }
        at = NextMarker(bytes, at + 2 + BigEndian(bytes, at + 2, 2));
    }
    const bool ended = at + 2 <= bytes.size() && bytes[at + 1] == kEndOfImage;
    if (!ended) return kCut;
    if (!scanned || !FitsInto(frame, bytes.size())) return kDamaged;
    if (frame.components == 4) return "holds inks (CMYK), which cannot be keyed; convert it to RGB";
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

constexpr std::size_t kDpxHeader = 2048;

/// The channels that a DPX descriptor stands for; 0 where they are not grey or RGB.
std::uint64_t DpxChannels(std::uint8_t descriptor) {
    constexpr std::uint8_t kLuma = 6, kRgb = 50, kRgba = 51;
    if (descriptor == kRgb) return 3;
    if (descriptor == kRgba) return 4;
    return descriptor == kLuma ? 1 : 0;
}

/// What keeps the samples of a DPX from being read as what they are.
std::optional<std::string> DpxObstacle(const Bytes& bytes) {
    constexpr std::uint8_t kBits[] = {8, 10, 12, 16, 32, 64};
    const std::uint8_t bits = bytes[803];
    if (DpxNumber(bytes, 770, 2) != 1) return "holds several elements; one of grey or RGB is read";
    if (DpxChannels(bytes[800]) == 0) {
        return "holds channels of the kind " + std::to_string(bytes[800]) +
               "; these can be read: 6 (luma), 50 (RGB) and 51 (RGBA)";
    }
    if (DpxNumber(bytes, 780, 4) != 0) return "holds signed samples, which have no known black";
    if (std::find(std::begin(kBits), std::end(kBits), bits) == std::end(kBits)) {
        return "holds samples of " + std::to_string(bits) +
               " bits; these can be read: 8, 10, 12 and 16, and floats of 32 and 64";
    }
    if (DpxNumber(bytes, 806, 2) == 1) return "is run-length encoded, which cannot be read";
    return std::nullopt;
}

/// The library takes what follows the end of a DPX file for pixels.
std::optional<std::string> DpxDamage(const Bytes& bytes) {
    if (bytes.size() < kDpxHeader) return kCut;
    if (auto obstacle = DpxObstacle(bytes)) return obstacle;
    const std::uint64_t samples = DpxNumber(bytes, 772, 4) * DpxChannels(bytes[800]);
    const bool filled = DpxNumber(bytes, 804, 2) != 0;
    const std::uint64_t row = DpxRowBytes(samples, bytes[803], filled);
    if (DpxNumber(bytes, 808, 4) + row * DpxNumber(bytes, 776, 4) > bytes.size()) return kCut;
    return std::nullopt;
}

void FailIf(const std::string& path, const std::optional<std::string>& damage) {
    if (damage) Fail(path, *damage);
}

}  // namespace

void CheckPng(const std::string& path, const Bytes& bytes) {
    FailIf(path, PngDamage(bytes));
}

void CheckDpx(const std::string& path, const Bytes& bytes) {
    FailIf(path, DpxDamage(bytes));
}

void CheckStructure(const std::string& path, const std::string& format) {
    if (format == "jpeg") FailIf(path, JpegDamage(ReadAll(path)));
    if (format == "tiff") TiffFile(path).CheckExtents();
}

void CheckPixelData(const std::string& path, const std::string& format) {
    if (format == "tiff") TiffFile(path).CheckData();
    if (format == "jpeg" && !IsWholeJpeg(ReadAll(path))) Fail(path, kDamaged);
}

}  // namespace veltrane::media
