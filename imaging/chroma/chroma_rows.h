#ifndef VELTRANE_IMAGING_CHROMA_CHROMA_ROWS_H
#define VELTRANE_IMAGING_CHROMA_CHROMA_ROWS_H

#include <cstdint>

#include "imaging/box/box_sums.h"

namespace veltrane {

/// Where the two depths place colourless chroma. The offset back lies half a step lower, and the
/// way back is scaled by full / (full + 1): the round trip is not exact, and is defined that way.
template <class Sample>
struct ChromaScale;

template <>
struct ChromaScale<unsigned short> {
    static constexpr float kOffset = 32768.0f;
    static constexpr float kOffsetBack = 32767.5f;
    static constexpr float kScaleBack = 0.9999847412109375f;
};

template <>
struct ChromaScale<unsigned char> {
    static constexpr float kOffset = 128.0f;
    static constexpr float kOffsetBack = 127.5f;
    static constexpr float kScaleBack = 0.99609375f;
};

/// A row of pixels as luma and colour differences, a plane each.
template <class Sample>
struct ChromaRow {
    Sample* y;
    Sample* cb;
    Sample* cr;
};

/// The samples in each window of a row, and weights for an estimate of a mean from below: 1 /
/// samples, less more than what roundings may add and far too little to take 1 off a mean.
template <class Sum>
struct WindowCounts {
    const Sum* samples;
    const float* weights;
};

/// The work of chroma_blur.cpp that has a vector form.
template <class Sample>
struct ChromaRows {
    /// Converts a row of width pixels; their alphas are not read.
    void (*split)(const Sample* pixels, const ChromaRow<Sample>& row, int width);
    /// Divides the window sums by the counts, fractions dropped.
    void (*average)(const WindowSums<std::uint32_t>& sums,
                    const WindowCounts<std::uint32_t>& counts, Sample* means, int width);
    /// Converts back; the pixels' alphas stay.
    void (*join)(const ChromaRow<const Sample>& row, Sample* pixels, int width);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const ChromaRows<Sample>* SimdChromaRows();

}  // namespace veltrane

#endif
