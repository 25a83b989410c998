#include "cli/setting_options.h"

#include <algorithm>
#include <optional>

#include "cli/errors.h"
#include "cli/text.h"

namespace veltrane::cli {

namespace {

int ParseInteger(const Parameter& row, const std::string& text) {
    const std::optional<long long> value = ParseNumber<long long>(text);
    if (!value)
        throw UsageError(std::string(row.name) + " must be a whole number from " +
                         std::to_string(row.minimum) + " to " + std::to_string(row.maximum) +
                         ", not " + text);
    const std::string problem = ProblemWith(row, *value);
    if (!problem.empty()) throw UsageError(problem);
    return static_cast<int>(*value);
}

int ParseChoice(const Parameter& row, const std::string& text) {
    const std::vector<std::string> names = ChoiceNames(row);
    const auto found = std::find(names.begin(), names.end(), text);
    if (found == names.end())
        throw UsageError(std::string(row.name) + " must be " + Joined(names, "|") + ", not " +
                         text);
    return static_cast<int>(found - names.begin());
}

/// The help's heading for a row's group, "Soften matte: settings".
std::string Heading(const Parameter& row) {
    return std::string(LabelOf(*GroupOf(row))) + ": settings";
}

}  // namespace

CLI::Option* AddScreenOption(CLI::App& command, std::string& text) {
    const Parameter& row = ParameterOf(ParameterId::Screen);
    return command
        .add_option("--" + std::string(row.name), text,
                    std::string(row.help) +
                        " auto goes by the key colour's hue or finds either. [default: auto]")
        ->type_name("auto|" + Joined(ChoiceNames(row), "|"));
}

std::optional<Screen> ParseScreen(const std::string& text) {
    if (text == "auto") return std::nullopt;
    const Parameter& row = ParameterOf(ParameterId::Screen);
    std::vector<std::string> names = ChoiceNames(row);
    const auto found = std::find(names.begin(), names.end(), text);
    if (found != names.end()) return static_cast<Screen>(found - names.begin());
    throw UsageError(std::string(row.name) + " must be auto|" + Joined(names, "|") + ", not " +
                     text);
}

void SettingOptions::AddTo(CLI::App& command) {
    for (const Parameter& row : Parameters()) {
        if (row.kind == ParameterKind::Group) continue;
        const std::string flag = "--" + std::string(row.name);
        if (row.kind == ParameterKind::Color) {
            command
                .add_option(flag, keyColor_,
                            std::string(row.help) +
                                " auto finds it in the first frame; x,y@frame takes it from a spot "
                                "of the picture. [default: auto]")
                ->type_name("auto|#rrggbb|r,g,b|x,y@frame")
                ->group(Heading(row));
            continue;
        }
        if (row.id == static_cast<int>(ParameterId::Screen)) {
            AddScreenOption(command, screen_)->group(Heading(row));
            continue;
        }
        Given& given = values_.emplace_back(Given{&row, nullptr, {}, false});
        if (row.kind == ParameterKind::Switch) {
            const std::string start = row.defaultValue != 0 ? " [default: on]" : " [default: off]";
            given.option = command.add_flag(flag + ",!--no-" + row.name, given.on,
                                            std::string(row.help) + start);
        } else {
            const bool choice = row.kind == ParameterKind::Choice;
            const std::string start =
                choice ? row.entries[row.defaultValue].name : std::to_string(row.defaultValue);
            given.option = command.add_option(flag, given.text,
                                              std::string(row.help) + " [default: " + start + "]");
            given.option->type_name(choice ? Joined(ChoiceNames(row), "|")
                                           : std::to_string(row.minimum) + ".." +
                                                 std::to_string(row.maximum));
        }
        given.option->group(Heading(row));
    }
}

std::vector<ParameterId> SettingOptions::given() const {
    std::vector<ParameterId> ids;
    for (const Given& value : values_)
        if (value.option->count() != 0) ids.push_back(static_cast<ParameterId>(value.row->id));
    return ids;
}

Settings SettingOptions::Apply(Settings base) const {
    for (const Given& given : values_) {
        if (given.option->count() == 0) continue;
        const Parameter& row = *given.row;
        const int value = row.kind == ParameterKind::Switch   ? given.on
                          : row.kind == ParameterKind::Choice ? ParseChoice(row, given.text)
                                                              : ParseInteger(row, given.text);
        SetValue(base, row, value);
    }
    for (const Given& given : values_) {
        const Parameter* governor = GovernorOf(*given.row);
        if (given.option->count() != 0 && governor != nullptr && ValueOf(base, *governor) == 0)
            throw UsageError("--" + std::string(given.row->name) + " has no effect without --" +
                             governor->name);
    }
    return base;
}

}  // namespace veltrane::cli
