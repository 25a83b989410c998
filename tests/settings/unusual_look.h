#ifndef VELTRANE_TESTS_SETTINGS_UNUSUAL_LOOK_H
#define VELTRANE_TESTS_SETTINGS_UNUSUAL_LOOK_H

#include <set>

#include "settings/settings.h"

namespace veltrane {

/// The number near the row's default that is neither it nor taken.
inline int UnusualValue(const Parameter& row, std::set<int>& taken) {
    for (int distance = 3;; ++distance)
        for (const int value : {row.defaultValue + distance, row.defaultValue - distance})
            if (value >= row.minimum && value <= row.maximum && taken.insert(value).second)
                return value;
}

/// Every switch on, and no two numbers alike or at their defaults, so that none can stand in for
/// another.
inline Settings UnusualLook() {
    Settings look;
    std::set<int> taken;
    for (const Parameter& row : Parameters()) {
        if (row.kind == ParameterKind::Color)
            SetColor(look, row, {65 / 255.0, 193 / 255.0, 68 / 255.0});
        if (row.kind == ParameterKind::Switch) SetValue(look, row, 1);
        if (row.kind == ParameterKind::Integer) SetValue(look, row, UnusualValue(row, taken));
    }
    return look;
}

}  // namespace veltrane

#endif
