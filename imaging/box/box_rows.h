#ifndef VELTRANE_IMAGING_BOX_BOX_ROWS_H
#define VELTRANE_IMAGING_BOX_BOX_ROWS_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

/// The work of box_sums.h on planes that has a vector form.
template <class Sample>
struct BoxRows {
    /// Adds to each of count totals the entering samples less the leaving ones from the row's start
    /// up to there, modulo 2^32.
    void (*slide)(const Sample* entering, const Sample* leaving, std::uint32_t* totals, int count);
};

/// The same on frames of four bytes a pixel, whose elements are summed apart.
struct PixelBoxRows {
    void (*slide)(const std::uint8_t* entering, const std::uint8_t* leaving, std::uint32_t* totals,
                  int count);
    /// The differences of totals, which are the windows' sums and at most 2^31 - 1, divided by the
    /// product of two counts, given as reciprocals, and rounded.
    void (*average)(const std::uint32_t* ends, const std::uint32_t* begins, const float* across,
                    float down, std::uint8_t* row, std::size_t size);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const BoxRows<Sample>* SimdBoxRows();
const PixelBoxRows* SimdPixelBoxRows();

}  // namespace veltrane

#endif
