#include "media/png_source.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "media/fail.h"
#include "media/file_bytes.h"
#include "media/image_integrity.h"
#include "media/image_library.h"
#include "media/pixel_memory.h"
#include "media/png_reader.h"
#include "media/png_rows.h"

namespace veltrane::media {
namespace {

/// The whole file and what reads it.
struct PngFile {
    PngFile(const std::string& path, const Threads& threads) : bytes(ReadAll(path, threads)) {
        CheckPng(path, bytes);
        reader = std::make_unique<PngReader>(path, bytes);
    }

    Bytes bytes;
    std::unique_ptr<PngReader> reader;
};

/// One whose samples lie in whole bytes, row after row, as they are meant.
class PlainPng : public ImageSource {
public:
    PlainPng(std::string path, std::unique_ptr<PngFile> file, ImageLayout layout)
        : ImageSource(std::move(layout)), path_(std::move(path)), file_(std::move(file)) {}

    // Every channel of a PNG belongs to the picture, so all are asked for.
    void Read(int, int, const Threads& threads, const TakeRows<std::uint16_t>& take) override {
        ReadAs(threads, take);
    }
    void Read(int, int, const Threads& threads, const TakeRows<float>& take) override {
        ReadAs(threads, take);
    }

private:
    template <typename Sample>
    void ReadAs(const Threads& threads, const TakeRows<Sample>& take) const {
        const bool wide = layout_.channelTypes.front() == OIIO::TypeDesc::UINT16;
        const std::size_t pixelBytes = std::size_t(layout_.channels()) * (wide ? 2 : 1);
        const std::size_t rowSamples = std::size_t(layout_.width) * layout_.channels();
        const PngRowLayout lie{std::size_t(layout_.height), layout_.width * pixelBytes, pixelBytes};
        UnsetVector<Sample> samples(rowSamples);
        const auto store = [&](int top, int rows, const std::uint8_t* bytes) {
            for (int y = 0; y < rows; ++y, bytes += lie.rowBytes + 1) {
                wide ? Store(bytes + 1, rowSamples, BigEndian, samples.data())
                     : Store(bytes + 1, rowSamples, Byte, samples.data());
                take(top + y, 1, samples.data());
            }
        };
        if (!ReadPngRows(file_->bytes, lie, threads, store)) {
            Fail(path_, "is damaged: its pixels cannot be decompressed");
        }
    }

    static std::uint16_t BigEndian(const std::uint8_t* row, std::size_t i) {
        return static_cast<std::uint16_t>(row[2 * i] << 8 | row[2 * i + 1]);
    }
    static std::uint16_t Byte(const std::uint8_t* row, std::size_t i) {
        return static_cast<std::uint16_t>(row[i] * 257);
    }

    template <typename Stored, typename Sample>
    static void Store(const std::uint8_t* row, std::size_t count, Stored stored, Sample* samples) {
        constexpr bool kFloats = std::is_same_v<Sample, float>;
        constexpr Sample kFullScale = kFloats ? 65535 : 1;
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] = static_cast<Sample>(static_cast<Sample>(stored(row, i)) / kFullScale);
        }
    }

    std::string path_;
    std::unique_ptr<PngFile> file_;
};

/// Palettes, single bits and interlaced pictures, by the PNG library.
class PngSource : public ImageSource {
public:
    PngSource(std::unique_ptr<PngFile> file, ImageLayout layout)
        : ImageSource(std::move(layout)), file_(std::move(file)) {}

    // Every channel of a PNG belongs to the picture, so all are asked for.
    void Read(int, int, const Threads&, const TakeRows<std::uint16_t>& take) override {
        take(0, layout_.height, Samples().data());
    }
    void Read(int, int, const Threads&, const TakeRows<float>& take) override {
        const Pixels samples = Samples();
        UnsetVector<float> floats(samples.size());
        std::transform(samples.begin(), samples.end(), floats.begin(),
                       [](std::uint16_t value) { return static_cast<float>(value) / 65535; });
        take(0, layout_.height, floats.data());
    }

private:
    Pixels Samples() const {
        Pixels samples(std::size_t(layout_.width) * layout_.height * layout_.channels());
        file_->reader->Read(samples.data());
        return samples;
    }

    std::unique_ptr<PngFile> file_;
};

}  // namespace

std::unique_ptr<ImageSource> OpenPng(const std::string& path, const Threads& threads) {
    auto file = std::make_unique<PngFile>(path, threads);
    ImageLayout layout = file->reader->Layout();
    if (file->reader->HoldsPackedMetadata()) {
        layout.attributes = OpenByLibrary(path, "png")->layout().attributes;
    }
    if (file->reader->IsPlain()) {
        return std::make_unique<PlainPng>(path, std::move(file), std::move(layout));
    }
    return std::make_unique<PngSource>(std::move(file), std::move(layout));
}

}  // namespace veltrane::media
