#ifndef VELTRANE_KEYER_MATTE_ROWS_H
#define VELTRANE_KEYER_MATTE_ROWS_H

#include "imaging/planar_row.h"
#include "keyer/matte_core.h"

namespace veltrane {

/// The key of a row of width pixels. source and target are interleaved pixels and may be the same.
template <class Sample>
struct KeyRows {
    /// Against the plate pixels behind them, components 0..255 whatever the depth.
    void (*againstPlate)(const KeyLook<Sample>& look, const Sample* source, PlanarRow plate,
                         Sample* target, int width);
    /// The same with an interleaved plate of the frame's depth.
    void (*againstPixels)(const KeyLook<Sample>& look, const Sample* source, const Sample* plate,
                          Sample* target, int width);
    /// Against one screen colour.
    void (*againstColor)(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                         Sample* target, int width);
};

/// The form in use; ask once a frame.
template <class Sample>
const KeyRows<Sample>& KeyRowsInUse();

}  // namespace veltrane

#endif
