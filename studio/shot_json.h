#ifndef VELTRANE_STUDIO_SHOT_JSON_H
#define VELTRANE_STUDIO_SHOT_JSON_H

#include <string>
#include <vector>

#include "studio/json.h"
#include "studio/root_folder.h"
#include "studio/shot.h"

namespace veltrane::studio {

// How shots, settings and the parameter table stand in requests and answers.

/// The rows of the parameter table, with settings as presets hold them.
Json ParametersJson();

/// What a file of the shot holds.
Json ShotJson(Shot& shot);

/// The settings found, as the page begins with them: with a key colour of "auto" where that is what
/// is found automatically.
Json TunedJson(const cli::ShotTuning& tuning, const Json& automatic);

/// The same in words.
Json TuneReport(const cli::ShotTuning& tuning);

/// Settings as presets hold them; a key colour of "auto", or none, is what is found
/// in the shot, with its screen. Throws Refusal and std::invalid_argument for values that there
/// are not, and media::Error where no screen is found.
Settings ReadSettings(Json values, Shot& shot);

/// The settings with what is left to the shot decided: its matte is for the light that its files
/// hold, whatever file a render is written to, so that it comes out as it is shown.
Settings SettledBy(const Shot& shot, const Settings& settings);

/// The members of a request's inputs.
const std::vector<std::string>& InputNames();

/// The files and drawings of a request, within the root.
cli::InputFiles ReadInputs(const Json& request, const RootFolder& root);

}  // namespace veltrane::studio

#endif
