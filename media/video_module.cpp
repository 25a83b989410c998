#include "media/backends.h"

namespace veltrane::media {

const VideoBackend veltraneVideo{OpenVideo, CreateVideo, files::Unfinished::Share};

}  // namespace veltrane::media
