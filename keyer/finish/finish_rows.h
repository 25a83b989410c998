#ifndef VELTRANE_KEYER_FINISH_FINISH_ROWS_H
#define VELTRANE_KEYER_FINISH_FINISH_ROWS_H

#include "keyer/finish/finish.h"

namespace veltrane {

/// The work of finish.h that has a vector form.
template <class Sample>
struct FinishRows {
    typename RowFinish<Sample>::Form finish;
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const FinishRows<Sample>* SimdFinishRows();

}  // namespace veltrane

#endif
