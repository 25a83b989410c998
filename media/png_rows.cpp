#include "media/png_rows.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "media/share_work.h"

namespace veltrane::media {
namespace {

/// The bytes that the chunks of pixels decompress to, which are one stream.
class PixelStream {
public:
    explicit PixelStream(const Bytes& file) : file_(file) {
        isal_inflate_init(state_.get());
        state_->crc_flag = ISAL_ZLIB;
    }

    /// Makes the next bytes. False when the data is damaged or ends before.
    bool Make(std::uint8_t* bytes, std::size_t size) {
        state_->next_out = bytes;
        state_->avail_out = static_cast<std::uint32_t>(size);
        while (state_->avail_out > 0) {
            if (Ended() || !Go()) return false;
        }
        return true;
    }
    /// Makes what is left. False when the data is damaged or its checksum is wrong.
    bool Finish() {
        Bytes room(std::size_t{1} << 16);
        while (!Ended()) {
            state_->next_out = room.data();
            state_->avail_out = static_cast<std::uint32_t>(room.size());
            if (!Go()) return false;
        }
        return true;
    }

private:
    bool Ended() const { return state_->block_state == ISAL_BLOCK_FINISH; }

    /// False when it comes no further.
    bool Go() {
        const bool more = state_->avail_in > 0 || NextChunk();
        const std::uint32_t room = state_->avail_out;
        if (isal_inflate(state_.get()) != ISAL_DECOMP_OK) return false;
        return more || Ended() || state_->avail_out < room;
    }

    bool NextChunk() {
        constexpr std::size_t kFrame = 12;
        while (at_ + kFrame <= file_.size()) {
            std::size_t length = 0;
            for (int i = 0; i < 4; ++i) length = length << 8 | file_[at_ + i];
            if (length > file_.size() - at_ - kFrame) return false;
            const std::uint8_t* name = file_.data() + at_ + 4;
            at_ += length + kFrame;
            if (length == 0 || std::memcmp(name, "IDAT", 4) != 0) continue;
            state_->next_in = const_cast<std::uint8_t*>(name) + 4;
            state_->avail_in = static_cast<std::uint32_t>(length);
            return true;
        }
        return false;
    }

    const Bytes& file_;
    std::size_t at_ = 8;  ///< behind the signature
    std::unique_ptr<inflate_state> state_ = std::make_unique<inflate_state>();
};

/// Of the bytes to the left, above and above to the left, the one nearest to where they lead.
int Nearest(int left, int above, int corner) {
    const int toLeft = std::abs(above - corner), toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    if (toLeft <= toAbove && toLeft <= toCorner) return left;
    return toAbove <= toCorner ? above : corner;
}

enum Filter { kNone, kLeft, kUp, kMean, kNearest };

/// Adds to each byte what its filter foretold of it. above may be the row of zeros.
template <typename Foretell>
void Add(std::uint8_t* row, std::size_t begin, std::size_t end, Foretell foretell) {
    for (std::size_t i = begin; i < end; ++i) {
        row[i] = static_cast<std::uint8_t>(row[i] + foretell(i));
    }
}

bool Undo(int filter, const PngRowLayout& layout, const std::uint8_t* above, std::uint8_t* row) {
    const std::size_t step = layout.pixelBytes, end = layout.rowBytes;
    switch (filter) {
        case kNone:
            return true;
        case kLeft:
            Add(row, step, end, [=](std::size_t i) { return row[i - step]; });
            return true;
        case kUp:
            Add(row, 0, end, [=](std::size_t i) { return above[i]; });
            return true;
        case kMean:
            Add(row, 0, step, [=](std::size_t i) { return above[i] / 2; });
            Add(row, step, end, [=](std::size_t i) { return (row[i - step] + above[i]) / 2; });
            return true;
        case kNearest:
            Add(row, 0, step, [=](std::size_t i) { return above[i]; });
            Add(row, step, end,
                [=](std::size_t i) { return Nearest(row[i - step], above[i], above[i - step]); });
            return true;
        default:
            return false;
    }
}

/// Undoes the filters of bands from the top down.
class Unfilter {
public:
    explicit Unfilter(const PngRowLayout& layout) : layout_(layout), above_(layout.rowBytes, 0) {}

    /// False when there is no such filter.
    bool operator()(std::uint8_t* rows, std::size_t count) {
        const std::uint8_t* above = above_.data();
        for (std::size_t y = 0; y < count; ++y, rows += layout_.rowBytes + 1) {
            if (!Undo(rows[0], layout_, above, rows + 1)) return false;
            above = rows + 1;
        }
        std::copy(above, above + layout_.rowBytes, above_.begin());
        return true;
    }

private:
    const PngRowLayout& layout_;
    Bytes above_;
};

}  // namespace

bool ReadPngRows(const Bytes& file, const PngRowLayout& layout, const Threads& threads,
                 const TakeRows<std::uint8_t>& take) {
    constexpr std::size_t kBandBytes = std::size_t{1} << 18;
    const std::size_t stride = layout.rowBytes + 1;
    const std::size_t bandRows = std::clamp<std::size_t>(kBandBytes / stride, 1, layout.rows);
    const int bands = static_cast<int>((layout.rows - 1) / bandRows + 1);
    const auto rowsOf = [&](int band) {
        return std::min(bandRows, layout.rows - static_cast<std::size_t>(band) * bandRows);
    };
    Bytes rooms[2] = {Bytes(stride * bandRows), Bytes(stride * bandRows)};
    PixelStream stream(file);
    Unfilter unfilter(layout);
    bool made = stream.Make(rooms[0].data(), stride * rowsOf(0)), undone = true;
    for (int band = 0; band < bands && made && undone; ++band) {
        const auto work = [&](int piece) {
            const int next = band + 1;
            if (piece == 0 && next < bands) {
                made = stream.Make(rooms[next % 2].data(), stride * rowsOf(next));
            } else if (piece == 1) {
                std::uint8_t* rows = rooms[band % 2].data();
                undone = unfilter(rows, rowsOf(band));
                if (!undone) return;
                take(static_cast<int>(band * bandRows), static_cast<int>(rowsOf(band)), rows);
            }
        };
        ShareWork(threads, 2, [&] { return work; });
    }
    return made && undone && stream.Finish();
}

}  // namespace veltrane::media
