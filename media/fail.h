#ifndef VELTRANE_MEDIA_FAIL_H
#define VELTRANE_MEDIA_FAIL_H

#include <new>
#include <string>

#include "media/media.h"

namespace veltrane::media {

using files::Fail;
using files::FailBySystem;

inline constexpr const char* kTooLittleMemory = "needs more memory than there is";

/// Does what may take much memory; throws Error where there is too little.
template <typename Action>
auto WithinMemory(const std::string& path, Action action) {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        Fail(path, kTooLittleMemory);
    }
}

}  // namespace veltrane::media

#endif
