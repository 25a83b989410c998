#ifndef VELTRANE_KEYER_FINISH_FINISH_ROWS_H
#define VELTRANE_KEYER_FINISH_FINISH_ROWS_H

#include "keyer/finish/finish.h"

namespace veltrane {

/// The work of finish.h that has a vector form.
struct FinishRows {
    template <class Sample>
    using Finish = void (*)(const RowFinish<Sample>& finish, const Sample* source, Sample* row,
                            int width);

    Finish<unsigned short> finish16;
    Finish<unsigned char> finish8;
    void (*reverse)(const unsigned char* from, unsigned char* to, int width);
};

/// The vector form in use, or null when the plain one is.
const FinishRows* SimdFinishRows();

}  // namespace veltrane

#endif
