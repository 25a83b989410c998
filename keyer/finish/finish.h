#ifndef VELTRANE_KEYER_FINISH_FINISH_H
#define VELTRANE_KEYER_FINISH_FINISH_H

#include "imaging/sample.h"
#include "keyer/settings.h"

namespace veltrane {

/// What the entries do to a keyed row before it is the user's: the matte is limited by the source's
/// alpha, where pixels that were fully transparent come back as they were, then stretched between
/// its black and white levels, then shown as the view has it.
template <class Sample>
struct RowFinish {
    RowFinish(int clipBlack, int clipWhite, View view);

    bool clips;
    int black;  ///< matte level at and below which a pixel becomes transparent,
    int white;  ///< and at and above which it becomes solid; crossed levels make a hard threshold
    float slope;
    View view;

    /// Finishes a row of width pixels in place; source holds the pixels that it was keyed from.
    void operator()(const Sample* source, Sample* row, int width) const {
        form(*this, source, row, width);
    }

    using Form = void (*)(const RowFinish& finish, const Sample* source, Sample* row, int width);
    Form form;  ///< chosen when the finish is made
};

}  // namespace veltrane

#endif
