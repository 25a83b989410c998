#ifndef VELTRANE_MEDIA_BACKENDS_H
#define VELTRANE_MEDIA_BACKENDS_H

#include <memory>
#include <string>

#include "files/unfinished.h"
#include "media/media.h"
#include "media/video_parts.h"

namespace veltrane::media {

// What the libraries behind media.h do for it: OpenImageIO for image files, FFmpeg for video,
// OpenColorIO for colour spaces. They draw in hundreds of other libraries, which take a fifth of a
// second to load, so a program can have these functions in two ways: linked (image_*.cpp,
// sequence.cpp, video_*.cpp), or from modules that are loaded with the first file that needs them
// (on_demand.cpp).

std::unique_ptr<Reader> OpenStill(const std::string& path, const ReadOptions& options);
std::unique_ptr<Reader> OpenSequence(const std::string& pattern, const ReadOptions& options);
std::unique_ptr<Writer> CreateImages(const std::string& path, const WriteOptions& options,
                                     const Info& source);
/// The picture scaled to fill a frame of the given size, with what overhangs cut off evenly. path
/// is for messages.
Frame ScaledToFill(const std::string& path, const Frame& picture, int width, int height);

std::unique_ptr<Reader> OpenVideo(const std::string& path, const ReadOptions& options);
std::unique_ptr<Writer> CreateVideo(const std::string& path, const WriteOptions& options,
                                    const Info& source);

/// The functions for image files, as a module hands them out, and what gives its copy of files/ the
/// program's list of unfinished files.
struct ImageBackend {
    decltype(&OpenStill) openStill;
    decltype(&OpenSequence) openSequence;
    decltype(&CreateImages) createImages;
    decltype(&ScaledToFill) scaledToFill;
    decltype(&files::Unfinished::Share) shareUnfinished;
};

struct VideoBackend {
    decltype(&OpenVideo) openVideo;
    decltype(&CreateVideo) createVideo;
    decltype(&JoinVideo) joinVideo;
    decltype(&CountFrames) countFrames;
    decltype(&EntryFrameNear) entryFrameNear;
    decltype(&files::Unfinished::Share) shareUnfinished;
};

struct ColorBackend {
    decltype(&OpenColorSpaces) open;
};

/// The one name that each module shows.
extern "C" const ImageBackend veltraneImages;
extern "C" const VideoBackend veltraneVideo;
extern "C" const ColorBackend veltraneColor;

}  // namespace veltrane::media

#endif
