#ifndef VELTRANE_MEDIA_ZLIB_DATA_H
#define VELTRANE_MEDIA_ZLIB_DATA_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "media/file_bytes.h"

namespace veltrane::media {

class GrainZipper;
class PixelZipper;

/// No byte compressed by zlib's format stands for more than these.
inline constexpr std::uint64_t kMostZlibExpansion = 1032;

/// Decompresses data to its first `size` bytes. True when there are as many, and the data ends with
/// the right checksum of all it holds.
bool Unzip(const Bytes& data, std::uint8_t* to, std::size_t size);

/// Decompresses data that stands for exactly `size` bytes. False when it does not or is damaged.
bool UnzipWhole(const std::uint8_t* data, std::size_t dataSize, std::uint8_t* to, std::size_t size);

/// True when the data decompresses to at least `size` bytes and ends with their right checksum.
bool IsWholeZlib(const Bytes& data, std::uint64_t size);

/// Compresses pieces by zlib's format, one after another: fast, and about as small as by zlib's own
/// first level. What a piece becomes depends on nothing but its bytes, however they are given.
class Zipper {
public:
    /// How much is compressed as one block.
    enum class Blocks { Long, Short };

    explicit Zipper(Blocks blocks = Blocks::Long);
    ~Zipper();
    Zipper(Zipper&&) noexcept;

    void Begin();
    /// The piece's next bytes, which must stay until all that they become is taken; an end of
    /// nothing is allowed.
    void Give(const std::uint8_t* bytes, std::size_t size, bool last);
    /// Puts what was made into the room and tells how much; less than the room when there is no
    /// more.
    std::size_t Take(std::uint8_t* room, std::size_t size);

    /// How much of a piece repeats where GrainZipper makes it hardly larger than a search would.
    static constexpr double kGrain = 1.0 / 6;

    /// A whole piece of at least one byte. By GrainZipper where no more than such a share repeats.
    Bytes Zip(const std::uint8_t* bytes, std::size_t size, double grain = kGrain);
    /// The same of pixels of three colours and alpha, 16 bits each. Where neither little repeats
    /// nor most of it, by PixelZipper.
    Bytes ZipPixels(const std::uint8_t* bytes, std::size_t size);

private:
    Bytes ZipBy(bool grain, const std::uint8_t* bytes, std::size_t size);

    class Stream;
    std::unique_ptr<Stream> stream_;
    std::unique_ptr<GrainZipper> grain_;
    std::unique_ptr<PixelZipper> pixels_;
    Bytes room_;
};

}  // namespace veltrane::media

#endif
