#ifndef VELTRANE_MEDIA_PNG_READER_H
#define VELTRANE_MEDIA_PNG_READER_H

#include <png.h>

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::media {

/// Reads a PNG that lies in memory. Unlike the image library it writes nothing to the standard
/// error stream.
class PngReader {
public:
    /// Reads what stands before the pixels. file must outlive the reader; path is for messages.
    /// Throws Error when it is damaged.
    PngReader(std::string path, const std::vector<std::uint8_t>& file);
    ~PngReader();
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    /// The whole picture in packed rows, each sample widened to 16 bits; `channels` a pixel are
    /// expected, palettes and transparent colours counted as what they stand for. Throws Error.
    std::vector<std::uint16_t> Samples(int width, int height, int channels);

private:
    [[noreturn]] static void KeepError(png_structp png, const char* message);
    static void Supply(png_structp png, png_bytep to, std::size_t count);
    [[noreturn]] void FailDamaged() const;
    bool ReadHeader();
    bool Widen();
    bool ReadRows(png_bytepp rows);

    std::string path_;
    const std::vector<std::uint8_t>& file_;
    std::size_t at_ = 0;
    char message_[100] = {};
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

}  // namespace veltrane::media

#endif
