#ifndef VELTRANE_KEYER_PLATE_BACKGROUND_MODEL_H
#define VELTRANE_KEYER_PLATE_BACKGROUND_MODEL_H

#include <memory>

#include "imaging/frame_rows.h"
#include "imaging/threads.h"
#include "keyer/depth.h"
#include "keyer/settings.h"

namespace veltrane {

/// A frame at the clean plate's size: packed rows of blue, green, red and an element without
/// meaning.
struct ReducedFrame {
    std::unique_ptr<unsigned char[]> pixels;
    int width = 0;
    int height = 0;
};

/// Reduces a frame of the record's size, which has at least one pixel.
template <class Sample>
ReducedFrame ReduceFrame(const typename Depth<Sample>::Record& p, const RowSource<Sample>& source,
                         const Threads& threads);

/// Makes a reduced frame the clean plate: the screen's colour everywhere, without the foreground.
template <class Sample>
void ModelPlate(const typename Depth<Sample>::Record& p, Screen screen, const ReducedFrame& frame);

}  // namespace veltrane

#endif
