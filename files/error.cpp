#include "files/error.h"

#include <cerrno>
#include <cstring>
#include <iterator>

namespace veltrane::files {

bool IsStorageFault(int number) {
    constexpr int kFaults[] = {ENOSPC,    EDQUOT,       EIO,      ESTALE,      ENODEV,
                               ENXIO,     EREMOTEIO,    ENOTCONN, ECONNRESET,  ECONNABORTED,
                               ETIMEDOUT, EHOSTUNREACH, ENETDOWN, ENETUNREACH, EHOSTDOWN};
    return std::find(std::begin(kFaults), std::end(kFaults), number) != std::end(kFaults);
}

void FailBySystem(const std::string& path, const std::string& what, int number) {
    const std::string line = ErrorLine(path, what + ": " + std::strerror(number));
    if (IsStorageFault(number)) throw StorageError(line);
    throw Error(line);
}

}  // namespace veltrane::files
