#ifndef VELTRANE_CLI_PLATE_SOURCE_H
#define VELTRANE_CLI_PLATE_SOURCE_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "cli/companion.h"
#include "settings/clean_plate.h"
#include "settings/plate_match.h"

namespace veltrane::cli {

/// A plate compared with the shot's first frame.
struct PlateReport {
    double screen;                ///< part of the plate that looks like screen, 0..1
    std::optional<PlateFit> fit;  ///< nothing where too little of the screen is seen in the shot

    /// Whether a screen of the key colour is so much lighter or darker in the shot that it matters.
    bool IsLitOtherwise(const Color& keyColor) const;

    /// For people, such as "98 % looks like screen; gain 1.02 1.01 1.00 (red, green, blue), ...".
    std::string Text() const;
};

/// The empty set, for every frame of a shot.
class PlateSource {
public:
    /// As Companion.
    PlateSource(const std::string& path, const media::Info& shot, media::ReadOptions options,
                PlateMatch match);

    /// Looks at the first plate, before any other is fetched. Throws media::Error where no screen
    /// of the key colour is in it.
    PlateReport Compare(const media::Frame& shot, const Color& keyColor);

    /// As Companion's; null where one plate serves all.
    std::shared_ptr<media::Fetched> Fetch(std::int64_t shotFrame);
    /// The plate for a frame of the shot. Any number of threads at a time.
    std::shared_ptr<const media::Frame> Decode(const media::Fetched* fetched,
                                               const media::Frame& shot) const;

    /// How many frames showed too little of the screen to match a plate to.
    int unmatched() const { return unmatched_; }

private:
    Companion file_;
    PlateMatch match_;
    Color keyColor_{};
    std::shared_ptr<media::Fetched> first_;      ///< until it is asked for
    std::shared_ptr<const media::Frame> still_;  ///< that serves all
    mutable std::atomic<int> unmatched_ = 0;
};

}  // namespace veltrane::cli

#endif
