#include "cli/common_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "cli/errors.h"

namespace veltrane::cli {

namespace {

/// An option whose values go by name; the first name is the default.
template <typename Value>
void AddNamed(CLI::App& command, const std::string& name, Value& value, const std::string& help,
              const std::vector<std::pair<std::string, Value>>& values) {
    std::string names;
    for (const auto& entry : values) names += (names.empty() ? "" : "|") + entry.first;
    const auto parse = [&value, values, names, name](const std::string& text) {
        for (const auto& entry : values) {
            if (entry.first != text) continue;
            value = entry.second;
            return;
        }
        throw UsageError(name.substr(2) + " must be " + names + ", not " + text);
    };
    command
        .add_option_function<std::string>(name, parse, help + " [default: " + values[0].first + "]")
        ->type_name(names);
}

template <typename Number>
bool ParseAll(const std::string& text, std::size_t begin, std::size_t end, Number& number) {
    const char* const last = text.data() + end;
    const auto parsed = std::from_chars(text.data() + begin, last, number);
    return parsed.ec == std::errc() && parsed.ptr == last;
}

}  // namespace

void AddTransferOption(CLI::App& command, media::Transfer& transfer) {
    AddNamed<media::Transfer>(
        command, "--transfer", transfer,
        "How stored values become display-referred ones: linear applies the sRGB curve and undoes "
        "it on writing, none takes them as they are, auto is linear for EXR and for video tagged "
        "as linear.",
        {{"auto", media::Transfer::Automatic},
         {"linear", media::Transfer::Linear},
         {"none", media::Transfer::None}});
}

void AddAlphaOption(CLI::App& command, const std::string& name, media::Association& association,
                    const std::string& help) {
    AddNamed<media::Association>(command, name, association, help,
                                 {{"auto", media::Association::Automatic},
                                  {"straight", media::Association::Straight},
                                  {"premultiplied", media::Association::Premultiplied}});
}

void AddThreadsOption(CLI::App& command, int& threads) {
    constexpr int kMost = 512;
    threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMost);
    const auto parse = [&threads](const std::string& text) {
        if (!ParseAll(text, 0, text.size(), threads) || threads < 1 || threads > kMost)
            throw UsageError("threads must be 1 to " + std::to_string(kMost) + ", not " + text);
    };
    command
        .add_option_function<std::string>("--threads", parse,
                                          "Frames keyed side by side. [default: all cores]")
        ->type_name("N");
}

media::Rational ParseRate(const std::string& text) {
    constexpr double kHighest = 1000;
    media::Rational rate;
    double decimal = 0;
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos) {
        if (ParseAll(text, 0, slash, rate.num) &&
            ParseAll(text, slash + 1, text.size(), rate.den) && rate.den > 0)
            decimal = static_cast<double>(rate.num) / static_cast<double>(rate.den);
    } else if (ParseAll(text, 0, text.size(), decimal) && decimal > 0 && decimal <= kHighest) {
        // 23.976, 29.97 and the like stand for whole rates slowed by 1000/1001.
        const double whole = std::round(decimal);
        const bool slowed = std::abs(decimal - whole * 1000 / 1001) < 0.002 && decimal != whole;
        rate = slowed ? media::Rational{std::llround(whole * 1000), 1001}
                      : media::Rational{std::llround(decimal * 1000), 1000};
    }
    if (!(decimal > 0 && decimal <= kHighest) || rate.num <= 0)
        throw UsageError("fps must be above 0 and at most 1000, not " + text);
    return rate;
}

media::FrameRange ParseFrameRange(const std::string& text) {
    media::FrameRange range{};
    const std::size_t dash = text.find('-');
    const bool open = dash != std::string::npos && dash + 1 == text.size();
    bool good = ParseAll(text, 0, std::min(dash, text.size()), range.first);
    range.last = open ? std::numeric_limits<std::int64_t>::max() : range.first;
    if (dash != std::string::npos && !open)
        good = good && ParseAll(text, dash + 1, text.size(), range.last);
    if (!good) throw UsageError("frames must be a number or a range such as 10-50, not " + text);
    if (range.last < range.first)
        throw UsageError("frames must not end before they begin: " + text);
    return range;
}

void Say(const std::string& line) {
    std::fprintf(stderr, "veltrane: %s\n", line.c_str());
}

}  // namespace veltrane::cli
