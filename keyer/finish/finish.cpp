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

void ReversePlainly(const unsigned char* from, unsigned char* to, int width) {
    for (int x = 0; x < width; ++x, from += kElements, to += kElements) {
        std::reverse_copy(from, from + kElements, to);
    }
}

const FinishRows& Rows() {
#ifdef VELTRANE_SIMD
    if (const FinishRows* rows = SimdFinishRows()) return *rows;
#endif
    static constexpr FinishRows kPlainRows{FinishPlainly<unsigned short>,
                                           FinishPlainly<unsigned char>, ReversePlainly};
    return kPlainRows;
}

}  // namespace

template <class Sample>
RowFinish<Sample>::RowFinish(int clipBlack, int clipWhite, bool showMatte)
    : clips(clipWhite<100 || clipBlack> 0),
      black(MatteLevel<Sample>(clipBlack)),
      white(MatteLevel<Sample>(clipWhite)),
      matteView(showMatte) {
    // Equal levels are set one step apart.
    if (black == white) black = white + 1;
    slope = static_cast<float>(kFullScale<Sample>) / static_cast<float>(white - black);
}

template <>
void RowFinish<unsigned short>::operator()(const unsigned short* source, unsigned short* row,
                                           int width) const {
    Rows().finish16(*this, source, row, width);
}

template <>
void RowFinish<unsigned char>::operator()(const unsigned char* source, unsigned char* row,
                                          int width) const {
    Rows().finish8(*this, source, row, width);
}

template struct RowFinish<unsigned short>;
template struct RowFinish<unsigned char>;

void ReverseElements(const unsigned char* from, unsigned char* to, int width) {
    Rows().reverse(from, to, width);
}

}  // namespace veltrane
