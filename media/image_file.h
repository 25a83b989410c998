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
Frame ReadImage(const std::string& path, std::int64_t number, const ReadOptions& options,
                const Threads& threads);

/// Those of an image's attributes that still hold for a keyed copy; transfer is how it was read.
OIIO::ParamValueList KeptAttributes(const OIIO::ParamValueList& attributes, Transfer transfer);

/// Adds the attributes to what is told of an image.
void Tell(const OIIO::ParamValueList& attributes, Info& info);

}  // namespace veltrane::media

#endif
