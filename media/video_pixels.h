#ifndef VELTRANE_MEDIA_VIDEO_PIXELS_H
#define VELTRANE_MEDIA_VIDEO_PIXELS_H

#include <cstdint>
#include <string>

#include "media/av_support.h"
#include "media/color_tags.h"
#include "media/pixels.h"

namespace veltrane::media {

/// Converts a decoded picture to blue, green, red, alpha, 16 bits a channel. Throws Error naming
/// the path.
Pixels PixelsOf(const std::string& path, const AVFrame& picture, const ColorTags& tags,
                const Turn& turn);

/// Converts working pixels to a picture of a planar format: gbrp16, gbrap16, or luma and chroma of
/// 8 to 16 bits, with or without alpha. Throws Error naming the path.
AvFrame PictureOf(const std::string& path, const Pixels& pixels, int width, int height,
                  AVPixelFormat format, const ColorTags& tags);

}  // namespace veltrane::media

#endif
