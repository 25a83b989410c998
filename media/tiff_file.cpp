#include "media/tiff_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "media/fail.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

constexpr const char* kCut = "breaks off before its end";
constexpr const char* kDamaged = "is damaged";

struct ColourKind {
    std::uint32_t photometric;
    const char* name;
};

constexpr std::array kOtherColours{ColourKind{PHOTOMETRIC_MASK, "a mask"},
                                   ColourKind{PHOTOMETRIC_SEPARATED, "inks (CMYK)"},
                                   ColourKind{PHOTOMETRIC_YCBCR, "luma and chroma (YCbCr)"},
                                   ColourKind{PHOTOMETRIC_CIELAB, "L*a*b* colour"},
                                   ColourKind{PHOTOMETRIC_ICCLAB, "L*a*b* colour"},
                                   ColourKind{PHOTOMETRIC_ITULAB, "L*a*b* colour"},
                                   ColourKind{PHOTOMETRIC_LOGL, "logarithmic luminance"},
                                   ColourKind{PHOTOMETRIC_LOGLUV, "logarithmic luminance"},
                                   ColourKind{PHOTOMETRIC_CFA, "a sensor's raw data"}};

[[noreturn]] void RefuseColour(const std::string& path, std::uint32_t photometric) {
    std::string name = "colour of the unknown kind " + std::to_string(photometric);
    for (const ColourKind& kind : kOtherColours) {
        if (kind.photometric == photometric) name = kind.name;
    }
    Fail(path, "holds " + name + ", which cannot be keyed; convert it to RGB");
}

bool IsZip(std::uint32_t compression) {
    return compression == COMPRESSION_ADOBE_DEFLATE || compression == COMPRESSION_DEFLATE;
}

/// The most bytes that one compressed byte can stand for; 0 where there is no bound worth a check.
std::uint64_t MostExpansion(std::uint32_t compression) {
    switch (compression) {
        case COMPRESSION_NONE:
            return 1;
        case COMPRESSION_PACKBITS:
            return 64;  // two bytes are a run of 128
        case COMPRESSION_LZW:
            return 2731;  // twelve bits are a string of up to 4096
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:
            return kMostZlibExpansion;
        case COMPRESSION_JPEG:
            return 1536;  // one bit is three planes of 64 samples
        default:
            return 0;
    }
}

}  // namespace

int TiffFile::KeepError(TIFF*, void* self, const char*, const char*, va_list) {
    static_cast<TiffFile*>(self)->complained_ = true;
    return 1;
}

int TiffFile::KeepWarning(TIFF*, void* self, const char*, const char*, va_list) {
    static_cast<TiffFile*>(self)->warned_ = true;
    return 1;
}

TiffFile::TiffFile(const std::string& path) : path_(path) {
    std::error_code error;
    fileSize_ = std::filesystem::file_size(path, error);
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
        TIFFOpenOptionsAlloc(), &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &KeepError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &KeepWarning, this);
    // Not mapped, as another program may shorten the file meanwhile; a single strip stays whole.
    file_.reset(TIFFOpenExt(path.c_str(), "rmc", options.get()));
    if (!file_) Fail(path, "is damaged: its directory cannot be read");
    if (Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG) {
        TIFFSetField(file_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
}

std::uint32_t TiffFile::Number(std::uint32_t tag, std::uint32_t otherwise) const {
    if (tag == TIFFTAG_IMAGEWIDTH || tag == TIFFTAG_IMAGELENGTH || tag == TIFFTAG_ROWSPERSTRIP) {
        std::uint32_t number = 0;
        return TIFFGetField(file_.get(), tag, &number) ? number : otherwise;
    }
    std::uint16_t number = 0;
    return TIFFGetField(file_.get(), tag, &number) ? number : otherwise;
}

void TiffFile::CheckSamples() const {
    const std::uint32_t bits = Number(TIFFTAG_BITSPERSAMPLE, 1);
    const std::uint32_t kind = Number(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const bool unsignedKind = kind == SAMPLEFORMAT_UINT || kind == SAMPLEFORMAT_VOID;
    if (!unsignedKind && kind != SAMPLEFORMAT_IEEEFP) {
        Fail(path_, kind == SAMPLEFORMAT_INT ? "holds signed samples, which have no known black"
                                             : "holds samples that are no plain numbers");
    }
    constexpr std::array<std::uint32_t, 8> kIntegers{1, 2, 4, 8, 10, 12, 16, 32};
    constexpr std::array<std::uint32_t, 3> kFloats{16, 32, 64};
    const bool known = unsignedKind
                           ? std::find(kIntegers.begin(), kIntegers.end(), bits) != kIntegers.end()
                           : std::find(kFloats.begin(), kFloats.end(), bits) != kFloats.end();
    if (known) return;
    Fail(path_, "holds samples of " + std::to_string(bits) +
                    " bits; these can be read: 1, 2, 4, 8, 10, 12, 16 and 32 bits, and floats of "
                    "16, 32 and 64");
}

/// What the image library would read wrongly or not at all.
void TiffFile::CheckOrder() const {
    if (Number(TIFFTAG_FILLORDER, FILLORDER_MSB2LSB) != FILLORDER_MSB2LSB) {
        Fail(path_, "stores the bits of each byte in reverse order, which cannot be read");
    }
    const std::uint32_t bits = Number(TIFFTAG_BITSPERSAMPLE, 1);
    const std::uint32_t planar = Number(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (planar == PLANARCONFIG_SEPARATE && bits % 8 != 0) {
        Fail(path_,
             "stores samples of " + std::to_string(bits) + " bits in planes, which cannot be read");
    }
}

/// Extra samples whose meaning is not given are no alpha.
void TiffFile::FindAlpha(int colours, TiffLayout& layout) const {
    const int samples = static_cast<int>(Number(TIFFTAG_SAMPLESPERPIXEL, 1));
    std::uint16_t count = 0;
    const std::uint16_t* meanings = nullptr;
    TIFFGetField(file_.get(), TIFFTAG_EXTRASAMPLES, &count, &meanings);
    if (samples < colours || (count > 0 && samples != colours + count)) {
        Fail(path_, "holds " + std::to_string(samples) + " samples a pixel, of which " +
                        std::to_string(count) + " are extra; its kind has " +
                        std::to_string(colours) + " besides those");
    }
    for (int i = 0; i < count && layout.alpha < 0; ++i) {
        if (meanings[i] == EXTRASAMPLE_UNSPECIFIED) continue;
        layout.alpha = colours + i;
        layout.premultiplied = meanings[i] == EXTRASAMPLE_ASSOCALPHA;
    }
}

TiffLayout TiffFile::Layout() const {
    const std::uint32_t samples = Number(TIFFTAG_SAMPLESPERPIXEL, 1);
    const std::uint32_t photometric = Number(
        TIFFTAG_PHOTOMETRIC, samples < 3 ? std::uint32_t{PHOTOMETRIC_MINISBLACK} : PHOTOMETRIC_RGB);
    const bool jpeg = Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG;
    const bool isFloat = Number(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == SAMPLEFORMAT_IEEEFP;
    const bool rgb = photometric == PHOTOMETRIC_RGB || (photometric == PHOTOMETRIC_YCBCR && jpeg);
    const bool grey = photometric == PHOTOMETRIC_MINISBLACK ||
                      photometric == PHOTOMETRIC_MINISWHITE || photometric == PHOTOMETRIC_PALETTE;
    if (!rgb && !grey) RefuseColour(path_, photometric);
    CheckSamples();
    CheckOrder();
    TiffLayout layout;
    layout.bits = static_cast<int>(Number(TIFFTAG_BITSPERSAMPLE, 1));
    layout.grey = grey && photometric != PHOTOMETRIC_PALETTE;
    layout.whiteIsZero = photometric == PHOTOMETRIC_MINISWHITE;
    FindAlpha(rgb ? 3 : 1, layout);
    if (jpeg && samples != 3) Fail(path_, "holds JPEG data that is not RGB");
    const bool plain = photometric == PHOTOMETRIC_MINISBLACK || rgb;
    if (!plain && (samples != 1 || isFloat)) {
        Fail(path_, layout.whiteIsZero
                        ? "holds grey whose 0 is white with floats or further samples"
                        : "holds a palette's colours with floats or further samples");
    }
    if (photometric == PHOTOMETRIC_PALETTE && layout.bits > 8) {
        Fail(path_, "holds a palette of more than 8 bits");
    }
    return layout;
}

std::uint32_t TiffFile::ChunkCount() const {
    TIFF* file = file_.get();
    return TIFFIsTiled(file) ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
}

std::uint32_t TiffFile::StripRows() const {
    const std::uint32_t height = Number(TIFFTAG_IMAGELENGTH, 0);
    return std::clamp(Number(TIFFTAG_ROWSPERSTRIP, height), 1u, height);
}

/// The bytes that a chunk holds once decompressed.
std::uint64_t TiffFile::ChunkSize(std::uint32_t chunk) const {
    TIFF* file = file_.get();
    if (TIFFIsTiled(file)) return TIFFTileSize64(file);
    const std::uint32_t height = Number(TIFFTAG_IMAGELENGTH, 0), rows = StripRows();
    const std::uint32_t stripsAPlane = (height - 1) / rows + 1;
    const std::uint32_t first = chunk % stripsAPlane * rows;
    return TIFFVStripSize64(file, std::min(rows, height - first));
}

void TiffFile::CheckExtents() {
    TIFF* file = file_.get();
    if (Number(TIFFTAG_IMAGEWIDTH, 0) == 0 || Number(TIFFTAG_IMAGELENGTH, 0) == 0) {
        Fail(path_, kDamaged);
    }
    const std::uint64_t most = MostExpansion(Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE));
    const std::uint32_t count = ChunkCount();
    if (count == 0 || count > fileSize_) Fail(path_, kDamaged);
    for (std::uint32_t chunk = 0; chunk < count; ++chunk) {
        const std::uint64_t begin = TIFFGetStrileOffset(file, chunk);
        const std::uint64_t stored = TIFFGetStrileByteCount(file, chunk);
        if (stored == 0 || begin > fileSize_ || stored > fileSize_ - begin) Fail(path_, kCut);
        const std::uint64_t size = ChunkSize(chunk);
        if (size == 0) Fail(path_, kDamaged);
        if (most > 0 && (size - 1) / most >= stored) Fail(path_, most == 1 ? kCut : kDamaged);
    }
}

bool TiffFile::ReadStored(std::uint32_t chunk, Bytes& stored) const {
    TIFF* file = file_.get();
    stored.resize(TIFFGetStrileByteCount(file, chunk));
    const auto size = static_cast<tmsize_t>(stored.size());
    return size == (TIFFIsTiled(file) ? TIFFReadRawTile(file, chunk, stored.data(), size)
                                      : TIFFReadRawStrip(file, chunk, stored.data(), size));
}

bool TiffFile::Decodes(std::uint32_t chunk, Bytes& decoded) {
    TIFF* file = file_.get();
    decoded.resize(ChunkSize(chunk));
    const auto size = static_cast<tmsize_t>(decoded.size());
    complained_ = warned_ = false;
    const auto read = TIFFIsTiled(file) ? TIFFReadEncodedTile(file, chunk, decoded.data(), size)
                                        : TIFFReadEncodedStrip(file, chunk, decoded.data(), size);
    // The JPEG library goes on over damage and only warns of it.
    const bool jpeg = Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG;
    return read == size && !complained_ && !(jpeg && warned_);
}

bool TiffFile::IsWhole(std::uint32_t chunk, Bytes& stored, Bytes& decoded) {
    const bool zip = IsZip(Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE));
    if (!zip) return Decodes(chunk, decoded);
    return ReadStored(chunk, stored) && IsWholeZlib(stored, ChunkSize(chunk));
}

void TiffFile::CheckData() {
    if (Number(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE) return;
    Bytes stored, decoded;
    const std::uint32_t count = ChunkCount();
    for (std::uint32_t chunk = 0; chunk < count; ++chunk) {
        if (!IsWhole(chunk, stored, decoded)) Fail(path_, kDamaged);
    }
}

}  // namespace veltrane::media
