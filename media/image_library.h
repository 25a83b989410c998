#ifndef VELTRANE_MEDIA_IMAGE_LIBRARY_H
#define VELTRANE_MEDIA_IMAGE_LIBRARY_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/file_bytes.h"
#include "media/image_source.h"

namespace veltrane::media {

// OpenImageIO, for what this folder does not read or write itself. With the libraries below it, it
// takes a fifth of a second to load, so the command has it in a module of its own, which is loaded
// by the first file that needs it (image_library_on_demand.cpp).

/// Opens a file of a format, by the library's name. Throws Error.
std::unique_ptr<ImageSource> OpenByLibrary(const std::string& path, const std::string& format);

/// A whole file of a format in memory: the picture's channels are those of the layout, of one type,
/// and samples are of the type given. path is for messages. Throws Error.
Bytes EncodeByLibrary(const std::string& path, const std::string& format, const ImageLayout& layout,
                      OIIO::TypeDesc type, const void* samples);

/// These functions, as the module hands them out.
struct LibraryBackend {
    decltype(&OpenByLibrary) open;
    decltype(&EncodeByLibrary) encode;
};

extern "C" const LibraryBackend veltraneImageLibrary;

}  // namespace veltrane::media

#endif
