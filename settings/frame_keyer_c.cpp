#include "settings/frame_keyer_c.h"

#include <new>
#include <stdexcept>
#include <variant>
#include <vector>

#include "imaging/convert/convert.h"
#include "settings/frame_keyer.h"
#include "settings/screen_color.h"

struct VeltraneSettings {
    veltrane::Settings values;
};

struct VeltraneFrameKeyer {
    template <class Sample>
    using Keyer = veltrane::FrameKeyer<Sample>;

    int height;
    std::variant<Keyer<std::uint16_t>, Keyer<std::uint8_t>> keyer;
};

namespace {

using namespace veltrane;

template <class Work>
int StatusOf(Work work) noexcept {
    try {
        work();
        return VELTRANE_DONE;
    } catch (const std::invalid_argument&) {
        return VELTRANE_REFUSED;
    } catch (...) {
        return VELTRANE_FAILED;
    }
}

void Require(bool condition) {
    if (!condition) throw std::invalid_argument("");
}

/// The row of a setting of this kind.
const Parameter& Find(const char* name, bool isColor) {
    const Parameter* row = name == nullptr ? nullptr : FindParameter(name);
    Require(row != nullptr && (row->kind == ParameterKind::Color) == isColor);
    return *row;
}

template <class Sample>
int FindScreen(VeltraneSettings* settings, int width, int height, const Sample* source) {
    return StatusOf([&] {
        constexpr int kLongestSide = 65535;
        Require(settings != nullptr && source != nullptr);
        Require(width >= 1 && height >= 1 && width <= kLongestSide && height <= kLongestSide);
        const std::ptrdiff_t pixels = std::ptrdiff_t{width} * height;
        std::vector<std::uint16_t> wide(kElements * pixels);
        WidenRow(source, wide.data(), pixels);
        const auto found = FindScreenColor(width, height, wide.data());
        Require(found.has_value());
        settings->values.keyColor = found->color;
        settings->values.screen = found->screen;
    });
}

template <class Inputs>
auto RowsOf(const Inputs* inputs, auto sample) {
    KeyInputs<decltype(sample)> rows;
    if (inputs == nullptr) return rows;
    rows.cleanPlate.packed = inputs->cleanPlate;
    rows.garbage.packed = inputs->garbage;
    rows.core.packed = inputs->core;
    return rows;
}

template <class Sample, class Inputs>
VeltraneFrameKeyer* NewKeyer(const VeltraneSettings* settings, int width, int height,
                             const Sample* source, const Inputs* inputs, int* status) {
    VeltraneFrameKeyer* made = nullptr;
    const int outcome = StatusOf([&] {
        Require(settings != nullptr && source != nullptr);
        made = new VeltraneFrameKeyer{
            height, FrameKeyer<Sample>(settings->values, width, height, {source}, {},
                                       RowsOf(inputs, Sample{}))};
    });
    if (status != nullptr) *status = outcome;
    return made;
}

template <class Sample>
int KeyRows(const VeltraneFrameKeyer* keyer, int first, int end, Sample* destination) {
    return StatusOf([&] {
        Require(keyer != nullptr && destination != nullptr);
        const auto* frame = std::get_if<FrameKeyer<Sample>>(&keyer->keyer);
        Require(frame != nullptr && first >= 0 && first <= end && end <= keyer->height);
        frame->Key({first, end}, {destination});
    });
}

}  // namespace

VeltraneSettings* VeltraneNewSettings() {
    return new (std::nothrow) VeltraneSettings;
}

void VeltraneFreeSettings(VeltraneSettings* settings) {
    delete settings;
}

int VeltraneSetNumber(VeltraneSettings* settings, const char* name, int value) {
    return StatusOf([&] {
        Require(settings != nullptr);
        const Parameter& row = Find(name, false);
        Require(ProblemWith(row, value).empty());
        SetValue(settings->values, row, value);
    });
}

int VeltraneSetColor(VeltraneSettings* settings, const char* name, double red, double green,
                     double blue) {
    return StatusOf([&] {
        Require(settings != nullptr);
        Find(name, true);
        Settings changed = settings->values;
        changed.keyColor = {red, green, blue};
        Require(Problems(changed).empty());
        settings->values = changed;
    });
}

int VeltraneFindScreen16bit(VeltraneSettings* settings, int width, int height,
                            const uint16_t* source) {
    return FindScreen(settings, width, height, source);
}

int VeltraneFindScreen8bit(VeltraneSettings* settings, int width, int height,
                           const uint8_t* source) {
    return FindScreen(settings, width, height, source);
}

VeltraneFrameKeyer* VeltraneNewFrameKeyer16bit(const VeltraneSettings* settings, int width,
                                               int height, const uint16_t* source,
                                               const VeltraneInputs16bit* inputs, int* status) {
    return NewKeyer(settings, width, height, source, inputs, status);
}

VeltraneFrameKeyer* VeltraneNewFrameKeyer8bit(const VeltraneSettings* settings, int width,
                                              int height, const uint8_t* source,
                                              const VeltraneInputs8bit* inputs, int* status) {
    return NewKeyer(settings, width, height, source, inputs, status);
}

void VeltraneFreeFrameKeyer(VeltraneFrameKeyer* keyer) {
    delete keyer;
}

int VeltraneKeyRows16bit(const VeltraneFrameKeyer* keyer, int first, int end,
                         uint16_t* destination) {
    return KeyRows(keyer, first, end, destination);
}

int VeltraneKeyRows8bit(const VeltraneFrameKeyer* keyer, int first, int end, uint8_t* destination) {
    return KeyRows(keyer, first, end, destination);
}
