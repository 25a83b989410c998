#include "media/png_source.h"

#include <algorithm>
#include <utility>

#include "media/fail.h"
#include "media/file_bytes.h"
#include "media/image_integrity.h"
#include "media/image_library.h"
#include "media/png_reader.h"

namespace veltrane::media {
namespace {

/// The whole file and what reads it.
struct PngFile {
    explicit PngFile(const std::string& path) : bytes(ReadAll(path)) {
        CheckPng(path, bytes);
        reader = std::make_unique<PngReader>(path, bytes);
    }

    Bytes bytes;
    std::unique_ptr<PngReader> reader;
};

class PngSource : public ImageSource {
public:
    PngSource(std::unique_ptr<PngFile> file, ImageLayout layout)
        : ImageSource(std::move(layout)), file_(std::move(file)) {}

    // Every channel of a PNG belongs to the picture, so all are asked for.
    void Read(int, int, std::uint16_t* samples) override { file_->reader->Read(samples); }
    void Read(int, int count, float* samples) override {
        std::vector<std::uint16_t> shorts(std::size_t(layout_.width) * layout_.height * count);
        file_->reader->Read(shorts.data());
        std::transform(shorts.begin(), shorts.end(), samples,
                       [](std::uint16_t value) { return static_cast<float>(value) / 65535; });
    }

private:
    std::unique_ptr<PngFile> file_;
};

}  // namespace

std::unique_ptr<ImageSource> OpenPng(const std::string& path) {
    auto file = std::make_unique<PngFile>(path);
    ImageLayout layout = file->reader->Layout();
    if (file->reader->HoldsPackedMetadata()) {
        layout.attributes = OpenByLibrary(path, "png")->layout().attributes;
    }
    return std::make_unique<PngSource>(std::move(file), std::move(layout));
}

}  // namespace veltrane::media
