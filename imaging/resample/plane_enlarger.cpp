#include "imaging/resample/plane_enlarger.h"

#include "imaging/cpu/in_use.h"
#include "imaging/sample.h"

namespace veltrane {
namespace {

constexpr int kPlanes = 3;

void Split(const std::uint8_t* pixel, std::uint8_t* const* planes, int width) {
    for (int x = 0; x < width; ++x, pixel += kElements) {
        for (int e = 0; e < kPlanes; ++e) planes[e][x] = pixel[e];
    }
}

void Stretch(const std::uint8_t* const* planes, const ResampleAxis& axis, const StretchAxis&,
             std::uint8_t* stretched, std::size_t pitch) {
    for (int e = 0; e < kPlanes; ++e) {
        std::uint8_t* target = stretched + e * pitch;
        for (const Taps& taps : axis.taps) {
            std::int32_t sum = 0;
            for (int k = 0; k < taps.count; ++k) {
                sum += planes[e][taps.first + k] * axis.Weights(taps)[k];
            }
            *target++ = static_cast<std::uint8_t>(sum >> 16);
        }
    }
}

void Blend(const std::uint8_t* upper, const std::uint8_t* lower, int upperWeight, int lowerWeight,
           std::uint8_t* row, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        row[i] = static_cast<std::uint8_t>(
            (upper[i] * upperWeight + lower[i] * lowerWeight + 32768) >> 16);
    }
}

template <class Sample>
void Store(const PlanarRow& row, Sample* target, int width) {
    constexpr int kUnit = kFullScale<Sample> / 255;
    for (int x = 0; x < width; ++x, target += kElements) {
        target[0] = static_cast<Sample>(row.blue[x] * kUnit);
        target[1] = static_cast<Sample>(row.green[x] * kUnit);
        target[2] = static_cast<Sample>(row.red[x] * kUnit);
    }
}

constexpr EnlargeRows kPlainRows{Split, Stretch, Blend, Store<std::uint8_t>, Store<std::uint16_t>};

}  // namespace

const EnlargeRows& EnlargeRowsInUse() {
    return InUse<SimdEnlargeRows>(kPlainRows);
}

PlaneEnlarger::PlaneEnlarger(const std::uint8_t* source, int width, std::ptrdiff_t pitch,
                             const ResampleAxis& across, const StretchAxis& stretch,
                             const ResampleAxis& down, int firstRow)
    : source_(source),
      width_(static_cast<std::size_t>(width)),
      pitch_(pitch),
      across_(across),
      down_(down),
      stretch_(stretch),
      rows_(EnlargeRowsInUse()),
      planePitch_((across.taps.size() + kRowBlock - 1) / kRowBlock * kRowBlock),
      planes_(kPlanes * (width_ + StretchAxis::kWindow)),
      ring_(2 * kPlanes * planePitch_),
      row_(kPlanes * planePitch_),
      targetRow_(firstRow),
      stretchedRows_(down.taps[firstRow].first) {}

PlanarRow PlaneEnlarger::Next() {
    const Taps& taps = down_.taps[targetRow_++];
    while (stretchedRows_ < taps.first + taps.count) StretchMore();
    const std::int32_t* weights = down_.Weights(taps);
    const bool mixed = taps.count == 2;
    rows_.blend(Stretched(taps.first), Stretched(taps.first + mixed), weights[0],
                mixed ? weights[1] : 0, row_.data(), row_.size());
    return {row_.data(), row_.data() + planePitch_, row_.data() + 2 * planePitch_};
}

void PlaneEnlarger::StretchMore() {
    const std::size_t planeSize = planes_.size() / kPlanes;
    std::uint8_t* const planes[kPlanes] = {planes_.data(), planes_.data() + planeSize,
                                           planes_.data() + 2 * planeSize};
    rows_.split(source_ + stretchedRows_ * pitch_, planes, static_cast<int>(width_));
    rows_.stretch(planes, across_, stretch_, ring_.data() + stretchedRows_ % 2 * RowSize(),
                  planePitch_);
    ++stretchedRows_;
}

}  // namespace veltrane
