#include "cli/common_options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "cli/errors.h"
#include "cli/text.h"
#include "imaging/cpu/cpu.h"

namespace veltrane::cli {

namespace {

constexpr const char* kCompressions = "none|rle|zips|zip|piz|dwaa[:LEVEL]|dwab[:LEVEL]|lzw";

/// An option whose values go by name; the first name is the default.
template <typename Value>
void AddNamed(CLI::App& command, const std::string& name, Value& value, const std::string& help,
              const std::vector<std::pair<std::string, Value>>& values) {
    std::vector<std::string> all;
    for (const auto& entry : values) all.push_back(entry.first);
    const std::string names = Joined(all, "|");
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

/// "zip", or "dwaa:45" with a level. Throws UsageError for anything else.
media::Compression ParseCompression(const std::string& text) {
    using Method = media::Compression::Method;
    constexpr Method kMethods[] = {Method::None, Method::Rle,  Method::Zips, Method::Zip,
                                   Method::Piz,  Method::Dwaa, Method::Dwab, Method::Lzw};
    const std::size_t colon = std::min(text.find(':'), text.size());
    const Method* method = std::find_if(std::begin(kMethods), std::end(kMethods), [&](Method each) {
        return text.substr(0, colon) == media::CompressionName(each);
    });
    if (method == std::end(kMethods)) {
        throw UsageError("compression must be " + std::string(kCompressions) + ", not " + text);
    }
    media::Compression compression{*method, std::nullopt};
    if (colon == text.size()) return compression;
    const auto [least, most] = media::kDwaLevels;
    const bool leveled = *method == Method::Dwaa || *method == Method::Dwab;
    compression.level = ParseNumber<int>(std::string_view(text).substr(colon + 1));
    const int level = compression.level.value_or(0);
    if (!leveled || level < least || level > most) {
        throw UsageError("compression has levels of " + std::to_string(least) + " to " +
                         std::to_string(most) + " for dwaa and dwab alone, not " + text);
    }
    return compression;
}

std::vector<std::string> CpuNames() {
    std::vector<std::string> names;
    for (const CpuLevel level : CpuLevels()) names.emplace_back(CpuLevelName(level));
    return names;
}

/// 23.976, 29.97 and the like stand for whole rates slowed by 1000/1001.
media::Rational RationalRate(double decimal) {
    const double whole = std::round(decimal);
    const bool slowed = std::abs(decimal - whole * 1000 / 1001) < 0.002 && decimal != whole;
    if (slowed) return {std::llround(whole * 1000), 1001};
    return {std::llround(decimal * 1000), 1000};
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

void AddColorSpaceOptions(CLI::App& command, media::ColorSpaces& spaces) {
    command
        .add_option("--colorspace", spaces.file,
                    "The files' colour space, by its name in an OpenColorIO config.")
        ->type_name("NAME");
    command
        .add_option("--key-space", spaces.key,
                    "The space to key in. [default: the config's sRGB texture or display space]")
        ->type_name("NAME");
    command.add_option("--ocio", spaces.config, "The OpenColorIO config. [default: $OCIO]")
        ->type_name("FILE");
}

std::shared_ptr<const media::ColorConversion> OpenSpaces(media::ColorSpaces& spaces,
                                                         media::Transfer transfer) {
    if (spaces.file.empty()) {
        const char* given = !spaces.key.empty() ? "--key-space" : "--ocio";
        if (!spaces.key.empty() || !spaces.config.empty())
            throw UsageError(std::string(given) + " has no effect without --colorspace");
        return nullptr;
    }
    if (transfer != media::Transfer::Automatic)
        throw UsageError("--colorspace and --transfer exclude each other");
    const char* usual = std::getenv("OCIO");
    if (spaces.config.empty() && usual != nullptr) spaces.config = usual;
    if (spaces.config.empty())
        throw UsageError("--colorspace needs a config: --ocio FILE or the environment's OCIO");
    return media::OpenColorSpaces(spaces);
}

void AddAlphaOption(CLI::App& command, const std::string& name, media::Association& association,
                    const std::string& help) {
    AddNamed<media::Association>(command, name, association, help,
                                 {{"auto", media::Association::Automatic},
                                  {"straight", media::Association::Straight},
                                  {"premultiplied", media::Association::Premultiplied}});
}

void AddCompressionOption(CLI::App& command, media::Compression& compression) {
    const auto parse = [&compression](const std::string& text) {
        compression = ParseCompression(text);
    };
    command
        .add_option_function<std::string>(
            "--compression", parse,
            "How images are compressed: EXR by all but lzw, TIFF by none, lzw and zip; dwaa and "
            "dwab lose detail, more with a higher level. [default: zip]")
        ->type_name(kCompressions);
}

void AddThreadsOption(CLI::App& command, int& threads) {
    constexpr int kMost = 512;
    threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMost);
    const auto parse = [&threads](const std::string& text) {
        threads = ParseNumber<int>(text).value_or(0);
        if (threads < 1 || threads > kMost)
            throw UsageError("threads must be 1 to " + std::to_string(kMost) + ", not " + text);
    };
    command
        .add_option_function<std::string>(
            "--threads", parse, "Threads to decode, key and encode with. [default: all cores]")
        ->type_name("N");
}

void AddCpuOption(CLI::App& command, std::string& cpu) {
    command
        .add_option("--cpu", cpu,
                    "Instruction set to key with; the results are the same. [default: "
                    "VELTRANE_CPU, or " +
                        CpuNames().back() + "]")
        ->type_name(Joined(CpuNames(), "|"));
}

void UseCpu(const std::string& cpu) {
    const char* wanted = std::getenv("VELTRANE_CPU");
    const std::string text = cpu.empty() && wanted ? wanted : cpu;
    if (text.empty()) return;
    for (const CpuLevel level : CpuLevels()) {
        if (text == CpuLevelName(level)) return void(UseCpuLevel(level));
    }
    throw UsageError("cpu must be " + Joined(CpuNames(), "|") + " on this machine, not " + text);
}

media::Rational ParseRate(const std::string& text) {
    constexpr double kHighest = 1000;
    const std::string_view whole = text;
    media::Rational rate;
    double decimal = 0;
    if (const std::size_t slash = whole.find('/'); slash != std::string_view::npos) {
        rate.num = ParseNumber<std::int64_t>(whole.substr(0, slash)).value_or(0);
        rate.den = ParseNumber<std::int64_t>(whole.substr(slash + 1)).value_or(0);
        if (rate.den > 0) decimal = static_cast<double>(rate.num) / static_cast<double>(rate.den);
    } else {
        decimal = ParseNumber<double>(whole).value_or(0);
        if (decimal > 0 && decimal <= kHighest) rate = RationalRate(decimal);
    }
    if (!(decimal > 0 && decimal <= kHighest) || rate.num <= 0)
        throw UsageError("fps must be above 0 and at most 1000, not " + text);
    return rate;
}

media::FrameRange ParseFrameRange(const std::string& text) {
    const std::string_view whole = text;
    const std::size_t dash = whole.find('-');
    const std::optional first = ParseNumber<std::int64_t>(whole.substr(0, dash));
    std::optional last = first;
    if (dash != std::string_view::npos) {
        const std::string_view end = whole.substr(dash + 1);
        last =
            end.empty() ? std::numeric_limits<std::int64_t>::max() : ParseNumber<std::int64_t>(end);
    }
    if (!first || !last)
        throw UsageError("frames must be a number or a range such as 10-50, not " + text);
    if (*last < *first) throw UsageError("frames must not end before they begin: " + text);
    return {*first, *last};
}

void Say(const std::string& line) {
    std::fprintf(stderr, "veltrane: %s\n", OneLine(line, kLongestLine).c_str());
}

}  // namespace veltrane::cli
