#include "media/jpeg_metadata.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace veltrane::media {
namespace {

/// The bytes that an attribute takes where it takes most: in XML, with letters written as names.
std::size_t MostBytes(const OIIO::ParamValue& attribute) {
    constexpr std::size_t kElement = 200, kNumber = 4;
    if (attribute.type() != OIIO::TypeDesc::STRING) {
        return kElement + attribute.type().size() * kNumber;
    }
    std::size_t bytes = kElement;
    for (const char letter : std::string_view(attribute.get_ustring().c_str())) {
        bytes += std::string_view("<>&\"'").find(letter) == std::string_view::npos ? 1 : 6;
    }
    return bytes;
}

}  // namespace

void LeaveOutWhatJpegCannotHold(OIIO::ParamValueList& attributes) {
    constexpr std::size_t kRoom = 60000;
    std::size_t taken = 0;
    const auto fits = [&](const OIIO::ParamValue& attribute) {
        if (attribute.name() == "ICCProfile") return true;
        const std::size_t bytes = MostBytes(attribute);
        if (bytes > kRoom - taken) return false;
        taken += bytes;
        return true;
    };
    OIIO::ParamValueList kept;
    for (const OIIO::ParamValue& attribute : attributes) {
        if (fits(attribute)) kept.push_back(attribute);
    }
    attributes = kept;
}

void AddJpegProfile(Bytes& file, const OIIO::ParamValue& profile) {
    using namespace std::string_view_literals;
    constexpr std::string_view kName = "ICC_PROFILE\0"sv;
    constexpr std::size_t kMost = 65533 - kName.size() - 2, kMostSegments = 255;
    const auto* data = static_cast<const unsigned char*>(profile.data());
    const std::size_t size = profile.type().size(), count = (size + kMost - 1) / kMost;
    if (count > kMostSegments) return;
    std::vector<unsigned char> segments;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t bytes = std::min(kMost, size - i * kMost);
        const std::size_t length = 2 + kName.size() + 2 + bytes;
        for (const std::size_t byte : {std::size_t{0xff}, std::size_t{0xe2}, length >> 8, length}) {
            segments.push_back(static_cast<unsigned char>(byte));
        }
        segments.insert(segments.end(), kName.begin(), kName.end());
        segments.push_back(static_cast<unsigned char>(i + 1));
        segments.push_back(static_cast<unsigned char>(count));
        segments.insert(segments.end(), data + i * kMost, data + i * kMost + bytes);
    }
    // After the image's beginning and the first segment, which has to be JFIF's.
    const std::size_t at = 4 + (file[4] << 8 | file[5]);
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(at), segments.begin(), segments.end());
}

}  // namespace veltrane::media
