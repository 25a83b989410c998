#ifndef VELTRANE_MEDIA_IMAGE_SOURCE_H
#define VELTRANE_MEDIA_IMAGE_SOURCE_H

#include <OpenImageIO/paramlist.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "imaging/threads.h"

namespace veltrane::media {

/// What an image file holds besides its samples, in the image library's names. Of that library only
/// the small part is needed that knows of names, types and values.
struct ImageLayout {
    int x = 0;  ///< of the stored rectangle
    int y = 0;
    int width = 0;
    int height = 0;
    int fullX = 0;  ///< of the rectangle that is shown
    int fullY = 0;
    int fullWidth = 0;
    int fullHeight = 0;
    std::vector<std::string> channelNames;
    std::vector<OIIO::TypeDesc> channelTypes;  ///< as many
    OIIO::ParamValueList attributes;

    int channels() const { return static_cast<int>(channelTypes.size()); }
};

/// A layout whose shown rectangle is what is stored, from 0, 0.
inline ImageLayout PlainLayout(int width, int height, int channels, OIIO::TypeDesc type) {
    ImageLayout layout;
    layout.width = layout.fullWidth = width;
    layout.height = layout.fullHeight = height;
    layout.channelTypes.assign(static_cast<std::size_t>(channels), type);
    for (int c = 0; c < channels; ++c) {
        layout.channelNames.push_back(c < 4 ? std::string(1, "RGBA"[c])
                                            : "channel" + std::to_string(c));
    }
    return layout;
}

/// Sets an attribute, which takes the place of one whose name differs at most by capitals.
template <typename Value>
void SetAttribute(OIIO::ParamValueList& attributes, const std::string& name, const Value& value) {
    attributes.add_or_replace(OIIO::ParamValue(name, value), false);
}

/// Takes so many rows from row `top` on, packed, in any order. Any number of threads may call it.
template <typename Sample>
using TakeRows = std::function<void(int top, int rows, const Sample* samples)>;

/// An image file that is open for reading.
class ImageSource {
public:
    virtual ~ImageSource() = default;
    ImageSource(const ImageSource&) = delete;
    ImageSource& operator=(const ImageSource&) = delete;

    const ImageLayout& layout() const { return layout_; }
    /// Reads the channels first .. first + count - 1 of all stored pixels and hands them out, each
    /// row once. Full scale is 65535, or 1. Throws Error when the file is damaged, which may be
    /// after some rows were taken.
    virtual void Read(int first, int count, const Threads& threads,
                      const TakeRows<std::uint16_t>& take) = 0;
    virtual void Read(int first, int count, const Threads& threads,
                      const TakeRows<float>& take) = 0;

protected:
    explicit ImageSource(ImageLayout layout) : layout_(std::move(layout)) {}

    ImageLayout layout_;
};

}  // namespace veltrane::media

#endif
