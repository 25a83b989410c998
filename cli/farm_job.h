#ifndef VELTRANE_CLI_FARM_JOB_H
#define VELTRANE_CLI_FARM_JOB_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/chunk_folder.h"
#include "cli/shot_list.h"

namespace veltrane::cli {

/// A shot that a farm keys in chunks.
struct FarmShot {
    Shot shot;
    int chunks = 1;
    std::int64_t frames = 0;
    std::vector<std::string> ids;  ///< what the engine called its tasks, arrays and merges
};

/// The folder that tells a farm's machines, and who asks after them, of the work: job.json, a
/// script for each shot, and their logs.
class FarmJob {
public:
    explicit FarmJob(const std::string& folder);

    /// Reads job.json. Throws files::Error when it is none.
    static FarmJob Read(const std::string& folder);
    /// Makes the folder and writes what the tasks run. Throws UsageError when there is a job.
    void Create(const std::string& program, const std::vector<std::string>& further);
    void Save() const;

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path Logs() const { return folder_ / "logs"; }
    /// What runs a shot's tasks: with a chunk's number, or "merge".
    std::filesystem::path Script(std::size_t shot) const;
    /// The newest log of a chunk; empty where it was never started.
    std::filesystem::path LogOf(std::size_t shot, int chunk) const;
    /// The same of the shot's merge.
    std::filesystem::path MergeLogOf(std::size_t shot) const;

    std::string engine;
    std::vector<std::string> engineOptions;  ///< of sbatch
    std::vector<FarmShot> shots;

private:
    std::filesystem::path NewestLog(const std::string& first, const std::string& last) const;
    void WriteScript(std::size_t shot, const std::string& program,
                     const std::vector<std::string>& further);

    std::filesystem::path folder_;
};

/// "001" for the first.
std::string ShotNumber(std::size_t shot);

/// Writes a file, executable where it is a script.
void WriteText(const std::filesystem::path& path, const std::string& text, bool script);

}  // namespace veltrane::cli

#endif
