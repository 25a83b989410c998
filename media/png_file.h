#ifndef VELTRANE_MEDIA_PNG_FILE_H
#define VELTRANE_MEDIA_PNG_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "media/file_bytes.h"
#include "media/image_source.h"
#include "media/pixel_memory.h"

namespace veltrane::media {

/// A PNG file, or a part of one.

/// The chunks for a layout's attributes, which lie between a PNG's header and its pixels: profile,
/// texts and the like. path is for messages. Throws Error when they fit no PNG.
Bytes MetadataChunks(const std::string& path, const ImageLayout& layout);

/// A whole PNG of 16 bits a channel: pixels are blue, green, red, alpha in packed rows, and alpha
/// is stored or left out. metadata holds whole chunks.
Bytes EncodePng(const Pixels& pixels, int width, int height, bool alpha, const Bytes& metadata);

/// The checksum of a chunk's name and data.
std::uint32_t PngChecksum(const std::uint8_t* name, std::size_t length);

}  // namespace veltrane::media

#endif
