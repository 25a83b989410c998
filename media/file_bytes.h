#ifndef VELTRANE_MEDIA_FILE_BYTES_H
#define VELTRANE_MEDIA_FILE_BYTES_H

#include <cstdint>
#include <string>

#include "imaging/threads.h"
#include "media/pixel_memory.h"

namespace veltrane::media {

/// Bytes of a file; those that are made room for are not set.
using Bytes = UnsetVector<std::uint8_t>;

/// A whole file, by the threads lent. Throws Error when it cannot be read.
Bytes ReadAll(const std::string& path, const Threads& threads = {});

}  // namespace veltrane::media

#endif
