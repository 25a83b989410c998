#ifndef VELTRANE_MEDIA_TIFF_FILE_H
#define VELTRANE_MEDIA_TIFF_FILE_H

#include <tiffio.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/file_bytes.h"
#include "media/image_source.h"

namespace veltrane::media {

/// What the samples of a TIFF's picture are.
struct TiffLayout {
    int alpha = -1;              ///< the sample that holds it, or -1
    bool premultiplied = false;  ///< colour is stored multiplied by alpha
    bool grey = false;           ///< the first sample is grey; else red, green and blue come first
    bool whiteIsZero = false;
    int bits = 0;  ///< a sample
};

/// The first picture of a TIFF: which samples it holds, and whether its data is whole. What is
/// stored lies in chunks, each a strip or a tile of one plane, compressed by itself.
class TiffFile {
public:
    /// Reads the directory. Throws Error when it cannot be read.
    explicit TiffFile(const std::string& path);

    /// Throws Error for a picture that is not grey, a palette's or RGB, or whose samples are not of
    /// a kind that can be keyed.
    TiffLayout Layout() const;
    /// True for the common kinds, of which ReadRows reads the samples: strips of 8 or 16 bits a
    /// sample, pixel after pixel, of grey or RGB, compressed losslessly or not at all.
    bool IsPlain() const;
    /// The size of the picture and the texts, numbers and profile that come with it, under the
    /// image library's names.
    ImageLayout Description();
    /// True where there is more metadata than that: tags of other kinds, or formats within the
    /// format (Exif, IPTC, XMP).
    bool HoldsPackedMetadata();
    /// Reads all rows of a plain picture, each sample as it is stored, in the machine's byte order:
    /// calls take(first row, rows, samples) for each strip, by the threads lent. Throws Error where
    /// the data does not decompress to its full length or disagrees with the checksum that zip adds
    /// to it.
    void ReadRows(const Threads& threads, const TakeRows<std::uint8_t>& take);

    /// Throws Error unless every chunk lies within the file and is long enough for what it has to
    /// hold; so no more memory is taken than a file of its size may ask for.
    void CheckExtents();
    /// Throws Error unless every chunk decompresses to its full length and agrees with the checksum
    /// that zip adds to it.
    void CheckData();

private:
    struct Closer {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };
    /// How the samples of a plain picture's rows lie.
    struct SampleKind {
        bool zip;
        bool wide;
        bool swapped;
        bool differences;
        std::size_t channels;
        std::size_t rowSamples;
    };
    static int KeepError(TIFF* file, void* self, const char* module, const char* format,
                         va_list arguments);
    static int KeepWarning(TIFF* file, void* self, const char* module, const char* format,
                           va_list arguments);

    std::uint32_t Number(std::uint32_t tag, std::uint32_t otherwise) const;
    std::uint32_t ChunkCount() const;
    std::uint32_t StripRows() const;
    SampleKind Samples() const;
    bool HoldsOnly(const std::uint32_t* tags, int count) const;
    bool HasForeignExif();
    void AddTexts(OIIO::ParamValueList& attributes) const;
    void AddResolution(OIIO::ParamValueList& attributes) const;
    std::uint64_t ChunkSize(std::uint32_t chunk) const;
    void CheckSamples() const;
    void CheckOrder() const;
    void FindAlpha(int colours, TiffLayout& layout) const;
    bool IsWhole(std::uint32_t chunk, Bytes& stored, Bytes& decoded);
    bool ReadStored(std::uint32_t chunk, Bytes& stored) const;
    bool ReadStrip(std::uint32_t strip, const SampleKind& kind, Bytes& stored, Bytes& rows);
    bool Decodes(std::uint32_t chunk, Bytes& decoded);

    std::string path_;
    std::uint64_t fileSize_ = 0;
    bool complained_ = false;  ///< the library found an error
    bool warned_ = false;
    std::unique_ptr<TIFF, Closer> file_;
    std::mutex reading_;  ///< the library reads for one thread at a time
};

}  // namespace veltrane::media

#endif
