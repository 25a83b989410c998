#include "cli/plate_source.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace veltrane::cli {

std::string PlateReport::Text() const {
    constexpr double kPercent = 100;
    char text[256];
    if (!fit) {
        std::snprintf(text, sizeof text,
                      "%.0f %% looks like screen; too little of the screen is seen in the shot to "
                      "compare them",
                      kPercent * screen);
        return text;
    }
    std::snprintf(text, sizeof text,
                  "%.0f %% looks like screen; the shot is %.3f %.3f %.3f of it (red, green, blue) "
                  "and %+.2f %+.2f %+.2f %% of full scale",
                  kPercent * screen, fit->red.gain, fit->green.gain, fit->blue.gain,
                  kPercent * fit->red.offset, kPercent * fit->green.offset,
                  kPercent * fit->blue.offset);
    return text;
}

bool PlateReport::IsLitOtherwise(const Color& keyColor) const {
    constexpr double kMost = 0.02;
    const auto differs = [](const ChannelFit& channel, double level) {
        return std::abs(channel.gain * level + channel.offset - level) > kMost * level;
    };
    const bool green = keyColor.green >= keyColor.blue;
    return fit && (green ? differs(fit->green, keyColor.green) : differs(fit->blue, keyColor.blue));
}

PlateSource::PlateSource(const std::string& path, const media::Info& shot,
                         media::ReadOptions options, PlateMatch match)
    : file_("clean plate", path, shot, std::move(options)), match_(match) {
    first_ = file_.Fetch(shot.firstFrame);
    if (file_.IsStill()) still_ = std::make_shared<media::Frame>(file_.Decode(*first_));
}

PlateReport PlateSource::Compare(const media::Frame& shot, const Color& keyColor) {
    constexpr double kLeastScreen = 0.03;
    const media::Frame plate = still_ ? *still_ : file_.Decode(*first_);
    keyColor_ = keyColor;
    const double screen = ScreenShare(plate.width, plate.height, plate.pixels.data(), keyColor);
    if (screen < kLeastScreen) {
        char found[64];
        std::snprintf(found, sizeof found, "%.1f %% of it looks like ", 100 * screen);
        throw media::Error(file_.name() + ": shows no screen; " + found + HexText(keyColor));
    }
    return {screen,
            FitPlate(shot.width, shot.height, shot.pixels.data(), plate.pixels.data(), keyColor)};
}

std::shared_ptr<media::Fetched> PlateSource::Fetch(std::int64_t shotFrame) {
    if (still_) return nullptr;
    return first_ ? std::exchange(first_, nullptr) : file_.Fetch(shotFrame);
}

std::shared_ptr<const media::Frame> PlateSource::Decode(const media::Fetched* fetched,
                                                        const media::Frame& shot) const {
    auto plate = still_ ? still_ : std::make_shared<media::Frame>(file_.Decode(*fetched));
    if (match_ == PlateMatch::None) return plate;
    auto matched = std::make_shared<media::Frame>(*plate);
    if (!MatchPlate(match_, shot.width, shot.height, shot.pixels.data(), matched->pixels.data(),
                    keyColor_))
        ++unmatched_;
    return matched;
}

}  // namespace veltrane::cli
