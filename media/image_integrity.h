#ifndef VELTRANE_MEDIA_IMAGE_INTEGRITY_H
#define VELTRANE_MEDIA_IMAGE_INTEGRITY_H

#include <optional>
#include <string>

namespace veltrane::media {

/// What is wrong with the structure of a PNG, JPEG or DPX file, or null. Their libraries make up
/// the missing part of a picture or write to the standard error stream, so damage has to be found
/// before they see it. Files of other formats are not judged.
std::optional<std::string> StructuralDamage(const std::string& path, const std::string& format);

}  // namespace veltrane::media

#endif
