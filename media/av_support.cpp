#include "media/av_support.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <new>

#include "media/source_details.h"

namespace veltrane::media {
namespace {

void Listen(void* context, int level, const char* format, va_list) {
    if (!context || level > AV_LOG_ERROR || !std::strstr(format, "CRC mismatch")) return;
    const AVClass& kind = **static_cast<AVClass**>(context);
    if (std::strcmp(kind.class_name, "AVCodecContext") != 0) return;
    void* flag = static_cast<AVCodecContext*>(context)->opaque;
    if (flag) *static_cast<std::atomic<bool>*>(flag) = true;
}

}  // namespace

AvFrame MakeFrame() {
    AvFrame frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

AvPacket MakePacket() {
    AvPacket packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

void SilenceAv() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(&Listen); });
}

std::string AvText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

int CheckAv(int result, const std::string& path, const std::string& what) {
    if (result < 0) Fail(path, what + ": " + AvText(result));
    return result;
}

AvInput OpenInput(const std::string& path) {
    SilenceAv();
    AVFormatContext* opened = nullptr;
    // The prefix keeps names with a colon from being taken for a protocol.
    const std::string url = "file:" + path;
    CheckAv(avformat_open_input(&opened, url.c_str(), nullptr, nullptr), path,
            "is no image or video that can be read");
    return AvInput(opened);
}

void FindStreams(AVFormatContext* input, const std::string& path) {
    CheckAv(avformat_find_stream_info(input, nullptr), path, "its streams cannot be read");
}

int CodecThreads(int asked) {
    constexpr int kMost = 16;
    return std::min(asked, kMost);
}

AvCodec OpenDecoder(const std::string& path, const AVStream* stream, int threads, const char* name,
                    std::atomic<bool>* damaged) {
    const AVCodecParameters* parameters = stream->codecpar;
    const AVCodec* decoder = name ? avcodec_find_decoder_by_name(name) : nullptr;
    if (!decoder) decoder = avcodec_find_decoder(parameters->codec_id);
    if (!decoder) {
        Fail(path, std::string("no decoder for ") + avcodec_get_name(parameters->codec_id));
    }
    AvCodec codec(avcodec_alloc_context3(decoder));
    if (!codec) throw std::bad_alloc();
    CheckAv(avcodec_parameters_to_context(codec.get(), parameters), path, "cannot be decoded");
    codec->pkt_timebase = stream->time_base;
    codec->thread_count = CodecThreads(threads);
    codec->opaque = damaged;
    // Most decoders patch damage up and mark the picture; this one tells of it only by failing.
    // The MPEG-4 family must not be asked to: it can then abort the program.
    const bool fails = parameters->codec_id == AV_CODEC_ID_HEVC;
    codec->err_recognition = AV_EF_CRCCHECK | (fails ? AV_EF_EXPLODE : 0);
    CheckAv(avcodec_open2(codec.get(), decoder, nullptr), path, "cannot be decoded");
    return codec;
}

}  // namespace veltrane::media
