#ifndef VELTRANE_CLI_TUNE_COMMAND_H
#define VELTRANE_CLI_TUNE_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>

#include "cli/shot_tuning.h"
#include "media/media.h"

namespace veltrane::cli {

/// `veltrane tune`: settings found from a shot.
class TuneCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run();
    static void PrintForPeople(const TunedSettings& found);

    std::string input_;
    std::string savePreset_;
    std::string screen_;
    int framesToLookAt_ = kFramesToLookAt;
    media::Transfer transfer_ = media::Transfer::Automatic;
    media::ColorSpaces spaces_;
    int threads_ = 0;
    std::string cpu_;
    bool json_ = false;
};

}  // namespace veltrane::cli

#endif
