#include "media/video_pixels.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <optional>
#include <utility>

#include "media/source_details.h"
#include "media/yuv_graph.h"

namespace veltrane::media {
namespace {

constexpr std::uint16_t kOpaque = 65535;

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

/// Copies the codes of one component.
class ComponentReader {
public:
    ComponentReader(const AVFrame& picture, const AVPixFmtDescriptor& format, int component)
        : picture_(picture), format_(format), component_(component) {
        const AVComponentDescriptor& layout = format.comp[component];
        const bool swapped =
            bool(format.flags & AV_PIX_FMT_FLAG_BE) == (std::endian::native == std::endian::little);
        const int bytes = layout.depth > 8 ? 2 : 1;
        packed_ = layout.step == bytes && layout.shift == 0 && (bytes == 1 || !swapped);
    }

    /// Codes left to right, less the last, of a row of the component's own plane.
    void Read(int y, int left, int right, std::uint16_t* row) const {
        const AVComponentDescriptor& layout = format_.comp[component_];
        const uint8_t* plane = picture_.data[layout.plane] + layout.offset +
                               std::ptrdiff_t{y} * picture_.linesize[layout.plane];
        if (packed_ && layout.depth <= 8) {
            Copy(plane, left, right, row);
        } else if (packed_) {
            Copy(reinterpret_cast<const std::uint16_t*>(plane), left, right, row);
        } else {
            const uint8_t* data[4];
            std::copy_n(picture_.data, 4, data);
            av_read_image_line2(row + left, data, picture_.linesize, &format_, left, y, component_,
                                right - left, 0, 2);
        }
    }

private:
    template <typename Code>
    void Copy(const Code* codes, int left, int right, std::uint16_t* row) const {
        const auto mask = static_cast<std::uint16_t>((1u << format_.comp[component_].depth) - 1);
        for (int x = left; x < right; ++x) row[x] = codes[x] & mask;
    }

    const AVFrame& picture_;
    const AVPixFmtDescriptor& format_;
    int component_;
    bool packed_;
};

/// Rows of one component, expanded to full scale.
class ExpandedRow {
public:
    ExpandedRow(const AVFrame& picture, const AVPixFmtDescriptor& format, int component,
                AVColorRange range)
        : reader_(picture, format, component), row_(static_cast<std::size_t>(picture.width)) {
        const int depth = format.comp[component].depth;
        if (depth < 16 || range == AVCOL_RANGE_MPEG) table_ = ExpandTable(depth, range);
    }

    const std::uint16_t* Read(int y, int left, int right) {
        reader_.Read(y, left, right, row_.data());
        if (table_.empty()) return row_.data();
        for (int x = left; x < right; ++x) row_[x] = table_[row_[x]];
        return row_.data();
    }

private:
    ComponentReader reader_;
    std::vector<std::uint16_t> row_;
    std::vector<std::uint16_t> table_;  ///< empty where nothing changes
};

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

using RowsOfPixel = std::array<const std::uint16_t*, 4>;

/// Interleaves samples left to right, less the last; step is the way from a pixel to the next.
void Interleave(const RowsOfPixel& rows, int left, int right, std::uint16_t* pixel,
                std::ptrdiff_t step) {
    const auto [blue, green, red, alpha] = rows;
    for (int x = left; x < right; ++x, pixel += step) {
        pixel[0] = blue[x];
        pixel[1] = green[x];
        pixel[2] = red[x];
        pixel[3] = alpha[x];
    }
}

/// The pixels of a decoded picture, which come row by row as colour and get their alpha here.
class PixelRows {
public:
    PixelRows(const AVFrame& picture, const AVPixFmtDescriptor& format, const Turn& turn)
        : width_(picture.width),
          height_(picture.height),
          placement_(turn, picture.width, picture.height),
          opaque_(std::size_t(picture.width), kOpaque),
          pixels_(std::size_t(picture.width) * picture.height * 4) {
        if (HasAlpha(format)) {
            alpha_.emplace(picture, format, format.nb_components - 1, AVCOL_RANGE_JPEG);
        }
    }

    /// Where columns and rows lie beyond the picture they are left out.
    void Put(int y, int left, int right, const std::uint16_t* blue, const std::uint16_t* green,
             const std::uint16_t* red) {
        right = std::min(right, width_);
        if (y >= height_ || left >= right) return;
        const std::uint16_t* alpha = alpha_ ? alpha_->Read(y, left, right) : opaque_.data();
        std::uint16_t* first = pixels_.data() + placement_.Index(left, y) * 4;
        const RowsOfPixel rows{blue, green, red, alpha};
        if (placement_.stepX == 1) {
            Interleave(rows, left, right, first, 4);
        } else {
            Interleave(rows, left, right, first, placement_.stepX * 4);
        }
    }

    Pixels Take() { return std::move(pixels_); }

private:
    int width_;
    int height_;
    Placement placement_;
    std::optional<ExpandedRow> alpha_;
    std::vector<std::uint16_t> opaque_;
    Pixels pixels_;
};

void PutRgb(const AVFrame& picture, const AVPixFmtDescriptor& format, const ColorTags& tags,
            PixelRows& pixels) {
    std::vector<ExpandedRow> components;
    for (int c = 0; c < (IsGrey(format) ? 1 : 3); ++c) {
        components.emplace_back(picture, format, c, tags.range);
    }
    for (int y = 0; y < picture.height; ++y) {
        std::array<const std::uint16_t*, 3> rows{};
        for (std::size_t c = 0; c < components.size(); ++c) {
            rows[c] = components[c].Read(y, 0, picture.width);
        }
        if (IsGrey(format)) rows.fill(rows[0]);
        pixels.Put(y, 0, picture.width, rows[2], rows[1], rows[0]);
    }
}

/// Repeats the last of the samples that there are up to right.
void Extend(std::uint16_t* row, int left, int there, int right) {
    if (there < right) std::fill(row + std::max(left, there), row + right, row[there - 1]);
}

void PutYuv(const std::string& path, const AVFrame& picture, const AVPixFmtDescriptor& format,
            const ColorTags& tags, PixelRows& pixels) {
    const PaddedSize size(format, picture.width, picture.height);
    const YuvGraph graph = YuvGraph::ToRgb(path, size, format, tags, picture.chroma_location);
    RowWindow yuv = graph.InputRows(), rgb = graph.OutputRows();
    const ComponentReader luma(picture, format, 0);
    const ComponentReader chroma[] = {{picture, format, 1}, {picture, format, 2}};
    const int shiftX = format.log2_chroma_w, shiftY = format.log2_chroma_h;
    const auto read = [&](int y, int left, int right) {
        for (int below = 0; below < 1 << shiftY; ++below) {
            std::uint16_t* row = yuv.row(0, y + below);
            const int there = std::min(right, picture.width);
            luma.Read(std::min(y + below, picture.height - 1), left, there, row);
            Extend(row, left, picture.width, right);
        }
        const int end = (right + (1 << shiftX) - 1) >> shiftX;
        for (int c = 1; c < 3; ++c) {
            chroma[c - 1].Read(y >> shiftY, left >> shiftX, end, yuv.row(c, y >> shiftY));
        }
    };
    const auto write = [&](int y, int left, int right) {
        pixels.Put(y, left, right, rgb.row(2, y), rgb.row(1, y), rgb.row(0, y));
    };
    graph.Run(yuv.ConstBuffer(), rgb.Buffer(), read, write);
}

/// Narrows one element of pixels left to right, less the last, to a depth, nearest.
template <typename Sample>
void Narrow(const std::uint16_t* pixels, int element, int depth, int left, int right, void* row) {
    const std::uint32_t full = (1u << depth) - 1;
    auto* samples = static_cast<Sample*>(row);
    for (int x = left; x < right; ++x) {
        samples[x] =
            static_cast<Sample>((pixels[std::size_t(x) * 4 + element] * full + 32767u) / 65535u);
    }
}

void WriteRgb(const Pixels& pixels, const AVPixFmtDescriptor& format, AVFrame& picture) {
    for (int y = 0; y < picture.height; ++y) {
        const std::uint16_t* from = pixels.data() + std::size_t(y) * picture.width * 4;
        for (int c = 0; c < format.nb_components; ++c) {
            const int plane = format.comp[c].plane;
            Narrow<std::uint16_t>(
                from, c < 3 ? 2 - c : 3, format.comp[c].depth, 0, picture.width,
                picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane]);
        }
    }
}

void WriteYuv(const std::string& path, const Pixels& pixels, const AVPixFmtDescriptor& format,
              const ColorTags& tags, AVFrame& picture) {
    const PaddedSize size(format, picture.width, picture.height);
    const YuvGraph graph = YuvGraph::FromRgb(path, size, format, tags);
    RowWindow rgb = graph.InputRows();
    zimg_image_buffer target{ZIMG_API_VERSION, {}};
    for (int i = 0; i < 3; ++i) {
        target.plane[i] = {picture.data[i], picture.linesize[i], ZIMG_BUFFER_MAX};
    }
    const auto read = [&](int y, int left, int right) {
        const int line = std::min(y, picture.height - 1), there = std::min(right, picture.width);
        const std::uint16_t* from = pixels.data() + std::size_t(line) * picture.width * 4;
        for (int c = 0; c < 3; ++c) {
            std::uint16_t* row = rgb.row(c, y);
            for (int x = left; x < there; ++x) row[x] = from[std::size_t(x) * 4 + (2 - c)];
            Extend(row, left, picture.width, right);
        }
        if (!HasAlpha(format)) return;
        const int depth = format.comp[3].depth;
        uint8_t* alpha = picture.data[3] + std::ptrdiff_t{line} * picture.linesize[3];
        const auto narrow = depth == 8 ? Narrow<std::uint8_t> : Narrow<std::uint16_t>;
        narrow(from, 3, depth, left, there, alpha);
    };
    graph.Run(rgb.ConstBuffer(), target, read, nullptr);
}

}  // namespace

Pixels PixelsOf(const std::string& path, const AVFrame& picture, const ColorTags& tags,
                const Turn& turn) {
    const AVPixFmtDescriptor& format =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    constexpr std::uint64_t kIndirect = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                        AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    const bool xyz = picture.format == AV_PIX_FMT_XYZ12LE || picture.format == AV_PIX_FMT_XYZ12BE;
    if ((format.flags & kIndirect) || xyz) {
        const AvFrame direct = Repacked(path, picture, format);
        return PixelsOf(path, *direct, {AVCOL_SPC_RGB, AVCOL_RANGE_JPEG}, turn);
    }
    PixelRows pixels(picture, format, turn);
    if (IsRgb(format) || IsGrey(format)) {
        PutRgb(picture, format, tags, pixels);
    } else {
        PutYuv(path, picture, format, tags, pixels);
    }
    return pixels.Take();
}

AvFrame PictureOf(const std::string& path, const Pixels& pixels, int width, int height,
                  AVPixelFormat pixelFormat, const ColorTags& tags) {
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
        WriteRgb(pixels, format, *picture);
    } else {
        WriteYuv(path, pixels, format, tags, *picture);
    }
    return picture;
}

}  // namespace veltrane::media
