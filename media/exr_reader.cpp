#include <algorithm>
#include <memory>
#include <string_view>
#include <type_traits>

#include "media/exr_file.h"
#include "media/exr_image.h"
#include "media/exr_metadata.h"
#include "media/exr_rows.h"
#include "media/exr_zip.h"
#include "media/fail.h"
#include "media/image_file.h"
#include "media/share_work.h"
#include "media/source_details.h"

namespace veltrane::media {
namespace {

/// How an EXR's values are taken.
struct Reading {
    Reading(const ExrLayout& layout, const ReadOptions& options)
        : transfer(options.transfer == Transfer::None ? Transfer::None : Transfer::Linear),
          premultiplied(layout.alpha >= 0 && options.association != Association::Straight) {}

    Transfer transfer;
    bool premultiplied;
};

/// Reads chunks, one after another, of a file that others may read too.
class ChunkReader {
public:
    ChunkReader(const std::string& path, const ExrFile& file, const ExrLayout& layout)
        : path_(path), file_(file.Get()), layout_(layout) {}
    ~ChunkReader() {
        if (pipeline_.context) exr_decoding_destroy(file_, &pipeline_);
    }
    ChunkReader(const ChunkReader&) = delete;
    ChunkReader& operator=(const ChunkReader&) = delete;

    /// The rows of a chunk. Throws Error where it is damaged.
    const std::uint8_t* Read(int chunk) {
        const int y = layout_.data.min.y + chunk * layout_.rowsAChunk;
        if (!Find(y) || !Prepare() || exr_decoding_run(file_, 0, &pipeline_) != EXR_ERR_SUCCESS) {
            Fail(path_, "is damaged, or breaks off before its end, in the rows from " +
                            std::to_string(y) + " on");
        }
        return static_cast<const std::uint8_t*>(pipeline_.unpacked_buffer);
    }
    /// Of the last one read.
    const exr_chunk_info_t& chunk() const { return chunk_; }

private:
    bool Find(int y) {
        if (exr_read_scanline_chunk_info(file_, 0, y, &chunk_) != EXR_ERR_SUCCESS) return false;
        const bool stored = layout_.compression == EXR_COMPRESSION_NONE;
        return chunk_.packed_size > 0 && (!stored || chunk_.packed_size == chunk_.unpacked_size);
    }

    bool Prepare() {
        if (pipeline_.context) {
            return exr_decoding_update(file_, 0, &chunk_, &pipeline_) == EXR_ERR_SUCCESS;
        }
        if (exr_decoding_initialize(file_, 0, &chunk_, &pipeline_) != EXR_ERR_SUCCESS) return false;
        if (exr_decoding_choose_default_routines(file_, 0, &pipeline_) != EXR_ERR_SUCCESS) {
            return false;
        }
        pipeline_.unpack_and_convert_fn = nullptr;
        pipeline_.decoding_user_data = &scratch_;
        scratch_.resize(chunk_.unpacked_size);
        const bool zipped = layout_.compression == EXR_COMPRESSION_ZIP ||
                            layout_.compression == EXR_COMPRESSION_ZIPS;
        if (zipped) pipeline_.decompress_fn = Unzip;
        return true;
    }

    /// What did not become smaller is stored as it was.
    static exr_result_t Unzip(exr_decode_pipeline_t* pipeline) {
        const exr_chunk_info_t& chunk = pipeline->chunk;
        if (chunk.packed_size == chunk.unpacked_size) return EXR_ERR_SUCCESS;
        Bytes& scratch = *static_cast<Bytes*>(pipeline->decoding_user_data);
        const bool whole =
            chunk.unpacked_size <= scratch.size() &&
            ExrUnzip(static_cast<const std::uint8_t*>(pipeline->packed_buffer), chunk.packed_size,
                     static_cast<std::uint8_t*>(pipeline->unpacked_buffer), chunk.unpacked_size,
                     scratch.data());
        return whole ? EXR_ERR_SUCCESS : EXR_ERR_CORRUPT_CHUNK;
    }

    const std::string& path_;
    exr_const_context_t file_;
    const ExrLayout& layout_;
    exr_chunk_info_t chunk_{};
    exr_decode_pipeline_t pipeline_{};
    Bytes scratch_;
};

/// A picture on its way from a file into a frame. The frame is the display window; what of the data
/// window lies outside it is read all the same, to know that it is whole.
template <class Sample, class Kept>
class PictureReader {
public:
    PictureReader(const ExrLayout& layout, const Reading& reading, Frame& frame, Kept* colour)
        : layout_(layout),
          rows_(reading.transfer, reading.premultiplied),
          frame_(frame),
          colour_(colour),
          left_(std::max(layout.data.min.x, layout.display.min.x)),
          end_(std::min(layout.data.max.x, layout.display.max.x) + 1) {}

    /// Takes a chunk's rows.
    void Take(const exr_chunk_info_t& chunk, const std::uint8_t* bytes) const {
        const auto* samples = reinterpret_cast<const Sample*>(bytes);
        for (int i = 0; i < chunk.height; ++i) {
            TakeRow(chunk.start_y + i, samples);
            samples += std::size_t(layout_.width()) * layout_.channels;
        }
    }

private:
    void TakeRow(int y, const Sample* samples) const {
        if (y < layout_.display.min.y || y > layout_.display.max.y || left_ >= end_) return;
        const auto plane = [&](int channel) {
            return samples + std::size_t(layout_.width()) * channel + (left_ - layout_.data.min.x);
        };
        const Sample* alpha = layout_.alpha < 0 ? nullptr : plane(layout_.alpha);
        const std::size_t first = std::size_t(y - layout_.display.min.y) * frame_.width +
                                  static_cast<std::size_t>(left_ - layout_.display.min.x);
        rows_(ExrRow<const Sample>{plane(layout_.red), plane(layout_.green), plane(layout_.blue),
                                   alpha},
              end_ - left_, frame_.pixels.data() + first * 4, colour_ + first * 3);
    }

    const ExrLayout& layout_;
    ExrRowReader<Sample> rows_;
    Frame& frame_;
    Kept* colour_;  ///< of the whole frame
    int left_;
    int end_;
};

bool Covers(const exr_attr_box2i_t& box, const exr_attr_box2i_t& other) {
    return box.min.x <= other.min.x && box.min.y <= other.min.y && box.max.x >= other.max.x &&
           box.max.y >= other.max.y;
}

template <class Sample, class Kept>
void ReadPicture(const std::string& path, const ExrFile& file, const ExrLayout& layout,
                 const PictureReader<Sample, Kept>& picture, const Threads& threads) {
    ShareWork(threads, layout.chunks(), [&] {
        auto reader = std::make_unique<ChunkReader>(path, file, layout);
        return [&picture, reader = std::move(reader)](int chunk) {
            const std::uint8_t* rows = reader->Read(chunk);
            picture.Take(reader->chunk(), rows);
        };
    });
}

std::shared_ptr<const ImageMetadata> MetadataOf(const ExrFile& file, const ExrLayout& layout,
                                                Transfer transfer) {
    auto metadata = std::make_shared<ImageMetadata>();
    metadata->format = "openexr";
    metadata->isHalf = layout.half;
    metadata->transfer = transfer;
    metadata->attributes = KeptAttributes(ExrAttributes(file.Get()), transfer);
    metadata->originX = layout.display.min.x;
    metadata->originY = layout.display.min.y;
    return metadata;
}

}  // namespace

std::optional<Info> DescribeExr(const std::string& path, const ReadOptions& options) {
    const ExrFile file(path);
    const std::optional<ExrLayout> layout = file.Layout();
    if (!layout) return std::nullopt;
    const Reading reading(*layout, options);
    Info info;
    info.path = path;
    info.format = "EXR";
    info.width = layout->displayWidth();
    info.height = layout->displayHeight();
    info.bits = layout->half ? 16 : 32;
    info.isFloat = true;
    info.hasAlpha = layout->alpha >= 0;
    info.transfer = reading.transfer;
    info.pixels = PixelText(info, layout->half, layout->red == layout->blue, reading.premultiplied);
    auto details = std::make_shared<SourceDetails>();
    details->imageFormat = "openexr";
    details->isHalf = layout->half;
    info.details = std::move(details);
    Tell(MetadataOf(file, *layout, reading.transfer)->attributes, info);
    return info;
}

std::optional<Frame> ReadExr(const std::string& path, std::int64_t number,
                             const ReadOptions& options, const Threads& threads) {
    const ExrFile file(path);
    const std::optional<ExrLayout> layout = file.Layout();
    if (!layout) return std::nullopt;
    const Reading reading(*layout, options);
    Frame frame;
    frame.width = layout->displayWidth();
    frame.height = layout->displayHeight();
    frame.number = number;
    frame.pixels.resize(std::size_t(frame.width) * frame.height * 4);
    auto origin = std::make_shared<Origin>();
    origin->metadata = MetadataOf(file, *layout, reading.transfer);
    const auto read = [&]<class Sample>(Sample, auto& colour) {
        colour.resize(frame.pixels.size() / 4 * 3);
        using Kept = typename std::decay_t<decltype(colour)>::value_type;
        if (!Covers(layout->data, layout->display)) {
            std::fill(colour.begin(), colour.end(), Kept{});
            std::fill(frame.pixels.begin(), frame.pixels.end(), std::uint16_t{0});
        }
        const PictureReader<Sample, Kept> picture(*layout, reading, frame, colour.data());
        ReadPicture(path, file, *layout, picture, threads);
    };
    if (!layout->half) {
        read(0.0f, origin->colour.floats);
    } else if (reading.premultiplied) {
        read(std::uint16_t{}, origin->colour.floats);
    } else {
        read(std::uint16_t{}, origin->colour.halves);
    }
    frame.origin = std::move(origin);
    return frame;
}

}  // namespace veltrane::media
