#ifndef VELTRANE_KEYER_FINISH_FINISH_ROWS_H
#define VELTRANE_KEYER_FINISH_FINISH_ROWS_H

#include <cstdint>

#include "keyer/finish/finish.h"

namespace veltrane {

/// The work of finish.h that has a vector form.
template <class Sample>
struct FinishRows {
    typename RowFinish<Sample>::Form finish;
};

/// The status view's colours by the height of the matte, on the 16-bit scale whatever the depth, as
/// blue, green, red and alpha: from azure along straight lines to magenta at half height and to
/// orange, so that both ends keep away from black and white and luma tells the order, too.
struct StatusRamps {
    std::uint16_t start[kElements];
    std::int16_t lowerRise[kElements];  ///< half of what is gained up to half height
    std::int16_t upperRise[kElements];  ///< and from there
};
inline constexpr StatusRamps kStatusRamps{
    {65535, 19660, 0, 65535}, {-14745, -3276, 31129, 0}, {-18018, 18022, 1638, 0}};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const FinishRows<Sample>* SimdFinishRows();

}  // namespace veltrane

#endif
