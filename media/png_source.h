#ifndef VELTRANE_MEDIA_PNG_SOURCE_H
#define VELTRANE_MEDIA_PNG_SOURCE_H

#include <memory>
#include <string>

#include "media/image_source.h"

namespace veltrane::media {

/// Opens a PNG. Throws Error when it is damaged.
std::unique_ptr<ImageSource> OpenPng(const std::string& path, const Threads& threads);

}  // namespace veltrane::media

#endif
