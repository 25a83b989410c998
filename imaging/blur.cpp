#include <cstdint>
#include <cstring>
#include <type_traits>

#include "imaging/box_filter.h"
#include "imaging/imaging.h"
#include "imaging/matte_plane.h"

namespace {

using namespace veltrane;

std::vector<float> Reciprocals(const ClippedWindow& axis) {
    std::vector<float> weights(static_cast<std::size_t>(axis.size));
    for (std::int64_t i = 0; i < axis.size; ++i) {
        weights[i] = 1.0f / static_cast<float>(axis.Count(i));
    }
    return weights;
}

template <class Sample>
void BlurPlane(int width, int height, Sample* plane, int radius, float gain) {
    using Sum = std::conditional_t<sizeof(Sample) == 2, std::uint64_t, std::uint32_t>;
    if (width < 1 || height < 1 || radius < 0) return;
    const std::vector<float> across = Reciprocals({width, radius});
    const std::vector<float> down = Reciprocals({height, radius});
    const std::size_t size = static_cast<std::size_t>(width) * height;
    const auto blurred = MakeBuffer<Sample>(size);
    BoxSums<Sample, ElementRange<1, 0, 1>, Sum, Sum> box(plane, width, height, width, radius);
    for (int y = 0; y < height; ++y) {
        Sample* row = blurred.get() + static_cast<std::size_t>(y) * width;
        box.EnterRow(y);
        box.ForEachWindow([&](int x, const auto& sums) {
            const float mean = static_cast<float>(sums[0]) * across[x] * down[y];
            row[x] = static_cast<Sample>(Clamp(TruncateToInt(mean * gain), 0, kFullScale<Sample>));
        });
    }
    std::memcpy(plane, blurred.get(), size * sizeof(Sample));
}

/// Steepens the blurred inverse: full from half strength on, quadratic below.
template <class Sample>
void ShapeInverse(Sample* inverse, std::size_t size) {
    constexpr float kFull = kFullScale<Sample>;
    for (std::size_t i = 0; i < size; ++i) {
        const float v = inverse[i];
        if (v >= 1 && v < kFull) {
            inverse[i] =
                static_cast<Sample>(TruncateToInt(Clamp(v * v / kFull * 4.0f, 0.0f, kFull)));
        }
    }
}

template <class Sample>
Sample SoftenedMatte(Sample matte, Sample inverse, float strength, float offset) {
    constexpr float kFull = kFullScale<Sample>;
    const float a = matte;
    const float kept = static_cast<float>(inverse) * strength / -kFull + 1.0f;
    float reduction = a - kept * (a / kFull) * kFull - offset;
    if (reduction < 0) reduction = 0;
    return static_cast<Sample>(TruncateToInt(Clamp(a - reduction + 0.499f, 0.0f, kFull)));
}

template <class Sample>
int SoftenFrame(int width, int height, Sample* frame, int radius, int amount, int offset) {
    if (radius < 0) return 0;
    ChangeMatte(width, height, frame,
                [&](Sample* matte) { SoftenMatte(width, height, matte, radius, amount, offset); });
    return 1;
}

}  // namespace

namespace veltrane {

template <class Sample>
void SoftenMatte(int width, int height, Sample* matte, int radius, int amount, int offset) {
    if (radius < 0 || width < 1 || height < 1) return;
    const std::size_t size = static_cast<std::size_t>(width) * height;
    const auto inverse = MakeBuffer<Sample>(size);
    for (std::size_t i = 0; i < size; ++i) {
        inverse[i] = static_cast<Sample>(kFullScale<Sample> - matte[i]);
    }
    BlurPlane(width, height, inverse.get(), radius, 1.0f);
    ShapeInverse(inverse.get(), size);
    const float strength = static_cast<float>(amount) / 100.0f;
    for (std::size_t i = 0; i < size; ++i) {
        matte[i] = SoftenedMatte(matte[i], inverse[i], strength, static_cast<float>(offset));
    }
}

template void SoftenMatte(int, int, unsigned short*, int, int, int);
template void SoftenMatte(int, int, unsigned char*, int, int, int);

}  // namespace veltrane

void CImagingORV::AverageBlurA64(int width, int height, unsigned short* plane, float radius,
                                 float gain) const {
    BlurPlane(width, height, plane, TruncateToInt(radius), gain);
}

void CImagingORV::AverageBlurA(int width, int height, unsigned char* plane, float radius,
                               float gain) const {
    BlurPlane(width, height, plane, TruncateToInt(radius), gain);
}

int CImagingORV::MaskBlur64(int width, int height, unsigned short* frame, int radius, int amount,
                            int offset) const {
    return SoftenFrame(width, height, frame, radius, amount, offset);
}

int CImagingORV::MaskBlur(int width, int height, unsigned char* frame, int radius, int amount,
                          int offset) const {
    return SoftenFrame(width, height, frame, radius, amount, offset);
}
