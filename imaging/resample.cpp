#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "imaging/imaging.h"
#include "imaging/sample.h"

[[noreturn]] void AfxThrowMemoryException() {
    throw std::bad_alloc();
}

namespace {

using namespace veltrane;

constexpr double kPi = 3.141592653589793;
constexpr double kNarrowPi = 2.670353755551324;  ///< 0.85 pi
constexpr int kColors = 3;                       ///< the elements that are resampled

double Kernel(double t, int lobes, int kernelType) {
    if (std::fabs(t) < 2.220446049250313e-16) return 1;
    if (std::fabs(t) >= lobes) return 0;
    const double x = (kernelType == 1 ? kNarrowPi : kPi) * t;
    const double window = kPi * t / lobes;
    return std::sin(x) / x * std::sin(window) / window;
}

/// The source samples that make one target sample.
struct Taps {
    int first = 0;  ///< 0-based
    int count = 0;
    std::size_t weights = 0;  ///< index of the first weight
};

/// Weights of one axis, in 16 fractional bits.
struct Axis {
    std::vector<Taps> taps;
    std::vector<std::int32_t> weights;
    int longest = 0;

    Axis(int sourceSize, int targetSize, int kernelType, int lobes);

private:
    void AppendNormalised(const std::vector<float>& kernel);
};

Axis::Axis(int sourceSize, int targetSize, int kernelType, int lobes) {
    const double source = sourceSize;
    const double target = targetSize;
    const bool enlarging = sourceSize < targetSize;
    // Distances are measured in source pixels when enlarging and in target pixels when shrinking.
    const double step = enlarging ? 1.0 : target / source;
    const double perTarget = enlarging ? -source / target : -1.0;
    const double offset = enlarging ? source / (2 * target) - 0.5 : 0.5 - target / (2 * source);
    const float radius = enlarging ? static_cast<float>(lobes)
                                   : static_cast<float>(lobes) * (static_cast<float>(sourceSize) /
                                                                  static_cast<float>(targetSize));
    const double half = source / (2 * target);
    std::vector<float> kernel;
    for (int x = 1; x <= targetSize; ++x) {
        const double centre = (2.0 * x - 1) * half;
        const int first = std::max(TruncateToInt(centre - radius + 0.5 + 1.0), 1);
        const int last = std::min(TruncateToInt(centre + radius + 0.5), sourceSize);
        kernel.clear();
        for (int i = first; i <= last; ++i) {
            const double t = i * step + x * perTarget + offset;
            kernel.push_back(static_cast<float>(Kernel(t, lobes, kernelType)));
        }
        const int count = static_cast<int>(kernel.size());
        taps.push_back({count == 0 ? 0 : first - 1, count, weights.size()});
        longest = std::max(longest, count);
        AppendNormalised(kernel);
    }
}

/// Only samples that exist have weights, so dividing by their sum keeps the borders at full level.
void Axis::AppendNormalised(const std::vector<float>& kernel) {
    float sum = 0;
    for (const float weight : kernel) sum += weight;
    for (const float weight : kernel) weights.push_back(TruncateToInt(weight / sum * 65536.0f));
}

unsigned char ToByte(unsigned char sample) {
    return sample;
}
unsigned char ToByte(unsigned short sample) {
    return static_cast<unsigned char>(RoundHalfUp(sample / 257.0f));
}

template <class Target>
Target FromByte(int value) {
    return static_cast<Target>(sizeof(Target) == 2 ? value * 257 : value);
}

/// Reduces the colours of a row to packed bytes.
template <class Source>
void PackRow(const Source* row, int width, unsigned char* packed) {
    for (int x = 0; x < width; ++x) {
        for (int e = 0; e < kColors; ++e) *packed++ = ToByte(row[x * kElements + e]);
    }
}

/// Filters a packed row along it. The result is rounded down and may leave 0..255.
void FilterRow(const unsigned char* packed, const Axis& axis, std::int32_t* filtered) {
    for (const Taps& taps : axis.taps) {
        const std::int32_t* weight = axis.weights.data() + taps.weights;
        const unsigned char* pixel = packed + static_cast<std::size_t>(taps.first) * kColors;
        std::int32_t sum[kColors] = {};
        for (int k = 0; k < taps.count; ++k, pixel += kColors) {
            for (int e = 0; e < kColors; ++e) sum[e] += pixel[e] * weight[k];
        }
        for (const std::int32_t value : sum) *filtered++ = value >> 16;
    }
}

/// The last rows that FilterRow made, as many as one target row can need.
class RowRing {
public:
    RowRing(int rows, int width)
        : rows_(std::max(rows, 1)),
          pitch_(static_cast<std::size_t>(width) * kColors),
          values_(rows_ * pitch_) {}

    std::int32_t* Row(int y) { return values_.data() + y % rows_ * pitch_; }

private:
    std::size_t rows_;
    std::size_t pitch_;
    std::vector<std::int32_t> values_;
};

/// Filters across the rows; rounded to nearest and clamped.
template <class Target>
void BlendRows(RowRing& ring, const Taps& taps, const std::int32_t* weights, int width,
               std::vector<std::int32_t>& sums, Target* row) {
    std::fill(sums.begin(), sums.end(), 0);
    for (int k = 0; k < taps.count; ++k) {
        const std::int32_t* filtered = ring.Row(taps.first + k);
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += filtered[i] * weights[k];
    }
    for (int x = 0; x < width; ++x) {
        for (int e = 0; e < kColors; ++e) {
            const int value = (sums[static_cast<std::size_t>(x) * kColors + e] + 32768) >> 16;
            row[x * kElements + e] = FromByte<Target>(Clamp(value, 0, 255));
        }
    }
}

/// Reads the source once, row by row, and keeps only the rows that the next target row needs.
template <class Source, class Target>
void ResampleRows(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
                  Target* target, int targetWidth, int targetHeight, int targetPitch,
                  int kernelType, int lobes) {
    const Axis across(sourceWidth, targetWidth, kernelType, lobes);
    const Axis down(sourceHeight, targetHeight, kernelType, lobes);
    RowRing ring(down.longest, targetWidth);
    std::vector<unsigned char> packed(static_cast<std::size_t>(sourceWidth) * kColors);
    std::vector<std::int32_t> sums(static_cast<std::size_t>(targetWidth) * kColors);
    int filteredRows = 0;
    for (int y = 0; y < targetHeight; ++y) {
        const Taps& taps = down.taps[y];
        for (; filteredRows < taps.first + taps.count; ++filteredRows) {
            PackRow(source + static_cast<std::ptrdiff_t>(filteredRows) * sourcePitch, sourceWidth,
                    packed.data());
            FilterRow(packed.data(), across, ring.Row(filteredRows));
        }
        BlendRows(ring, taps, down.weights.data() + taps.weights, targetWidth, sums,
                  target + static_cast<std::ptrdiff_t>(y) * targetPitch);
    }
}

template <class Source, class Target>
void Resample(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
              Target* target, int targetWidth, int targetHeight, int targetPitch, int kernelType,
              int lobes) {
    if (sourceWidth < 1 || sourceHeight < 1 || targetWidth < 1 || targetHeight < 1) return;
    try {
        ResampleRows(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth,
                     targetHeight, targetPitch, kernelType, lobes);
    } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
    }
}

}  // namespace

void CImagingORV::DF_WH64bitTo32bit5_1(unsigned short* source, int sourceWidth, int sourceHeight,
                                       int sourcePitch, unsigned char* target, int targetWidth,
                                       int targetHeight, int targetPitch, int kernelType,
                                       int lobes) const {
    Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth, targetHeight,
             targetPitch, kernelType, lobes);
}

void CImagingORV::DF_WH32bitTo64bit5_1(unsigned char* source, int sourceWidth, int sourceHeight,
                                       int sourcePitch, unsigned short* target, int targetWidth,
                                       int targetHeight, int targetPitch, int kernelType,
                                       int lobes) const {
    Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth, targetHeight,
             targetPitch, kernelType, lobes);
}

void CImagingORV::DF_WH32bit5_1(unsigned char* source, int sourceWidth, int sourceHeight,
                                int sourcePitch, unsigned char* target, int targetWidth,
                                int targetHeight, int targetPitch, int kernelType,
                                int lobes) const {
    Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth, targetHeight,
             targetPitch, kernelType, lobes);
}
