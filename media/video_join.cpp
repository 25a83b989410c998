#include <optional>
#include <string>

#include "media/backends.h"
#include "media/source_details.h"
#include "media/video_parts.h"
#include "media/video_writer.h"

namespace veltrane::media {
namespace {

class Joiner {
public:
    explicit Joiner(VideoWriter& writer) : writer_(writer) {}

    void Append(const PartFile& part);

private:
    void RequireSame(const std::string& path, const AVCodecParameters& part);

    VideoWriter& writer_;
    std::optional<std::string> header_;  ///< the first part's own, which all must have
};

/// Throws Error unless the packets of a part can stand beside the others.
void Joiner::RequireSame(const std::string& path, const AVCodecParameters& part) {
    const AVCodecParameters& whole = writer_.parameters();
    const std::string header(reinterpret_cast<const char*>(part.extradata),
                             static_cast<std::size_t>(part.extradata_size));
    if (!header_) header_ = header;
    const bool same = part.codec_id == whole.codec_id && part.width == whole.width &&
                      part.height == whole.height && header == *header_;
    if (same) return;
    Fail(path, "is " + SizeText(part.width, part.height) + ' ' + avcodec_get_name(part.codec_id) +
                   ", coded unlike the whole video");
}

void Joiner::Append(const PartFile& part) {
    const AvInput input = OpenInput(part.path);
    const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) Fail(part.path, "holds no picture");
    RequireSame(part.path, *input->streams[index]->codecpar);
    const AvPacket packet = MakePacket();
    PacketDigest digest;
    std::size_t count = 0;
    while (count <= part.times.size() && av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == index && count++ < part.times.size()) {
            digest.Add(*packet);
            writer_.AppendPacket(*packet, part.times[count - 1]);
        }
        av_packet_unref(packet.get());
    }
    if (const int fault = AVUNERROR(input->pb->error); files::IsStorageFault(fault))
        FailBySystem(part.path, "cannot be read", fault);
    if (count != part.times.size() || digest.Text() != part.digest)
        Fail(part.path, "is damaged: its packets are not those that were written");
}

}  // namespace

void JoinVideo(const std::string& path, const WriteOptions& options, const Info& source,
               std::int64_t firstStamp, const std::vector<PartFile>& parts) {
    VideoWriter writer(path, options, source);
    writer.BeginAt(firstStamp);
    Joiner joiner(writer);
    for (const PartFile& part : parts) joiner.Append(part);
    writer.Finish();
}

}  // namespace veltrane::media
