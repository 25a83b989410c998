#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <mutex>

#include "files/whole_file.h"
#include "imaging/convert/convert.h"
#include "media/backends.h"
#include "media/file_kind.h"
#include "media/image_file.h"
#include "media/image_integrity.h"
#include "media/jpeg_metadata.h"
#include "media/png_file.h"
#include "media/sequence_path.h"
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

/// Nothing: a frame is in its file when Encode returns.
struct EncodedImage : Encoded {};

class ImageWriter : public Writer {
public:
    ImageWriter(const std::string& path, const WriteOptions& options, const Info& source);

    bool Has(std::int64_t number) const override;
    std::shared_ptr<Encoded> Encode(const Frame& result, const Frame& source) override;
    void Append(const Encoded&) override {}
    void Finish() override {}

private:
    std::string PathOf(std::int64_t number) const;
    void ClaimStill(std::int64_t number);
    void AddCompression(OIIO::ImageSpec& spec) const;
    OIIO::ImageSpec SpecFor(const Frame& result, const Origin* origin) const;
    std::vector<float> StoredFloats(const Frame& result, const Frame& source) const;
    std::unique_ptr<OIIO::ImageOutput> Output(const std::string& path) const;
    std::vector<unsigned char> InMemory(const std::string& path, const OIIO::ImageSpec& spec,
                                        OIIO::TypeDesc type, const void* samples) const;
    std::vector<unsigned char> Jpeg(const std::string& path, OIIO::ImageSpec spec,
                                    const void* samples) const;
    void WriteFile(const std::string& path, const OIIO::ImageSpec& spec, OIIO::TypeDesc type,
                   const void* samples) const;
    void Complete(files::WholeFile& file) const;
    void WriteFrame(const std::string& path, const Frame& result, const Frame& source) const;
    void WritePng(const std::string& path, OIIO::ImageSpec spec,
                  const std::vector<std::uint16_t>& pixels) const;

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
        ReadImage(path, number, {});
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

/// Lossless but for JPEG, at the level where more time hardly makes footage smaller.
void ImageWriter::AddCompression(OIIO::ImageSpec& spec) const {
    const std::string_view name = format_.name;
    if (name == "jpeg") {
        spec.attribute("Compression", "jpeg:95");
        spec.attribute("jpeg:subsampling", "4:4:4");
    } else {
        spec.attribute("compression", "zip");
        spec.attribute("tiff:zipquality", 1);
    }
}

OIIO::ImageSpec ImageWriter::SpecFor(const Frame& result, const Origin* origin) const {
    const bool exr = std::string_view(format_.name) == "openexr";
    OIIO::TypeDesc type = OIIO::TypeDesc::UINT16;
    if (exr) type = half_ ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT;
    if (!format_.alpha) type = OIIO::TypeDesc::UINT8;
    OIIO::ImageSpec spec(result.width, result.height, options_.opaque ? 3 : 4, type);
    if (origin && origin->metadata) {
        const ImageMetadata& metadata = *origin->metadata;
        spec.extra_attribs = metadata.attributes;
        if (exr != (metadata.format == "openexr") || transfer_ != metadata.transfer) {
            spec.erase_attribute("ICCProfile");
            spec.erase_attribute("chromaticities");
        }
        if (std::string_view(format_.name) == "jpeg") {
            LeaveOutWhatJpegCannotHold(spec.extra_attribs);
        }
        if (exr) {
            spec.x = spec.full_x = metadata.originX;
            spec.y = spec.full_y = metadata.originY;
        }
    }
    // Where there is no date the library writes the time of day, and the same frame gives another
    // file each time; one of the wrong type it passes over.
    if (!spec.find_attribute("DateTime")) spec.attribute("DateTime", 0);
    spec.attribute("oiio:ColorSpace", transfer_ == Transfer::Linear ? "Linear" : "sRGB");
    if (!premultiplied_ || std::string_view(format_.name) == "png") {
        spec.attribute("oiio:UnassociatedAlpha", 1);
    }
    AddCompression(spec);
    return spec;
}

std::vector<float> ImageWriter::StoredFloats(const Frame& result, const Frame& source) const {
    const TransferCurve& curve = TransferCurve::For(transfer_);
    const Origin* origin = source.origin.get();
    const bool originals = origin && !origin->colour.empty() && origin->metadata &&
                           source.pixels.size() == result.pixels.size();
    const Transfer from = originals ? origin->metadata->transfer : transfer_;
    const std::size_t channels = options_.opaque ? 3 : 4;
    const std::size_t count = result.pixels.size() / 4;
    std::vector<float> samples(count * channels);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t* pixel = result.pixels.data() + i * 4;
        float* stored = samples.data() + i * channels;
        const bool opaque = options_.opaque || pixel[3] == 65535;
        if (originals && opaque && std::equal(pixel, pixel + 3, source.pixels.data() + i * 4)) {
            const float* original = origin->colour.data() + i * 3;
            for (int c = 0; c < 3; ++c) stored[c] = Converted(original[c], from, transfer_);
        } else {
            const float factor = premultiplied_ && !opaque ? ToFloat(pixel[3]) : 1.0f;
            for (int c = 0; c < 3; ++c)
                stored[c] = Premultiplied(curve.ToStored(pixel[2 - c]), factor);
        }
        if (channels == 4) stored[3] = ToFloat(pixel[3]);
    }
    return samples;
}

/// Blue, green, red, alpha to red, green, blue and perhaps alpha.
std::vector<std::uint16_t> InFileOrder(const std::vector<std::uint16_t>& pixels, bool alpha) {
    std::vector<std::uint16_t> samples;
    samples.reserve(pixels.size());
    for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) {
        samples.insert(samples.end(), {pixels[i + 2], pixels[i + 1], pixels[i]});
        if (alpha) samples.push_back(pixels[i + 3]);
    }
    return samples;
}

/// True when all of a TIFF is in its file; its library reports not every failed write.
bool IsWhole(const std::string& path) {
    try {
        CheckStructure(path, "tiff");
        CheckPixelData(path, "tiff");
        return true;
    } catch (const Error&) {
        return false;
    }
}

std::unique_ptr<OIIO::ImageOutput> ImageWriter::Output(const std::string& path) const {
    auto output = OIIO::ImageOutput::create(format_.name);
    if (!output) Fail(path, ImageErrorText(OIIO::geterror(), path, "cannot be written"));
    return output;
}

/// A file of the image library, in memory.
std::vector<unsigned char> ImageWriter::InMemory(const std::string& path,
                                                 const OIIO::ImageSpec& spec, OIIO::TypeDesc type,
                                                 const void* samples) const {
    OIIO::Filesystem::IOVecOutput memory;
    const auto output = Output(path);
    output->set_ioproxy(&memory);
    if (!output->open(path, spec) || !output->write_image(type, samples) || !output->close()) {
        Fail(path, ImageErrorText(output->geterror(), path, "cannot be encoded"));
    }
    return memory.buffer();
}

/// A sequence does not wait for the disk after each frame: resuming finds what a power cut damaged.
void ImageWriter::Complete(files::WholeFile& file) const {
    if (!sequence_) file.Sync();
    file.Commit();
}

std::vector<unsigned char> ImageWriter::Jpeg(const std::string& path, OIIO::ImageSpec spec,
                                             const void* samples) const {
    OIIO::ParamValue profile;
    const OIIO::ParamValue* found = spec.find_attribute("ICCProfile");
    if (found) profile = *found;
    spec.erase_attribute("ICCProfile");
    std::vector<unsigned char> file = InMemory(path, spec, OIIO::TypeDesc::UINT16, samples);
    if (profile.data()) AddJpegProfile(file, profile);
    return file;
}

/// The JPEG and EXR libraries meet a full disk with silence or an exit, so they write to memory;
/// the TIFF library reads while it writes, so it needs a file.
void ImageWriter::WriteFile(const std::string& path, const OIIO::ImageSpec& spec,
                            OIIO::TypeDesc type, const void* samples) const {
    files::WholeFile file(path);
    const std::string_view name = format_.name;
    if (name != "tiff") {
        const std::vector<unsigned char> bytes =
            name == "jpeg" ? Jpeg(path, spec, samples) : InMemory(path, spec, type, samples);
        file.Write(bytes.data(), bytes.size());
    } else {
        const auto output = Output(path);
        const bool encoded = output->open(file.temporaryPath(), spec) &&
                             output->write_image(type, samples) && output->close();
        if (!encoded || !IsWhole(file.temporaryPath())) {
            Fail(path, "cannot be written; the disk may be full");
        }
    }
    Complete(file);
}

/// Compression by the PNG library would take longer than all else together, so it writes only the
/// metadata, around a picture of one pixel.
void ImageWriter::WritePng(const std::string& path, OIIO::ImageSpec spec,
                           const std::vector<std::uint16_t>& pixels) const {
    const int width = spec.width, height = spec.height;
    spec.width = spec.height = spec.full_width = spec.full_height = 1;
    const PngBytes metadata =
        MetadataChunks(InMemory(path, spec, OIIO::TypeDesc::UINT16, pixels.data()));
    const PngBytes bytes = EncodePng(pixels, width, height, spec.nchannels == 4, metadata);
    files::WholeFile file(path);
    file.Write(bytes.data(), bytes.size());
    Complete(file);
}

std::shared_ptr<Encoded> ImageWriter::Encode(const Frame& result, const Frame& source) {
    ClaimStill(result.number);
    const std::string path = PathOf(result.number);
    WithinMemory(path, [&] { WriteFrame(path, result, source); });
    return std::make_shared<EncodedImage>();
}

void ImageWriter::WriteFrame(const std::string& path, const Frame& result,
                             const Frame& source) const {
    const OIIO::ImageSpec spec = SpecFor(result, source.origin.get());
    const std::string_view name = format_.name;
    if (name == "openexr") {
        WriteFile(path, spec, OIIO::TypeDesc::FLOAT, StoredFloats(result, source).data());
        return;
    }
    const bool multiply = premultiplied_ && !options_.opaque;
    std::vector<std::uint16_t> room;
    const auto& pixels = StoredPixels(result, transfer_, multiply, room);
    if (name == "png") {
        WritePng(path, spec, pixels);
    } else {
        const auto samples = InFileOrder(pixels, !options_.opaque);
        WriteFile(path, spec, OIIO::TypeDesc::UINT16, samples.data());
    }
}

}  // namespace

std::unique_ptr<Writer> CreateImages(const std::string& path, const WriteOptions& options,
                                     const Info& source) {
    PrepareImageLibrary();
    return std::make_unique<ImageWriter>(path, options, source);
}

}  // namespace veltrane::media
