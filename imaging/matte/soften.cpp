#include <cstdint>

#include "imaging/cpu/in_use.h"
#include "imaging/imaging.h"
#include "imaging/matte/matte_plane.h"
#include "imaging/matte/soften_rows.h"

namespace veltrane {
namespace {

template <class Sample>
constexpr float kFull = kFullScale<Sample>;

/// Calls change(y, sums, row) for every row of a plane, where sums are those of the windows around
/// it in the plane as it was, or in its inverse.
template <bool inverse, class Sum, class Sample, class Change>
void ChangeByWindowSums(int width, int height, Sample* plane, int radius, Change change) {
    const ClippedWindow down{height, radius};
    const std::int64_t keptRows = std::min<std::int64_t>(radius + std::int64_t{1}, height);
    const std::size_t pitch = static_cast<std::size_t>(width);
    const std::vector<Sample> none(pitch, inverse ? kFullScale<Sample> : 0);
    std::vector<Sample> kept(keptRows * pitch);
    const auto rowOf = [&](std::int64_t y) { return plane + y * pitch; };
    const auto keptRowOf = [&](std::int64_t y) { return kept.data() + y % keptRows * pitch; };
    BoxSums<Sample, Sum> sums({width, radius}, SlideInUse<Sample, Sum>());
    for (std::int64_t y = 0; y < height; ++y) {
        down.Advance(y, [&](std::int64_t entering, std::int64_t leaving) {
            const Sample* in = entering < 0 ? none.data() : rowOf(entering);
            const Sample* out = leaving < 0 ? none.data() : keptRowOf(leaving);
            // The inverse of a row enters where the row itself leaves.
            if (inverse) std::swap(in, out);
            sums.Move(in, out);
        });
        std::copy_n(rowOf(y), width, keptRowOf(y));
        change(y, sums.Row(), rowOf(y));
    }
}

/// Horizontal weight first: the mean is the product of two reciprocals, not one of the product.
template <class Sample, class Sum>
Sample Mean(Sum sum, float across, float down, float gain) {
    const float mean = static_cast<float>(sum) * across * down;
    return static_cast<Sample>(Clamp(TruncateToInt(mean * gain), 0, kFullScale<Sample>));
}

template <class Sample, class Sum>
void BlurPlane(int width, int height, Sample* plane, int radius, float gain) {
    if (width < 1 || height < 1 || radius < 0) return;
    const std::vector<float> across = ClippedWindow{width, radius}.Weights();
    const std::vector<float> down = ClippedWindow{height, radius}.Weights();
    const auto change = [&](std::int64_t y, const WindowSums<Sum>& sums, Sample* row) {
        for (int x = 0; x < width; ++x) row[x] = Mean<Sample>(sums[x], across[x], down[y], gain);
    };
    ChangeByWindowSums<false, Sum>(width, height, plane, radius, change);
}

/// Steepens the blurred inverse: full from half strength on, quadratic below.
template <class Sample>
Sample Shaped(Sample inverse) {
    const float v = inverse;
    if (v < 1 || v >= kFull<Sample>) return inverse;
    const float shaped = v * v / kFull<Sample> * 4.0f;
    return static_cast<Sample>(TruncateToInt(Clamp(shaped, 0.0f, kFull<Sample>)));
}

template <class Sample>
Sample Softened(Sample matte, Sample inverse, float strength, float offset) {
    constexpr float kWhole = kFull<Sample>;
    const float a = matte;
    const float kept = static_cast<float>(inverse) * strength / -kWhole + 1.0f;
    float reduction = a - kept * (a / kWhole) * kWhole - offset;
    if (reduction < 0) reduction = 0;
    return static_cast<Sample>(TruncateToInt(Clamp(a - reduction + 0.499f, 0.0f, kWhole)));
}

template <class Sample, class Sum>
void SoftenRow(const WindowSums<Sum>& sums, const Softening& s, Sample* matte, int width) {
    for (int x = 0; x < width; ++x) {
        const Sample inverse = Mean<Sample>(sums[x], s.across[x], s.down, 1.0f);
        matte[x] = Softened(matte[x], Shaped(inverse), s.strength, s.offset);
    }
}

template <class Sample>
constexpr SoftenRows<Sample> kPlainRows{SoftenRow<Sample, std::uint32_t>};

/// The wide sums have the plain form only.
template <class Sample, class Sum>
auto SoftenRowInUse() {
    if constexpr (std::is_same_v<Sum, std::uint32_t>) {
        return InUse<SimdSoftenRows<Sample>>(kPlainRows<Sample>).soften;
    } else {
        return SoftenRow<Sample, Sum>;
    }
}

template <class Sum, class Sample>
void Soften(int width, int height, Sample* matte, int radius, int amount, int offset) {
    const auto softenRow = SoftenRowInUse<Sample, Sum>();
    const std::vector<float> across = ClippedWindow{width, radius}.Weights();
    const std::vector<float> down = ClippedWindow{height, radius}.Weights();
    Softening softening{across.data(), 0, static_cast<float>(amount) / 100.0f,
                        static_cast<float>(offset)};
    const auto change = [&](std::int64_t y, const WindowSums<Sum>& sums, Sample* row) {
        softening.down = down[y];
        softenRow(sums, softening, row, width);
    };
    ChangeByWindowSums<true, Sum>(width, height, matte, radius, change);
}

template <class Sample>
int SoftenFrame(int width, int height, Sample* frame, int radius, int amount, int offset) {
    if (radius < 0) return 0;
    ChangeMatte(width, height, frame,
                [&](Sample* matte) { SoftenMatte(width, height, matte, radius, amount, offset); });
    return 1;
}

}  // namespace

template <class Sample>
void SoftenMatte(int width, int height, Sample* matte, int radius, int amount, int offset) {
    if (radius < 0 || width < 1 || height < 1) return;
    if (sizeof(Sample) == 1 || SumsAreNarrow<Sample>({width, radius}, {height, radius})) {
        Soften<std::uint32_t>(width, height, matte, radius, amount, offset);
    } else {
        Soften<std::uint64_t>(width, height, matte, radius, amount, offset);
    }
}

template void SoftenMatte(int, int, unsigned short*, int, int, int);
template void SoftenMatte(int, int, unsigned char*, int, int, int);

}  // namespace veltrane

void CImagingORV::AverageBlurA64(int width, int height, unsigned short* plane, float radius,
                                 float gain) const {
    veltrane::BlurPlane<unsigned short, std::uint64_t>(width, height, plane,
                                                       veltrane::TruncateToInt(radius), gain);
}

void CImagingORV::AverageBlurA(int width, int height, unsigned char* plane, float radius,
                               float gain) const {
    veltrane::BlurPlane<unsigned char, std::uint32_t>(width, height, plane,
                                                      veltrane::TruncateToInt(radius), gain);
}

int CImagingORV::MaskBlur64(int width, int height, unsigned short* frame, int radius, int amount,
                            int offset) const {
    return veltrane::SoftenFrame(width, height, frame, radius, amount, offset);
}

int CImagingORV::MaskBlur(int width, int height, unsigned char* frame, int radius, int amount,
                          int offset) const {
    return veltrane::SoftenFrame(width, height, frame, radius, amount, offset);
}
