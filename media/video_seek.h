#ifndef VELTRANE_MEDIA_VIDEO_SEEK_H
#define VELTRANE_MEDIA_VIDEO_SEEK_H

#include <cstdint>
#include <optional>
#include <vector>

#include "media/av_support.h"

namespace veltrane::media {

/// A packet at which decoding can begin so that it and all that is shown after it come out as if
/// everything had been decoded.
struct EntryPoint {
    int packet = 0;                     ///< how many packets of the stream lie before it
    std::int64_t number = 0;            ///< of its frame, from 1
    std::int64_t shown = 0;             ///< the frame's time
    std::int64_t asked = 0;             ///< what GoTo has to be asked for to get there
    std::vector<std::int64_t> times{};  ///< those of its frame and of what is shown after it, up to
                                        ///< the next key packet
};

/// Whether the container's index tells of entry points at or before a frame. It does not where it
/// is not plain: an edit list leaves frames out.
bool HasEntryPoint(AVStream& stream, std::int64_t number);

/// The last entry point at or before a frame, where there is one. Leaves the input anywhere.
std::optional<EntryPoint> EntryPointFor(AVFormatContext& input, AVStream& stream,
                                        std::int64_t number);

/// Whether every frame of the stream can be decoded without any other.
bool StandAlone(const AVStream& stream);

/// The frame nearest to this one, no farther away than so many, at which decoding can begin; the
/// frame itself where there is none. Leaves the input anywhere.
std::int64_t EntryNear(AVFormatContext& input, AVStream& stream, std::int64_t number,
                       std::int64_t within);

/// Asks the container to go on from the last key packet before a time. False when it cannot.
bool GoTo(AVFormatContext& input, AVStream& stream, std::int64_t asked);

/// Reads so many of the stream's packets, and nothing else of them; fewer at the end. Returns how
/// many.
std::int64_t PassPackets(AVFormatContext& input, const AVStream& stream, std::int64_t count);

/// The number of frames that the stream holds, counted packet by packet without decoding. Leaves
/// the input at its end.
std::int64_t CountPackets(AVFormatContext& input, const AVStream& stream);

}  // namespace veltrane::media

#endif
