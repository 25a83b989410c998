#ifndef VELTRANE_CLI_CONTACT_SHEET_H
#define VELTRANE_CLI_CONTACT_SHEET_H

#include <vector>

#include "media/media.h"

namespace veltrane::cli {

/// A frame keyed, and the heights of its matte, in which a haze is seen.
struct Views {
    media::Frame result;
    media::Frame status;
};

/// A frame keyed at the defaults and with the settings found for its shot.
struct Comparison {
    media::Frame source;
    Views plain;
    Views found;
};

/// Source, both statuses and both composites side by side, one row a frame, at most 2000 pixels
/// wide.
media::Frame ContactSheet(const std::vector<Comparison>& rows, const media::Frame& background);

/// Source, matte and result side by side, at most 1400 pixels wide.
media::Frame Strip(const media::Frame& source, const media::Frame& result);

}  // namespace veltrane::cli

#endif
