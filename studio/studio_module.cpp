#include "studio/studio.h"

namespace veltrane::studio {

const Backend veltraneStudio{Run, files::Unfinished::Share};

}  // namespace veltrane::studio
