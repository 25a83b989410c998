#ifndef VELTRANE_SETTINGS_SETTINGS_H
#define VELTRANE_SETTINGS_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/threads.h"
#include "keyer/settings.h"
#include "settings/parameters.h"

namespace veltrane {

/// Reads the value of a choice, switch or integer row; throws std::invalid_argument for other rows.
int ValueOf(const Settings& settings, const Parameter& parameter);

/// Sets the value of a choice, switch or integer row. The range is not checked; Problems does that.
void SetValue(Settings& settings, const Parameter& parameter, int value);

/// Reads and sets the value of a colour row; both throw std::invalid_argument for other rows.
Color ColorOf(const Settings& settings, const Parameter& parameter);
void SetColor(Settings& settings, const Parameter& parameter, const Color& color);

/// The settings with an automatic matte light settled: linear where the caller composites what is
/// keyed in linear light.
Settings SettledFor(Settings settings, bool compositesInLinearLight);

/// One line for each value out of range, such as "shadow must be 0 to 100, not 140".
std::vector<std::string> Problems(const Settings& settings);

/// The same look at a proxy's scale: lengths in pixels are multiplied, rounded, and kept in range.
void ScaleRadii(Settings& settings, double scale);

/// The nearest colour whose components are whole steps of 1/255. The clean plate is 8-bit, and only
/// such a colour fills its gaps unchanged.
Color SnapToByteSteps(Color color);

/// "#rrggbb" of the snapped colour, and such a text's colour, or nothing for any other text.
std::string HexText(Color color);
std::optional<Color> ParseHexColor(std::string_view text);

/// Keys one frame of 16 bits a channel: blue, green, red, alpha, straight, display-referred, packed
/// rows, full scale 65535. Both frames hold width x height pixels, each side 1..65535, and do not
/// overlap. The key colour is snapped with SnapToByteSteps. Throws std::invalid_argument for
/// settings or sizes out of range and std::bad_alloc when memory runs out; at most two more frames
/// are held during the call. Where threads are lent, they share the rows.
void Key(const Settings& settings, int width, int height, const std::uint16_t* source,
         std::uint16_t* destination, const Threads& threads = {});

/// The same for 8 bits a channel in the order alpha, red, green, blue, full scale 255.
void Key(const Settings& settings, int width, int height, const std::uint8_t* source,
         std::uint8_t* destination, const Threads& threads = {});

}  // namespace veltrane

#endif
