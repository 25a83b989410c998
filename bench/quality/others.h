#ifndef VELTRANE_BENCH_QUALITY_OTHERS_H
#define VELTRANE_BENCH_QUALITY_OTHERS_H

#include <optional>
#include <string>
#include <vector>

#include "settings/screen_color.h"
#include "shots.h"

namespace veltrane::bench {

/// What another program's keyer is told.
struct OtherInput {
    std::string source;  ///< the shot, absolute
    int width;
    int height;
    ScreenColor screen;
    std::string settings;  ///< in the program's own words; empty for its defaults
};

/// Another program's keyer.
struct Other {
    std::string name;
    std::string program;
    /// Its command line, which writes the keyed frames as 00001.png and so on where it runs.
    std::vector<std::string> (*command)(const OtherInput& input);
    bool readsRaw = false;  ///< takes frames.rgba, the frames in 8 bits, instead of the shot's file
    std::string settings{};
};

/// FFmpeg's chromakey and despill. Settings are chromakey's similarity:blend.
Other Ffmpeg(const std::string& settings = {});
/// GStreamer's alpha. Settings are properties, such as "angle=30 noise-level=4".
Other Gstreamer(const std::string& settings = {});

bool IsInstalled(const Other& other);

/// Keys the shot by it. Throws std::runtime_error where the program fails.
Figures Measure(const Other& other, const Shot& shot, const ScreenColor& screen);

}  // namespace veltrane::bench

#endif
