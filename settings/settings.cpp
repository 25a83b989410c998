#include "settings/settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <variant>

namespace veltrane {

namespace {

using Member = std::variant<View Settings::*, bool Settings::*, int Settings::*>;

struct Binding {
    ParameterId id;
    Member member;
};

constexpr Binding kBindings[] = {
    {ParameterId::View, &Settings::view},
    {ParameterId::SmoothBG, &Settings::smoothBG},
    {ParameterId::Shadow, &Settings::shadow},
    {ParameterId::ClipBlack, &Settings::clipBlack},
    {ParameterId::ClipWhite, &Settings::clipWhite},
    {ParameterId::DeBlocking, &Settings::deBlocking},
    {ParameterId::DeBlockValue, &Settings::deBlockValue},
    {ParameterId::EdgeContract, &Settings::edgeContract},
    {ParameterId::ContractMask, &Settings::contractMask},
    {ParameterId::ContractThreshold, &Settings::contractThreshold},
    {ParameterId::EdgeBlur, &Settings::edgeBlur},
    {ParameterId::MaskBlurRadius, &Settings::maskBlurRadius},
    {ParameterId::MaskBlurValue, &Settings::maskBlurValue},
    {ParameterId::SkinHue, &Settings::skinHue},
    {ParameterId::BlueHue, &Settings::blueHue},
    {ParameterId::DespillGray, &Settings::despillGray},
    {ParameterId::DespillSkin, &Settings::despillSkin},
    {ParameterId::DespillBlue, &Settings::despillBlue},
    {ParameterId::ScreenGain, &Settings::screenGain},
};

const Member& MemberOf(const Parameter& parameter) {
    for (const Binding& binding : kBindings)
        if (static_cast<int>(binding.id) == parameter.id) return binding.member;
    throw std::invalid_argument(std::string(Label(parameter.key)) + " holds no whole number");
}

/// The shortest decimal form that reads back as the same value.
std::string Text(double value) {
    char digits[32];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return {digits, end};
}

void CheckColor(const Parameter& row, const char* channel, double value,
                std::vector<std::string>& problems) {
    if (value >= row.minimum && value <= row.maximum) return;
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
    return std::visit([&](auto member) { return static_cast<int>(settings.*member); },
                      MemberOf(parameter));
}

void SetValue(Settings& settings, const Parameter& parameter, int value) {
    std::visit(
        [&](auto member) {
            settings.*member = static_cast<std::decay_t<decltype(settings.*member)>>(value);
        },
        MemberOf(parameter));
}

std::vector<std::string> Problems(const Settings& settings) {
    std::vector<std::string> problems;
    for (const Binding& binding : kBindings) {
        const Parameter& row = Row(binding.id);
        const std::string problem = ProblemWith(row, ValueOf(settings, row));
        if (!problem.empty()) problems.push_back(problem);
    }
    const Parameter& key = Row(ParameterId::KeyColor);
    CheckColor(key, "red", settings.keyColor.red, problems);
    CheckColor(key, "green", settings.keyColor.green, problems);
    CheckColor(key, "blue", settings.keyColor.blue, problems);
    return problems;
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
