#ifndef VELTRANE_KEYER_FINAL_CUT_H
#define VELTRANE_KEYER_FINAL_CUT_H

#include <functional>

#include "imaging/row_memory.h"
#include "keyer/settings.h"
#include "keyer/status.h"

namespace veltrane {

/// A host's frame whose rows are converted on their way to the keyer and back, so that no passes
/// over whole frames are added. Rows are pixels of blue, green, red, alpha.
template <class Sample>
struct HostRows {
    /// Where the rows that are converted lie, before and after; either may be left empty.
    RowMemory source;
    RowMemory target;
    /// Fills row y. Rows are read more than once, for the last time just before they are written.
    std::function<void(int y, Sample* row)> read;
    std::function<void(int y, const Sample* row)> write;  ///< takes row y of the keyed frame
};

/// VeltraneFinalCut16bit or VeltraneFinalCut on such a frame; rows are written once, from the top.
/// Refused settings and sizes and std::bad_alloc come before anything is written; whatever read and
/// write throw passes through, and the rows written by then stay so.
template <class Sample>
Status FinalCut(const HostRows<Sample>& rows, int width, int height, const Settings& settings);

/// VeltraneFinalCut16bit with its outcome; throws std::bad_alloc once the output is what the entry
/// leaves in it then.
Status FinalCut(unsigned short* output, const unsigned short* input, int width, int height,
                const Settings& settings);

/// VeltraneFinalCut in the same way. Where memory does not even suffice for the working frames, the
/// output is left as it was.
Status FinalCut(unsigned char* output, int outputWidth, int outputHeight,
                const unsigned char* input, int inputWidth, int inputHeight,
                const Settings& settings);

}  // namespace veltrane

#endif
