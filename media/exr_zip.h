#ifndef VELTRANE_MEDIA_EXR_ZIP_H
#define VELTRANE_MEDIA_EXR_ZIP_H

#include <cstddef>
#include <cstdint>

#include "media/file_bytes.h"
#include "media/zlib_data.h"

namespace veltrane::media {

// Zip as EXRs hold it: the bytes of a chunk in two halves, of those at even and at odd places, each
// as its difference from the one before it, compressed by zlib's format.

/// Compresses chunks, one after another.
class ExrZipper {
public:
    /// Where much of floats repeats, a search makes them 7 % smaller than GrainZipper does; halves
    /// 1 % at most, which takes a tenth longer.
    explicit ExrZipper(bool halves) : grain_(halves ? 0.75 : Zipper::kGrain) {}

    /// A chunk, compressed, or as it is where it would not become smaller.
    Bytes Zip(const std::uint8_t* chunk, std::size_t size);

private:
    Zipper zipper_{Zipper::Blocks::Short};
    double grain_;
    Bytes differences_;
};

/// Decompresses a chunk that has `size` bytes; scratch is room for as many. False where it is
/// damaged.
bool ExrUnzip(const std::uint8_t* zipped, std::size_t zippedSize, std::uint8_t* chunk,
              std::size_t size, std::uint8_t* scratch);

}  // namespace veltrane::media

#endif
