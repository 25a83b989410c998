#include "media/exr_metadata.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace veltrane::media {
namespace {

using Type = OIIO::TypeDesc;

struct Name {
    const char* exr;
    const char* library;
    Type type;  ///< that an EXR asks for
};

const Name kNames[] = {{"capDate", "DateTime", OIIO::TypeString},
                       {"comments", "ImageDescription", OIIO::TypeString},
                       {"owner", "Copyright", OIIO::TypeString},
                       {"pixelAspectRatio", "PixelAspectRatio", OIIO::TypeFloat},
                       {"xDensity", "XResolution", OIIO::TypeFloat},
                       {"expTime", "ExposureTime", OIIO::TypeFloat},
                       {"aperture", "FNumber", OIIO::TypeFloat},
                       {"timeCode", "smpte:TimeCode", OIIO::TypeTimeCode},
                       {"keyCode", "smpte:KeyCode", OIIO::TypeKeyCode},
                       {"worldToCamera", "worldtocamera", OIIO::TypeMatrix44},
                       {"worldToNDC", "worldtoNDC", OIIO::TypeMatrix44},
                       {"worldToScreen", "worldtoscreen", OIIO::TypeMatrix44}};

/// Attributes of the layout, which a writer sets itself.
constexpr std::string_view kOfLayout[] = {"channels",
                                          "compression",
                                          "dataWindow",
                                          "displayWindow",
                                          "envmap",
                                          "lineOrder",
                                          "tiles",
                                          "type",
                                          "version",
                                          "chunkCount",
                                          "YResolution",
                                          "tiledesc",
                                          "name",
                                          "maxSamplesPerPixel",
                                          "dwaCompressionLevel",
                                          "planarconfig"};

struct PlainType {
    exr_attribute_type_t exr;
    Type library;
};

/// Attributes that lie in memory alike. Reading takes the first of an EXR's type; writing also
/// takes arrays for vectors and matrices.
const PlainType kPlainTypes[] = {{EXR_ATTR_TIMECODE, OIIO::TypeTimeCode},
                                 {EXR_ATTR_KEYCODE, OIIO::TypeKeyCode},
                                 {EXR_ATTR_RATIONAL, OIIO::TypeRational},
                                 {EXR_ATTR_CHROMATICITIES, Type(Type::FLOAT, 8)},
                                 {EXR_ATTR_V2I, Type(Type::INT, Type::VEC2)},
                                 {EXR_ATTR_V2F, Type(Type::FLOAT, Type::VEC2)},
                                 {EXR_ATTR_V2D, Type(Type::DOUBLE, Type::VEC2)},
                                 {EXR_ATTR_V3I, Type(Type::INT, Type::VEC3, Type::VECTOR)},
                                 {EXR_ATTR_V3F, Type(Type::FLOAT, Type::VEC3, Type::VECTOR)},
                                 {EXR_ATTR_V3D, Type(Type::DOUBLE, Type::VEC3, Type::VECTOR)},
                                 {EXR_ATTR_M33F, Type(Type::FLOAT, Type::MATRIX33)},
                                 {EXR_ATTR_M33D, Type(Type::DOUBLE, Type::MATRIX33)},
                                 {EXR_ATTR_M44F, Type(Type::FLOAT, Type::MATRIX44)},
                                 {EXR_ATTR_M44D, Type(Type::DOUBLE, Type::MATRIX44)},
                                 {EXR_ATTR_BOX2I, Type(Type::INT, Type::VEC2, 2)},
                                 {EXR_ATTR_BOX2F, Type(Type::FLOAT, Type::VEC2, 2)},
                                 {EXR_ATTR_V2I, Type(Type::INT, 2)},
                                 {EXR_ATTR_V2F, Type(Type::FLOAT, 2)},
                                 {EXR_ATTR_V2D, Type(Type::DOUBLE, 2)},
                                 {EXR_ATTR_V3I, Type(Type::INT, 3)},
                                 {EXR_ATTR_V3F, Type(Type::FLOAT, 3)},
                                 {EXR_ATTR_V3D, Type(Type::DOUBLE, 3)},
                                 {EXR_ATTR_M33F, Type(Type::FLOAT, 9)},
                                 {EXR_ATTR_M33D, Type(Type::DOUBLE, 9)},
                                 {EXR_ATTR_M44F, Type(Type::FLOAT, 16)},
                                 {EXR_ATTR_M44D, Type(Type::DOUBLE, 16)}};

bool IsOfLayout(std::string_view name) {
    return std::any_of(std::begin(kOfLayout), std::end(kOfLayout), [&](std::string_view each) {
        return OIIO::Strutil::iequals({name.data(), name.size()}, {each.data(), each.size()});
    });
}

/// A camera's matrices keep their own names, which differ by capitals alone.
std::string LibraryName(const char* exr) {
    const auto* const found =
        std::find_if(std::begin(kNames), std::end(kNames), [&](const Name& name) {
            return std::string_view(name.exr) == exr && name.type != OIIO::TypeMatrix44;
        });
    return found == std::end(kNames) ? exr : found->library;
}

void ReadTexts(const exr_attr_string_vector_t& texts, const std::string& name,
               OIIO::ParamValueList& attributes) {
    std::vector<OIIO::ustring> all;
    for (int i = 0; i < texts.n_strings; ++i) all.emplace_back(texts.strings[i].str);
    if (all.empty()) return;
    const Type type(Type::STRING, static_cast<int>(all.size()));
    attributes.push_back(OIIO::ParamValue(name, type, 1, all.data()));
}

void ReadPlain(const exr_attribute_t& from, const std::string& name,
               OIIO::ParamValueList& attributes) {
    const auto* const type =
        std::find_if(std::begin(kPlainTypes), std::end(kPlainTypes),
                     [&](const PlainType& plain) { return plain.exr == from.type; });
    if (type == std::end(kPlainTypes)) return;
    attributes.push_back(OIIO::ParamValue(name, type->library, 1, from.rawptr));
}

/// What is of no type known here is left out, and so are previews.
void Read(const exr_attribute_t& from, OIIO::ParamValueList& attributes) {
    const std::string name = LibraryName(from.name);
    switch (from.type) {
        case EXR_ATTR_INT:
            return attributes.push_back(OIIO::ParamValue(name, from.i));
        case EXR_ATTR_FLOAT:
            return attributes.push_back(OIIO::ParamValue(name, from.f));
        case EXR_ATTR_DOUBLE:
            return attributes.push_back(OIIO::ParamValue(name, Type::DOUBLE, 1, &from.d));
        case EXR_ATTR_STRING:
            return attributes.push_back(OIIO::ParamValue(name, from.string->str));
        case EXR_ATTR_FLOAT_VECTOR:
            if (from.floatvector->length < 1) return;
            return attributes.push_back(OIIO::ParamValue(
                name, Type(Type::FLOAT, from.floatvector->length), 1, from.floatvector->arr));
        case EXR_ATTR_STRING_VECTOR:
            return ReadTexts(*from.stringvector, name, attributes);
        default:
            return ReadPlain(from, name, attributes);
    }
}

bool LiesAlike(Type type, const PlainType& plain, const std::string& name) {
    if (plain.exr == EXR_ATTR_CHROMATICITIES && name != "chromaticities") return false;
    const Type& other = plain.library;
    const bool special = other.vecsemantics >= Type::TIMECODE;
    if (special || type.vecsemantics >= Type::TIMECODE) return type == other;
    const auto base = type.basetype == Type::UINT ? Type::INT : Type::BASETYPE(type.basetype);
    return base == other.basetype && type.aggregate == other.aggregate &&
           type.arraylen == other.arraylen;
}

void WriteTexts(const OIIO::ParamValue& from, const std::string& name, exr_context_t to) {
    const auto* texts = static_cast<const OIIO::ustring*>(from.data());
    std::vector<const char*> all;
    for (std::size_t i = 0; i < from.type().basevalues(); ++i) all.push_back(texts[i].c_str());
    exr_attr_set_string_vector(to, 0, name.c_str(), static_cast<std::int32_t>(all.size()),
                               all.data());
}

void WriteArray(const OIIO::ParamValue& from, const std::string& name, exr_context_t to) {
    const Type type = from.type();
    const auto* const plain =
        std::find_if(std::begin(kPlainTypes), std::end(kPlainTypes),
                     [&](const PlainType& each) { return LiesAlike(type, each, name); });
    if (plain != std::end(kPlainTypes)) {
        exr_attribute_t* copy = nullptr;
        if (exr_attr_declare(to, 0, name.c_str(), plain->exr, &copy) != EXR_ERR_SUCCESS) return;
        std::memcpy(copy->rawptr, from.data(), plain->library.size());
    } else if (type.basetype == Type::STRING) {
        WriteTexts(from, name, to);
    } else if (type.basetype == Type::FLOAT && type.arraylen > 0) {
        exr_attr_set_float_vector(to, 0, name.c_str(), static_cast<int>(type.basevalues()),
                                  static_cast<const float*>(from.data()));
    }
}

void Write(const OIIO::ParamValue& from, const std::string& name, exr_context_t to) {
    const Type type = from.type();
    if (type.arraylen != 0 || type.aggregate != Type::SCALAR) return WriteArray(from, name, to);
    switch (type.basetype) {
        case Type::INT:
        case Type::UINT:
        case Type::INT16:
        case Type::UINT16:
            exr_attr_set_int(to, 0, name.c_str(), from.get_int());
            return;
        case Type::FLOAT:
        case Type::HALF:
            exr_attr_set_float(to, 0, name.c_str(), from.get_float());
            return;
        case Type::DOUBLE:
            exr_attr_set_double(to, 0, name.c_str(), *static_cast<const double*>(from.data()));
            return;
        case Type::STRING:
            exr_attr_set_string(to, 0, name.c_str(), from.get_ustring().c_str());
            return;
        default:
            return;
    }
}

/// False where it is what every EXR has already.
bool IsRequired(const OIIO::ParamValue& from, const std::string& name, exr_context_t to) {
    if (name == "pixelAspectRatio") {
        exr_set_pixel_aspect_ratio(to, 0, from.get_float());
    } else if (name == "screenWindowWidth") {
        exr_set_screen_window_width(to, 0, from.get_float());
    } else if (name == "screenWindowCenter" && from.type().size() == sizeof(exr_attr_v2f_t)) {
        exr_set_screen_window_center(to, 0, static_cast<const exr_attr_v2f_t*>(from.data()));
    } else {
        return false;
    }
    return true;
}

void Add(const OIIO::ParamValue& from, exr_context_t to) {
    std::string name = from.name().string();
    if (IsOfLayout(name)) return;
    for (const Name& each : kNames) {
        if (!OIIO::Strutil::iequals(name, each.library) &&
            !OIIO::Strutil::iequals(name, each.exr)) {
            continue;
        }
        name = each.exr;
        const bool counts = each.type == OIIO::TypeFloat && from.type() == OIIO::TypeInt;
        if (counts) return Write(OIIO::ParamValue(name, from.get_float()), name, to);
        if (!each.type.equivalent(from.type())) return;
    }
    if (!IsRequired(from, name, to)) Write(from, name, to);
}

/// What an EXR has in inches and without a vertical density.
void FitDensity(OIIO::ParamValueList& attributes) {
    const float x = attributes.get_float("XResolution"), y = attributes.get_float("YResolution");
    if (!(x > 0 && y > 0)) return;
    constexpr float kInch = 2.54f;
    if (attributes.get_float("PixelAspectRatio") == 0) {
        attributes.attribute("PixelAspectRatio", x / y);
    }
    if (attributes.get_string("ResolutionUnit") == "cm") {
        attributes.attribute("XResolution", x / kInch);
    }
}

}  // namespace

OIIO::ParamValueList ExrAttributes(exr_const_context_t file) {
    OIIO::ParamValueList attributes;
    std::int32_t count = 0;
    exr_get_attribute_count(file, 0, &count);
    for (int i = 0; i < count; ++i) {
        const exr_attribute_t* attribute = nullptr;
        exr_get_attribute_by_index(file, 0, EXR_ATTR_LIST_SORTED_ORDER, i, &attribute);
        if (attribute && !IsOfLayout(attribute->name)) Read(*attribute, attributes);
    }
    const float density = attributes.get_float("XResolution");
    if (density != 0) {
        const float aspect = attributes.get_float("PixelAspectRatio");
        attributes.attribute("YResolution", density * (aspect != 0 ? aspect : 1));
        attributes.attribute("ResolutionUnit", "in");
    }
    return attributes;
}

void AddExrAttributes(const OIIO::ParamValueList& attributes, exr_context_t file) {
    OIIO::ParamValueList fitted = attributes;
    FitDensity(fitted);
    for (const OIIO::ParamValue& attribute : fitted) Add(attribute, file);
}

}  // namespace veltrane::media
