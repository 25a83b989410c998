#ifndef VELTRANE_MEDIA_DPX_SOURCE_H
#define VELTRANE_MEDIA_DPX_SOURCE_H

#include <memory>
#include <string>

#include "media/image_source.h"

namespace veltrane::media {

/// Opens a DPX of a common kind: RGB or RGBA of 8 or 16 bits, or of 10 bits of which three fill a
/// word, in either byte order. Returns null for one of the others. Throws Error when it is damaged.
std::unique_ptr<ImageSource> OpenPlainDpx(const std::string& path, const Threads& threads);

}  // namespace veltrane::media

#endif
