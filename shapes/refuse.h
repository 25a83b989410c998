#ifndef VELTRANE_SHAPES_REFUSE_H
#define VELTRANE_SHAPES_REFUSE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace veltrane::shapes {

/// Throws std::invalid_argument with a line of these parts.
template <class... Parts>
[[noreturn]] void Refuse(const Parts&... parts) {
    std::string line;
    ((line += parts), ...);
    throw std::invalid_argument(line);
}

/// The beginning of what a file holds, as a part of a message.
inline std::string Quoted(std::string_view text, std::size_t longest = 40) {
    std::string quoted(1, '\'');
    quoted += text.substr(0, longest);
    quoted += '\'';
    return quoted;
}

}  // namespace veltrane::shapes

#endif
