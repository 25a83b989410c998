#ifndef VELTRANE_MEDIA_EXR_LAYOUT_H
#define VELTRANE_MEDIA_EXR_LAYOUT_H

#include <OpenImageIO/imageio.h>

#include <string>

namespace veltrane::media {

/// Throws Error for an EXR's part whose channels are no colour that can be keyed, or that claims
/// more pixels than a file of its size holds.
void CheckExr(const std::string& path, const OIIO::ImageSpec& spec);

}  // namespace veltrane::media

#endif
