#ifndef VELTRANE_MEDIA_IMAGE_FILE_H
#define VELTRANE_MEDIA_IMAGE_FILE_H

#include <OpenImageIO/paramlist.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/pixels.h"
#include "media/source_details.h"

namespace veltrane::media {

struct ImageMetadata {
    std::string format;
    bool isHalf = false;
    Transfer transfer = Transfer::None;  ///< as the file was read
    OIIO::ParamValueList attributes;     ///< those that still hold for a keyed copy
    int originX = 0;                     ///< of the display window
    int originY = 0;
};

/// Describes an image file, decoding no pixels. Throws Error.
Info DescribeImage(const std::string& path, const ReadOptions& options);

/// Reads an image file. Throws Error.
Frame ReadImage(const std::string& path, std::int64_t number, const ReadOptions& options);

}  // namespace veltrane::media

#endif
