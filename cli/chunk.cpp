#include "cli/chunk.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "cli/errors.h"
#include "cli/text.h"
#include "files/error.h"
#include "files/whole_file.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

Chunk ParseChunk(const std::string& name, const std::string& text) {
    const std::string_view whole = text;
    const std::size_t slash = std::min(whole.find('/'), whole.size() - 1);
    const auto index = ParseNumber<int>(whole.substr(0, slash));
    const auto count = ParseNumber<int>(whole.substr(slash + 1));
    const bool valid = index && count && *index >= 1 && *index <= *count && *count <= kMostChunks;
    if (!valid)
        throw UsageError(name + " must be I/N with I from 1 to N and N up to " +
                         std::to_string(kMostChunks) + ", not " + text);
    return {*index, *count};
}

int Number(const char* name) {
    const auto number = ParseNumber<int>(Variable(name));
    if (!number)
        throw UsageError(std::string(name) + " must be a number, not \"" + Variable(name) + '"');
    return *number;
}

/// Slurm counts the tasks of an array, but not from 1, and not on where some are left out.
Chunk OfSlurm() {
    const int first = Number("SLURM_ARRAY_TASK_MIN"), count = Number("SLURM_ARRAY_TASK_COUNT");
    const int last = Number("SLURM_ARRAY_TASK_MAX"), own = Number("SLURM_ARRAY_TASK_ID");
    if (last - first + 1 != count)
        throw UsageError("chunk auto needs an array without gaps, not " + std::to_string(count) +
                         " tasks from " + std::to_string(first) + " to " + std::to_string(last) +
                         "; give --chunk I/N");
    const Chunk chunk{own - first + 1, count};
    return ParseChunk("Slurm's array", std::to_string(chunk.index) + '/' + std::to_string(count));
}

Chunk OfKubernetes() {
    const int index = Number("JOB_COMPLETION_INDEX"), count = Number("JOB_COMPLETION_COUNT");
    return ParseChunk("JOB_COMPLETION_INDEX/COUNT",
                      std::to_string(index + 1) + '/' + std::to_string(count));
}

}  // namespace

std::string Chunk::Text() const {
    return std::to_string(index) + " of " + std::to_string(count);
}

std::optional<Chunk> ChosenChunk(const std::string& option) {
    const std::string given = Variable("VELTRANE_CHUNK");
    if (option.empty() && given.empty()) return std::nullopt;
    if (option.empty()) return ParseChunk("VELTRANE_CHUNK", given);
    if (option != "auto") return ParseChunk("chunk", option);
    if (!given.empty()) return ParseChunk("VELTRANE_CHUNK", given);
    if (!Variable("SLURM_ARRAY_TASK_ID").empty()) return OfSlurm();
    if (!Variable("JOB_COMPLETION_INDEX").empty()) return OfKubernetes();
    throw UsageError(
        "chunk auto needs VELTRANE_CHUNK, a task of a Slurm array, or an indexed job of "
        "Kubernetes with JOB_COMPLETION_COUNT");
}

media::FrameRange ShareOf(media::FrameRange shot, Chunk chunk) {
    const std::int64_t frames = shot.last - shot.first + 1;
    if (chunk.count > frames)
        throw UsageError("chunk must be one of at most " + std::to_string(frames) +
                         ", as many as there are frames, not of " + std::to_string(chunk.count));
    const auto begin = [&](int index) { return shot.first + frames * (index - 1) / chunk.count; };
    return {begin(chunk.index), begin(chunk.index + 1) - 1};
}

std::string ListText(const std::vector<int>& numbers) {
    std::vector<std::string> runs;
    for (std::size_t first = 0, next = 0; first < numbers.size(); first = next) {
        for (next = first + 1; next < numbers.size();) {
            if (numbers[next] != numbers[next - 1] + 1) break;
            ++next;
        }
        const std::string begin = std::to_string(numbers[first]);
        runs.push_back(next - first == 1 ? begin : begin + '-' + std::to_string(numbers[next - 1]));
    }
    return Joined(runs, ",");
}

void RequireInput(const std::string& path) {
    std::error_code error;
    if (fs::exists(path, error)) return;
    const auto sequence = media::SequencePath::Parse(path);
    const fs::path folder = fs::path(path).parent_path();
    if (sequence && fs::is_directory(folder.empty() ? "." : folder, error) &&
        !sequence->List().empty())
        return;
    throw files::StorageError(files::ErrorLine(path, "cannot be seen from this machine"));
}

void RequireFolderOf(const std::string& output) {
    const fs::path parent = fs::path(files::Destination(output)).parent_path();
    const fs::path folder = parent.empty() ? "." : parent;
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return;
    throw files::StorageError(files::ErrorLine(
        output, "its folder cannot be seen from this machine, or not be written to"));
}

}  // namespace veltrane::cli
