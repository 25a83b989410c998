#ifndef VELTRANE_IMAGING_MATTE_MATTE_PLANE_H
#define VELTRANE_IMAGING_MATTE_MATTE_PLANE_H

#include "imaging/sample.h"

namespace veltrane {

// The matte on its own: one sample a pixel, 16 or 8 bits wide, rows packed.

/// Contracts the matte as CImagingORV::ContGray7_64 does, with the threshold (0 and above) on the
/// matte's own scale. Throws std::bad_alloc.
template <class Sample>
void ContractMatte(int width, int height, Sample* matte, int iterations, int threshold);

/// Softens the matte as CImagingORV::MaskBlur64 does. A negative radius does nothing. Throws
/// std::bad_alloc.
template <class Sample>
void SoftenMatte(int width, int height, Sample* matte, int radius, int amount, int offset);

/// Copies the alphas of a row of width pixels to a row of the matte.
template <class Sample>
void TakeMatte(const Sample* row, Sample* matte, int width);

/// Copies a row of the matte over the alphas of a row of width pixels.
template <class Sample>
void PutMatte(const Sample* matte, Sample* row, int width);

/// Calls change(matte) on a copy of a frame's matte and copies it back. Throws std::bad_alloc.
template <class Sample, class Change>
void ChangeMatte(int width, int height, Sample* frame, Change change) {
    if (width < 1 || height < 1) return;
    const auto matte = MakeBuffer<Sample>(static_cast<std::size_t>(width) * height);
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        TakeMatte(frame + y * width * kElements, matte.get() + y * width, width);
    }
    change(matte.get());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        PutMatte(matte.get() + y * width, frame + y * width * kElements, width);
    }
}

}  // namespace veltrane

#endif
