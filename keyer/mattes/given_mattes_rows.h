#ifndef VELTRANE_KEYER_MATTES_GIVEN_MATTES_ROWS_H
#define VELTRANE_KEYER_MATTES_GIVEN_MATTES_ROWS_H

#include <cstdint>

namespace veltrane {

/// The work of given_mattes.h on rows of width pixels.
template <class Sample>
struct GivenMatteRows {
    /// Mixes row with the core's pixels as far as core tells, then makes it transparent as far as
    /// garbage does. source gives the alpha that a solid pixel has.
    void (*apply)(const Sample* source, const Sample* corePixels, const std::uint16_t* garbage,
                  const std::uint16_t* core, Sample* row, int width);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const GivenMatteRows<Sample>* SimdGivenMatteRows();

inline constexpr std::uint32_t kFullLevel = 65535;

}  // namespace veltrane

#endif
