#include "media/media.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <mutex>

#include "media/image_file.h"
#include "media/sequence_path.h"
#include "media/transfer.h"

namespace veltrane::media {
namespace {

/// Frames are converted side by side, so the image library itself needs no threads.
void PrepareImageLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        OIIO::attribute("threads", 1);
        OIIO::attribute("exr_threads", -1);
    });
}

std::string RangeText(FrameRange range) {
    if (range.last == std::numeric_limits<std::int64_t>::max()) {
        return std::to_string(range.first) + " and on";
    }
    return std::to_string(range.first) + "-" + std::to_string(range.last);
}

/// The largest centred part of the picture that has the proportions of width and height.
OIIO::ROI CentredPart(const Frame& picture, int width, int height) {
    const std::int64_t byHeight = std::int64_t{picture.height} * width / height;
    const std::int64_t byWidth = std::int64_t{picture.width} * height / width;
    const int w = static_cast<int>(std::clamp<std::int64_t>(byHeight, 1, picture.width));
    const int h = static_cast<int>(std::clamp<std::int64_t>(byWidth, 1, picture.height));
    const int x = (picture.width - w) / 2, y = (picture.height - h) / 2;
    return OIIO::ROI(x, x + w, y, y + h, 0, 1, 0, 4);
}

}  // namespace

void Fail(const std::string& path, const std::string& what) {
    std::string line = path + ": " + what;
    std::replace(line.begin(), line.end(), '\n', ' ');
    throw Error(line);
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

void CheckSize(const std::string& path, std::int64_t width, std::int64_t height) {
    const auto fits = [](std::int64_t side) { return side >= 1 && side <= kLongestSide; };
    if (fits(width) && fits(height)) return;
    Fail(path, "is " + std::to_string(width) + "x" + std::to_string(height) +
                   "; each side must be 1 to " + std::to_string(kLongestSide));
}

void CheckRange(const std::string& path, const std::optional<FrameRange>& wanted) {
    if (!wanted || (wanted->first >= 0 && wanted->first <= wanted->last)) return;
    Fail(path, "frames " + RangeText(*wanted) + " are no range");
}

FrameRange RangeWithin(const std::string& path, const std::optional<FrameRange>& wanted,
                       FrameRange held) {
    CheckRange(path, wanted);
    if (!wanted) return held;
    const bool toTheEnd = wanted->last == std::numeric_limits<std::int64_t>::max();
    const FrameRange range{wanted->first, toTheEnd ? held.last : wanted->last};
    if (range.first < held.first || range.first > held.last || range.last > held.last) {
        Fail(path, "frames " + RangeText(*wanted) + " asked for, but it holds " + RangeText(held));
    }
    return range;
}

std::unique_ptr<Reader> Open(const std::string& path, const ReadOptions& options) {
    PrepareImageLibrary();
    CheckRange(path, options.frames);
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        if (SequencePath::Parse(path)) return OpenSequence(path, options);
        Fail(path, "no such file");
    }
    if (std::filesystem::is_directory(status)) {
        Fail(path, "is a folder; name a sequence in it such as frame.%04d.png");
    }
    return ImageFormatOf(path).empty() ? OpenVideo(path, options) : OpenStill(path, options);
}

Frame ReadFrame(const std::string& path, std::int64_t number, const ReadOptions& options) {
    ReadOptions one = options;
    one.frames = FrameRange{number, number};
    const std::unique_ptr<Reader> reader = Open(path, one);
    return reader->Decode(*reader->Fetch());
}

Frame ReadBackground(const std::string& path, int width, int height) {
    CheckSize(path, width, height);
    const std::unique_ptr<Reader> reader = Open(path);
    Frame picture = reader->Decode(*reader->Fetch());
    for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
        for (std::size_t c = i; c < i + 3; ++c) {
            picture.pixels[c] = Premultiply(picture.pixels[c], picture.pixels[i + 3]);
        }
        picture.pixels[i + 3] = 65535;
    }
    const OIIO::ImageBuf whole(
        OIIO::ImageSpec(picture.width, picture.height, 4, OIIO::TypeDesc::UINT16),
        picture.pixels.data());
    OIIO::ImageBuf part = OIIO::ImageBufAlgo::cut(whole, CentredPart(picture, width, height));
    const OIIO::ImageBuf scaled =
        OIIO::ImageBufAlgo::resize(part, "", 0, OIIO::ROI(0, width, 0, height, 0, 1, 0, 4));
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = 1;
    frame.pixels.resize(std::size_t(width) * height * 4);
    if (!scaled.get_pixels(scaled.roi(), OIIO::TypeDesc::UINT16, frame.pixels.data())) {
        Fail(path, ImageErrorText(scaled.geterror(), path, "cannot be scaled"));
    }
    return frame;
}

std::unique_ptr<Writer> Create(const std::string& path, const WriteOptions& options,
                               const Info& source) {
    PrepareImageLibrary();
    std::string extension = std::filesystem::path(path).extension().string();
    OIIO::Strutil::to_lower(extension);
    constexpr const char* kVideos[] = {".mov", ".mkv", ".webm", ".mp4"};
    const bool video =
        std::find(std::begin(kVideos), std::end(kVideos), extension) != std::end(kVideos);
    return video ? CreateVideo(path, options, source) : CreateImages(path, options, source);
}

std::string FormatsWithAlpha() {
    return "mov (ProRes 4444), mkv (FFV1), webm (VP9), png, tif and exr";
}

}  // namespace veltrane::media
