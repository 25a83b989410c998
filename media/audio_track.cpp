#include "media/audio_track.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "media/source_details.h"

namespace veltrane::media {
namespace {

struct SwrDeleter {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
struct FifoDeleter {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

/// The encoder for audio that a container does not take as it is.
const char* EncoderName(const AVOutputFormat& container) {
    const std::string_view name = container.name;
    if (name == "webm") return "libopus";
    if (name == "mp4") return "aac";
    return "pcm_s24le";
}

struct ScratchDeleter {
    void operator()(AVFormatContext* output) const {
        uint8_t* bytes = nullptr;
        if (output->pb) avio_close_dyn_buf(output->pb, &bytes);
        av_free(bytes);
        avformat_free_context(output);
    }
};

/// Whether a container takes a stream as it is. Its table of codecs is no proof, so a header is
/// written to memory.
bool Takes(const AVOutputFormat& container, const AVStream& stream) {
    AVFormatContext* context = nullptr;
    if (avformat_alloc_output_context2(&context, &container, nullptr, nullptr) < 0) return false;
    const std::unique_ptr<AVFormatContext, ScratchDeleter> output(context);
    AVStream* copy = avformat_new_stream(context, nullptr);
    if (!copy || avcodec_parameters_copy(copy->codecpar, stream.codecpar) < 0) return false;
    copy->codecpar->codec_tag = 0;
    copy->time_base = stream.time_base;
    return avformat_query_codec(&container, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1 &&
           avio_open_dyn_buf(&context->pb) >= 0 && avformat_write_header(context, nullptr) >= 0;
}

int BestSampleRate(const AVCodec& encoder, int wanted) {
    if (!encoder.supported_samplerates) return wanted;
    int best = encoder.supported_samplerates[0];
    for (const int* rate = encoder.supported_samplerates; *rate; ++rate) {
        if (std::abs(*rate - wanted) < std::abs(best - wanted)) best = *rate;
    }
    return best;
}

}  // namespace

/// One stream on its way. Packets arrive with the source's timestamps.
struct AudioCarrier::Track {
    AVStream* from = nullptr;
    AVStream* to = nullptr;
    bool done = false;

    AvCodec decoder;  ///< with the members below, only where the stream is encoded anew
    AvCodec encoder;
    std::unique_ptr<SwrContext, SwrDeleter> resampler;
    std::unique_ptr<AVAudioFifo, FifoDeleter> fifo;
    AvFrame decoded;
    std::int64_t sent = 0;  ///< samples given to the encoder
    bool begun = false;

    void OpenEncoder(const std::string& source, const std::string& path,
                     const AVFormatContext& output);
    void Copy(AVPacket& packet, std::int64_t start, AVFormatContext* output,
              const std::string& path);
    void Reencode(const AVPacket* packet, std::int64_t start, AVFormatContext* output,
                  const std::string& path);
    void Resample(const AVFrame* frame, std::int64_t start, const std::string& path);
    void Encode(bool last, AVFormatContext* output, const std::string& path);
    void WritePackets(AVFormatContext* output, const std::string& path);
};

void AudioCarrier::Track::OpenEncoder(const std::string& source, const std::string& path,
                                      const AVFormatContext& output) {
    decoder = OpenDecoder(source, from, 1);
    decoded = MakeFrame();
    const AVCodec* codec = avcodec_find_encoder_by_name(EncoderName(*output.oformat));
    if (!codec) Fail(path, std::string("no audio encoder ") + EncoderName(*output.oformat));
    encoder.reset(avcodec_alloc_context3(codec));
    if (!encoder) throw std::bad_alloc();
    encoder->sample_fmt = codec->sample_fmts[0];
    encoder->sample_rate = BestSampleRate(*codec, decoder->sample_rate);
    av_channel_layout_default(&encoder->ch_layout, decoder->ch_layout.nb_channels);
    encoder->time_base = {1, encoder->sample_rate};
    encoder->bit_rate = 96000 * encoder->ch_layout.nb_channels;
    encoder->flags |= AV_CODEC_FLAG_BITEXACT;
    if (output.oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    CheckAv(avcodec_open2(encoder.get(), codec, nullptr), path, "its audio cannot be encoded");
    AVChannelLayout input = decoder->ch_layout;
    AVChannelLayout ordered{};
    if (input.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&ordered, input.nb_channels);
        input = ordered;
    }
    SwrContext* context = nullptr;
    CheckAv(swr_alloc_set_opts2(&context, &encoder->ch_layout, encoder->sample_fmt,
                                encoder->sample_rate, &input, decoder->sample_fmt,
                                decoder->sample_rate, 0, nullptr),
            path, "its audio cannot be converted");
    resampler.reset(context);
    CheckAv(swr_init(context), path, "its audio cannot be converted");
    fifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, encoder->ch_layout.nb_channels, 1));
    if (!fifo) throw std::bad_alloc();
    CheckAv(avcodec_parameters_from_context(to->codecpar, encoder.get()), path,
            "its audio cannot be encoded");
    to->time_base = encoder->time_base;
}

void AudioCarrier::Track::Copy(AVPacket& packet, std::int64_t start, AVFormatContext* output,
                               const std::string& path) {
    const std::int64_t shift = av_rescale_q(start, kMicroseconds, from->time_base);
    packet.pts -= shift;
    packet.dts = packet.dts == AV_NOPTS_VALUE ? packet.pts : packet.dts - shift;
    if (packet.duration <= 0) {
        const int samples = av_get_audio_frame_duration2(from->codecpar, packet.size);
        packet.duration =
            av_rescale_q(samples, {1, std::max(from->codecpar->sample_rate, 1)}, from->time_base);
    }
    // Sound before the first picture is left out, but for the packet that the beginning cuts; only
    // the containers with edit lists can begin within a packet.
    const bool editLists = std::string_view(output->oformat->name) == "mov" ||
                           std::string_view(output->oformat->name) == "mp4";
    if (packet.pts + (editLists ? packet.duration - 1 : 0) < 0) return;
    packet.stream_index = to->index;
    packet.pos = -1;
    av_packet_rescale_ts(&packet, from->time_base, to->time_base);
    CheckAv(av_interleaved_write_frame(output, &packet), path, "cannot be written");
}

/// Converts a decoded frame, or what the resampler still holds when it is null.
void AudioCarrier::Track::Resample(const AVFrame* frame, std::int64_t start,
                                   const std::string& path) {
    const int room = swr_get_out_samples(resampler.get(), frame ? frame->nb_samples : 0);
    if (room <= 0) return;
    AvFrame converted = MakeFrame();
    converted->format = encoder->sample_fmt;
    converted->nb_samples = room;
    CheckAv(av_channel_layout_copy(&converted->ch_layout, &encoder->ch_layout), path, "audio");
    CheckAv(av_frame_get_buffer(converted.get(), 0), path, "its audio cannot be converted");
    const uint8_t** data = frame ? const_cast<const uint8_t**>(frame->extended_data) : nullptr;
    const int count = CheckAv(swr_convert(resampler.get(), converted->extended_data, room, data,
                                          frame ? frame->nb_samples : 0),
                              path, "its audio cannot be converted");
    CheckAv(
        av_audio_fifo_write(fifo.get(), reinterpret_cast<void**>(converted->extended_data), count),
        path, "its audio cannot be converted");
    if (begun || !frame) return;
    const std::int64_t lead =
        av_rescale_q(start, kMicroseconds, encoder->time_base) -
        av_rescale_q(frame->best_effort_timestamp, from->time_base, encoder->time_base);
    if (lead > 0) {
        const int held = av_audio_fifo_size(fifo.get());
        av_audio_fifo_drain(fifo.get(), static_cast<int>(std::min<std::int64_t>(lead, held)));
        begun = lead < held;
        return;
    }
    sent = -lead;
    begun = true;
}

void AudioCarrier::Track::WritePackets(AVFormatContext* output, const std::string& path) {
    const AvPacket packet = MakePacket();
    for (;;) {
        const int received = avcodec_receive_packet(encoder.get(), packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        CheckAv(received, path, "its audio cannot be encoded");
        packet->stream_index = to->index;
        av_packet_rescale_ts(packet.get(), encoder->time_base, to->time_base);
        CheckAv(av_interleaved_write_frame(output, packet.get()), path, "cannot be written");
    }
}

/// Encodes whole frames of what is waiting, and with `last` also the rest.
void AudioCarrier::Track::Encode(bool last, AVFormatContext* output, const std::string& path) {
    constexpr int kFreeFrameSize = 1024;
    const int size = encoder->frame_size > 0 ? encoder->frame_size : kFreeFrameSize;
    while (begun) {
        const int held = av_audio_fifo_size(fifo.get());
        if (held == 0 || (held < size && !last)) break;
        AvFrame frame = MakeFrame();
        frame->format = encoder->sample_fmt;
        frame->nb_samples = std::min(held, size);
        frame->sample_rate = encoder->sample_rate;
        CheckAv(av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout), path, "audio");
        CheckAv(av_frame_get_buffer(frame.get(), 0), path, "its audio cannot be encoded");
        av_audio_fifo_read(fifo.get(), reinterpret_cast<void**>(frame->extended_data),
                           frame->nb_samples);
        frame->pts = sent;
        sent += frame->nb_samples;
        CheckAv(avcodec_send_frame(encoder.get(), frame.get()), path,
                "its audio cannot be encoded");
        WritePackets(output, path);
    }
    if (!last) return;
    avcodec_send_frame(encoder.get(), nullptr);
    WritePackets(output, path);
}

void AudioCarrier::Track::Reencode(const AVPacket* packet, std::int64_t start,
                                   AVFormatContext* output, const std::string& path) {
    CheckAv(avcodec_send_packet(decoder.get(), packet), path, "the source's audio is damaged");
    while (avcodec_receive_frame(decoder.get(), decoded.get()) >= 0) {
        Resample(decoded.get(), start, path);
    }
    if (!packet) Resample(nullptr, start, path);
    Encode(!packet, output, path);
}

AudioCarrier::AudioCarrier(const std::string& source, AVFormatContext* output, std::string path)
    : source_(source), path_(std::move(path)), input_(OpenInput(source)), output_(output) {
    FindStreams(input_.get(), source);
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        AVStream* stream = input_->streams[i];
        const bool audio = stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        stream->discard = audio ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        if (audio) AddTrack(stream, output);
    }
}

AudioCarrier::~AudioCarrier() = default;

/// A stream that can neither be copied nor decoded is left out, so that the pictures still arrive.
void AudioCarrier::AddTrack(AVStream* stream, AVFormatContext* output) {
    const bool copied = Takes(*output->oformat, *stream);
    if (!copied && !avcodec_find_decoder(stream->codecpar->codec_id)) return;
    auto track = std::make_unique<Track>();
    track->from = stream;
    track->to = avformat_new_stream(output, nullptr);
    if (!track->to) throw std::bad_alloc();
    if (copied) {
        CheckAv(avcodec_parameters_copy(track->to->codecpar, stream->codecpar), path_,
                "its audio cannot be carried over");
        track->to->codecpar->codec_tag = 0;
        track->to->time_base = stream->time_base;
    } else {
        track->OpenEncoder(source_, path_, *output);
    }
    for (const char* key : {"language", "title"}) {
        const AVDictionaryEntry* entry = av_dict_get(stream->metadata, key, nullptr, 0);
        if (entry) av_dict_set(&track->to->metadata, key, entry->value, 0);
    }
    track->to->disposition = stream->disposition;
    tracks_.push_back(std::move(track));
}

AudioCarrier::Track* AudioCarrier::TrackOf(const AVPacket& packet) {
    const auto found = std::find_if(tracks_.begin(), tracks_.end(), [&](const auto& track) {
        return track->from->index == packet.stream_index;
    });
    return found == tracks_.end() ? nullptr : found->get();
}

/// Fetches the next audio packet unless one is waiting; false at the end of the file. A file that
/// breaks off ends its audio there: the pictures' reader reports it.
bool AudioCarrier::ReadPacket() {
    while (!pending_) {
        if (av_read_frame(input_.get(), packet_.get()) < 0) return false;
        const Track* track = TrackOf(*packet_);
        if (packet_->pts == AV_NOPTS_VALUE) packet_->pts = packet_->dts;
        pending_ = track && !track->done && packet_->pts != AV_NOPTS_VALUE;
        if (!pending_) av_packet_unref(packet_.get());
    }
    return true;
}

void AudioCarrier::Deliver(Track& track) {
    if (track.encoder) {
        track.Reencode(packet_.get(), start_, output_, path_);
    } else {
        track.Copy(*packet_, start_, output_, path_);
    }
    av_packet_unref(packet_.get());
    pending_ = false;
}

void AudioCarrier::CarryUntil(std::int64_t until) {
    while (ReadPacket()) {
        Track& track = *TrackOf(*packet_);
        if (av_compare_ts(packet_->pts, track.from->time_base, until, kMicroseconds) >= 0) return;
        Deliver(track);
    }
}

void AudioCarrier::Finish(std::int64_t end) {
    std::size_t running = tracks_.size();
    while (running > 0 && ReadPacket()) {
        Track& track = *TrackOf(*packet_);
        if (av_compare_ts(packet_->pts, track.from->time_base, end, kMicroseconds) < 0) {
            Deliver(track);
            continue;
        }
        track.done = true;
        --running;
        av_packet_unref(packet_.get());
        pending_ = false;
    }
    for (const auto& track : tracks_) {
        if (track->encoder) track->Reencode(nullptr, start_, output_, path_);
    }
}

}  // namespace veltrane::media
