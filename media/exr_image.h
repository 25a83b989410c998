#ifndef VELTRANE_MEDIA_EXR_IMAGE_H
#define VELTRANE_MEDIA_EXR_IMAGE_H

#include <cstdint>
#include <optional>
#include <string>

#include "imaging/threads.h"
#include "media/media.h"

namespace veltrane::media {

struct ImageMetadata;  ///< of image_file.h

// EXRs of the common kinds, by OpenEXR's core alone and a chunk at a time: rows are converted as
// they are coded, by the threads lent. The other kinds are left to the image library.

/// Describe and read an EXR as DescribeImage and ReadImage do, or return nothing where it is of
/// another kind; which kinds these are is told at ExrFile::Layout.
std::optional<Info> DescribeExr(const std::string& path, const ReadOptions& options);
std::optional<Frame> ReadExr(const std::string& path, std::int64_t number,
                             const ReadOptions& options, const Threads& threads);

/// How an EXR is stored.
struct ExrStorage {
    Transfer transfer = Transfer::Linear;
    bool premultiplied = false;
    bool half = false;    ///< or full floats
    bool opaque = false;  ///< without alpha
    bool sync = false;    ///< it gets its name only when it is on the disk
    Compression compression = {};
};

/// Whether WriteExr knows the compression.
bool WritesExr(const Compression& compression);

/// Writes a frame to a file that appears when it is whole. result and source are those of
/// Writer::Encode; metadata has the attributes and the place of the file. It is the same for any
/// number of threads. Throws Error.
void WriteExr(const std::string& path, const ExrStorage& storage, const Frame& result,
              const Frame& source, const ImageMetadata& metadata, const Threads& threads);

}  // namespace veltrane::media

#endif
