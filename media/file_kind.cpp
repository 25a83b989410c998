#include "media/file_kind.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "media/fail.h"

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
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return {};  // opening a pipe may never end
    char bytes[8] = {};
    std::ifstream(path, std::ios::binary).read(bytes, sizeof bytes);
    for (const Signature& signature : kSignatures) {
        if (std::string_view(bytes, sizeof bytes).starts_with(signature.bytes)) {
            return signature.format;
        }
    }
    return {};
}

void RequireFile(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) Fail(path, "no such file");
    if (fs::is_directory(status)) {
        Fail(path, "is a folder; name a sequence in it such as frame.%04d.png");
    }
    if (error) FailBySystem(path, "cannot be read", error.value());
    if (!fs::is_regular_file(status)) {
        Fail(path, "is a pipe or a device; frames can be read from files only");
    }
    if (::access(path.c_str(), R_OK) != 0) {
        FailBySystem(path, "cannot be read", errno);
    }
}

std::string Extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 'a' - 'A') : c; });
    return extension;
}

const char* CompressionName(Compression::Method method) {
    constexpr const char* kNames[] = {"auto", "none", "rle",  "zips", "zip",
                                      "piz",  "dwaa", "dwab", "lzw"};
    return kNames[static_cast<int>(method)];
}

std::string FormatsWithAlpha() {
    return "mov (ProRes 4444), mkv (FFV1), webm (VP9), png, tif and exr";
}

bool IsVideoName(const std::string& path) {
    constexpr const char* kVideos[] = {".mov", ".mkv", ".webm", ".mp4"};
    return std::find(std::begin(kVideos), std::end(kVideos), Extension(path)) != std::end(kVideos);
}

bool IsJoinable(const std::string& path) {
    return Extension(path) == ".mov" || Extension(path) == ".mkv";
}

}  // namespace veltrane::media
