#include "media/backends.h"

namespace veltrane::media {

const VideoBackend veltraneVideo{OpenVideo,   CreateVideo,    JoinVideo,
                                 CountFrames, EntryFrameNear, files::Unfinished::Share};

}  // namespace veltrane::media
