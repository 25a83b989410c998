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
        if (finish.matteView) {
            std::fill_n(row, kAlpha, matte);
            matte = kFull;
        }
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
RowFinish<Sample>::RowFinish(int clipBlack, int clipWhite, bool showMatte)
    : clips(clipWhite<100 || clipBlack> 0),
      black(MatteLevel<Sample>(clipBlack)),
      white(MatteLevel<Sample>(clipWhite)),
      matteView(showMatte),
      form(FormInUse<Sample>()) {
    // Equal levels are set one step apart.
    if (black == white) black = white + 1;
    slope = static_cast<float>(kFullScale<Sample>) / static_cast<float>(white - black);
}

template struct RowFinish<unsigned short>;
template struct RowFinish<unsigned char>;

}  // namespace veltrane
