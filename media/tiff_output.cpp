#include "media/tiff_output.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "imaging/convert/convert.h"
#include "media/fail.h"
#include "media/image_library.h"
#include "media/memory_tiff.h"
#include "media/share_work.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

constexpr int kStripRows = 32;
// Above, offsets of 32 bits may not reach the end of the file.
constexpr std::uint64_t kMostOfPlainTiff = std::uint64_t{4000} << 20;

bool Is(OIIO::string_view text, const char* name) {
    return OIIO::Strutil::iequals(text, name);
}

struct TextTag {
    const char* name;
    std::uint32_t tag;
};

constexpr TextTag kTexts[] = {{"Artist", TIFFTAG_ARTIST},
                              {"Copyright", TIFFTAG_COPYRIGHT},
                              {"DateTime", TIFFTAG_DATETIME},
                              {"DocumentName", TIFFTAG_DOCUMENTNAME},
                              {"HostComputer", TIFFTAG_HOSTCOMPUTER},
                              {"ImageDescription", TIFFTAG_IMAGEDESCRIPTION},
                              {"Make", TIFFTAG_MAKE},
                              {"Model", TIFFTAG_MODEL}};

/// True for what the image library keeps in formats within the format (Exif, XMP), or in tags that
/// nobody else knows. Other attributes have a tag of their own here, or no place in a TIFF at all.
bool IsForeign(const OIIO::ParamValue& attribute) {
    const OIIO::string_view name = attribute.name();
    for (const char* prefix : {"oiio:", "tiff:", "smpte:"}) {
        if (OIIO::Strutil::istarts_with(name, prefix)) return false;
    }
    constexpr const char* kForeign[] = {
        "ExposureTime", "FNumber", "Keywords",      "ImageHistory",  "description",   "host",
        "name",         "fovcot",  "textureformat", "worldtocamera", "worldtoscreen", "wrapmodes"};
    return name.find(':') != name.npos ||
           std::any_of(std::begin(kForeign), std::end(kForeign),
                       [&](const char* known) { return Is(name, known); });
}

class TagWriter {
public:
    TagWriter(MemoryTiff& file, const OIIO::ParamValueList& attributes)
        : file_(file), attributes_(attributes) {}

    void SetLayout(const ImageLayout& layout) {
        const bool alpha = layout.channels() == 4;
        file_.Set(TIFFTAG_BITSPERSAMPLE, 16);
        file_.Set(TIFFTAG_SAMPLESPERPIXEL, layout.channels());
        file_.Set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        file_.Set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        file_.Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        file_.Set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        const bool straight = attributes_.get_int("oiio:UnassociatedAlpha") != 0;
        const std::uint16_t kind = straight ? EXTRASAMPLE_UNASSALPHA : EXTRASAMPLE_ASSOCALPHA;
        if (alpha) file_.Set(TIFFTAG_EXTRASAMPLES, 1, &kind);
        const OIIO::string_view compression = attributes_.get_string("compression");
        file_.Set(TIFFTAG_COMPRESSION, compression == "none"  ? COMPRESSION_NONE
                                       : compression == "lzw" ? COMPRESSION_LZW
                                                              : COMPRESSION_ADOBE_DEFLATE);
        if (compression != "none") file_.Set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }

    void SetMetadata() {
        for (const OIIO::ParamValue& attribute : attributes_) {
            for (const TextTag& text : kTexts) {
                const bool holds = attribute.type() == OIIO::TypeDesc::STRING;
                if (holds && Is(attribute.name(), text.name)) {
                    file_.Set(text.tag, attribute.get_ustring().c_str());
                }
            }
        }
        const auto profile = attributes_.find("ICCProfile", OIIO::TypeDesc::UNKNOWN, false);
        if (profile != attributes_.cend() && profile->type().size() > 0) {
            file_.Set(TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile->type().size()),
                      profile->data());
        }
        SetResolution();
    }

private:
    /// A ratio of the pixel's sides takes precedence over one of the resolutions.
    void SetResolution() {
        const auto positive = [](float value) { return value > 0 ? value : 1.0f; };
        float x = positive(attributes_.get_float("XResolution", 1));
        float y = positive(attributes_.get_float("YResolution", 1));
        OIIO::string_view unit = attributes_.get_string("ResolutionUnit");
        const float aspect = attributes_.get_float("PixelAspectRatio", 1);
        const bool little = x < 1 || y < 1, other = aspect * x != y;
        if (little) {
            x = 1;
            unit = "none";
        }
        if (little || other) y = x * aspect;
        const bool given = attributes_.contains("XResolution") || little || other;
        if (given) file_.Set(TIFFTAG_XRESOLUTION, x);
        if (given || attributes_.contains("YResolution")) file_.Set(TIFFTAG_YRESOLUTION, y);
        if (Is(unit, "none")) file_.Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
        if (Is(unit, "cm")) file_.Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        if (Is(unit, "in") || Is(unit, "inch")) file_.Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    }

    MemoryTiff& file_;
    const OIIO::ParamValueList& attributes_;
};

void SetSize(MemoryTiff& file, int width, int height) {
    file.Set(TIFFTAG_IMAGEWIDTH, width);
    file.Set(TIFFTAG_IMAGELENGTH, height);
    file.Set(TIFFTAG_ROWSPERSTRIP, kStripRows);
}

/// Display-referred colour is said to be sRGB in the directory for Exif.
void AddColourSpace(MemoryTiff& file) {
    TIFF* tiff = file.get();
    std::uint64_t place = 0;
    file.Require(TIFFWriteDirectory(tiff) == 1);
    file.Require(TIFFCreateEXIFDirectory(tiff) == 0);
    file.Set(EXIFTAG_COLORSPACE, 1);
    file.Require(TIFFWriteCustomDirectory(tiff, &place) == 1);
    file.Require(TIFFSetDirectory(tiff, 0) == 1);
    file.Set(TIFFTAG_EXIFIFD, place);
}

/// A TIFF of a single pixel that has the layout's kind of samples and its metadata.
Bytes SinglePixel(const std::string& path, const ImageLayout& layout, bool big) {
    const std::uint16_t pixel[4] = {};
    ImageLayout single = layout;
    single.width = single.height = single.fullWidth = single.fullHeight = 1;
    if (big) SetAttribute(single.attributes, "tiff:bigtiff", 1);
    const OIIO::ParamValueList& attributes = layout.attributes;
    if (std::any_of(attributes.begin(), attributes.end(), IsForeign)) {
        return EncodeByLibrary(path, "tiff", single, OIIO::TypeDesc::UINT16, pixel);
    }
    MemoryTiff file(path, {}, big ? "w8" : "w");
    SetSize(file, 1, 1);
    TagWriter tags(file, attributes);
    tags.SetLayout(single);
    tags.SetMetadata();
    file.Require(TIFFWriteScanline(file.get(), const_cast<std::uint16_t*>(pixel), 0, 0) == 1);
    if (attributes.get_string("oiio:ColorSpace") == "sRGB") AddColourSpace(file);
    return file.Finish();
}

/// Rows as they stand in the file.
class Strips {
public:
    Strips(const ImageLayout& layout, const Pixels& pixels)
        : width_(layout.width),
          height_(layout.height),
          channels_(layout.channels()),
          pixels_(pixels) {}

    int count() const { return (height_ - 1) / kStripRows + 1; }

    std::size_t rowSamples() const { return std::size_t(width_) * channels_; }
    std::size_t channels() const { return static_cast<std::size_t>(channels_); }

    /// A strip's samples; their place is used again.
    void Read(int strip, Pixels& samples) const {
        const int first = strip * kStripRows, rows = std::min(kStripRows, height_ - first);
        samples.resize(rowSamples() * rows);
        for (int y = 0; y < rows; ++y) {
            const std::uint16_t* from = pixels_.data() + (std::size_t(first) + y) * width_ * 4;
            std::uint16_t* to = samples.data() + rowSamples() * y;
            channels_ == 4 ? toRgba_(from, to, width_) : StoreRgb(from, to);
        }
    }

private:
    void StoreRgb(const std::uint16_t* from, std::uint16_t* to) const {
        for (int x = 0; x < width_; ++x, from += 4, to += 3) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
        }
    }

    int width_;
    int height_;
    int channels_;
    const Pixels& pixels_;
    PixelWriter<std::uint16_t> toRgba_{{PixelOrder::kRgba}};
};

/// Compresses strips as differences from the pixel to the left, one after another.
class StripZipper {
public:
    explicit StripZipper(const Strips& strips) : strips_(strips) {}

    Bytes Zip(int strip) {
        strips_.Read(strip, samples_);
        differences_.resize(samples_.size());
        const std::size_t step = strips_.channels();
        for (std::size_t row = 0; row < samples_.size(); row += strips_.rowSamples()) {
            const std::uint16_t* from = samples_.data() + row;
            std::uint16_t* to = differences_.data() + row;
            std::copy(from, from + step, to);
            for (std::size_t i = step; i < strips_.rowSamples(); ++i) {
                to[i] = static_cast<std::uint16_t>(from[i] - from[i - step]);
            }
        }
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(differences_.data());
        const std::size_t size = differences_.size() * sizeof differences_[0];
        return step == 4 ? zipper_.ZipPixels(bytes, size) : zipper_.Zip(bytes, size);
    }

private:
    const Strips& strips_;
    Pixels samples_, differences_;
    Zipper zipper_;
};

void WriteZipped(MemoryTiff& file, const Strips& strips, const Threads& threads) {
    std::vector<Bytes> zipped(static_cast<std::size_t>(strips.count()));
    ShareWork(threads, strips.count(), [&] {
        return [&, zipper = StripZipper(strips)](int i) mutable {
            zipped[static_cast<std::size_t>(i)] = zipper.Zip(i);
        };
    });
    std::size_t size = 0;
    for (const Bytes& bytes : zipped) size += bytes.size();
    file.Expect(size);
    std::uint32_t strip = 0;
    for (Bytes& bytes : zipped) {
        const auto count = static_cast<tmsize_t>(bytes.size());
        file.Require(TIFFWriteRawStrip(file.get(), strip++, bytes.data(), count) == count);
        bytes = {};
    }
}

void WriteByTiffLibrary(MemoryTiff& file, const Strips& strips) {
    Pixels samples;
    for (int i = 0; i < strips.count(); ++i) {
        strips.Read(i, samples);
        const auto strip = static_cast<std::uint32_t>(i);
        const auto count = static_cast<tmsize_t>(samples.size() * sizeof samples[0]);
        file.Require(TIFFWriteEncodedStrip(file.get(), strip, samples.data(), count) == count);
    }
}

}  // namespace

/// The TIFF library zips by zlib alone, which takes longer than all else together, and nobody but
/// the image library knows all of its metadata. So a TIFF of a single pixel is made with the
/// metadata, and the picture takes that pixel's place.
Bytes EncodeTiff(const std::string& path, const ImageLayout& layout, const Pixels& pixels,
                 const Threads& threads) {
    const std::uint64_t size = std::uint64_t{2} * layout.channels() * layout.width * layout.height;
    MemoryTiff file(path, SinglePixel(path, layout, size > kMostOfPlainTiff), "r+");
    SetSize(file, layout.width, layout.height);
    const Strips strips(layout, pixels);
    if (layout.attributes.get_string("compression") == "zip") {
        WriteZipped(file, strips, threads);
    } else {
        WriteByTiffLibrary(file, strips);
    }
    return file.Finish();
}

}  // namespace veltrane::media
