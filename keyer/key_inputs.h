#ifndef VELTRANE_KEYER_KEY_INPUTS_H
#define VELTRANE_KEYER_KEY_INPUTS_H

#include <cstdint>
#include <functional>

#include "imaging/frame_rows.h"

namespace veltrane {

/// Where the rows of a matte come from: packed memory, or a function of the caller's that fills row
/// y. One level a pixel, 0..65535 whatever the depth of the frame. Any number of threads may read
/// at a time, and a row may be read more than once.
struct LevelRows {
    const std::uint16_t* packed = nullptr;
    std::function<void(int y, std::uint16_t* row)> read{};  ///< where packed is null

    explicit operator bool() const { return packed != nullptr || read; }
};

/// What a shot brings along beside its frame, all of the frame's size. What is absent costs nothing
/// and changes nothing.
template <class Sample>
struct KeyInputs {
    /// The empty set. Where Smooth BG is on, each pixel is keyed against that of the plate instead
    /// of a model; its alpha is not used.
    RowSource<Sample> cleanPlate{};
    LevelRows garbage{};  ///< what is always out, as far as its level tells
    LevelRows core{};     ///< what is always in, unless it is garbage
};

}  // namespace veltrane

#endif
