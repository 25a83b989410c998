#ifndef VELTRANE_MEDIA_PNG_ROWS_H
#define VELTRANE_MEDIA_PNG_ROWS_H

#include <cstddef>

#include "media/file_bytes.h"

namespace veltrane::media {

/// How the rows of a PNG lie that is not interlaced.
struct PngRowLayout {
    std::size_t rows;
    std::size_t rowBytes;    ///< without the filter's number before each
    std::size_t pixelBytes;  ///< from a byte to that of the pixel to its left
};

/// Decompresses the pixels of a whole PNG and undoes their filters: each row comes after a byte
/// that says nothing. Empty when the pixels are damaged.
Bytes PngRows(const Bytes& file, const PngRowLayout& layout);

}  // namespace veltrane::media

#endif
