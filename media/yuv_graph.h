#ifndef VELTRANE_MEDIA_YUV_GRAPH_H
#define VELTRANE_MEDIA_YUV_GRAPH_H

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}
#include <zimg.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "media/color_tags.h"

namespace veltrane::media {

/// What image libraries ask of the addresses of rows.
inline constexpr std::size_t kAlignment = 64;

/// Width and height rounded up to whole chroma samples.
struct PaddedSize {
    PaddedSize(const AVPixFmtDescriptor& format, int w, int h);
    int width;
    int height;
};

struct AlignedDeleter {
    void operator()(std::uint16_t* samples) const {
        ::operator delete (samples, std::align_val_t{kAlignment});
    }
};
using AlignedSamples = std::unique_ptr<std::uint16_t, AlignedDeleter>;

/// Some rows of three planes of 16-bit samples on their way into a conversion or out of it.
class RowWindow {
public:
    /// Holds as many rows as a conversion needs at a time, or all of them.
    RowWindow(const zimg_image_format& format, unsigned rows);

    /// The place of a row, counted in the plane's own rows.
    std::uint16_t* row(int plane, int y) {
        return samples_[plane].get() + (unsigned(y) & masks_[plane]) * strides_[plane];
    }
    zimg_image_buffer Buffer() const;
    zimg_image_buffer_const ConstBuffer() const;

private:
    std::array<AlignedSamples, 3> samples_;
    std::array<std::size_t, 3> strides_;
    std::array<unsigned, 3> masks_;
};

/// Called to fill rows of a window before they are read, or to take them once they are written:
/// from row y on as many as a row of chroma stands for, columns left to right, less the last.
using RowCall = std::function<void(int y, int left, int right)>;

/// The conversion of a picture between luma and chroma and 16-bit RGB. It goes forward by a few
/// rows at a time, which so stay in the processor's cache. Throws Error naming the path.
class YuvGraph {
public:
    static YuvGraph ToRgb(const std::string& path, PaddedSize size,
                          const AVPixFmtDescriptor& format, const ColorTags& tags,
                          AVChromaLocation chroma);
    /// Chroma lies at the left; 8-bit samples are bytes.
    static YuvGraph FromRgb(const std::string& path, PaddedSize size,
                            const AVPixFmtDescriptor& format, const ColorTags& tags);

    RowWindow InputRows() const;
    RowWindow OutputRows() const;
    /// Either call may be made again for the same samples; one that is not needed may be null.
    void Run(const zimg_image_buffer_const& source, const zimg_image_buffer& target, RowCall read,
             RowCall write) const;

private:
    YuvGraph(std::string path, const zimg_image_format& from, const zimg_image_format& to);
    void Check(int failed) const;

    struct Deleter {
        void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
    };
    std::string path_;
    zimg_image_format from_;
    zimg_image_format to_;
    std::unique_ptr<zimg_filter_graph, Deleter> graph_;
};

}  // namespace veltrane::media

#endif
