#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "imaging/sample.h"
#include "keyer/pipeline.h"

namespace {

using namespace veltrane;

constexpr int kColors = 3;

struct Image {
    unsigned char* data;
    int width;
    int height;
    int pitch;

    unsigned char* Pixel(int x, int y) const {
        return data + static_cast<std::ptrdiff_t>(y) * pitch + x * kElements;
    }
    std::size_t Bytes() const { return static_cast<std::size_t>(pitch) * height; }
};

bool IsEmpty(const unsigned char* pixel) {
    return (pixel[0] | pixel[1] | pixel[2]) == 0;
}

/// Calls visit(x, y) for each of the eight neighbours inside the image.
template <class Visit>
void ForEachNeighbour(int width, int height, int x, int y, Visit visit) {
    for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, height - 1); ++ny) {
        for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, width - 1); ++nx) {
            if (nx != x || ny != y) visit(nx, ny);
        }
    }
}

using Color = std::array<int, kColors>;

Color ColorOf(const unsigned char* pixel) {
    return {pixel[0], pixel[1], pixel[2]};
}

bool IsBlack(const Color& color) {
    return color == Color{};
}

/// The mean of all pixels that are not empty; otherwise the colour given.
Color MeanColor(const Image& image, const Color& otherwise) {
    std::int64_t sums[kColors] = {};
    std::int64_t count = 0;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const unsigned char* pixel = image.Pixel(x, y);
            if (IsEmpty(pixel)) continue;
            for (int e = 0; e < kColors; ++e) sums[e] += pixel[e];
            ++count;
        }
    }
    if (count == 0) return otherwise;
    Color mean;
    for (int e = 0; e < kColors; ++e) mean[e] = static_cast<int>(sums[e] / count);
    return mean;
}

/// What a pixel of the hole map is.
enum : unsigned char { kNoHole = 0, kInside = 1, kRim = 255 };

class HoleMap {
public:
    HoleMap(const Image& image, int pitch)
        : pitch_(pitch), marks_(static_cast<std::size_t>(pitch) * image.height, kNoHole) {
        for (int y = 0; y < image.height; ++y) {
            for (int x = 0; x < image.width; ++x) {
                if (IsEmpty(image.Pixel(x, y))) At(x, y) = Classify(image, x, y);
            }
        }
    }

    unsigned char& At(int x, int y) { return marks_[static_cast<std::size_t>(y) * pitch_ + x]; }

private:
    static unsigned char Classify(const Image& image, int x, int y) {
        unsigned char mark = kInside;
        ForEachNeighbour(image.width, image.height, x, y, [&](int nx, int ny) {
            if (!IsEmpty(image.Pixel(nx, ny))) mark = kRim;
        });
        return mark;
    }

    int pitch_;
    std::vector<unsigned char> marks_;
};

/// Fills one run of empty pixels between the colours at its two ends. The divisor is one more than
/// an even division would take, so that a run never quite reaches its right colour.
void FillRun(unsigned char* pixel, int length, const Color& left, const Color& right) {
    for (int k = 1; k <= length; ++k, pixel += kElements) {
        for (int e = 0; e < kColors; ++e) {
            const float step =
                static_cast<float>(k * (right[e] - left[e])) / static_cast<float>(length + 2);
            pixel[e] =
                static_cast<unsigned char>(TruncateToInt(step + static_cast<float>(left[e])));
        }
    }
}

void FillRuns(const Image& image, int y, const Color& fallback) {
    int x = 0;
    while (x < image.width) {
        if (!IsEmpty(image.Pixel(x, y))) {
            ++x;
            continue;
        }
        int end = x;
        while (end < image.width && IsEmpty(image.Pixel(end, y))) ++end;
        Color left = x > 0 ? ColorOf(image.Pixel(x - 1, y)) : Color{};
        Color right = end < image.width ? ColorOf(image.Pixel(end, y)) : left;
        if (IsBlack(left)) left = right;
        if (IsBlack(left)) left = right = fallback;
        FillRun(image.Pixel(x, y), end - x, left, right);
        x = end;
    }
}

/// Replaces target's colour by the rounded mean of the pixels of its column that are not empty, up
/// to radius rows away and without its own row. Returns false when there are none.
bool AverageColumn(const Image& image, int x, int y, std::int64_t radius, unsigned char* target) {
    const int top = static_cast<int>(std::max<std::int64_t>(y - radius, 0));
    const int bottom = static_cast<int>(std::min<std::int64_t>(y + radius, image.height - 1));
    int sums[kColors] = {};
    int count = 0;
    for (int row = top; row <= bottom; ++row) {
        const unsigned char* pixel = image.Pixel(x, row);
        if (row == y || IsEmpty(pixel)) continue;
        for (int e = 0; e < kColors; ++e) sums[e] += pixel[e];
        ++count;
    }
    if (count == 0) return false;
    for (int e = 0; e < kColors; ++e) {
        target[e] = static_cast<unsigned char>(
            TruncateToInt((static_cast<float>(sums[e]) + 0.5f) / static_cast<float>(count)));
    }
    return true;
}

/// One pass over the rim of every hole: averages it along its columns and makes the ring inside it
/// the next rim. before is the image as the pass began. Returns whether there is a next rim.
bool RefineRim(const Image& before, const Image& image, std::int64_t radius, HoleMap& holes,
               HoleMap& next) {
    bool changed = false;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            if (holes.At(x, y) != kRim) continue;
            if (!AverageColumn(before, x, y, radius, image.Pixel(x, y))) continue;
            next.At(x, y) = kNoHole;
            ForEachNeighbour(image.width, image.height, x, y, [&](int nx, int ny) {
                if (holes.At(nx, ny) == kInside) {
                    next.At(nx, ny) = kRim;
                    changed = true;
                }
            });
        }
    }
    return changed;
}

}  // namespace

unsigned int CVELTRANE::ContractBack32bit(unsigned char* image, int width, int height, int pitch,
                                          int steps) const {
    const Image frame{image, width, height, pitch};
    if (width < 1 || height < 1) return 1;
    std::vector<unsigned char> copy(image, image + frame.Bytes());
    const Image widened{copy.data(), width, height, pitch};
    for (int step = 0; step < steps; ++step) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (frame.Pixel(x, y)[2] != 0) continue;
                ForEachNeighbour(width, height, x, y, [&](int nx, int ny) {
                    std::memset(widened.Pixel(nx, ny), 0, kColors);
                });
            }
        }
        std::memcpy(image, copy.data(), copy.size());
    }
    return 1;
}

unsigned int CVELTRANE::ExpandBack32bit8(unsigned char* image, int width, int height, int pitch,
                                         unsigned char red, unsigned char green,
                                         unsigned char blue) const {
    if (image == nullptr) return 0;
    if (width < 1 || height < 1) return 1;
    const Image frame{image, width, height, pitch};
    const Color fallback = MeanColor(frame, {blue, green, red});
    HoleMap holes(frame, Align8(width));
    for (int y = 0; y < height; ++y) FillRuns(frame, y, fallback);

    std::vector<unsigned char> copy(frame.Bytes());
    const Image before{copy.data(), width, height, pitch};
    HoleMap next = holes;
    const std::int64_t longest = static_cast<std::int64_t>(width) * height;
    for (std::int64_t radius = 1; radius <= longest; ++radius) {
        std::memcpy(copy.data(), image, copy.size());
        if (!RefineRim(before, frame, radius, holes, next)) break;
        holes = next;
    }
    return 1;
}
