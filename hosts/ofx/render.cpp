#include "hosts/ofx/render.h"

#include <algorithm>
#include <type_traits>
#include <vector>

#include "hosts/ofx/controls.h"
#include "hosts/ofx/pixels.h"
#include "hosts/ofx/threads.h"
#include "imaging/sample.h"
#include "settings/frame_keyer.h"

namespace veltrane::ofx {

namespace {

/// What a host's component is keyed as.
template <class Component>
using SampleFor =
    std::conditional_t<std::is_same_v<Component, std::uint8_t>, std::uint8_t, std::uint16_t>;

/// Row y of the picture counted from the top, as the keyer's result depends on the order.
template <class Component, class Sample>
void ReadPictureRow(const Image& image, int y, Sample* row) {
    const RectI& frame = image.picture();
    ReadRow(image.Pixel<const Component>(frame.x1, frame.y2 - 1 - y), image.alpha(), row,
            Width(frame));
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

bool IsPremultiplied(const Image& output, Alpha source) {
    const Alpha alpha = output.alpha() == Alpha::kOpaque ? DeliveredAlpha(source) : output.alpha();
    return alpha == Alpha::kPremultiplied;
}

template <class Component>
void RenderDepth(const Settings& settings, const Image& source, const Image& output,
                 const RectI& window) {
    using Sample = SampleFor<Component>;
    const RectI frame = source ? source.picture() : RectI{};
    ClearAround<Component>(frame, output, window);
    if (IsEmpty(frame)) return;
    const RectI shared = Intersection(frame, window);
    const bool premultiply = IsPremultiplied(output, source.alpha());
    const auto read = [&](int y, Sample* row) { ReadPictureRow<Component>(source, y, row); };
    const auto write = [&](int row, const Sample* keyed) {
        const int y = frame.y2 - 1 - row;
        if (IsEmpty(shared) || y < shared.y1 || y >= shared.y2) return;
        WriteRow(keyed + std::ptrdiff_t{kElements} * (shared.x1 - frame.x1), premultiply,
                 output.Pixel<Component>(shared.x1, y), Width(shared));
    };
    Key<Sample>(settings, Width(frame), Height(frame), {nullptr, read}, {nullptr, write},
                HostThreads());
}

/// Calls the function with a component of the depth's type.
template <class Function>
void WithDepth(Depth depth, const Function& function) {
    switch (depth) {
        case Depth::kByte:
            return function(std::uint8_t{});
        case Depth::kShort:
            return function(std::uint16_t{});
        case Depth::kFloat:
            return function(float{});
    }
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

Alpha DeliveredAlpha(Alpha source) {
    return source == Alpha::kStraight ? Alpha::kStraight : Alpha::kPremultiplied;
}

void Render(Effect effect, double time, const RectI& window) {
    const Image source(FindClip(effect, kSourceClip), time);
    if (Host().effect->abort(effect) != 0) throw Refusal{kFailed};
    const Image output(FindClip(effect, kOutputClip), time);
    if (!output) throw Refusal{kFailed};
    RequireMatch(source, output, window);
    Settings settings = ReadSettings(effect, time);
    ScaleRadii(settings, output.scale());
    WithDepth(output.depth(), [&]<class Component>(Component) {
        RenderDepth<Component>(settings, source, output, window);
    });
}

std::optional<ScreenColor> FindScreen(Effect effect, double time) {
    const Image source(FindClip(effect, kSourceClip), time);
    if (!source || IsEmpty(source.picture())) throw Refusal{kFailed};
    const RectI& frame = source.picture();
    const std::size_t pitch = static_cast<std::size_t>(Width(frame)) * kElements;
    std::vector<std::uint16_t> picture(pitch * Height(frame));
    WithDepth(source.depth(), [&]<class Component>(Component) {
        using Sample = SampleFor<Component>;
        std::vector<Sample> row(pitch);
        for (int y = 0; y < Height(frame); ++y) {
            ReadPictureRow<Component>(source, y, row.data());
            std::transform(row.begin(), row.end(), picture.begin() + y * pitch, [](Sample sample) {
                return static_cast<std::uint16_t>(sample * (65535 / kFullScale<Sample>));
            });
        }
    });
    return FindScreenColor(Width(frame), Height(frame), picture.data());
}

}  // namespace veltrane::ofx
