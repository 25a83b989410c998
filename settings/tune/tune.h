#ifndef VELTRANE_SETTINGS_TUNE_TUNE_H
#define VELTRANE_SETTINGS_TUNE_TUNE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "imaging/threads.h"
#include "settings/settings.h"
#include "settings/tune/look.h"

namespace veltrane {

/// What a shot says of its settings.
enum class ShotKind {
    Usual,
    NoScreen,      ///< no key colour is given and none is found: nothing was tuned
    LittleScreen,  ///< hardly a pixel is surely screen: nothing was tuned
    NoSubject,     ///< hardly anything but screen: only that is made clean
};

/// A slider or switch that was moved.
struct TunedSlider {
    ParameterId id;
    int from;
    int to;
    /// By how much the expected error would be higher without it, of 0..1; none for what softens
    /// edges, which that error leaves out.
    std::optional<double> gain;
};

struct TunedSettings {
    ShotKind kind = ShotKind::Usual;
    Settings settings;
    std::vector<TunedSlider> sliders;
    double errorBefore = 0;  ///< mean error expected of mattes made by the settings given, 0..1,
    double errorAfter = 0;   ///< and by those found
    double screen = 0;       ///< part of the frames that is surely screen,
    double subject = 0;      ///< surely subject,
    double unknown = 0;      ///< and neither
    /// Which frames looked at, counted from 0, show no screen or would be keyed worse than before.
    std::vector<std::size_t> odd;
};

/// What is known beforehand. Sliders named as fixed stay; others start from the settings given,
/// whose key colour, unless it is black, and switches stay too.
struct TuneRequest {
    Settings settings{};
    std::vector<ParameterId> fixed{};
    std::optional<Screen> screen{};  ///< the only kind of screen to look for
};

/// What tuning may set beside the key colour.
std::span<const ParameterId> TunedParameters();

/// Finds the settings that suit a shot from some of its frames, of which it holds only a reduced
/// part. The same frames in the same order give the same settings on every machine, by any number
/// of threads.
class ShotTuner {
public:
    /// Frames of width x height pixels, each side 1..65535. Throws std::invalid_argument for
    /// sizes and settings out of range.
    ShotTuner(int width, int height, TuneRequest request = {});

    /// Looks at a frame of 16 bits: blue, green, red, alpha, packed. plate, of the same size, is
    /// what it is keyed against instead of a model where it is not null. Throws std::bad_alloc.
    void Look(const std::uint16_t* frame, const Threads& threads = {},
              const std::uint16_t* plate = nullptr);

    /// Finds the settings for the frames looked at.
    TunedSettings Find(const Threads& threads = {}) const;

private:
    int width_;
    int height_;
    TuneRequest request_;
    bool hasKey_;
    std::size_t frames_ = 0;
    std::vector<std::size_t> numbers_;  ///< of the frames that the looks are of
    std::vector<FrameLook> looks_;
};

/// The same in one call.
TunedSettings Tune(std::span<const std::uint16_t* const> frames, int width, int height,
                   const TuneRequest& request = {}, const Threads& threads = {});

}  // namespace veltrane

#endif
