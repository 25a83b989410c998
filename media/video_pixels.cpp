#include "media/video_pixels.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#include <zimg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "media/source_details.h"

namespace veltrane::media {
namespace {

constexpr std::size_t kAlignment = 64;

int Subsampled(int length, int shift) {
    return (length + (1 << shift) - 1) >> shift;
}

/// 16-bit samples in rows that begin at aligned addresses.
class Plane {
public:
    Plane(int width, int height)
        : stride_((std::size_t(width) * 2 + kAlignment - 1) / kAlignment * kAlignment / 2),
          samples_(static_cast<std::uint16_t*>(
              ::operator new (stride_* height * 2, std::align_val_t{kAlignment}))) {}

    std::uint16_t* row(int y) { return samples_.get() + stride_ * y; }
    const std::uint16_t* row(int y) const { return samples_.get() + stride_ * y; }
    std::ptrdiff_t bytesPerRow() const { return static_cast<std::ptrdiff_t>(stride_ * 2); }

private:
    struct Release {
        void operator()(std::uint16_t* p) const {
            ::operator delete (p, std::align_val_t{kAlignment});
        }
    };
    std::size_t stride_;
    std::unique_ptr<std::uint16_t, Release> samples_;
};

struct GraphDeleter {
    void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
};

bool IsRgb(const AVPixFmtDescriptor& format) {
    return format.flags & AV_PIX_FMT_FLAG_RGB;
}
bool HasAlpha(const AVPixFmtDescriptor& format) {
    return format.flags & AV_PIX_FMT_FLAG_ALPHA;
}
bool IsGrey(const AVPixFmtDescriptor& format) {
    return format.nb_components <= 2;
}

/// Full-scale 16-bit values of all codes of a depth, nearest.
std::vector<std::uint16_t> ExpandTable(int depth, AVColorRange range) {
    const bool limited = range == AVCOL_RANGE_MPEG && depth >= 8;
    const std::int64_t black = limited ? 16 << (depth - 8) : 0;
    const std::int64_t span = limited ? 219 << (depth - 8) : (1 << depth) - 1;
    std::vector<std::uint16_t> table(std::size_t{1} << depth);
    for (std::size_t code = 0; code < table.size(); ++code) {
        const std::int64_t above =
            std::clamp<std::int64_t>(static_cast<std::int64_t>(code) - black, 0, span);
        table[code] = static_cast<std::uint16_t>((above * 65535 + span / 2) / span);
    }
    return table;
}

/// One component's codes; where the plane is wider or higher than the picture's, the edge repeats.
void ReadComponent(const AVFrame& picture, const AVPixFmtDescriptor& format, int component,
                   int width, int height, Plane& plane, int planeWidth, int planeHeight) {
    const uint8_t* data[4] = {picture.data[0], picture.data[1], picture.data[2], picture.data[3]};
    for (int y = 0; y < height; ++y) {
        std::uint16_t* row = plane.row(y);
        av_read_image_line2(row, data, picture.linesize, &format, 0, y, component, width, 0, 2);
        std::fill(row + width, row + planeWidth, row[width - 1]);
    }
    for (int y = height; y < planeHeight; ++y) {
        std::copy_n(plane.row(height - 1), planeWidth, plane.row(y));
    }
}

void ApplyTable(const std::vector<std::uint16_t>& table, Plane& plane, int width, int height) {
    for (int y = 0; y < height; ++y) {
        std::uint16_t* row = plane.row(y);
        for (int x = 0; x < width; ++x) row[x] = table[row[x]];
    }
}

Plane ExpandedComponent(const AVFrame& picture, const AVPixFmtDescriptor& format, int component,
                        AVColorRange range) {
    Plane plane(picture.width, picture.height);
    ReadComponent(picture, format, component, picture.width, picture.height, plane, picture.width,
                  picture.height);
    const int depth = format.comp[component].depth;
    if (depth < 16 || range == AVCOL_RANGE_MPEG) {
        ApplyTable(ExpandTable(depth, range), plane, picture.width, picture.height);
    }
    return plane;
}

zimg_chroma_location_e ChromaLocation(AVChromaLocation location) {
    if (location == AVCHROMA_LOC_UNSPECIFIED) return ZIMG_CHROMA_LEFT;
    return static_cast<zimg_chroma_location_e>(location - AVCHROMA_LOC_LEFT);
}

zimg_image_format RgbFormat(int width, int height) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = ZIMG_PIXEL_WORD;
    format.depth = 16;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

zimg_image_format YuvFormat(int width, int height, const AVPixFmtDescriptor& pixel,
                            const ColorTags& tags, AVChromaLocation chroma, bool bytes) {
    zimg_image_format format = RgbFormat(width, height);
    format.pixel_type = bytes ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    format.depth = static_cast<unsigned>(pixel.comp[0].depth);
    format.color_family = ZIMG_COLOR_YUV;
    format.matrix_coefficients = static_cast<zimg_matrix_coefficients_e>(tags.matrix);
    format.pixel_range = tags.range == AVCOL_RANGE_JPEG ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
    format.subsample_w = pixel.log2_chroma_w;
    format.subsample_h = pixel.log2_chroma_h;
    format.chroma_location = ChromaLocation(chroma);
    return format;
}

/// Constant-luminance matrices are applied to linear light, so they need the transfer and primaries
/// on both sides; others must not have them, to stay a plain matrix.
void AddLightTags(const ColorTags& tags, zimg_image_format& a, zimg_image_format& b) {
    const bool needed = tags.matrix == AVCOL_SPC_BT2020_CL || tags.matrix == AVCOL_SPC_ICTCP ||
                        tags.matrix == AVCOL_SPC_CHROMA_DERIVED_NCL ||
                        tags.matrix == AVCOL_SPC_CHROMA_DERIVED_CL;
    if (!needed) return;
    const bool hasTransfer = tags.transfer != AVCOL_TRC_UNSPECIFIED;
    const bool hasPrimaries = tags.primaries != AVCOL_PRI_UNSPECIFIED;
    for (zimg_image_format* format : {&a, &b}) {
        format->transfer_characteristics =
            hasTransfer ? static_cast<zimg_transfer_characteristics_e>(tags.transfer)
                        : ZIMG_TRANSFER_BT2020_10;
        format->color_primaries = hasPrimaries ? static_cast<zimg_color_primaries_e>(tags.primaries)
                                               : ZIMG_PRIMARIES_BT2020;
    }
}

void RunGraph(const std::string& path, const zimg_image_format& from, const zimg_image_format& to,
              const zimg_image_buffer_const& source, const zimg_image_buffer& target) {
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter_uv = ZIMG_RESIZE_BICUBIC;
    parameters.filter_param_a_uv = 0.0;
    parameters.filter_param_b_uv = 0.5;
    const std::unique_ptr<zimg_filter_graph, GraphDeleter> graph(
        zimg_filter_graph_build(&from, &to, &parameters));
    std::size_t bytes = 0;
    const bool built = graph && !zimg_filter_graph_get_tmp_size(graph.get(), &bytes);
    const Plane scratch(static_cast<int>(kAlignment),
                        static_cast<int>(bytes / (2 * kAlignment) + 1));
    if (!built || zimg_filter_graph_process(graph.get(), &source, &target,
                                            const_cast<std::uint16_t*>(scratch.row(0)), nullptr,
                                            nullptr, nullptr, nullptr)) {
        char text[256] = {};
        zimg_get_last_error(text, sizeof text);
        Fail(path, std::string("its colour cannot be converted: ") + text);
    }
}

using Planes = std::array<Plane, 3>;

template <typename Buffer>
void SetPlane(Buffer& buffer, int i, std::uint8_t* data, std::ptrdiff_t stride) {
    buffer.plane[i].data = data;
    buffer.plane[i].stride = stride;
    buffer.plane[i].mask = ZIMG_BUFFER_MAX;
}

std::uint8_t* Bytes(const Plane& plane) {
    return reinterpret_cast<std::uint8_t*>(const_cast<std::uint16_t*>(plane.row(0)));
}

/// Width and height rounded up to whole chroma samples.
struct PaddedSize {
    PaddedSize(const AVPixFmtDescriptor& format, int w, int h)
        : width(Subsampled(w, format.log2_chroma_w) << format.log2_chroma_w),
          height(Subsampled(h, format.log2_chroma_h) << format.log2_chroma_h) {}
    int width;
    int height;
};

Planes RgbFromYuv(const std::string& path, const AVFrame& picture, const AVPixFmtDescriptor& format,
                  const ColorTags& tags) {
    const PaddedSize size(format, picture.width, picture.height);
    const int chromaWidth = size.width >> format.log2_chroma_w;
    const int chromaHeight = size.height >> format.log2_chroma_h;
    Planes yuv{Plane(size.width, size.height), Plane(chromaWidth, chromaHeight),
               Plane(chromaWidth, chromaHeight)};
    ReadComponent(picture, format, 0, picture.width, picture.height, yuv[0], size.width,
                  size.height);
    for (int c = 1; c < 3; ++c) {
        ReadComponent(picture, format, c, chromaWidth, chromaHeight, yuv[c], chromaWidth,
                      chromaHeight);
    }
    Planes rgb{Plane(size.width, size.height), Plane(size.width, size.height),
               Plane(size.width, size.height)};
    zimg_image_buffer_const source{ZIMG_API_VERSION, {}};
    zimg_image_buffer target{ZIMG_API_VERSION, {}};
    for (int i = 0; i < 3; ++i) {
        SetPlane(source, i, Bytes(yuv[i]), yuv[i].bytesPerRow());
        SetPlane(target, i, Bytes(rgb[i]), rgb[i].bytesPerRow());
    }
    zimg_image_format from =
        YuvFormat(size.width, size.height, format, tags, picture.chroma_location, false);
    zimg_image_format to = RgbFormat(size.width, size.height);
    AddLightTags(tags, from, to);
    RunGraph(path, from, to, source, target);
    return rgb;
}

/// Formats whose components cannot be read one by one are repacked first; those of 8 bits exactly.
AvFrame Repacked(const std::string& path, const AVFrame& picture,
                 const AVPixFmtDescriptor& format) {
    const bool bytes = format.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM);
    AvFrame repacked = MakeFrame();
    repacked->format = bytes ? AV_PIX_FMT_BGRA : AV_PIX_FMT_RGBA64;
    repacked->width = picture.width;
    repacked->height = picture.height;
    CheckAv(av_frame_get_buffer(repacked.get(), 0), path, "cannot be converted");
    const auto pixelFormat = static_cast<AVPixelFormat>(picture.format);
    const std::unique_ptr<SwsContext, decltype(&sws_freeContext)> scaler(
        sws_getContext(picture.width, picture.height, pixelFormat, picture.width, picture.height,
                       static_cast<AVPixelFormat>(repacked->format),
                       SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr,
                       nullptr),
        &sws_freeContext);
    if (!scaler) Fail(path, std::string("pixels of ") + format.name + " cannot be converted");
    CheckAv(sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                      repacked->data, repacked->linesize),
            path, "cannot be converted");
    return repacked;
}

void Interleave(const Plane* const (&components)[4], const Placement& placement, int width,
                int height, std::vector<std::uint16_t>& pixels) {
    for (int y = 0; y < height; ++y) {
        const std::uint16_t* rows[4];
        for (int c = 0; c < 4; ++c) rows[c] = components[c] ? components[c]->row(y) : nullptr;
        for (int x = 0; x < width; ++x) {
            std::uint16_t* pixel = pixels.data() + placement.Index(x, y) * 4;
            for (int c = 0; c < 3; ++c) pixel[c] = rows[c][x];
            pixel[3] = rows[3] ? rows[3][x] : 65535;
        }
    }
}

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

/// The three colour planes of working pixels in the order red, green, blue, padded.
Planes ColourPlanes(const std::vector<std::uint16_t>& pixels, int width, int height,
                    const PaddedSize& size) {
    Planes rgb{Plane(size.width, size.height), Plane(size.width, size.height),
               Plane(size.width, size.height)};
    for (int c = 0; c < 3; ++c) {
        for (int y = 0; y < size.height; ++y) {
            const std::uint16_t* from =
                pixels.data() + std::size_t(std::min(y, height - 1)) * width * 4 + (2 - c);
            std::uint16_t* to = rgb[c].row(y);
            for (int x = 0; x < width; ++x) to[x] = from[std::size_t(x) * 4];
            std::fill(to + width, to + size.width, to[width - 1]);
        }
    }
    return rgb;
}

template <typename Sample>
void WriteComponent(const std::vector<std::uint16_t>& pixels, int component, int depth,
                    AVFrame& picture, int plane) {
    const std::uint32_t full = (1u << depth) - 1;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint16_t* from = pixels.data() + std::size_t(y) * picture.width * 4 + component;
        auto* to = reinterpret_cast<Sample*>(picture.data[plane] +
                                             std::ptrdiff_t{y} * picture.linesize[plane]);
        for (int x = 0; x < picture.width; ++x) {
            to[x] = static_cast<Sample>((from[std::size_t(x) * 4] * full + 32767u) / 65535u);
        }
    }
}

void WriteYuv(const std::string& path, const std::vector<std::uint16_t>& pixels, int width,
              int height, const AVPixFmtDescriptor& format, const ColorTags& tags,
              AVFrame& picture) {
    const PaddedSize size(format, width, height);
    const Planes rgb = ColourPlanes(pixels, width, height, size);
    zimg_image_buffer_const source{ZIMG_API_VERSION, {}};
    zimg_image_buffer target{ZIMG_API_VERSION, {}};
    for (int i = 0; i < 3; ++i) {
        SetPlane(source, i, Bytes(rgb[i]), rgb[i].bytesPerRow());
        SetPlane(target, i, picture.data[i], picture.linesize[i]);
    }
    RunGraph(path, RgbFormat(size.width, size.height),
             YuvFormat(size.width, size.height, format, tags, AVCHROMA_LOC_LEFT,
                       format.comp[0].depth == 8),
             source, target);
}

}  // namespace

ColorTags ResolveTags(ColorTags tags, AVPixelFormat format, int width, int height) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    const bool direct = IsRgb(description) || IsGrey(description);
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

std::vector<std::uint16_t> PixelsOf(const std::string& path, const AVFrame& picture,
                                    const ColorTags& tags, const Turn& turn) {
    const AVPixFmtDescriptor& format =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    constexpr std::uint64_t kIndirect = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                        AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    const bool xyz = picture.format == AV_PIX_FMT_XYZ12LE || picture.format == AV_PIX_FMT_XYZ12BE;
    if ((format.flags & kIndirect) || xyz) {
        const AvFrame direct = Repacked(path, picture, format);
        return PixelsOf(path, *direct, {AVCOL_SPC_RGB, AVCOL_RANGE_JPEG}, turn);
    }
    const Placement placement(turn, picture.width, picture.height);
    std::vector<std::uint16_t> pixels(std::size_t(picture.width) * picture.height * 4);
    std::vector<Plane> planes;
    if (IsGrey(format)) {
        planes.push_back(ExpandedComponent(picture, format, 0, tags.range));
    } else if (IsRgb(format)) {
        for (int c = 0; c < 3; ++c) {
            planes.push_back(ExpandedComponent(picture, format, c, tags.range));
        }
    } else {
        for (Plane& plane : RgbFromYuv(path, picture, format, tags)) {
            planes.push_back(std::move(plane));
        }
    }
    const std::size_t colours = planes.size();
    if (HasAlpha(format)) {
        planes.push_back(
            ExpandedComponent(picture, format, format.nb_components - 1, AVCOL_RANGE_JPEG));
    }
    const Plane* const components[4] = {&planes[colours - 1], &planes[colours / 2], &planes[0],
                                        HasAlpha(format) ? &planes[colours] : nullptr};
    Interleave(components, placement, picture.width, picture.height, pixels);
    return pixels;
}

AvFrame PictureOf(const std::string& path, const std::vector<std::uint16_t>& pixels, int width,
                  int height, AVPixelFormat pixelFormat, const ColorTags& tags) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(pixelFormat);
    const PaddedSize size(format, width, height);
    AvFrame picture = MakeFrame();
    picture->format = pixelFormat;
    picture->width = size.width;
    picture->height = size.height;
    CheckAv(av_frame_get_buffer(picture.get(), kAlignment), path, "cannot be converted");
    picture->width = width;
    picture->height = height;
    picture->colorspace = tags.matrix;
    picture->color_range = tags.range;
    picture->color_primaries = tags.primaries;
    picture->color_trc = tags.transfer;
    if (IsRgb(format)) {
        for (int c = 0; c < format.nb_components; ++c) {
            WriteComponent<std::uint16_t>(pixels, c < 3 ? 2 - c : 3, format.comp[c].depth, *picture,
                                          format.comp[c].plane);
        }
        return picture;
    }
    WriteYuv(path, pixels, width, height, format, tags, *picture);
    if (!HasAlpha(format)) return picture;
    if (format.comp[3].depth == 8) {
        WriteComponent<std::uint8_t>(pixels, 3, 8, *picture, 3);
    } else {
        WriteComponent<std::uint16_t>(pixels, 3, format.comp[3].depth, *picture, 3);
    }
    return picture;
}

}  // namespace veltrane::media
