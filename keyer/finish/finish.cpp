#include "keyer/finish/finish.h"

#include <algorithm>

#include "imaging/imaging.h"
#include "keyer/finish/finish_rows.h"

namespace veltrane {
namespace {

template <class Sample>
int MatteLevel(int percent) {
    return RoundHalfUp(percent * static_cast<double>(kFullScale<Sample>) / 100.0);
}

/// One component of the status view's colour for a matte of 0..65535. A product's whole part keeps
/// to 16 bits.
int StatusComponent(int element, int matte) {
    constexpr int kHalf = 0x8000;
    const StatusRamps& ramps = kStatusRamps;
    const int lower = std::min(matte, kHalf - 1) * ramps.lowerRise[element] >> 16;
    const int upper = std::max(matte - kHalf, 0) * ramps.upperRise[element] >> 16;
    return ramps.start[element] + 4 * lower + 4 * upper;
}

template <class Sample>
void ShowStatus(Sample* pixel) {
    constexpr int kFull = kFullScale<Sample>;
    const int matte = pixel[kAlpha];
    if (matte == 0 || matte == kFull) return void(std::fill_n(pixel, kAlpha, pixel[kAlpha]));
    for (int e = 0; e < kAlpha; ++e)
        pixel[e] = static_cast<Sample>(StatusComponent(e, matte * (65535 / kFull)) /
                                       (65536 / (kFull + 1)));
}

template <class Sample>
void ShowSpill(const Sample* source, Sample* pixel) {
    constexpr std::uint32_t kFull = kFullScale<Sample>;
    for (int e = 0; e < kAlpha; ++e) {
        const std::uint32_t taken = source[e] > pixel[e] ? source[e] - pixel[e] : 0;
        pixel[e] = static_cast<Sample>((taken * pixel[kAlpha] + kFull / 2) / kFull);
    }
}

template <class Sample>
void Show(View view, const Sample* source, Sample* pixel) {
    if (view == View::Matte) std::fill_n(pixel, kAlpha, pixel[kAlpha]);
    if (view == View::Status) ShowStatus(pixel);
    if (view == View::Spill) ShowSpill(source, pixel);
    pixel[kAlpha] = kFullScale<Sample>;
}

template <class Sample>
void FinishPlainly(const RowFinish<Sample>& finish, const Sample* source, Sample* row, int width) {
    constexpr int kFull = kFullScale<Sample>;
    const CImagingORV imaging;
    for (int x = 0; x < width; ++x, source += kElements, row += kElements) {
        Sample& matte = row[kAlpha];
        if (source[kAlpha] == 0) {
            std::copy_n(source, kElements, row);
        } else {
            matte = std::min(matte, source[kAlpha]);
        }
        if (finish.clips) {
            const int clipped = imaging.LinerInter(matte, finish.black, finish.white, 0, kFull);
            matte = static_cast<Sample>(Clamp(clipped, 0, kFull));
        }
        if (IsOpaque(finish.view)) Show(finish.view, source, row);
    }
}

template <class Sample>
typename RowFinish<Sample>::Form FormInUse() {
#ifdef VELTRANE_SIMD
    if (const FinishRows<Sample>* rows = SimdFinishRows<Sample>()) return rows->finish;
#endif
    return FinishPlainly<Sample>;
}

}  // namespace

template <class Sample>
RowFinish<Sample>::RowFinish(int clipBlack, int clipWhite, View shown)
    : clips(clipWhite<100 || clipBlack> 0),
      black(MatteLevel<Sample>(clipBlack)),
      white(MatteLevel<Sample>(clipWhite)),
      view(shown),
      form(FormInUse<Sample>()) {
    // Equal levels are set one step apart.
    if (black == white) black = white + 1;
    slope = static_cast<float>(kFullScale<Sample>) / static_cast<float>(white - black);
}

template struct RowFinish<unsigned short>;
template struct RowFinish<unsigned char>;

}  // namespace veltrane
