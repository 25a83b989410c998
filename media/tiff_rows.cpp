#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

#include "media/fail.h"
#include "media/share_work.h"
#include "media/tiff_file.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

/// The texts that an image library knows, in its order.
struct Text {
    std::uint32_t tag;
    const char* name;
};

constexpr std::array kTexts{Text{TIFFTAG_MAKE, "Make"},
                            Text{TIFFTAG_MODEL, "Model"},
                            Text{TIFFTAG_ARTIST, "Artist"},
                            Text{TIFFTAG_COPYRIGHT, "Copyright"},
                            Text{TIFFTAG_DATETIME, "DateTime"},
                            Text{TIFFTAG_DOCUMENTNAME, "DocumentName"},
                            Text{TIFFTAG_HOSTCOMPUTER, "HostComputer"}};

/// Tags besides those whose values the library keeps by name: texts, profile, and the directory
/// for Exif, which is looked into by itself.
constexpr std::array<std::uint32_t, 12> kKnownTags{
    TIFFTAG_IMAGEDESCRIPTION, TIFFTAG_MAKE,       TIFFTAG_MODEL,        TIFFTAG_ARTIST,
    TIFFTAG_COPYRIGHT,        TIFFTAG_DATETIME,   TIFFTAG_DOCUMENTNAME, TIFFTAG_HOSTCOMPUTER,
    TIFFTAG_SOFTWARE,         TIFFTAG_ICCPROFILE, TIFFTAG_EXIFIFD,      TIFFTAG_PREDICTOR};

/// Of Exif, what holds for the file alone and not for a keyed copy.
constexpr std::array<std::uint32_t, 3> kStaleExif{EXIFTAG_COLORSPACE, EXIFTAG_PIXELXDIMENSION,
                                                  EXIFTAG_PIXELYDIMENSION};

bool IsZip(std::uint32_t compression) {
    return compression == COMPRESSION_ADOBE_DEFLATE || compression == COMPRESSION_DEFLATE;
}

bool IsLossless(std::uint32_t compression) {
    return compression == COMPRESSION_NONE || compression == COMPRESSION_LZW ||
           compression == COMPRESSION_PACKBITS || IsZip(compression);
}

std::uint16_t InOrder(std::uint16_t sample, bool swapped) {
    return swapped ? static_cast<std::uint16_t>(sample << 8 | sample >> 8) : sample;
}

/// Turns differences from the pixel to the left into samples.
template <typename Sample>
void AddUp(Sample* row, std::size_t samples, std::size_t channels) {
    for (std::size_t i = channels; i < samples; ++i) {
        row[i] = static_cast<Sample>(row[i] + row[i - channels]);
    }
}

}  // namespace

bool TiffFile::IsPlain() const {
    TIFF* file = file_.get();
    const std::uint32_t samples = Number(TIFFTAG_SAMPLESPERPIXEL, 1);
    const std::uint32_t bits = Number(TIFFTAG_BITSPERSAMPLE, 1);
    const std::uint32_t compression = Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const std::uint32_t photometric = Number(
        TIFFTAG_PHOTOMETRIC, samples < 3 ? std::uint32_t{PHOTOMETRIC_MINISBLACK} : PHOTOMETRIC_RGB);
    if (TIFFIsTiled(file) || (bits != 8 && bits != 16) || !IsLossless(compression)) return false;
    if (Number(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) != SAMPLEFORMAT_UINT) return false;
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_RGB) return false;
    const std::uint32_t planar = Number(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (samples > 1 && planar != PLANARCONFIG_CONTIG) return false;
    const std::uint32_t predictor =
        compression == COMPRESSION_NONE ? 0 : Number(TIFFTAG_PREDICTOR, PREDICTOR_NONE);
    return predictor <= PREDICTOR_HORIZONTAL;
}

bool TiffFile::HoldsOnly(const std::uint32_t* tags, int count) const {
    const int held = TIFFGetTagListCount(file_.get());
    for (int i = 0; i < held; ++i) {
        const std::uint32_t tag = TIFFGetTagListEntry(file_.get(), i);
        if (std::find(tags, tags + count, tag) == tags + count) return false;
    }
    return true;
}

bool TiffFile::HasForeignExif() {
    TIFF* file = file_.get();
    toff_t place = 0;
    if (!TIFFGetField(file, TIFFTAG_EXIFIFD, &place)) return false;
    const bool foreign = TIFFReadEXIFDirectory(file, place) &&
                         !HoldsOnly(kStaleExif.data(), static_cast<int>(kStaleExif.size()));
    if (!TIFFSetDirectory(file, 0)) Fail(path_, "is damaged: its directory cannot be read");
    return foreign;
}

bool TiffFile::HoldsPackedMetadata() {
    TIFF* file = file_.get();
    float x = 0, y = 0;
    const bool moved = TIFFGetField(file, TIFFTAG_XPOSITION, &x) == 1 ||
                       TIFFGetField(file, TIFFTAG_YPOSITION, &y) == 1;
    if (moved || !HoldsOnly(kKnownTags.data(), static_cast<int>(kKnownTags.size()))) return true;
    const char* text = nullptr;
    TIFFGetField(file, TIFFTAG_IMAGEDESCRIPTION, &text);
    const std::string_view description = text ? text : "";
    // By these the library marks attributes of its own.
    for (const char* mark : {"oiio:", "SHA-1="}) {
        if (description.find(mark) != description.npos) return true;
    }
    return HasForeignExif();
}

void TiffFile::AddTexts(OIIO::ParamValueList& attributes) const {
    constexpr std::size_t kMost = 65536;  // that the library reads
    for (const Text& known : kTexts) {
        const char* text = nullptr;
        if (!TIFFGetField(file_.get(), known.tag, &text) || !text || !*text) continue;
        SetAttribute(attributes, known.name, std::string(text).substr(0, kMost));
    }
}

void TiffFile::AddResolution(OIIO::ParamValueList& attributes) const {
    TIFF* file = file_.get();
    float x = 0, y = 0;
    if (TIFFGetField(file, TIFFTAG_XRESOLUTION, &x)) SetAttribute(attributes, "XResolution", x);
    if (TIFFGetField(file, TIFFTAG_YRESOLUTION, &y)) SetAttribute(attributes, "YResolution", y);
    constexpr const char* kUnits[] = {"none", "in", "cm"};
    const std::uint32_t unit = Number(TIFFTAG_RESOLUTIONUNIT, 0);
    if (unit >= RESUNIT_NONE && unit <= RESUNIT_CENTIMETER) {
        SetAttribute(attributes, "ResolutionUnit", kUnits[unit - RESUNIT_NONE]);
    }
}

ImageLayout TiffFile::Description() {
    TIFF* file = file_.get();
    const std::uint32_t bits = Number(TIFFTAG_BITSPERSAMPLE, 1);
    ImageLayout layout = PlainLayout(static_cast<int>(Number(TIFFTAG_IMAGEWIDTH, 0)),
                                     static_cast<int>(Number(TIFFTAG_IMAGELENGTH, 0)),
                                     static_cast<int>(Number(TIFFTAG_SAMPLESPERPIXEL, 1)),
                                     bits == 16 ? OIIO::TypeDesc::UINT16 : OIIO::TypeDesc::UINT8);
    OIIO::ParamValueList& attributes = layout.attributes;
    const char* description = nullptr;
    if (TIFFGetField(file, TIFFTAG_IMAGEDESCRIPTION, &description) && *description) {
        SetAttribute(attributes, "ImageDescription", std::string(description).substr(0, 65536));
    }
    const std::uint32_t orientation = Number(TIFFTAG_ORIENTATION, 0);
    if (orientation > 0) {
        SetAttribute(attributes, "Orientation", static_cast<int>(orientation));
    }
    AddResolution(attributes);
    AddTexts(attributes);
    const float x = attributes.get_float("XResolution"), y = attributes.get_float("YResolution");
    if (x != 0 && y != 0) SetAttribute(attributes, "PixelAspectRatio", y / x);
    std::uint32_t length = 0;
    const void* profile = nullptr;
    if (TIFFGetField(file, TIFFTAG_ICCPROFILE, &length, &profile) && length > 0) {
        const OIIO::TypeDesc type(OIIO::TypeDesc::UINT8, static_cast<int>(length));
        attributes.add_or_replace(OIIO::ParamValue("ICCProfile", type, 1, profile), false);
    }
    return layout;
}

TiffFile::SampleKind TiffFile::Samples() const {
    const std::size_t channels = Number(TIFFTAG_SAMPLESPERPIXEL, 1);
    return {IsZip(Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE)),
            Number(TIFFTAG_BITSPERSAMPLE, 1) == 16,
            TIFFIsByteSwapped(file_.get()) != 0,
            Number(TIFFTAG_PREDICTOR, PREDICTOR_NONE) == PREDICTOR_HORIZONTAL,
            channels,
            channels * Number(TIFFTAG_IMAGEWIDTH, 0)};
}

/// What is zipped is done here, as the library does it for the other compressions.
bool TiffFile::ReadStrip(std::uint32_t strip, const SampleKind& kind, Bytes& stored, Bytes& rows) {
    {
        const std::lock_guard lock(reading_);
        if (!kind.zip) return Decodes(strip, rows);
        if (!ReadStored(strip, stored)) return false;
        rows.resize(ChunkSize(strip));
    }
    if (!Unzip(stored, rows.data(), rows.size())) return false;
    auto* shorts = reinterpret_cast<std::uint16_t*>(rows.data());
    if (kind.wide && kind.swapped) {
        for (std::size_t i = 0; i < rows.size() / 2; ++i) shorts[i] = InOrder(shorts[i], true);
    }
    const std::size_t count = rows.size() / (kind.wide ? 2 : 1) / kind.rowSamples;
    for (std::size_t y = 0; kind.differences && y < count; ++y) {
        kind.wide ? AddUp(shorts + y * kind.rowSamples, kind.rowSamples, kind.channels)
                  : AddUp(rows.data() + y * kind.rowSamples, kind.rowSamples, kind.channels);
    }
    return true;
}

void TiffFile::ReadRows(const Threads& threads, const TakeRows<std::uint8_t>& take) {
    const SampleKind kind = Samples();
    const int height = static_cast<int>(Number(TIFFTAG_IMAGELENGTH, 0));
    const int stripRows = static_cast<int>(StripRows());
    ShareWork(threads, (height - 1) / stripRows + 1, [&] {
        return [&, stored = Bytes(), rows = Bytes()](int strip) mutable {
            if (!ReadStrip(static_cast<std::uint32_t>(strip), kind, stored, rows)) {
                Fail(path_, "is damaged");
            }
            const int first = strip * stripRows;
            take(first, std::min(stripRows, height - first), rows.data());
        };
    });
}

}  // namespace veltrane::media
