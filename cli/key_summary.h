#ifndef VELTRANE_CLI_KEY_SUMMARY_H
#define VELTRANE_CLI_KEY_SUMMARY_H

#include <optional>
#include <string>

#include "cli/frame_pipeline.h"
#include "cli/key_color.h"
#include "cli/plate_source.h"
#include "cli/shot_tuning.h"
#include "cli/step_times.h"
#include "settings/settings.h"

namespace veltrane::cli {

/// A line on standard error that tells which key colour is used and why.
void SayKeyColor(const KeyColor& key);

/// What became of a shot that was keyed.
struct KeySummary {
    FrameCounts counts;
    StepTimes times;
    double seconds = 0;
    Settings settings;
    std::optional<KeyColor> key;
    std::optional<PlateReport> plate;
    std::optional<ShotTuning> tuning;

    /// Frames written in a second.
    double Rate() const;
    /// On one line; matte is empty where it has no file of its own.
    std::string ForPeople(const std::string& output, const std::string& matte) const;
    std::string AsJson(const std::string& input, const std::string& output,
                       const std::string& matte) const;
};

}  // namespace veltrane::cli

#endif
