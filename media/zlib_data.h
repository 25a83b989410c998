#ifndef VELTRANE_MEDIA_ZLIB_DATA_H
#define VELTRANE_MEDIA_ZLIB_DATA_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace veltrane::media {

/// No byte compressed by zlib's format stands for more than these.
inline constexpr std::uint64_t kMostZlibExpansion = 1032;

/// Decompresses data to its first `size` bytes. True when there are as many, and the data ends with
/// the right checksum of all it holds.
bool Unzip(const std::vector<std::uint8_t>& data, std::uint8_t* to, std::size_t size);

/// True when the data decompresses to at least `size` bytes and ends with their right checksum.
bool IsWholeZlib(const std::vector<std::uint8_t>& data, std::uint64_t size);

/// Compresses pieces by zlib's format, one after another: fast, and about as small as by zlib's own
/// first level. A piece's result depends on nothing before it.
class Zipper {
public:
    Zipper();
    std::vector<std::uint8_t> Zip(const std::uint8_t* bytes, std::size_t size);

private:
    std::vector<std::uint8_t> level_;
};

}  // namespace veltrane::media

#endif
