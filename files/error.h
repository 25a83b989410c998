#ifndef VELTRANE_FILES_ERROR_H
#define VELTRANE_FILES_ERROR_H

#include <algorithm>
#include <stdexcept>
#include <string>

namespace veltrane::files {

/// What went wrong with a file, in one line that names it.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The same where the storage is at fault, full or gone, and the file is not: what failed may
/// succeed later, or on another machine.
class StorageError : public Error {
public:
    using Error::Error;
};

/// Whether an error number of the system tells of the storage: a disk that is full, broken or gone,
/// a network that does not answer.
bool IsStorageFault(int number);

/// "path: what" on one line.
inline std::string ErrorLine(const std::string& path, const std::string& what) {
    std::string line = path + ": " + what;
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
}

/// Throws Error with "path: what" on one line.
[[noreturn]] inline void Fail(const std::string& path, const std::string& what) {
    throw Error(ErrorLine(path, what));
}

/// The same with the system's text of an error number; StorageError where that tells of one.
[[noreturn]] void FailBySystem(const std::string& path, const std::string& what, int number);

}  // namespace veltrane::files

#endif
