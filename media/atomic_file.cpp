#include "media/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "media/fail.h"

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
    if (file < 0) FailToWrite();
    ::close(file);
}

AtomicFile::~AtomicFile() {
    if (!committed_) ::unlink(temporaryPath_.c_str());
}

void AtomicFile::Write(const std::vector<unsigned char>& bytes) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(temporaryPath_.c_str(), "wb"), &std::fclose);
    const bool written = file &&
                         std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
                         std::fflush(file.get()) == 0;
    if (!written) FailToWrite();
}

void AtomicFile::FailToWrite() const {
    Fail(path_, std::string("cannot be written: ") + std::strerror(errno));
}

void AtomicFile::Commit() {
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) FailToWrite();
    committed_ = true;
}

}  // namespace veltrane::media
