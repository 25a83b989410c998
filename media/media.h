#ifndef VELTRANE_MEDIA_MEDIA_H
#define VELTRANE_MEDIA_MEDIA_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "files/error.h"
#include "imaging/threads.h"
#include "media/color_spaces.h"
#include "media/pixel_memory.h"

namespace veltrane::media {

using files::Error;

enum class Kind { Still, Sequence, Video };

/// How stored colour becomes the display-referred colour that is keyed.
enum class Transfer {
    Automatic,  ///< Linear for EXR and video tagged as linear, None for others
    Linear,  ///< stored values are scene-linear; the sRGB curve is applied, and undone on writing
    None,    ///< stored values are keyed as they are
};

/// Whether colour is stored multiplied by alpha.
enum class Association {
    Automatic,  ///< reading: what the file says (EXR premultiplied, TIFF by its tag, others
                ///< straight); writing: EXR premultiplied, others straight
    Straight,
    Premultiplied
};

/// How the rows of a video's frames were taken. Fields are not separated: the keyer takes a frame's
/// rows as one picture, whatever moved between them.
enum class Scan { Progressive, TopFirst, BottomFirst };

struct Rational {
    std::int64_t num = 0;
    std::int64_t den = 1;
};

/// First and last frame number, both included; a last of INT64_MAX means the last there is.
struct FrameRange {
    std::int64_t first;
    std::int64_t last;
};

struct ReadOptions {
    Transfer transfer = Transfer::Automatic;
    Association association = Association::Automatic;
    std::optional<FrameRange> frames;
    int threads = 0;  ///< that decode a video; 0 for one a core
    /// Brings stored colour to the space for keying; transfer is None then.
    std::shared_ptr<const ColorConversion> conversion{};
};

/// How an image file is compressed.
struct Compression {
    enum class Method { Automatic, None, Rle, Zips, Zip, Piz, Dwaa, Dwab, Lzw };

    Method method = Method::Automatic;  ///< Automatic is Zip where a format leaves a choice
    std::optional<int> level = {};  ///< of Dwaa and Dwab, kDwaLevels; higher makes smaller files
};

/// The levels of Dwaa and Dwab, both included.
inline constexpr std::pair kDwaLevels{1, 1000};

/// "none", "rle", "zips", "zip", "piz", "dwaa", "dwab", "lzw".
const char* CompressionName(Compression::Method method);

/// What only a Writer needs to know of a source: colour tags, half or full floats, and the like.
struct SourceDetails;

struct Info {
    Kind kind = Kind::Still;
    std::string path;
    std::string format;  ///< for people: "PNG", "mov, h264"
    std::string pixels;  ///< for people: "16-bit RGBA", "yuv420p, BT.709 limited"
    int width = 0;       ///< as shown, that is after the stream's rotation
    int height = 0;
    int bits = 0;  ///< significant bits a channel as stored
    bool isFloat = false;
    bool hasAlpha = false;
    Transfer transfer = Transfer::None;       ///< resolved, never Automatic
    std::int64_t firstFrame = 0;              ///< number of the first frame to be read
    std::optional<std::int64_t> frameCount;   ///< frames to be read, where it is known beforehand
    std::vector<std::int64_t> missingFrames;  ///< numbers absent from a sequence, within the range;
                                              ///< the first kMostMissingFrames of them
    Rational frameRate{24, 1};  ///< of a video; stills and sequences give 24, which may be changed
                                ///< before a Writer is made
    Scan scan = Scan::Progressive;        ///< as a video says
    std::optional<std::string> timecode;  ///< of the stored video's first frame
    int audioStreams = 0;
    std::vector<std::pair<std::string, std::string>> metadata;
    std::shared_ptr<const SourceDetails> details;
};

/// The longest list of missing frames that is made.
inline constexpr std::size_t kMostMissingFrames = 10000;

/// What a file's frame held beyond the working samples (float values, metadata, timestamps); made
/// by a Reader, used by a Writer.
struct Origin;

/// A frame as it is keyed: blue, green, red, alpha, 16 bits a channel, straight alpha,
/// display-referred, packed rows.
struct Frame {
    int width = 0;
    int height = 0;
    std::int64_t number = 0;  ///< the file's number in a sequence; from 1 in a video; 1 for a still
    Pixels pixels;
    std::shared_ptr<const Origin> origin;
    /// Straight red, green, blue that float files store instead of the pixels'; mostly empty.
    Colors colors{};
    /// Of a composite, how far each pixel is the source's, 0..65535; empty where all of them are.
    std::vector<std::uint16_t> coverage{};
};

/// A frame fetched but not yet converted.
struct Fetched;

/// Reads a still, a sequence or a video, in order.
class Reader {
public:
    virtual ~Reader() = default;
    virtual const Info& info() const = 0;
    /// Fetches the next frame, or null after the last one. One thread at a time.
    virtual std::shared_ptr<Fetched> Fetch() = 0;
    /// Converts a fetched frame, by the threads lent where its format allows it. Any number of
    /// threads at a time.
    virtual Frame Decode(const Fetched& fetched, const Threads& threads = {}) = 0;
};

/// Tells from content and name what the path is ("a.png", "shot.%04d.exr", "shot.####.png",
/// "clip.mov") and opens it. A range that reaches beyond the frames there are is an Error. Throws
/// Error, here and in every call on the reader, with one line that names the file (and the frame).
std::unique_ptr<Reader> Open(const std::string& path, const ReadOptions& options = {});

/// Fetches and decodes one frame by number. Throws Error when it is not there.
Frame ReadFrame(const std::string& path, std::int64_t number, const ReadOptions& options = {});

/// Reads an image (or a video's first frame) as an opaque frame of the given size: scaled to fill
/// it, with what overhangs cut off evenly; transparent parts become black. The conversion, if any,
/// brings it to the space for keying. Throws Error.
Frame ReadBackground(const std::string& path, int width, int height,
                     std::shared_ptr<const ColorConversion> conversion = nullptr);

/// A video that is a part of a longer one (media/video_parts.h).
struct VideoPart;

struct WriteOptions {
    /// Automatic: a file of the source's own format is written as the source was read; otherwise
    /// EXR is linear and the others are not.
    Transfer transfer = Transfer::Automatic;
    Association association = Association::Automatic;
    bool opaque = false;  ///< every frame is opaque: alpha is left out, and formats without it do
    Compression compression = {};  ///< of images
    bool resume = false;           ///< keep frames of a sequence that exist whole
    bool audio = true;             ///< carry the source's audio into a video
    int threads = 0;  ///< that encode ProRes or FFV1; 0 for one a core. Where their number
                      ///< changes the file, as for VP9 and H.264, it is always the same.
    /// Brings frames back from the space for keying; transfer is None then.
    std::shared_ptr<const ColorConversion> conversion{};
    /// Where a video is but a part of one; what is to be known of it is noted there.
    std::shared_ptr<VideoPart> part{};
};

/// A frame converted for its file but not yet in it.
struct Encoded;

/// Writes a still, a sequence or a video. What is written appears under its name only when it is
/// complete: each frame of a sequence by itself, a video at Finish. Destroying an unfinished writer
/// removes its temporary files and leaves finished ones. Symbolic links are followed; what dead
/// processes left unfinished in the folder is removed. Whether an output is one of the sources is
/// for the caller to see to.
class Writer {
public:
    virtual ~Writer() = default;
    /// True when the frame need not be keyed because it exists whole (only with resume).
    virtual bool Has(std::int64_t number) const = 0;
    /// What is written holds: linear light where Linear, else None.
    virtual Transfer transfer() const { return Transfer::None; }
    /// Converts a frame (sequences and stills also write it). source is the frame as read: where
    /// the result is opaque and its colour is the source's, a float file receives the values
    /// originally read, unless source has no pixels. An EXR holds half floats when the source does,
    /// else full floats, which keep all 16 bits. Threads lent share the work where the format
    /// allows it; the file is the same. Any number of threads at a time.
    virtual std::shared_ptr<Encoded> Encode(const Frame& result, const Frame& source,
                                            const Threads& threads = {}) = 0;
    /// Takes encoded frames in order of time. One thread at a time.
    virtual void Append(const Encoded& encoded) = 0;
    /// Completes the output. Throws Error when it cannot.
    virtual void Finish() = 0;
};

/// Creates a writer for the format that the path's name tells; source is what the frames come from
/// (frame rate, colour tags, timecode, audio). Throws Error for an unsupported format, one that
/// cannot hold alpha unless options.opaque is set, a compression it does not have, or a place that
/// cannot be written.
std::unique_ptr<Writer> Create(const std::string& path, const WriteOptions& options,
                               const Info& source);

/// For people: the formats that can hold alpha, such as "mov (ProRes 4444), mkv (FFV1), ...".
std::string FormatsWithAlpha();

}  // namespace veltrane::media

#endif
