#ifndef VELTRANE_MEDIA_FILE_BYTES_H
#define VELTRANE_MEDIA_FILE_BYTES_H

#include <cstdint>
#include <string>

#include "imaging/threads.h"
#include "media/pixel_memory.h"

namespace veltrane::media {

/// Bytes of a file; those that are made room for are not set.
using Bytes = UnsetVector<std::uint8_t>;

/// A file open for reading. Any number of threads may read.
class OpenFile {
public:
    /// Throws Error when it cannot be opened.
    explicit OpenFile(const std::string& path);
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::uint64_t size() const { return size_; }
    /// Reads bytes that lie within its size. Throws Error when they cannot be read.
    void Read(std::uint64_t at, std::size_t count, std::uint8_t* to) const;

private:
    [[noreturn]] void Refuse(int error) const;

    std::string path_;
    int file_;
    std::uint64_t size_ = 0;
};

/// A whole file, by the threads lent. Throws Error when it cannot be read.
Bytes ReadAll(const std::string& path, const Threads& threads = {});

}  // namespace veltrane::media

#endif
