#ifndef VELTRANE_CLI_SHOT_TUNING_H
#define VELTRANE_CLI_SHOT_TUNING_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "media/media.h"
#include "settings/tune/tune.h"

namespace veltrane::cli {

/// A slider's or a switch's value for people.
std::string ValueText(const Parameter& row, int value);

/// How many frames of a shot are looked at unless another number is asked for.
inline constexpr int kFramesToLookAt = 5;

/// Settings found from a shot.
struct ShotTuning {
    TunedSettings found;
    std::vector<std::int64_t> frames;  ///< numbers of those looked at
    std::vector<std::int64_t> odd;     ///< those of them that the settings suit less

    /// In one line, how many frames were looked at and the sliders that were moved.
    std::string Text() const;

    /// A line for each thing that people should know of, without the shot's name.
    std::vector<std::string> Warnings() const;
};

/// Finds settings from so many frames, 1 or more, spread over the whole shot, whatever range the
/// options name, by as many threads as they name. A video whose length shows at its end only is
/// decoded up to there, or so many frames of it. Throws media::Error, also where no screen is seen,
/// and std::invalid_argument for settings out of range.
ShotTuning TuneShot(const std::string& path, media::ReadOptions options, const TuneRequest& request,
                    int frames = kFramesToLookAt, std::size_t mostDecoded = SIZE_MAX);

/// For machines: frames, sliders, errors and warnings, without the settings.
nlohmann::ordered_json AsJson(const ShotTuning& tuning);

}  // namespace veltrane::cli

#endif
