#ifndef VELTRANE_SETTINGS_FRAME_KEYER_H
#define VELTRANE_SETTINGS_FRAME_KEYER_H

#include <cstdint>
#include <memory>

#include "imaging/frame_rows.h"
#include "keyer/key_inputs.h"
#include "settings/settings.h"

namespace veltrane {

/// Keys a frame of any host whose rows are converted on their way: the same bits, without passes
/// over whole frames before and after. Both depths have rows of blue, green, red, alpha here. A row
/// may be read more than once. What the shot brings along beside the frame is in inputs. Throws
/// what Key throws, and what source.read, sink.write and the inputs throw; the rows written by then
/// stay written.
template <class Sample>
void Key(const Settings& settings, int width, int height, const RowSource<Sample>& source,
         const RowSink<Sample>& sink, const Threads& threads = {},
         const KeyInputs<Sample>& inputs = {});

/// Keys one frame in bands of rows, for callers that share the work among threads of their own: any
/// band, in any order, by any number of threads at a time, with the same bits for every split.
/// Where the matte is contracted or blurred, or the source de-blocked, a band also works on the
/// rows around it that its own depend on.
template <class Sample>
class FrameKeyer {
public:
    /// Models the clean plate, unless the inputs hold one, by the threads lent if any. The memory
    /// behind the source and the inputs must stay. Throws as Key does.
    FrameKeyer(const Settings& settings, int width, int height, RowSource<Sample> source,
               const Threads& threads = {}, const KeyInputs<Sample>& inputs = {});
    FrameKeyer(FrameKeyer&&) noexcept;
    ~FrameKeyer();

    /// Keys the band, which must lie within the frame. In a frame that is keyed as one band, a row
    /// is read for the last time just before it is written, so that they may share their memory.
    void Key(Band band, const RowSink<Sample>& sink) const;

    /// Below this height a band spends more time around it than within.
    int LeastHeight() const;

private:
    class Cut;
    std::unique_ptr<const Cut> cut_;
};

}  // namespace veltrane

#endif
