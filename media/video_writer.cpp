#include "media/video_writer.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/cpu.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libavutil/timecode.h>
}

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <numeric>
#include <string_view>

#include "media/backends.h"
#include "media/file_kind.h"
#include "media/pixels.h"
#include "media/source_details.h"
#include "media/video_parts.h"
#include "media/video_pixels.h"

namespace veltrane::media {
namespace {

constexpr std::array kFormats{
    VideoFormat{".mov",
                "mov",
                "prores_ks",
                AV_PIX_FMT_YUVA444P10,
                AV_PIX_FMT_YUV444P10,
                0,
                {{{"profile", "4444"},
                  {"vendor", "apl0"},
                  {"flags", "+qscale"},
                  {"global_quality", "236"}}}},
    VideoFormat{".mkv",
                "matroska",
                "ffv1",
                AV_PIX_FMT_GBRAP16,
                AV_PIX_FMT_GBRP16,
                0,
                {{{"level", "3"}, {"slices", "16"}, {"slicecrc", "1"}, {"g", "1"}}}},
    VideoFormat{".webm",
                "webm",
                "libvpx-vp9",
                AV_PIX_FMT_YUVA420P,
                AV_PIX_FMT_YUV420P,
                4,
                {{{"crf", "16"},
                  {"b", "0"},
                  {"auto-alt-ref", "0"},
                  {"deadline", "good"},
                  {"cpu-used", "4"},
                  {"row-mt", "1"}}}},
    VideoFormat{".mp4",
                "mp4",
                "libx264",
                AV_PIX_FMT_NONE,
                AV_PIX_FMT_YUV420P,
                4,
                {{{"crf", "14"}, {"preset", "medium"}}}}};

struct EncodedPicture : Encoded {
    AvFrame picture;
    std::optional<std::int64_t> timestamp;
};

const VideoFormat& FormatOf(const std::string& path, bool opaque) {
    const VideoFormat& format =
        *std::find_if(kFormats.begin(), kFormats.end(),
                      [&](const VideoFormat& f) { return Extension(path) == f.extension; });
    if (!opaque && format.withAlpha == AV_PIX_FMT_NONE) {
        Fail(path, "mp4 (H.264) cannot hold alpha; these can: " + FormatsWithAlpha());
    }
    return format;
}

/// A time base in which the source's timestamps and whole frames of its rate are both exact; the
/// timestamps' own, or one frame for want of any, where that would be too fine.
Rational TimeBaseFor(const Info& source) {
    const Rational frame{source.frameRate.den, source.frameRate.num};
    const Rational stamps = source.details ? source.details->timeBase : Rational{0, 1};
    if (stamps.num <= 0) return frame;
    constexpr std::int64_t kFinest = 10'000'000;
    const std::int64_t common = std::lcm(stamps.den, frame.den);
    return common <= kFinest ? Rational{1, common} : stamps;
}

}  // namespace

VideoWriter::VideoWriter(const std::string& path, const WriteOptions& options, const Info& source)
    : path_(path),
      format_(FormatOf(path, options.opaque)),
      options_(options),
      transfer_(options.transfer),
      pixelFormat_(options.opaque ? format_.opaque : format_.withAlpha),
      frameRate_(source.frameRate),
      timeBase_(ToAv(TimeBaseFor(source))),
      file_(path) {
    SilenceAv();
    files::RemoveAbandoned(path);
    if (transfer_ == Transfer::Automatic) {
        const bool sameKind = source.kind == Kind::Video;
        transfer_ = sameKind ? source.transfer : Transfer::None;
    }
    if (source.details) stampBase_ = source.details->timeBase;
    if (options.part) {
        count_ = options.part->framesBefore;
        firstStamp_ = options.part->firstStamp;
    }
    const ColorTags given = source.details ? source.details->tags : ColorTags{};
    tags_ = OutputTags(given, source.height);
    if (av_pix_fmt_desc_get(pixelFormat_)->flags & AV_PIX_FMT_FLAG_RGB) {
        tags_.matrix = AVCOL_SPC_RGB;
        tags_.range = AVCOL_RANGE_JPEG;
    }
    AVFormatContext* output = nullptr;
    CheckAv(avformat_alloc_output_context2(&output, nullptr, format_.container, nullptr), path,
            "cannot be written");
    output_.reset(output);
    // No version texts and no random identifiers: the same frames give the same file.
    output->flags |= AVFMT_FLAG_BITEXACT;
    OpenEncoder(source);
    AddStream(source);
    if (options.audio && source.audioStreams > 0) {
        audio_ = std::make_unique<AudioCarrier>(source.path, output, path);
    }
    AddMetadata(source);
    OpenOutput();
}

void VideoWriter::OpenEncoder(const Info& source) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(format_.encoder);
    if (!encoder) Fail(path_, std::string("this FFmpeg has no encoder ") + format_.encoder);
    if (pixelFormat_ == AV_PIX_FMT_YUV420P && format_.withAlpha == AV_PIX_FMT_NONE &&
        (source.width % 2 != 0 || source.height % 2 != 0)) {
        Fail(path_, "mp4 (H.264) needs an even width and height, not " +
                        SizeText(source.width, source.height) + "; mov and mkv take any");
    }
    const std::string_view name = format_.encoder;
    const int shortSide = std::min(source.width, source.height);
    if (name == "ffv1" && shortSide < 2) {
        Fail(path_, "mkv (FFV1) loses frames with a side of one pixel; png, tif and exr take any");
    }
    codec_.reset(avcodec_alloc_context3(encoder));
    if (!codec_) throw std::bad_alloc();
    codec_->width = source.width;
    codec_->height = source.height;
    codec_->pix_fmt = pixelFormat_;
    codec_->time_base = timeBase_;
    codec_->framerate = ToAv(frameRate_);
    codec_->colorspace = tags_.matrix;
    codec_->color_range = tags_.range;
    codec_->color_primaries = tags_.primaries;
    codec_->color_trc = tags_.transfer;
    codec_->chroma_sample_location = AVCHROMA_LOC_LEFT;
    const bool fixed = format_.threads > 0;
    codec_->thread_count = fixed ? format_.threads : CodecThreads(options_.threads);
    codec_->flags |= AV_CODEC_FLAG_BITEXACT;
    if (source.details) codec_->sample_aspect_ratio = ToAv(source.details->sampleAspect);
    if (output_->oformat->flags & AVFMT_GLOBALHEADER) {
        codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    AVDictionary* settings = nullptr;
    for (const EncoderOption& option : format_.options) {
        if (option.name) av_dict_set(&settings, option.name, option.value, 0);
    }
    if (name == "prores_ks") av_dict_set(&settings, "alpha_bits", options_.opaque ? "0" : "16", 0);
    // FFV1 slices of a pixel or two cannot be decoded, or come back wrong.
    constexpr int kSmallestSliced = 64;
    if (name == "ffv1" && shortSide < kSmallestSliced) {
        av_dict_set(&settings, "slices", "1", 0);
    }
    // With AVX-512 x264 weighs blocks by memory it has not written, and no two files are the same.
    if (name == "libx264" && (av_get_cpu_flags() & AV_CPU_FLAG_AVX512)) {
        av_dict_set(&settings, "x264-params", "asm=avx2", 0);
    }
    const int opened = avcodec_open2(codec_.get(), encoder, &settings);
    av_dict_free(&settings);
    CheckAv(opened, path_,
            "frames of " + SizeText(source.width, source.height) + " cannot be encoded");
}

void VideoWriter::AddStream(const Info& source) {
    stream_ = avformat_new_stream(output_.get(), nullptr);
    if (!stream_) throw std::bad_alloc();
    CheckAv(avcodec_parameters_from_context(stream_->codecpar, codec_.get()), path_,
            "cannot be encoded");
    stream_->time_base = timeBase_;
    stream_->avg_frame_rate = ToAv(frameRate_);
    stream_->sample_aspect_ratio = codec_->sample_aspect_ratio;
    const bool besideAlpha = pixelFormat_ == AV_PIX_FMT_YUVA420P;
    if (besideAlpha) av_dict_set(&stream_->metadata, "alpha_mode", "1", 0);
    if (!source.timecode) return;
    AVTimecode timecode;
    const AVRational rate = ToAv(frameRate_);
    if (av_timecode_init_from_string(&timecode, rate, source.timecode->c_str(), nullptr) < 0)
        return;
    char text[AV_TIMECODE_STR_SIZE];
    av_timecode_make_string(&timecode, text, static_cast<int>(source.firstFrame - 1));
    av_dict_set(&stream_->metadata, "timecode", text, 0);
}

void VideoWriter::AddMetadata(const Info& source) {
    if (source.kind != Kind::Video) return;
    constexpr std::array kStale{"major_brand", "minor_version", "compatible_brands",
                                "encoder",     "timecode",      "alpha_mode"};
    for (const auto& entry : source.metadata) {
        const char* key = entry.first.c_str();
        const bool stale = std::any_of(kStale.begin(), kStale.end(), [&](const char* name) {
            return av_strcasecmp(name, key) == 0;
        });
        if (stale) continue;
        av_dict_set(&output_->metadata, key, entry.second.c_str(), 0);
    }
}

void VideoWriter::OpenOutput() {
    const std::string url = "file:" + file_.PathOfOpenFile();
    CheckAv(avio_open(&output_->pb, url.c_str(), AVIO_FLAG_WRITE), path_, "cannot be written");
    AVDictionary* settings = nullptr;
    if (std::string_view(format_.container) == "mp4") av_dict_set(&settings, "write_tmcd", "1", 0);
    const int written = avformat_write_header(output_.get(), &settings);
    av_dict_free(&settings);
    CheckAv(written, path_, "cannot be written");
}

std::shared_ptr<Encoded> VideoWriter::Encode(const Frame& result, const Frame& source,
                                             const Threads&) {
    auto encoded = std::make_shared<EncodedPicture>();
    const bool multiply = options_.association == Association::Premultiplied && !options_.opaque;
    Pixels room;
    const auto& pixels = StoredPixels(result, transfer_, multiply, room);
    encoded->picture = PictureOf(path_, pixels, result.width, result.height, pixelFormat_, tags_);
    if (source.origin) encoded->timestamp = source.origin->timestamp;
    return encoded;
}

/// The time of a frame in the encoder's time base, from 0. Timestamps that were rounded from whole
/// frames of the source's rate (as Matroska's milliseconds are) become whole frames again.
std::int64_t VideoWriter::PresentationTime(const std::optional<std::int64_t>& timestamp) {
    const AVRational frame = OneFrame();
    std::int64_t time = av_rescale_q(count_, frame, timeBase_);
    if (timestamp && stampBase_.num > 0) {
        if (count_ == 0) firstStamp_ = *timestamp;
        const AVRational base = ToAv(stampBase_);
        time = av_rescale_q(*timestamp - firstStamp_, base, timeBase_);
        const std::int64_t whole =
            av_rescale_q(av_rescale_q(time, timeBase_, frame), frame, timeBase_);
        if (std::abs(whole - time) <= av_rescale_q(1, base, timeBase_)) time = whole;
    }
    time = std::max(time, lastTime_ + 1);
    lastTime_ = time;
    ++count_;
    return time;
}

/// The moment of the source, in microseconds, for a time of the output.
std::int64_t VideoWriter::SourceTime(std::int64_t time) const {
    const std::int64_t first =
        stampBase_.num > 0 ? av_rescale_q(firstStamp_, ToAv(stampBase_), kMicroseconds) : 0;
    return first + av_rescale_q(time, timeBase_, kMicroseconds);
}

void VideoWriter::CheckOutput() const {
    if (output_->pb->error < 0) CheckAv(output_->pb->error, path_, "cannot be written");
}

void VideoWriter::WritePackets() {
    for (;;) {
        const int received = avcodec_receive_packet(codec_.get(), packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        CheckAv(received, path_, "cannot be encoded");
        if (options_.part) digest_.Add(*packet_);
        WritePacket(*packet_);
    }
}

/// Its times are in the encoder's time base.
void VideoWriter::WritePacket(AVPacket& packet) {
    packet.stream_index = stream_->index;
    if (packet.duration <= 0) packet.duration = av_rescale_q(1, OneFrame(), timeBase_);
    av_packet_rescale_ts(&packet, timeBase_, stream_->time_base);
    unsynced_ += packet.size;
    CheckAv(av_interleaved_write_frame(output_.get(), &packet), path_, "cannot be written");
    CheckOutput();
    constexpr std::int64_t kMuch = 32 << 20;
    if (unsynced_ < kMuch) return;
    file_.BeginSync();
    unsynced_ = 0;
}

void VideoWriter::Append(const Encoded& encoded) {
    const auto& given = dynamic_cast<const EncodedPicture&>(encoded);
    const AvFrame picture(av_frame_clone(given.picture.get()));
    if (!picture) throw std::bad_alloc();
    const std::int64_t time = PresentationTime(given.timestamp);
    if (options_.part) {
        if (options_.part->times.empty()) begin_ = time;
        options_.part->times.push_back(time);
    }
    picture->pts = time - begin_;
    CheckAv(avcodec_send_frame(codec_.get(), picture.get()), path_, "cannot be encoded");
    WritePackets();
    CarryAudio();
}

void VideoWriter::AppendPacket(AVPacket& packet, std::int64_t time) {
    lastTime_ = std::max(time, lastTime_ + 1);
    ++count_;
    packet.pts = packet.dts = lastTime_;
    packet.duration = 0;
    packet.pos = -1;
    WritePacket(packet);
    CarryAudio();
}

void VideoWriter::CarryAudio() {
    if (!audio_) return;
    if (count_ == 1) audio_->Begin(SourceTime(0));
    audio_->CarryUntil(EndTime());
}

void VideoWriter::Finish() {
    CheckAv(avcodec_send_frame(codec_.get(), nullptr), path_, "cannot be encoded");
    WritePackets();
    if (audio_) audio_->Finish(EndTime());
    CheckAv(av_write_trailer(output_.get()), path_, "cannot be written");
    CheckOutput();
    CheckAv(avio_closep(&output_->pb), path_, "cannot be written");
    // The digest shows what a power cut took of a part, which is then made anew.
    if (options_.part)
        file_.BeginSync();
    else
        file_.Sync();
    file_.Commit();
    if (options_.part) options_.part->digest = digest_.Text();
}

std::unique_ptr<Writer> CreateVideo(const std::string& path, const WriteOptions& options,
                                    const Info& source) {
    return std::make_unique<VideoWriter>(path, options, source);
}

}  // namespace veltrane::media
