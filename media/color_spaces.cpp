#include "media/color_spaces.h"

#include <OpenColorIO/OpenColorIO.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <mutex>
#include <numeric>
#include <vector>

#include "media/backends.h"
#include "media/fail.h"

namespace veltrane::media {
namespace {

namespace OCIO = OCIO_NAMESPACE;

using Names = std::vector<std::string>;

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// How many letters must be changed, added or left out to make one word of another.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = corner + (a[i] != b[j]);
            corner = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

Names NamesIn(const OCIO::ConstConfigRcPtr& config) {
    constexpr auto kBoth = OCIO::SEARCH_REFERENCE_SPACE_ALL;
    Names names;
    const int count = config->getNumColorSpaces(kBoth, OCIO::COLORSPACE_ALL);
    for (int i = 0; i < count; ++i)
        names.emplace_back(config->getColorSpaceNameByIndex(kBoth, OCIO::COLORSPACE_ALL, i));
    return names;
}

[[noreturn]] void RefuseName(const OCIO::ConstConfigRcPtr& config, const ColorSpaces& spaces,
                             const std::string& name) {
    constexpr std::size_t kMostShown = 3;
    Names names = NamesIn(config);
    const std::string wanted = Lower(name);
    const auto rank = [&](const std::string& known) {
        const std::string lower = Lower(known);
        const bool part = lower.find(wanted) != lower.npos;
        return std::pair(!part, Distance(wanted, lower));
    };
    std::ranges::stable_sort(names, {}, rank);
    std::string nearest;
    for (std::size_t i = 0; i < std::min(names.size(), kMostShown); ++i)
        nearest += (i == 0 ? "; the nearest it has: " : ", ") + names[i];
    Fail(spaces.config, "has no colour space " + name + nearest);
}

/// A space's own name, by its name, a role or an alias.
std::string Known(const OCIO::ConstConfigRcPtr& config, const ColorSpaces& spaces,
                  const std::string& name) {
    const auto space = config->getColorSpace(name.c_str());
    if (!space) RefuseName(config, spaces, name);
    return space->getName();
}

/// The space that holds sRGB as pictures do, by the names that configurations give it, or else the
/// first one named after it that is not linear.
std::string DisplaySpace(const OCIO::ConstConfigRcPtr& config, const ColorSpaces& spaces) {
    static constexpr std::array kUsual{
        "sRGB - Texture", "Utility - sRGB - Texture", "srgb_texture", "srgb_tx",
        "sRGB",           "sRGB - Display",           "Output - sRGB"};
    for (const char* name : kUsual)
        if (const auto space = config->getColorSpace(name)) return space->getName();
    for (const std::string& name : NamesIn(config)) {
        const std::string lower = Lower(name);
        const bool linear = lower.find("lin") != lower.npos;
        if (lower.find("srgb") != lower.npos && !linear) return name;
    }
    Fail(spaces.config, "names no sRGB space; say with --key-space in which one to key");
}

class Conversion : public ColorConversion {
public:
    explicit Conversion(const ColorSpaces& spaces) {
        const auto config = OCIO::Config::CreateFromFile(spaces.config.c_str());
        const std::string file = Known(config, spaces, spaces.file);
        key_ =
            spaces.key.empty() ? DisplaySpace(config, spaces) : Known(config, spaces, spaces.key);
        toKey_ = Processor(config, file, key_);
        fromKey_ = Processor(config, key_, file);
    }

    void ToKey(float* colors, std::size_t pixels) const override { Apply(toKey_, colors, pixels); }
    void FromKey(float* colors, std::size_t pixels) const override {
        Apply(fromKey_, colors, pixels);
    }
    const std::string& KeySpace() const override { return key_; }

private:
    static OCIO::ConstCPUProcessorRcPtr Processor(const OCIO::ConstConfigRcPtr& config,
                                                  const std::string& from, const std::string& to) {
        return config->getProcessor(from.c_str(), to.c_str())
            ->getOptimizedCPUProcessor(OCIO::OPTIMIZATION_LOSSLESS);
    }

    static void Apply(const OCIO::ConstCPUProcessorRcPtr& processor, float* colors,
                      std::size_t pixels) {
        OCIO::PackedImageDesc row(colors, static_cast<long>(pixels), 1, 3);
        processor->apply(row);
    }

    std::string key_;
    OCIO::ConstCPUProcessorRcPtr toKey_;
    OCIO::ConstCPUProcessorRcPtr fromKey_;
};

/// The library's message on one line, without the file's name.
std::string Reason(const std::string& message) {
    return message.substr(0, message.find('\n'));
}

}  // namespace

std::shared_ptr<const ColorConversion> OpenColorSpaces(const ColorSpaces& spaces) {
    static std::once_flag once;
    std::call_once(once, [] { OCIO::SetLoggingLevel(OCIO::LOGGING_LEVEL_NONE); });
    try {
        return std::make_shared<Conversion>(spaces);
    } catch (const OCIO::Exception& error) {
        Fail(spaces.config, Reason(error.what()));
    }
}

}  // namespace veltrane::media
