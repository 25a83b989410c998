#include <gtest/gtest.h>

#include "imaging/box/box_rows.h"
#include "imaging/chroma/chroma_rows.h"
#include "imaging/convert/convert_rows.h"
#include "imaging/convert/light_rows.h"
#include "imaging/edges/edge_rows.h"
#include "imaging/matte/matte_plane_rows.h"
#include "imaging/matte/soften_rows.h"
#include "imaging/resample/resample_rows.h"
#include "keyer/core/matte_rows.h"
#include "keyer/finish/finish_rows.h"
#include "keyer/light/linear_matte_rows.h"
#include "keyer/mattes/given_mattes_rows.h"
#include "keyer/plate/screen_rows.h"
#include "tests/imaging/levels.h"

namespace veltrane {
namespace {

template <class Sample>
void ExpectRowsOfDepth() {
    ExpectRowsOfEveryLevel(SimdSoftenRows<Sample>);
    ExpectRowsOfEveryLevel(SimdBoxRows<Sample>);
    ExpectRowsOfEveryLevel(SimdChromaRows<Sample>);
    ExpectRowsOfEveryLevel(SimdConvertRows<Sample>);
    ExpectRowsOfEveryLevel(SimdFinishRows<Sample>);
    ExpectRowsOfEveryLevel(SimdGivenMatteRows<Sample>);
    ExpectRowsOfEveryLevel(SimdKeyRows<Sample>);
    ExpectRowsOfEveryLevel(SimdLinearMatteRows<Sample>);
    ExpectRowsOfEveryLevel(SimdMattePlaneRows<Sample>);
}

TEST(Rows, AreHandedOutForEveryLevel) {
    ExpectRowsOfEveryLevel(SimdEnlargeRows);
    ExpectRowsOfEveryLevel(SimdEdgeRows);
    ExpectRowsOfEveryLevel(SimdPixelBoxRows);
    ExpectRowsOfEveryLevel(SimdConvertRows<float>);
    ExpectRowsOfEveryLevel(SimdRestoreRows);
    ExpectRowsOfEveryLevel(SimdLightRows);
    ExpectRowsOfEveryLevel(SimdScreenRows);
    ExpectRowsOfEveryLevel(SimdResampleRows);
    ExpectRowsOfDepth<unsigned short>();
    ExpectRowsOfDepth<unsigned char>();
}

}  // namespace
}  // namespace veltrane
