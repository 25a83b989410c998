#include "media/backends.h"

namespace veltrane::media {

const VideoBackend veltraneVideo{OpenVideo, CreateVideo};

}  // namespace veltrane::media
