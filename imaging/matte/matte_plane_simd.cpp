#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/matte/matte_plane_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/matte/matte_plane_rows.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

template <class Sample>
using SampleTag = hn::ScalableTag<Sample>;
template <class Sample>
using Samples = hn::Vec<SampleTag<Sample>>;
template <class Sample>
constexpr int kLanes = hn::MaxLanes(SampleTag<Sample>());

/// The least of three neighbours from at on.
template <class Sample>
Samples<Sample> LeastOfThree(const Sample* at) {
    const SampleTag<Sample> samples;
    return hn::Min(hn::LoadU(samples, at),
                   hn::Min(hn::LoadU(samples, at + 1), hn::LoadU(samples, at + 2)));
}

template <class Sample>
Samples<Sample> LeastOfCross(const Sample* above, const Sample* row, const Sample* below) {
    const SampleTag<Sample> samples;
    return hn::Min(hn::Min(hn::LoadU(samples, above + 1), hn::LoadU(samples, below + 1)),
                   hn::Min(hn::LoadU(samples, row), hn::LoadU(samples, row + 2)));
}

template <class Sample>
Samples<Sample> LeastOfSquare(const Sample* above, const Sample* row, const Sample* below) {
    return hn::Min(LeastOfThree(row), hn::Min(LeastOfThree(above), LeastOfThree(below)));
}

/// The rows that are read have a sample on each side of the width - 2 that are written.
template <class Sample, class Least>
void Contract(const Sample* above, const Sample* row, const Sample* below, Sample* out, int width,
              int threshold, Least least) {
    const SampleTag<Sample> samples;
    const auto step = hn::Set(samples, static_cast<Sample>(threshold));
    const auto contract = [&](const Sample* a, const Sample* r, const Sample* b, Sample* to) {
        const auto most = hn::SaturatedAdd(least(a, r, b), step);
        hn::StoreU(hn::Min(hn::LoadU(samples, r + 1), most), samples, to);
    };
    using Source = Row<const Sample, 1, 2>;
    ForEachVector<kLanes<Sample>>(width - 2, contract, Source{above}, Source{row}, Source{below},
                                  Row<Sample>{out + 1});
}

template <class Sample>
void Cross(const Sample* above, const Sample* row, const Sample* below, Sample* out, int width,
           int threshold) {
    Contract(above, row, below, out, width, threshold,
             [](auto... rows) { return LeastOfCross(rows...); });
}

template <class Sample>
void Square(const Sample* above, const Sample* row, const Sample* below, Sample* out, int width,
            int threshold) {
    Contract(above, row, below, out, width, threshold,
             [](auto... rows) { return LeastOfSquare(rows...); });
}

/// Every other sample of two vectors twice over leaves the alphas of four.
template <class Sample>
void Take(const Sample* row, Sample* matte, int width) {
    const SampleTag<Sample> samples;
    const auto redAlpha = [&](const Sample* at) {
        return hn::ConcatOdd(samples, hn::LoadU(samples, at + kLanes<Sample>),
                             hn::LoadU(samples, at));
    };
    const auto take = [&](const Sample* pixels, Sample* to) {
        const auto first = redAlpha(pixels);
        const auto second = redAlpha(pixels + 2 * kLanes<Sample>);
        hn::StoreU(hn::ConcatOdd(samples, second, first), samples, to);
    };
    ForEachVector<kLanes<Sample>>(width, take, Row<const Sample, kElements>{row},
                                  Row<Sample>{matte});
}

/// Replaces the highest sample of every pixel.
void PutVector(const unsigned short* matte, unsigned short* pixels) {
    const hn::ScalableTag<std::uint64_t> wide;
    const hn::Repartition<unsigned short, decltype(wide)> samples;
    const hn::Rebind<std::uint32_t, decltype(wide)> words;
    const hn::Rebind<unsigned short, decltype(wide)> mattes;
    const auto alphas = hn::PromoteTo(wide, hn::PromoteTo(words, hn::LoadU(mattes, matte)));
    const auto colors =
        hn::And(hn::BitCast(wide, hn::LoadU(samples, pixels)), hn::Set(wide, 0xFFFFFFFFFFFF));
    hn::StoreU(hn::BitCast(samples, hn::Or(colors, hn::ShiftLeft<48>(alphas))), samples, pixels);
}

void PutVector(const unsigned char* matte, unsigned char* pixels) {
    const hn::ScalableTag<std::uint32_t> wide;
    const hn::Repartition<unsigned char, decltype(wide)> samples;
    const hn::Rebind<unsigned char, decltype(wide)> mattes;
    const auto alphas = hn::PromoteTo(wide, hn::LoadU(mattes, matte));
    const auto colors =
        hn::And(hn::BitCast(wide, hn::LoadU(samples, pixels)), hn::Set(wide, 0xFFFFFF));
    hn::StoreU(hn::BitCast(samples, hn::Or(colors, hn::ShiftLeft<24>(alphas))), samples, pixels);
}

template <class Sample>
void Put(const Sample* matte, Sample* row, int width) {
    ForEachVector<kLanes<Sample> / kElements>(
        width, [](const Sample* from, Sample* to) { PutVector(from, to); },
        Row<const Sample>{matte}, Row<Sample, kElements>{row});
}

}  // namespace

template <class Sample>
const MattePlaneRows<Sample>* GetMattePlaneRows() {
    static constexpr MattePlaneRows<Sample> kRows{Cross<Sample>, Square<Sample>, Take<Sample>,
                                                  Put<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(MattePlaneRows, SimdMattePlaneRows, GetMattePlaneRows)

}  // namespace veltrane
#endif
