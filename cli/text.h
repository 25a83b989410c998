#ifndef VELTRANE_CLI_TEXT_H
#define VELTRANE_CLI_TEXT_H

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace veltrane::cli {

/// The number that the whole text is, or nothing.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// The longest line that is printed, in bytes: what users give or files hold can have any length.
inline constexpr std::size_t kLongestLine = 1000;

/// The text on one line: without line ends and other control characters, and where it is longer
/// than that many bytes with its middle left out.
inline std::string OneLine(std::string text, std::size_t longest) {
    for (char& c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7f) c = ' ';
    }
    if (text.size() <= longest) return text;
    const auto continues = [&](std::size_t at) { return (text[at] & 0xc0) == 0x80; };
    std::size_t first = longest / 2, last = text.size() - longest / 2;
    while (first > 0 && continues(first)) --first;
    while (last < text.size() && continues(last)) ++last;
    return text.replace(first, last - first, " ... ");
}

inline std::string Joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string text;
    for (const std::string& part : parts) {
        if (!text.empty()) text += separator;
        text += part;
    }
    return text;
}

}  // namespace veltrane::cli

#endif
