#include "hosts/ofx/controls.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <type_traits>

#include "hosts/ofx/host.h"
#include "imaging/convert/light_curve.h"
#include "settings/screen_color.h"
#include "settings/tune/tune.h"

namespace veltrane::ofx {

namespace {

ParamSet ParamsOf(Effect effect) {
    ParamSet params = nullptr;
    Require(Host().effect->getParamSet(effect, &params));
    return params;
}

/// The parameter's handle, or null, and its properties where asked for.
Param FindParam(ParamSet params, const std::string& name, PropertySet* properties = nullptr) {
    Param param = nullptr;
    const Status status = Host().parameter->getHandle(params, name.c_str(), &param, properties);
    return status == kOk ? param : nullptr;
}

Param FindParam(ParamSet params, const Parameter& row, PropertySet* properties = nullptr) {
    return FindParam(params, ParamName(row), properties);
}

/// Without a time the current value, which only actions outside rendering may ask for.
std::optional<int> ReadInt(ParamSet params, const Parameter& row, std::optional<double> time) {
    const Param param = FindParam(params, row);
    if (param == nullptr) return std::nullopt;
    const ParameterSuite& suite = *Host().parameter;
    int value = 0;
    const Status status =
        time ? suite.getValueAtTime(param, *time, &value) : suite.getValue(param, &value);
    if (status != kOk) return std::nullopt;
    return value;
}

template <class Curve>
Color Curved(Curve curve, const Color& color) {
    return {curve(color.red), curve(color.green), curve(color.blue)};
}

double WithinRange(double channel) {
    return channel >= 0 ? std::min(channel, 1.0) : 0;
}

std::optional<Color> ReadColor(ParamSet params, const Parameter& row, double time) {
    Color color{};
    const Param param = FindParam(params, row);
    if (param == nullptr ||
        Host().parameter->getValueAtTime(param, time, &color.red, &color.green, &color.blue) != kOk)
        return std::nullopt;
    return Color{WithinRange(color.red), WithinRange(color.green), WithinRange(color.blue)};
}

void PutInt(ParamSet params, const Parameter& row, int value) {
    const Param param = FindParam(params, row);
    if (param == nullptr) throw Refusal{kFailed};
    Require(Host().parameter->setValue(param, value));
}

/// The key colour, given display-referred, and its screen.
void PutKey(ParamSet params, const Color& color, Screen screen, Light light) {
    const Color shown = light == Light::kLinear ? Curved(LinearFromSrgb, color) : color;
    const Param swatch = FindParam(params, ParameterOf(ParameterId::KeyColor));
    if (swatch == nullptr) throw Refusal{kFailed};
    Require(Host().parameter->setValue(swatch, shown.red, shown.green, shown.blue));
    PutInt(params, ParameterOf(ParameterId::Screen), static_cast<int>(screen));
}

/// What is set while it lives is undone in one step.
class UndoStep {
public:
    UndoStep(ParamSet params, const char* label) : params_(params) {
        Host().parameter->editBegin(params, label);
    }
    ~UndoStep() { Host().parameter->editEnd(params_); }
    UndoStep(const UndoStep&) = delete;

private:
    ParamSet params_;
};

/// Follows the row's governing switch; where that cannot be read, nothing changes.
void FollowGovernor(ParamSet params, const Parameter& row, const Parameter& governor,
                    std::optional<double> time) {
    const std::optional<int> on = ReadInt(params, governor, time);
    PropertySet properties = nullptr;
    if (on && FindParam(params, row, &properties) != nullptr)
        Properties(properties).Set(prop::kEnabled, *on != 0 ? 1 : 0);
}

}  // namespace

std::string ParamName(const Parameter& row) {
    const std::string_view words =
        row.kind == ParameterKind::Group ? Label(row.key) : std::string_view(row.name);
    std::string name;
    bool startsWord = false;
    for (const unsigned char c : words) {
        if (std::isalnum(c)) {
            const int letter = name.empty() ? std::tolower(c) : startsWord ? std::toupper(c) : c;
            name += static_cast<char>(letter);
        }
        startsWord = !std::isalnum(c);
    }
    return name;
}

Settings ReadSettings(Effect effect, double time) {
    const ParamSet params = ParamsOf(effect);
    Settings settings;
    for (const Parameter* row : Panel(Host::OpenFx)) {
        if (!IsSetting(*row)) continue;
        if (row->kind == ParameterKind::Color) {
            if (const auto color = ReadColor(params, *row, time)) SetColor(settings, *row, *color);
        } else if (const auto value = ReadInt(params, *row, time)) {
            SetValue(settings, *row, std::clamp(*value, row->minimum, row->maximum));
        }
    }
    if (ReadFrameFacts(effect, time).light == Light::kLinear)
        settings.keyColor = Curved(SrgbFromLinear, settings.keyColor);
    return settings;
}

FrameFacts ReadFrameFacts(Effect effect, double time) {
    const ParamSet params = ParamsOf(effect);
    const auto read = [&](ParameterId id, auto& fact) {
        const Parameter& row = ParameterOf(id);
        const int choice = ReadInt(params, row, time).value_or(row.defaultValue);
        const bool known = choice >= row.minimum && choice <= row.maximum;
        fact = static_cast<std::decay_t<decltype(fact)>>(known ? choice : row.defaultValue);
    };
    FrameFacts facts;
    read(ParameterId::Light, facts.light);
    read(ParameterId::PlateMatch, facts.match);
    return facts;
}

void UpdateGoverned(Effect effect, std::string_view switchName, double time) {
    const ParamSet params = ParamsOf(effect);
    for (const Parameter* row : Panel(Host::OpenFx)) {
        const Parameter* governor = GovernorOf(*row);
        if (governor != nullptr && switchName == ParamName(*governor))
            FollowGovernor(params, *row, *governor, time);
    }
}

void UpdateAllGoverned(Effect effect) {
    const ParamSet params = ParamsOf(effect);
    for (const Parameter* row : Panel(Host::OpenFx))
        if (const Parameter* governor = GovernorOf(*row))
            FollowGovernor(params, *row, *governor, std::nullopt);
}

void UpdateLabels(Effect effect, std::optional<double> time) {
    const ParamSet params = ParamsOf(effect);
    const std::optional<int> number = ReadInt(params, ParameterOf(ParameterId::Screen), time);
    if (!number) return;
    for (const Parameter* row : Panel(Host::OpenFx)) {
        if (LabelOf(*row, Screen::Blue) == LabelOf(*row, Screen::Green)) continue;
        PropertySet properties = nullptr;
        if (FindParam(params, *row, &properties) == nullptr) continue;
        const std::string label(LabelOf(*row, static_cast<Screen>(*number)));
        Properties(properties).Set(prop::kLabel, label.c_str());
    }
}

void SetKey(Effect effect, const Color& color, Screen screen, double time) {
    const ParamSet params = ParamsOf(effect);
    const UndoStep step(params, kPickLabel);
    PutKey(params, color, screen, ReadFrameFacts(effect, time).light);
}

void SetFound(Effect effect, const Settings& found, double time) {
    const ParamSet params = ParamsOf(effect);
    const UndoStep step(params, kFindLabel);
    PutKey(params, found.keyColor, found.screen, ReadFrameFacts(effect, time).light);
    for (const ParameterId id : TunedParameters())
        PutInt(params, ParameterOf(id), ValueOf(found, ParameterOf(id)));
}

void FollowKeyColor(Effect effect, double time) {
    const Settings settings = ReadSettings(effect, time);
    const std::optional<Screen> screen = ScreenOf(settings.keyColor);
    if (!screen || screen == settings.screen) return;
    PutInt(ParamsOf(effect), ParameterOf(ParameterId::Screen), static_cast<int>(*screen));
}

}  // namespace veltrane::ofx
