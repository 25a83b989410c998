#include "cli/key_color.h"

#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

#include "cli/errors.h"
#include "cli/text.h"

namespace veltrane::cli {

namespace {

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

/// The kind of screen of a colour that was chosen.
Screen ScreenFor(const Color& color, const ScreenHint& hint) {
    const std::optional<Screen> own = ScreenOf(color);
    if (hint.demanded && own.value_or(*hint.demanded) != *hint.demanded)
        throw UsageError("key-color " + HexText(color) + " is that of a " + ScreenName(*own) +
                         " screen, but --screen is " + ScreenName(*hint.demanded));
    if (hint.demanded) return *hint.demanded;
    return own.value_or(hint.usual.value_or(Screen::Green));
}

KeyColor Chosen(const Color& color, const ScreenHint& hint, std::string origin) {
    const Color snapped = SnapToByteSteps(color);
    return {snapped, ScreenFor(snapped, hint), std::move(origin), std::nullopt};
}

KeyColor Sample(const SampleAt& spot, const ScreenHint& hint, const media::Frame& frame) {
    try {
        const Color color = AverageColor(frame.width, frame.height, frame.pixels.data(), spot.x,
                                         spot.y, kSampleSide);
        return Chosen(color, hint,
                      "taken at " + std::to_string(spot.x) + ',' + std::to_string(spot.y) + " of " +
                          Name(frame));
    } catch (const std::invalid_argument& error) {
        throw UsageError(std::string("key-color: ") + error.what());
    }
}

KeyColor Find(const media::Frame& frame, const ScreenHint& hint, const std::string& input) {
    const std::optional<Screen> kind = hint.demanded ? hint.demanded : hint.usual;
    const auto found = FindScreenColor(frame.width, frame.height, frame.pixels.data(), kind);
    if (!found)
        throw media::Error(input + ": no " + (kind ? ScreenName(*kind) : "green or blue") +
                           " screen found in " + Name(frame) +
                           "; give its colour with --key-color");
    const long percent = std::lround(found->coverage * 100);
    return {found->color, found->screen,
            "found on " + std::to_string(percent) + " % of " + Name(frame), found->coverage};
}

}  // namespace

KeyColorRequest ParseKeyColor(const std::string& text) {
    if (text == "auto") return FindScreen{};
    if (const std::optional<Color> color = ParseHexColor(text)) return *color;
    const std::vector<std::string_view> parts = Split(text, ',');
    if (parts.size() == 3) return ParseComponents(parts, text);
    return ParseSpot(text, text);
}

KeyColor Resolve(const KeyColorRequest& request, const ScreenHint& hint, const media::Frame& first,
                 const std::string& input, media::ReadOptions options) {
    if (const Color* color = std::get_if<Color>(&request)) return Chosen(*color, hint, "as given");
    const SampleAt* spot = std::get_if<SampleAt>(&request);
    if (spot == nullptr) return Find(first, hint, input);
    if (!spot->frame || *spot->frame == first.number) return Sample(*spot, hint, first);
    options.frames.reset();
    return Sample(*spot, hint, media::ReadFrame(input, *spot->frame, options));
}

std::string ScreenName(Screen screen) {
    return ParameterOf(ParameterId::Screen).entries[static_cast<std::size_t>(screen)].name;
}

}  // namespace veltrane::cli
