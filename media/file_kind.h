#ifndef VELTRANE_MEDIA_FILE_KIND_H
#define VELTRANE_MEDIA_FILE_KIND_H

#include <string>

namespace veltrane::media {

/// The image library's name of the format of a file's first bytes, or empty.
std::string ImageFormatOf(const std::string& path);

/// Throws Error unless the path is that of a file that can be read, and not a folder or a pipe.
void RequireFile(const std::string& path);

/// The ending of a file's name in small letters, such as ".png".
std::string Extension(const std::string& path);

/// Whether the name's ending is that of a video that can be written.
bool IsVideoName(const std::string& path);

/// Whether it is that of a video in which every frame stands alone, so that parts can be joined.
bool IsJoinable(const std::string& path);

}  // namespace veltrane::media

#endif
