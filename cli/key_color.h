#ifndef VELTRANE_CLI_KEY_COLOR_H
#define VELTRANE_CLI_KEY_COLOR_H

#include <optional>
#include <string>
#include <variant>

#include "media/media.h"
#include "settings/screen_color.h"

namespace veltrane::cli {

/// The side, in pixels, of the square around a spot whose mean is taken.
inline constexpr int kSampleSide = 9;

struct FindScreen {};

/// The mean of a small square around a spot of a frame, by default of the first one read.
struct SampleAt {
    int x;
    int y;
    std::optional<std::int64_t> frame;
};

using KeyColorRequest = std::variant<FindScreen, SampleAt, Color>;

/// Reads "auto", "#rrggbb", "r,g,b" or "x,y[@frame]". Throws UsageError for anything else.
KeyColorRequest ParseKeyColor(const std::string& text);

/// What is known of the screen's kind beforehand.
struct ScreenHint {
    std::optional<Screen> demanded;  ///< a key colour must not be that of the other one
    std::optional<Screen> usual;     ///< where neither that nor a key colour's hue tells
};

/// A key colour, the screen that it belongs to and, for people, where it came from; coverage only
/// of a screen that was found.
struct KeyColor {
    Color color;
    Screen screen;
    std::string origin;
    std::optional<double> coverage;
};

/// Carries the request out on the first frame read, or on another frame of the same input. Throws
/// media::Error when no screen is there to be found and UsageError for a spot outside the frame
/// or the colour of another screen than the one demanded.
KeyColor Resolve(const KeyColorRequest& request, const ScreenHint& hint, const media::Frame& first,
                 const std::string& input, media::ReadOptions options);

/// "green" or "blue".
std::string ScreenName(Screen screen);

}  // namespace veltrane::cli

#endif
