#ifndef VELTRANE_IMAGING_CONVERT_CONVERT_ROWS_H
#define VELTRANE_IMAGING_CONVERT_CONVERT_ROWS_H

#include <array>

#include "imaging/convert/convert.h"
#include "imaging/sample.h"

namespace veltrane {

/// One form of the conversions: what converts a row of a format.
template <class Component>
struct ConvertRows {
    typename PixelReader<Component>::Form (*reader)(const PixelFormat& format);
    typename PixelWriter<Component>::Form (*writer)(const PixelFormat& format);
};

/// The vector form in use, or null when the plain one is.
template <class Component>
const ConvertRows<Component>* SimdConvertRows();

/// What restores floats of kDisplay from a source's and to a target's format.
struct RestoreRows {
    FloatRestorer::Form (*restorer)(const FloatRestorer::Formats& formats);
};

/// The vector form in use, or null when the plain one is.
const RestoreRows* SimdRestoreRows();

using PixelPlaces = std::array<int, kElements>;

/// Where blue, green, red and alpha lie in a pixel, by PixelOrder. Every order is its own inverse.
inline constexpr std::array<PixelPlaces, 3> kPlaces{{{0, 1, 2, 3}, {2, 1, 0, 3}, {3, 2, 1, 0}}};

}  // namespace veltrane

#endif
