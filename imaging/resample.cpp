#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "imaging/imaging.h"
#include "imaging/resample.h"
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

/// Reads the source once, row by row, and keeps only the rows that the next target row needs.
template <class Source>
class RowResampler {
public:
    RowResampler(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
                 int targetWidth, int targetHeight, int kernelType, int lobes)
        : source_(source),
          sourceWidth_(sourceWidth),
          sourcePitch_(sourcePitch),
          across_(sourceWidth, targetWidth, kernelType, lobes),
          down_(sourceHeight, targetHeight, kernelType, lobes),
          ring_(down_.longest, targetWidth),
          packed_(static_cast<std::size_t>(sourceWidth) * kColors),
          sums_(static_cast<std::size_t>(targetWidth) * kColors),
          row_(sums_.size()) {}

    /// The next target row from the top, three bytes a pixel.
    const unsigned char* Next() {
        const Taps& taps = down_.taps[targetRow_++];
        for (; filteredRows_ < taps.first + taps.count; ++filteredRows_) {
            PackRow(source_ + static_cast<std::ptrdiff_t>(filteredRows_) * sourcePitch_,
                    sourceWidth_, packed_.data());
            FilterRow(packed_.data(), across_, ring_.Row(filteredRows_));
        }
        BlendRows(taps);
        return row_.data();
    }

private:
    /// Filters across the rows; rounded to nearest and clamped.
    void BlendRows(const Taps& taps) {
        std::fill(sums_.begin(), sums_.end(), 32768);
        for (int k = 0; k < taps.count; ++k) {
            const std::int32_t* filtered = ring_.Row(taps.first + k);
            const std::int32_t weight = down_.weights[taps.weights + k];
            for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i] += filtered[i] * weight;
        }
        for (std::size_t i = 0; i < sums_.size(); ++i) {
            row_[i] = static_cast<unsigned char>(Clamp(sums_[i] >> 16, 0, 255));
        }
    }

    const Source* source_;
    int sourceWidth_;
    int sourcePitch_;
    Axis across_;
    Axis down_;
    RowRing ring_;
    std::vector<unsigned char> packed_;
    std::vector<std::int32_t> sums_;
    std::vector<unsigned char> row_;
    int targetRow_ = 0;
    int filteredRows_ = 0;
};

template <class Target>
void StoreRow(const unsigned char* row, Target* target, int width) {
    for (int x = 0; x < width; ++x, row += kColors, target += kElements) {
        for (int e = 0; e < kColors; ++e) target[e] = FromByte<Target>(row[e]);
    }
}

template <class Source, class Target>
void ResampleRows(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
                  Target* target, int targetWidth, int targetHeight, int targetPitch,
                  int kernelType, int lobes) {
    RowResampler<Source> rows(source, sourceWidth, sourceHeight, sourcePitch, targetWidth,
                              targetHeight, kernelType, lobes);
    for (int y = 0; y < targetHeight; ++y) {
        StoreRow(rows.Next(), target + static_cast<std::ptrdiff_t>(y) * targetPitch, targetWidth);
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

namespace veltrane {

class RowEnlarger::State {
public:
    State(const unsigned char* source, int sourceWidth, int sourceHeight, int sourcePitch,
          int targetWidth, int targetHeight, int kernelType, int lobes)
        : rows_(source, sourceWidth, sourceHeight, sourcePitch, targetWidth, targetHeight,
                kernelType, lobes),
          width_(targetWidth),
          planes_(static_cast<std::size_t>(targetWidth) * kColors) {}

    PlanarRow Next() {
        unsigned char* const planes[kColors] = {planes_.data(), planes_.data() + width_,
                                                planes_.data() + 2 * width_};
        const unsigned char* row = rows_.Next();
        for (std::size_t x = 0; x < width_; ++x) {
            for (int e = 0; e < kColors; ++e) planes[e][x] = *row++;
        }
        return {planes[0], planes[1], planes[2]};
    }

private:
    RowResampler<unsigned char> rows_;
    std::size_t width_;
    std::vector<unsigned char> planes_;
};

RowEnlarger::RowEnlarger(const unsigned char* source, int sourceWidth, int sourceHeight,
                         int sourcePitch, int targetWidth, int targetHeight, int kernelType,
                         int lobes)
    : state_(std::make_unique<State>(source, sourceWidth, sourceHeight, sourcePitch, targetWidth,
                                     targetHeight, kernelType, lobes)) {}

RowEnlarger::RowEnlarger(RowEnlarger&&) noexcept = default;

RowEnlarger::~RowEnlarger() = default;

PlanarRow RowEnlarger::Next() {
    return state_->Next();
}

}  // namespace veltrane

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
