#ifndef VELTRANE_MEDIA_JPEG_DATA_H
#define VELTRANE_MEDIA_JPEG_DATA_H

#include "media/file_bytes.h"

namespace veltrane::media {

/// True when a JPEG's coded data can be decoded from beginning to end. Its format holds no
/// checksum: a change that makes other data of the same length is not seen. Throws std::bad_alloc.
bool IsWholeJpeg(const Bytes& file);

}  // namespace veltrane::media

#endif
