#ifndef VELTRANE_KEYER_DRIVER_H
#define VELTRANE_KEYER_DRIVER_H

#include "imaging/frame_rows.h"
#include "keyer/depth.h"
#include "keyer/status.h"

namespace veltrane {

/// Whether the matte is worked on after the frame has been keyed, so that dst must hold all of it.
template <class Record>
bool NeedsWholeFrame(const Record& p) {
    return p.contractMask != 0 || p.maskBlurRadius != 0;
}

/// The driver for a frame that is not interlaced; its rows come from source, which must be the
/// record's own where it is de-blocked, and go through sink on their way to dst. Row y lies pitch
/// elements times y behind dst; a pitch of 0 lets every row pass through the same memory where the
/// whole frame is not needed. A record that is refused and std::bad_alloc come before sink is
/// called; whatever source and sink throw passes through.
template <class Sample>
Status DriveRows(const typename Depth<Sample>::Record& p, const FrameRows<Sample>& source,
                 std::size_t pitch, const RowSink<Sample>& sink);

}  // namespace veltrane

#endif
