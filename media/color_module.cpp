#include "media/backends.h"

namespace veltrane::media {

const ColorBackend veltraneColor{OpenColorSpaces};

}  // namespace veltrane::media
