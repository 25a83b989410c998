#ifndef VELTRANE_MEDIA_FILE_BYTES_H
#define VELTRANE_MEDIA_FILE_BYTES_H

#include <cstdint>
#include <string>

#include "media/pixel_memory.h"

namespace veltrane::media {

/// Bytes of a file; those that are made room for are not set.
using Bytes = UnsetVector<std::uint8_t>;

/// A whole file. Throws Error when it cannot be read.
Bytes ReadAll(const std::string& path);

}  // namespace veltrane::media

#endif
