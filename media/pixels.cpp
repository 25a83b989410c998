#include "media/pixels.h"

#include <cstdlib>

#include "imaging/convert/convert.h"
#include "media/transfer.h"

namespace veltrane::media {
namespace {

constexpr PixelFormat kPremultiplied{PixelOrder::kBgra, AlphaState::kPremultiplied};

}  // namespace

Turn Turn::FromOrientation(int orientation) {
    switch (orientation) {
        case 2:
            return {false, true, false};
        case 3:
            return {false, true, true};
        case 4:
            return {false, false, true};
        case 5:
            return {true, false, false};
        case 6:
            return {true, true, false};
        case 7:
            return {true, true, true};
        case 8:
            return {true, false, true};
        default:
            return {};
    }
}

Turn Turn::FromDisplayMatrix(const std::int32_t* matrix) {
    const std::int32_t xx = matrix[0], xy = matrix[1], yx = matrix[3], yy = matrix[4];
    if (xy == 0 && yx == 0 && xx != 0 && yy != 0) return {false, xx < 0, yy < 0};
    if (xx == 0 && yy == 0 && xy != 0 && yx != 0) return {true, yx < 0, xy < 0};
    return {};
}

Placement::Placement(const Turn& turn, int storedWidth, int storedHeight)
    : width(turn.transposed ? storedHeight : storedWidth),
      height(turn.transposed ? storedWidth : storedHeight) {
    const std::ptrdiff_t right = turn.mirroredX ? -1 : 1;
    const std::ptrdiff_t down = turn.mirroredY ? -std::ptrdiff_t{width} : std::ptrdiff_t{width};
    stepX = turn.transposed ? down : right;
    stepY = turn.transposed ? right : down;
    origin = (turn.mirroredX ? width - 1 : 0) +
             (turn.mirroredY ? std::ptrdiff_t{width} * (height - 1) : 0);
}

void Unpremultiply(Pixels& pixels) {
    const PixelReader<std::uint16_t> reader(kPremultiplied);
    reader(pixels.data(), pixels.data(), std::ssize(pixels) / 4);
}

void Premultiply(Pixels& pixels) {
    const PixelWriter<std::uint16_t> writer(kPremultiplied);
    writer(pixels.data(), pixels.data(), std::ssize(pixels) / 4);
}

void ApplyToColour(const std::vector<std::uint16_t>& table, Pixels& pixels) {
    for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) {
        for (std::size_t c = i; c < i + 3; ++c) pixels[c] = table[pixels[c]];
    }
}

const Pixels& StoredPixels(const Frame& frame, Transfer transfer, bool premultiplied,
                           Pixels& room) {
    const bool linear = transfer == Transfer::Linear;
    if (!linear && !premultiplied) return frame.pixels;
    room = frame.pixels;
    if (linear) ApplyToColour(WorkingToLinearTable(), room);
    if (premultiplied) Premultiply(room);
    return room;
}

}  // namespace veltrane::media
