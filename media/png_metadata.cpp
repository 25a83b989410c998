#include <OpenImageIO/strutil.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <iterator>
#include <new>
#include <string_view>

#include "media/fail.h"
#include "media/png_file.h"
#include "media/png_reader.h"

namespace veltrane::media {
namespace {

/// A PNG's keywords of texts that have a name of their own elsewhere.
struct Keyword {
    const char* png;
    const char* name;
};

constexpr Keyword kKeywords[] = {
    {"Description", "ImageDescription"}, {"Author", "Artist"}, {"Title", "DocumentName"}};

const char* NameFor(const char* keyword) {
    for (const Keyword& known : kKeywords) {
        if (OIIO::Strutil::iequals(keyword, known.png)) return known.name;
    }
    return keyword;
}

const char* KeywordFor(const char* name) {
    for (const Keyword& known : kKeywords) {
        if (OIIO::Strutil::iequals(name, known.name)) return known.png;
    }
    if (OIIO::Strutil::iequals(name, "name")) return "Title";
    if (OIIO::Strutil::iequals(name, "description")) return "Description";
    return name;
}

bool IsPacked(const char* keyword) {
    return OIIO::Strutil::iequals(keyword, "XML:com.adobe.xmp") ||
           OIIO::Strutil::iequals(keyword, "Raw profile type exif");
}

std::string DateText(const png_time& time) {
    char text[40];
    std::snprintf(text, sizeof text, "%4d:%02d:%02d %02d:%02d:%02d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    return text;
}

void ReadProfile(png_structp png, png_infop info, OIIO::ParamValueList& attributes) {
    png_charp name = nullptr;
    png_bytep data = nullptr;
    png_uint_32 length = 0;
    int compression = 0;
    if (!png_get_iCCP(png, info, &name, &compression, &data, &length) || length == 0) return;
    const OIIO::TypeDesc type(OIIO::TypeDesc::UINT8, static_cast<int>(length));
    attributes.add_or_replace(OIIO::ParamValue("ICCProfile", type, 1, data), false);
}

void ReadResolution(png_structp png, png_infop info, OIIO::ParamValueList& attributes) {
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &x, &y, &unit)) {
        const bool metres = unit == PNG_RESOLUTION_METER;
        const auto scale = metres ? static_cast<float>(2.54 / 100) : 1.0f;
        SetAttribute(attributes, "ResolutionUnit", metres ? "inch" : "none");
        SetAttribute(attributes, "XResolution", static_cast<float>(x) * scale);
        SetAttribute(attributes, "YResolution", static_cast<float>(y) * scale);
    }
    const float aspect = png_get_pixel_aspect_ratio(png, info);
    if (aspect != 0 && aspect != 1) SetAttribute(attributes, "PixelAspectRatio", aspect);
}

}  // namespace

ImageLayout PngReader::Layout() const {
    const auto type = bits_ == 16 ? OIIO::TypeDesc::UINT16 : OIIO::TypeDesc::UINT8;
    ImageLayout layout = PlainLayout(static_cast<int>(png_get_image_width(png_, info_)),
                                     static_cast<int>(png_get_image_height(png_, info_)),
                                     png_get_channels(png_, info_), type);
    layout.x = png_get_x_offset_pixels(png_, info_);
    layout.y = png_get_y_offset_pixels(png_, info_);
    ReadProfile(png_, info_, layout.attributes);
    png_timep time = nullptr;
    if (png_get_tIME(png_, info_, &time)) {
        SetAttribute(layout.attributes, "DateTime", DateText(*time));
    }
    png_textp texts = nullptr;
    const int count = png_get_text(png_, info_, &texts, nullptr);
    for (int i = 0; i < count; ++i) {
        const char* text = texts[i].text ? texts[i].text : "";
        SetAttribute(layout.attributes, NameFor(texts[i].key), text);
    }
    ReadResolution(png_, info_, layout.attributes);
    return layout;
}

bool PngReader::HoldsPackedMetadata() const {
    png_textp texts = nullptr;
    const int count = png_get_text(png_, info_, &texts, nullptr);
    for (int i = 0; i < count; ++i) {
        if (IsPacked(texts[i].key)) return true;
    }
    return png_get_valid(png_, info_, PNG_INFO_eXIf) != 0;
}

namespace {

/// Writes what stands before a PNG's pixels to memory. The library leaves its functions by a jump,
/// so the one that calls them holds nothing to be destroyed.
class MetadataWriter {
public:
    explicit MetadataWriter(const ImageLayout& layout) : layout_(layout) {
        const auto ignore = [](png_structp, const char*) {};
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, &Leave, ignore);
        info_ = png_ ? png_create_info_struct(png_) : nullptr;
        if (!info_) {
            png_destroy_write_struct(&png_, &info_);
            throw std::bad_alloc();
        }
        FindTexts();
    }
    ~MetadataWriter() { png_destroy_write_struct(&png_, &info_); }
    MetadataWriter(const MetadataWriter&) = delete;
    MetadataWriter& operator=(const MetadataWriter&) = delete;

    /// False when the library refuses something.
    bool Write() {
        if (setjmp(png_jmpbuf(png_))) return false;
        png_set_write_fn(png_, this, &Take, nullptr);
        png_set_option(png_, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
        const int colour = layout_.channels() == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
        png_set_IHDR(png_, info_, 1, 1, 16, colour, PNG_INTERLACE_NONE, 0, 0);
        png_set_oFFs(png_, info_, layout_.x, layout_.y, PNG_OFFSET_PIXEL);
        SetColour();
        SetDate();
        SetResolution();
        png_set_text(png_, info_, texts_.data(), static_cast<int>(texts_.size()));
        png_write_info(png_, info_);
        return true;
    }

    const Bytes& bytes() const { return bytes_; }

private:
    [[noreturn]] static void Leave(png_structp png, const char*) { png_longjmp(png, 1); }
    static void Take(png_structp png, png_bytep bytes, std::size_t count) {
        auto* self = static_cast<MetadataWriter*>(png_get_io_ptr(png));
        self->bytes_.insert(self->bytes_.end(), bytes, bytes + count);
    }

    void FindTexts() {
        for (const OIIO::ParamValue& attribute : layout_.attributes) {
            const std::string_view name = attribute.name().c_str();
            if (attribute.type() != OIIO::TypeDesc::STRING || HasPlaceOfItsOwn(name)) continue;
            png_text text{};
            text.compression = PNG_TEXT_COMPRESSION_NONE;
            text.key = const_cast<char*>(KeywordFor(name.data()));
            text.text = const_cast<char*>(attribute.get_ustring().c_str());
            texts_.push_back(text);
        }
    }

    static bool HasPlaceOfItsOwn(std::string_view name) {
        constexpr const char* kNames[] = {"planarconfig", "compression", "ResolutionUnit",
                                          "XResolution",  "YResolution", "DateTime"};
        return std::any_of(std::begin(kNames), std::end(kNames), [&](const char* known) {
            return OIIO::Strutil::iequals({name.data(), name.size()}, known);
        });
    }

    void SetColour() {
        const bool linear = layout_.attributes.get_string("oiio:ColorSpace") == "Linear";
        if (linear) png_set_gAMA(png_, info_, 1.0);
        if (!linear) png_set_sRGB_gAMA_and_cHRM(png_, info_, PNG_sRGB_INTENT_ABSOLUTE);
        const auto profile = layout_.attributes.find("ICCProfile", OIIO::TypeDesc::UNKNOWN, false);
        if (profile == layout_.attributes.cend() || profile->type().size() == 0) return;
        png_set_iCCP(png_, info_, "Embedded Profile", 0,
                     static_cast<png_const_bytep>(profile->data()),
                     static_cast<png_uint_32>(profile->type().size()));
    }

    void SetDate() {
        const auto date = layout_.attributes.find("DateTime", OIIO::TypeDesc::STRING, false);
        if (date == layout_.attributes.cend()) return;
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        if (!OIIO::Strutil::scan_datetime(date->get_ustring(), year, month, day, hour, minute,
                                          second)) {
            return;
        }
        const auto byte = [](int value) { return static_cast<png_byte>(value); };
        const png_time time{static_cast<png_uint_16>(year),
                            byte(month),
                            byte(day),
                            byte(hour),
                            byte(minute),
                            byte(second)};
        png_set_tIME(png_, info_, &time);
    }

    /// How many units of the layout's are in a metre; 0 where they are of no known length.
    float UnitsAMetre() const {
        const OIIO::string_view unit = layout_.attributes.get_string("ResolutionUnit");
        const auto is = [&](const char* name) { return OIIO::Strutil::iequals(unit, name); };
        if (is("meter") || is("m")) return 1;
        if (is("cm")) return 100;
        return is("inch") || is("in") ? static_cast<float>(100 / 2.54) : 0;
    }

    void SetResolution() {
        const OIIO::ParamValueList& attributes = layout_.attributes;
        float x = attributes.get_float("XResolution"), y = attributes.get_float("YResolution");
        const float aspect = attributes.get_float("PixelAspectRatio");
        if (x == 0 && y == 0 && aspect == 0 && attributes.get_string("ResolutionUnit").empty()) {
            return;
        }
        // Where a ratio is known, one resolution follows from the other.
        if (aspect != 0) (x != 0 ? y : x) = 0;
        const float ratio = aspect != 0 ? aspect : 1;
        if (x == 0) x = y == 0 ? 100 : y / ratio;
        if (y == 0) y = x * ratio;
        const float scale = UnitsAMetre();
        const float factor = scale > 0 ? scale : 1;
        png_set_pHYs(png_, info_, static_cast<png_uint_32>(x * factor),
                     static_cast<png_uint_32>(y * factor),
                     scale > 0 ? PNG_RESOLUTION_METER : PNG_RESOLUTION_UNKNOWN);
    }

    const ImageLayout& layout_;
    std::vector<png_text> texts_;
    Bytes bytes_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

}  // namespace

Bytes MetadataChunks(const std::string& path, const ImageLayout& layout) {
    MetadataWriter writer(layout);
    if (!writer.Write()) Fail(path, "cannot be encoded: its metadata fit no PNG");
    constexpr std::ptrdiff_t kSignatureAndHeader = 8 + 25;
    return {writer.bytes().begin() + kSignatureAndHeader, writer.bytes().end()};
}

}  // namespace veltrane::media
