#include "media/zlib_data.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace veltrane::media {
namespace {

constexpr std::size_t kMost = std::size_t{1} << 30;  // the library counts 32 bits

/// Data on its way through the library.
class Unzipping {
public:
    explicit Unzipping(const std::vector<std::uint8_t>& data) : data_(data) {
        isal_inflate_init(state_.get());
        state_->crc_flag = ISAL_ZLIB;
    }

    bool ended() const { return state_->block_state == ISAL_BLOCK_FINISH; }

    /// How many bytes it made, at most the room given; null when the data is damaged.
    std::optional<std::size_t> Next(std::uint8_t* to, std::size_t room) {
        const std::size_t given = std::min(kMost, data_.size() - taken_);
        room = std::min(kMost, room);
        state_->next_in = const_cast<std::uint8_t*>(data_.data()) + taken_;
        state_->avail_in = static_cast<std::uint32_t>(given);
        state_->next_out = to;
        state_->avail_out = static_cast<std::uint32_t>(room);
        if (isal_inflate(state_.get()) != ISAL_DECOMP_OK) return std::nullopt;
        const std::size_t used = given - state_->avail_in;
        const std::size_t made = room - state_->avail_out;
        if (used == 0 && made == 0 && !ended()) return std::nullopt;
        taken_ += used;
        return made;
    }

    /// Makes the rest. How many bytes those are; null when the data is damaged.
    std::optional<std::uint64_t> Rest() {
        std::vector<std::uint8_t> room(std::size_t{1} << 18);
        std::uint64_t made = 0;
        while (!ended()) {
            const auto more = Next(room.data(), room.size());
            if (!more) return std::nullopt;
            made += *more;
        }
        return made;
    }

private:
    const std::vector<std::uint8_t>& data_;
    std::unique_ptr<inflate_state> state_ = std::make_unique<inflate_state>();
    std::size_t taken_ = 0;
};

}  // namespace

bool Unzip(const std::vector<std::uint8_t>& data, std::uint8_t* to, std::size_t size) {
    Unzipping unzipping(data);
    std::size_t made = 0;
    while (made < size && !unzipping.ended()) {
        const auto more = unzipping.Next(to + made, size - made);
        if (!more) return false;
        made += *more;
    }
    return made == size && unzipping.Rest();
}

bool IsWholeZlib(const std::vector<std::uint8_t>& data, std::uint64_t size) {
    const auto made = Unzipping(data).Rest();
    return made && *made >= size;
}

Zipper::Zipper() : level_(ISAL_DEF_LVL1_DEFAULT) {}

std::vector<std::uint8_t> Zipper::Zip(const std::uint8_t* bytes, std::size_t size) {
    // What earlier pieces left here would decide which of several matches is taken.
    std::fill(level_.begin(), level_.end(), std::uint8_t{0});
    isal_zstream stream;
    isal_deflate_init(&stream);
    stream.level = 1;
    stream.level_buf = level_.data();
    stream.level_buf_size = static_cast<std::uint32_t>(level_.size());
    stream.gzip_flag = IGZIP_ZLIB;
    std::vector<std::uint8_t> zipped(size / 2 + 4096);
    std::size_t given = 0, made = 0;
    while (stream.internal_state.state != ZSTATE_END) {
        if (made == zipped.size()) zipped.resize(zipped.size() * 2);
        const std::size_t more = std::min(kMost, size - given);
        const std::size_t room = std::min(kMost, zipped.size() - made);
        stream.next_in = const_cast<std::uint8_t*>(bytes) + given;
        stream.avail_in = static_cast<std::uint32_t>(more);
        stream.end_of_stream = given + more == size;
        stream.next_out = zipped.data() + made;
        stream.avail_out = static_cast<std::uint32_t>(room);
        isal_deflate(&stream);
        given += more - stream.avail_in;
        made += room - stream.avail_out;
    }
    zipped.resize(made);
    return zipped;
}

}  // namespace veltrane::media
