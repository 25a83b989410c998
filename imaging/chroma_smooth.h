#ifndef VELTRANE_IMAGING_CHROMA_SMOOTH_H
#define VELTRANE_IMAGING_CHROMA_SMOOTH_H

#include <functional>

namespace veltrane {

/// Blurs the colour differences of a frame of packed 16-bit or 8-bit pixels in place as
/// CImagingORV::ChromaBlur64bit does, without a second frame. Rows are finished
/// from the top; done, unless empty, is called for each at once and may change it. Throws
/// std::bad_alloc, and what done throws.
template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, int radius,
                  const std::function<void(int y)>& done = {});

}  // namespace veltrane

#endif
