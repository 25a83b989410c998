#include "studio/command_line.h"

#include <algorithm>

#include "cli/key_color.h"

namespace veltrane::studio {

namespace {

void Add(std::vector<std::string>& arguments, const Settings& settings, const Parameter& row) {
    const Parameter* governor = GovernorOf(row);
    // The command refuses what has no effect.
    if (governor != nullptr && ValueOf(settings, *governor) == 0) return;
    const int value = ValueOf(settings, row);
    if (value == row.defaultValue) return;
    const std::string name = row.name;
    if (row.kind == ParameterKind::Switch) {
        arguments.push_back(value != 0 ? "--" + name : "--no-" + name);
        return;
    }
    arguments.push_back("--" + name);
    const bool choice = row.kind == ParameterKind::Choice;
    arguments.push_back(choice ? row.entries[static_cast<std::size_t>(value)].name
                               : std::to_string(value));
}

std::string Quoted(const std::string& argument) {
    constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
    if (!argument.empty() && argument.find_first_not_of(kPlain) == std::string::npos)
        return argument;
    std::string quoted = "'";
    for (const char c : argument) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + '\'';
}

}  // namespace

std::vector<std::string> Arguments(const KeyCall& call) {
    std::vector<std::string> arguments{"key", call.input, call.output};
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) arguments.insert(arguments.end(), {"--" + name, value});
    };
    // By name even where it was found: from another first frame another might be.
    if (call.settings.view != View::Source) add("key-color", HexText(call.settings.keyColor));
    add("screen", cli::ScreenName(call.settings.screen));
    for (const Parameter& row : Parameters()) {
        const bool isNumber = row.kind != ParameterKind::Group && row.kind != ParameterKind::Color;
        if (isNumber && row.id != static_cast<int>(ParameterId::Screen))
            Add(arguments, call.settings, row);
    }
    add("garbage", call.inputs.garbage);
    add("core", call.inputs.core);
    add("clean-plate", call.inputs.cleanPlate);
    if (call.inputs.matchPlate) arguments.emplace_back("--match-plate");
    if (call.frames)
        add("frames", std::to_string(call.frames->first) + '-' + std::to_string(call.frames->last));
    for (const auto& [name, value] : call.options) add(name, value);
    return arguments;
}

std::string ShellLine(const std::vector<std::string>& arguments) {
    std::string line = "veltrane";
    for (const std::string& argument : arguments) line += ' ' + Quoted(argument);
    return line;
}

}  // namespace veltrane::studio
