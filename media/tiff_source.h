#ifndef VELTRANE_MEDIA_TIFF_SOURCE_H
#define VELTRANE_MEDIA_TIFF_SOURCE_H

#include <memory>
#include <string>

#include "media/image_source.h"

namespace veltrane::media {

/// Opens a TIFF of a common kind, or returns null for one of the others. Throws Error when it is
/// damaged.
std::unique_ptr<ImageSource> OpenPlainTiff(const std::string& path);

}  // namespace veltrane::media

#endif
