#include "media/av_support.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>
#include <string_view>

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

/// The demuxers that read footage, as a list for FFmpeg. The others draw text as pictures, read
/// samples of a size to be guessed, run scripts, or follow a list to other files.
std::string FootageFormats() {
    static constexpr std::string_view kOthers[] = {
        "tty",      "bin",  "xbin",  "adf",       "idf",    "avisynth", "vapoursynth",
        "rawvideo", "v210", "v210x", "bitpacked", "concat", "concatf",  "hls",
        "dash",     "imf",  "sdp",   "rtsp",      "rtp",    "sap",      "ffmetadata"};
    std::string formats;
    void* state = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&state)) {
        const std::string_view names = format->name;
        const std::string_view first = names.substr(0, names.find(','));
        if (std::find(std::begin(kOthers), std::end(kOthers), first) != std::end(kOthers)) continue;
        if (!formats.empty()) formats += ',';
        formats += names;
    }
    return formats;
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
    if (result >= 0) return result;
    if (files::IsStorageFault(AVUNERROR(result))) FailBySystem(path, what, AVUNERROR(result));
    Fail(path, what + ": " + AvText(result));
}

AvInput OpenInput(const std::string& path) {
    SilenceAv();
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened) throw std::bad_alloc();
    static const std::string footage = FootageFormats();
    opened->format_whitelist = av_strdup(footage.c_str());
    opened->protocol_whitelist = av_strdup("file");
    AVDictionary* options = nullptr;
    // An image is that file alone, not a sequence to be found by its name.
    av_dict_set(&options, "pattern_type", "none", 0);
    // The prefix keeps names with a colon from being taken for a protocol.
    const std::string url = "file:" + path;
    const int result = avformat_open_input(&opened, url.c_str(), nullptr, &options);
    av_dict_free(&options);
    constexpr const char* kUnknown = "is no image or video that can be read";
    // Demuxers call what breaks off an error of the device, too.
    constexpr int kNoFootage[] = {AVERROR_INVALIDDATA, AVERROR(EINVAL), AVERROR(EIO)};
    for (const int unknown : kNoFootage)
        if (result == unknown) Fail(path, kUnknown);
    CheckAv(result, path, kUnknown);
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
