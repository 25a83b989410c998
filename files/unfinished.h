#ifndef VELTRANE_FILES_UNFINISHED_H
#define VELTRANE_FILES_UNFINISHED_H

#include <array>
#include <atomic>
#include <string>

namespace veltrane::files {

/// The names of a process's unfinished files, so that a signal handler can remove them.
class Unfinished {
public:
    using Name = std::atomic<char*>;

    /// Notes a name. Null when the list is full; then the file outlasts a signal that kills.
    Name* Add(const std::string& path) noexcept;
    /// Forgets a name that Add returned; null is none.
    static void Forget(Name* name) noexcept;
    /// Removes the files, also those that other threads are just making, and marks the process as
    /// ending. Async-signal-safe.
    void RemoveAll() noexcept;
    /// Whether files made now would stay behind.
    bool ending() const noexcept { return ending_; }

    /// The list of this process.
    static Unfinished& Here() noexcept { return *here_; }
    /// Makes a module that holds a copy of this code use the program's list. To be called before
    /// its first file.
    static void Share(Unfinished& list) noexcept { here_ = &list; }

private:
    static Unfinished* here_;

    std::atomic<bool> ending_ = false;
    std::array<Name, 1024> names_{};
};

}  // namespace veltrane::files

#endif
