#ifndef VELTRANE_MEDIA_COLOR_TAGS_H
#define VELTRANE_MEDIA_COLOR_TAGS_H

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <string>

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

}  // namespace veltrane::media

#endif
