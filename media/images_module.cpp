#include "media/backends.h"

namespace veltrane::media {

const ImageBackend veltraneImages{OpenStill, OpenSequence, CreateImages, ScaledToFill};

}  // namespace veltrane::media
