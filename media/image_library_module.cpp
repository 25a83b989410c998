#include "media/image_library.h"

namespace veltrane::media {

const LibraryBackend veltraneImageLibrary{OpenByLibrary, EncodeByLibrary};

}  // namespace veltrane::media
