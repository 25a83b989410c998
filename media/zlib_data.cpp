#include "media/zlib_data.h"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "media/grain_zipper.h"
#include "media/pixel_zipper.h"

namespace veltrane::media {
namespace {

constexpr std::size_t kMost = std::size_t{1} << 30;  // the library counts 32 bits

/// Data on its way through the library.
class Unzipping {
public:
    explicit Unzipping(const Bytes& data) : data_(data) {
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
        Bytes room(std::size_t{1} << 18);
        std::uint64_t made = 0;
        while (!ended()) {
            const auto more = Next(room.data(), room.size());
            if (!more) return std::nullopt;
            made += *more;
        }
        return made;
    }

private:
    const Bytes& data_;
    std::unique_ptr<inflate_state> state_ = std::make_unique<inflate_state>();
    std::size_t taken_ = 0;
};

/// What is given as a whole is decompressed faster by this library.
libdeflate_result UnzipAtOnce(const std::uint8_t* data, std::size_t dataSize, std::uint8_t* to,
                              std::size_t size) {
    const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> unzipping(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    if (!unzipping) throw std::bad_alloc();
    return libdeflate_zlib_decompress(unzipping.get(), data, dataSize, to, size, nullptr);
}

}  // namespace

bool UnzipWhole(const std::uint8_t* data, std::size_t dataSize, std::uint8_t* to,
                std::size_t size) {
    return UnzipAtOnce(data, dataSize, to, size) == LIBDEFLATE_SUCCESS;
}

bool Unzip(const Bytes& data, std::uint8_t* to, std::size_t size) {
    const libdeflate_result result = UnzipAtOnce(data.data(), data.size(), to, size);
    if (result != LIBDEFLATE_INSUFFICIENT_SPACE) return result == LIBDEFLATE_SUCCESS;
    Unzipping unzipping(data);
    std::size_t made = 0;
    while (made < size && !unzipping.ended()) {
        const auto more = unzipping.Next(to + made, size - made);
        if (!more) return false;
        made += *more;
    }
    return made == size && unzipping.Rest();
}

bool IsWholeZlib(const Bytes& data, std::uint64_t size) {
    const auto made = Unzipping(data).Rest();
    return made && *made >= size;
}

/// The first bytes are compressed apart from the rest. Given all at once, the library enters a hash
/// of the stream's own address in its table of places, so that now and then another match would be
/// found, depending on where memory lies.
class Zipper::Stream {
public:
    explicit Stream(Blocks blocks)
        : level_(blocks == Blocks::Long ? ISAL_DEF_LVL1_DEFAULT : ISAL_DEF_LVL1_SMALL) {}

    void Begin() {
        // What earlier pieces left here would decide which of several matches is taken.
        std::fill(level_.begin(), level_.end(), std::uint8_t{0});
        isal_deflate_init(&stream_);
        stream_.level = 1;
        stream_.level_buf = level_.data();
        stream_.level_buf_size = static_cast<std::uint32_t>(level_.size());
        stream_.gzip_flag = IGZIP_ZLIB;
        firstBytes_ = headMade_ = headTaken_ = 0;
    }

    void Give(const std::uint8_t* bytes, std::size_t size, bool last) {
        given_ = bytes;
        left_ = size;
        last_ = last;
        while (firstBytes_ < first_.size() && left_ > 0) {
            first_[firstBytes_++] = *given_++;
            --left_;
        }
        if (headMade_ == 0 && (firstBytes_ == first_.size() || last)) MakeHead();
    }

    std::size_t Take(std::uint8_t* room, std::size_t size) {
        std::size_t made = std::min(size, headMade_ - headTaken_);
        std::copy_n(head_.data() + headTaken_, made, room);
        headTaken_ += made;
        while (made < size && headMade_ > 0 && (left_ > 0 || (last_ && !ended()))) {
            made += Step(room + made, size - made);
        }
        return made;
    }

private:
    bool ended() const { return stream_.internal_state.state == ZSTATE_END; }

    void MakeHead() {
        stream_.next_in = first_.data();
        stream_.avail_in = static_cast<std::uint32_t>(firstBytes_);
        stream_.flush = SYNC_FLUSH;
        stream_.next_out = head_.data();
        stream_.avail_out = static_cast<std::uint32_t>(head_.size());
        isal_deflate(&stream_);
        stream_.flush = NO_FLUSH;
        headMade_ = head_.size() - stream_.avail_out;
    }

    std::size_t Step(std::uint8_t* room, std::size_t size) {
        const std::size_t more = std::min(kMost, left_);
        size = std::min(kMost, size);
        stream_.next_in = const_cast<std::uint8_t*>(given_);
        stream_.avail_in = static_cast<std::uint32_t>(more);
        stream_.end_of_stream = last_ && more == left_;
        stream_.next_out = room;
        stream_.avail_out = static_cast<std::uint32_t>(size);
        isal_deflate(&stream_);
        const std::size_t used = more - stream_.avail_in;
        given_ += used;
        left_ -= used;
        return size - stream_.avail_out;
    }

    isal_zstream stream_;
    std::vector<std::uint8_t> level_;
    std::array<std::uint8_t, 8> first_;
    std::array<std::uint8_t, 512> head_;
    std::size_t firstBytes_ = 0, headMade_ = 0, headTaken_ = 0;
    const std::uint8_t* given_ = nullptr;
    std::size_t left_ = 0;
    bool last_ = false;
};

Zipper::Zipper(Blocks blocks)
    : stream_(std::make_unique<Stream>(blocks)),
      grain_(std::make_unique<GrainZipper>()),
      pixels_(std::make_unique<PixelZipper>()) {}
Zipper::~Zipper() = default;
Zipper::Zipper(Zipper&&) noexcept = default;

void Zipper::Begin() {
    stream_->Begin();
}

void Zipper::Give(const std::uint8_t* bytes, std::size_t size, bool last) {
    stream_->Give(bytes, size, last);
}

std::size_t Zipper::Take(std::uint8_t* room, std::size_t size) {
    return stream_->Take(room, size);
}

Bytes Zipper::Zip(const std::uint8_t* bytes, std::size_t size, double grain) {
    return ZipBy(grain_->Repetition(bytes, size) <= grain, bytes, size);
}

Bytes Zipper::ZipPixels(const std::uint8_t* bytes, std::size_t size) {
    constexpr double kMostRepetition = 0.6;
    const double repetition = grain_->Repetition(bytes, size);
    if (repetition <= kGrain || repetition > kMostRepetition)
        return ZipBy(repetition <= kGrain, bytes, size);
    const auto zipped = pixels_->Zip(bytes, size);
    return {zipped.begin(), zipped.end()};
}

Bytes Zipper::ZipBy(bool grain, const std::uint8_t* bytes, std::size_t size) {
    if (grain) {
        const auto zipped = grain_->Zip(bytes, size);
        if (zipped.size() < size) return {zipped.begin(), zipped.end()};
    }
    Begin();
    Give(bytes, size, true);
    room_.resize(std::max(room_.size(), size + 4096));
    std::size_t made = Take(room_.data(), room_.size());
    while (made == room_.size()) {
        room_.resize(room_.size() * 2);
        made += Take(room_.data() + made, room_.size() - made);
    }
    return {room_.begin(), room_.begin() + static_cast<std::ptrdiff_t>(made)};
}

}  // namespace veltrane::media
