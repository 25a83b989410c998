#include "cli/help_format.h"

namespace veltrane::cli {

std::string HelpFormat::make_option_name(const CLI::Option* option, bool positional) const {
    std::string name = CLI::Formatter::make_option_name(option, positional);
    const std::string value = "{false}";
    if (const std::size_t at = name.find(value); at != std::string::npos)
        name.erase(at, value.size());
    return name;
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    constexpr std::size_t kWidest = 66;
    std::string text = CLI::Formatter::make_option_desc(option);
    for (std::size_t start = 0; text.size() - start > kWidest;) {
        std::size_t space = text.rfind(' ', start + kWidest);
        if (space == std::string::npos || space <= start) break;
        text[space] = '\n';
        start = space + 1;
    }
    return text;
}

}  // namespace veltrane::cli
