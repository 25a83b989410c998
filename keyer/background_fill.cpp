#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "imaging/sample.h"
#include "keyer/column_sums.h"
#include "keyer/pipeline.h"
#include "keyer/pixel_mask.h"

namespace {

using namespace veltrane;

constexpr int kColors = 3;

struct Image {
    unsigned char* data;
    int width;
    int height;
    int pitch;

    unsigned char* Row(int y) const { return data + static_cast<std::ptrdiff_t>(y) * pitch; }
    unsigned char* Pixel(int x, int y) const {
        return Row(y) + static_cast<std::ptrdiff_t>(x) * kElements;
    }
};

bool IsEmpty(const unsigned char* pixel) {
    return (pixel[0] | pixel[1] | pixel[2]) == 0;
}

using Color = std::array<int, kColors>;

Color ColorOf(const unsigned char* pixel) {
    return {pixel[0], pixel[1], pixel[2]};
}

bool IsBlack(const Color& color) {
    return color == Color{};
}

/// Sets the flags of the pixels that pass a test.
template <class Test>
PixelMask MaskOf(const Image& image, Test test) {
    PixelMask mask(image.width, image.height);
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* pixel = image.Row(y);
        unsigned char* flag = mask.Row(y);
        for (int x = 0; x < image.width; ++x, pixel += kElements) flag[x] = test(pixel);
    }
    return mask;
}

void EmptyWhere(const PixelMask& mask, const Image& image) {
    for (int y = 0; y < image.height; ++y) {
        unsigned char* pixel = image.Row(y);
        const unsigned char* flag = mask.Row(y);
        for (int x = 0; x < image.width; ++x, pixel += kElements) {
            for (int e = 0; e < kColors; ++e) pixel[e] = flag[x] ? 0 : pixel[e];
        }
    }
}

/// The mean of all pixels that are not empty; otherwise the colour given.
Color MeanColor(const Image& image, const Color& otherwise) {
    std::int64_t sums[kColors] = {};
    std::int64_t count = 0;
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* pixel = image.Row(y);
        for (int x = 0; x < image.width; ++x, pixel += kElements) {
            for (int e = 0; e < kColors; ++e) sums[e] += pixel[e];
            count += !IsEmpty(pixel);
        }
    }
    if (count == 0) return otherwise;
    Color mean;
    for (int e = 0; e < kColors; ++e) mean[e] = static_cast<int>(sums[e] / count);
    return mean;
}

/// Fills one run of empty pixels between the colours at its two ends. The divisor is one more than
/// an even division would take, so that a run never quite reaches its right colour.
void FillRun(unsigned char* pixel, int length, const Color& left, const Color& right) {
    constexpr int kBlock = 64;
    unsigned char colors[kColors][kBlock];
    const float steps = static_cast<float>(length + 2);
    for (int start = 0; start < length; start += kBlock) {
        const int count = std::min(length - start, kBlock);
        for (int e = 0; e < kColors; ++e) {
            const int rise = right[e] - left[e];
            const float first = static_cast<float>(left[e]);
            for (int i = 0; i < count; ++i) {
                const float step = static_cast<float>((start + i + 1) * rise) / steps;
                colors[e][i] = static_cast<unsigned char>(static_cast<int>(step + first));
            }
        }
        for (int i = 0; i < count; ++i, pixel += kElements) {
            for (int e = 0; e < kColors; ++e) pixel[e] = colors[e][i];
        }
    }
}

void FillRuns(const Image& image, int y, const unsigned char* empty, const Color& fallback) {
    const auto find = [&](int x, int flag) {
        const void* found = std::memchr(empty + x, flag, static_cast<std::size_t>(image.width - x));
        return found == nullptr
                   ? image.width
                   : static_cast<int>(static_cast<const unsigned char*>(found) - empty);
    };
    for (int x = find(0, 1); x < image.width; x = find(x, 1)) {
        const int end = find(x, 0);
        Color left = x > 0 ? ColorOf(image.Pixel(x - 1, y)) : Color{};
        Color right = end < image.width ? ColorOf(image.Pixel(end, y)) : left;
        if (IsBlack(left)) left = right;
        if (IsBlack(left)) left = right = fallback;
        FillRun(image.Pixel(x, y), end - x, left, right);
        x = end;
    }
}

struct Position {
    int x;
    int y;
};

/// Refines filled holes from their rims inwards. In every pass each pixel of the rim takes the mean
/// of the pixels of its column that are not empty, as the pass found them, up to a radius that
/// grows by one a pass and without itself; the pixels inside it are the next rim. The cost goes
/// with the pixels of the holes and not with the passes.
class RimRefiner {
public:
    /// inside marks the pixels of the holes that do not belong to the first rim.
    RimRefiner(const Image& image, PixelMask inside, std::vector<Position> rim)
        : image_(image),
          inside_(std::move(inside)),
          rim_(std::move(rim)),
          columns_(image.data, image.width, image.height, image.pitch) {}

    void Run() {
        for (int radius = 1; RefineRim(radius); ++radius) {
        }
    }

private:
    /// Returns whether there is a next rim.
    bool RefineRim(int radius) {
        std::vector<Position> next;
        std::size_t refined = 0;
        bool grown = false;
        for (const Position& at : rim_) {
            if (Average(at, radius)) {
                rim_[refined++] = at;
                grown |= ClaimNeighbours(at, next);
            } else {
                next.push_back(at);
            }
        }
        rim_.resize(refined);
        for (const Position& at : rim_) columns_.Set(at.x, at.y, image_.Pixel(at.x, at.y));
        rim_ = std::move(next);
        return grown;
    }

    /// Returns false when the column has nothing to average.
    bool Average(const Position& at, int radius) {
        const int top = at.y > radius ? at.y - radius : 0;
        const int bottom = image_.height - 1 - at.y > radius ? at.y + radius : image_.height - 1;
        const ColumnSums::Sum sum = columns_.Around(at.x, top, bottom, at.y);
        if (sum[kColors] == 0) return false;
        const float count = static_cast<float>(sum[kColors]);
        ColumnSums::Sum mean;
        for (std::size_t i = 0; i < mean.size(); ++i) {
            mean[i] = static_cast<int>((static_cast<float>(sum[i]) + 0.5f) / count);
        }
        unsigned char* pixel = image_.Pixel(at.x, at.y);
        for (int e = 0; e < kColors; ++e) pixel[e] = static_cast<unsigned char>(mean[e]);
        return true;
    }

    /// Moves the neighbours that are still inside to the next rim. Returns whether there were any.
    bool ClaimNeighbours(const Position& at, std::vector<Position>& next) {
        const std::size_t before = next.size();
        unsigned char* row = inside_.Row(at.y - 1) + at.x;
        for (int y = at.y - 1; y <= at.y + 1; ++y, row += inside_.Pitch()) {
            if ((row[-1] | row[0] | row[1]) == 0) continue;
            for (int i = -1; i <= 1; ++i) {
                if (row[i] != 0) next.push_back({at.x + i, y});
                row[i] = 0;
            }
        }
        return next.size() > before;
    }

    Image image_;
    PixelMask inside_;
    std::vector<Position> rim_;
    ColumnSums columns_;
};

/// The pixels of the holes that touch a pixel which is not empty.
std::vector<Position> TakeRim(PixelMask& empty, const PixelMask& besideScreen) {
    std::vector<Position> rim;
    for (int y = 0; y < empty.Height(); ++y) {
        unsigned char* inside = empty.Row(y);
        const unsigned char* beside = besideScreen.Row(y);
        for (int x = 0; x < empty.Width(); ++x) {
            if ((inside[x] & beside[x]) == 0) continue;
            inside[x] = 0;
            rim.push_back({x, y});
        }
    }
    return rim;
}

}  // namespace

unsigned int CVELTRANE::ContractBack32bit(unsigned char* image, int width, int height, int pitch,
                                          int steps) const {
    if (width < 1 || height < 1 || steps < 1) return 1;
    const Image frame{image, width, height, pitch};
    PixelMask empty = MaskOf(frame, [](const unsigned char* pixel) { return pixel[2] == 0; });
    // A step empties the neighbours of what was empty, which by the second step takes in itself.
    for (int step = 1; step < steps; ++step) empty |= empty.Neighbours();
    EmptyWhere(empty.Neighbours(), frame);
    return 1;
}

unsigned int CVELTRANE::ExpandBack32bit8(unsigned char* image, int width, int height, int pitch,
                                         unsigned char red, unsigned char green,
                                         unsigned char blue) const {
    if (image == nullptr) return 0;
    if (width < 1 || height < 1) return 1;
    const Image frame{image, width, height, pitch};
    const Color fallback = MeanColor(frame, {blue, green, red});
    PixelMask empty = MaskOf(frame, IsEmpty);
    for (int y = 0; y < height; ++y) FillRuns(frame, y, empty.Row(y), fallback);
    PixelMask besideScreen = empty.Complement().Neighbours();
    std::vector<Position> rim = TakeRim(empty, besideScreen);
    RimRefiner(frame, std::move(empty), std::move(rim)).Run();
    return 1;
}
