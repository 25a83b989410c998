#ifndef VELTRANE_MEDIA_ATOMIC_FILE_H
#define VELTRANE_MEDIA_ATOMIC_FILE_H

#include <string>
#include <vector>

namespace veltrane::media {

/// A file that appears under its name only when it is complete. Until Commit its content lies under
/// a hidden temporary name in the same folder; without Commit the destructor removes it.
class AtomicFile {
public:
    /// Creates the empty temporary file. Throws Error when the place cannot be written.
    explicit AtomicFile(std::string path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const std::string& temporaryPath() const { return temporaryPath_; }
    /// Makes these bytes the content. Throws Error when they do not fit.
    void Write(const std::vector<unsigned char>& bytes);
    /// Gives the file its name. Throws Error when that fails.
    void Commit();

private:
    [[noreturn]] void FailToWrite() const;

    std::string path_;
    std::string temporaryPath_;
    bool committed_ = false;
};

}  // namespace veltrane::media

#endif
