#include "media/sequence_path.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "media/fail.h"

namespace veltrane::media {
namespace {

// More digits than any shot needs; a longer run is refused, and no number overflows.
constexpr std::size_t kMostDigits = 15;

struct Field {
    std::size_t begin;
    std::size_t length;
    std::size_t digits;
};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::optional<Field> HashField(const std::string& name, std::size_t at) {
    std::size_t end = at;
    while (end < name.size() && name[end] == '#') ++end;
    if (end == at) return std::nullopt;
    return Field{at, end - at, end - at};
}

std::optional<Field> PercentField(const std::string& name, std::size_t at) {
    if (name[at] != '%') return std::nullopt;
    std::size_t end = at + 1;
    while (end < name.size() && IsDigit(name[end])) ++end;
    if (end == name.size() || name[end] != 'd') return std::nullopt;
    std::size_t digits = 1;
    if (end > at + 1) {
        const auto parsed = std::from_chars(name.data() + at + 1, name.data() + end, digits);
        if (name[at + 1] != '0' || parsed.ec != std::errc()) return std::nullopt;
    }
    return Field{at, end + 1 - at, std::max<std::size_t>(digits, 1)};
}

std::vector<Field> Fields(const std::string& name) {
    std::vector<Field> fields;
    for (std::size_t at = 0; at < name.size(); ++at) {
        std::optional<Field> field = HashField(name, at);
        if (!field) field = PercentField(name, at);
        if (!field) continue;
        fields.push_back(*field);
        at += field->length - 1;
    }
    return fields;
}

}  // namespace

std::optional<SequencePath> SequencePath::Parse(const std::string& path) {
    const std::filesystem::path whole(path);
    const std::string name = whole.filename().string();
    const std::vector<Field> fields = Fields(name);
    if (fields.size() != 1 || fields[0].digits > kMostDigits) return std::nullopt;
    SequencePath result;
    result.pattern_ = path;
    result.folder_ = whole.parent_path().string();
    result.prefix_ = name.substr(0, fields[0].begin);
    result.suffix_ = name.substr(fields[0].begin + fields[0].length);
    result.digits_ = fields[0].digits;
    return result;
}

std::string SequencePath::ForNumber(std::int64_t number) const {
    std::string text = std::to_string(number);
    if (text.size() < digits_) text.insert(0, digits_ - text.size(), '0');
    return (std::filesystem::path(folder_) / (prefix_ + text + suffix_)).string();
}

std::optional<std::int64_t> SequencePath::NumberOf(std::string_view fileName) const {
    if (fileName.size() < prefix_.size() + suffix_.size() + digits_) return std::nullopt;
    if (!fileName.starts_with(prefix_) || !fileName.ends_with(suffix_)) return std::nullopt;
    fileName.remove_prefix(prefix_.size());
    fileName.remove_suffix(suffix_.size());
    if (fileName.size() > kMostDigits || !std::all_of(fileName.begin(), fileName.end(), IsDigit)) {
        return std::nullopt;
    }
    if (fileName.size() > digits_ && fileName.front() == '0') return std::nullopt;
    std::int64_t number = 0;
    std::from_chars(fileName.data(), fileName.data() + fileName.size(), number);
    return number;
}

std::vector<std::int64_t> SequencePath::List() const {
    std::vector<std::int64_t> numbers;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder_.empty() ? "." : folder_, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const auto number = NumberOf(entry->path().filename().string());
        if (number) numbers.push_back(*number);
    }
    if (error) Fail(pattern_, "the folder cannot be read: " + error.message());
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace veltrane::media
