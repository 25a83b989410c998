#ifndef VELTRANE_STUDIO_COMMAND_LINE_H
#define VELTRANE_STUDIO_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

#include "cli/shot_inputs.h"
#include "media/media.h"
#include "settings/settings.h"

namespace veltrane::studio {

/// What `veltrane key` is to do.
struct KeyCall {
    std::string input;
    std::string output;
    Settings settings;
    cli::InputFiles inputs;  ///< files alone, nothing drawn
    std::optional<media::FrameRange> frames{};
    /// Options that are no settings, by name and value, such as {"alpha", "straight"}.
    std::vector<std::pair<std::string, std::string>> options{};
};

/// The arguments of the command, "key" first: settings that differ from their defaults, and none
/// that has no effect.
std::vector<std::string> Arguments(const KeyCall& call);

/// The whole line, quoted for a shell.
std::string ShellLine(const std::vector<std::string>& arguments);

}  // namespace veltrane::studio

#endif
