#ifndef VELTRANE_MEDIA_VIDEO_PIXELS_H
#define VELTRANE_MEDIA_VIDEO_PIXELS_H

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <string>
#include <vector>

#include "media/av_support.h"
#include "media/pixels.h"

namespace veltrane::media {

/// How a video's samples stand for colour, in FFmpeg's terms.
struct ColorTags {
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
};

/// A picture's tags, with matrix and range guessed where they are missing: BT.601 below 720 lines
/// and 1280 columns and BT.709 above; limited range for luma and chroma, full for RGB and grey.
ColorTags ResolveTags(ColorTags tags, AVPixelFormat format, int width, int height);

/// The tags of a luma-chroma video made from a source with these tags: its matrix where that can be
/// written, limited range, and nothing left unspecified.
ColorTags OutputTags(const ColorTags& source, int sourceHeight);

/// "BT.709 limited", for people.
std::string TagText(const ColorTags& tags);

/// Converts a decoded picture to blue, green, red, alpha, 16 bits a channel. Throws Error naming
/// the path.
std::vector<std::uint16_t> PixelsOf(const std::string& path, const AVFrame& picture,
                                    const ColorTags& tags, const Turn& turn);

/// Converts working pixels to a picture of a planar format: gbrp16, gbrap16, or luma and chroma of
/// 8 to 16 bits, with or without alpha. Throws Error naming the path.
AvFrame PictureOf(const std::string& path, const std::vector<std::uint16_t>& pixels, int width,
                  int height, AVPixelFormat format, const ColorTags& tags);

}  // namespace veltrane::media

#endif
