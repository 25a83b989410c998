#ifndef VELTRANE_MEDIA_TIFF_OUTPUT_H
#define VELTRANE_MEDIA_TIFF_OUTPUT_H

#include <cstdint>
#include <string>

#include "imaging/threads.h"
#include "media/file_bytes.h"
#include "media/image_source.h"
#include "media/pixel_memory.h"

namespace veltrane::media {

/// A whole TIFF of 16 bits a channel in memory: pixels are blue, green, red, alpha in packed rows,
/// and alpha is stored where the layout has four channels. Its attributes are those that the image
/// library writes; "compression" names one of "none", "lzw", "zip". The threads lent share the
/// compression by zip. path is for messages. Throws Error.
Bytes EncodeTiff(const std::string& path, const ImageLayout& layout, const Pixels& pixels,
                 const Threads& threads);

}  // namespace veltrane::media

#endif
