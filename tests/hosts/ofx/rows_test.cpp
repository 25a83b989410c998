#include <gtest/gtest.h>

#include <cstdint>

#include "tests/imaging/levels.h"

namespace veltrane::ofx {

template <class Component>
struct PixelRows;
template <class Component>
const PixelRows<Component>* SimdPixelRows();

namespace {

TEST(PixelRows, AreHandedOutForEveryLevel) {
    ExpectRowsOfEveryLevel(SimdPixelRows<std::uint8_t>);
    ExpectRowsOfEveryLevel(SimdPixelRows<std::uint16_t>);
    ExpectRowsOfEveryLevel(SimdPixelRows<float>);
}

}  // namespace
}  // namespace veltrane::ofx
