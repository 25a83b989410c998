#ifndef VELTRANE_KEYER_PLATE_BACKGROUND_MODEL_H
#define VELTRANE_KEYER_PLATE_BACKGROUND_MODEL_H

#include <memory>

#include "imaging/frame_rows.h"
#include "imaging/threads.h"
#include "keyer/depth.h"
#include "keyer/settings.h"

namespace veltrane {

/// A clean plate at reduced size: the screen's colour everywhere, without the foreground. Packed
/// rows of blue, green, red and an element without meaning.
struct ReducedPlate {
    std::unique_ptr<unsigned char[]> pixels;
    int width = 0;
    int height = 0;
};

/// Models the clean plate of a frame of the record's size, which has at least one pixel.
template <class Sample>
ReducedPlate ModelPlate(const typename Depth<Sample>::Record& p, Screen screen,
                        const RowSource<Sample>& source, const Threads& threads);

}  // namespace veltrane

#endif
