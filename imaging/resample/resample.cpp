#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "imaging/aligned_buffer.h"
#include "imaging/cpu/in_use.h"
#include "imaging/imaging.h"
#include "imaging/resample/plane_enlarger.h"
#include "imaging/resample/resample.h"
#include "imaging/resample/resample_rows.h"
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
    if constexpr (sizeof(Filtered) == 2) return InUse<SimdResampleRows>(kPlainRows<Filtered>);
    return kPlainRows<Filtered>;
}

/// A frame with a pitch in elements.
template <class Sample>
struct PitchedFrame {
    const Sample* pixels;
    int width;
    int height;
    std::ptrdiff_t pitch;

    const Sample* operator()(int y) const { return pixels + y * pitch; }
    RowMemory Memory() const {
        return {pixels, pitch * static_cast<std::ptrdiff_t>(sizeof(Sample)),
                sizeof(Sample) * kElements * width};
    }
};

/// Makes target rows from some row on, down the frame. Reads every source row that they need once,
/// in order, by calls of source(y), and keeps only those that the next target row needs.
template <class Source, class Filtered>
class RowResampler {
public:
    RowResampler(Source source, int width, int height, const ResampleAxis& across,
                 const ResampleAxis& down, int firstRow)
        : source_(std::move(source)),
          width_(width),
          height_(height),
          across_(across),
          down_(down),
          pairs_(across),
          rows_(RowsToUse<Filtered>()),
          rowSize_(static_cast<std::size_t>(width) * kElements),
          bytesPitch_(RoundUp(rowSize_ + kRowPadding, kRowBlock)),
          bytes_(bytesPitch_ * rows_.rowsAtOnce),
          scratch_(pairs_.TileSize(rows_.rowsAtOnce)),
          ringRows_(static_cast<int>(RoundUp(down.longest + rows_.rowsAtOnce, rows_.rowsAtOnce))),
          pitch_(RoundUp(across.taps.size() * kElements, kRowBlock)),
          ring_(ringRows_ * pitch_),
          needed_(static_cast<std::size_t>(down.longest)),
          row_(pitch_),
          targetRow_(firstRow),
          filteredRows_(down.taps[firstRow].first / rows_.rowsAtOnce * rows_.rowsAtOnce) {}

    /// The next target row, four bytes a pixel, the last without meaning.
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
        const int end = std::min(filteredRows_ + rows_.rowsAtOnce, height_);
        for (int y = filteredRows_; y < end; ++y) {
            ReadRow(y, bytes_.data() + bytesPitch_ * (y - filteredRows_));
        }
        const RowStretch next(source_.Memory(), end, std::min(rows_.rowsAtOnce, height_ - end));
        rows_.filter({bytes_.data(), bytesPitch_, width_, next}, across_, pairs_, scratch_.data(),
                     RingRow(filteredRows_), pitch_);
        filteredRows_ += rows_.rowsAtOnce;
    }

    void ReadRow(int y, std::uint8_t* bytes) {
        const auto* row = source_(y);
        if constexpr (sizeof(*row) == 2) {
            rows_.reduce(row, bytes, rowSize_);
        } else {
            std::memcpy(bytes, row, rowSize_);
        }
    }

    Source source_;
    int width_;
    int height_;
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
    int targetRow_;
    int filteredRows_;
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

/// Whether filtered samples fit 16 bits, which is faster.
bool AreShort(const ResampleAxis& across, const ResampleAxis& down) {
    return across.Reach() <= kShortReach && down.Reach() <= kShortReach;
}

/// Resamples a band of the target's rows.
template <class Filtered, class Source, class Target>
void ResampleBand(const Source& source, int width, int height, const ResampleAxis& across,
                  const ResampleAxis& down, Band band, Target* target, std::ptrdiff_t pitch) {
    RowResampler<Source, Filtered> rows(source, width, height, across, down, band.first);
    for (int y = band.first; y < band.end; ++y) {
        StoreRow(rows.Next(), target + y * pitch, static_cast<int>(across.taps.size()));
    }
}

template <class Target>
void EnlargePlanes(const PitchedFrame<std::uint8_t>& source, const ResampleAxis& across,
                   const ResampleAxis& down, Target* target, std::ptrdiff_t pitch) {
    const StretchAxis stretch(across);
    PlaneEnlarger rows(source.pixels, source.width, source.pitch, across, stretch, down, 0);
    const EnlargeRows& steps = EnlargeRowsInUse();
    const int width = static_cast<int>(across.taps.size());
    for (std::size_t y = 0; y < down.taps.size(); ++y) {
        Target* row = target + static_cast<std::ptrdiff_t>(y) * pitch;
        if constexpr (sizeof(Target) == 1) {
            steps.store8(rows.Next(), row, width);
        } else {
            steps.store16(rows.Next(), row, width);
        }
    }
}

template <class Source, class Target>
void ResampleFrame(const PitchedFrame<Source>& source, const ResampleAxis& across,
                   const ResampleAxis& down, Target* target, std::ptrdiff_t pitch) {
    if constexpr (sizeof(Source) == 1) {
        if (PlaneEnlarger::Fits(across, down))
            return EnlargePlanes(source, across, down, target, pitch);
    }
    const Band all{0, static_cast<int>(down.taps.size())};
    const auto resample = AreShort(across, down)
                              ? ResampleBand<std::int16_t, PitchedFrame<Source>, Target>
                              : ResampleBand<std::int32_t, PitchedFrame<Source>, Target>;
    resample(source, source.width, source.height, across, down, all, target, pitch);
}

template <class Source, class Target>
void Resample(const Source* source, int sourceWidth, int sourceHeight, int sourcePitch,
              Target* target, int targetWidth, int targetHeight, int targetPitch, int kernelType,
              int lobes) {
    if (sourceWidth < 1 || sourceHeight < 1 || targetWidth < 1 || targetHeight < 1) return;
    try {
        const ResampleAxis across(sourceWidth, targetWidth, kernelType, lobes);
        const ResampleAxis down(sourceHeight, targetHeight, kernelType, lobes);
        ResampleFrame<Source>({source, sourceWidth, sourceHeight, sourcePitch}, across, down,
                              target, targetPitch);
    } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
    }
}

}  // namespace

template <class Sample>
void ShrinkRows(const RowSource<Sample>& rows, int width, int height, unsigned char* target,
                int targetWidth, int targetHeight, int lobes, const Threads& threads) {
    const ResampleAxis across(width, targetWidth, 0, lobes);
    const ResampleAxis down(height, targetHeight, 0, lobes);
    const std::ptrdiff_t pitch = std::ptrdiff_t{kElements} * targetWidth;
    const auto shrink = AreShort(across, down)
                            ? ResampleBand<std::int16_t, RowReader<Sample>, unsigned char>
                            : ResampleBand<std::int32_t, RowReader<Sample>, unsigned char>;
    // Two neighbouring bands both filter the source's rows at their border, which are many where a
    // frame shrinks much: a few high bands beat many low ones.
    const int leastHeight = 6 * lobes;
    ForEachBand(threads, targetHeight, leastHeight, [&](Band band) {
        shrink(RowReader<Sample>(rows, width), width, height, across, down, band, target, pitch);
    });
}

template void ShrinkRows(const RowSource<unsigned short>&, int, int, unsigned char*, int, int, int,
                         const Threads&);
template void ShrinkRows(const RowSource<unsigned char>&, int, int, unsigned char*, int, int, int,
                         const Threads&);

Enlargement::Enlargement(const unsigned char* pixels, int sourceWidth, int sourceHeight,
                         int sourcePitch, int targetWidth, int targetHeight, int kernelType,
                         int lobes)
    : source(pixels),
      width(sourceWidth),
      height(sourceHeight),
      pitch(sourcePitch),
      across(sourceWidth, targetWidth, kernelType, lobes),
      down(sourceHeight, targetHeight, kernelType, lobes) {
    if (PlaneEnlarger::Fits(across, down)) stretch.emplace(across);
}

class RowEnlarger::State {
public:
    State(const Enlargement& e, int firstRow) {
        if (e.stretch) {
            planes_.emplace(e.source, e.width, e.pitch, e.across, *e.stretch, e.down, firstRow);
        } else {
            const PitchedFrame<std::uint8_t> source{e.source, e.width, e.height, e.pitch};
            rows_.emplace(source, e.width, e.height, e.across, e.down, firstRow);
            split_.resize(e.across.taps.size() * kColors);
        }
    }

    PlanarRow Next() { return planes_ ? planes_->Next() : Split(rows_->Next()); }

private:
    PlanarRow Split(const std::uint8_t* row) {
        const std::size_t width = split_.size() / kColors;
        std::uint8_t* const planes[kColors] = {split_.data(), split_.data() + width,
                                               split_.data() + 2 * width};
        for (std::size_t x = 0; x < width; ++x, row += kElements) {
            for (int e = 0; e < kColors; ++e) planes[e][x] = row[e];
        }
        return {planes[0], planes[1], planes[2]};
    }

    std::optional<PlaneEnlarger> planes_;
    /// Where planes will not do.
    std::optional<RowResampler<PitchedFrame<std::uint8_t>, std::int32_t>> rows_;
    std::vector<std::uint8_t> split_;
};

RowEnlarger::RowEnlarger(const Enlargement& enlargement, int firstRow)
    : state_(std::make_unique<State>(enlargement, firstRow)) {}

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
