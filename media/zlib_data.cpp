#include "media/zlib_data.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <memory>

namespace veltrane::media {

bool IsWholeZlib(const std::vector<std::uint8_t>& data, std::uint64_t size) {
    constexpr std::size_t kRoom = std::size_t{1} << 18;
    constexpr std::size_t kMostInput = std::size_t{1} << 30;  // the library counts 32 bits
    const auto state = std::make_unique<inflate_state>();
    isal_inflate_init(state.get());
    state->crc_flag = ISAL_ZLIB;
    std::vector<std::uint8_t> room(kRoom);
    std::size_t taken = 0;
    std::uint64_t made = 0;
    while (state->block_state != ISAL_BLOCK_FINISH) {
        const std::size_t given = std::min(kMostInput, data.size() - taken);
        state->next_in = const_cast<std::uint8_t*>(data.data()) + taken;
        state->avail_in = static_cast<std::uint32_t>(given);
        state->next_out = room.data();
        state->avail_out = static_cast<std::uint32_t>(room.size());
        if (isal_inflate(state.get()) != ISAL_DECOMP_OK) return false;
        const std::size_t used = given - state->avail_in;
        const std::size_t got = room.size() - state->avail_out;
        if (used == 0 && got == 0) return false;
        taken += used;
        made += got;
    }
    return made >= size;
}

}  // namespace veltrane::media
