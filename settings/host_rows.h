#ifndef VELTRANE_SETTINGS_HOST_ROWS_H
#define VELTRANE_SETTINGS_HOST_ROWS_H

#include <cstdint>

#include "keyer/final_cut.h"
#include "settings/settings.h"

namespace veltrane {

/// Key for a host's frame whose rows are converted on their way: the same bits as Key, without
/// passes over whole frames before and after. Both depths have rows of blue, green, red, alpha.
/// Throws as Key does, before anything is written. What read and write throw passes through as it
/// is; the rows that were written by then stay written.
void Key(const Settings& settings, int width, int height, const HostRows<std::uint16_t>& rows);
void Key(const Settings& settings, int width, int height, const HostRows<std::uint8_t>& rows);

}  // namespace veltrane

#endif
