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
    std::int64_t framesBefore = 0;  ///< in the whole video, before this part's first
    std::int64_t firstStamp = 0;  ///< StampOf the whole video's first frame; its own for the first

    // What Writer::Finish tells of it:
    std::vector<std::int64_t> times;  ///< of its frames in the whole video, in the encoder's units
    std::string digest;               ///< of its packets
};

/// A part that was finished.
struct PartFile {
    std::string path;
    std::vector<std::int64_t> times;
    std::string digest;
};

/// A part whose packets are not those of its digest.
struct DamagedPart {
    std::size_t place = 0;  ///< among the parts
    std::string reason;     ///< on one line that names it
};

/// Writes the video that the parts, in order, make up, with the source's sound, timecode and
/// metadata: that which one writer would have written with these options. Where parts are damaged,
/// writes nothing and returns all of them. Throws Error.
std::vector<DamagedPart> JoinVideo(const std::string& path, const WriteOptions& options,
                                   const Info& source, std::int64_t firstStamp,
                                   const std::vector<PartFile>& parts);

/// A frame's time in its file, in the file's units; 0 where it has none.
std::int64_t StampOf(const Frame& frame);

/// The frame of a video nearest to this one, no farther away than so many, from which on it can be
/// decoded without those before; the frame itself where the container does not tell, or none is.
/// Throws Error.
std::int64_t EntryFrameNear(const std::string& path, std::int64_t number, std::int64_t within);

/// The number of frames of a video whose container does not tell it. Reads the whole file.
std::int64_t CountFrames(const std::string& path);

}  // namespace veltrane::media

#endif
