#ifndef VELTRANE_MEDIA_VIDEO_WRITER_H
#define VELTRANE_MEDIA_VIDEO_WRITER_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "files/whole_file.h"
#include "media/audio_track.h"
#include "media/av_support.h"
#include "media/color_tags.h"
#include "media/packet_digest.h"

namespace veltrane::media {

struct EncoderOption {
    const char* name;
    const char* value;
};

/// A container and the encoder that goes with it.
struct VideoFormat {
    const char* extension;
    const char* container;
    const char* encoder;
    AVPixelFormat withAlpha;  ///< none where alpha cannot be held
    AVPixelFormat opaque;
    int threads;  ///< 0 where the number of threads changes nothing in the file
    std::array<EncoderOption, 6> options;
};

struct OutputDeleter {
    void operator()(AVFormatContext* output) const {
        if (output->pb) avio_closep(&output->pb);
        avformat_free_context(output);
    }
};

/// Encodes the frames and puts them into a container, with the source's sound.
class VideoWriter : public Writer {
public:
    VideoWriter(const std::string& path, const WriteOptions& options, const Info& source);

    bool Has(std::int64_t) const override { return false; }
    Transfer transfer() const override { return transfer_; }
    std::shared_ptr<Encoded> Encode(const Frame& result, const Frame& source,
                                    const Threads& threads) override;
    void Append(const Encoded& encoded) override;
    void Finish() override;

    /// Takes the next frame as a part of this video holds it, in place of Append. Throws Error when
    /// it is none that this writer could have made.
    void AppendPacket(AVPacket& packet, std::int64_t time);
    /// The moment of the source at which the video begins, in the units of the source.
    void BeginAt(std::int64_t stamp) { firstStamp_ = stamp; }
    /// What the packets to be taken must be packets of.
    const AVCodecParameters& parameters() const { return *stream_->codecpar; }

private:
    void OpenEncoder(const Info& source);
    void AddStream(const Info& source);
    void AddMetadata(const Info& source);
    void OpenOutput();
    std::int64_t PresentationTime(const std::optional<std::int64_t>& timestamp);
    AVRational OneFrame() const { return av_inv_q(ToAv(frameRate_)); }
    std::int64_t SourceTime(std::int64_t time) const;
    /// The moment of the source at which the last frame ends.
    std::int64_t EndTime() const {
        return SourceTime(lastTime_) + av_rescale_q(1, OneFrame(), kMicroseconds);
    }
    void WritePackets();
    void WritePacket(AVPacket& packet);
    void CarryAudio();
    void CheckOutput() const;

    std::string path_;
    const VideoFormat& format_;
    WriteOptions options_;
    Transfer transfer_;
    AVPixelFormat pixelFormat_;
    ColorTags tags_;
    Rational frameRate_;
    Rational stampBase_{0, 1};  ///< of the source's timestamps
    AVRational timeBase_;       ///< of the times given to the encoder
    files::WholeFile file_;
    std::unique_ptr<AVFormatContext, OutputDeleter> output_;
    AVStream* stream_ = nullptr;
    AvCodec codec_;
    AvPacket packet_ = MakePacket();
    std::unique_ptr<AudioCarrier> audio_;
    PacketDigest digest_;        ///< of a part
    std::int64_t unsynced_ = 0;  ///< bytes that nothing was done yet to bring to the disk
    std::int64_t count_ = 0;
    std::int64_t firstStamp_ = 0;
    std::int64_t begin_ = 0;  ///< the time at which a part's own times begin
    std::int64_t lastTime_ = -1;
};

}  // namespace veltrane::media

#endif
