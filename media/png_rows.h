#ifndef VELTRANE_MEDIA_PNG_ROWS_H
#define VELTRANE_MEDIA_PNG_ROWS_H

#include <cstddef>

#include "imaging/threads.h"
#include "media/file_bytes.h"
#include "media/image_source.h"

namespace veltrane::media {

/// How the rows of a PNG lie that is not interlaced.
struct PngRowLayout {
    std::size_t rows;
    std::size_t rowBytes;    ///< without the filter's number before each
    std::size_t pixelBytes;  ///< from a byte to that of the pixel to its left
};

/// Decompresses the pixels of a whole PNG, undoes their filters and calls take(first row, rows,
/// bytes) for bands from the top down: each row comes after a byte that says nothing. While one of
/// the threads lent does this with a band, another one decompresses the next. False when the pixels
/// are damaged, of which some may have been taken.
bool ReadPngRows(const Bytes& file, const PngRowLayout& layout, const Threads& threads,
                 const TakeRows<std::uint8_t>& take);

}  // namespace veltrane::media

#endif
