#include "cli/places.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "cli/errors.h"
#include "files/whole_file.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kIsSource = " is a source of this call";
constexpr const char* kIsWritten = " would be written twice";

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
    throw UsageError(path + reason + "; give the output another name");
}

/// One spelling for each place, where nothing may be yet.
fs::path PlaceOf(const std::string& path) {
    std::error_code error;
    const fs::path file = fs::absolute(files::Destination(path), error);
    const fs::path folder = fs::weakly_canonical(file.parent_path(), error);
    return error ? file.lexically_normal() : folder / file.filename();
}

/// The frames that exist; none in a folder that cannot be read, which reading or writing will tell.
std::vector<std::string> Existing(const media::SequencePath& sequence, media::FrameRange frames) {
    std::vector<std::string> paths;
    try {
        for (const std::int64_t number : sequence.List())
            if (number >= frames.first && number <= frames.last)
                paths.push_back(sequence.ForNumber(number));
    } catch (const media::Error&) {
    }
    return paths;
}

}  // namespace

Places::Places() {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat status;
        if (::fstat(stream, &status) == 0 && S_ISREG(status.st_mode))
            taken_[{status.st_dev, status.st_ino}] = " is where this call's messages go";
    }
}

void Places::NoteSource(const std::string& path) {
    struct stat status;
    if (files::IsTemporary(path))
        throw UsageError(path + " is an unfinished file, left behind; give it another name first");
    if (::stat(path.c_str(), &status) == 0) taken_[{status.st_dev, status.st_ino}] = kIsSource;
}

void Places::Reads(const std::string& path) {
    std::error_code ignored;
    const auto sequence = media::SequencePath::Parse(path);
    if (!sequence || fs::exists(path, ignored)) return NoteSource(path);
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    for (const std::string& frame : Existing(*sequence, {0, kLast})) NoteSource(frame);
}

void Places::NoteOutput(const std::string& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) return;
    const auto [entry, added] = taken_.try_emplace({status.st_dev, status.st_ino}, kIsWritten);
    if (!added) Refuse(path, entry->second);
}

void Places::Writes(const std::string& path, media::FrameRange frames) {
    const fs::path place = PlaceOf(path);
    const Output output{place, media::SequencePath::Parse(place.string()), frames};
    const bool twice = std::any_of(outputs_.begin(), outputs_.end(), [&](const Output& other) {
        return other.Holds(output) || output.Holds(other);
    });
    if (twice) Refuse(path, kIsWritten);
    outputs_.push_back(output);
    const auto sequence = media::SequencePath::Parse(path);
    if (!sequence) return NoteOutput(path);
    for (const std::string& frame : Existing(*sequence, frames)) NoteOutput(frame);
}

bool Places::Output::Holds(const Output& single) const {
    if (place == single.place) return true;
    if (!sequence || place.parent_path() != single.place.parent_path()) return false;
    const auto number = sequence->NumberOf(single.place.filename().string());
    return number && *number >= frames.first && *number <= frames.last;
}

void RefuseGaps(const media::Info& info) {
    if (info.missingFrames.empty()) return;
    constexpr std::size_t kMostShown = 20;
    std::string numbers;
    for (std::size_t i = 0; i < info.missingFrames.size() && i < kMostShown; ++i)
        numbers += (i == 0 ? "" : ", ") + std::to_string(info.missingFrames[i]);
    if (info.missingFrames.size() > kMostShown)
        numbers += " and " + std::to_string(info.missingFrames.size() - kMostShown) + " more";
    throw media::Error(info.path + ": frames are missing: " + numbers);
}

media::FrameRange FramesOf(const media::Info& info) {
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    if (!info.frameCount) return {info.firstFrame, kLast};
    return {info.firstFrame, info.firstFrame + *info.frameCount - 1};
}

}  // namespace veltrane::cli
