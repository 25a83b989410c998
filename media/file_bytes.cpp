#include "media/file_bytes.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "media/fail.h"

namespace veltrane::media {

Bytes ReadAll(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) FailBySystem(path, "cannot be read", error.value());
    Bytes bytes(size);
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size))) {
        FailBySystem(path, "cannot be read", errno != 0 ? errno : EINVAL);
    }
    return bytes;
}

}  // namespace veltrane::media
