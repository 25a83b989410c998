#ifndef VELTRANE_HOSTS_OFX_CONTROLS_H
#define VELTRANE_HOSTS_OFX_CONTROLS_H

#include <string>
#include <string_view>

#include "hosts/ofx/abi.h"
#include "settings/settings.h"

namespace veltrane::ofx {

inline constexpr char kPickButton[] = "pickScreenColor";
inline constexpr char kPickLabel[] = "Pick screen colour";

/// The row's name in the host, such as "keyColor". Saved projects and scripts hold it.
std::string ParamName(const Parameter& row);

/// The instance's values at a time, each within its range; the default where a value cannot be
/// read.
Settings ReadSettings(Effect effect, double time);

/// The same look at a proxy's scale: radii are multiplied, rounded, and at least 1.
void ScaleRadii(Settings& settings, double scale);

/// Enables the sliders that the named switch governs where it is on at the time and disables them
/// where it is off. Other names change nothing.
void UpdateGoverned(Effect effect, std::string_view switchName, double time);

/// The same for every switch at its current value, as a project may have been saved with some on.
void UpdateAllGoverned(Effect effect);

/// Sets the key colour, as one step of undo.
void SetKeyColor(Effect effect, const Color& color);

}  // namespace veltrane::ofx

#endif
