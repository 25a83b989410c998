#ifndef VELTRANE_MEDIA_EXR_HALF_ROWS_H
#define VELTRANE_MEDIA_EXR_HALF_ROWS_H

#include <cstddef>
#include <cstdint>

namespace veltrane::media {

/// One form of the functions that make rows of halves.
struct ExrHalfRows {
    /// The halves nearest to values from 0 to 1, of two the even one; the values are multiplied by
    /// factors from 0 to 1 before, unless that is null.
    void (*narrow)(const float* values, const float* factors, std::ptrdiff_t width,
                   std::uint16_t* halves);
};

/// The vector form in use, or null when the plain one is.
const ExrHalfRows* SimdExrHalfRows();

}  // namespace veltrane::media

#endif
