#include "media/file_bytes.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "media/fail.h"

namespace veltrane::media {

Bytes ReadAll(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) Fail(path, "cannot be read: " + error.message());
    Bytes bytes(size);
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size))) {
        Fail(path, "cannot be read");
    }
    return bytes;
}

}  // namespace veltrane::media
