#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "imaging/aligned_buffer.h"
#include "imaging/imaging.h"
#include "imaging/plane_enlarger.h"
#include "imaging/resample.h"
#include "imaging/resample_rows.h"
#include "imaging/sample.h"

[[noreturn]] void AfxThrowMemoryException() {
    throw std::bad_alloc();
}

namespace veltrane {
namespace {

constexpr int kColors = 3;  ///< the elements that are resampled
/// Filtered samples up to this fit 16 bits, and the sums across the rows 32.
constexpr std::int64_t kShortReach = 2048;

std::size_t RoundUp(std::size_t size, std::size_t unit) {
    return (size + unit - 1) / unit * unit;
}

void ReduceSamples(const std::uint16_t* samples, std::uint8_t* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(RoundHalfUp(samples[i] / 257.0f));
    }
}

template <class Filtered>
void FilterRow(const FilterRows& rows, const ResampleAxis& axis, const PairedAxis&, std::int16_t*,
               Filtered* filtered, std::size_t) {
    for (const Taps& taps : axis.taps) {
        const std::int32_t* weights = axis.Weights(taps);
        const std::uint8_t* pixel =
            rows.pixels + static_cast<std::ptrdiff_t>(taps.first) * kElements;
        std::int32_t sums[kElements] = {};
        for (int k = 0; k < taps.count; ++k, pixel += kElements) {
            for (int e = 0; e < kElements; ++e) sums[e] += pixel[e] * weights[k];
        }
        for (const std::int32_t sum : sums) *filtered++ = static_cast<Filtered>(sum >> 16);
    }
}

template <class Filtered>
void BlendRows(const Filtered* const* rows, const std::int32_t* weights, int count,
               std::uint8_t* row, std::size_t size) {
    for (std::size_t start = 0; start < size; start += kRowBlock) {
        std::int32_t sums[kRowBlock];
        std::fill_n(sums, kRowBlock, 32768);
        for (int k = 0; k < count; ++k) {
            const Filtered* filtered = rows[k] + start;
            for (int i = 0; i < kRowBlock; ++i) sums[i] += filtered[i] * weights[k];
        }
        for (int i = 0; i < kRowBlock; ++i) {
            row[start + i] = static_cast<std::uint8_t>(Clamp(sums[i] >> 16, 0, 255));
        }
    }
}

template <class Filtered>
constexpr ResampleRows<Filtered> kPlainRows{1, ReduceSamples, FilterRow<Filtered>,
                                            BlendRows<Filtered>};

template <class Filtered>
const ResampleRows<Filtered>& RowsToUse() {
#ifdef VELTRANE_SIMD
    if constexpr (sizeof(Filtered) == 2) {
        if (const auto* rows = SimdResampleRows()) return *rows;
    }
#endif
    return kPlainRows<Filtered>;
}

/// A frame as a resampler reads it, from the top; pitch in elements.
template <class Sample>
struct SourceFrame {
    const Sample* pixels;
    int width;
    int height;
    std::ptrdiff_t pitch;
    const FrameRows<Sample>* made = nullptr;  ///< instead of pixels, where rows are made

    const Sample* Row(int y) const { return made != nullptr ? (*made)(y) : pixels + y * pitch; }
    RowMemory Memory() const {
        if (made != nullptr) return made->Memory();
        return {pixels, pitch * std::ptrdiff_t{sizeof(Sample)}, sizeof(Sample) * kElements * width,
                height};
    }
};

/// Reads the source once, row by row, and keeps only the rows that the next target row needs.
template <class Source, class Filtered>
class RowResampler {
public:
    RowResampler(const SourceFrame<Source>& source, const ResampleAxis& across,
                 const ResampleAxis& down)
        : source_(source),
          across_(across),
          down_(down),
          pairs_(across),
          rows_(RowsToUse<Filtered>()),
          rowSize_(static_cast<std::size_t>(source.width) * kElements),
          bytesPitch_(RoundUp(rowSize_ + kRowPadding, kRowBlock)),
          bytes_(bytesPitch_ * rows_.rowsAtOnce),
          scratch_(pairs_.TileSize(rows_.rowsAtOnce)),
          ringRows_(static_cast<int>(RoundUp(down.longest + rows_.rowsAtOnce, rows_.rowsAtOnce))),
          pitch_(RoundUp(across.taps.size() * kElements, kRowBlock)),
          ring_(ringRows_ * pitch_),
          needed_(static_cast<std::size_t>(down.longest)),
          row_(pitch_) {}

    /// The next target row from the top, four bytes a pixel, the last without meaning.
    const std::uint8_t* Next() {
        const Taps& taps = down_.taps[targetRow_++];
        while (filteredRows_ < taps.first + taps.count) FilterMore();
        for (int k = 0; k < taps.count; ++k) needed_[k] = RingRow(taps.first + k);
        rows_.blend(needed_.data(), down_.Weights(taps), taps.count, row_.data(), pitch_);
        return row_.data();
    }

private:
    Filtered* RingRow(int y) { return ring_.data() + y % ringRows_ * pitch_; }

    /// Rows below the last one are made of what is left from before; nothing reads them.
    void FilterMore() {
        const int end = std::min(filteredRows_ + rows_.rowsAtOnce, source_.height);
        for (int y = filteredRows_; y < end; ++y) {
            ReadRow(y, bytes_.data() + bytesPitch_ * (y - filteredRows_));
        }
        const Stretch next = source_.Memory().Rows(end, end + rows_.rowsAtOnce);
        rows_.filter({bytes_.data(), bytesPitch_, source_.width, next}, across_, pairs_,
                     scratch_.data(), RingRow(filteredRows_), pitch_);
        filteredRows_ += rows_.rowsAtOnce;
    }

    void ReadRow(int y, std::uint8_t* bytes) {
        if constexpr (sizeof(Source) == 2) {
            rows_.reduce(source_.Row(y), bytes, rowSize_);
        } else {
            std::memcpy(bytes, source_.Row(y), rowSize_);
        }
    }

    SourceFrame<Source> source_;
    const ResampleAxis& across_;
    const ResampleAxis& down_;
    PairedAxis pairs_;
    const ResampleRows<Filtered>& rows_;
    std::size_t rowSize_;
    std::size_t bytesPitch_;
    AlignedBuffer<std::uint8_t> bytes_;  ///< the rows that are filtered next
    AlignedBuffer<std::int16_t> scratch_;
    int ringRows_;
    std::size_t pitch_;
    AlignedBuffer<Filtered> ring_;
    std::vector<const Filtered*> needed_;
    AlignedBuffer<std::uint8_t> row_;
    int targetRow_ = 0;
    int filteredRows_ = 0;
};

void StoreRow(const std::uint8_t* row, std::uint16_t* target, int width) {
    for (int x = 0; x < width; ++x, row += kElements, target += kElements) {
        for (int e = 0; e < kColors; ++e) target[e] = static_cast<std::uint16_t>(row[e] * 257);
    }
}

/// A pixel at a time.
void StoreRow(const std::uint8_t* row, std::uint8_t* target, int width) {
    constexpr std::uint8_t kColorBytes[kElements] = {255, 255, 255, 0};
    std::uint32_t colors;
    std::memcpy(&colors, kColorBytes, kElements);
    for (int x = 0; x < width; ++x, row += kElements, target += kElements) {
        std::uint32_t from;
        std::uint32_t to;
        std::memcpy(&from, row, kElements);
        std::memcpy(&to, target, kElements);
        to = (from & colors) | (to & ~colors);
        std::memcpy(target, &to, kElements);
    }
}

template <class Filtered, class Source, class Target>
void ResampleAs(const SourceFrame<Source>& source, const ResampleAxis& across,
                const ResampleAxis& down, Target* target, int targetPitch) {
    RowResampler<Source, Filtered> rows(source, across, down);
    for (std::size_t y = 0; y < down.taps.size(); ++y) {
        StoreRow(rows.Next(), target + static_cast<std::ptrdiff_t>(y) * targetPitch,
                 static_cast<int>(across.taps.size()));
    }
}

template <class Target>
void EnlargePlanes(const SourceFrame<std::uint8_t>& source, const ResampleAxis& across,
                   const ResampleAxis& down, Target* target, int targetPitch) {
    PlaneEnlarger rows(source.pixels, source.width, source.pitch, across, down);
    const EnlargeRows& steps = EnlargeRowsInUse();
    const int width = static_cast<int>(across.taps.size());
    for (std::size_t y = 0; y < down.taps.size(); ++y) {
        Target* row = target + static_cast<std::ptrdiff_t>(y) * targetPitch;
        if constexpr (sizeof(Target) == 1) {
            steps.store8(rows.Next(), row, width);
        } else {
            steps.store16(rows.Next(), row, width);
        }
    }
}

/// Chooses the narrowest form that holds what the filter can give.
template <class Source, class Target>
void ResampleRowsOf(const SourceFrame<Source>& source, const ResampleAxis& across,
                    const ResampleAxis& down, Target* target, int targetPitch) {
    if constexpr (sizeof(Source) == 1) {
        if (source.made == nullptr && PlaneEnlarger::Fits(across, down)) {
            return EnlargePlanes(source, across, down, target, targetPitch);
        }
    }
    if (across.Reach() <= kShortReach && down.Reach() <= kShortReach) {
        return ResampleAs<std::int16_t>(source, across, down, target, targetPitch);
    }
    ResampleAs<std::int32_t>(source, across, down, target, targetPitch);
}

template <class Source, class Target>
void Resample(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
              Target* target, int targetWidth, int targetHeight, int targetPitch, int kernelType,
              int lobes) {
    if (sourceWidth < 1 || sourceHeight < 1 || targetWidth < 1 || targetHeight < 1) return;
    try {
        const ResampleAxis across(sourceWidth, targetWidth, kernelType, lobes);
        const ResampleAxis down(sourceHeight, targetHeight, kernelType, lobes);
        ResampleRowsOf<Source>({source, sourceWidth, sourceHeight, sourcePitch}, across, down,
                               target, targetPitch);
    } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
    }
}

}  // namespace

template <class Sample>
void ShrinkRows(const FrameRows<Sample>& rows, int width, int height, unsigned char* target,
                int targetWidth, int targetHeight, int targetPitch, int lobes) {
    if (width < 1 || height < 1 || targetWidth < 1 || targetHeight < 1) return;
    const ResampleAxis across(width, targetWidth, 0, lobes);
    const ResampleAxis down(height, targetHeight, 0, lobes);
    const SourceFrame<Sample> frame{rows.Packed(), width, height, width * kElements,
                                    rows.Packed() == nullptr ? &rows : nullptr};
    ResampleRowsOf<Sample>(frame, across, down, target, targetPitch);
}

template void ShrinkRows(const FrameRows<unsigned short>&, int, int, unsigned char*, int, int, int,
                         int);
template void ShrinkRows(const FrameRows<unsigned char>&, int, int, unsigned char*, int, int, int,
                         int);

class RowEnlarger::State {
public:
    State(const SourceFrame<std::uint8_t>& source, int targetWidth, int targetHeight,
          int kernelType, int lobes)
        : across_(source.width, targetWidth, kernelType, lobes),
          down_(source.height, targetHeight, kernelType, lobes) {
        if (PlaneEnlarger::Fits(across_, down_)) {
            planes_.emplace(source.pixels, source.width, source.pitch, across_, down_);
        } else {
            rows_.emplace(source, across_, down_);
            split_.resize(across_.taps.size() * kColors);
        }
    }

    PlanarRow Next() { return planes_ ? planes_->Next() : Split(rows_->Next()); }

private:
    PlanarRow Split(const std::uint8_t* row) {
        const std::size_t width = across_.taps.size();
        std::uint8_t* const planes[kColors] = {split_.data(), split_.data() + width,
                                               split_.data() + 2 * width};
        for (std::size_t x = 0; x < width; ++x, row += kElements) {
            for (int e = 0; e < kColors; ++e) planes[e][x] = row[e];
        }
        return {planes[0], planes[1], planes[2]};
    }

    ResampleAxis across_;
    ResampleAxis down_;
    std::optional<PlaneEnlarger> planes_;
    std::optional<RowResampler<std::uint8_t, std::int32_t>> rows_;  ///< where planes will not do
    std::vector<std::uint8_t> split_;
};

RowEnlarger::RowEnlarger(const unsigned char* source, int sourceWidth, int sourceHeight,
                         int sourcePitch, int targetWidth, int targetHeight, int kernelType,
                         int lobes)
    : state_(std::make_unique<State>(
          SourceFrame<std::uint8_t>{source, sourceWidth, sourceHeight, sourcePitch}, targetWidth,
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
    veltrane::Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth,
                       targetHeight, targetPitch, kernelType, lobes);
}

void CImagingORV::DF_WH32bitTo64bit5_1(unsigned char* source, int sourceWidth, int sourceHeight,
                                       int sourcePitch, unsigned short* target, int targetWidth,
                                       int targetHeight, int targetPitch, int kernelType,
                                       int lobes) const {
    veltrane::Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth,
                       targetHeight, targetPitch, kernelType, lobes);
}

void CImagingORV::DF_WH32bit5_1(unsigned char* source, int sourceWidth, int sourceHeight,
                                int sourcePitch, unsigned char* target, int targetWidth,
                                int targetHeight, int targetPitch, int kernelType,
                                int lobes) const {
    veltrane::Resample(source, sourceWidth, sourceHeight, sourcePitch, target, targetWidth,
                       targetHeight, targetPitch, kernelType, lobes);
}
