#ifndef VELTRANE_IMAGING_CHROMA_CHROMA_BLUR_H
#define VELTRANE_IMAGING_CHROMA_CHROMA_BLUR_H

namespace veltrane {

/// Blurs the colour differences of a frame of packed 16-bit or 8-bit pixels in place as
/// CImagingORV::ChromaBlur64bit does, without a second frame. Throws std::bad_alloc.
template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, int radius);

}  // namespace veltrane

#endif
