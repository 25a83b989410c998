#ifndef VELTRANE_MEDIA_PNG_FILE_H
#define VELTRANE_MEDIA_PNG_FILE_H

#include <cstdint>
#include <vector>

namespace veltrane::media {

/// A PNG file, or a part of one.
using PngBytes = std::vector<std::uint8_t>;

/// The chunks of a whole PNG that lie between its header and its pixels: profile, texts and the
/// like.
PngBytes MetadataChunks(const PngBytes& file);

/// A whole PNG of 16 bits a channel: pixels are blue, green, red, alpha in packed rows, and alpha
/// is stored or left out. metadata holds whole chunks.
PngBytes EncodePng(const std::vector<std::uint16_t>& pixels, int width, int height, bool alpha,
                   const PngBytes& metadata);

/// The checksum of a chunk's name and data.
std::uint32_t PngChecksum(const std::uint8_t* name, std::size_t length);

}  // namespace veltrane::media

#endif
