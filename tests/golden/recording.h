#ifndef VELTRANE_TESTS_GOLDEN_RECORDING_H
#define VELTRANE_TESTS_GOLDEN_RECORDING_H

// Results are held to digests that were recorded while a plain, second writing of every routine and
// all vector forms agreed on them. VELTRANE_RECORD=1 makes the test program print the lines of
// digests.h as they would be now; only a proven fault is a reason to replace one there.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

#include "tests/golden/digests.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {

/// Of whole numbers and the bits of floats, in the order in which they are added.
class Digest {
public:
    template <class... Values>
    void Add(const Values&... values) {
        (AddOne(values), ...);
    }
    std::uint64_t Value() const { return value_; }

private:
    template <class Value>
    void AddOne(const Value& value) {
        if constexpr (std::is_same_v<Value, float>) {
            std::uint32_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            value_ = (value_ ^ bits) * 0x100000001B3u;
        } else if constexpr (std::is_integral_v<Value>) {
            value_ = (value_ ^ std::uint64_t(value)) * 0x100000001B3u;
        } else {
            for (const auto& one : value) AddOne(one);
        }
    }

    std::uint64_t value_ = 0xCBF29CE484222325u;
};

/// Holds what make16() and make8() return, with every form of the row functions, to the line of
/// that name.
template <class Make16, class Make8>
void ExpectRecorded(const std::string& name, Make16 make16, Make8 make8) {
    if (std::getenv("VELTRANE_RECORD") != nullptr) {
        std::printf("    {\"%s\", 0x%016jX, 0x%016jX},\n", name.c_str(), std::uintmax_t{make16()},
                    std::uintmax_t{make8()});
        GTEST_SKIP() << "recording";
    }
    const auto recorded = std::find_if(std::begin(kDigests), std::end(kDigests),
                                       [&](const Recorded& line) { return line.name == name; });
    ASSERT_NE(recorded, std::end(kDigests));
    const auto check = [&] {
        EXPECT_EQ(make16(), recorded->sixteen) << "16 bits";
        EXPECT_EQ(make8(), recorded->eight) << "8 bits";
    };
    AtEveryLevel(check);
}

}  // namespace veltrane::testing

#endif
