#include <algorithm>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "files/whole_file.h"
#include "media/exr_file.h"
#include "media/exr_image.h"
#include "media/exr_metadata.h"
#include "media/exr_rows.h"
#include "media/exr_zip.h"
#include "media/fail.h"
#include "media/file_bytes.h"
#include "media/image_file.h"
#include "media/originals.h"
#include "media/share_work.h"
#include "media/source_details.h"

namespace veltrane::media {
namespace {

constexpr int kMostRowsAChunk = 16;

/// An EXR on its way to the disk.
class ExrOutput {
public:
    ExrOutput(const std::string& path, const ExrStorage& storage, int width, int height);
    ~ExrOutput() {
        if (out_) exr_finish(&out_);
    }
    ExrOutput(const ExrOutput&) = delete;
    ExrOutput& operator=(const ExrOutput&) = delete;

    int rowsAChunk() const { return compression_ == EXR_COMPRESSION_ZIP ? kMostRowsAChunk : 1; }
    int chunks() const { return (height_ - 1) / rowsAChunk() + 1; }

    /// Writes what comes before the pixels.
    void Begin(const ImageMetadata& metadata);
    /// Takes chunks in any order, from any number of threads, and writes them in theirs.
    void Put(int chunk, Bytes bytes);
    /// Gives the file its name.
    void Commit();

private:
    static std::int64_t Write(exr_const_context_t, void* self, const void* bytes,
                              std::uint64_t count, std::uint64_t offset,
                              exr_stream_error_func_ptr_t);
    void Require(bool done) const;
    void AddChannels();

    const std::string& path_;
    const ExrStorage& storage_;
    int width_;
    int height_;
    exr_compression_t compression_;
    files::WholeFile file_;
    std::exception_ptr error_;  ///< of writing to the file
    exr_context_t out_ = nullptr;
    int top_ = 0;
    std::mutex mutex_;
    std::map<int, Bytes> waiting_;  ///< chunks whose turn has not come
    int next_ = 0;
    bool writing_ = false;
};

exr_compression_t CompressionOf(const ExrStorage& storage) {
    if (storage.compression.method == Compression::Method::None) return EXR_COMPRESSION_NONE;
    if (storage.compression.method == Compression::Method::Zips) return EXR_COMPRESSION_ZIPS;
    return EXR_COMPRESSION_ZIP;
}

ExrOutput::ExrOutput(const std::string& path, const ExrStorage& storage, int width, int height)
    : path_(path),
      storage_(storage),
      width_(width),
      height_(height),
      compression_(CompressionOf(storage)),
      file_(path, files::WholeFile::Folder::Seen) {
    exr_context_initializer_t start = ExrStart();
    start.user_data = this;
    start.write_fn = Write;
    Require(exr_start_write(&out_, path.c_str(), EXR_WRITE_FILE_DIRECTLY, &start) ==
            EXR_ERR_SUCCESS);
}

std::int64_t ExrOutput::Write(exr_const_context_t, void* self, const void* bytes,
                              std::uint64_t count, std::uint64_t offset,
                              exr_stream_error_func_ptr_t) {
    auto& output = *static_cast<ExrOutput*>(self);
    try {
        output.file_.WriteAt(offset, bytes, count);
        return static_cast<std::int64_t>(count);
    } catch (...) {
        output.error_ = std::current_exception();
        return -1;
    }
}

void ExrOutput::Require(bool done) const {
    if (done) return;
    if (error_) std::rethrow_exception(error_);
    Fail(path_, "cannot be encoded");
}

void ExrOutput::AddChannels() {
    const exr_pixel_type_t type = storage_.half ? EXR_PIXEL_HALF : EXR_PIXEL_FLOAT;
    for (const char* name : {"A", "B", "G", "R"}) {
        if (storage_.opaque && *name == 'A') continue;
        Require(exr_add_channel(out_, 0, name, type, EXR_PERCEPTUALLY_LOGARITHMIC, 1, 1) ==
                EXR_ERR_SUCCESS);
    }
}

void ExrOutput::Begin(const ImageMetadata& metadata) {
    top_ = metadata.originY;
    exr_attr_box2i_t window{};
    window.min = {{{metadata.originX, top_}}};
    window.max = {{{metadata.originX + width_ - 1, top_ + height_ - 1}}};
    const exr_attr_v2f_t centre{};
    int part = 0;
    Require(exr_set_longname_support(out_, 1) == EXR_ERR_SUCCESS);
    Require(exr_add_part(out_, nullptr, EXR_STORAGE_SCANLINE, &part) == EXR_ERR_SUCCESS);
    Require(exr_initialize_required_attr(out_, part, &window, &window, 1, &centre, 1,
                                         EXR_LINEORDER_INCREASING_Y,
                                         compression_) == EXR_ERR_SUCCESS);
    AddChannels();
    AddExrAttributes(metadata.attributes, out_);
    Require(exr_write_header(out_) == EXR_ERR_SUCCESS);
}

/// Whoever brings the chunk whose turn it is writes all that may follow, while others go on.
void ExrOutput::Put(int chunk, Bytes bytes) {
    std::unique_lock lock(mutex_);
    waiting_.emplace(chunk, std::move(bytes));
    if (writing_) return;
    writing_ = true;
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
        const Bytes ready = std::move(waiting_.begin()->second);
        waiting_.erase(waiting_.begin());
        const int y = top_ + next_++ * rowsAChunk();
        lock.unlock();
        const bool written =
            exr_write_scanline_chunk(out_, 0, y, ready.data(), ready.size()) == EXR_ERR_SUCCESS;
        Require(written);
        lock.lock();
    }
    writing_ = false;
}

void ExrOutput::Commit() {
    Require(exr_finish(&out_) == EXR_ERR_SUCCESS);
    if (storage_.sync) file_.Sync();
    file_.Commit();
}

/// Makes chunks, one after another.
template <class Sample>
class ChunkMaker {
public:
    ChunkMaker(const ExrStorage& storage, const Frame& result, const Originals& originals,
               int rowsAChunk)
        : zips_(storage.compression.method != Compression::Method::None),
          result_(result),
          rows_(storage.transfer, storage.premultiplied, result.width, originals),
          rowsAChunk_(rowsAChunk),
          channels_(storage.opaque ? 3 : 4) {}

    Bytes Make(int chunk) {
        const int first = chunk * rowsAChunk_;
        const int end = std::min(first + rowsAChunk_, result_.height);
        const std::size_t width = result_.width;
        samples_.resize(width * channels_ * (end - first));
        Sample* plane = samples_.data();
        for (int y = first; y < end; ++y) {
            ExrRow<Sample> row{};
            for (Sample** channel : {&row.alpha, &row.blue, &row.green, &row.red}) {
                if (channel == &row.alpha && channels_ == 3) continue;
                *channel = plane;
                plane += width;
            }
            const std::size_t pixel = width * y;
            rows_(result_.pixels.data() + pixel * 4, pixel, row);
        }
        return Packed();
    }

private:
    Bytes Packed() {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(samples_.data());
        const std::size_t size = samples_.size() * sizeof(Sample);
        if (!zips_) return {bytes, bytes + size};
        return zipper_.Zip(bytes, size);
    }

    bool zips_;
    const Frame& result_;
    ExrRowWriter<Sample> rows_;
    int rowsAChunk_;
    int channels_;
    std::vector<Sample> samples_;
    ExrZipper zipper_{std::is_same_v<Sample, std::uint16_t>};
};

template <class Sample>
void WritePicture(const ExrStorage& storage, const Frame& result, const Frame& source,
                  ExrOutput& output, const Threads& threads) {
    const Originals originals(result, source, storage.transfer);
    ShareWork(threads, output.chunks(), [&] {
        auto maker =
            std::make_unique<ChunkMaker<Sample>>(storage, result, originals, output.rowsAChunk());
        return [&, maker = std::move(maker)](int chunk) { output.Put(chunk, maker->Make(chunk)); };
    });
}

}  // namespace

bool WritesExr(const Compression& compression) {
    using Method = Compression::Method;
    const Method method = compression.method;
    return method == Method::Automatic || method == Method::None || method == Method::Zips ||
           method == Method::Zip;
}

void WriteExr(const std::string& path, const ExrStorage& storage, const Frame& result,
              const Frame& source, const ImageMetadata& metadata, const Threads& threads) {
    ExrOutput output(path, storage, result.width, result.height);
    output.Begin(metadata);
    if (storage.half) {
        WritePicture<std::uint16_t>(storage, result, source, output, threads);
    } else {
        WritePicture<float>(storage, result, source, output, threads);
    }
    output.Commit();
}

}  // namespace veltrane::media
