#include "media/packet_digest.h"

#include <cstdint>
#include <new>

namespace veltrane::media {

PacketDigest::PacketDigest() {
    AVHashContext* hash = nullptr;
    if (av_hash_alloc(&hash, "murmur3") < 0) throw std::bad_alloc();
    hash_.reset(hash);
    av_hash_init(hash);
}

void PacketDigest::Add(const AVPacket& packet) {
    std::uint8_t size[4];  // so that no byte can pass from one packet to the next
    for (int i = 0; i < 4; ++i) size[i] = static_cast<std::uint8_t>(packet.size >> (8 * i));
    av_hash_update(hash_.get(), size, sizeof size);
    av_hash_update(hash_.get(), packet.data, static_cast<std::size_t>(packet.size));
}

std::string PacketDigest::Text() {
    char digits[2 * AV_HASH_MAX_SIZE + 1] = {};
    av_hash_final_hex(hash_.get(), reinterpret_cast<std::uint8_t*>(digits), sizeof digits);
    return digits;
}

}  // namespace veltrane::media
