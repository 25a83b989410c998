#ifndef VELTRANE_MEDIA_VIDEO_PARTS_H
#define VELTRANE_MEDIA_VIDEO_PARTS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/media.h"

namespace veltrane::media {

/// A video that is a part of a longer one, to be joined with the others without coding anew.
struct VideoPart {
    std::int64_t framesBefore = 0;            ///< in the whole video, before this part's first
    std::shared_ptr<const Origin> beginning;  ///< that of the whole video's first frame

    // What Writer::Finish tells of it:
    std::int64_t firstStamp = 0;      ///< of the whole video's first frame, as the source has it
    std::vector<std::int64_t> times;  ///< of its frames in the whole video, in the encoder's units
    std::string digest;               ///< of its packets
};

/// A part that was finished.
struct PartFile {
    std::string path;
    std::vector<std::int64_t> times;
    std::string digest;
};

/// Writes the video that the parts, in order, make up, with the source's sound, timecode and
/// metadata: that which one writer would have written with these options. Throws Error, also when a
/// part's packets are not those of its digest.
void JoinVideo(const std::string& path, const WriteOptions& options, const Info& source,
               std::int64_t firstStamp, const std::vector<PartFile>& parts);

/// The number of frames of a video whose container does not tell it. Reads the whole file.
std::int64_t CountFrames(const std::string& path);

}  // namespace veltrane::media

#endif
