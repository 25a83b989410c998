#include "media/file_bytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "media/fail.h"
#include "media/share_work.h"

namespace veltrane::media {
namespace {

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : path_(path), file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (file_ < 0) Refuse(errno);
    }
    ~OpenFile() { ::close(file_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    void Read(std::size_t at, std::size_t count, std::uint8_t* to) const {
        for (std::size_t done = 0; done < count;) {
            const ssize_t read =
                ::pread(file_, to + done, count - done, static_cast<off_t>(at + done));
            if (read < 0 && errno == EINTR) continue;
            if (read <= 0) Refuse(read < 0 ? errno : EINVAL);
            done += static_cast<std::size_t>(read);
        }
    }

private:
    [[noreturn]] void Refuse(int error) const { FailBySystem(path_, "cannot be read", error); }

    const std::string& path_;
    int file_;
};

}  // namespace

Bytes ReadAll(const std::string& path, const Threads& threads) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) FailBySystem(path, "cannot be read", error.value());
    Bytes bytes(size);
    const OpenFile file(path);
    constexpr std::size_t kPiece = std::size_t{1} << 22;
    ShareWork(threads, static_cast<int>((size + kPiece - 1) / kPiece), [&] {
        return [&](int piece) {
            const std::size_t at = kPiece * static_cast<std::size_t>(piece);
            file.Read(at, std::min(kPiece, size - at), bytes.data() + at);
        };
    });
    return bytes;
}

}  // namespace veltrane::media
