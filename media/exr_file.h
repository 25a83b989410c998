#ifndef VELTRANE_MEDIA_EXR_FILE_H
#define VELTRANE_MEDIA_EXR_FILE_H

#include <openexr.h>

#include <cstdint>
#include <optional>
#include <string>

namespace veltrane::media {

/// What of an EXR's header a reader has to know.
struct ExrLayout {
    exr_attr_box2i_t data;
    exr_attr_box2i_t display;
    exr_compression_t compression;
    int rowsAChunk;
    bool half;  ///< or full floats
    int channels;
    // Which of the channels, in the order in which a row holds them.
    int red;
    int green;
    int blue;
    int alpha;  ///< -1 where there is none

    int width() const { return data.max.x - data.min.x + 1; }
    int height() const { return data.max.y - data.min.y + 1; }
    int displayWidth() const { return display.max.x - display.min.x + 1; }
    int displayHeight() const { return display.max.y - display.min.y + 1; }
    int chunks() const { return (height() - 1) / rowsAChunk + 1; }
};

/// An EXR opened by OpenEXR's core.
class ExrFile {
public:
    /// Opens a file; one that is no EXR that can be read has no layout.
    explicit ExrFile(const std::string& path);
    ~ExrFile();
    ExrFile(const ExrFile&) = delete;
    ExrFile& operator=(const ExrFile&) = delete;

    exr_const_context_t Get() const { return file_; }
    /// How the file is laid out if it is of a kind that is read here, and nothing for the rest: a
    /// single part of rows; channels R, G, B or Y with or without A, all halves or all floats, a
    /// value for each pixel; compression none, rle, zips or zip; shown as it is stored, and no map
    /// of surroundings; and large enough for what its header claims.
    std::optional<ExrLayout> Layout() const;

private:
    exr_context_t file_ = nullptr;
};

/// What OpenEXR's core begins with: silent, since errors are told by us.
exr_context_initializer_t ExrStart();

}  // namespace veltrane::media

#endif
