#include "hosts/ofx/render.h"

#include <algorithm>
#include <type_traits>
#include <vector>

#include "hosts/ofx/controls.h"
#include "hosts/ofx/inputs.h"
#include "hosts/ofx/threads.h"
#include "imaging/sample.h"
#include "settings/frame_keyer.h"

namespace veltrane::ofx {

namespace {

PixelFormat FormatOf(AlphaState alpha, Light light) {
    return {PixelOrder::kRgba, alpha, FloatRounding::kNearest, light};
}

/// Gives rows of an image's picture counted from the top, as the keyer's result depends on the
/// order.
template <class Component>
auto RowsFrom(const Image& image, Light light) {
    const PixelReader<Component> reader(FormatOf(image.alpha(), light));
    return [&image, reader](int y, SampleFor<Component>* row) {
        const RectI& frame = image.picture();
        reader(image.Pixel<const Component>(frame.x1, frame.y2 - 1 - y), row, Width(frame));
    };
}

/// Takes rows of the source's picture counted from the top; shared is what of them is asked for.
/// Floats that show the source keep what the keyer cannot hold of it.
template <class Component>
auto RowsTo(const Image& source, const Image& output, const FloatRestorer::Formats& formats,
            View view, const RectI& shared) {
    const PixelWriter<Component> writer(formats.target);
    const FloatRestorer restorer(formats);
    return [=, &source, &output](int row, const SampleFor<Component>* keyed) {
        const RectI& frame = source.picture();
        const int y = frame.y2 - 1 - row;
        if (IsEmpty(shared) || y < shared.y1 || y >= shared.y2) return;
        keyed += kElements * (shared.x1 - frame.x1);
        Component* pixels = output.Pixel<Component>(shared.x1, y);
        if constexpr (std::is_same_v<Component, float>) {
            const float* given = source.Pixel<const float>(shared.x1, y);
            if (ShowsSourceColor(view)) return restorer(given, keyed, pixels, Width(shared));
        }
        writer(keyed, pixels, Width(shared));
    };
}

template <class Component>
void ClearRow(const Image& output, int y, int from, int to) {
    if (from < to)
        std::fill_n(output.Pixel<Component>(from, y), std::ptrdiff_t{kElements} * (to - from),
                    Component{});
}

/// Transparent black where the window lies beyond the frame.
template <class Component>
void ClearAround(const RectI& frame, const Image& output, const RectI& window) {
    const RectI shared = Intersection(frame, window);
    for (int y = window.y1; y < window.y2; ++y) {
        if (IsEmpty(shared) || y < shared.y1 || y >= shared.y2) {
            ClearRow<Component>(output, y, window.x1, window.x2);
        } else {
            ClearRow<Component>(output, y, window.x1, shared.x1);
            ClearRow<Component>(output, y, shared.x2, window.x2);
        }
    }
}

/// A whole frame of 16 bits.
template <class Sample>
std::vector<std::uint16_t> WideFrame(const RowSource<Sample>& rows, int width, int height) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    std::vector<std::uint16_t> frame(pitch * height);
    RowReader<Sample> read(rows, width);
    for (int y = 0; y < height; ++y) WidenRow(read(y), frame.data() + y * pitch, width);
    return frame;
}

struct WidePicture {
    int width;
    int height;
    std::vector<std::uint16_t> pixels;
};

template <class Component>
WidePicture WideSource(const Image& source, Light light) {
    const int width = Width(source.picture()), height = Height(source.picture());
    const RowSource<SampleFor<Component>> rows{nullptr, RowsFrom<Component>(source, light)};
    return {width, height, WideFrame(rows, width, height)};
}

template <class Sample>
std::vector<Sample> MatchedPlate(PlateMatch match, int width, int height,
                                 const RowSource<Sample>& shot, const RowSource<Sample>& plate,
                                 const Color& keyColor) {
    std::vector<std::uint16_t> wide = WideFrame(plate, width, height);
    MatchPlate(match, width, height, WideFrame(shot, width, height).data(), wide.data(), keyColor);
    std::vector<Sample> matched(wide.size());
    NarrowRow(wide.data(), matched.data(), std::ptrdiff_t{width} * height);
    return matched;
}

AlphaState WrittenAlpha(const Image& output, AlphaState source) {
    return output.alpha() == AlphaState::kOpaque ? DeliveredAlpha(source) : output.alpha();
}

template <class Component>
void RenderDepth(const Settings& settings, const FrameFacts& facts, const Image& source,
                 const Inputs& inputs, const Image& output, const RectI& window) {
    using Sample = SampleFor<Component>;
    const RectI frame = source ? source.picture() : RectI{};
    ClearAround<Component>(frame, output, window);
    if (IsEmpty(frame)) return;
    const RectI shared = Intersection(frame, window);
    const auto& [light, match] = facts;
    const int width = Width(frame), height = Height(frame);
    const FloatRestorer::Formats formats{FormatOf(source.alpha(), light),
                                         FormatOf(WrittenAlpha(output, source.alpha()), light)};
    const RowSource<Sample> rows{nullptr, RowsFrom<Component>(source, light),
                                 source.Rows<Component>(frame)};
    KeyInputs<Sample> given = inputs.Rows<Component>(frame, light);
    std::vector<Sample> plate;
    if (given.cleanPlate && match != PlateMatch::None) {
        plate = MatchedPlate(match, width, height, rows, given.cleanPlate, settings.keyColor);
        given.cleanPlate = {plate.data()};
    }
    const bool isWhole = Width(shared) == width && Height(shared) == height;
    const RowMemory written = isWhole ? output.Rows<Component>(frame) : RowMemory{};
    Key<Sample>(
        settings, width, height, rows,
        {nullptr, RowsTo<Component>(source, output, formats, settings.view, shared), written},
        HostThreads(), given);
}

/// Calls the function with a component of the depth's type.
template <class Function>
void WithDepth(PixelDepth depth, const Function& function) {
    switch (depth) {
        case PixelDepth::kByte:
            return function(std::uint8_t{});
        case PixelDepth::kShort:
            return function(std::uint16_t{});
        case PixelDepth::kFloat:
            return function(float{});
    }
}

void RequirePicture(const Image& source) {
    if (!source || IsEmpty(source.picture())) throw Refusal{kFailed};
}

/// Pressed twice, the button finds the same.
Settings WithDefaultSliders(Settings settings) {
    for (const ParameterId id : TunedParameters())
        SetValue(settings, ParameterOf(id), ParameterOf(id).defaultValue);
    return settings;
}

template <class Component>
TunedSettings FoundIn(Settings settings, const FrameFacts& facts, const Image& source,
                      const Inputs& inputs) {
    const auto [width, height, frame] = WideSource<Component>(source, facts.light);
    if (SnapToByteSteps(settings.keyColor) == Color{0, 0, 0}) {
        const auto found = FindScreenColor(width, height, frame.data());
        if (!found) {
            TunedSettings nothing;
            nothing.kind = ShotKind::NoScreen;
            return nothing;
        }
        settings.keyColor = found->color;
        settings.screen = found->screen;
    }
    const auto given = inputs.Rows<Component>(source.picture(), facts.light);
    std::vector<std::uint16_t> plate;
    if (given.cleanPlate) {
        plate = WideFrame(given.cleanPlate, width, height);
        MatchPlate(facts.match, width, height, frame.data(), plate.data(), settings.keyColor);
    }
    ShotTuner tuner(width, height, {settings});
    tuner.Look(frame.data(), HostThreads(), plate.empty() ? nullptr : plate.data());
    return tuner.Find(HostThreads());
}

void RequireMatch(const Image& source, const Image& output, const RectI& window) {
    const RectI& bounds = output.bounds();
    if (window.x1 < bounds.x1 || window.y1 < bounds.y1 || window.x2 > bounds.x2 ||
        window.y2 > bounds.y2)
        throw Refusal{kBadValue};
    if (!source) return;
    if (source.depth() != output.depth()) throw Refusal{kBadImageFormat};
    if (source.scale() != output.scale()) throw Refusal{kBadValue};
}

}  // namespace

AlphaState DeliveredAlpha(AlphaState source) {
    return source == AlphaState::kStraight ? AlphaState::kStraight : AlphaState::kPremultiplied;
}

void Render(Effect effect, double time, const RectI& window) {
    const Image source(FindClip(effect, kSourceClip), time);
    if (Host().effect->abort(effect) != 0) throw Refusal{kFailed};
    const Inputs inputs(effect, time, source);
    const Image output(FindClip(effect, kOutputClip), time);
    if (!output) throw Refusal{kFailed};
    RequireMatch(source, output, window);
    const FrameFacts facts = ReadFrameFacts(effect, time);
    Settings settings = SettledFor(ReadSettings(effect, time), facts.light == Light::kLinear);
    ScaleRadii(settings, output.scale());
    WithDepth(output.depth(), [&]<class Component>(Component) {
        RenderDepth<Component>(settings, facts, source, inputs, output, window);
    });
}

std::optional<ScreenColor> FindScreen(Effect effect, double time) {
    const Image source(FindClip(effect, kSourceClip), time);
    RequirePicture(source);
    const Light light = ReadFrameFacts(effect, time).light;
    std::optional<ScreenColor> found;
    WithDepth(source.depth(), [&]<class Component>(Component) {
        const WidePicture picture = WideSource<Component>(source, light);
        found = FindScreenColor(picture.width, picture.height, picture.pixels.data());
    });
    return found;
}

TunedSettings FindSettings(Effect effect, double time) {
    const Image source(FindClip(effect, kSourceClip), time);
    RequirePicture(source);
    const Inputs inputs(effect, time, source);
    const FrameFacts facts = ReadFrameFacts(effect, time);
    Settings settings = WithDefaultSliders(ReadSettings(effect, time));
    TunedSettings found;
    WithDepth(source.depth(), [&]<class Component>(Component) {
        found = FoundIn<Component>(settings, facts, source, inputs);
    });
    return found;
}

}  // namespace veltrane::ofx
