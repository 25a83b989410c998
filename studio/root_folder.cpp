#include "studio/root_folder.h"

#include <algorithm>
#include <system_error>

#include "files/error.h"
#include "files/whole_file.h"
#include "media/sequence_path.h"
#include "studio/http.h"

namespace veltrane::studio {

namespace fs = std::filesystem;

namespace {

constexpr int kForbidden = 403;
constexpr int kNotFound = 404;

}  // namespace

RootFolder::RootFolder(const std::string& path) {
    std::error_code error;
    path_ = fs::canonical(path, error);
    if (error || !fs::is_directory(path_, error)) files::Fail(path, "is no folder");
}

fs::path RootFolder::Within(const fs::path& path, const std::string& name) const {
    const auto [root, rest] = std::mismatch(path_.begin(), path_.end(), path.begin(), path.end());
    if (root == path_.end()) return path;
    throw Refusal(kForbidden, name +
                                  " lies outside the folder that the studio was started for; "
                                  "start it with another --root");
}

fs::path RootFolder::Existing(const std::string& name) const {
    // Text of a program in C ends at a zero, so that another file would be opened than was checked.
    if (name.find('\0') != std::string::npos)
        throw Refusal(kNotFound, "a file with a zero in its name is not there");
    std::error_code error;
    const fs::path path = Within(fs::weakly_canonical(path_ / name, error), name);
    if (error || !fs::exists(path, error))
        throw Refusal(kNotFound, name + " is not there; choose another file");
    return path;
}

fs::path RootFolder::Shot(const std::string& name) const {
    std::error_code error;
    const fs::path whole = path_ / name;
    const auto pattern = media::SequencePath::Parse(whole.string());
    if (!pattern || fs::exists(whole, error)) return Existing(name);
    const fs::path path = Existing(whole.parent_path().string()) / whole.filename();
    const auto sequence = media::SequencePath::Parse(path.string());
    for (const std::int64_t number : sequence->List()) Existing(sequence->ForNumber(number));
    return path;
}

fs::path RootFolder::Place(const std::string& name) const {
    const fs::path whole = path_ / name;
    if (!whole.has_filename() || name.find('\0') != std::string::npos)
        throw Refusal(kNotFound, name + " is no file's name; give the file a name");
    const fs::path path = Existing(whole.parent_path().string()) / whole.filename();
    // A link would be followed when the file is written.
    const auto check = [&](const std::string& file) {
        const fs::path end = files::Destination(file);
        Within(Existing(end.parent_path().string()) / end.filename(), name);
    };
    check(path.string());
    const auto sequence = media::SequencePath::Parse(path.string());
    if (!sequence) return path;
    for (const std::int64_t number : sequence->List()) check(sequence->ForNumber(number));
    return path;
}

std::string RootFolder::NameOf(const fs::path& path) const {
    const fs::path name = path.lexically_relative(path_);
    return name == "." ? std::string() : name.string();
}

}  // namespace veltrane::studio
