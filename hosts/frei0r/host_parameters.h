#ifndef VELTRANE_HOSTS_FREI0R_HOST_PARAMETERS_H
#define VELTRANE_HOSTS_FREI0R_HOST_PARAMETERS_H

#include <span>

#include "settings/settings.h"

namespace veltrane::frei0r {

/// A parameter as frei0r hosts see it. frei0r knows neither groups nor whole numbers nor choices:
/// integer and choice rows become doubles that stretch the row's range over 0..1.
struct HostParameter {
    const Parameter* row;
    int type;       ///< F0R_PARAM_BOOL, F0R_PARAM_DOUBLE or F0R_PARAM_COLOR
    char name[32];  ///< the row's option name in plain words: "Despill gray"
    char explanation[256];
};

/// The rows of frei0r's panel but the groups, in its order.
std::span<const HostParameter> HostParameters() noexcept;

/// Stores a value, given in the memory layout of the parameter's frei0r type. Values out of range
/// are moved to its nearer end, and NaN stands for the default.
void Store(Settings& settings, const Parameter& row, const void* value) noexcept;

/// Writes the stored value in the same layout.
void Load(const Settings& settings, const Parameter& row, void* value) noexcept;

}  // namespace veltrane::frei0r

#endif
