#include "settings/settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <variant>

#include "settings/host_rows.h"

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

void Check(const Settings& settings, int width, int height) {
    constexpr int kLongestSide = 65535;
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide)
        throw std::invalid_argument("frame must be 1 to 65535 pixels a side, not " +
                                    std::to_string(width) + " x " + std::to_string(height));
    const std::vector<std::string> problems = Problems(settings);
    if (!problems.empty()) throw std::invalid_argument(problems.front());
}

Settings Snapped(Settings settings) {
    settings.keyColor = SnapToByteSteps(settings.keyColor);
    return settings;
}

/// Settings and sizes are checked beforehand; the keyer's own checks are no narrower.
void ThrowUnlessDone(Status status) {
    if (status != Status::kDone) throw std::invalid_argument("the keyer refuses these settings");
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

void Key(const Settings& settings, int width, int height, const std::uint16_t* source,
         std::uint16_t* destination) {
    Check(settings, width, height);
    std::vector<std::uint16_t> smoothed;
    if (settings.deBlocking) {
        const std::size_t samples = std::size_t{4} * width * height;
        smoothed.assign(source, source + samples);
        source = smoothed.data();
    }
    ThrowUnlessDone(FinalCut(destination, source, width, height, Snapped(settings)));
}

void Key(const Settings& settings, int width, int height, const HostRows<std::uint16_t>& rows) {
    Check(settings, width, height);
    ThrowUnlessDone(FinalCut(rows, width, height, Snapped(settings)));
}

void Key(const Settings& settings, int width, int height, const HostRows<std::uint8_t>& rows) {
    Check(settings, width, height);
    ThrowUnlessDone(FinalCut(rows, width, height, Snapped(settings)));
}

void Key(const Settings& settings, int width, int height, const std::uint8_t* source,
         std::uint8_t* destination) {
    Check(settings, width, height);
    ThrowUnlessDone(FinalCut(destination, width, height, source, width, height, Snapped(settings)));
}

}  // namespace veltrane
