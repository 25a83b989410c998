#include "media/deflate_codes.h"

#include <isa-l/igzip_lib.h>

namespace veltrane::media {

DeflateCodes::DeflateCodes(const DeflateCounts& counts) {
    MakePrefixCodes(counts.symbols, kLongestCode, symbols);
    MakePrefixCodes(counts.distances, kLongestCode, distances);
}

void BeginZlib(BitWriter& to) {
    constexpr std::uint64_t kZlib = 0x0178;
    to.Add(kZlib, 16);
    to.Store();
}

/// The lengths of the codes have themselves a code, here the plainest: four bits for each of 0
/// to 15.
void BeginBlock(const DeflateCodes& codes, bool last, BitWriter& to) {
    constexpr int kOwnCodes = 2, kLengthCodes = 19, kRepeaters = 3;
    to.Add(last ? 1 : 0, 1);
    to.Add(kOwnCodes, 2);
    to.Add(kSymbols - 257, 5);
    to.Add(kDistances - 1, 5);
    to.Add(kLengthCodes - 4, 4);
    to.Store();
    for (int i = 0; i < kLengthCodes; ++i) {
        to.Add(i < kRepeaters ? 0 : 4, 3);
        to.Store();
    }
    const auto add = [&](const PrefixCode& code) {
        constexpr std::uint8_t kMirrored[] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
        to.Add(kMirrored[code.length], 4);
        to.Store();
    };
    std::for_each(codes.symbols.begin(), codes.symbols.end(), add);
    std::for_each(codes.distances.begin(), codes.distances.end(), add);
}

void EndZlib(const std::uint8_t* bytes, std::size_t size, BitWriter& to) {
    to.FillByte();
    const std::uint32_t sum = isal_adler32(1, bytes, size);
    for (int shift = 24; shift >= 0; shift -= 8) to.Add(sum >> shift & 0xff, 8);
    to.Store();
}

}  // namespace veltrane::media
