#include "plugin/render.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "imaging/convert/convert.h"
#include "imaging/sample.h"
#include "keyer/entry_call.h"

namespace veltrane {

namespace {

struct Free {
    void operator()(std::uint16_t* samples) const { std::free(samples); }
};
using WorkingFrame = std::unique_ptr<std::uint16_t[], Free>;

WorkingFrame Uninitialised(std::size_t samples) {
    if (samples > SIZE_MAX / sizeof(std::uint16_t)) return nullptr;
    return WorkingFrame(static_cast<std::uint16_t*>(std::malloc(samples * sizeof(std::uint16_t))));
}

/// Zeros, so that a frame the keyer refuses does not show what the memory held before. Large
/// blocks come cleared from the system, at no further cost.
WorkingFrame Cleared(std::size_t samples) {
    return WorkingFrame(static_cast<std::uint16_t*>(std::calloc(samples, sizeof(std::uint16_t))));
}

}  // namespace

bool RenderBitmap(const Settings& settings, const HostFrame& frame, const HostBitmap& input,
                  const HostBitmap& output) noexcept {
    const std::size_t width = std::min(input.width, output.width);
    const std::size_t height = std::min(input.height, output.height);
    if (width == 0 || height == 0 || width > INT_MAX || height > INT_MAX) return false;
    if (input.pixels == nullptr || output.pixels == nullptr) return false;

    const std::size_t pitch = width * kElements;
    const WorkingFrame source = Uninitialised(pitch * height);
    if (!source) return false;
    const int columns = static_cast<int>(width);
    const PixelReader<float> reader(
        {PixelOrder::kArgb, AlphaState::kStraight, FloatRounding::kDown});
    for (std::size_t y = 0; y < height; ++y)
        reader(input.pixels + y * input.width * kElements, source.get() + y * pitch, columns);
    const WorkingFrame keyed = Cleared(pitch * height);
    if (!keyed) return false;
    CallEntry(VeltraneFinalCut16bit, settings, {frame.scaleX, frame.scaleY}, keyed.get(),
              source.get(), columns, static_cast<int>(height));
    const PixelWriter<float> writer({PixelOrder::kArgb});
    for (std::size_t y = 0; y < height; ++y) {
        const std::uint16_t* row = keyed.get() + y * pitch;
        float* pixels = output.pixels + y * output.width * kElements;
        if (frame.premultiplied) {
            WriteLinearPremultiplied(row, PixelOrder::kArgb, pixels, columns);
        } else {
            writer(row, pixels, columns);
        }
    }
    return true;
}

}  // namespace veltrane
