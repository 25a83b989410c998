#ifndef VELTRANE_KEYER_DRIVER_H
#define VELTRANE_KEYER_DRIVER_H

#include "keyer/band_keyer.h"

namespace veltrane {

/// Whether the screen's drivers take these settings, whatever the frames.
template <class Record>
bool TakesSettings(const Record& p, Screen screen);

/// The driver for a frame that is not interlaced, calling take as RowTarget does. Throws
/// std::bad_alloc and whatever take throws.
template <class Sample>
Status DriveFrame(const typename Depth<Sample>::Record& p, Screen screen,
                  decltype(RowTarget<Sample>::take) take);

}  // namespace veltrane

#endif
