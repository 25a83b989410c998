#ifndef VELTRANE_MEDIA_COLOR_SPACES_H
#define VELTRANE_MEDIA_COLOR_SPACES_H

#include <cstddef>
#include <memory>
#include <string>

namespace veltrane::media {

/// The way between a file's colour space and the one in which frames are keyed.
class ColorConversion {
public:
    virtual ~ColorConversion() = default;
    /// Converts packed red, green, blue in place. Any number of threads at a time.
    virtual void ToKey(float* colors, std::size_t pixels) const = 0;
    virtual void FromKey(float* colors, std::size_t pixels) const = 0;
    virtual const std::string& KeySpace() const = 0;
};

/// What the conversion goes between, in an OpenColorIO configuration.
struct ColorSpaces {
    std::string config;  ///< its file
    std::string file;    ///< name of the file's space
    std::string key;     ///< of that for keying; empty for the configuration's own sRGB space
};

/// Throws Error for a configuration that cannot be read and for names that it does not hold, with
/// the nearest ones that it does.
std::shared_ptr<const ColorConversion> OpenColorSpaces(const ColorSpaces& spaces);

}  // namespace veltrane::media

#endif
