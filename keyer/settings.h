#ifndef VELTRANE_KEYER_SETTINGS_H
#define VELTRANE_KEYER_SETTINGS_H

namespace veltrane {

/// What the output shows. Hosts' projects hold the numbers, so they never change.
enum class View {
    Source = 0,
    Matte = 1,
    Result = 2,
    CleanPlate = 3,  ///< the screen that pixels are keyed against
    Status = 4,  ///< black where the matte is 0, white where it is full, a colour by height between
    Foreground = 5,  ///< the result's colour without its matte
    Spill = 6,       ///< the light that despill takes out of a composite
};

/// Whether every pixel of the view is opaque.
constexpr bool IsOpaque(View view) {
    return view != View::Source && view != View::Result;
}

/// Whether pixels that keying leaves alone are shown in the source's colour.
constexpr bool ShowsSourceColor(View view) {
    return view == View::Source || view == View::Result || view == View::Foreground;
}

/// The screen behind the subject. Hosts' projects hold the numbers.
enum class Screen { Green = 0, Blue = 1 };

/// The colour of what a core matte holds solid: without the screen's light, or the source's own.
/// Numbers as View's.
enum class CoreColor { Despilled = 0, Source = 1 };

/// The light in which the matte is the coverage of what is mixed. Numbers as View's.
enum class MatteLight {
    Automatic = 0,  ///< that in which the caller composites; taken as Display by the keyer
    Display = 1,    ///< among display-referred values, as they are keyed
    Linear = 2,
};

/// A display-referred colour, each component 0..1.
struct Color {
    double red;
    double green;
    double blue;

    bool operator==(const Color&) const = default;
};

/// The user's values in slider units, each starting at its default. What a value does and its range
/// stand in the parameter table, which takes the defaults from here.
struct Settings {
    View view = View::Result;
    Color keyColor = {0, 0, 0};  ///< black: no key chosen yet, frames pass unkeyed
    Screen screen = Screen::Green;
    bool smoothBG = true;
    int shadow = 100;
    int clipBlack = 0;
    int clipWhite = 100;
    bool deBlocking = false;
    int deBlockValue = 1;
    bool edgeContract = false;
    int contractMask = 2;
    int contractThreshold = 10;
    bool edgeBlur = false;
    int maskBlurRadius = 2;
    int maskBlurValue = 50;
    int skinHue = 0;
    int blueHue = 0;
    int despillGray = 20;
    int despillSkin = 20;
    int despillBlue = 0;
    int screenGain = 33;
    CoreColor coreColor = CoreColor::Despilled;
    MatteLight matteLight = MatteLight::Display;

    bool operator==(const Settings&) const = default;
};

}  // namespace veltrane

#endif
