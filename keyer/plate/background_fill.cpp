#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "imaging/sample.h"
#include "keyer/pipeline.h"
#include "keyer/plate/background_stages.h"
#include "keyer/plate/column_sums.h"
#include "keyer/plate/pixel_mask.h"

namespace {

using namespace veltrane;

constexpr int kColors = 3;

using Image = ReducedImage;
using Components = std::array<int, kColors>;

Components ColorOf(const unsigned char* pixel) {
    return {pixel[0], pixel[1], pixel[2]};
}

bool IsBlack(const Components& color) {
    return color == Components{};
}

/// The pixels whose bytes are 0 wherever those of which are not.
PixelMask ZeroWhere(const Image& image, const std::array<unsigned char, kElements>& which) {
    PixelMask mask(image.width, image.height);
    for (int y = 0; y < image.height; ++y) mask.SetRow(y, image.Row(y), which);
    return mask;
}

/// The mean of all pixels that are not empty; otherwise the colour given.
Components MeanColor(const Image& image, const PixelMask& empty, const Components& otherwise) {
    const std::int64_t count = std::int64_t{image.width} * image.height - empty.Count();
    if (count == 0) return otherwise;
    std::int64_t sums[kElements] = {};
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* pixel = image.Row(y);
        for (int x = 0; x < image.width; ++x, pixel += kElements) {
            for (int e = 0; e < kElements; ++e) sums[e] += pixel[e];
        }
    }
    Components mean;
    for (int e = 0; e < kColors; ++e) mean[e] = static_cast<int>(sums[e] / count);
    return mean;
}

/// Fills one run of empty pixels between the colours at its two ends. The divisor is one more than
/// an even division would take, so that a run never quite reaches its right colour.
void FillRun(unsigned char* pixel, int length, const Components& left, const Components& right) {
    constexpr int kBlock = 64;
    unsigned char colors[kColors][kBlock];
    const float steps = static_cast<float>(length + 2);
    for (int start = 0; start < length; start += kBlock) {
        const int count = std::min(length - start, kBlock);
        for (int e = 0; e < kColors; ++e) {
            const float rise = static_cast<float>(right[e] - left[e]);
            const float first = static_cast<float>(left[e]);
            for (int i = 0; i < count; ++i) {
                const float step = static_cast<float>(start + i + 1) * rise / steps;
                colors[e][i] = static_cast<unsigned char>(static_cast<int>(step + first));
            }
        }
        for (int i = 0; i < count; ++i, pixel += kElements) {
            for (int e = 0; e < kColors; ++e) pixel[e] = colors[e][i];
        }
    }
}

void FillRuns(const Image& image, int y, const PixelMask& empty, const Components& fallback) {
    for (int x = empty.Find(0, y, true); x < image.width; x = empty.Find(x, y, true)) {
        const int end = empty.Find(x, y, false);
        Components left = x > 0 ? ColorOf(image.Pixel(x - 1, y)) : Components{};
        Components right = end < image.width ? ColorOf(image.Pixel(end, y)) : left;
        if (IsBlack(left)) left = right;
        if (IsBlack(left)) left = right = fallback;
        FillRun(image.Pixel(x, y), end - x, left, right);
        x = end;
    }
}

/// Refines filled holes from their rims inwards. In every pass each pixel of the rim takes the mean
/// of the pixels of its column that are not empty, as the pass found them, up to a radius that
/// grows by one a pass and without itself; the pixels inside it are the next rim.
class RimRefiner {
public:
    /// inside holds the pixels of the holes that do not belong to the first rim.
    RimRefiner(const Image& image, PixelMask inside, PixelMask rim)
        : image_(image),
          inside_(std::move(inside)),
          rim_(std::move(rim)),
          refined_(image.width, image.height),
          columns_(image.data, image.width, image.height, image.pitch) {}

    void Run() {
        for (int radius = 1; RefineRim(radius); ++radius) {
        }
    }

private:
    /// Returns whether there is a next rim.
    bool RefineRim(int radius) {
        std::swap(rim_, refined_);
        waiting_.clear();
        refined_.ForEach([&](int x, int y) {
            if (!Average(x, y, radius)) waiting_.push_back({x, y});
        });
        for (const auto& [x, y] : waiting_) refined_.Clear(x, y);
        refined_.ForEach([&](int x, int y) { columns_.Set(x, y, image_.Pixel(x, y)); });
        const bool grown = rim_.MoveNeighbours(refined_, inside_);
        for (const auto& [x, y] : waiting_) rim_.Set(x, y);
        return grown;
    }

    /// Returns false when the column has nothing to average.
    bool Average(int x, int y, int radius) {
        const int top = y > radius ? y - radius : 0;
        const int bottom = image_.height - 1 - y > radius ? y + radius : image_.height - 1;
        const ColumnSums::Sum sum = columns_.Around(x, top, bottom, y);
        if (sum[kColors] == 0) return false;
        const float count = static_cast<float>(sum[kColors]);
        unsigned char* pixel = image_.Pixel(x, y);
        for (int e = 0; e < kColors; ++e) {
            const float mean = (static_cast<float>(sum[e]) + 0.5f) / count;
            pixel[e] = static_cast<unsigned char>(static_cast<int>(mean));
        }
        return true;
    }

    Image image_;
    PixelMask inside_;
    PixelMask rim_;
    PixelMask refined_;
    std::vector<std::array<int, 2>> waiting_;  ///< of the rim, with nothing to average yet
    ColumnSums columns_;
};

}  // namespace

void veltrane::WidenEmpty(Screen screen, const ReducedImage& image, int steps) {
    if (image.width < 1 || image.height < 1 || steps < 1) return;
    PixelMask empty = ZeroWhere(image, KindOf(screen).marksEmpty);
    // A step empties the neighbours of what was empty, which by the second step takes in itself.
    for (int step = 1; step < steps; ++step) empty |= empty.Neighbours();
    empty.Neighbours().ForEach([&](int x, int y) { std::memset(image.Pixel(x, y), 0, kColors); });
}

unsigned int CVELTRANE::ContractBack32bit(unsigned char* image, int width, int height, int pitch,
                                          int steps) const {
    WidenEmpty(Screen::Green, {image, width, height, pitch}, steps);
    return 1;
}

unsigned int CVELTRANE::ExpandBack32bit8(unsigned char* image, int width, int height, int pitch,
                                         unsigned char red, unsigned char green,
                                         unsigned char blue) const {
    if (image == nullptr) return 0;
    if (width < 1 || height < 1) return 1;
    const Image frame{image, width, height, pitch};
    PixelMask empty = ZeroWhere(frame, {255, 255, 255, 0});
    const Components fallback = MeanColor(frame, empty, {blue, green, red});
    for (int y = 0; y < height; ++y) FillRuns(frame, y, empty, fallback);
    PixelMask rim(width, height);
    if (rim.MoveNeighbours(empty.Complement(), empty)) {
        RimRefiner(frame, std::move(empty), std::move(rim)).Run();
    }
    return 1;
}
