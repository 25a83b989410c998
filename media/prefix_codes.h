#ifndef VELTRANE_MEDIA_PREFIX_CODES_H
#define VELTRANE_MEDIA_PREFIX_CODES_H

#include <cstdint>
#include <span>

namespace veltrane::media {

/// A symbol's code, its first bit lowest.
struct PrefixCode {
    std::uint16_t bits = 0;
    std::uint16_t length = 0;  ///< 0 for a symbol that does not come
};

/// The codes that make up the fewest bits for symbols that come so often, at most 286 of them, none
/// longer than `longest` (9 to 15). One symbol gets a code in any case. Codes of one length rise
/// with their symbols.
void MakePrefixCodes(std::span<const std::uint32_t> counts, int longest,
                     std::span<PrefixCode> codes);

}  // namespace veltrane::media

#endif
