#include "settings/parameters.h"

#include <algorithm>
#include <cctype>

namespace veltrane {

namespace {

constexpr int Number(ParameterId id) {
    return static_cast<int>(id);
}

constexpr Parameter Group(ParameterId id, const char* key, const char* help, int group) {
    return {Number(id), ParameterKind::Group, key, "", help, 0, 0, 0, 0, group, 0};
}

constexpr Parameter Switch(ParameterId id, const char* key, const char* name, const char* help,
                           bool on, ParameterId group) {
    return {Number(id), ParameterKind::Switch, key, name, help, on ? 1 : 0, 0, 1,
            0,          Number(group),         0};
}

constexpr Parameter Slider(ParameterId id, const char* key, const char* name, const char* help,
                           int value, int minimum, int maximum, ParameterId group) {
    return {Number(id), ParameterKind::Integer, key, name, help, value, minimum, maximum,
            0,          Number(group),          0};
}

constexpr Parameter Governed(Parameter row, ParameterId governor) {
    row.flags = kDisabledFlag;
    row.governor = Number(governor);
    return row;
}

using enum ParameterId;

constexpr std::array<Parameter, 27> kParameters{{
    Group(Basic, "VeltraneGreen::Basic", "The key itself.", 0),
    {Number(View), ParameterKind::Choice, "VeltraneGreen::View", "view",
     "What the output shows: the frame as it came, the matte as a grey picture, or the keyed "
     "foreground.",
     2, 0, 2, 0, Number(Basic), 0},
    {Number(KeyColor), ParameterKind::Color, "VeltraneGreen::Key Color", "key-color",
     "Colour of the screen behind the subject; black leaves frames unkeyed.", 0, 0, 1, 0,
     Number(Basic), 0},
    Switch(SmoothBG, "VeltraneGreen::Smooth BG", "smooth-bg",
           "Keys against a clean plate modelled from the frame, for uneven screens, instead of one "
           "colour.",
           true, Basic),
    Slider(Shadow, "VeltraneGreen::Shadow", "shadow",
           "How much of the shadows that fall on the screen is kept.", 100, 0, 100, Basic),
    Slider(ClipBlack, "VeltraneGreen::Clip Black", "clip-black",
           "Matte level, in per cent, at and below which pixels become fully transparent.", 0, 0,
           100, Basic),
    Slider(ClipWhite, "VeltraneGreen::Clip White", "clip-white",
           "Matte level, in per cent, at and above which pixels become solid.", 100, 0, 100, Basic),
    Group(DeBlockingGroup, "VeltraneGreen::DeBlocking Group",
          "Repair of footage whose colour is stored coarsely.", Number(Basic)),
    Switch(DeBlocking, "VeltraneGreen::DeBlocking", "deblocking",
           "Smooths the colour, not the detail, of compressed footage before it is keyed.", false,
           DeBlockingGroup),
    Governed(Slider(DeBlockValue, "VeltraneGreen::DeBlock Value", "deblock-value",
                    "Radius of that smoothing in pixels.", 1, 1, 10, DeBlockingGroup),
             DeBlocking),
    Group(EdgeContractGroup, "VeltraneGreen::Edge Contract Group", "Shrinking of the matte.",
          Number(Basic)),
    Switch(EdgeContract, "VeltraneGreen::Edge Contract", "edge-contract",
           "Shrinks the matte to cut off fringes.", false, EdgeContractGroup),
    Governed(Slider(ContractMask, "VeltraneGreen::Contract Mask", "contract-mask",
                    "How far the matte shrinks, in pixels.", 2, 1, 10, EdgeContractGroup),
             EdgeContract),
    Governed(Slider(ContractThreshold, "VeltraneGreen::Contract Threshold", "contract-threshold",
                    "Steps of the matte up to this height stay, so that soft edges remain soft.",
                    10, 0, 50, EdgeContractGroup),
             EdgeContract),
    Group(EdgeBlurGroup, "VeltraneGreen::Edge Blur Group", "Softening of the matte.",
          Number(Basic)),
    Switch(EdgeBlur, "VeltraneGreen::Edge Blur", "edge-blur",
           "Softens the matte's edges inwards, so that no screen shows again.", false,
           EdgeBlurGroup),
    Governed(Slider(MaskBlurRadius, "VeltraneGreen::Mask Blur Radius (pixel)", "mask-blur-radius",
                    "Width of the softened edge in pixels.", 2, 1, 100, EdgeBlurGroup),
             EdgeBlur),
    Governed(Slider(MaskBlurValue, "VeltraneGreen::Mask Blur Value", "mask-blur-value",
                    "Strength of the softening in per cent.", 50, 0, 100, EdgeBlurGroup),
             EdgeBlur),
    Group(HueGroup, "VeltraneGreen::Hue", "The hues that are kept solid.", Number(Basic)),
    Slider(SkinHue, "VeltraneGreen::skin, hair color Hue", "skin-hue",
           "Moves the border between the screen's hues and those of skin and hair.", 0, -50, 50,
           HueGroup),
    Slider(BlueHue, "VeltraneGreen::blue Hue", "blue-hue",
           "Moves the border between the screen's hues and those of blue objects.", 0, -50, 50,
           HueGroup),
    Group(Advanced, "VeltraneGreen::Advanced", "Spill and screen gain.", 0),
    Group(DespillGroup, "VeltraneGreen::Despill",
          "Removal of the screen's reflection on the subject.", Number(Advanced)),
    Slider(DespillGray, "VeltraneGreen::white, gray", "despill-gray",
           "Makes white and grey areas with a cast of the screen more solid.", 20, 0, 100,
           DespillGroup),
    Slider(DespillSkin, "VeltraneGreen::skin, hair color", "despill-skin",
           "Widens the range of skin and hair colours that count as spill rather than screen.", 20,
           0, 100, DespillGroup),
    Slider(DespillBlue, "VeltraneGreen::blue", "despill-blue",
           "Widens the range of blue colours that count as spill rather than screen.", 0, 0, 100,
           DespillGroup),
    Slider(ScreenGain, "VeltraneGreen::Screen Gain", "screen-gain",
           "How much noise and dirt on the screen is keyed out completely.", 33, 0, 100, Advanced),
}};

constexpr std::array<const char*, 3> kViewKeys{"VeltraneGreen::Source", "VeltraneGreen::Matte",
                                               "VeltraneGreen::Result"};

}  // namespace

std::span<const Parameter> Parameters() {
    return kParameters;
}

const Parameter& Row(ParameterId id) {
    return kParameters[static_cast<std::size_t>(id) - 1];
}

const Parameter* FindParameter(std::string_view name) {
    const auto row = std::find_if(kParameters.begin(), kParameters.end(), [&](const Parameter& p) {
        return !name.empty() && name == p.name;
    });
    return row == kParameters.end() ? nullptr : &*row;
}

std::span<const char* const> ChoiceKeys(const Parameter& parameter) {
    if (parameter.kind != ParameterKind::Choice) return {};
    return kViewKeys;
}

std::vector<std::string> ChoiceNames(const Parameter& parameter) {
    std::vector<std::string> names;
    for (const char* key : ChoiceKeys(parameter)) {
        std::string name(Label(key));
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        names.push_back(std::move(name));
    }
    return names;
}

std::string ProblemWith(const Parameter& parameter, long long value) {
    if (value >= parameter.minimum && value <= parameter.maximum) return {};
    return std::string(parameter.name) + " must be " + std::to_string(parameter.minimum) + " to " +
           std::to_string(parameter.maximum) + ", not " + std::to_string(value);
}

std::string_view Label(std::string_view key) {
    const std::size_t colons = key.find("::");
    return colons == std::string_view::npos ? key : key.substr(colons + 2);
}

}  // namespace veltrane
