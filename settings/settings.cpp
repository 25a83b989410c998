#include "settings/settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace veltrane {

namespace {

/// Whether a member holds a whole number or what counts as one.
template <typename Member>
constexpr bool kIsNumber =
    !std::is_same_v<Member, std::monostate> && !std::is_same_v<Member, Color Settings::*>;

[[noreturn]] void RefuseKind(const Parameter& parameter) {
    throw std::invalid_argument(std::string(Label(parameter.key)) + " holds no such value");
}

Color Settings::*ColorMember(const Parameter& parameter) {
    const auto* member = std::get_if<Color Settings::*>(&parameter.member);
    if (member == nullptr) RefuseKind(parameter);
    return *member;
}

/// The shortest decimal form that reads back as the same value.
std::string Text(double value) {
    char digits[32];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return {digits, end};
}

void CheckColor(const Parameter& row, const Color& color, std::vector<std::string>& problems) {
    for (const auto& [channel, value] :
         {std::pair("red", color.red), std::pair("green", color.green),
          std::pair("blue", color.blue)})
        if (!(value >= row.minimum && value <= row.maximum))
            problems.push_back(std::string(row.name) + ' ' + channel + " must be " +
                               std::to_string(row.minimum) + " to " + std::to_string(row.maximum) +
                               ", not " + Text(value));
}

double ByteStep(double component) {
    return std::floor(component * 255.0 + 0.5);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

int ValueOf(const Settings& settings, const Parameter& parameter) {
    return std::visit(
        [&](auto member) -> int {
            if constexpr (kIsNumber<decltype(member)>)
                return static_cast<int>(settings.*member);
            else
                RefuseKind(parameter);
        },
        parameter.member);
}

void SetValue(Settings& settings, const Parameter& parameter, int value) {
    std::visit(
        [&](auto member) {
            if constexpr (kIsNumber<decltype(member)>)
                settings.*member = static_cast<std::decay_t<decltype(settings.*member)>>(value);
            else
                RefuseKind(parameter);
        },
        parameter.member);
}

Color ColorOf(const Settings& settings, const Parameter& parameter) {
    return settings.*ColorMember(parameter);
}

void SetColor(Settings& settings, const Parameter& parameter, const Color& color) {
    settings.*ColorMember(parameter) = color;
}

Settings SettledFor(Settings settings, bool compositesInLinearLight) {
    if (settings.matteLight == MatteLight::Automatic)
        settings.matteLight = compositesInLinearLight ? MatteLight::Linear : MatteLight::Display;
    return settings;
}

std::vector<std::string> Problems(const Settings& settings) {
    std::vector<std::string> problems;
    for (const Parameter& row : Parameters()) {
        if (row.kind == ParameterKind::Group) continue;
        if (row.kind == ParameterKind::Color) {
            CheckColor(row, ColorOf(settings, row), problems);
            continue;
        }
        std::string problem = ProblemWith(row, ValueOf(settings, row));
        if (!problem.empty()) problems.push_back(std::move(problem));
    }
    return problems;
}

void ScaleRadii(Settings& settings, double scale) {
    for (const Parameter& row : Parameters()) {
        if (!row.inPixels) continue;
        const double radius = std::floor(ValueOf(settings, row) * scale + 0.5);
        SetValue(settings, row,
                 static_cast<int>(std::clamp<double>(radius, row.minimum, row.maximum)));
    }
}

Color SnapToByteSteps(Color color) {
    return {ByteStep(color.red) / 255.0, ByteStep(color.green) / 255.0,
            ByteStep(color.blue) / 255.0};
}

std::string HexText(Color color) {
    std::string text = "#";
    for (const double component : {color.red, color.green, color.blue}) {
        const double step = ByteStep(component);
        const int byte = !(step > 0) ? 0 : step < 255 ? static_cast<int>(step) : 255;
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

std::optional<Color> ParseHexColor(std::string_view text) {
    if (text.size() != 7 || text[0] != '#') return std::nullopt;
    int bytes[3];
    for (int i = 0; i < 3; ++i) {
        const int high = HexDigit(text[1 + 2 * i]);
        const int low = HexDigit(text[2 + 2 * i]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes[i] = high * 16 + low;
    }
    return Color{bytes[0] / 255.0, bytes[1] / 255.0, bytes[2] / 255.0};
}

}  // namespace veltrane
