#ifndef VELTRANE_MEDIA_CONVERTED_H
#define VELTRANE_MEDIA_CONVERTED_H

#include <memory>

#include "media/color_spaces.h"
#include "media/media.h"

namespace veltrane::media {

/// A reader of frames as stored that gives them in the space for keying.
std::unique_ptr<Reader> ConvertedReader(std::unique_ptr<Reader> stored,
                                        std::shared_ptr<const ColorConversion> conversion);

/// A writer that brings frames back before another one stores them as they are. As in files of
/// scene-linear floats, what was opaque and untouched gets its original values, and what the space
/// for keying cannot hold is carried in proportion to the matte.
std::unique_ptr<Writer> ConvertedWriter(std::unique_ptr<Writer> stored,
                                        std::shared_ptr<const ColorConversion> conversion);

}  // namespace veltrane::media

#endif
