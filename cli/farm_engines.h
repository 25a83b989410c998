#ifndef VELTRANE_CLI_FARM_ENGINES_H
#define VELTRANE_CLI_FARM_ENGINES_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/farm_job.h"

namespace veltrane::cli {

/// How a job is handed to containers.
struct ContainerOptions {
    std::string image;
    std::vector<std::string> volumes;  ///< CLAIM:PATH
};

/// The highest chunk number that the cluster takes in an array. Throws files::Error where Slurm
/// does not answer.
int MostSlurmTasks();

/// Writes what sbatch takes for every task.
void WriteSlurm(const FarmJob& job);

/// Submits chunks of a shot, "3,5-7", or none, and the merge that waits for all of its tasks; notes
/// their numbers in the job. Throws files::Error with what Slurm says.
void SubmitSlurm(FarmJob& job, std::size_t shot, const std::string& chunks);

/// The states of a job's tasks that Slurm still knows as waiting or running, such as "RUNNING", by
/// shot and chunk.
std::map<std::pair<std::size_t, int>, std::string> SlurmStates(const FarmJob& job);

void CancelSlurm(const FarmJob& job);

/// Write what the engine takes, and return how to hand it over.
std::string WriteParallel(const FarmJob& job);
std::string WriteKubernetes(const FarmJob& job, const ContainerOptions& options);
std::string WriteOpenCue(const FarmJob& job);

}  // namespace veltrane::cli

#endif
