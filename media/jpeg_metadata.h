#ifndef VELTRANE_MEDIA_JPEG_METADATA_H
#define VELTRANE_MEDIA_JPEG_METADATA_H

#include <OpenImageIO/paramlist.h>

#include <cstdint>

#include "media/file_bytes.h"

namespace veltrane::media {

/// Leaves out, of the attributes that a JPEG is to be written with, those its segments of 64 kB
/// have no room for; the JPEG library ends the program over them. The colour profile stays.
void LeaveOutWhatJpegCannotHold(OIIO::ParamValueList& attributes);

/// Puts a colour profile into a whole JPEG, in as many segments as it takes, which the image
/// library does rightly for one alone. A profile too long for all segments (16 MB) is left out.
void AddJpegProfile(Bytes& file, const OIIO::ParamValue& profile);

}  // namespace veltrane::media

#endif
