#ifndef VELTRANE_MEDIA_PACKET_DIGEST_H
#define VELTRANE_MEDIA_PACKET_DIGEST_H

extern "C" {
#include <libavutil/hash.h>
}

#include <memory>
#include <string>

#include "media/av_support.h"

namespace veltrane::media {

/// A digest of packets in order. It shows damage at no cost that can be noticed beside coding, and
/// is none against forgery.
class PacketDigest {
public:
    PacketDigest();

    void Add(const AVPacket& packet);
    /// Thirty-two digits; nothing can be added after.
    std::string Text();

private:
    struct Deleter {
        void operator()(AVHashContext* hash) const { av_hash_freep(&hash); }
    };
    std::unique_ptr<AVHashContext, Deleter> hash_;
};

}  // namespace veltrane::media

#endif
