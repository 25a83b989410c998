#ifndef VELTRANE_CLI_FARM_STATUS_H
#define VELTRANE_CLI_FARM_STATUS_H

#include <string>
#include <vector>

#include "cli/farm_job.h"

namespace veltrane::cli {

/// How far a shot is.
struct ShotStatus {
    std::vector<int> done, running, waiting, failed;  ///< chunks
    std::vector<std::string> reasons;                 ///< of each that failed
    std::string mergeFailure;                         ///< of the last try; empty for none
    bool merging = false;                             ///< or waits to be
    bool merged = false;
    std::int64_t framesDone = 0;
    double began = 0;  ///< of the first chunk that is done, in seconds since 1970; 0 for none
    double ended = 0;  ///< of the last one
};

/// What the records beside the outputs, the logs and, with Slurm, the queue tell of each shot.
std::vector<ShotStatus> StatusOf(const FarmJob& job);

/// On some lines, and the same for machines.
std::string ForPeople(const FarmJob& job, const std::vector<ShotStatus>& status);
Json AsJson(const FarmJob& job, const std::vector<ShotStatus>& status);

}  // namespace veltrane::cli

#endif
