#include "media/image_file.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include "imaging/convert/convert.h"
#include "media/dpx_source.h"
#include "media/exr_image.h"
#include "media/file_kind.h"
#include "media/image_integrity.h"
#include "media/image_library.h"
#include "media/png_source.h"
#include "media/tiff_file.h"
#include "media/tiff_source.h"
#include "media/transfer.h"

namespace veltrane::media {
namespace {

/// Which of a file's channels make up the picture: positions within those read.
struct Channels {
    int first = 0;  ///< of those read
    int count = 0;  ///< of those read
    int red = 0;
    int green = 0;
    int blue = 0;
    int alpha = -1;
};

struct OpenImage {
    std::unique_ptr<ImageSource> source;
    std::string format;
    Channels channels;
    bool isFloat = false;
    bool isHalf = false;
    bool premultiplied = false;
    TiffLayout tiff;  ///< of a TIFF
    Transfer transfer = Transfer::None;
    Turn turn;

    const ImageLayout& layout() const { return source->layout(); }
};

int Find(const ImageLayout& layout, std::initializer_list<std::string_view> names) {
    for (int c = 0; c < layout.channels(); ++c) {
        for (std::string_view name : names) {
            if (OIIO::Strutil::iequals(layout.channelNames[c],
                                       OIIO::string_view(name.data(), name.size())))
                return c;
        }
    }
    return -1;
}

Channels NamedChannels(const std::string& path, const ImageLayout& layout) {
    Channels found;
    found.red = Find(layout, {"R", "red"});
    found.green = Find(layout, {"G", "green"});
    found.blue = Find(layout, {"B", "blue"});
    found.alpha = Find(layout, {"A", "alpha"});
    if (found.red < 0 || found.green < 0 || found.blue < 0) {
        const int grey = Find(layout, {"Y"});
        if (grey < 0) Fail(path, "holds no channels R, G and B");
        found.red = found.green = found.blue = grey;
    }
    return found;
}

Channels OrderedChannels(const ImageLayout& layout) {
    if (layout.channels() < 3) return {0, 0, 0, 0, 0, layout.channels() == 2 ? 1 : -1};
    return {0, 0, 0, 1, 2, layout.channels() > 3 ? 3 : -1};
}

/// A TIFF's extra samples are alpha only where it says so.
Channels TiffChannels(const ImageLayout& layout, const TiffLayout& tiff) {
    Channels found = tiff.grey ? Channels{} : OrderedChannels(layout);
    found.alpha = tiff.alpha;
    return found;
}

Channels ChannelsOf(const std::string& path, const OpenImage& image) {
    const ImageLayout& layout = image.layout();
    Channels found = OrderedChannels(layout);
    if (image.format == "openexr") found = NamedChannels(path, layout);
    if (image.format == "tiff") found = TiffChannels(layout, image.tiff);
    auto [first, last] = std::minmax({found.red, found.green, found.blue});
    if (found.alpha >= 0) {
        first = std::min(first, found.alpha);
        last = std::max(last, found.alpha);
    }
    found.first = first;
    found.count = last - first + 1;
    for (int* channel : {&found.red, &found.green, &found.blue}) *channel -= first;
    if (found.alpha >= 0) found.alpha -= first;
    return found;
}

bool IsFloating(OIIO::TypeDesc type) {
    return type.basetype == OIIO::TypeDesc::HALF || type.basetype == OIIO::TypeDesc::FLOAT ||
           type.basetype == OIIO::TypeDesc::DOUBLE;
}

void FindSampleType(OpenImage& image) {
    const ImageLayout& layout = image.layout();
    image.isHalf = true;
    for (int c = image.channels.first; c < image.channels.first + image.channels.count; ++c) {
        image.isFloat |= IsFloating(layout.channelTypes[c]);
        image.isHalf &= layout.channelTypes[c].basetype == OIIO::TypeDesc::HALF;
    }
}

bool StoredPremultiplied(const OpenImage& image, Association association) {
    if (association != Association::Automatic) return association == Association::Premultiplied;
    return image.format == "openexr" || image.tiff.premultiplied;
}

/// Opens what is of a common kind by itself, and leaves the rest to the image library.
std::unique_ptr<ImageSource> OpenSource(const std::string& path, const std::string& format,
                                        const Threads& threads) {
    if (format == "png") return OpenPng(path, threads);
    std::unique_ptr<ImageSource> source;
    if (format == "tiff") source = OpenPlainTiff(path);
    if (format == "dpx") source = OpenPlainDpx(path, threads);
    return source ? std::move(source) : OpenByLibrary(path, format);
}

OpenImage OpenImageFile(const std::string& path, const ReadOptions& options,
                        const Threads& threads = {}) {
    OpenImage image;
    image.format = ImageFormatOf(path);
    if (image.format.empty()) Fail(path, "is no image that can be read");
    if (image.format == "tiff") image.tiff = TiffFile(path).Layout();
    CheckStructure(path, image.format);
    image.source = OpenSource(path, image.format, threads);
    const ImageLayout& layout = image.layout();
    CheckSize(path, layout.width, layout.height);
    CheckSize(path, layout.fullWidth, layout.fullHeight);
    const bool isExr = image.format == "openexr";
    image.channels = ChannelsOf(path, image);
    FindSampleType(image);
    const int colour = image.channels.first + image.channels.red;
    if (isExr && !IsFloating(layout.channelTypes[colour])) {
        Fail(path, "holds whole numbers, which have no known white");
    }
    image.premultiplied =
        image.channels.alpha >= 0 && StoredPremultiplied(image, options.association);
    image.transfer = options.transfer;
    if (options.transfer == Transfer::Automatic) {
        image.transfer = isExr ? Transfer::Linear : Transfer::None;
    }
    image.turn = Turn::FromOrientation(layout.attributes.get_int("Orientation", 1));
    return image;
}

bool StillHolds(const OIIO::ParamValue& attribute) {
    static constexpr std::array kStalePrefixes{"oiio:",
                                               "openexr:",
                                               "tiff:",
                                               "png:",
                                               "jpeg:",
                                               "dpx:",
                                               "thumbnail",
                                               "exr",
                                               "icc",
                                               "Orientation",
                                               "name",
                                               "view",
                                               "compress",
                                               "planarconfig",
                                               "nuke/node_hash",
                                               "Exif:PixelXDimension",
                                               "Exif:PixelYDimension",
                                               "Exif:ColorSpace",
                                               "Exif:ComponentsConfiguration",
                                               "Exif:CompressedBitsPerPixel",
                                               "Software"};
    const OIIO::string_view name = attribute.name();
    // Over an empty text the image library ends the program when it writes it for IPTC.
    const bool text = attribute.type() == OIIO::TypeDesc::STRING;
    if (text && attribute.get_ustring().empty()) return false;
    return std::none_of(kStalePrefixes.begin(), kStalePrefixes.end(), [&](const char* prefix) {
        return OIIO::Strutil::istarts_with(name, prefix);
    });
}

void KeepAttributes(const OpenImage& image, ImageMetadata& metadata) {
    metadata.attributes = KeptAttributes(image.layout().attributes, image.transfer);
    if (!image.turn.transposed) return;
    const float aspect = metadata.attributes.get_float("PixelAspectRatio", 1);
    const float x = metadata.attributes.get_float("XResolution");
    const float y = metadata.attributes.get_float("YResolution");
    if (x > 0 && y > 0) {
        metadata.attributes.attribute("XResolution", y);
        metadata.attributes.attribute("YResolution", x);
    }
    if (metadata.attributes.contains("PixelAspectRatio")) {
        metadata.attributes.attribute("PixelAspectRatio", 1 / aspect);
    }
}

std::shared_ptr<const ImageMetadata> MetadataOf(const OpenImage& image) {
    auto metadata = std::make_shared<ImageMetadata>();
    metadata->format = image.format;
    metadata->isHalf = image.isHalf;
    metadata->transfer = image.transfer;
    metadata->originX = image.layout().fullX;
    metadata->originY = image.layout().fullY;
    KeepAttributes(image, *metadata);
    return metadata;
}

/// Whether the stored rectangle leaves out a part of the one that is shown.
bool LeavesOut(const ImageLayout& layout) {
    return layout.x > layout.fullX || layout.y > layout.fullY ||
           layout.x + layout.width < layout.fullX + layout.fullWidth ||
           layout.y + layout.height < layout.fullY + layout.fullHeight;
}

/// Reads a file's samples and calls place(index of the shown pixel, stored samples) for every
/// stored pixel within the display window, on the threads lent.
template <typename Sample, typename Place>
void PlacePixels(const OpenImage& image, const Placement& placement, const Threads& threads,
                 Place place) {
    const ImageLayout& layout = image.layout();
    const int channels = image.channels.count;
    const int left = layout.x - layout.fullX, top = layout.y - layout.fullY;
    const int firstX = std::max(left, 0), endX = std::min(left + layout.width, layout.fullWidth);
    const TakeRows<Sample> take = [&](int first, int rows, const Sample* samples) {
        const int firstY = std::max(top + first, 0);
        const int endY = std::min(top + first + rows, layout.fullHeight);
        for (int y = firstY; y < endY; ++y) {
            const Sample* row = samples + std::size_t(y - top - first) * layout.width * channels;
            std::size_t index = placement.Index(firstX, y);
            for (int x = firstX; x < endX; ++x, index += placement.stepX) {
                place(index, row + std::size_t(x - left) * channels);
            }
        }
    };
    image.source->Read(image.channels.first, channels, threads, take);
}

void ReadIntegers(const OpenImage& image, const Placement& placement, const Threads& threads,
                  Frame& frame) {
    // Of up to 8 bits the library does it.
    const bool inverted = image.tiff.whiteIsZero && image.tiff.bits > 8;
    static_assert(std::endian::native == std::endian::little, "a pixel is stored as a word");
    const std::uint64_t flip = inverted ? 0x0000ffffffffffff : 0;
    const auto place = [channels = image.channels, flip, pixels = frame.pixels.data()](
                           std::size_t index, const std::uint16_t* stored) {
        const auto sample = [stored](int channel) { return std::uint64_t{stored[channel]}; };
        const std::uint64_t alpha = channels.alpha < 0 ? 65535 : sample(channels.alpha);
        const std::uint64_t pixel = (sample(channels.blue) | sample(channels.green) << 16 |
                                     sample(channels.red) << 32 | alpha << 48) ^
                                    flip;
        std::memcpy(pixels + index * 4, &pixel, sizeof pixel);
    };
    PlacePixels<std::uint16_t>(image, placement, threads, place);
    if (image.premultiplied) Unpremultiply(frame.pixels);
    if (image.transfer == Transfer::Linear) ApplyToColour(LinearToWorkingTable(), frame.pixels);
}

/// Reads floats; `colour` receives the straight red, green and blue.
void ReadFloats(const OpenImage& image, const Placement& placement, const Threads& threads,
                Frame& frame, Colors& colour) {
    const Channels& channels = image.channels;
    const TransferCurve& curve = TransferCurve::For(image.transfer);
    colour.resize(frame.pixels.size() / 4 * 3);
    if (LeavesOut(image.layout())) std::fill(colour.begin(), colour.end(), 0.0f);
    PlacePixels<float>(image, placement, threads, [&](std::size_t index, const float* stored) {
        const float alpha = channels.alpha < 0 ? 1.0f : stored[channels.alpha];
        const float divisor = image.premultiplied ? alpha : 1.0f;
        float* straight = colour.data() + index * 3;
        straight[0] = Unpremultiplied(stored[channels.red], divisor);
        straight[1] = Unpremultiplied(stored[channels.green], divisor);
        straight[2] = Unpremultiplied(stored[channels.blue], divisor);
        std::uint16_t* pixel = frame.pixels.data() + index * 4;
        for (int c = 0; c < 3; ++c) pixel[c] = curve.ToWorking(straight[2 - c]);
        pixel[3] = ToSample(alpha);
    });
}

int SignificantBits(const OpenImage& image) {
    const OIIO::TypeDesc type = image.layout().channelTypes[image.channels.first];
    return image.layout().attributes.get_int("oiio:BitsPerSample",
                                             static_cast<int>(type.size()) * 8);
}

std::string DisplayName(const std::string& format) {
    if (format == "openexr") return "EXR";
    std::string name = format;
    OIIO::Strutil::to_upper(name);
    return name;
}

}  // namespace

OIIO::ParamValueList KeptAttributes(const OIIO::ParamValueList& attributes, Transfer transfer) {
    OIIO::ParamValueList kept;
    for (const OIIO::ParamValue& attribute : attributes) {
        const bool profile = attribute.name() == "ICCProfile" && transfer == Transfer::None;
        if (profile || StillHolds(attribute)) kept.push_back(attribute);
    }
    // Some formats mark an unknown ratio by a number that others refuse.
    const float aspect = kept.get_float("PixelAspectRatio", 1);
    if (!(aspect > 1e-3f && aspect < 1e3f)) kept.remove("PixelAspectRatio");
    return kept;
}

void Tell(const OIIO::ParamValueList& attributes, Info& info) {
    for (const OIIO::ParamValue& attribute : attributes) {
        if (attribute.type().size() > 256) continue;
        info.metadata.emplace_back(attribute.name().string(), attribute.get_string());
    }
}

Info DescribeImage(const std::string& path, const ReadOptions& options) {
    if (ImageFormatOf(path) == "openexr") {
        if (std::optional<Info> info = DescribeExr(path, options)) return *std::move(info);
    }
    const OpenImage image = OpenImageFile(path, options);
    const ImageLayout& layout = image.layout();
    const Placement placement(image.turn, layout.fullWidth, layout.fullHeight);
    Info info;
    info.path = path;
    info.format = DisplayName(image.format);
    info.width = placement.width;
    info.height = placement.height;
    info.bits = SignificantBits(image);
    info.isFloat = image.isFloat;
    info.hasAlpha = image.channels.alpha >= 0;
    info.transfer = image.transfer;
    const bool grey = image.channels.red == image.channels.green;
    info.pixels = PixelText(info, image.isHalf, grey, image.premultiplied);
    auto details = std::make_shared<SourceDetails>();
    details->imageFormat = image.format;
    details->isHalf = image.isHalf;
    info.details = std::move(details);
    Tell(MetadataOf(image)->attributes, info);
    return info;
}

Frame ReadImage(const std::string& path, std::int64_t number, const ReadOptions& options,
                const Threads& threads) {
    if (ImageFormatOf(path) == "openexr") {
        std::optional<Frame> frame = ReadExr(path, number, options, threads);
        if (frame) return *std::move(frame);
    }
    const OpenImage image = OpenImageFile(path, options, threads);
    const Placement placement(image.turn, image.layout().fullWidth, image.layout().fullHeight);
    Frame frame;
    frame.width = placement.width;
    frame.height = placement.height;
    frame.number = number;
    frame.pixels.resize(std::size_t(frame.width) * frame.height * 4);
    if (LeavesOut(image.layout())) std::fill(frame.pixels.begin(), frame.pixels.end(), 0);
    auto origin = std::make_shared<Origin>();
    origin->metadata = MetadataOf(image);
    const bool needsFloats = image.premultiplied && image.transfer == Transfer::Linear;
    if (image.isFloat || needsFloats) {
        ReadFloats(image, placement, threads, frame, origin->colour.floats);
        if (!image.isFloat) origin->colour = {};
    } else {
        ReadIntegers(image, placement, threads, frame);
    }
    frame.origin = std::move(origin);
    return frame;
}

}  // namespace veltrane::media
