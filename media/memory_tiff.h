#ifndef VELTRANE_MEDIA_MEMORY_TIFF_H
#define VELTRANE_MEDIA_MEMORY_TIFF_H

#include <tiffio.h>

#include <memory>
#include <string>
#include <vector>

#include "media/file_bytes.h"

namespace veltrane::media {

/// A TIFF that the TIFF library writes to memory, where no write fails unseen.
class MemoryTiff {
public:
    /// Begins one ("w", "w8"), or goes on with what is given ("r+"). Throws Error naming the path.
    MemoryTiff(std::string path, Bytes bytes, const char* mode);

    TIFF* get() const { return file_.get(); }
    template <typename... Values>
    void Set(std::uint32_t tag, Values... values) {
        Require(TIFFSetField(file_.get(), tag, values...) == 1);
    }
    /// Makes room for that much more.
    void Expect(std::size_t bytes) {
        constexpr std::size_t kDirectory = std::size_t{1} << 16;
        bytes_.reserve(bytes_.size() + bytes + kDirectory);
    }
    /// Throws Error unless what the library was asked for is done.
    void Require(bool done) const;
    /// Closes it. The whole file; throws Error when something went wrong.
    Bytes Finish();

private:
    struct Closer {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };
    static int KeepError(TIFF* file, void* self, const char* module, const char* format,
                         va_list arguments);
    static tmsize_t Read(thandle_t self, void* to, tmsize_t count);
    static tmsize_t Write(thandle_t self, void* from, tmsize_t count);
    static toff_t Seek(thandle_t self, toff_t offset, int origin);
    static toff_t Size(thandle_t self);

    std::string path_;
    Bytes bytes_;
    std::size_t at_ = 0;
    std::string message_;
    std::unique_ptr<TIFF, Closer> file_;
};

}  // namespace veltrane::media

#endif
