#include "media/image_library.h"
#include "media/module_loading.h"

namespace veltrane::media {
namespace {

// With the libraries below it, it takes 380 MB of addresses, and its threads more.
const LibraryBackend& Library(const std::string& path) {
    static const auto& backend = *static_cast<const LibraryBackend*>(
        LoadModule(path, "veltrane-image-library.so", "veltraneImageLibrary", 512));
    return backend;
}

}  // namespace

std::unique_ptr<ImageSource> OpenByLibrary(const std::string& path, const std::string& format) {
    return Library(path).open(path, format);
}

Bytes EncodeByLibrary(const std::string& path, const std::string& format, const ImageLayout& layout,
                      OIIO::TypeDesc type, const void* samples) {
    return Library(path).encode(path, format, layout, type, samples);
}

}  // namespace veltrane::media
