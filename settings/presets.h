#ifndef VELTRANE_SETTINGS_PRESETS_H
#define VELTRANE_SETTINGS_PRESETS_H

#include <string>
#include <string_view>

#include "settings/settings.h"

namespace veltrane {

/// The settings as a JSON object, one member a parameter under its option name; the key colour as
/// "#rrggbb", the view by name.
std::string ToJson(const Settings& settings);

/// Settings from such an object; members that are missing keep their defaults. Throws
/// std::invalid_argument with one line that names origin (a file, say) and the offending member for
/// malformed text, unknown members, wrong types, values out of range and text beyond a megabyte.
Settings FromJson(std::string_view text, const std::string& origin);

/// FromJson on a file. Throws std::runtime_error when the file cannot be read.
Settings ReadPreset(const std::string& path);

/// Writes the file whole or not at all, as files::WholeFile does. Throws std::runtime_error when it
/// cannot.
void WritePreset(const std::string& path, const Settings& settings);

}  // namespace veltrane

#endif
