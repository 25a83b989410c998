#ifndef VELTRANE_CLI_FARM_COMMAND_H
#define VELTRANE_CLI_FARM_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/farm_engines.h"
#include "cli/farm_job.h"

namespace veltrane::cli {

/// `veltrane farm`: shots in chunks, by other programs' queues.
class FarmCommand {
public:
    void AddTo(CLI::App& app);

private:
    void AddSubmit(CLI::App& farm);
    void AddStatus(CLI::App& farm);
    CLI::App* AddForJob(CLI::App& farm, const std::string& name, const std::string& help);

    void Submit();
    void Status() const;
    void Retry() const;
    void Cancel() const;
    std::string Engine() const;
    FarmShot Cut(const Shot& shot, int mostChunks) const;
    void HandOver(FarmJob& job) const;

    std::string source_;
    std::string output_;
    std::string folder_;  ///< of the job
    std::string extension_;
    std::string preset_;
    std::string program_;
    std::string partition_;
    std::vector<std::string> further_;
    std::vector<std::string> sbatch_;
    ContainerOptions container_;
    int chunks_ = 0;
    int framesPerChunk_ = 0;
    bool slurm_ = false, kubernetes_ = false, openCue_ = false, parallel_ = false;
    bool dryRun_ = false;
    bool watch_ = false;
    bool json_ = false;
};

}  // namespace veltrane::cli

#endif
