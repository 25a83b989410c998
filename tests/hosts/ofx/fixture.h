#ifndef VELTRANE_TESTS_HOSTS_OFX_FIXTURE_H
#define VELTRANE_TESTS_HOSTS_OFX_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "imaging/convert/convert.h"
#include "settings/frame_keyer.h"
#include "settings/screen_color.h"
#include "tests/hosts/ofx/test_host.h"

namespace veltrane::ofx::test {

constexpr int kWidth = 40;
constexpr int kHeight = 30;
constexpr RectI kPlace{0, 0, kWidth, kHeight};

inline const std::map<std::string, AlphaState> kAlphaStates{
    {"OfxImageOpaque", AlphaState::kOpaque},
    {"OfxImageAlphaPremultiplied", AlphaState::kPremultiplied},
    {"OfxImageAlphaUnPremultiplied", AlphaState::kStraight}};

template <class Component>
inline const std::string kDepth = sizeof(Component) == 4   ? "OfxBitDepthFloat"
                                  : sizeof(Component) == 1 ? "OfxBitDepthByte"
                                                           : "OfxBitDepthShort";

/// A picture as hosts hold it: red, green, blue, alpha, here with the top row first.
template <class Component>
using Picture = std::vector<Component>;

/// A grainy screen on the left, anything on the right, alpha of every kind.
template <class Component>
Picture<Component> MakePicture(unsigned seed) {
    constexpr double kFull = sizeof(Component) == 4 ? 1 : std::numeric_limits<Component>::max();
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> any(0, 1);
    Picture<Component> picture;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const bool screen = i % kWidth < 25;
        for (const double base : {0.2, 0.7, 0.25})
            picture.push_back((screen ? base + any(random) * 0.03 : any(random)) * kFull);
        picture.push_back((screen || i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : any(random)) * kFull);
    }
    return picture;
}

/// What the library makes of a picture, converted as an independent test of conversions proves it.
template <class Component>
Picture<Component> Keyed(const Settings& settings, const Picture<Component>& picture,
                         AlphaState from = AlphaState::kStraight,
                         AlphaState to = AlphaState::kStraight, Light light = Light::kDisplay,
                         const KeyInputs<SampleFor<Component>>& inputs = {}) {
    using Sample = SampleFor<Component>;
    const FloatRestorer::Formats formats{{PixelOrder::kRgba, from, {}, light},
                                         {PixelOrder::kRgba, to, {}, light}};
    const PixelReader<Component> reader(formats.source);
    const PixelWriter<Component> writer(formats.target);
    const FloatRestorer restorer(formats);
    Picture<Component> result(picture.size());
    const auto write = [&](int y, const Sample* row) {
        if constexpr (sizeof(Component) == 4)
            restorer(&picture[4 * kWidth * y], row, &result[4 * kWidth * y], kWidth);
        else
            writer(row, &result[4 * kWidth * y], kWidth);
    };
    Key<Sample>(
        settings, kWidth, kHeight,
        {nullptr, [&](int y, Sample* row) { reader(&picture[4 * kWidth * y], row, kWidth); }},
        {nullptr, write}, {}, inputs);
    return result;
}

/// A picture as a frame of 16 bits.
template <class Component>
std::vector<std::uint16_t> Wide(const Picture<Component>& picture,
                                AlphaState alpha = AlphaState::kStraight,
                                Light light = Light::kDisplay) {
    std::vector<SampleFor<Component>> narrow(picture.size());
    PixelReader<Component>({PixelOrder::kRgba, alpha, {}, light})(picture.data(), narrow.data(),
                                                                  kWidth * kHeight);
    std::vector<std::uint16_t> frame(narrow.begin(), narrow.end());
    for (std::uint16_t& sample : frame) sample *= sizeof(Component) == 1 ? 257 : 1;
    return frame;
}

/// The colour of the screen that the library finds.
template <class Component>
Color FoundIn(const Picture<Component>& picture, AlphaState alpha, Light light) {
    return FindScreenColor(kWidth, kHeight, Wide(picture, alpha, light).data()).value().color;
}

/// Whether the image shows the picture in the window, and transparent black beyond the picture.
template <class Component>
[[nodiscard]] bool Shows(TestImage& image, const Picture<Component>& picture,
                         const RectI& window = kPlace, const RectI& place = kPlace) {
    for (int y = window.y1; y < window.y2; ++y)
        for (int x = window.x1; x < window.x2; ++x) {
            Component pixel[4] = {};
            if (x >= place.x1 && x < place.x2 && y >= place.y1 && y < place.y2)
                std::copy_n(&picture[4 * (kWidth * (place.y2 - 1 - y) + x - place.x1)], 4, pixel);
            if (std::memcmp(image.At(x, y), pixel, sizeof pixel) != 0) return false;
        }
    return true;
}

inline const Picture<float> kBlack(4 * kWidth * kHeight);

/// A source that shows a picture and an output, connected to a host's clips.
template <class Component>
struct Images {
    using Plan = TestImage::Plan;

    Images(TestHost& host, const Picture<Component>& picture, const Plan& from = kPlan,
           const Plan& to = kPlan)
        : source(from), output(to) {
        const RectI& place = from.bounds;
        for (int y = place.y1; y < place.y2; ++y)
            std::memcpy(source.At(place.x1, y), &picture[4 * kWidth * (place.y2 - 1 - y)],
                        4 * kWidth * sizeof(Component));
        source.HandOut();
        output.HandOut();
        host.clips["Source"].image = [this](double) { return &source; };
        host.clips["Output"].image = [this](double) { return &output; };
    }

    inline static const Plan kPlan{kPlace, kDepth<Component>};
    TestImage source, output;
};

using Texts = std::vector<std::string>;

/// The host's name of each row by its id; the buttons are none.
inline std::map<int, std::string> NamesIn(const TestHost& host) {
    std::map<int, std::string> names;
    auto name = host.order.begin();
    for (const Parameter* row : Panel(Host::OpenFx)) {
        while (*name == "pickScreenColor" || *name == "findSettings") ++name;
        names[row->id] = *name++;
    }
    EXPECT_EQ(name, host.order.end());
    return names;
}

inline void Enter(TestHost& host, const Settings& look) {
    for (const auto& [id, name] : NamesIn(host)) {
        const Parameter& row = ParameterOf(ParameterId(id));
        if (row.kind == ParameterKind::Color)
            host.Set(name, {look.keyColor.red, look.keyColor.green, look.keyColor.blue});
        else if (IsSetting(row))
            host.Set(name, {double(ValueOf(look, row))});
    }
}

class OfxPlugin : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(TestHost::TakeFaults(), Texts{}); }
};

using Components = testing::Types<std::uint8_t, std::uint16_t, float>;

/// Lays the left part of a picture of the frame's size into an image and connects that.
template <class Component>
void Connect(TestHost& host, const char* clip, TestImage& image, const Picture<Component>& shown,
             int width = kWidth) {
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(image.At(0, y), &shown[4 * kWidth * (kHeight - 1 - y)],
                    4 * width * sizeof(Component));
    EXPECT_EQ(Get<int>(host.clips.at(clip).bag, "OfxImageClipPropOptional"), 1);
    host.clips[clip].image = [&image](double) { return &image; };
    host.clips[clip].bag["OfxImageClipPropConnected"] = {1};
}

}  // namespace veltrane::ofx::test

#endif
