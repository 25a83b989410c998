#ifndef VELTRANE_TESTS_HOSTS_FREI0R_EXPECTED_H
#define VELTRANE_TESTS_HOSTS_FREI0R_EXPECTED_H

#include <gtest/gtest.h>

#include "settings/presets.h"

namespace veltrane {

/// The rows that are parameters.
inline std::vector<Parameter> Rows() {
    std::vector<Parameter> rows;
    for (const Parameter& row : Parameters())
        if (row.kind != ParameterKind::Group) rows.push_back(row);
    return rows;
}

/// A value's place in its range, 0 to 1.
inline double Share(const Parameter& row, int value) {
    return double(value - row.minimum) / (row.maximum - row.minimum);
}

/// Settings in which nearly every value is other than its default.
inline const Settings kEverything = FromJson(
    R"({"key-color": "#41c144", "shadow": 61, "clip-black": 7, "clip-white": 93,
        "deblocking": true, "deblock-value": 2, "edge-contract": true, "contract-mask": 4,
        "contract-threshold": 7, "edge-blur": true, "mask-blur-radius": 3, "mask-blur-value": 35,
        "skin-hue": -8, "blue-hue": 11, "despill-gray": 33, "despill-skin": 44,
        "despill-blue": 55, "screen-gain": 66})",
    "");
inline const Settings kMatte =
    FromJson(R"({"key-color": "#40b838", "view": "matte", "smooth-bg": false})", "");

/// What the library makes of an RGBA frame, with the bytes moved one by one.
inline std::string Keyed(const Settings& settings, int width, int height, std::string_view source) {
    std::vector<std::uint8_t> in, out(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) in.push_back(source[i % 4 ? i - 1 : i + 3]);
    Key(settings, width, height, in.data(), out.data());
    std::string result(source);
    for (std::size_t i = 0; i < out.size(); ++i) result[i % 4 ? i - 1 : i + 3] = char(out[i]);
    return result;
}

}  // namespace veltrane

#endif
