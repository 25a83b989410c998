#include "media/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "media/source_details.h"

namespace veltrane::media {
namespace {

std::string TemporaryName(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    const std::filesystem::path whole(path);
    std::string name(1, '.');
    name += whole.filename().string();
    name += '.' + std::to_string(::getpid()) + '-' + std::to_string(counter++) + ".part";
    return (whole.parent_path() / name).string();
}

}  // namespace

AtomicFile::AtomicFile(std::string path) : path_(std::move(path)) {
    if (std::filesystem::is_directory(path_)) Fail(path_, "is a folder");
    int file = -1;
    do {
        temporaryPath_ = TemporaryName(path_);
        file = ::open(temporaryPath_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EEXIST);
    if (file < 0) Fail(path_, std::string("cannot be written: ") + std::strerror(errno));
    ::close(file);
}

AtomicFile::~AtomicFile() {
    if (!committed_) ::unlink(temporaryPath_.c_str());
}

void AtomicFile::Commit() {
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        Fail(path_, std::string("cannot be written: ") + std::strerror(errno));
    }
    committed_ = true;
}

}  // namespace veltrane::media
