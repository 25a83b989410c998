#include "media/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "media/fail.h"
#include "media/share_work.h"

namespace veltrane::media {

OpenFile::OpenFile(const std::string& path)
    : path_(path), file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) Refuse(errno);
    struct stat status;
    if (::fstat(file_, &status) != 0) {
        const int error = errno;
        ::close(file_);
        Refuse(error);
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
}

OpenFile::~OpenFile() {
    ::close(file_);
}

void OpenFile::Read(std::uint64_t at, std::size_t count, std::uint8_t* to) const {
    for (std::size_t done = 0; done < count;) {
        const ssize_t read = ::pread(file_, to + done, count - done, static_cast<off_t>(at + done));
        if (read < 0 && errno == EINTR) continue;
        if (read <= 0) Refuse(read < 0 ? errno : EINVAL);
        done += static_cast<std::size_t>(read);
    }
}

void OpenFile::Refuse(int error) const {
    FailBySystem(path_, "cannot be read", error);
}

Bytes ReadAll(const std::string& path, const Threads& threads) {
    const OpenFile file(path);
    const std::size_t size = file.size();
    Bytes bytes(size);
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
