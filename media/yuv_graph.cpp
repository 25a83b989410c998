#include "media/yuv_graph.h"

#include <algorithm>
#include <utility>

#include "media/fail.h"

namespace veltrane::media {
namespace {

int Subsampled(int length, int shift) {
    return (length + (1 << shift) - 1) >> shift;
}

AlignedSamples NewSamples(std::size_t count) {
    const std::align_val_t alignment{kAlignment};
    return AlignedSamples(static_cast<std::uint16_t*>(::operator new(count * 2, alignment)));
}

zimg_chroma_location_e ChromaLocation(AVChromaLocation location) {
    if (location == AVCHROMA_LOC_UNSPECIFIED) return ZIMG_CHROMA_LEFT;
    return static_cast<zimg_chroma_location_e>(location - AVCHROMA_LOC_LEFT);
}

zimg_image_format RgbFormat(PaddedSize size) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(size.width);
    format.height = static_cast<unsigned>(size.height);
    format.pixel_type = ZIMG_PIXEL_WORD;
    format.depth = 16;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

zimg_image_format YuvFormat(PaddedSize size, const AVPixFmtDescriptor& pixel, const ColorTags& tags,
                            AVChromaLocation chroma) {
    zimg_image_format format = RgbFormat(size);
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

int MakeCall(void* call, unsigned y, unsigned left, unsigned right) {
    (*static_cast<RowCall*>(call))(static_cast<int>(y), static_cast<int>(left),
                                   static_cast<int>(right));
    return 0;
}

}  // namespace

PaddedSize::PaddedSize(const AVPixFmtDescriptor& format, int w, int h)
    : width(Subsampled(w, format.log2_chroma_w) << format.log2_chroma_w),
      height(Subsampled(h, format.log2_chroma_h) << format.log2_chroma_h) {}

RowWindow::RowWindow(const zimg_image_format& format, unsigned rows) {
    const unsigned mask = zimg_select_buffer_mask(rows);
    for (int i = 0; i < 3; ++i) {
        const unsigned shiftX = i == 0 ? 0 : format.subsample_w;
        const unsigned shiftY = i == 0 ? 0 : format.subsample_h;
        masks_[i] = mask == ZIMG_BUFFER_MAX ? mask : mask >> shiftY;
        const std::size_t bytes = std::size_t{format.width >> shiftX} * 2;
        strides_[i] = (bytes + kAlignment - 1) / kAlignment * kAlignment / 2;
        const std::size_t held = std::min<std::size_t>(format.height >> shiftY, masks_[i]) + 1;
        samples_[i] = NewSamples(strides_[i] * held);
    }
}

zimg_image_buffer RowWindow::Buffer() const {
    zimg_image_buffer buffer{ZIMG_API_VERSION, {}};
    for (int i = 0; i < 3; ++i) {
        buffer.plane[i].data = samples_[i].get();
        buffer.plane[i].stride = static_cast<std::ptrdiff_t>(strides_[i] * 2);
        buffer.plane[i].mask = masks_[i];
    }
    return buffer;
}

zimg_image_buffer_const RowWindow::ConstBuffer() const {
    zimg_image_buffer_const buffer{ZIMG_API_VERSION, {}};
    const zimg_image_buffer same = Buffer();
    for (int i = 0; i < 3; ++i) {
        buffer.plane[i] = {same.plane[i].data, same.plane[i].stride, same.plane[i].mask};
    }
    return buffer;
}

YuvGraph YuvGraph::ToRgb(const std::string& path, PaddedSize size, const AVPixFmtDescriptor& format,
                         const ColorTags& tags, AVChromaLocation chroma) {
    zimg_image_format from = YuvFormat(size, format, tags, chroma);
    zimg_image_format to = RgbFormat(size);
    AddLightTags(tags, from, to);
    return {path, from, to};
}

YuvGraph YuvGraph::FromRgb(const std::string& path, PaddedSize size,
                           const AVPixFmtDescriptor& format, const ColorTags& tags) {
    zimg_image_format to = YuvFormat(size, format, tags, AVCHROMA_LOC_LEFT);
    if (to.depth == 8) to.pixel_type = ZIMG_PIXEL_BYTE;
    return {path, RgbFormat(size), to};
}

YuvGraph::YuvGraph(std::string path, const zimg_image_format& from, const zimg_image_format& to)
    : path_(std::move(path)), from_(from), to_(to) {
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter_uv = ZIMG_RESIZE_BICUBIC;
    parameters.filter_param_a_uv = 0.0;
    parameters.filter_param_b_uv = 0.5;
    graph_.reset(zimg_filter_graph_build(&from, &to, &parameters));
    Check(!graph_);
}

void YuvGraph::Check(int failed) const {
    if (!failed) return;
    char text[256] = {};
    zimg_get_last_error(text, sizeof text);
    Fail(path_, std::string("its colour cannot be converted: ") + text);
}

RowWindow YuvGraph::InputRows() const {
    unsigned rows = 0;
    Check(zimg_filter_graph_get_input_buffering(graph_.get(), &rows));
    return {from_, rows};
}

RowWindow YuvGraph::OutputRows() const {
    unsigned rows = 0;
    Check(zimg_filter_graph_get_output_buffering(graph_.get(), &rows));
    return {to_, rows};
}

void YuvGraph::Run(const zimg_image_buffer_const& source, const zimg_image_buffer& target,
                   RowCall read, RowCall write) const {
    std::size_t bytes = 0;
    Check(zimg_filter_graph_get_tmp_size(graph_.get(), &bytes));
    const AlignedSamples scratch = NewSamples(bytes / 2 + 1);
    Check(zimg_filter_graph_process(graph_.get(), &source, &target, scratch.get(),
                                    read ? MakeCall : nullptr, &read, write ? MakeCall : nullptr,
                                    &write));
}

}  // namespace veltrane::media
