#ifndef VELTRANE_MEDIA_AUDIO_TRACK_H
#define VELTRANE_MEDIA_AUDIO_TRACK_H

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/av_support.h"

namespace veltrane::media {

/// Carries the audio of one file into another: packets as they are where the container takes the
/// codec, otherwise encoded anew.
class AudioCarrier {
public:
    /// Opens `source` and adds a stream to `output` for each of its audio streams; `path` names the
    /// output in messages. Throws Error.
    AudioCarrier(const std::string& source, AVFormatContext* output, std::string path);
    ~AudioCarrier();

    /// Sets the moment of the source, in microseconds, that becomes the output's beginning.
    void Begin(std::int64_t start) { start_ = start; }
    /// Writes what sounds before `until`, a moment of the source in microseconds.
    void CarryUntil(std::int64_t until);
    /// The same, then ends every stream.
    void Finish(std::int64_t end);

private:
    struct Track;

    void AddTrack(AVStream* stream, AVFormatContext* output);
    bool ReadPacket();
    Track* TrackOf(const AVPacket& packet);
    void Deliver(Track& track);

    std::string source_;
    std::string path_;
    AvInput input_;
    AVFormatContext* output_;
    std::vector<std::unique_ptr<Track>> tracks_;
    AvPacket packet_ = MakePacket();
    bool pending_ = false;  ///< packet_ holds a packet not yet delivered
    std::int64_t start_ = 0;
};

}  // namespace veltrane::media

#endif
