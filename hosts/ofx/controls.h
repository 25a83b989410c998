#ifndef VELTRANE_HOSTS_OFX_CONTROLS_H
#define VELTRANE_HOSTS_OFX_CONTROLS_H

#include <optional>
#include <string>
#include <string_view>

#include "hosts/ofx/abi.h"
#include "imaging/convert/convert.h"
#include "settings/plate_match.h"
#include "settings/settings.h"

namespace veltrane::ofx {

inline constexpr char kPickButton[] = "pickScreenColor";
inline constexpr char kPickLabel[] = "Pick screen colour";
inline constexpr char kFindButton[] = "findSettings";
inline constexpr char kFindLabel[] = "Find settings";

/// The row's name in the host, such as "keyColor". Saved projects and scripts hold it.
std::string ParamName(const Parameter& row);

/// The instance's values at a time, each within its range and display-referred; the default where a
/// value cannot be read.
Settings ReadSettings(Effect effect, double time);

/// What rows that are no settings tell of a host's frames.
struct FrameFacts {
    Light light = Light::kDisplay;  ///< of their colour, and of the key colour's swatch
    PlateMatch match = PlateMatch::None;
};

/// The default where a value cannot be read.
FrameFacts ReadFrameFacts(Effect effect, double time);

/// Enables the sliders that the named switch governs where it is on at the time and disables them
/// where it is off. Other names change nothing.
void UpdateGoverned(Effect effect, std::string_view switchName, double time);

/// The same for every switch at its current value, as a project may have been saved with some on.
void UpdateAllGoverned(Effect effect);

/// Names the rows as they are called before the screen chosen at the time, or now.
void UpdateLabels(Effect effect, std::optional<double> time);

/// Sets the key colour, given display-referred, and its screen, as one step of undo.
void SetKey(Effect effect, const Color& color, Screen screen, double time);

/// The same, and every slider that is found.
void SetFound(Effect effect, const Settings& found, double time);

/// Chooses the screen that the key colour at the time belongs to, if its hue tells.
void FollowKeyColor(Effect effect, double time);

}  // namespace veltrane::ofx

#endif
