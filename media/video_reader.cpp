extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

#include <atomic>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>

#include "media/av_support.h"
#include "media/backends.h"
#include "media/matroska_sums.h"
#include "media/pixels.h"
#include "media/source_details.h"
#include "media/transfer.h"
#include "media/video_pixels.h"
#include "media/video_seek.h"

namespace veltrane::media {
namespace {

constexpr std::int64_t kFromTheFirst = std::numeric_limits<std::int64_t>::min();

struct FetchedPicture : Fetched {
    AvFrame picture;
    std::int64_t number = 0;
};

class VideoReader : public Reader {
public:
    VideoReader(const std::string& path, const ReadOptions& options);

    const Info& info() const override { return info_; }
    std::shared_ptr<Fetched> Fetch() override;
    Frame Decode(const Fetched& fetched, const Threads& threads) override;

private:
    void Describe(const AVFrame& first);
    void DescribeStream();
    void CheckPicture(const AVFrame& picture) const;
    AvFrame NextPicture();
    int Receive(AVFrame& picture);
    void SkipTo(std::int64_t number);
    AvFrame PictureFrom(const EntryPoint& point, std::int64_t number);
    void SendPacket();
    void CheckContainer(std::int64_t place);
    bool EndsEarly() const;
    void EndOfVideo();
    ColorTags TagsOf(const AVFrame& picture) const;

    std::string path_;
    ReadOptions options_;
    AvInput input_;
    AVStream* stream_ = nullptr;
    std::atomic<bool> damaged_ = false;
    AvCodec codec_;
    AvPacket packet_ = MakePacket();
    Info info_;
    Turn turn_;
    AvFrame first_;            ///< decoded on opening or skipping, not yet fetched
    std::int64_t number_ = 0;  ///< of the last frame decoded
    ColorTags containerTags_;
    std::int64_t packets_ = 0;  ///< read from the stream
    std::optional<MatroskaSums> matroska_;
    /// Before it, what no other picture builds on is not decoded; only H.264 says which that is.
    std::int64_t wanted_ = kFromTheFirst;
    bool truncated_ = false;
};

/// Only these decoders read the alpha that a WebM file carries beside its pictures.
const char* DecoderName(const AVStream& stream) {
    const AVDictionaryEntry* mode = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
    if (!mode || std::string_view(mode->value) != "1") return nullptr;
    if (stream.codecpar->codec_id == AV_CODEC_ID_VP9) return "libvpx-vp9";
    if (stream.codecpar->codec_id == AV_CODEC_ID_VP8) return "libvpx";
    return nullptr;
}

bool IsFormat(const AVFormatContext& input, std::string_view name) {
    return std::string_view(input.iformat->name).find(name) != std::string_view::npos;
}

/// The stream to be keyed; less than 0 where there is none, or only the cover of a piece of music.
int PictureStream(AVFormatContext& input) {
    const auto isCover = [&](int i) {
        constexpr int kCover = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS;
        return (input.streams[i]->disposition & kCover) != 0;
    };
    const int best = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best < 0 || !isCover(best)) return best;
    for (int i = 0; i < static_cast<int>(input.nb_streams); ++i) {
        const bool pictures = input.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (pictures && !isCover(i)) return i;
    }
    return -1;
}

bool IsWhole(const AVFrame& picture) {
    return !picture.decode_error_flags && !(picture.flags & AV_FRAME_FLAG_CORRUPT);
}

/// What the frame says, else what the stream does.
Scan ScanOf(const AVFrame& frame, const AVCodecParameters& stream) {
    if (frame.interlaced_frame) return frame.top_field_first ? Scan::TopFirst : Scan::BottomFirst;
    switch (stream.field_order) {
        case AV_FIELD_TT:
        case AV_FIELD_BT:
            return Scan::TopFirst;
        case AV_FIELD_BB:
        case AV_FIELD_TB:
            return Scan::BottomFirst;
        default:
            return Scan::Progressive;
    }
}

/// The frames to be shown, where the container has an index: those that its edit list leaves out
/// are not.
std::optional<std::int64_t> FrameCount(const AVFormatContext& input, AVStream& stream) {
    if (!IsFormat(input, "mov") || stream.nb_frames <= 0) return std::nullopt;
    std::int64_t shown = 0;
    for (int i = 0; i < avformat_index_get_entries_count(&stream); ++i) {
        const AVIndexEntry* entry = avformat_index_get_entry(&stream, i);
        if (!(entry->flags & AVINDEX_DISCARD_FRAME)) ++shown;
    }
    return shown;
}

/// True when an AVI file is shorter than its first chunk says.
bool IsAviCut(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(4);
    std::uint64_t length = 8;
    for (int shift = 0; shift < 32; shift += 8) length += std::uint64_t(file.get() & 0xff) << shift;
    return file && length > std::filesystem::file_size(path);
}

std::optional<std::string> TimecodeOf(const AVFormatContext& input) {
    const AVDictionaryEntry* entry = av_dict_get(input.metadata, "timecode", nullptr, 0);
    for (unsigned i = 0; !entry && i < input.nb_streams; ++i) {
        entry = av_dict_get(input.streams[i]->metadata, "timecode", nullptr, 0);
    }
    if (!entry) return std::nullopt;
    return entry->value;
}

/// The streams' tags as the container has them; the decoder overwrites those that its own data
/// leaves unspecified.
std::vector<ColorTags> ContainerTags(const AVFormatContext& input) {
    std::vector<ColorTags> tags;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const AVCodecParameters& stream = *input.streams[i]->codecpar;
        tags.push_back(
            {stream.color_space, stream.color_range, stream.color_primaries, stream.color_trc});
    }
    return tags;
}

VideoReader::VideoReader(const std::string& path, const ReadOptions& options)
    : path_(path), options_(options), input_(OpenInput(path)) {
    const std::vector<ColorTags> tags = ContainerTags(*input_);
    FindStreams(input_.get(), path);
    const int index = PictureStream(*input_);
    if (index < 0) Fail(path, "holds no picture");
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        const bool other = static_cast<int>(i) != index;
        input_->streams[i]->discard = other ? AVDISCARD_ALL : AVDISCARD_DEFAULT;
    }
    stream_ = input_->streams[index];
    if (static_cast<std::size_t>(index) < tags.size()) containerTags_ = tags[index];
    if (IsFormat(*input_, "matroska")) matroska_.emplace(path);
    codec_ = OpenDecoder(path, stream_, options.threads, DecoderName(*stream_), &damaged_);
    if (options.frames && options.frames->first > 1) SkipTo(options.frames->first);
    if (!first_) first_ = NextPicture();
    if (!first_) {
        EndOfVideo();
        Fail(path, "holds no picture that can be read");
    }
    DescribeStream();
    Describe(*first_);
}

/// Leaves out the decoding of what need not be decoded before a frame.
void VideoReader::SkipTo(std::int64_t number) {
    if (IsFormat(*input_, "matroska") && StandAlone(*stream_)) {
        number_ = packets_ = PassPackets(*input_, *stream_, number - 1);
        return;
    }
    if (!IsFormat(*input_, "mov") || !HasEntryPoint(*stream_, number)) return;
    const std::optional<EntryPoint> point = EntryPointFor(*input_, *stream_, number);
    first_ = point ? PictureFrom(*point, number) : nullptr;
    wanted_ = kFromTheFirst;
    if (first_) return;
    // From the beginning then.
    const std::int64_t beginning = avformat_index_get_entry(stream_, 0)->timestamp;
    if (!GoTo(*input_, *stream_, beginning)) Fail(path_, "cannot be read twice");
    avcodec_flush_buffers(codec_.get());
    packets_ = number_ = 0;
    damaged_ = truncated_ = false;
}

/// The picture of a frame at or after an entry point, where decoding from there gives one that
/// depends on nothing before. What is shown before the point may be damaged.
AvFrame VideoReader::PictureFrom(const EntryPoint& point, std::int64_t number) {
    const std::int64_t place = number - point.number;
    if (place >= std::ssize(point.times) || !GoTo(*input_, *stream_, point.asked)) return nullptr;
    packets_ = point.packet;
    const std::int64_t wanted = point.times[static_cast<std::size_t>(place)];
    if (codec_->codec_id == AV_CODEC_ID_H264) wanted_ = wanted;
    AvFrame picture = MakeFrame();
    std::int64_t time = point.shown - 1;
    for (bool entered = false; time < wanted;) {
        if (Receive(*picture) < 0) return nullptr;
        time = picture->best_effort_timestamp;
        if (time < point.shown) continue;
        const bool alone = picture->pict_type == AV_PICTURE_TYPE_I && picture->key_frame;
        if (!IsWhole(*picture) || !(entered || (alone && time == point.shown))) return nullptr;
        entered = true;
    }
    number_ = number;
    return time == wanted && !damaged_ ? std::move(picture) : nullptr;
}

void VideoReader::DescribeStream() {
    // Images of the formats that the image library is not asked to read come this way too.
    const bool still = IsFormat(*input_, "_pipe") || IsFormat(*input_, "image2");
    info_.kind = still ? Kind::Still : Kind::Video;
    info_.path = path_;
    const std::string container = input_->iformat->name;
    info_.format = container.substr(0, container.find(',')) + ", " +
                   avcodec_get_name(stream_->codecpar->codec_id);
    const auto count = still ? 1 : FrameCount(*input_, *stream_);
    const std::int64_t last = std::numeric_limits<std::int64_t>::max();
    const FrameRange range = RangeWithin(path_, options_.frames, {1, count.value_or(last)});
    info_.firstFrame = range.first;
    if (range.last != last) info_.frameCount = range.last - range.first + 1;
    info_.timecode = TimecodeOf(*input_);
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        const AVCodecParameters& parameters = *input_->streams[i]->codecpar;
        info_.audioStreams += parameters.codec_type == AVMEDIA_TYPE_AUDIO;
    }
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(input_->metadata, "", entry, AV_DICT_IGNORE_SUFFIX))) {
        info_.metadata.emplace_back(entry->key, entry->value);
    }
}

void VideoReader::Describe(const AVFrame& first) {
    const AVPixFmtDescriptor& format =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(first.format));
    const uint8_t* matrix = av_stream_get_side_data(stream_, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix) turn_ = Turn::FromDisplayMatrix(reinterpret_cast<const std::int32_t*>(matrix));
    CheckSize(path_, first.width, first.height);
    const Placement placement(turn_, first.width, first.height);
    const ColorTags tags = TagsOf(first);
    info_.width = placement.width;
    info_.height = placement.height;
    info_.scan = ScanOf(first, *stream_->codecpar);
    info_.bits = format.comp[0].depth;
    info_.isFloat = format.flags & AV_PIX_FMT_FLAG_FLOAT;
    info_.hasAlpha = format.flags & AV_PIX_FMT_FLAG_ALPHA;
    info_.pixels = std::string(format.name) + ", " + TagText(tags);
    const bool linear = tags.transfer == AVCOL_TRC_LINEAR;
    info_.transfer = options_.transfer;
    if (info_.transfer == Transfer::Automatic) {
        info_.transfer = linear ? Transfer::Linear : Transfer::None;
    }
    auto details = std::make_shared<SourceDetails>();
    details->tags = tags;
    details->timeBase = FromAv(stream_->time_base);
    AVRational aspect =
        av_guess_sample_aspect_ratio(input_.get(), stream_, const_cast<AVFrame*>(&first));
    if (turn_.transposed && aspect.num > 0) aspect = av_inv_q(aspect);
    details->sampleAspect = FromAv(aspect);
    info_.details = std::move(details);
    const AVRational rate =
        av_guess_frame_rate(input_.get(), stream_, const_cast<AVFrame*>(&first));
    if (rate.num > 0 && rate.den > 0) info_.frameRate = FromAv(rate);
}

ColorTags VideoReader::TagsOf(const AVFrame& picture) const {
    ColorTags tags{picture.colorspace, picture.color_range, picture.color_primaries,
                   picture.color_trc};
    const ColorTags& stored = containerTags_;
    if (tags.matrix == AVCOL_SPC_UNSPECIFIED) tags.matrix = stored.matrix;
    if (tags.range == AVCOL_RANGE_UNSPECIFIED) tags.range = stored.range;
    if (tags.primaries == AVCOL_PRI_UNSPECIFIED) tags.primaries = stored.primaries;
    if (tags.transfer == AVCOL_TRC_UNSPECIFIED) tags.transfer = stored.transfer;
    const auto format = static_cast<AVPixelFormat>(picture.format);
    return ResolveTags(tags, format, picture.width, picture.height);
}

/// Gives the decoder the next packet, or tells it that there are no more.
void VideoReader::SendPacket() {
    const int read = av_read_frame(input_.get(), packet_.get());
    const int fault = input_->pb ? AVUNERROR(input_->pb->error) : 0;
    if (read < 0 && files::IsStorageFault(fault)) FailBySystem(path_, "cannot be read", fault);
    const bool broken = read < 0 ? read != AVERROR_EOF : packet_->flags & AV_PKT_FLAG_CORRUPT;
    truncated_ |= broken;
    if (read < 0 || broken) {
        av_packet_unref(packet_.get());
        avcodec_send_packet(codec_.get(), nullptr);
        return;
    }
    int sent = 0;
    if (packet_->stream_index == stream_->index) {
        ++packets_;
        CheckContainer(packet_->pos);
        codec_->skip_frame = packet_->pts < wanted_ ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        sent = avcodec_send_packet(codec_.get(), packet_.get());
    }
    av_packet_unref(packet_.get());
    CheckAv(sent, path_, "is damaged after frame " + std::to_string(number_));
}

/// The next picture decoded. Returns FFmpeg's error, AVERROR_EOF after the last one.
int VideoReader::Receive(AVFrame& picture) {
    for (;;) {
        const int received = avcodec_receive_frame(codec_.get(), &picture);
        if (received != AVERROR(EAGAIN)) return received;
        SendPacket();
    }
}

AvFrame VideoReader::NextPicture() {
    AvFrame picture = MakeFrame();
    const int received = Receive(*picture);
    if (received == AVERROR_EOF) return nullptr;
    CheckAv(received, path_, "is damaged after frame " + std::to_string(number_));
    ++number_;
    // Frames are decoded ahead, so which of them is damaged is known but roughly.
    if (damaged_) Fail(path_, "is damaged near frame " + std::to_string(number_));
    if (!IsWhole(*picture)) Fail(path_, "frame " + std::to_string(number_) + " is damaged");
    return picture;
}

bool VideoReader::EndsEarly() const {
    if (truncated_) return true;
    if (matroska_) return matroska_->IsCut();
    if (IsFormat(*input_, "avi")) return IsAviCut(path_);
    return IsFormat(*input_, "mov") && packets_ < avformat_index_get_entries_count(stream_);
}

/// Throws Error when what lies before this place of the file is damaged, as far as it can be known.
void VideoReader::CheckContainer(std::int64_t place) {
    if (!matroska_ || place < 0 || matroska_->HoldsTo(static_cast<std::uint64_t>(place))) return;
    Fail(path_, "is damaged after frame " + std::to_string(number_));
}

/// Throws Error when the video ended before it should have.
void VideoReader::EndOfVideo() {
    if (EndsEarly()) Fail(path_, "truncated after frame " + std::to_string(number_));
    CheckContainer(std::numeric_limits<std::int64_t>::max());
    if (!options_.frames) return;
    const bool toTheEnd = options_.frames->last == std::numeric_limits<std::int64_t>::max();
    const std::int64_t needed = toTheEnd ? options_.frames->first : options_.frames->last;
    if (number_ < needed) RangeWithin(path_, options_.frames, {1, number_});
}

void VideoReader::CheckPicture(const AVFrame& picture) const {
    const Placement placement(turn_, picture.width, picture.height);
    if (placement.width == info_.width && placement.height == info_.height) return;
    Fail(path_, "frame " + std::to_string(number_) + " is " +
                    SizeText(placement.width, placement.height) + ", where the video is " +
                    SizeText(info_.width, info_.height));
}

std::shared_ptr<Fetched> VideoReader::Fetch() {
    const FrameRange range =
        options_.frames.value_or(FrameRange{1, std::numeric_limits<std::int64_t>::max()});
    for (;;) {
        if (!first_ && number_ >= range.last) return nullptr;
        auto fetched = std::make_shared<FetchedPicture>();
        fetched->picture = first_ ? std::move(first_) : NextPicture();
        fetched->number = number_;
        if (!fetched->picture) {
            EndOfVideo();
            return nullptr;
        }
        if (fetched->number < range.first) continue;
        CheckPicture(*fetched->picture);
        return fetched;
    }
}

Frame VideoReader::Decode(const Fetched& fetched, const Threads&) {
    const auto& decoded = dynamic_cast<const FetchedPicture&>(fetched);
    const AVFrame* picture = decoded.picture.get();
    Frame frame;
    frame.width = info_.width;
    frame.height = info_.height;
    frame.number = decoded.number;
    frame.pixels =
        WithinMemory(path_, [&] { return PixelsOf(path_, *picture, TagsOf(*picture), turn_); });
    if (options_.association == Association::Premultiplied) Unpremultiply(frame.pixels);
    if (info_.transfer == Transfer::Linear) ApplyToColour(LinearToWorkingTable(), frame.pixels);
    auto origin = std::make_shared<Origin>();
    if (picture->best_effort_timestamp != AV_NOPTS_VALUE) {
        origin->timestamp = picture->best_effort_timestamp;
    }
    frame.origin = std::move(origin);
    return frame;
}

}  // namespace

std::int64_t CountFrames(const std::string& path) {
    const AvInput input = OpenInput(path);
    FindStreams(input.get(), path);
    const int index = PictureStream(*input);
    if (index < 0) Fail(path, "holds no picture");
    return CountPackets(*input, *input->streams[index]);
}

std::int64_t EntryFrameNear(const std::string& path, std::int64_t number, std::int64_t within) {
    const AvInput input = OpenInput(path);
    const int index = PictureStream(*input);
    const bool indexed = index >= 0 && IsFormat(*input, "mov");
    return indexed ? EntryNear(*input, *input->streams[index], number, within) : number;
}

std::unique_ptr<Reader> OpenVideo(const std::string& path, const ReadOptions& options) {
    return std::make_unique<VideoReader>(path, options);
}

}  // namespace veltrane::media
