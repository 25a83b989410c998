#include <algorithm>
#include <sstream>

#include "cli/child_process.h"
#include "cli/chunk.h"
#include "cli/farm_engines.h"
#include "cli/text.h"
#include "files/error.h"

namespace veltrane::cli {

namespace {

/// What the program printed. Throws files::Error where it failed: another try may find the
/// scheduler back.
std::string Ask(const std::vector<std::string>& command) {
    const ChildOutcome outcome = RunChild(command);
    if (outcome.status == 127) files::Fail(command[0], "is not installed on this machine");
    if (outcome.status != 0) files::Fail(command[0], outcome.LastLine());
    return outcome.out;
}

// A task asks for another try by itself: RequeueExit is for those who run the cluster to set.
constexpr const char* kTask = R"(#!/bin/sh
script=$1
task=${2:-$SLURM_ARRAY_TASK_ID}
if [ -x "$script" ]; then
    "$script" "$task"
    status=$?
else
    echo "veltrane farm: $(uname -n) cannot see $script"
    status=75
fi
if [ $status -eq 75 ] && [ "${SLURM_RESTART_COUNT:-0}" -lt 3 ]; then
    own=$SLURM_JOB_ID
    [ "$task" = merge ] || own=${SLURM_ARRAY_JOB_ID}_$SLURM_ARRAY_TASK_ID
    scontrol requeue "$own" && sleep 60
fi
exit $status
)";

std::filesystem::path TaskFile(const FarmJob& job) {
    return job.folder() / "task.slurm";
}

std::vector<std::string> Sbatch(const FarmJob& job, std::size_t shot, const std::string& log) {
    std::vector<std::string> command{"sbatch",
                                     "--parsable",
                                     "--requeue",
                                     "--open-mode=append",
                                     "--job-name=veltrane-" + job.shots[shot].shot.name,
                                     "--output=" + (job.Logs() / log).string()};
    command.insert(command.end(), job.engineOptions.begin(), job.engineOptions.end());
    return command;
}

/// Submits and returns the number given, without the cluster's name behind it.
std::string Submit(std::vector<std::string> command, const std::vector<std::string>& task) {
    command.insert(command.end(), task.begin(), task.end());
    const std::string answer = Ask(command);
    return answer.substr(0, answer.find_first_of(";\n"));
}

}  // namespace

int MostSlurmTasks() {
    const std::string settings = Ask({"scontrol", "show", "config"});
    const std::size_t name = settings.find("MaxArraySize");
    const std::size_t begin = std::min(settings.find_first_of("0123456789", name), settings.size());
    const std::size_t end = std::min(settings.find('\n', begin), settings.size());
    const auto size = ParseNumber<int>(std::string_view(settings).substr(begin, end - begin));
    return std::clamp(size.value_or(1001) - 1, 1, kMostChunks);
}

void WriteSlurm(const FarmJob& job) {
    WriteText(TaskFile(job), kTask, true);
}

void SubmitSlurm(FarmJob& job, std::size_t shot, const std::string& chunks) {
    FarmShot& own = job.shots[shot];
    const std::string file = TaskFile(job), script = job.Script(shot);
    const std::string number = ShotNumber(shot);
    if (!chunks.empty()) {
        std::vector<std::string> array = Sbatch(job, shot, number + ".%A_%a.log");
        array.push_back("--array=" + chunks);
        own.ids.push_back(Submit(array, {file, script}));
        job.Save();
    }
    std::vector<std::string> merge = Sbatch(job, shot, number + ".merge.%j.log");
    if (!own.ids.empty()) merge.push_back("--dependency=afterany:" + Joined(own.ids, ":"));
    own.ids.push_back(Submit(merge, {file, script, "merge"}));
    job.Save();
}

std::map<std::pair<std::size_t, int>, std::string> SlurmStates(const FarmJob& job) {
    std::map<std::string, std::size_t> shotOf;
    for (std::size_t i = 0; i < job.shots.size(); ++i)
        for (const std::string& id : job.shots[i].ids) shotOf[id] = i;
    std::map<std::pair<std::size_t, int>, std::string> states;
    if (shotOf.empty()) return states;
    std::istringstream lines(
        Ask({"squeue", "--noheader", "--array", "--all", "--format=%F %K %T"}));
    std::string id, task, state;
    while (lines >> id >> task >> state) {
        const auto shot = shotOf.find(id);
        const auto chunk = ParseNumber<int>(task);
        if (shot == shotOf.end()) continue;
        states[{shot->second, chunk.value_or(0)}] = state;  // 0: the merge
    }
    return states;
}

void CancelSlurm(const FarmJob& job) {
    std::vector<std::string> command{"scancel", "--quiet"};
    for (const FarmShot& shot : job.shots)
        command.insert(command.end(), shot.ids.begin(), shot.ids.end());
    if (command.size() > 2) Ask(command);
}

}  // namespace veltrane::cli
