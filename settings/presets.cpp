#include "settings/presets.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "files/error.h"
#include "files/whole_file.h"

namespace veltrane {

namespace {

using Json = nlohmann::ordered_json;

// Of the order of a thousand times what all the settings take.
constexpr std::size_t kMostBytes = 1'000'000;

/// The value as it stands in the file, safe to print whatever it holds.
std::string Shown(const Json& value) {
    if (value.is_array()) return "a list";
    if (value.is_object()) return "an object";
    constexpr std::size_t kLongest = 60;
    std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    if (text.size() > kLongest) text.replace(kLongest, text.npos, "...");
    return text;
}

/// All values there are, as a list of the file's own form.
std::string ShownNames(const std::vector<std::string>& names) {
    return Json(names).dump();
}

[[noreturn]] void Refuse(const Parameter& row, const std::string& allowed, const Json& value) {
    throw std::invalid_argument(std::string(row.name) + " must be " + allowed + ", not " +
                                Shown(value));
}

int ParseChoice(const Parameter& row, const Json& value) {
    const std::vector<std::string> names = ChoiceNames(row);
    const std::string name = value.is_string() ? value.get<std::string>() : "";
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) Refuse(row, "one of " + ShownNames(names), value);
    return static_cast<int>(found - names.begin());
}

int ParseInteger(const Parameter& row, const Json& value) {
    const std::string allowed =
        "a whole number from " + std::to_string(row.minimum) + " to " + std::to_string(row.maximum);
    if (!value.is_number_integer()) Refuse(row, allowed, value);
    const double number = value.get<double>();
    if (number < row.minimum || number > row.maximum) Refuse(row, allowed, value);
    return value.get<int>();
}

Color ParseColor(const Parameter& row, const Json& value) {
    std::optional<Color> color;
    if (value.is_string()) color = ParseHexColor(value.get_ref<const std::string&>());
    if (!color) Refuse(row, "a colour such as \"#22bb44\"", value);
    return *color;
}

void Take(Settings& settings, const Parameter& row, const Json& value) {
    switch (row.kind) {
        case ParameterKind::Choice:
            SetValue(settings, row, ParseChoice(row, value));
            break;
        case ParameterKind::Switch:
            if (!value.is_boolean()) Refuse(row, "true or false", value);
            SetValue(settings, row, value.get<bool>());
            break;
        case ParameterKind::Integer:
            SetValue(settings, row, ParseInteger(row, value));
            break;
        case ParameterKind::Color:
            SetColor(settings, row, ParseColor(row, value));
            break;
        case ParameterKind::Group:
            break;
    }
}

Json Value(const Settings& settings, const Parameter& row) {
    if (row.kind == ParameterKind::Color) return HexText(ColorOf(settings, row));
    const int value = ValueOf(settings, row);
    if (row.kind == ParameterKind::Switch) return value != 0;
    if (row.kind == ParameterKind::Choice) return row.entries[value].name;
    return value;
}

[[noreturn]] void RefuseSize() {
    throw std::invalid_argument("is larger than a preset can be, " + std::to_string(kMostBytes) +
                                " bytes");
}

Json Parse(std::string_view text) {
    if (text.size() > kMostBytes) RefuseSize();
    std::string place;
    const auto remember = [&](int, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::key) place = " of " + Shown(parsed);
        return true;
    };
    try {
        return Json::parse(text, remember);
    } catch (const Json::out_of_range&) {
        throw std::invalid_argument("the number" + place + " is larger than any can be");
    } catch (const Json::parse_error& error) {
        const std::size_t end = std::min(error.byte, text.size());
        const auto line = 1 + std::count(text.begin(), text.begin() + end, '\n');
        throw std::invalid_argument("not valid JSON in line " + std::to_string(line));
    }
}

Settings Interpret(std::string_view text) {
    const Json object = Parse(text);
    if (!object.is_object())
        throw std::invalid_argument("a preset must be one JSON object of settings by name");
    Settings settings;
    for (const auto& [name, value] : object.items()) {
        const Parameter* row = FindParameter(name);
        if (row == nullptr) throw std::invalid_argument("unknown setting " + Shown(name));
        Take(settings, *row, value);
    }
    return settings;
}

}  // namespace

std::string ToJson(const Settings& settings) {
    const std::vector<std::string> problems = Problems(settings);
    if (!problems.empty()) throw std::invalid_argument(problems.front());
    Json object = Json::object();
    for (const Parameter& row : Parameters())
        if (row.kind != ParameterKind::Group) object[row.name] = Value(settings, row);
    return object.dump(2) + '\n';
}

Settings FromJson(std::string_view text, const std::string& origin) {
    try {
        return Interpret(text);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(origin + ": " + error.what());
    }
}

Settings ReadPreset(const std::string& path) {
    errno = EISDIR;  // where nothing else is told
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.eof() && !file) files::FailBySystem(path, "cannot be read", errno);
    text.resize(static_cast<std::size_t>(file.gcount()));
    return FromJson(text, path);
}

void WritePreset(const std::string& path, const Settings& settings) {
    files::WriteWhole(path, ToJson(settings));
}

}  // namespace veltrane
