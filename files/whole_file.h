#ifndef VELTRANE_FILES_WHOLE_FILE_H
#define VELTRANE_FILES_WHOLE_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "files/unfinished.h"

namespace veltrane::files {

/// Where a file written under this path lies: symbolic links in its last part are followed, also to
/// a place where nothing is yet. Throws Error when they go round in circles.
std::string Destination(const std::string& path);

/// A file that appears under its name only when it is complete. Until Commit its
/// content lies under a hidden temporary name in the same folder; without Commit the destructor
/// removes it. What is there already must be a file that may be written, and gives its permissions.
class WholeFile {
public:
    /// Whether the folder was there before: then its absence is its storage's.
    enum class Folder { Unknown, Seen };

    /// Creates the empty temporary file, locked for as long as this object lives. Throws Error when
    /// the place cannot be written, or holds a folder, a device or a pipe.
    explicit WholeFile(const std::string& path, Folder folder = Folder::Unknown);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// For libraries that write by name: this very file, which they do not bring back under its
    /// temporary name when a signal handler has removed that.
    std::string PathOfOpenFile() const;
    /// Appends bytes. Throws Error when they do not fit.
    void Write(const void* bytes, std::size_t count);
    /// Puts bytes where they belong in the file. Throws Error when they do not fit.
    void WriteAt(std::uint64_t offset, const void* bytes, std::size_t count);
    /// Lets the disk begin on what was written so far, so that Sync has less to wait for.
    void BeginSync() noexcept;
    /// Waits until what was written is on the disk, so that no power cut makes the file less than
    /// whole. Throws Error when it does not get there.
    void Sync();
    /// Gives the file its name. Throws Error when that fails, or writing did as far as is known.
    void Commit();

private:
    WholeFile(std::string path, std::string destination, Folder folder);
    bool Create();
    void RefuseIfEnding() const;
    template <typename Put>
    void PutAll(const void* bytes, std::size_t count, Put put);
    void Discard();
    [[noreturn]] void FailToWrite() const;

    std::string path_;
    std::string destination_;
    Folder folder_;
    std::string temporaryPath_;
    Unfinished::Name* name_ = nullptr;
    int file_ = -1;
};

/// Writes all of a file, whole or not at all, and removes what was left unfinished in its folder.
/// Throws Error when it cannot.
void WriteWhole(const std::string& path, const std::string& bytes);

/// Whether the file name is one that WholeFile gives to temporary files.
bool IsTemporary(const std::string& path);

/// Removes what processes of this host that are gone have left unfinished in the folder where a
/// file written under this path lies. Files of other hosts stay, and files that are being written.
void RemoveAbandoned(const std::string& path);

}  // namespace veltrane::files

#endif
