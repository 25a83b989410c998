#include "cli/key_color.h"

#include <cmath>
#include <stdexcept>
#include <vector>

#include "cli/errors.h"
#include "cli/text.h"

namespace veltrane::cli {

namespace {

constexpr int kSampleSide = 9;

[[noreturn]] void RefuseColor(const std::string& text) {
    throw UsageError(
        "key-color must be auto, #rrggbb, r,g,b with parts of 0 to 1, or x,y@frame; "
        "not " +
        text);
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t at = 0; at != std::string_view::npos;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        at = end;
        if (at != std::string_view::npos) text.remove_prefix(end + 1);
    }
    return parts;
}

Color ParseComponents(const std::vector<std::string_view>& parts, const std::string& text) {
    double values[3];
    for (int i = 0; i < 3; ++i) {
        const std::optional<double> value = ParseNumber<double>(parts[i]);
        if (!value) RefuseColor(text);
        values[i] = *value;
    }
    Settings probe;
    probe.keyColor = {values[0], values[1], values[2]};
    const std::vector<std::string> problems = Problems(probe);
    if (!problems.empty()) throw UsageError(problems.front());
    return probe.keyColor;
}

SampleAt ParseSpot(std::string_view spot, const std::string& text) {
    std::optional<std::int64_t> frame;
    if (const std::size_t at = spot.find('@'); at != std::string_view::npos) {
        frame = ParseNumber<std::int64_t>(spot.substr(at + 1));
        if (!frame) RefuseColor(text);
        spot = spot.substr(0, at);
    }
    const std::vector<std::string_view> parts = Split(spot, ',');
    const std::optional<int> x = parts.size() == 2 ? ParseNumber<int>(parts[0]) : std::nullopt;
    const std::optional<int> y = parts.size() == 2 ? ParseNumber<int>(parts[1]) : std::nullopt;
    if (!x || !y) RefuseColor(text);
    return {*x, *y, frame};
}

std::string Name(const media::Frame& frame) {
    return "frame " + std::to_string(frame.number);
}

KeyColor Sample(const SampleAt& spot, const media::Frame& frame) {
    try {
        const Color color = AverageColor(frame.width, frame.height, frame.pixels.data(), spot.x,
                                         spot.y, kSampleSide);
        return {SnapToByteSteps(color),
                "taken at " + std::to_string(spot.x) + ',' + std::to_string(spot.y) + " of " +
                    Name(frame),
                std::nullopt};
    } catch (const std::invalid_argument& error) {
        throw UsageError(std::string("key-color: ") + error.what());
    }
}

KeyColor Find(const media::Frame& frame, const std::string& input) {
    const auto found = FindScreenColor(frame.width, frame.height, frame.pixels.data());
    if (!found)
        throw media::Error(input + ": no green screen found in " + Name(frame) +
                           "; give its colour with --key-color");
    const long percent = std::lround(found->coverage * 100);
    return {found->color, "found on " + std::to_string(percent) + " % of " + Name(frame),
            found->coverage};
}

}  // namespace

KeyColorRequest ParseKeyColor(const std::string& text) {
    if (text == "auto") return FindScreen{};
    if (const std::optional<Color> color = ParseHexColor(text)) return *color;
    const std::vector<std::string_view> parts = Split(text, ',');
    if (parts.size() == 3) return ParseComponents(parts, text);
    return ParseSpot(text, text);
}

KeyColor Resolve(const KeyColorRequest& request, const media::Frame& first,
                 const std::string& input, media::ReadOptions options) {
    if (const Color* color = std::get_if<Color>(&request))
        return {SnapToByteSteps(*color), "as given", std::nullopt};
    const SampleAt* spot = std::get_if<SampleAt>(&request);
    if (spot == nullptr) return Find(first, input);
    if (!spot->frame || *spot->frame == first.number) return Sample(*spot, first);
    options.frames.reset();
    return Sample(*spot, media::ReadFrame(input, *spot->frame, options));
}

}  // namespace veltrane::cli
