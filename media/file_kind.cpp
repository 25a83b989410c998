#include "media/file_kind.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "media/media.h"

namespace veltrane::media {

std::string ImageFormatOf(const std::string& path) {
    using namespace std::string_view_literals;
    struct Signature {
        std::string_view bytes;
        const char* format;
    };
    static constexpr Signature kSignatures[] = {
        {"\x89PNG\r\n\x1a\n"sv, "png"},
        {"II*\0"sv, "tiff"},
        {"MM\0*"sv, "tiff"},
        {"II+\0"sv, "tiff"},
        {"MM\0+"sv, "tiff"},
        {"\x76\x2f\x31\x01"sv, "openexr"},
        {"SDPX"sv, "dpx"},
        {"XPDS"sv, "dpx"},
        {"\xff\xd8\xff"sv, "jpeg"},
    };
    char bytes[8] = {};
    std::ifstream(path, std::ios::binary).read(bytes, sizeof bytes);
    for (const Signature& signature : kSignatures) {
        if (std::string_view(bytes, sizeof bytes).starts_with(signature.bytes)) {
            return signature.format;
        }
    }
    return {};
}

std::string Extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 'a' - 'A') : c; });
    return extension;
}

std::string FormatsWithAlpha() {
    return "mov (ProRes 4444), mkv (FFV1), webm (VP9), png, tif and exr";
}

}  // namespace veltrane::media
