#include "studio/frame_store.h"

#include <algorithm>
#include <utility>

#include "cli/frame_threads.h"
#include "media/sequence_path.h"
#include "studio/http.h"

namespace veltrane::studio {

namespace {

constexpr int kNotFound = 404;

/// A video may not tell how many frames it has, so they are counted.
std::int64_t CountFrames(media::Reader& reader) {
    std::int64_t count = 0;
    while (reader.Fetch()) ++count;
    return count;
}

}  // namespace

std::size_t BytesOf(const media::Frame& frame) {
    return frame.pixels.size() * sizeof(std::uint16_t) + frame.colors.size() * sizeof(float);
}

FrameStore::FrameStore(std::string path, std::string name, int threads, Kept& kept)
    : path_(std::move(path)), name_(std::move(name)), threads_(threads), kept_(kept) {
    media::ReadOptions options;
    options.threads = threads_;
    const std::unique_ptr<media::Reader> reader = media::Open(path_, options);
    info_ = reader->info();
    if (!info_.frameCount) info_.frameCount = CountFrames(*reader);
    last_ = info_.firstFrame + *info_.frameCount - 1;
    if (info_.kind == media::Kind::Sequence) {
        // Those that are missing do not count, but have their place.
        last_ = media::SequencePath::Parse(path_)->List().back();
    }
    ahead_ = std::jthread([this](const std::stop_token& stop) { WorkAhead(stop); });
}

FrameStore::~FrameStore() = default;

std::string FrameStore::NameOf(std::int64_t number) const {
    return name_ + '@' + std::to_string(number);
}

bool FrameStore::IsMissing(std::int64_t number) const {
    return std::binary_search(info_.missingFrames.begin(), info_.missingFrames.end(), number);
}

void FrameStore::CheckNumber(std::int64_t number) const {
    const std::string name = "frame " + std::to_string(number);
    if (number < info_.firstFrame || number > last_)
        throw Refusal(kNotFound, name + " is not in the shot, which has " +
                                     std::to_string(info_.firstFrame) + " to " +
                                     std::to_string(last_));
    if (IsMissing(number)) throw Refusal(kNotFound, name + " of the sequence is missing");
}

std::shared_ptr<const media::Frame> FrameStore::Get(std::int64_t number, Reading reading,
                                                    const std::function<void()>& check) {
    CheckNumber(number);
    std::shared_ptr<const media::Frame> frame = kept_.Find<media::Frame>(NameOf(number));
    const bool shown = reading == Reading::Shown;
    if (!frame) frame = Decode(number, shown ? shown_ : aside_, threads_, check);
    if (shown) ExpectFrom(number);
    return frame;
}

/// Brings the reader to this frame or, of a video, near it: from where it is, if that is not far
/// before, else anew. Of a video whose container has an index, that means from the last frame at
/// which decoding can begin, else from its first.
void FrameStore::Reach(Cursor& cursor, std::int64_t number) {
    constexpr std::int64_t kFar = 48;
    const bool isVideo = info_.kind == media::Kind::Video;
    const bool isFar = number > cursor.next + kFar && info_.format.starts_with("mov");
    const bool isNext = number == cursor.next || (isVideo && number > cursor.next && !isFar);
    if (cursor.reader && isNext) return;
    media::ReadOptions options;
    options.threads = threads_;
    // The frames before this one have to be decoded in any case.
    const std::int64_t before = isVideo ? FramesAround() : 0;
    options.frames = media::FrameRange{std::max(number - before, info_.firstFrame), last_};
    cursor.reader = media::Open(path_, options);
    cursor.next = options.frames->first;
}

/// The frame, which the reader comes to. Those that a video's reader passes shortly before it are
/// kept for whoever steps back.
std::shared_ptr<media::Fetched> FrameStore::Fetch(Cursor& cursor, std::int64_t number) {
    std::shared_ptr<media::Fetched> fetched;
    const std::size_t bytes = std::size_t{8} * info_.width * info_.height;  // at most
    for (; cursor.next <= number; ++cursor.next) {
        fetched = cursor.reader->Fetch();
        const std::int64_t left = number - cursor.next;
        if (fetched && left > 0 && left <= FramesAround() && !Holds(cursor.next))
            kept_.Add<media::Fetched>(NameOfPassed(cursor.next), fetched, bytes);
    }
    if (!fetched) throw media::Error(path_ + ": ends before frame " + std::to_string(number));
    // Files of a sequence that are missing are passed over.
    while (IsMissing(cursor.next)) ++cursor.next;
    return fetched;
}

std::shared_ptr<const media::Frame> FrameStore::Keep(Cursor& cursor, const media::Fetched& fetched,
                                                     std::int64_t number, int threads) {
    cli::FrameThreads all(threads);
    const cli::FrameThreads::Share share(all);
    auto frame = std::make_shared<const media::Frame>(cursor.reader->Decode(fetched, share.Get()));
    if (frame->width != info_.width || frame->height != info_.height)
        throw media::Error(path_ + ": frame " + std::to_string(number) +
                           " has another size than the first");
    kept_.Add(NameOf(number), frame, BytesOf(*frame));
    return frame;
}

std::shared_ptr<const media::Frame> FrameStore::Decode(std::int64_t number, Cursor& cursor,
                                                       int threads,
                                                       const std::function<void()>& check) {
    const std::lock_guard lock(cursor.busy);
    if (check) check();
    // Another thread may have decoded it meanwhile.
    if (auto frame = kept_.Find<media::Frame>(NameOf(number))) return frame;
    try {
        const auto passed = kept_.Find<media::Fetched>(NameOfPassed(number));
        if (passed && cursor.reader) return Keep(cursor, *passed, number, threads);
        Reach(cursor, number);
        const std::shared_ptr<media::Fetched> fetched = Fetch(cursor, number);
        return Keep(cursor, *fetched, number, threads);
    } catch (...) {
        cursor.reader.reset();
        throw;
    }
}

/// How many frames before or after the one that is looked at are made ready.
std::int64_t FrameStore::FramesAround() const {
    constexpr std::size_t kMost = 16;
    const std::size_t bytes = std::size_t{8} * info_.width * info_.height;
    return static_cast<std::int64_t>(std::min(kMost, kept_.limit() / (4 * bytes)));
}

void FrameStore::ExpectFrom(std::int64_t number) {
    const std::lock_guard lock(expecting_);
    wanted_ = {number + 1, number};
    if (number == latest_ + 1) wanted_.last = std::min(number + FramesAround(), last_);
    if (number == latest_ - 1 && info_.kind == media::Kind::Video) ExpectBefore(number);
    latest_ = number;
    expected_.notify_one();
}

/// Where half of the frames before this one are not ready, the last of the others shall be reached,
/// and those before it be passed.
void FrameStore::ExpectBefore(std::int64_t number) {
    const std::int64_t half = FramesAround() / 2;
    std::int64_t behind = number - 1;
    while (behind >= number - half && Holds(behind)) --behind;
    if (behind >= number - half && behind >= info_.firstFrame) wanted_ = {behind, behind};
}

void FrameStore::WorkAhead(const std::stop_token& stop) {
    std::unique_lock lock(expecting_);
    while (expected_.wait(lock, stop, [&] { return wanted_.first <= wanted_.last; })) {
        const std::int64_t number = wanted_.first++;
        const bool isBehind = number < latest_;
        lock.unlock();
        try {
            // A reader of its own leaves that of the frames that are shown where it is.
            Cursor behind;
            if (!IsMissing(number) && !Holds(number))
                Decode(number, isBehind ? behind : shown_, 1, {});
        } catch (const std::exception&) {
            // Whoever asks for the frame is told.
        }
        lock.lock();
    }
}

}  // namespace veltrane::studio
