#ifndef VELTRANE_CLI_COMPANION_H
#define VELTRANE_CLI_COMPANION_H

#include <cstdint>
#include <memory>
#include <string>

#include "media/media.h"

namespace veltrane::cli {

/// A picture, sequence or video that goes along with a shot. One picture serves all frames; a
/// sequence beside a sequence is matched by number, and anything else frame by frame from the first
/// of both.
class Companion {
public:
    /// role is for messages, such as "clean plate". Throws media::Error, in one line, where the
    /// sizes differ or a frame of the shot would go without.
    Companion(const std::string& role, const std::string& path, const media::Info& shot,
              media::ReadOptions options);

    const media::Info& info() const { return reader_->info(); }
    bool IsStill() const { return isStill_; }
    /// "clean plate FILE".
    const std::string& name() const { return name_; }

    /// Fetches what goes with this frame of the shot, or of one picture that picture. In order, one
    /// thread at a time. Throws media::Error where there is nothing.
    std::shared_ptr<media::Fetched> Fetch(std::int64_t shotFrame);
    /// Any number of threads at a time. Throws media::Error for a frame of another size.
    media::Frame Decode(const media::Fetched& fetched) const;

private:
    void RequireSize(int width, int height) const;

    std::string name_;
    int width_;  ///< of the shot
    int height_;
    bool isStill_ = false;
    std::unique_ptr<media::Reader> reader_;
};

}  // namespace veltrane::cli

#endif
