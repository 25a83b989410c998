#ifndef VELTRANE_KEYER_FRAME_CUT_H
#define VELTRANE_KEYER_FRAME_CUT_H

#include <optional>

#include "keyer/band_keyer.h"
#include "keyer/finish/finish.h"
#include "keyer/key_inputs.h"
#include "keyer/mattes/given_mattes.h"
#include "keyer/settings.h"

namespace veltrane {

/// Whether a colour is chosen to key with: one at or below one step of 255 in every channel, such
/// as the default black, means that none has been picked.
bool IsKeyChosen(const Settings& settings);

/// The record of a frame without its pixels. For a blue screen blueHue and despillBlue are of
/// green.
template <class Sample>
typename Depth<Sample>::Record MakeRecord(const Settings& settings, int width, int height);

template <class Sample>
RowFinish<Sample> FinishFor(const Settings& settings) {
    return RowFinish<Sample>(settings.clipBlack, settings.clipWhite, settings.view);
}

/// Settings applied to a frame from its source to the rows that the user gets, in bands as
/// BandKeyer has them. Settings and sides must lie within their ranges.
template <class Sample>
class FrameCut {
public:
    /// Looks at the whole frame. The source and the inputs are kept; their memory must stay. Throws
    /// std::bad_alloc.
    FrameCut(const Settings& settings, int width, int height, RowSource<Sample> source,
             const Threads& threads = {}, const KeyInputs<Sample>& inputs = {});

    /// Reads a row for the last time just before it is written. Throws std::bad_alloc.
    void Key(Band band, const RowSink<Sample>& sink) const;

    /// As BandKeyer's.
    int LeastHeight() const { return keyer_ ? keyer_->LeastHeight() : 1; }

private:
    class RowEnd;

    void PassOn(Band band, const RowSink<Sample>& sink) const;

    int width_;
    RowSource<Sample> source_;
    View view_;
    RowFinish<Sample> finish_;
    std::optional<GivenMattes<Sample>> mattes_;
    std::optional<RowFinish<Sample>> show_;   ///< what the mattes come before, in views of them
    std::optional<BandKeyer<Sample>> keyer_;  ///< nothing where rows pass unkeyed
};

}  // namespace veltrane

#endif
