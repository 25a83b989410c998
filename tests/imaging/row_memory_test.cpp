#include "imaging/row_memory.h"

#include <gtest/gtest.h>

namespace veltrane::testing {
namespace {

const char kMemory[100] = {};

/// Where a stretch lies in the memory above, and its size.
std::pair<std::ptrdiff_t, std::size_t> Place(Stretch stretch) {
    return {stretch.size == 0 ? 0 : stretch.begin - kMemory, stretch.size};
}

using Range = std::pair<std::ptrdiff_t, std::size_t>;

TEST(RowMemory, TellsWhereRowsLie) {
    const RowMemory down{kMemory, 10, 8, 5};
    EXPECT_EQ(Place(down.Rows(1, 3)), Range(10, 18));
    EXPECT_EQ(Place(down.Rows(3, 11)), Range(30, 18));
    EXPECT_EQ(Place(down.Rows(5, 13)), Range(0, 0));
    const RowMemory up{kMemory + 40, -10, 8, 5};
    EXPECT_EQ(Place(up.Rows(0, 1)), Range(40, 8));
    EXPECT_EQ(Place(up.Rows(1, 3)), Range(20, 18));
    EXPECT_EQ(Place(up.Rows(3, 11)), Range(0, 18));
    EXPECT_EQ(Place(RowMemory{kMemory, 17, 8, 5}.Rows(0, 2)), Range(0, 0)) << "mostly other memory";
    EXPECT_EQ(Place(RowMemory{}.Rows(0, 2)), Range(0, 0));
}

}  // namespace
}  // namespace veltrane::testing
