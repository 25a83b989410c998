#include "media/backends.h"

namespace veltrane::media {

const ImageBackend veltraneImages{OpenStill, OpenSequence, CreateImages, ScaledToFill,
                                  files::Unfinished::Share};

}  // namespace veltrane::media
