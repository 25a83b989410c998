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

/// Throws Error with "path: what" on one line.
[[noreturn]] inline void Fail(const std::string& path, const std::string& what) {
    std::string line = path + ": " + what;
    std::replace(line.begin(), line.end(), '\n', ' ');
    throw Error(line);
}

}  // namespace veltrane::files

#endif
