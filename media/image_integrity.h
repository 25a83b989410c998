#ifndef VELTRANE_MEDIA_IMAGE_INTEGRITY_H
#define VELTRANE_MEDIA_IMAGE_INTEGRITY_H

#include <string>

#include "media/file_bytes.h"

namespace veltrane::media {

// The image library and those below it make up the missing part of a picture, take samples for
// what they are not, ask for the memory that a header claims, or write to the standard error
// stream. So a file is judged before they see it.

/// Throws Error for a file of the format whose structure is damaged, that is too small for the
/// picture it claims to hold, or whose samples are of a kind that would be read wrongly.
void CheckStructure(const std::string& path, const std::string& format);

/// The same of the whole content of a PNG, or a DPX.
void CheckPng(const std::string& path, const Bytes& bytes);
void CheckDpx(const std::string& path, const Bytes& bytes);

/// Throws Error when compressed pixels disagree with their checksum, or cannot be decompressed
/// without a fault; for formats where the one that decompresses does not tell.
void CheckPixelData(const std::string& path, const std::string& format);

}  // namespace veltrane::media

#endif
