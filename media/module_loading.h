#ifndef VELTRANE_MEDIA_MODULE_LOADING_H
#define VELTRANE_MEDIA_MODULE_LOADING_H

#include <cstddef>
#include <string>

namespace veltrane::media {

/// Loads a module, which lies where the program's run path leads, and returns what it shows under a
/// name. It stays loaded: what it makes may live as long as the program. path is the file that
/// needs it, for messages. Throws Error, also when the module with its libraries would not find
/// that many megabytes of addresses.
const void* LoadModule(const std::string& path, const char* file, const char* name,
                       std::size_t megabytes);

}  // namespace veltrane::media

#endif
