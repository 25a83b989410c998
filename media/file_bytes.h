#ifndef VELTRANE_MEDIA_FILE_BYTES_H
#define VELTRANE_MEDIA_FILE_BYTES_H

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::media {

using Bytes = std::vector<std::uint8_t>;

/// A whole file. Throws Error when it cannot be read.
Bytes ReadAll(const std::string& path);

}  // namespace veltrane::media

#endif
