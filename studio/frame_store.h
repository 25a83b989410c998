#ifndef VELTRANE_STUDIO_FRAME_STORE_H
#define VELTRANE_STUDIO_FRAME_STORE_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "media/media.h"
#include "studio/kept.h"

namespace veltrane::studio {

/// The decoded frames of a shot in any order. Whoever steps forward finds the next ones decoded,
/// and whoever steps back through a video the ones before.
class FrameStore {
public:
    /// kept serves all shots, under names that begin with name, and must stay. Throws media::Error.
    FrameStore(std::string path, std::string name, int threads, Kept& kept);
    ~FrameStore();
    FrameStore(const FrameStore&) = delete;
    FrameStore& operator=(const FrameStore&) = delete;

    /// Of the whole shot.
    const media::Info& info() const { return info_; }
    /// The last frame's number.
    std::int64_t last() const { return last_; }

    /// Who wants a frame: the one that is looked at, or what goes through the shot beside it. Each
    /// reads the files by itself, so that they do not lead one reader to and fro.
    enum class Reading { Shown, Aside };

    /// A frame by number. Throws Refusal for one that is not there and media::Error for one that
    /// cannot be read, and what check throws when it is this thread's turn to decode. Any number of
    /// threads at a time.
    std::shared_ptr<const media::Frame> Get(std::int64_t number, Reading reading = Reading::Aside,
                                            const std::function<void()>& check = {});
    /// Whether the frame can be had at once.
    bool Holds(std::int64_t number) const {
        return kept_.Has(NameOf(number)) || kept_.Has(NameOfPassed(number));
    }

private:
    /// A reader, and where it is.
    struct Cursor {
        std::mutex busy;
        std::unique_ptr<media::Reader> reader;  ///< null after an error
        std::int64_t next = 0;                  ///< that it fetches
    };

    std::string NameOf(std::int64_t number) const;
    /// Of a frame of a video as it was fetched on the way to another, which takes less memory and
    /// becomes a frame at once.
    std::string NameOfPassed(std::int64_t number) const { return NameOf(number) + " passed"; }
    void CheckNumber(std::int64_t number) const;
    std::shared_ptr<const media::Frame> Decode(std::int64_t number, Cursor& cursor, int threads,
                                               const std::function<void()>& check);
    void Reach(Cursor& cursor, std::int64_t number);
    std::shared_ptr<media::Fetched> Fetch(Cursor& cursor, std::int64_t number);
    std::shared_ptr<const media::Frame> Keep(Cursor& cursor, const media::Fetched& fetched,
                                             std::int64_t number, int threads);
    bool IsMissing(std::int64_t number) const;
    std::int64_t FramesAround() const;
    void ExpectFrom(std::int64_t number);
    void ExpectBefore(std::int64_t number);
    void WorkAhead(const std::stop_token& stop);

    std::string path_;
    std::string name_;
    int threads_;
    Kept& kept_;
    media::Info info_;
    std::int64_t last_ = 0;

    Cursor shown_;
    Cursor aside_;

    std::mutex expecting_;  ///< guards the next three
    std::condition_variable_any expected_;
    std::int64_t latest_ = 0;         ///< asked for
    media::FrameRange wanted_{1, 0};  ///< to be decoded
    std::jthread ahead_;              ///< last, so that it ends first
};

/// The memory of a frame's pixels, in bytes.
std::size_t BytesOf(const media::Frame& frame);

}  // namespace veltrane::studio

#endif
