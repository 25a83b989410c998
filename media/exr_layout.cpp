#include "media/exr_layout.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "media/fail.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

struct Compression {
    std::string_view name;
    int rows;                ///< of a chunk
    std::uint64_t most = 0;  ///< bytes that one stands for at most; 0 where there is no bound
};

constexpr std::array kCompressions{
    Compression{"none", 1, 1}, Compression{"rle", 1, 64},
    Compression{"zips", 1, kMostZlibExpansion}, Compression{"zip", 16, kMostZlibExpansion},
    Compression{"piz", 32},
    // Zip of three bytes for each float's four.
    Compression{"pxr24", 16, kMostZlibExpansion * 4 / 3}, Compression{"b44", 32, 11},
    Compression{"b44a", 32, 11}, Compression{"dwaa", 32}, Compression{"dwab", 256}};

Compression CompressionOf(const OIIO::ImageSpec& spec) {
    const std::string name = spec.get_string_attribute("compression");
    const auto* found = std::find_if(kCompressions.begin(), kCompressions.end(),
                                     [&](const Compression& c) { return c.name == name; });
    return found == kCompressions.end() ? kCompressions.back() : *found;
}

std::uint64_t Parts(std::int64_t length, std::int64_t part) {
    return static_cast<std::uint64_t>((length - 1) / part + 1);
}

/// Each chunk takes its place in the file's table, its own header and a byte at least.
bool FitsInto(const OIIO::ImageSpec& spec, std::uint64_t size) {
    constexpr std::uint64_t kLeastChunk = 8 + 8 + 1;
    const Compression compression = CompressionOf(spec);
    const bool tiled = spec.tile_width > 0 && spec.tile_height > 0;
    const std::uint64_t chunks =
        tiled ? Parts(spec.width, spec.tile_width) * Parts(spec.height, spec.tile_height)
              : Parts(spec.height, compression.rows);
    if (chunks * kLeastChunk > size) return false;
    return compression.most == 0 || spec.image_bytes(true) / compression.most <= size;
}

bool Holds(const OIIO::ImageSpec& spec, std::string_view channel) {
    return std::find(spec.channelnames.begin(), spec.channelnames.end(), channel) !=
           spec.channelnames.end();
}

}  // namespace

void CheckExr(const std::string& path, const OIIO::ImageSpec& spec) {
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(path, error);
    if (Holds(spec, "RY") || Holds(spec, "BY")) {
        Fail(path, "holds luma and chroma (Y, RY, BY), which cannot be keyed; convert it to RGB");
    }
    if (!FitsInto(spec, size)) Fail(path, "breaks off before its end");
}

}  // namespace veltrane::media
