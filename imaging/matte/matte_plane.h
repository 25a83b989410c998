#ifndef VELTRANE_IMAGING_MATTE_MATTE_PLANE_H
#define VELTRANE_IMAGING_MATTE_MATTE_PLANE_H

#include "imaging/matte/matte_plane_rows.h"
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

/// Calls change(matte) on a copy of a frame's matte and copies it back. Throws std::bad_alloc.
template <class Sample, class Change>
void ChangeMatte(int width, int height, Sample* frame, Change change) {
    if (width < 1 || height < 1) return;
    const MattePlaneRows<Sample>& rows = MattePlaneRowsInUse<Sample>();
    const auto matte = MakeBuffer<Sample>(static_cast<std::size_t>(width) * height);
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        rows.take(frame + y * width * kElements, matte.get() + y * width, width);
    }
    change(matte.get());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        rows.put(matte.get() + y * width, frame + y * width * kElements, width);
    }
}

}  // namespace veltrane

#endif
