#include "media/tiff_source.h"

#include <type_traits>
#include <utility>

#include "media/image_library.h"
#include "media/pixel_memory.h"
#include "media/tiff_file.h"
#include "media/widened.h"

namespace veltrane::media {
namespace {

class PlainTiff : public ImageSource {
public:
    PlainTiff(std::unique_ptr<TiffFile> file, ImageLayout layout)
        : ImageSource(std::move(layout)), file_(std::move(file)) {}

    void Read(int first, int count, const Threads& threads,
              const TakeRows<std::uint16_t>& take) override {
        ReadAs(first, count, threads, take);
    }
    void Read(int first, int count, const Threads& threads, const TakeRows<float>& take) override {
        ReadAs(first, count, threads, take);
    }

private:
    template <typename Sample>
    void ReadAs(int first, int count, const Threads& threads, const TakeRows<Sample>& take) {
        layout_.channelTypes.front() == OIIO::TypeDesc::UINT16
            ? ReadStored<std::uint16_t>(first, count, threads, take)
            : ReadStored<std::uint8_t>(first, count, threads, take);
    }

    template <typename Stored, typename Sample>
    void ReadStored(int first, int count, const Threads& threads, const TakeRows<Sample>& take) {
        file_->ReadRows(threads, [&](int top, int rows, const std::uint8_t* bytes) {
            const auto* stored = reinterpret_cast<const Stored*>(bytes) + first;
            if constexpr (std::is_same_v<Stored, Sample>) {
                if (count == layout_.channels()) return take(top, rows, stored);
            }
            const std::size_t width = layout_.width;
            UnsetVector<Sample> row(width * count);
            const auto step = static_cast<std::size_t>(layout_.channels());
            for (int y = 0; y < rows; ++y) {
                Sample* to = row.data();
                for (std::size_t i = 0; i < width; ++i, stored += step, to += count) {
                    for (int c = 0; c < count; ++c) to[c] = Widened<Sample>(stored[c]);
                }
                take(top + y, 1, row.data());
            }
        });
    }

    std::unique_ptr<TiffFile> file_;
};

}  // namespace

std::unique_ptr<ImageSource> OpenPlainTiff(const std::string& path) {
    auto file = std::make_unique<TiffFile>(path);
    if (!file->IsPlain()) return nullptr;
    ImageLayout layout = file->Description();
    if (file->HoldsPackedMetadata()) {
        const ImageLayout whole = OpenByLibrary(path, "tiff")->layout();
        const bool moved = whole.x != 0 || whole.y != 0 || whole.fullX != 0 || whole.fullY != 0;
        if (moved || whole.fullWidth != layout.width || whole.fullHeight != layout.height) {
            return nullptr;
        }
        layout.attributes = whole.attributes;
    }
    return std::make_unique<PlainTiff>(std::move(file), std::move(layout));
}

}  // namespace veltrane::media
