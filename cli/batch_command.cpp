#include "cli/batch_command.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "cli/child_process.h"
#include "cli/chunk_folder.h"
#include "cli/common_options.h"
#include "cli/errors.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

/// One that is whole and no older than what it was made of.
bool IsUpToDate(const Shot& shot) {
    std::error_code error;
    const auto made = fs::last_write_time(shot.output, error);
    if (error) return false;
    for (const std::string& source : {shot.input, shot.preset})
        if (!source.empty() && (fs::last_write_time(source, error) > made || error)) return false;
    return true;
}

/// Whether the frames that exist were made with no older settings.
bool MayResume(const media::SequencePath& output, const std::string& preset) {
    const std::vector<std::int64_t> numbers = output.List();
    std::error_code error;
    if (numbers.empty() || preset.empty()) return true;
    const auto made = fs::last_write_time(output.ForNumber(numbers.front()), error);
    return fs::last_write_time(preset, error) <= made;
}

}  // namespace

struct BatchCommand::Result {
    Shot shot;
    int status = kDone;
    std::string reason;  ///< of a failure
    Json summary;        ///< of veltrane key

    std::string Text() const {
        if (status != kDone) return "failed (" + std::to_string(status) + "): " + reason;
        if (summary.is_null()) return "whole already";
        char figures[80];
        std::snprintf(figures, sizeof figures, "%lld frames, %lld kept, %.1f fps, key %s%s",
                      summary["frames"].get<long long>(), summary["kept"].get<long long>(),
                      summary["fps"].get<double>(), summary["key-color"].get<std::string>().c_str(),
                      summary.contains("found") ? ", sliders found" : "");
        return figures;
    }

    Json AsJson() const {
        Json json{{"input", shot.input}, {"output", shot.output}, {"status", status}};
        if (!shot.preset.empty()) json["preset"] = shot.preset;
        if (status != kDone) json["reason"] = reason;
        if (!summary.is_null()) json["key"] = summary;
        return json;
    }
};

void BatchCommand::AddTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("batch", "Key many shots, one after the other.");
    command
        ->add_option("FOLDER_OR_LIST", source_,
                     "A folder of videos, sequences and stills, or a .txt that names one a line.")
        ->required()
        ->type_name("");
    command->add_option("OUT_FOLDER", output_, "Where to write them.")->required()->type_name("");
    command->add_option("--to", extension_, "Write all as this. [default: mov, and images as such]")
        ->type_name("EXT");
    command
        ->add_option("--preset", preset_,
                     "Settings for shots that have no SHOT.veltrane.json beside them.")
        ->type_name("FILE");
    command
        ->add_option("--key", further_,
                     "A further option of veltrane key, such as --key=--no-audio.")
        ->type_name("OPTION")
        ->allow_extra_args(false);
    command->add_flag("--json", json_, "Print the summary for machines.");
    command->callback([this] { Run(); });
}

/// Each shot has a process of its own: whatever footage does to a decoder, the others are keyed.
BatchCommand::Result BatchCommand::KeyOne(const Shot& shot) const {
    Result result{shot, kDone, "", nullptr};
    const auto sequence = media::SequencePath::Parse(shot.output);
    if (!sequence && IsUpToDate(shot)) return result;
    std::vector<std::string> words{OwnPath(), "key", shot.input, shot.output, "--json", "--quiet"};
    const std::string& preset = shot.preset.empty() ? preset_ : shot.preset;
    if (!preset.empty()) words.insert(words.end(), {"--preset", preset});
    words.insert(words.end(), further_.begin(), further_.end());
    try {
        MakeFolderFor(shot.output);
        if (sequence && MayResume(*sequence, preset)) words.emplace_back("--resume");
        const ChildOutcome outcome = RunChild(words);
        result.status = outcome.status;
        result.reason = outcome.LastLine();
        if (outcome.status == kDone) result.summary = Json::parse(outcome.out);
    } catch (const files::Error& error) {
        result.status = dynamic_cast<const files::StorageError*>(&error) ? kTryAgain : kFailed;
        result.reason = error.what();
    }
    return result;
}

void BatchCommand::Finish(const std::vector<Result>& results) const {
    Json all = Json::array();
    for (const Result& result : results) all.push_back(result.AsJson());
    WriteJson(fs::path(output_) / "batch.json", all);
    if (json_) {
        std::cout << all.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
        return;
    }
    std::size_t longest = 4;
    for (const Result& result : results) longest = std::max(longest, result.shot.name.size());
    for (const Result& result : results)
        std::printf("%-*s  %s\n", static_cast<int>(longest), result.shot.name.c_str(),
                    result.Text().c_str());
}

void BatchCommand::Run() const {
    const std::vector<Shot> shots = ListShots(source_, output_, extension_);
    MakeFolderFor(fs::path(output_) / "batch.json");
    std::vector<Result> results;
    for (const Shot& shot : shots) {
        results.push_back(KeyOne(shot));
        Say(std::to_string(results.size()) + '/' + std::to_string(shots.size()) + ' ' + shot.input +
            ": " + results.back().Text());
    }
    Finish(results);
    std::size_t failed = 0, passing = 0;
    for (const Result& result : results) {
        failed += result.status != kDone;
        passing += result.status == kTryAgain;
    }
    if (failed == 0) return;
    const std::string line = std::to_string(failed) + " of " + std::to_string(shots.size()) +
                             " shots failed; the others are done";
    if (failed == passing) throw files::StorageError(line);
    throw files::Error(line);
}

}  // namespace veltrane::cli
