#include "media/color_tags.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veltrane::media {
namespace {

bool KnownMatrix(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_YCGCO:
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
        case AVCOL_SPC_CHROMA_DERIVED_NCL:
        case AVCOL_SPC_CHROMA_DERIVED_CL:
        case AVCOL_SPC_ICTCP:
            return true;
        default:
            return false;
    }
}

bool IsFullRangeFormat(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
           format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
           format == AV_PIX_FMT_YUVJ411P;
}

}  // namespace

ColorTags ResolveTags(ColorTags tags, AVPixelFormat format, int width, int height) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    const bool grey = description.nb_components <= 2;
    const bool direct = grey || description.flags & AV_PIX_FMT_FLAG_RGB;
    if (direct) {
        tags.matrix = AVCOL_SPC_RGB;
    } else if (!KnownMatrix(tags.matrix)) {
        const bool small = height < 720 && width < 1280;
        tags.matrix = small ? AVCOL_SPC_SMPTE170M : AVCOL_SPC_BT709;
    }
    if (tags.range == AVCOL_RANGE_UNSPECIFIED) {
        const bool full = direct || IsFullRangeFormat(format);
        tags.range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    return tags;
}

ColorTags OutputTags(const ColorTags& source, int sourceHeight) {
    ColorTags tags = source;
    tags.range = AVCOL_RANGE_MPEG;
    const bool wide = source.primaries == AVCOL_PRI_BT2020;
    switch (source.matrix) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_BT2020_NCL:
            break;
        default:
            tags.matrix = wide ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
    }
    const bool standard = tags.matrix == AVCOL_SPC_SMPTE170M || tags.matrix == AVCOL_SPC_BT470BG;
    if (tags.primaries == AVCOL_PRI_UNSPECIFIED) {
        tags.primaries = AVCOL_PRI_BT709;
        if (tags.matrix == AVCOL_SPC_BT2020_NCL) tags.primaries = AVCOL_PRI_BT2020;
        if (standard) {
            tags.primaries = sourceHeight == 576 ? AVCOL_PRI_BT470BG : AVCOL_PRI_SMPTE170M;
        }
    }
    if (tags.transfer == AVCOL_TRC_UNSPECIFIED) {
        tags.transfer = standard ? AVCOL_TRC_SMPTE170M : AVCOL_TRC_BT709;
    }
    return tags;
}

std::string TagText(const ColorTags& tags) {
    const bool full = tags.range == AVCOL_RANGE_JPEG;
    std::string matrix;
    switch (tags.matrix) {
        case AVCOL_SPC_RGB:
            matrix = "RGB";
            break;
        case AVCOL_SPC_BT709:
            matrix = "BT.709";
            break;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            matrix = "BT.601";
            break;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            matrix = "BT.2020";
            break;
        default:
            matrix = av_color_space_name(tags.matrix);
    }
    return matrix + (full ? " full" : " limited");
}

}  // namespace veltrane::media
