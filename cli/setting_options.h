#ifndef VELTRANE_CLI_SETTING_OPTIONS_H
#define VELTRANE_CLI_SETTING_OPTIONS_H

#include <CLI/CLI.hpp>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "settings/settings.h"

namespace veltrane::cli {

/// Adds --screen, which text takes.
CLI::Option* AddScreenOption(CLI::App& command, std::string& text);

/// Reads green, blue or, for nothing, auto. Throws UsageError for anything else.
std::optional<Screen> ParseScreen(const std::string& text);

/// The options of a command that set the user's values, one a row of the parameter table.
class SettingOptions {
public:
    void AddTo(CLI::App& command);

    /// base with the values that were given on the command line, except the key colour and the
    /// screen. Throws UsageError for values out of range and for values without effect.
    Settings Apply(Settings base) const;

    /// Those of these values that were given.
    std::vector<ParameterId> given() const;

    /// What --key-color was given, empty when it was not.
    const std::string& keyColor() const { return keyColor_; }

    /// What --screen was given, nothing for auto. Throws UsageError.
    std::optional<Screen> screen() const { return ParseScreen(screenGiven() ? screen_ : "auto"); }
    bool screenGiven() const { return !screen_.empty(); }

private:
    struct Given {
        const Parameter* row;
        CLI::Option* option;
        std::string text;
        bool on;
    };

    std::list<Given> values_;  // a list, since the options point to its elements
    std::string keyColor_;
    std::string screen_;
};

}  // namespace veltrane::cli

#endif
