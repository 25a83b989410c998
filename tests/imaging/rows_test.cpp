#include <gtest/gtest.h>

#include <cstdint>

#include "tests/imaging/levels.h"

// Declared here, so that the test depends on nothing but the families' names.
namespace veltrane {

struct EnlargeRows;
struct EdgeRows;
struct PixelBoxRows;
struct ScreenRows;
template <class Sample>
struct SoftenRows;
template <class Sample>
struct BoxRows;
template <class Sample>
struct ChromaRows;
template <class Component>
struct ConvertRows;
template <class Sample>
struct FinishRows;
template <class Sample>
struct KeyRows;
template <class Sample>
struct MattePlaneRows;
template <class Filtered>
struct ResampleRows;

const EnlargeRows* SimdEnlargeRows();
const EdgeRows* SimdEdgeRows();
const PixelBoxRows* SimdPixelBoxRows();
const ScreenRows* SimdScreenRows();
const ResampleRows<std::int16_t>* SimdResampleRows();
template <class Sample>
const SoftenRows<Sample>* SimdSoftenRows();
template <class Sample>
const BoxRows<Sample>* SimdBoxRows();
template <class Sample>
const ChromaRows<Sample>* SimdChromaRows();
template <class Component>
const ConvertRows<Component>* SimdConvertRows();
template <class Sample>
const FinishRows<Sample>* SimdFinishRows();
template <class Sample>
const KeyRows<Sample>* SimdKeyRows();
template <class Sample>
const MattePlaneRows<Sample>* SimdMattePlaneRows();

namespace {

template <class Sample>
void ExpectRowsOfDepth() {
    ExpectRowsOfEveryLevel(SimdSoftenRows<Sample>);
    ExpectRowsOfEveryLevel(SimdBoxRows<Sample>);
    ExpectRowsOfEveryLevel(SimdChromaRows<Sample>);
    ExpectRowsOfEveryLevel(SimdConvertRows<Sample>);
    ExpectRowsOfEveryLevel(SimdFinishRows<Sample>);
    ExpectRowsOfEveryLevel(SimdKeyRows<Sample>);
    ExpectRowsOfEveryLevel(SimdMattePlaneRows<Sample>);
}

TEST(Rows, AreHandedOutForEveryLevel) {
    ExpectRowsOfEveryLevel(SimdEnlargeRows);
    ExpectRowsOfEveryLevel(SimdEdgeRows);
    ExpectRowsOfEveryLevel(SimdPixelBoxRows);
    ExpectRowsOfEveryLevel(SimdConvertRows<float>);
    ExpectRowsOfEveryLevel(SimdScreenRows);
    ExpectRowsOfEveryLevel(SimdResampleRows);
    ExpectRowsOfDepth<unsigned short>();
    ExpectRowsOfDepth<unsigned char>();
}

}  // namespace
}  // namespace veltrane
