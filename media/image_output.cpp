#include <algorithm>
#include <array>
#include <mutex>

#include "files/whole_file.h"
#include "imaging/convert/convert.h"
#include "media/backends.h"
#include "media/exr_image.h"
#include "media/file_bytes.h"
#include "media/file_kind.h"
#include "media/image_file.h"
#include "media/image_library.h"
#include "media/jpeg_metadata.h"
#include "media/originals.h"
#include "media/png_file.h"
#include "media/sequence_path.h"
#include "media/tiff_output.h"
#include "media/transfer.h"

namespace veltrane::media {
namespace {

struct Format {
    const char* extension;
    const char* name;  ///< in the image library
    bool alpha;
};

constexpr std::array kFormats{Format{".png", "png", true},   Format{".tif", "tiff", true},
                              Format{".tiff", "tiff", true}, Format{".exr", "openexr", true},
                              Format{".jpg", "jpeg", false}, Format{".jpeg", "jpeg", false}};

Format FormatOf(const std::string& path, bool opaque) {
    const std::string extension = Extension(path);
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [&](const Format& f) { return extension == f.extension; });
    if (found == kFormats.end()) {
        Fail(path, "the format '" + extension + "' cannot be written; these can: " +
                       FormatsWithAlpha() + ", and without alpha mp4 (H.264) and jpg");
    }
    if (!found->alpha && !opaque) {
        Fail(path, extension.substr(1) + " cannot hold alpha; these can: " + FormatsWithAlpha());
    }
    return *found;
}

using Method = Compression::Method;

void CheckCompression(const std::string& path, std::string_view format, Method method) {
    static const std::vector<Method> kExr{Method::None, Method::Rle,  Method::Zips, Method::Zip,
                                          Method::Piz,  Method::Dwaa, Method::Dwab};
    static const std::vector<Method> kTiff{Method::None, Method::Lzw, Method::Zip};
    if (method == Method::Automatic) return;
    const std::string refusal =
        std::string("cannot be compressed by ") + CompressionName(method) + "; its format ";
    if (format != "openexr" && format != "tiff") Fail(path, refusal + "leaves no choice");
    const std::vector<Method>& methods = format == "tiff" ? kTiff : kExr;
    if (std::find(methods.begin(), methods.end(), method) != methods.end()) return;
    std::string names;
    for (const Method each : methods) {
        names += (names.empty() ? "has " : ", ") + std::string(CompressionName(each));
    }
    Fail(path, refusal + names);
}

/// Nothing: a frame is in its file when Encode returns.
struct EncodedImage : Encoded {};

class ImageWriter : public Writer {
public:
    ImageWriter(const std::string& path, const WriteOptions& options, const Info& source);

    bool Has(std::int64_t number) const override;
    Transfer transfer() const override { return transfer_; }
    std::shared_ptr<Encoded> Encode(const Frame& result, const Frame& source,
                                    const Threads& threads) override;
    void Append(const Encoded&) override {}
    void Finish() override {}

private:
    std::string PathOf(std::int64_t number) const;
    void ClaimStill(std::int64_t number);
    void AddCompression(OIIO::ParamValueList& attributes) const;
    ImageLayout LayoutFor(const Frame& result, const Origin* origin) const;
    void AddMetadata(const ImageMetadata& metadata, ImageLayout& layout) const;
    Colors StoredFloats(const Frame& result, const Frame& source) const;
    Bytes Jpeg(const std::string& path, ImageLayout layout, const void* samples) const;
    void WriteFile(const std::string& path, const Bytes& bytes) const;
    void WriteFrame(const std::string& path, const Frame& result, const Frame& source,
                    const Threads& threads) const;
    void WriteExrFrame(const std::string& path, const Frame& result, const Frame& source,
                       const Threads& threads) const;
    Bytes InMemory(const std::string& path, const ImageLayout& layout, const Frame& result,
                   const Threads& threads) const;

    std::string path_;
    std::optional<SequencePath> sequence_;
    Format format_;
    WriteOptions options_;
    Transfer transfer_;
    bool premultiplied_;
    bool half_;
    int width_;
    int height_;
    std::mutex mutex_;
    std::optional<std::int64_t> still_;
};

Transfer TransferFor(const Format& format, Transfer asked, const Info& source) {
    if (asked != Transfer::Automatic) return asked;
    const bool ownFormat = source.details && source.details->imageFormat == format.name;
    if (ownFormat) return source.transfer;
    return std::string_view(format.name) == "openexr" ? Transfer::Linear : Transfer::None;
}

ImageWriter::ImageWriter(const std::string& path, const WriteOptions& options, const Info& source)
    : path_(path),
      sequence_(SequencePath::Parse(path)),
      format_(FormatOf(path, options.opaque)),
      options_(options),
      transfer_(TransferFor(format_, options.transfer, source)),
      premultiplied_(options.association == Association::Premultiplied ||
                     (options.association == Association::Automatic &&
                      std::string_view(format_.name) == "openexr")),
      half_(source.details && source.details->isHalf),
      width_(source.width),
      height_(source.height) {
    CheckCompression(path, format_.name, options.compression.method);
    if (!sequence_ && source.frameCount.value_or(1) != 1) {
        Fail(path, "holds one frame; for more name a sequence such as frame.%04d" +
                       std::string(format_.extension));
    }
    files::RemoveAbandoned(PathOf(source.firstFrame));
    const files::WholeFile writable(PathOf(source.firstFrame));
}

std::string ImageWriter::PathOf(std::int64_t number) const {
    return sequence_ ? sequence_->ForNumber(number) : path_;
}

bool ImageWriter::Has(std::int64_t number) const {
    const std::string path = PathOf(number);
    if (!options_.resume || ImageFormatOf(path) != format_.name) return false;
    try {
        const Info info = DescribeImage(path, {});
        if (info.width != width_ || info.height != height_) return false;
        if (info.hasAlpha == options_.opaque) return false;
        ReadImage(path, number, {}, {});
        return true;
    } catch (const Error&) {
        return false;
    }
}

void ImageWriter::ClaimStill(std::int64_t number) {
    if (sequence_) return;
    const std::lock_guard lock(mutex_);
    if (still_.value_or(number) != number) Fail(path_, "holds one frame, but more came");
    still_ = number;
}

/// Lossless but for JPEG and what was asked for, at the level where more time hardly makes footage
/// smaller.
void ImageWriter::AddCompression(OIIO::ParamValueList& attributes) const {
    const std::string_view name = format_.name;
    if (name == "jpeg") {
        SetAttribute(attributes, "Compression", "jpeg:95");
        SetAttribute(attributes, "jpeg:subsampling", "4:4:4");
    } else {
        const auto& [method, level] = options_.compression;
        std::string text = method == Method::Automatic ? "zip" : CompressionName(method);
        if (level) text.append(":").append(std::to_string(*level));
        SetAttribute(attributes, "compression", text);
        SetAttribute(attributes, "tiff:zipquality", 1);
    }
}

void ImageWriter::AddMetadata(const ImageMetadata& metadata, ImageLayout& layout) const {
    const std::string_view name = format_.name;
    const bool exr = name == "openexr";
    layout.attributes = metadata.attributes;
    if (exr != (metadata.format == "openexr") || transfer_ != metadata.transfer) {
        layout.attributes.remove("ICCProfile", OIIO::TypeDesc::UNKNOWN, false);
        layout.attributes.remove("chromaticities", OIIO::TypeDesc::UNKNOWN, false);
    }
    if (name == "jpeg") LeaveOutWhatJpegCannotHold(layout.attributes);
    if (exr) {
        layout.x = layout.fullX = metadata.originX;
        layout.y = layout.fullY = metadata.originY;
    }
}

ImageLayout ImageWriter::LayoutFor(const Frame& result, const Origin* origin) const {
    const std::string_view name = format_.name;
    OIIO::TypeDesc type = OIIO::TypeDesc::UINT16;
    if (name == "openexr") type = half_ ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT;
    if (!format_.alpha) type = OIIO::TypeDesc::UINT8;
    ImageLayout layout = PlainLayout(result.width, result.height, options_.opaque ? 3 : 4, type);
    if (origin && origin->metadata) AddMetadata(*origin->metadata, layout);
    OIIO::ParamValueList& attributes = layout.attributes;
    // Where there is no date the library writes the time of day, and the same frame gives another
    // file each time; one of the wrong type it passes over.
    if (!attributes.contains("DateTime", OIIO::TypeDesc::UNKNOWN, false)) {
        SetAttribute(attributes, "DateTime", 0);
    }
    SetAttribute(attributes, "oiio:ColorSpace", transfer_ == Transfer::Linear ? "Linear" : "sRGB");
    if (!premultiplied_ || name == "png") SetAttribute(attributes, "oiio:UnassociatedAlpha", 1);
    AddCompression(attributes);
    return layout;
}

Colors ImageWriter::StoredFloats(const Frame& result, const Frame& source) const {
    const TransferCurve& curve = TransferCurve::For(transfer_);
    const Originals originals(result, source, transfer_);
    const std::size_t channels = options_.opaque ? 3 : 4;
    const std::size_t count = result.pixels.size() / 4;
    Colors samples(count * channels);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t* pixel = result.pixels.data() + i * 4;
        float* stored = samples.data() + i * channels;
        const bool opaque = options_.opaque || pixel[3] == 65535;
        if (opaque && originals.Apply(i)) {
            for (int c = 0; c < 3; ++c) stored[c] = originals.Float(i * 3 + c);
        } else {
            const float factor = premultiplied_ && !opaque ? ToFloat(pixel[3]) : 1.0f;
            for (int c = 0; c < 3; ++c) {
                const float* given = originals.Given();
                const float value = given ? given[i * 3 + c] : curve.ToStored(pixel[2 - c]);
                const bool covers = options_.opaque || pixel[3] != 0;
                const float excess = covers ? originals.ExcessOf(i * 3 + c) : 0.0f;
                stored[c] = Premultiplied(value + excess, factor);
            }
        }
        if (channels == 4) stored[3] = ToFloat(pixel[3]);
    }
    return samples;
}

/// Blue, green, red, alpha to red, green, blue.
Pixels InFileOrder(const Pixels& pixels) {
    Pixels samples;
    samples.reserve(pixels.size());
    for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) {
        samples.insert(samples.end(), {pixels[i + 2], pixels[i + 1], pixels[i]});
    }
    return samples;
}

Bytes ImageWriter::Jpeg(const std::string& path, ImageLayout layout, const void* samples) const {
    OIIO::ParamValue profile;
    const auto found = layout.attributes.find("ICCProfile", OIIO::TypeDesc::UNKNOWN, false);
    if (found != layout.attributes.end()) profile = *found;
    layout.attributes.remove("ICCProfile", OIIO::TypeDesc::UNKNOWN, false);
    Bytes file = EncodeByLibrary(path, "jpeg", layout, OIIO::TypeDesc::UINT16, samples);
    if (profile.data()) AddJpegProfile(file, profile);
    return file;
}

/// A sequence does not wait for the disk after each frame: resuming finds what a power cut damaged.
void ImageWriter::WriteFile(const std::string& path, const Bytes& bytes) const {
    files::WholeFile file(path, files::WholeFile::Folder::Seen);
    file.Write(bytes.data(), bytes.size());
    if (!sequence_) file.Sync();
    file.Commit();
}

std::shared_ptr<Encoded> ImageWriter::Encode(const Frame& result, const Frame& source,
                                             const Threads& threads) {
    ClaimStill(result.number);
    const std::string path = PathOf(result.number);
    WithinMemory(path, [&] { WriteFrame(path, result, source, threads); });
    return std::make_shared<EncodedImage>();
}

/// The picture of a format that holds whole numbers, in memory.
Bytes ImageWriter::InMemory(const std::string& path, const ImageLayout& layout, const Frame& result,
                            const Threads& threads) const {
    const bool multiply = premultiplied_ && !options_.opaque;
    Pixels room;
    const auto& pixels = StoredPixels(result, transfer_, multiply, room);
    const std::string_view name = format_.name;
    if (name == "png") {
        return EncodePng(pixels, layout.width, layout.height, !options_.opaque,
                         MetadataChunks(path, layout));
    }
    if (name == "tiff") return EncodeTiff(path, layout, pixels, threads);
    return Jpeg(path, layout, InFileOrder(pixels).data());
}

void ImageWriter::WriteExrFrame(const std::string& path, const Frame& result, const Frame& source,
                                const Threads& threads) const {
    const Origin* origin = source.origin.get();
    if (WritesExr(options_.compression)) {
        ImageLayout layout;
        if (origin && origin->metadata) AddMetadata(*origin->metadata, layout);
        const ImageMetadata metadata{"openexr",         half_,    transfer_,
                                     layout.attributes, layout.x, layout.y};
        const ExrStorage storage{transfer_,       premultiplied_,         half_,
                                 options_.opaque, !sequence_.has_value(), options_.compression};
        return WriteExr(path, storage, result, source, metadata, threads);
    }
    const Colors samples = StoredFloats(result, source);
    WriteFile(path, EncodeByLibrary(path, format_.name, LayoutFor(result, origin),
                                    OIIO::TypeDesc::FLOAT, samples.data()));
}

/// Other files are written to memory first: the JPEG and EXR libraries meet a full disk with
/// silence or an exit.
void ImageWriter::WriteFrame(const std::string& path, const Frame& result, const Frame& source,
                             const Threads& threads) const {
    if (std::string_view(format_.name) == "openexr") {
        return WriteExrFrame(path, result, source, threads);
    }
    WriteFile(path, InMemory(path, LayoutFor(result, source.origin.get()), result, threads));
}

}  // namespace

std::unique_ptr<Writer> CreateImages(const std::string& path, const WriteOptions& options,
                                     const Info& source) {
    return std::make_unique<ImageWriter>(path, options, source);
}

}  // namespace veltrane::media
