#ifndef VELTRANE_MEDIA_EXR_METADATA_H
#define VELTRANE_MEDIA_EXR_METADATA_H

#include <OpenImageIO/paramlist.h>
#include <openexr.h>

namespace veltrane::media {

/// The attributes of an EXR that tell of more than its layout, in the image library's names.
OIIO::ParamValueList ExrAttributes(exr_const_context_t file);

/// Gives them to an EXR whose required attributes are set and that is to be written. What an EXR
/// cannot hold is left out.
void AddExrAttributes(const OIIO::ParamValueList& attributes, exr_context_t file);

}  // namespace veltrane::media

#endif
