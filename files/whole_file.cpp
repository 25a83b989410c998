#include "files/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "files/error.h"

namespace veltrane::files {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".veltrane-";
constexpr const char* kSuffix = ".part";

/// The beginning of this host's temporary names. Some shared file systems keep locks to one host,
/// so that a lock does not tell whether a file of another host is being written.
std::string HostPrefix() {
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    std::uint32_t hash = 2166136261u;  // FNV-1a
    for (const char* at = host; *at != '\0'; ++at)
        hash = (hash ^ static_cast<unsigned char>(*at)) * 16777619u;
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(hash));
    return kPrefix + std::string(digits) + '-';
}

/// Short, whatever the length of the name to come, and taken by no other process, not even by one
/// with the same number in another container.
std::string TemporaryName() {
    static const std::string prefix = HostPrefix();
    const auto time = std::chrono::system_clock::now().time_since_epoch().count();
    return prefix + std::to_string(::getpid()) + '-' + std::to_string(time) + kSuffix;
}

/// Locks the file for as long as it is open; another opening of it fails with EAGAIN. The locked
/// byte lies where no content comes to be, since some file systems enforce locks.
bool Lock(int file) {
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = off_t{1} << 62;
    range.l_len = 1;
    return ::fcntl(file, F_OFD_SETLK, &range) == 0;
}

bool HasName(int file) {
    struct stat status;
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 0;
}

/// Whoever holds the lock may remove the file: its writer keeps it to the end.
void RemoveIfUnlocked(const fs::path& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return;
    if (Lock(file) && HasName(file)) ::unlink(path.c_str());
    ::close(file);
}

}  // namespace

std::string Destination(const std::string& path) {
    constexpr int kMostLinks = 40;
    fs::path place = path;
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(place, error)); ++links) {
        if (links == kMostLinks)
            Fail(path, std::string("cannot be written: ") + std::strerror(ELOOP));
        place = place.parent_path() / fs::read_symlink(place, error);
        if (error) FailBySystem(path, "cannot be written", error.value());
    }
    return place.string();
}

WholeFile::WholeFile(const std::string& path, Folder folder)
    : WholeFile(path, Destination(path), folder) {
    struct stat status;
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT) FailToWrite();  // a name too long, say
    if (exists && S_ISDIR(status.st_mode)) Fail(path, "is a folder");
    if (exists && !S_ISREG(status.st_mode)) Fail(path, "is a device or a pipe, not a file");
    if (exists && ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) FailToWrite();
    while (!Create()) Discard();
    if (exists) ::fchmod(file_, status.st_mode & 0777);
}

// The destructor runs once this is done, also when the public constructor fails.
WholeFile::WholeFile(std::string path, std::string destination, Folder folder)
    : path_(std::move(path)), destination_(std::move(destination)), folder_(folder) {}

WholeFile::~WholeFile() {
    Discard();
}

/// False when the name is taken, or was taken away by another process before the file was locked.
bool WholeFile::Create() {
    temporaryPath_ = (fs::path(destination_).parent_path() / TemporaryName()).string();
    name_ = Unfinished::Here().Add(temporaryPath_);  // a signal may come before open returns
    RefuseIfEnding();
    file_ = ::open(temporaryPath_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (file_ < 0 && errno == EEXIST) return false;
    if (file_ < 0) FailToWrite();
    folder_ = Folder::Seen;
    RefuseIfEnding();
    const bool taken = !Lock(file_) && (errno == EAGAIN || errno == EACCES);
    return !taken && HasName(file_);
}

/// What is made once a signal handler has looked at the list stays behind.
void WholeFile::RefuseIfEnding() const {
    if (Unfinished::Here().ending()) Fail(path_, "was not written");
}

/// Removes the temporary file if it is still there.
void WholeFile::Discard() {
    if (file_ >= 0) {
        ::unlink(temporaryPath_.c_str());
        ::close(file_);
    }
    Unfinished::Forget(std::exchange(name_, nullptr));
    file_ = -1;
}

void WholeFile::FailToWrite() const {
    constexpr const char* kWhat = "cannot be written";
    const bool vanished = errno == ENOENT && folder_ == Folder::Seen;
    if (vanished) throw StorageError(ErrorLine(path_, std::string(kWhat) + ": its folder is gone"));
    FailBySystem(path_, kWhat, errno);
}

std::string WholeFile::PathOfOpenFile() const {
    return "/proc/self/fd/" + std::to_string(file_);
}

/// put(bytes, count, where) does as ::write; where is how many bytes were put before.
template <typename Put>
void WholeFile::PutAll(const void* bytes, std::size_t count, Put put) {
    const char* from = static_cast<const char*>(bytes);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = put(from + done, count - done, done);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) FailToWrite();
        done += static_cast<std::size_t>(written);
    }
}

void WholeFile::Write(const void* bytes, std::size_t count) {
    PutAll(bytes, count, [this](const char* from, std::size_t left, std::size_t) {
        return ::write(file_, from, left);
    });
}

void WholeFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t count) {
    PutAll(bytes, count, [this, offset](const char* from, std::size_t left, std::size_t done) {
        return ::pwrite(file_, from, left, static_cast<off_t>(offset + done));
    });
}

void WholeFile::BeginSync() noexcept {
    ::sync_file_range(file_, 0, 0, SYNC_FILE_RANGE_WRITE);
}

void WholeFile::Sync() {
    const bool synced = ::fsync(file_) == 0 || errno == EINVAL || errno == EROFS;
    if (!synced) FailToWrite();
}

void WholeFile::Commit() {
    // Quotas and network file systems report late errors on closing. A copy of the descriptor is
    // closed: the lock must outlast the temporary name.
    const int copy = ::dup(file_);
    if (copy < 0 || ::close(copy) != 0) FailToWrite();
    if (std::rename(temporaryPath_.c_str(), destination_.c_str()) != 0) FailToWrite();
    Unfinished::Forget(std::exchange(name_, nullptr));
    ::close(std::exchange(file_, -1));
}

void WriteWhole(const std::string& path, const std::string& bytes) {
    RemoveAbandoned(path);
    WholeFile file(path);
    file.Write(bytes.data(), bytes.size());
    file.Sync();
    file.Commit();
}

bool IsTemporary(const std::string& path) {
    const std::string name = fs::path(path).filename().string();
    return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

void RemoveAbandoned(const std::string& path) {
    const fs::path folder = fs::path(Destination(path)).parent_path();
    const std::string host = HostPrefix();
    std::error_code error;
    fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(host) && IsTemporary(name)) RemoveIfUnlocked(entry->path());
    }
}

}  // namespace veltrane::files
