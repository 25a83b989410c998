#ifndef VELTRANE_KEYER_SCREEN_KIND_H
#define VELTRANE_KEYER_SCREEN_KIND_H

#include <array>

#include "keyer/settings.h"

namespace veltrane {

/// The hues of a bound between which a slider moves it, in degrees.
struct HueRange {
    int low;   ///< at the slider's lower end
    int high;  ///< at its upper one; below low where the slider runs against the hues

    constexpr bool Holds(int hue) const {
        return (low <= hue && hue <= high) || (high <= hue && hue <= low);
    }
};

/// All that tells the screens apart. In the plane of I and Q, skin and hair lie on one side of a
/// screen's hue and the neighbour that is to be told from it on the other: blue beside green, and
/// green beside blue. To the axis through I, on which skin lies, blue is about what green is on the
/// other side, so that the construction for blue is that for green in a mirror.
struct ScreenKind {
    double turn;         ///< 1 where hues ascend from skin to the screen, -1 in the mirror
    HueRange skin;       ///< bound of the hues of skin and hair
    HueRange neighbour;  ///< bound of those of the neighbour
    std::array<unsigned char, 4> marksEmpty;  ///< elements that are 0 in empty pixels alone
};

inline constexpr ScreenKind kGreenScreen{1, {120, 170}, {250, 330}, {0, 0, 255, 0}};
/// A blue screen may well be without red, but not without blue.
inline constexpr ScreenKind kBlueScreen{-1, {150, 70}, {300, 220}, {255, 0, 0, 0}};

constexpr const ScreenKind& KindOf(Screen screen) {
    return screen == Screen::Blue ? kBlueScreen : kGreenScreen;
}

}  // namespace veltrane

#endif
