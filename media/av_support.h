#ifndef VELTRANE_MEDIA_AV_SUPPORT_H
#define VELTRANE_MEDIA_AV_SUPPORT_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <atomic>
#include <memory>
#include <string>

#include "media/media.h"

namespace veltrane::media {

struct AvDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};

using AvFrame = std::unique_ptr<AVFrame, AvDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter>;
using AvCodec = std::unique_ptr<AVCodecContext, AvDeleter>;

struct InputCloser {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using AvInput = std::unique_ptr<AVFormatContext, InputCloser>;

AvFrame MakeFrame();
AvPacket MakePacket();

/// Keeps FFmpeg from writing to the standard error stream. Of its messages only one matters: some
/// decoders patch up a slice with a wrong checksum and tell nobody else.
void SilenceAv();

/// FFmpeg's text of an error.
std::string AvText(int error);

/// Throws Error naming the file when result is an error; returns it otherwise.
int CheckAv(int result, const std::string& path, const std::string& what);

/// Opens a file, with what its container says of the streams. Throws Error.
AvInput OpenInput(const std::string& path);

/// Finds what only the streams themselves say. Throws Error.
void FindStreams(AVFormatContext* input, const std::string& path);

/// The number of threads for a codec: as asked, but no more than are of use, each of which holds a
/// frame; 0 for one a core.
int CodecThreads(int asked);

/// Opens a decoder for the stream, by name when that is not null. The flag, which must outlive the
/// decoder, is set when a checksum is wrong. Throws Error.
AvCodec OpenDecoder(const std::string& path, const AVStream* stream, int threads,
                    const char* name = nullptr, std::atomic<bool>* damaged = nullptr);

/// AV_TIME_BASE_Q, which is no C++.
inline constexpr AVRational kMicroseconds{1, AV_TIME_BASE};

inline AVRational ToAv(Rational value) {
    return {static_cast<int>(value.num), static_cast<int>(value.den)};
}
inline Rational FromAv(AVRational value) {
    return {value.num, value.den};
}

}  // namespace veltrane::media

#endif
