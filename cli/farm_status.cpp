#include "cli/farm_status.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "cli/chunk.h"
#include "cli/farm_engines.h"
#include "cli/text.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

/// How the last try went, by its log.
struct LogEnd {
    bool begun = false;
    bool ended = false;
    std::string reason;
};

LogEnd EndOf(const fs::path& log) {
    LogEnd end;
    std::ifstream file(log);
    std::string status;
    for (std::string line; std::getline(file, line);) {
        const std::string own = "veltrane farm: ", said = "veltrane: ";
        if (line.starts_with(said)) end.reason = line.substr(said.size());
        if (!line.starts_with(own)) continue;
        const std::size_t ended = line.find(" ended ");
        const bool begins = line.find(" began ") != line.npos;
        if (begins) end = {true, false, ""};
        if (ended != line.npos) {
            end.ended = true;
            status = line.substr(ended + 7);
        } else if (!begins) {
            end = {true, true, line.substr(own.size())};  // it cannot see its files
            status = "75";
        }
    }
    const int code = ParseNumber<int>(status).value_or(0);
    if (end.ended && status == "0")
        end.reason = "was done, but what it made is damaged or gone";
    else if (end.ended && code > 128 && code != 130)
        end.reason = "killed by signal " + std::to_string(code - 128);
    else if (end.ended)
        end.reason = "exit " + status + ": " + end.reason;
    return end;
}

using States = std::map<std::pair<std::size_t, int>, std::string>;

/// The state of a chunk that is not done.
void Sort(const FarmJob& job, const States& states, std::size_t shot, int chunk,
          ShotStatus& status) {
    const bool slurm = job.engine == "slurm";
    const auto queued = states.find({shot, chunk});
    if (queued != states.end()) {
        const bool runs = queued->second == "RUNNING" || queued->second == "COMPLETING";
        return (runs ? status.running : status.waiting).push_back(chunk);
    }
    const fs::path log = job.LogOf(shot, chunk);
    const LogEnd end = log.empty() ? LogEnd{} : EndOf(log);
    if (!slurm && !end.begun) return status.waiting.push_back(chunk);
    if (!slurm && !end.ended) return status.running.push_back(chunk);
    status.failed.push_back(chunk);
    if (end.ended)
        status.reasons.push_back(end.reason);
    else
        status.reasons.emplace_back(end.begun ? "ended without a word: killed, or its node was lost"
                                              : "was never started, or cancelled");
}

bool IsMerged(const std::string& output, const ChunkFolder& folder) {
    std::error_code ignored;
    if (fs::exists(folder.path(), ignored)) return false;
    const auto sequence = media::SequencePath::Parse(output);
    if (!sequence) return fs::exists(output, ignored);
    const fs::path parent = fs::path(output).parent_path();
    return fs::is_directory(parent.empty() ? "." : parent, ignored) && !sequence->List().empty();
}

void CountDone(const Json& record, ShotStatus& status) {
    status.framesDone +=
        record.at("last").get<std::int64_t>() - record.at("first").get<std::int64_t>() + 1;
    const double began = record.at("began"), ended = record.at("ended");
    status.began = status.began == 0 ? began : std::min(status.began, began);
    status.ended = std::max(status.ended, ended);
}

ShotStatus StatusOf(const FarmJob& job, const States& states, std::size_t number) {
    const FarmShot& shot = job.shots[number];
    const ChunkFolder folder(shot.shot.output);
    ShotStatus status;
    status.merging = states.contains({number, 0});
    status.merged = IsMerged(shot.shot.output, folder);
    const std::optional<Json> noted = ReadJson(folder.Shot());
    const std::string digest = noted ? noted->value("digest", "") : "";
    for (int chunk = 1; chunk <= shot.chunks; ++chunk) {
        const std::optional<Json> record = folder.Whole(chunk, digest);
        if (record || status.merged)
            status.done.push_back(chunk);
        else
            Sort(job, states, number, chunk, status);
        if (record) CountDone(*record, status);
    }
    if (status.merged) status.framesDone = shot.frames;
    const fs::path log = job.MergeLogOf(number);
    const LogEnd merge = log.empty() || status.merged || status.merging ? LogEnd{} : EndOf(log);
    if (merge.ended) status.mergeFailure = merge.reason;
    return status;
}

struct Totals {
    std::int64_t frames = 0, done = 0, keyed = 0;
    double began = 0, ended = 0;

    /// Frames a second over all; 0 where nothing tells.
    double Rate() const {
        return ended > began && keyed > 0 ? static_cast<double>(keyed) / (ended - began) : 0;
    }
};

Totals TotalsOf(const FarmJob& job, const std::vector<ShotStatus>& status) {
    Totals totals;
    for (std::size_t i = 0; i < status.size(); ++i) {
        totals.frames += job.shots[i].frames;
        totals.done += status[i].framesDone;
        if (status[i].began == 0) continue;
        totals.keyed += status[i].framesDone;
        totals.began =
            totals.began == 0 ? status[i].began : std::min(totals.began, status[i].began);
        totals.ended = std::max(totals.ended, status[i].ended);
    }
    return totals;
}

std::string Row(const std::string& name, const FarmShot& shot, const ShotStatus& status) {
    const char* merge = status.merged ? "merged" : status.merging ? "waits for its merge" : "";
    char row[400];
    std::snprintf(row, sizeof row, "%-20.200s %7lld %7d %5zu %8zu %8zu %7zu  %s\n", name.c_str(),
                  static_cast<long long>(shot.frames), shot.chunks, status.done.size(),
                  status.running.size(), status.waiting.size(), status.failed.size(), merge);
    return row;
}

}  // namespace

std::vector<ShotStatus> StatusOf(const FarmJob& job) {
    const States states = job.engine == "slurm" ? SlurmStates(job) : States();
    std::vector<ShotStatus> all;
    for (std::size_t i = 0; i < job.shots.size(); ++i) all.push_back(StatusOf(job, states, i));
    return all;
}

std::string ForPeople(const FarmJob& job, const std::vector<ShotStatus>& status) {
    std::string text = "shot                  frames  chunks  done  running  waiting  failed\n";
    for (std::size_t i = 0; i < status.size(); ++i) {
        text += Row(job.shots[i].shot.name, job.shots[i], status[i]);
        for (std::size_t f = 0; f < status[i].failed.size(); ++f)
            text += "  chunk " + std::to_string(status[i].failed[f]) + ": " +
                    OneLine(status[i].reasons[f], kLongestLine) + '\n';
        if (!status[i].mergeFailure.empty())
            text += "  merge: " + OneLine(status[i].mergeFailure, kLongestLine) + '\n';
    }
    const Totals totals = TotalsOf(job, status);
    text += std::to_string(totals.done) + " of " + std::to_string(totals.frames) + " frames";
    if (totals.Rate() > 0) {
        char figures[80];
        const double left = static_cast<double>(totals.frames - totals.done) / totals.Rate();
        std::snprintf(figures, sizeof figures, ", %.1f frames/s over all, %.0f s left",
                      totals.Rate(), left);
        text += figures;
    }
    return text + '\n';
}

Json AsJson(const FarmJob& job, const std::vector<ShotStatus>& status) {
    Json shots = Json::array();
    for (std::size_t i = 0; i < status.size(); ++i) {
        const ShotStatus& own = status[i];
        Json failed = Json::array();
        for (std::size_t f = 0; f < own.failed.size(); ++f)
            failed.push_back({{"chunk", own.failed[f]}, {"reason", own.reasons[f]}});
        shots.push_back({{"name", job.shots[i].shot.name},
                         {"frames", job.shots[i].frames},
                         {"frames-done", own.framesDone},
                         {"chunks", job.shots[i].chunks},
                         {"done", ListText(own.done)},
                         {"running", ListText(own.running)},
                         {"waiting", ListText(own.waiting)},
                         {"failed", failed},
                         {"merging", own.merging},
                         {"merged", own.merged}});
        if (!own.mergeFailure.empty()) shots.back()["merge-failure"] = own.mergeFailure;
    }
    const Totals totals = TotalsOf(job, status);
    return {{"engine", job.engine},
            {"shots", shots},
            {"frames", totals.frames},
            {"done", totals.done},
            {"fps", totals.Rate()}};
}

}  // namespace veltrane::cli
