#ifndef VELTRANE_IMAGING_BOX_BOX_ROWS_H
#define VELTRANE_IMAGING_BOX_BOX_ROWS_H

#include <cstdint>

namespace veltrane {

/// The work of box_sums.h that has a vector form.
template <class Sample>
struct BoxRows {
    /// Adds to each of count totals the entering samples less the leaving ones from the row's start
    /// up to there, modulo 2^32.
    void (*slide)(const Sample* entering, const Sample* leaving, std::uint32_t* totals, int count);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const BoxRows<Sample>* SimdBoxRows();

}  // namespace veltrane

#endif
