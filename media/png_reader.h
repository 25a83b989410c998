#ifndef VELTRANE_MEDIA_PNG_READER_H
#define VELTRANE_MEDIA_PNG_READER_H

#include <png.h>

#include <cstdint>
#include <string>
#include <vector>

#include "media/file_bytes.h"
#include "media/image_source.h"

namespace veltrane::media {

/// Reads a PNG that lies in memory. Unlike the image library it writes nothing to the standard
/// error stream.
class PngReader {
public:
    /// Reads what stands before the pixels. file must outlive the reader; path is for messages.
    /// Throws Error when it is damaged.
    PngReader(std::string path, const Bytes& file);
    ~PngReader();
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    /// What stands before the pixels, under the image library's names.
    ImageLayout Layout() const;
    /// True where there is more metadata than texts and numbers: a format of its own (Exif, XMP).
    bool HoldsPackedMetadata() const;
    /// True where samples of 8 or 16 bits lie row after row as they are meant: not interlaced, and
    /// no colour stands for another.
    bool IsPlain() const { return plain_; }
    /// The whole picture in packed rows, each sample widened to 16 bits; palettes and transparent
    /// colours are given as what they stand for. Throws Error.
    void Read(std::uint16_t* samples);

private:
    [[noreturn]] static void KeepError(png_structp png, const char* message);
    static void Supply(png_structp png, png_bytep to, std::size_t count);
    [[noreturn]] void FailDamaged() const;
    bool ReadHeader();
    bool ReadRows(png_bytepp rows);

    std::string path_;
    const Bytes& file_;
    std::size_t at_ = 0;
    char message_[100] = {};
    bool plain_ = false;
    int bits_ = 8;  ///< a sample as stored, 8 where it has fewer
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

}  // namespace veltrane::media

#endif
