#include <zimg.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "media/backends.h"
#include "media/fail.h"

namespace veltrane::media {
namespace {

/// What zimg asks of the addresses of rows.
constexpr std::size_t kAlignment = 64;

struct AlignedDeleter {
    void operator()(float* samples) const {
        ::operator delete (samples, std::align_val_t{kAlignment});
    }
};
using AlignedFloats = std::unique_ptr<float, AlignedDeleter>;

AlignedFloats NewFloats(std::size_t count) {
    const std::align_val_t alignment{kAlignment};
    return AlignedFloats(static_cast<float*>(::operator new(count * sizeof(float), alignment)));
}

/// The largest centred part of a picture that has the proportions of another.
struct CentredPart {
    CentredPart(const Frame& picture, const Frame& other) {
        const std::int64_t byHeight = std::int64_t{picture.height} * other.width / other.height;
        const std::int64_t byWidth = std::int64_t{picture.width} * other.height / other.width;
        width = static_cast<int>(std::clamp<std::int64_t>(byHeight, 1, picture.width));
        height = static_cast<int>(std::clamp<std::int64_t>(byWidth, 1, picture.height));
        x = (picture.width - width) / 2;
        y = (picture.height - height) / 2;
    }

    int x, y, width, height;
};

zimg_image_format FloatRgb(int width, int height) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = ZIMG_PIXEL_FLOAT;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

/// The rows of three planes that zimg needs at a time.
class Rows {
public:
    Rows(const zimg_image_format& format, unsigned held) : mask_(zimg_select_buffer_mask(held)) {
        constexpr std::size_t kFloats = kAlignment / sizeof(float);
        stride_ = (format.width + kFloats - 1) / kFloats * kFloats;
        const std::size_t count = std::min(format.height - 1, mask_) + std::size_t{1};
        for (AlignedFloats& plane : planes_) plane = NewFloats(stride_ * count);
    }

    float* row(int plane, unsigned y) { return planes_[plane].get() + (y & mask_) * stride_; }

    template <typename Buffer>
    Buffer As() {
        Buffer buffer{ZIMG_API_VERSION, {}};
        const auto stride = static_cast<std::ptrdiff_t>(stride_ * sizeof(float));
        for (int i = 0; i < 3; ++i) buffer.plane[i] = {row(i, 0), stride, mask_};
        return buffer;
    }

private:
    unsigned mask_;
    std::size_t stride_;
    std::array<AlignedFloats, 3> planes_;
};

/// A picture's part on its way into a frame of another size, a few rows at a time.
class Scaling {
public:
    Scaling(const std::string& path, const Frame& from, Frame& to)
        : path_(path), from_(from), to_(to), part_(from, to) {
        const zimg_image_format in = FloatRgb(part_.width, part_.height);
        const zimg_image_format out = FloatRgb(to.width, to.height);
        zimg_graph_builder_params parameters;
        zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
        const bool shrinks = part_.width > to.width;
        parameters.resample_filter = shrinks ? ZIMG_RESIZE_LANCZOS : ZIMG_RESIZE_BICUBIC;
        graph_.reset(zimg_filter_graph_build(&in, &out, &parameters));
        Check(!graph_);
        unsigned inRows = 0, outRows = 0;
        Check(zimg_filter_graph_get_input_buffering(graph_.get(), &inRows));
        Check(zimg_filter_graph_get_output_buffering(graph_.get(), &outRows));
        inRows_ = std::make_unique<Rows>(in, inRows);
        outRows_ = std::make_unique<Rows>(out, outRows);
    }

    void Run() {
        std::size_t bytes = 0;
        Check(zimg_filter_graph_get_tmp_size(graph_.get(), &bytes));
        const AlignedFloats scratch = NewFloats(bytes / sizeof(float) + 1);
        const auto source = inRows_->As<zimg_image_buffer_const>();
        const auto target = outRows_->As<zimg_image_buffer>();
        Check(zimg_filter_graph_process(graph_.get(), &source, &target, scratch.get(), Read, this,
                                        Write, this));
    }

private:
    static int Read(void* user, unsigned y, unsigned left, unsigned right) {
        auto& self = *static_cast<Scaling*>(user);
        const std::size_t line = std::size_t(self.part_.y) + y;
        const std::uint16_t* pixels =
            self.from_.pixels.data() + (line * self.from_.width + self.part_.x) * 4;
        for (int c = 0; c < 3; ++c) {
            float* row = self.inRows_->row(c, y);
            for (std::size_t x = left; x < right; ++x) row[x] = pixels[x * 4 + c];
        }
        return 0;
    }

    static int Write(void* user, unsigned y, unsigned left, unsigned right) {
        auto& self = *static_cast<Scaling*>(user);
        std::uint16_t* pixels = self.to_.pixels.data() + std::size_t(y) * self.to_.width * 4;
        for (int c = 0; c < 3; ++c) {
            const float* row = self.outRows_->row(c, y);
            for (std::size_t x = left; x < right; ++x) {
                const float sample = std::clamp(row[x], 0.0f, 65535.0f) + 0.5f;
                pixels[x * 4 + c] = static_cast<std::uint16_t>(sample);
            }
        }
        return 0;
    }

    void Check(int failed) const {
        if (!failed) return;
        char text[256] = {};
        zimg_get_last_error(text, sizeof text);
        Fail(path_, std::string("cannot be scaled: ") + text);
    }

    struct GraphDeleter {
        void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
    };
    std::string path_;
    const Frame& from_;
    Frame& to_;
    CentredPart part_;
    std::unique_ptr<zimg_filter_graph, GraphDeleter> graph_;
    std::unique_ptr<Rows> inRows_;
    std::unique_ptr<Rows> outRows_;
};

}  // namespace

Frame ScaledToFill(const std::string& path, const Frame& picture, int width, int height) {
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = 1;
    frame.pixels.assign(std::size_t(width) * height * 4, 65535);
    Scaling(path, picture, frame).Run();
    return frame;
}

}  // namespace veltrane::media
