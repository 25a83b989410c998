#include <future>
#include <optional>
#include <string>

#include "media/backends.h"
#include "media/source_details.h"
#include "media/video_parts.h"
#include "media/video_writer.h"

namespace veltrane::media {
namespace {

/// A part is none, or not the one that was written.
class Damage : public Error {
public:
    using Error::Error;
};

[[noreturn]] void FailAsDamaged(const std::string& path) {
    throw Damage(files::ErrorLine(path, "is damaged: its packets are not those that were written"));
}

AvInput OpenPart(const std::string& path) {
    try {
        return OpenInput(path);
    } catch (const files::StorageError&) {
        throw;
    } catch (const Error&) {
        FailAsDamaged(path);
    }
}

/// The packets of a part, in order.
class PartReader {
public:
    explicit PartReader(const PartFile& part);

    const AVCodecParameters& parameters() const { return *input_->streams[index_]->codecpar; }
    /// The next packet, or null after the last one. Throws Damage, and Error.
    AvPacket Next();

private:
    void RequireWhole();

    const PartFile& part_;
    AvInput input_;
    int index_;
    PacketDigest digest_;
    std::size_t count_ = 0;
};

PartReader::PartReader(const PartFile& part) : part_(part), input_(OpenPart(part.path)) {
    index_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index_ < 0) FailAsDamaged(part.path);
}

AvPacket PartReader::Next() {
    AvPacket packet = MakePacket();
    while (count_ <= part_.times.size() && av_read_frame(input_.get(), packet.get()) >= 0) {
        if (packet->stream_index == index_) {
            if (count_++ == part_.times.size()) break;
            digest_.Add(*packet);
            return packet;
        }
        av_packet_unref(packet.get());
    }
    RequireWhole();
    return nullptr;
}

void PartReader::RequireWhole() {
    if (const int fault = AVUNERROR(input_->pb->error); files::IsStorageFault(fault))
        FailBySystem(part_.path, "cannot be read", fault);
    if (count_ != part_.times.size() || digest_.Text() != part_.digest) FailAsDamaged(part_.path);
}

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

/// A packet is read while the one before it is written.
void Joiner::Append(const PartFile& part) {
    PartReader reader(part);
    RequireSame(part.path, reader.parameters());
    const auto read = [&] { return reader.Next(); };
    std::future<AvPacket> next = std::async(read);
    for (const std::int64_t time : part.times) {
        const AvPacket packet = next.get();
        if (!packet) return;
        next = std::async(read);
        writer_.AppendPacket(*packet, time);
    }
    next.get();  // there is no further one, or the part is damaged
}

}  // namespace

std::vector<DamagedPart> JoinVideo(const std::string& path, const WriteOptions& options,
                                   const Info& source, std::int64_t firstStamp,
                                   const std::vector<PartFile>& parts) {
    VideoWriter writer(path, options, source);
    writer.BeginAt(firstStamp);
    Joiner joiner(writer);
    std::vector<DamagedPart> damaged;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        try {
            joiner.Append(parts[i]);
        } catch (const Damage& damage) {
            damaged.push_back({i, damage.what()});
        }
    }
    if (damaged.empty()) writer.Finish();
    return damaged;
}

}  // namespace veltrane::media
