#ifndef VELTRANE_CLI_FRAME_THREADS_H
#define VELTRANE_CLI_FRAME_THREADS_H

#include <atomic>

#include "imaging/threads.h"

namespace veltrane::cli {

/// Shares the command's threads among the frames that are keyed at the same time: as many frames as
/// threads get one each, and a single one, such as a still, all of them.
class FrameThreads {
public:
    explicit FrameThreads(int count) : count_(count) {}

    /// Counts a frame for as long as it lives.
    class Share {
    public:
        explicit Share(FrameThreads& all) : all_(all), frames_(++all.frames_) {}
        ~Share() { --all_.frames_; }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        Threads Get() const;

    private:
        FrameThreads& all_;
        int frames_;
    };

private:
    int count_;
    std::atomic<int> frames_ = 0;
};

}  // namespace veltrane::cli

#endif
