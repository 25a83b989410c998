#include "cli/companion.h"

#include <limits>
#include <optional>
#include <vector>

#include "cli/places.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

namespace {

constexpr std::int64_t kOpenEnd = std::numeric_limits<std::int64_t>::max();

/// From the first frame to the last one there is, read or not, with gaps or without.
media::FrameRange ThereIs(const media::Info& info) {
    const auto sequence = media::SequencePath::Parse(info.path);
    if (info.kind == media::Kind::Sequence && sequence) {
        const std::vector<std::int64_t> numbers = sequence->List();
        return {numbers.front(), numbers.back()};
    }
    return {1, info.kind == media::Kind::Still ? 1 : info.frameCount.value_or(kOpenEnd)};
}

std::string Text(media::FrameRange range) {
    const std::string first = std::to_string(range.first);
    if (range.last == kOpenEnd) return first + " and on";
    return range.first == range.last ? first : first + " to " + std::to_string(range.last);
}

/// The companion's frames that go with those of the shot.
media::FrameRange Needed(const media::Info& own, const media::Info& shot) {
    const bool byNumber = own.kind == media::Kind::Sequence && shot.kind == media::Kind::Sequence;
    const std::int64_t shift = byNumber ? 0 : ThereIs(own).first - ThereIs(shot).first;
    const media::FrameRange frames = FramesOf(shot);
    return {frames.first + shift, frames.last == kOpenEnd ? kOpenEnd : frames.last + shift};
}

}  // namespace

Companion::Companion(const std::string& role, const std::string& path, const media::Info& shot,
                     media::ReadOptions options)
    : name_(role + ' ' + path), width_(shot.width), height_(shot.height) {
    options.frames.reset();
    reader_ = media::Open(path, options);
    const media::Info& own = reader_->info();
    RequireSize(own.width, own.height);
    isStill_ = own.kind == media::Kind::Still || own.frameCount == 1;
    if (isStill_) return;
    const media::FrameRange there = ThereIs(own), needed = Needed(own, shot);
    const bool reaches = needed.last == kOpenEnd || needed.last <= there.last;
    if (needed.first < there.first || !reaches)
        throw media::Error(name_ + ": has frames " + Text(there) + ", and the shot needs " +
                           Text(needed));
    options.frames = needed;
    reader_ = media::Open(path, options);
    RefuseGaps(reader_->info());
}

void Companion::RequireSize(int width, int height) const {
    if (width == width_ && height == height_) return;
    throw media::Error(name_ + ": is " + std::to_string(width) + " x " + std::to_string(height) +
                       ", and the shot " + std::to_string(width_) + " x " +
                       std::to_string(height_));
}

std::shared_ptr<media::Fetched> Companion::Fetch(std::int64_t shotFrame) {
    std::shared_ptr<media::Fetched> fetched = reader_->Fetch();
    if (!fetched)
        throw media::Error(name_ + ": ends before frame " + std::to_string(shotFrame) +
                           " of the shot");
    return fetched;
}

media::Frame Companion::Decode(const media::Fetched& fetched) const {
    media::Frame frame = reader_->Decode(fetched);
    RequireSize(frame.width, frame.height);
    return frame;
}

}  // namespace veltrane::cli
