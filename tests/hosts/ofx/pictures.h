#ifndef VELTRANE_TESTS_HOSTS_OFX_PICTURES_H
#define VELTRANE_TESTS_HOSTS_OFX_PICTURES_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "settings/settings.h"
#include "tests/hosts/ofx/test_host.h"

// Pictures as hosts hold them (red, green, blue, alpha, the top row first) and their way through
// the library, in arithmetic as plain as can be.
namespace veltrane::ofx::test {

inline constexpr int kWidth = 40;
inline constexpr int kHeight = 30;

inline constexpr char kOpaque[] = "OfxImageOpaque";
inline constexpr char kPremultiplied[] = "OfxImageAlphaPremultiplied";
inline constexpr char kStraight[] = "OfxImageAlphaUnPremultiplied";

template <class Component>
using Picture = std::vector<Component>;
template <class Component>
using Sample = std::conditional_t<sizeof(Component) == 1, std::uint8_t, std::uint16_t>;

template <class Component>
inline constexpr bool kIsFloat = std::is_floating_point_v<Component>;
template <class Component>
inline constexpr long long kFull = kIsFloat<Component> ? 1
                                                       : (1 << 8 * sizeof(Sample<Component>)) - 1;
template <class Component>
inline constexpr const char* kDepth = kIsFloat<Component>      ? "OfxBitDepthFloat"
                                      : sizeof(Component) == 1 ? "OfxBitDepthByte"
                                                               : "OfxBitDepthShort";
/// Where the keyer holds red, green, blue and alpha.
template <class Component>
inline constexpr int kPlaces[4] = {sizeof(Component) == 1 ? 1 : 2, sizeof(Component) == 1 ? 2 : 1,
                                   sizeof(Component) == 1 ? 3 : 0, sizeof(Component) == 1 ? 0 : 3};

/// A grainy screen on the left, anything on the right, alpha of every kind.
template <class Component>
Picture<Component> MakePicture(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> any(0, 1);
    Picture<Component> picture;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const bool screen = i % kWidth < 25;
        for (const double base : {0.2, 0.7, 0.25}) {
            double value = screen ? base + any(random) * 0.03 : any(random);
            if (kIsFloat<Component> && !screen) value = value * 1.4 - 0.2;
            picture.push_back(static_cast<Component>(value * kFull<Component>));
        }
        const double alpha = screen || i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : any(random);
        picture.push_back(static_cast<Component>(alpha * kFull<Component>));
    }
    if (kIsFloat<Component>) picture[30 * 4] = std::nanf("");
    return picture;
}

/// Color / alpha and color * alpha, integers in their nearest steps by whole-number division.
template <class Component>
Component Divided(Component color, Component alpha) {
    if (!(alpha > 0)) return 0;
    if constexpr (kIsFloat<Component>) {
        return color / alpha;
    } else {
        constexpr long long full = kFull<Component>;
        return static_cast<Component>(std::min((2 * color * full + alpha) / (2 * alpha), full));
    }
}

template <class Component>
Component Multiplied(Component color, Component alpha) {
    if constexpr (kIsFloat<Component>) {
        return color * alpha;
    } else {
        constexpr long long full = kFull<Component>;
        return static_cast<Component>((2LL * color * alpha + full) / (2 * full));
    }
}

template <class Component>
Sample<Component> ToSample(Component value) {
    if constexpr (!kIsFloat<Component>) return value;
    const double scaled = std::floor(value * 65535.0);
    return scaled > 0 ? static_cast<Sample<Component>>(std::min(scaled, 65535.0)) : 0;
}

template <class Component>
std::vector<Sample<Component>> ToFrame(const Picture<Component>& picture,
                                       const std::string& state) {
    std::vector<Sample<Component>> frame(picture.size());
    for (std::size_t i = 0; i < picture.size(); ++i) {
        Component value = picture[i];
        if (i % 4 == 3 && state == kOpaque) value = kFull<Component>;
        if (i % 4 != 3 && state == kPremultiplied) value = Divided(value, picture[i | 3]);
        frame[i / 4 * 4 + kPlaces<Component>[i % 4]] = ToSample(value);
    }
    return frame;
}

/// What the library makes of a picture.
template <class Component>
Picture<Component> Keyed(const Settings& settings, const Picture<Component>& picture,
                         const std::string& state, bool premultiply) {
    const auto frame = ToFrame(picture, state);
    auto keyed = frame;
    Key(settings, kWidth, kHeight, frame.data(), keyed.data());
    Picture<Component> result(picture.size());
    for (std::size_t i = result.size(); i-- > 0;) {
        const auto sample = keyed[i / 4 * 4 + kPlaces<Component>[i % 4]];
        result[i] = kIsFloat<Component> ? sample / 65535.0f : sample;
        if (premultiply && i % 4 != 3) result[i] = Multiplied(result[i], result[i | 3]);
    }
    return result;
}

/// Copies the part of a picture that lies at place within the window into an image, or compares it.
template <class Component>
void Draw(const Picture<Component>& picture, const RectI& place, TestImage& image) {
    for (int y = place.y1; y < place.y2; ++y)
        std::memcpy(image.At(place.x1, y), &picture[4 * kWidth * (place.y2 - 1 - y)],
                    4 * kWidth * sizeof(Component));
}

/// Whether the image shows the picture in the window and transparent black where there is none.
template <class Component>
[[nodiscard]] bool Shows(TestImage& image, const RectI& window, const Picture<Component>& picture,
                         const RectI& place) {
    for (int y = window.y1; y < window.y2; ++y)
        for (int x = window.x1; x < window.x2; ++x) {
            Component pixel[4] = {};
            if (x >= place.x1 && x < place.x2 && y >= place.y1 && y < place.y2)
                std::copy_n(&picture[4 * (kWidth * (place.y2 - 1 - y) + x - place.x1)], 4, pixel);
            if (std::memcmp(image.At(x, y), pixel, sizeof pixel) != 0) return false;
        }
    return true;
}

}  // namespace veltrane::ofx::test

#endif
