#ifndef VELTRANE_CLI_CONTACT_SHEET_H
#define VELTRANE_CLI_CONTACT_SHEET_H

#include <vector>

#include "media/media.h"

namespace veltrane::cli {

/// A frame before and after it was keyed.
struct Views {
    media::Frame source;
    media::Frame result;
};

/// Source, matte, result and composite side by side, one row a frame, at most 2000 pixels wide.
media::Frame ContactSheet(const std::vector<Views>& rows, const media::Frame& background);

/// Source, matte and result side by side, at most 1400 pixels wide.
media::Frame Strip(const Views& views);

}  // namespace veltrane::cli

#endif
