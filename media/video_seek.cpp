#include "media/video_seek.h"

#include <algorithm>
#include <cstdlib>

namespace veltrane::media {
namespace {

bool IsKey(AVStream& stream, int packet) {
    return avformat_index_get_entry(&stream, packet)->flags & AVINDEX_KEYFRAME;
}

/// Packets lie in the index in order of decoding, each of them a frame that is shown.
bool IsPlain(AVStream& stream, int count) {
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry* entry = avformat_index_get_entry(&stream, i);
        if (entry->flags & AVINDEX_DISCARD_FRAME) return false;
        if (i > 0 && entry->timestamp <= avformat_index_get_entry(&stream, i - 1)->timestamp)
            return false;
    }
    return true;
}

/// Reads the stream's next packet; false at the end.
bool Next(AVFormatContext& input, const AVStream& stream, AVPacket& packet) {
    for (;;) {
        av_packet_unref(&packet);
        if (av_read_frame(&input, &packet) < 0) return false;
        if (packet.stream_index == stream.index) return true;
    }
}

/// The time of the key packet after this one, or a time at the end.
std::int64_t TimeOfNextKey(AVStream& stream, int packet) {
    const int count = avformat_index_get_entries_count(&stream);
    for (int next = packet + 1; next < count; ++next)
        if (IsKey(stream, next)) return avformat_index_get_entry(&stream, next)->timestamp;
    return avformat_index_get_entry(&stream, count - 1)->timestamp + 1;
}

/// The key packet as an entry point. Frames that are decoded after it but shown before it are
/// counted: they belong to what lies before.
std::optional<EntryPoint> Examine(AVFormatContext& input, AVStream& stream, int packet) {
    const std::int64_t time = avformat_index_get_entry(&stream, packet)->timestamp;
    const AvPacket read = MakePacket();
    // What the container is asked for counts as a time of showing, which lies behind that of
    // decoding by as much as the container alone knows.
    const std::int64_t next = TimeOfNextKey(stream, packet);
    std::int64_t asked = time;
    for (const std::int64_t ask : {time, time + (next - time) / 2, next - 1}) {
        if (!GoTo(input, stream, asked = ask) || !Next(input, stream, *read)) return std::nullopt;
        if (read->dts == time) break;
    }
    const bool found = read->dts == time && (read->flags & AV_PKT_FLAG_KEY);
    if (!found || read->pts == AV_NOPTS_VALUE) return std::nullopt;
    EntryPoint point{packet, packet + 1, read->pts, asked, {read->pts}};
    while (Next(input, stream, *read) && !(read->flags & AV_PKT_FLAG_KEY)) {
        if (read->pts < point.shown)
            ++point.number;
        else
            point.times.push_back(read->pts);
    }
    std::sort(point.times.begin(), point.times.end());
    return point;
}

}  // namespace

bool HasEntryPoint(AVStream& stream, std::int64_t number) {
    const int count = avformat_index_get_entries_count(&stream);
    return count == stream.nb_frames && number <= count && IsPlain(stream, count);
}

std::optional<EntryPoint> EntryPointFor(AVFormatContext& input, AVStream& stream,
                                        std::int64_t number) {
    for (int packet = static_cast<int>(number) - 1; packet >= 0; --packet) {
        if (!IsKey(stream, packet)) continue;
        std::optional<EntryPoint> point = Examine(input, stream, packet);
        if (!point || point->number <= number) return point;
    }
    return std::nullopt;
}

bool StandAlone(const AVStream& stream) {
    const AVCodecDescriptor* codec = avcodec_descriptor_get(stream.codecpar->codec_id);
    return codec && codec->props & AV_CODEC_PROP_INTRA_ONLY;
}

std::int64_t EntryNear(AVFormatContext& input, AVStream& stream, std::int64_t number,
                       std::int64_t within) {
    const int count = avformat_index_get_entries_count(&stream);
    if (StandAlone(stream) || count != stream.nb_frames || !IsPlain(stream, count)) return number;
    const auto near = [&](std::int64_t frame) { return std::abs(frame - number) <= within; };
    for (std::int64_t step = 0; step <= 2 * within; ++step) {
        const std::int64_t frame = number + (step % 2 ? -1 : 1) * (step + 1) / 2;  // 0, -1, 1, ...
        if (frame < 2 || frame > count || !IsKey(stream, static_cast<int>(frame) - 1)) continue;
        const auto point = Examine(input, stream, static_cast<int>(frame) - 1);
        if (point && near(point->number)) return point->number;
    }
    return number;
}

bool GoTo(AVFormatContext& input, AVStream& stream, std::int64_t asked) {
    return av_seek_frame(&input, stream.index, asked, AVSEEK_FLAG_BACKWARD) >= 0;
}

std::int64_t PassPackets(AVFormatContext& input, const AVStream& stream, std::int64_t count) {
    const AvPacket packet = MakePacket();
    std::int64_t passed = 0;
    while (passed < count && Next(input, stream, *packet)) ++passed;
    return passed;
}

std::int64_t CountPackets(AVFormatContext& input, const AVStream& stream) {
    const AvPacket packet = MakePacket();
    std::int64_t count = 0;
    while (Next(input, stream, *packet))
        if (!(packet->flags & AV_PKT_FLAG_DISCARD)) ++count;
    return count;
}

}  // namespace veltrane::media
