#include "hosts/ofx/inputs.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "imaging/convert/levels.h"
#include "imaging/sample.h"

namespace veltrane::ofx {

namespace {

/// Only an instance in this context has the clips, and hosts take it ill when they are asked for
/// others.
bool IsGeneral(Effect effect) {
    PropertySet set = nullptr;
    Require(Host().effect->getPropertySet(effect, &set));
    return Properties(set).String(prop::kContext) == value::kGeneral;
}

void Fetch(Effect effect, double time, const Image& source, const InputClip& input,
           std::optional<Image>& image) {
    if (!IsConnected(effect, input)) return;
    image.emplace(FindClip(effect, input.name), time);
    if (!*image) {
        image.reset();
        return;
    }
    if (image->depth() != source.depth()) throw Refusal{kBadImageFormat};
    if (image->scale() != source.scale()) throw Refusal{kBadValue};
}

bool Covers(const RectI& outer, const RectI& inner) {
    return outer.x1 <= inner.x1 && outer.y1 <= inner.y1 && outer.x2 >= inner.x2 &&
           outer.y2 >= inner.y2;
}

/// Pixels of a row of an image from left on, as 16-bit ones.
template <class Component>
class WideRows {
public:
    explicit WideRows(const Image& image)
        : image_(image), reader_({PixelOrder::kRgba, image.alpha()}) {}

    std::vector<std::uint16_t> operator()(int left, int y, int width) const {
        std::vector<SampleFor<Component>> row(kElements * width);
        std::vector<std::uint16_t> wide(row.size());
        reader_(image_.Pixel<const Component>(left, y), row.data(), width);
        WidenRow(row.data(), wide.data(), width);
        return wide;
    }

private:
    const Image& image_;
    PixelReader<Component> reader_;
};

template <class Component>
bool HasHoles(const Image& image) {
    const WideRows<Component> rows(image);
    const RectI& picture = image.picture();
    for (int y = picture.y1; y < picture.y2; ++y)
        if (ShowsThrough(rows(picture.x1, y, Width(picture)).data(), Width(picture))) return true;
    return false;
}

/// Rows of the frame from its top, empty where the image has no pixels.
template <class Component>
LevelRows LevelsOf(const Image& image, const RectI& frame) {
    const WideRows<Component> rows(image);
    const auto levelsOf = HasHoles<Component>(image) ? AlphaLevels : LumaLevels;
    const RectI shared = Intersection(frame, image.picture());
    return {nullptr, [=](int row, std::uint16_t* levels) {
                const int y = frame.y2 - 1 - row;
                std::fill_n(levels, Width(frame), std::uint16_t{0});
                if (IsEmpty(shared) || y < shared.y1 || y >= shared.y2) return;
                levelsOf(rows(shared.x1, y, Width(shared)).data(), levels + shared.x1 - frame.x1,
                         Width(shared));
            }};
}

template <class Component>
RowSource<SampleFor<Component>> PlateOf(const Image& image, const RectI& frame, Light light) {
    if (!Covers(image.picture(), frame))
        throw std::invalid_argument("The clean plate must cover all of the source.");
    const PixelReader<Component> reader(
        {PixelOrder::kRgba, image.alpha(), FloatRounding::kNearest, light});
    return {nullptr,
            [&image, reader, frame](int row, SampleFor<Component>* pixels) {
                reader(image.Pixel<const Component>(frame.x1, frame.y2 - 1 - row), pixels,
                       Width(frame));
            },
            image.Rows<Component>(frame)};
}

}  // namespace

bool IsConnected(Effect effect, const InputClip& clip) {
    if (!IsGeneral(effect)) return false;
    PropertySet set = nullptr;
    Require(Host().effect->clipGetPropertySet(FindClip(effect, clip.name), &set));
    return Properties(set).Int(prop::kConnected, 0) != 0;
}

Inputs::Inputs(Effect effect, double time, const Image& source) {
    if (!source) return;
    Fetch(effect, time, source, kGarbageClip, garbage_);
    Fetch(effect, time, source, kCoreClip, core_);
    Fetch(effect, time, source, kPlateClip, plate_);
}

template <class Component>
KeyInputs<SampleFor<Component>> Inputs::Rows(const RectI& frame, Light light) const {
    KeyInputs<SampleFor<Component>> inputs;
    if (garbage_) inputs.garbage = LevelsOf<Component>(*garbage_, frame);
    if (core_) inputs.core = LevelsOf<Component>(*core_, frame);
    if (plate_) inputs.cleanPlate = PlateOf<Component>(*plate_, frame, light);
    return inputs;
}

template KeyInputs<std::uint8_t> Inputs::Rows<std::uint8_t>(const RectI&, Light) const;
template KeyInputs<std::uint16_t> Inputs::Rows<std::uint16_t>(const RectI&, Light) const;
template KeyInputs<std::uint16_t> Inputs::Rows<float>(const RectI&, Light) const;

}  // namespace veltrane::ofx
