#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>

#include "media/backends.h"
#include "media/image_file.h"

namespace veltrane::media {
namespace {

/// The largest centred part of the picture that has the proportions of width and height.
OIIO::ROI CentredPart(const Frame& picture, int width, int height) {
    const std::int64_t byHeight = std::int64_t{picture.height} * width / height;
    const std::int64_t byWidth = std::int64_t{picture.width} * height / width;
    const int w = static_cast<int>(std::clamp<std::int64_t>(byHeight, 1, picture.width));
    const int h = static_cast<int>(std::clamp<std::int64_t>(byWidth, 1, picture.height));
    const int x = (picture.width - w) / 2, y = (picture.height - h) / 2;
    return OIIO::ROI(x, x + w, y, y + h, 0, 1, 0, 4);
}

}  // namespace

Frame ScaledToFill(const std::string& path, Frame picture, int width, int height) {
    PrepareImageLibrary();
    const OIIO::ImageBuf whole(
        OIIO::ImageSpec(picture.width, picture.height, 4, OIIO::TypeDesc::UINT16),
        picture.pixels.data());
    OIIO::ImageBuf part = OIIO::ImageBufAlgo::cut(whole, CentredPart(picture, width, height));
    const OIIO::ImageBuf scaled =
        OIIO::ImageBufAlgo::resize(part, "", 0, OIIO::ROI(0, width, 0, height, 0, 1, 0, 4));
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = 1;
    frame.pixels.resize(std::size_t(width) * height * 4);
    if (!scaled.get_pixels(scaled.roi(), OIIO::TypeDesc::UINT16, frame.pixels.data())) {
        Fail(path, ImageErrorText(scaled.geterror(), path, "cannot be scaled"));
    }
    return frame;
}

}  // namespace veltrane::media
