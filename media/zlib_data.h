#ifndef VELTRANE_MEDIA_ZLIB_DATA_H
#define VELTRANE_MEDIA_ZLIB_DATA_H

#include <cstdint>
#include <vector>

namespace veltrane::media {

/// No byte compressed by zlib's format stands for more than these.
inline constexpr std::uint64_t kMostZlibExpansion = 1032;

/// True when the data decompresses to at least `size` bytes and ends with their right checksum.
bool IsWholeZlib(const std::vector<std::uint8_t>& data, std::uint64_t size);

}  // namespace veltrane::media

#endif
