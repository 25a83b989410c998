#include "studio/file_list.h"

#include <algorithm>
#include <map>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>

#include "files/error.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "studio/work_file.h"

namespace veltrane::studio {

namespace fs = std::filesystem;
using Kind = ListedFile::Kind;

namespace {

/// By the name alone: a folder may hold thousands of files, which are looked into when one is
/// opened.
std::optional<Kind> KindOf(const std::string& name) {
    constexpr std::pair<const char*, Kind> kEndings[] = {
        {".png", Kind::Still},  {".jpg", Kind::Still},  {".jpeg", Kind::Still},
        {".tif", Kind::Still},  {".tiff", Kind::Still}, {".exr", Kind::Still},
        {".dpx", Kind::Still},  {".bmp", Kind::Still},  {".webp", Kind::Still},
        {".tga", Kind::Still},  {".hdr", Kind::Still},  {".cin", Kind::Still},
        {".mov", Kind::Video},  {".mp4", Kind::Video},  {".m4v", Kind::Video},
        {".mkv", Kind::Video},  {".webm", Kind::Video}, {".avi", Kind::Video},
        {".mxf", Kind::Video},  {".mpg", Kind::Video},  {".mpeg", Kind::Video},
        {".mts", Kind::Video},  {".m2ts", Kind::Video}, {".ts", Kind::Video},
        {".svg", Kind::Shapes}, {".json", Kind::Preset}};
    if (name.ends_with(kWorkEnding)) return std::nullopt;
    const std::string ending = media::Extension(name);
    const auto found = std::find_if(std::begin(kEndings), std::end(kEndings),
                                    [&](const auto& known) { return ending == known.first; });
    if (found == std::end(kEndings)) return std::nullopt;
    return found->second;
}

/// A name around its last run of digits.
struct Numbered {
    std::string prefix, digits, suffix;
};

std::optional<Numbered> Split(const std::string& name) {
    constexpr const char* kDigits = "0123456789";
    const std::size_t stem = name.size() - fs::path(name).extension().string().size();
    if (stem == 0) return std::nullopt;
    const std::size_t last = name.find_last_of(kDigits, stem - 1);
    if (last == std::string::npos) return std::nullopt;
    const std::size_t before = name.find_last_not_of(kDigits, last);
    const std::size_t first = before == std::string::npos ? 0 : before + 1;
    return Numbered{name.substr(0, first), name.substr(first, last + 1 - first),
                    name.substr(last + 1)};
}

using Groups = std::map<std::pair<std::string, std::string>, std::vector<std::string>>;

std::string PatternOf(const Numbered& name) {
    const std::size_t digits = name.digits.size();
    return name.prefix + (digits == 1 ? "%d" : "%0" + std::to_string(digits) + "d") + name.suffix;
}

/// The files of one prefix and ending: a sequence where the pattern of the shortest number holds
/// two or more of them, and the rest as stills.
void AddGroup(const std::vector<std::string>& names, std::vector<ListedFile>& list) {
    const auto shorter = [](const std::string& a, const std::string& b) {
        return std::make_tuple(a.size(), a) < std::make_tuple(b.size(), b);
    };
    const std::string& shortest = *std::min_element(names.begin(), names.end(), shorter);
    const std::string pattern = PatternOf(*Split(shortest));
    const auto sequence = media::SequencePath::Parse(pattern);
    const auto belongs = [&](const std::string& name) {
        return sequence && sequence->NumberOf(name).has_value();
    };
    const auto count = std::count_if(names.begin(), names.end(), belongs);
    if (count > 1) list.push_back({pattern, Kind::Sequence, static_cast<std::size_t>(count)});
    for (const std::string& name : names)
        if (count < 2 || !belongs(name)) list.push_back({name, Kind::Still});
}

}  // namespace

const char* KindName(Kind kind) {
    constexpr const char* kNames[] = {"folder", "still", "sequence", "video", "shapes", "preset"};
    return kNames[static_cast<int>(kind)];
}

std::vector<ListedFile> ListFolder(const fs::path& folder) {
    std::vector<ListedFile> list;
    Groups groups;
    std::error_code error, ignored;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with('.')) continue;
        const std::optional<Kind> kind =
            entry->is_directory(ignored) ? std::optional(Kind::Folder) : KindOf(name);
        const auto parts = kind == Kind::Still ? Split(name) : std::nullopt;
        if (parts)
            groups[{parts->prefix, parts->suffix}].push_back(name);
        else if (kind)
            list.push_back({name, *kind});
    }
    if (error) files::Fail(folder.string(), "the folder cannot be read: " + error.message());
    for (const auto& [ends, names] : groups) AddGroup(names, list);
    std::sort(list.begin(), list.end(), [](const ListedFile& a, const ListedFile& b) {
        return std::make_tuple(a.kind != Kind::Folder, a.name) <
               std::make_tuple(b.kind != Kind::Folder, b.name);
    });
    return list;
}

}  // namespace veltrane::studio
