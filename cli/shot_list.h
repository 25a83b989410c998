#ifndef VELTRANE_CLI_SHOT_LIST_H
#define VELTRANE_CLI_SHOT_LIST_H

#include <string>
#include <vector>

namespace veltrane::cli {

/// A shot among others.
struct Shot {
    std::string name;
    std::string input;
    std::string output;
    std::string preset;  ///< SHOT.veltrane.json beside it; empty where there is none
};

/// The videos, sequences and stills in a folder, or those that a list (.txt) names, one a line: an
/// input, and after a tab an output if it is not to be chosen. Outputs lie in the folder `output`:
/// mov for videos, images of the kind that comes in or can hold alpha, or `extension` for all.
/// Throws files::Error when there are none and UsageError when two would be one output.
std::vector<Shot> ListShots(const std::string& source, const std::string& output,
                            const std::string& extension);

/// Whether it is a folder or a list.
bool HoldsShots(const std::string& source);

/// The shot with its preset, to be written to a file, sequence or folder of choice.
Shot ShotOf(const std::string& input, const std::string& output);

/// Makes the folder that an output lies in, where there is none. Throws files::Error.
void MakeFolderFor(const std::string& output);

}  // namespace veltrane::cli

#endif
