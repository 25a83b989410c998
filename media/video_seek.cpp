#include "media/video_seek.h"

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
    EntryPoint point{packet, packet + 1, read->pts, asked};
    while (Next(input, stream, *read) && !(read->flags & AV_PKT_FLAG_KEY))
        if (read->pts < point.shown) ++point.number;
    return point;
}

}  // namespace

bool HasEntryPoint(AVStream& stream, std::int64_t number) {
    const int count = avformat_index_get_entries_count(&stream);
    if (count != stream.nb_frames || number > count || !IsPlain(stream, count)) return false;
    for (int packet = 1; packet < number; ++packet)
        if (IsKey(stream, packet)) return true;
    return false;
}

std::optional<EntryPoint> EntryPointFor(AVFormatContext& input, AVStream& stream,
                                        std::int64_t number) {
    for (int packet = static_cast<int>(number) - 1; packet > 0; --packet) {
        if (!IsKey(stream, packet)) continue;
        const std::optional<EntryPoint> point = Examine(input, stream, packet);
        if (!point || point->number <= number) return point;
    }
    return std::nullopt;
}

bool GoTo(AVFormatContext& input, AVStream& stream, std::int64_t asked) {
    return av_seek_frame(&input, stream.index, asked, AVSEEK_FLAG_BACKWARD) >= 0;
}

std::int64_t CountPackets(AVFormatContext& input, const AVStream& stream) {
    const AvPacket packet = MakePacket();
    std::int64_t count = 0;
    while (Next(input, stream, *packet))
        if (!(packet->flags & AV_PKT_FLAG_DISCARD)) ++count;
    return count;
}

}  // namespace veltrane::media
