#include "settings/parameters.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "imaging/convert/convert.h"
#include "settings/plate_match.h"
#include "settings/table_rules.h"

namespace veltrane {

namespace {

/// A view that FxPlug's panel, which is closed, does not show.
constexpr ChoiceEntry Later(View view, const char* key, const char* name, double share) {
    return {static_cast<int>(view), key, name, share, {Host::Frei0r, Host::OpenFx}, true};
}

constexpr ChoiceEntry kViews[] = {
    {static_cast<int>(View::Source), "VeltraneGreen::Source", "source", 0},
    {static_cast<int>(View::Matte), "VeltraneGreen::Matte", "matte", 0.5},
    {static_cast<int>(View::Result), "VeltraneGreen::Result", "result", 1},
    Later(View::CleanPlate, "VeltraneGreen::Clean Plate", "clean-plate", 0.15),
    Later(View::Status, "VeltraneGreen::Status", "status", 0.35),
    Later(View::Foreground, "VeltraneGreen::Foreground", "foreground", 0.65),
    Later(View::Spill, "VeltraneGreen::Spill", "spill", 0.85),
};

constexpr ChoiceEntry kScreens[] = {
    {static_cast<int>(Screen::Green), "VeltraneGreen::Green", "green", 0},
    {static_cast<int>(Screen::Blue), "VeltraneGreen::Blue", "blue", 1},
};

/// FxPlug's panel is closed.
constexpr HostSet kOpenHosts{Host::Frei0r, Host::OpenFx};

constexpr ChoiceEntry kCoreColors[] = {
    {static_cast<int>(CoreColor::Despilled), "VeltraneGreen::Despilled", "despilled", 0},
    {static_cast<int>(CoreColor::Source), "VeltraneGreen::As source", "source", 1},
};

constexpr ChoiceEntry kLights[] = {
    {static_cast<int>(Light::kDisplay), "VeltraneGreen::Display", "display", 0},
    {static_cast<int>(Light::kLinear), "VeltraneGreen::Linear", "linear", 1},
};

constexpr ChoiceEntry kPlateMatches[] = {
    {static_cast<int>(PlateMatch::None), "VeltraneGreen::As given", "none", 0},
    {static_cast<int>(PlateMatch::Exposure), "VeltraneGreen::Exposure", "exposure", 0.5},
    {static_cast<int>(PlateMatch::Shade), "VeltraneGreen::Exposure and shade", "shade", 1},
};

constexpr ChoiceEntry kMatteLights[] = {
    {static_cast<int>(MatteLight::Automatic), "VeltraneGreen::Automatic", "auto", 0},
    {static_cast<int>(MatteLight::Display), "VeltraneGreen::Display", "display", 0.5},
    {static_cast<int>(MatteLight::Linear), "VeltraneGreen::Linear", "linear", 1},
};

constexpr ParameterId kTop{};  ///< the group of rows that are in none

constexpr int Number(ParameterId id) {
    return static_cast<int>(id);
}

constexpr Parameter Group(ParameterId id, const char* key, const char* help, ParameterId group,
                          HostSet hosts = kEveryHost) {
    return {Number(id), ParameterKind::Group, key, "", help, {}, 0, 0, 0, Number(group), hosts};
}

/// A choice that tells of a host's frames; its first entry is the default.
constexpr Parameter OfFrames(ParameterId id, const char* key, const char* name, const char* help,
                             std::span<const ChoiceEntry> entries, ParameterId group,
                             HostSet hosts) {
    const int last = static_cast<int>(entries.size()) - 1;
    Parameter row{Number(id), ParameterKind::Choice, key,  name, help, {}, 0, 0,
                  last,       Number(group),         hosts};
    row.entries = entries;
    return row;
}

template <typename Enum>
constexpr Parameter Choice(ParameterId id, const char* key, const char* name, const char* help,
                           std::span<const ChoiceEntry> entries, Enum Settings::*member,
                           ParameterId group, HostSet hosts = kEveryHost) {
    const int last = static_cast<int>(entries.size()) - 1;
    Parameter row{Number(id),
                  ParameterKind::Choice,
                  key,
                  name,
                  help,
                  member,
                  static_cast<int>(Settings().*member),
                  0,
                  last,
                  Number(group),
                  hosts};
    row.entries = entries;
    return row;
}

constexpr Parameter Swatch(ParameterId id, const char* key, const char* name, const char* help,
                           Color Settings::*member, ParameterId group, HostSet hosts = kEveryHost) {
    return {Number(id),
            ParameterKind::Color,
            key,
            name,
            help,
            member,
            static_cast<int>((Settings().*member).red),
            0,
            1,
            Number(group),
            hosts};
}

constexpr Parameter Switch(ParameterId id, const char* key, const char* name, const char* help,
                           bool Settings::*member, ParameterId group, HostSet hosts = kEveryHost) {
    return {Number(id), ParameterKind::Switch,      key, name, help,
            member,     Settings().*member ? 1 : 0, 0,   1,    Number(group),
            hosts};
}

constexpr Parameter Slider(ParameterId id, const char* key, const char* name, const char* help,
                           int minimum, int maximum, int Settings::*member, ParameterId group,
                           HostSet hosts = kEveryHost) {
    return {Number(id), ParameterKind::Integer, key,     name,    help,
            member,     Settings().*member,     minimum, maximum, Number(group),
            hosts};
}

constexpr Parameter Governed(Parameter row, ParameterId governor) {
    row.flags = kDisabledFlag;
    row.governor = Number(governor);
    return row;
}

constexpr Parameter InPixels(Parameter row) {
    row.inPixels = true;
    return row;
}

using enum ParameterId;

constexpr Parameter kParameters[] = {
    Group(Basic, "VeltraneGreen::Basic", "The key itself.", kTop),
    Choice(
        ParameterId::View, "VeltraneGreen::View", "view",
        "What the output shows: the source, its matte, the result, the screen keyed against, the "
        "matte in colours, the despilled colour, or the spill.",
        kViews, &Settings::view, Basic),
    Swatch(KeyColor, "VeltraneGreen::Key Color", "key-color",
           "Colour of the screen behind the subject; black leaves frames unkeyed.",
           &Settings::keyColor, Basic),
    Choice(ParameterId::Screen, "VeltraneGreen::Screen", "screen", "What kind of screen that is.",
           kScreens, &Settings::screen, Basic, kOpenHosts),
    Switch(SmoothBG, "VeltraneGreen::Smooth BG", "smooth-bg",
           "Keys against a clean plate modelled from the frame, for uneven screens, instead of one "
           "colour.",
           &Settings::smoothBG, Basic),
    Slider(Shadow, "VeltraneGreen::Shadow", "shadow",
           "How much of the shadows that fall on the screen is kept.", 0, 100, &Settings::shadow,
           Basic),
    Slider(ClipBlack, "VeltraneGreen::Clip Black", "clip-black",
           "Matte level, in per cent, at and below which pixels become fully transparent.", 0, 100,
           &Settings::clipBlack, Basic),
    Slider(ClipWhite, "VeltraneGreen::Clip White", "clip-white",
           "Matte level, in per cent, at and above which pixels become solid.", 0, 100,
           &Settings::clipWhite, Basic),
    Group(DeBlockingGroup, "VeltraneGreen::DeBlocking Group",
          "Repair of footage whose colour is stored coarsely.", Basic),
    Switch(DeBlocking, "VeltraneGreen::DeBlocking", "deblocking",
           "Smooths the colour, not the detail, of compressed footage before it is keyed.",
           &Settings::deBlocking, DeBlockingGroup),
    Governed(InPixels(Slider(DeBlockValue, "VeltraneGreen::DeBlock Value", "deblock-value",
                             "Radius of that smoothing in pixels.", 1, 10, &Settings::deBlockValue,
                             DeBlockingGroup)),
             DeBlocking),
    Group(EdgeContractGroup, "VeltraneGreen::Edge Contract Group", "Shrinking of the matte.",
          Basic),
    Switch(EdgeContract, "VeltraneGreen::Edge Contract", "edge-contract",
           "Shrinks the matte to cut off fringes.", &Settings::edgeContract, EdgeContractGroup),
    Governed(InPixels(Slider(ContractMask, "VeltraneGreen::Contract Mask", "contract-mask",
                             "How far the matte shrinks, in pixels.", 1, 10,
                             &Settings::contractMask, EdgeContractGroup)),
             EdgeContract),
    Governed(Slider(ContractThreshold, "VeltraneGreen::Contract Threshold", "contract-threshold",
                    "Steps of the matte up to this height stay, so that soft edges remain soft.", 0,
                    50, &Settings::contractThreshold, EdgeContractGroup),
             EdgeContract),
    Group(EdgeBlurGroup, "VeltraneGreen::Edge Blur Group", "Softening of the matte.", Basic),
    Switch(EdgeBlur, "VeltraneGreen::Edge Blur", "edge-blur",
           "Softens the matte's edges inwards, so that no screen shows again.", &Settings::edgeBlur,
           EdgeBlurGroup),
    Governed(InPixels(Slider(MaskBlurRadius, "VeltraneGreen::Mask Blur Radius (pixel)",
                             "mask-blur-radius", "Width of the softened edge in pixels.", 1, 100,
                             &Settings::maskBlurRadius, EdgeBlurGroup)),
             EdgeBlur),
    Governed(Slider(MaskBlurValue, "VeltraneGreen::Mask Blur Value", "mask-blur-value",
                    "Strength of the softening in per cent.", 0, 100, &Settings::maskBlurValue,
                    EdgeBlurGroup),
             EdgeBlur),
    Group(HueGroup, "VeltraneGreen::Hue", "The hues that are kept solid.", Basic),
    Slider(SkinHue, "VeltraneGreen::skin, hair color Hue", "skin-hue",
           "Moves the border between the screen's hues and those of skin and hair.", -50, 50,
           &Settings::skinHue, HueGroup),
    Slider(BlueHue, "VeltraneGreen::blue Hue", "blue-hue",
           "Moves the border between the screen's hues and those of blue objects; before a blue "
           "screen, of green ones.",
           -50, 50, &Settings::blueHue, HueGroup),
    Group(Advanced, "VeltraneGreen::Advanced", "Spill and screen gain.", kTop),
    Group(DespillGroup, "VeltraneGreen::Despill",
          "Removal of the screen's reflection on the subject.", Advanced),
    Slider(DespillGray, "VeltraneGreen::white, gray", "despill-gray",
           "Makes white and grey areas with a cast of the screen more solid.", 0, 100,
           &Settings::despillGray, DespillGroup),
    Slider(DespillSkin, "VeltraneGreen::skin, hair color", "despill-skin",
           "Widens the range of skin and hair colours that count as spill rather than screen.", 0,
           100, &Settings::despillSkin, DespillGroup),
    Slider(DespillBlue, "VeltraneGreen::blue", "despill-blue",
           "Widens the range of blue colours that count as spill rather than screen; before a blue "
           "screen, of green ones.",
           0, 100, &Settings::despillBlue, DespillGroup),
    Slider(ScreenGain, "VeltraneGreen::Screen Gain", "screen-gain",
           "How much noise and dirt on the screen is keyed out completely.", 0, 100,
           &Settings::screenGain, Advanced),
    Choice(ParameterId::MatteLight, "VeltraneGreen::Matte light", "matte-light",
           "The light in which the matte is right where the subject mixes with the screen: that of "
           "display-referred values, linear light, or that of the output.",
           kMatteLights, &Settings::matteLight, Advanced, {Host::OpenFx}),
    Group(MatteGroup, "VeltraneGreen::Mattes", "What is drawn beside the key.", kTop,
          {Host::OpenFx}),
    Choice(ParameterId::CoreColor, "VeltraneGreen::Core colour", "core-color",
           "Colour of what a core matte holds solid: without the screen's light, or as it came.",
           kCoreColors, &Settings::coreColor, MatteGroup, {Host::OpenFx}),
    // The command matches its plates by --match-plate and --match-shade.
    OfFrames(ParameterId::PlateMatch, "VeltraneGreen::Match clean plate", "plate-match",
             "What of each frame a connected clean plate is brought to: nothing, the camera's "
             "exposure, or the light all over with the wide shade of the subject.",
             kPlateMatches, MatteGroup, {Host::OpenFx}),
    // Most compositing hosts work in linear light, which OpenFX does not tell.
    OfFrames(ParameterId::Light, "VeltraneGreen::Colour", "colour",
             "What the colour of frames and of the key colour is: display-referred, or linear "
             "light, which is keyed through the sRGB curve.",
             kLights, Basic, {Host::OpenFx}),
};

/// Those of Settings come first.
constexpr auto kSettings = SettingsOf(kParameters);

static_assert(std::size(kParameters) <= kMostParameters);
static_assert(IdsAreUnique(kParameters));
static_assert(GroupsPrecedeTheirRows(kParameters));
static_assert(GovernorsAreSwitches(kParameters));
static_assert(NamesAreUnique(kParameters));
static_assert(ValuesFitTheirMembers(kSettings));
static_assert(RestTellsOfFrames(kParameters));
static_assert(EntriesKeepTheirNumbers(kParameters));
static_assert(FxPlugShowsItsPanel(kParameters));

/// Where the key's text does not tell enough, or tells it in another spelling.
constexpr std::pair<ParameterId, const char*> kLabels[] = {
    {KeyColor, "Key colour"},
    {SmoothBG, "Uneven screen (clean plate)"},
    {Shadow, "Shadows kept"},
    {ClipBlack, "Clip black"},
    {ClipWhite, "Clip white"},
    {DeBlockingGroup, "Blocky colour"},
    {DeBlocking, "Smooth blocky colour"},
    {DeBlockValue, "Smoothing radius"},
    {EdgeContractGroup, "Shrink matte"},
    {EdgeContract, "Shrink matte"},
    {ContractMask, "Shrink by pixels"},
    {ContractThreshold, "Keep steps up to"},
    {EdgeBlurGroup, "Soften matte"},
    {EdgeBlur, "Soften matte"},
    {MaskBlurRadius, "Softening radius"},
    {MaskBlurValue, "Softening amount"},
    {HueGroup, "Hues kept solid"},
    {SkinHue, "Border to skin and hair"},
    {BlueHue, "Border to blue"},
    {DespillGray, "Spill on white and grey"},
    {DespillSkin, "Spill on skin and hair"},
    {DespillBlue, "Spill on blue"},
    {ScreenGain, "Screen noise removed"},
};

/// Before a blue screen, where they differ.
constexpr std::pair<ParameterId, const char*> kBlueLabels[] = {
    {BlueHue, "Border to green"},
    {DespillBlue, "Spill on green"},
};

struct RowList {
    std::array<const Parameter*, std::size(kParameters)> rows{};
    std::size_t size = 0;
};

consteval RowList RowsOf(Host host) {
    RowList list;
    for (const Parameter& row : kParameters)
        if (row.hosts.Contains(host)) list.rows[list.size++] = &row;
    return list;
}

consteval RowList ById(RowList list) {
    std::sort(list.rows.begin(), list.rows.begin() + list.size,
              [](const Parameter* a, const Parameter* b) { return a->id < b->id; });
    return list;
}

constexpr RowList kFxPlugPanel = ById(RowsOf(Host::FxPlug));
constexpr RowList kFrei0rPanel = ById(RowsOf(Host::Frei0r));
constexpr RowList kOpenFxPanel = RowsOf(Host::OpenFx);

const Parameter* FindId(int id) {
    const auto row = std::ranges::find(kParameters, id, &Parameter::id);
    return row == std::end(kParameters) ? nullptr : row;
}

}  // namespace

std::span<const Parameter> Parameters() {
    return kSettings;
}

std::span<const Parameter* const> Panel(Host host) {
    const RowList& list = host == Host::FxPlug   ? kFxPlugPanel
                          : host == Host::Frei0r ? kFrei0rPanel
                                                 : kOpenFxPanel;
    return {list.rows.data(), list.size};
}

const Parameter& ParameterOf(ParameterId id) {
    const Parameter* row = FindId(Number(id));
    if (row == nullptr) throw std::out_of_range("no parameter " + std::to_string(Number(id)));
    return *row;
}

const Parameter* GroupOf(const Parameter& parameter) {
    return FindId(parameter.group);
}

const Parameter* GovernorOf(const Parameter& parameter) {
    return FindId(parameter.governor);
}

const Parameter* FindParameter(std::string_view name) {
    if (name.empty()) return nullptr;
    const auto row = std::ranges::find(kSettings, name, &Parameter::name);
    return row == kSettings.end() ? nullptr : &*row;
}

std::vector<std::string> ChoiceNames(const Parameter& parameter) {
    std::vector<std::string> names;
    for (const ChoiceEntry& entry : parameter.entries) names.emplace_back(entry.name);
    return names;
}

std::string ProblemWith(const Parameter& parameter, long long value) {
    if (value >= parameter.minimum && value <= parameter.maximum) return {};
    return std::string(parameter.name) + " must be " + std::to_string(parameter.minimum) + " to " +
           std::to_string(parameter.maximum) + ", not " + std::to_string(value);
}

std::string_view LabelOf(const Parameter& parameter, veltrane::Screen screen) {
    const auto find = [&](const auto& labels) -> const char* {
        const auto label = std::ranges::find(labels, parameter.id,
                                             [](const auto& entry) { return Number(entry.first); });
        return label == std::end(labels) ? nullptr : label->second;
    };
    const char* label = screen == veltrane::Screen::Blue ? find(kBlueLabels) : nullptr;
    if (label == nullptr) label = find(kLabels);
    return label == nullptr ? Label(parameter.key) : label;
}

std::string_view Label(std::string_view key) {
    const std::size_t colons = key.find("::");
    return colons == std::string_view::npos ? key : key.substr(colons + 2);
}

}  // namespace veltrane
