#ifndef VELTRANE_CLI_HELP_FORMAT_H
#define VELTRANE_CLI_HELP_FORMAT_H

#include <CLI/CLI.hpp>
#include <string>

namespace veltrane::cli {

/// The help pages: descriptions are broken to lines, and switches show plain names.
class HelpFormat : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace veltrane::cli

#endif
