#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

#include "cli/common_options.h"
#include "cli/errors.h"
#include "cli/key_command.h"
#include "cli/places.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "media/video_parts.h"
#include "settings/presets.h"

// One share of a shot's frames, as veltrane merge puts them together.

namespace veltrane::cli {

namespace {

/// Options that change no value of any frame, and those that are noted in another way.
bool IsOfNoAccount(const std::string& name) {
    constexpr const char* kNames[] = {"INPUT",    "OUTPUT",     "--threads", "--cpu",
                                      "--resume", "--quiet",    "--json",    "--chunk",
                                      "--preset", "--progress", "--help",    "--save-preset"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

Json GivenOptions(const CLI::App& command) {
    Json given = Json::object();
    for (const CLI::Option* option : command.get_options())
        if (option->count() > 0 && !IsOfNoAccount(option->get_name()))
            given[option->get_name()] = option->results();
    return given;
}

/// The frames of a shot; those of a video that does not tell its length are counted.
media::FrameRange CountedFrames(const media::Info& info) {
    media::FrameRange frames = FramesOf(info);
    if (frames.last == std::numeric_limits<std::int64_t>::max())
        frames.last = media::CountFrames(info.path);
    return frames;
}

/// A chunk's frames. Where a cut comes near to a frame of a video at which decoding can begin, it
/// is made there: a chunk is an eighth longer or shorter then, but nothing is decoded twice.
media::FrameRange FramesOf(const std::string& input, media::FrameRange shot, Chunk chunk) {
    media::FrameRange frames = ShareOf(shot, chunk);
    std::error_code ignored;
    const bool sequence = !std::filesystem::exists(input, ignored);
    if (sequence || !media::ImageFormatOf(input).empty()) return frames;
    const std::int64_t within = (shot.last - shot.first + 1) / chunk.count / 8;
    if (chunk.index > 1) frames.first = media::EntryFrameNear(input, frames.first, within);
    if (chunk.index < chunk.count)
        frames.last = media::EntryFrameNear(input, frames.last + 1, within) - 1;
    return frames;
}

/// A video's name that can be cut into chunks, or a sequence's.
void RequireJoinable(const std::string& output) {
    if (media::SequencePath::Parse(output) || media::IsJoinable(output)) return;
    if (!media::IsVideoName(output))
        throw UsageError("--chunk is for sequences and videos, and " + output + " is one picture");
    throw UsageError(output +
                     " cannot be put together from chunks, since its frames build on each other; "
                     "key to mov or mkv, merge, and encode that");
}

/// A video as its pictures describe themselves, by which its output is tagged; images may differ.
std::string Description(const media::Info& info) {
    return info.kind == media::Kind::Video ? info.format + ", " + info.pixels : "";
}

}  // namespace

void KeyCommand::CheckChunk() const {
    for (const std::string& file : inputs_.Named()) RequireInput(file);
    RequireInput(input_);
    for (const std::string& file : {output_, matteTo_, savePlate_})
        if (!file.empty()) RequireFolderOf(file);
    RequireJoinable(output_);
    if (!matteTo_.empty()) RequireJoinable(matteTo_);
    if (SavesEveryPlate()) RequireJoinable(savePlate_);
}

/// What is known of a chunk's shot before it is opened.
Json KeyCommand::WhatIsAsked(const Target& target, const Settings& settings, int chunks) const {
    std::error_code ignored;
    Json asked{{"veltrane", VELTRANE_VERSION},
               {"input", std::filesystem::absolute(input_, ignored).string()},
               {"chunks", chunks},
               {"range", frames_},
               {"fps", fps_},
               {"opaque", target.options.opaque},
               {"audio", target.options.audio},
               {"options", GivenOptions(*command_)}};
    const auto bytes = std::filesystem::file_size(input_, ignored);
    if (!ignored) asked["bytes"] = bytes;
    asked["asked"] = Json::parse(ToJson(settings));
    return asked;
}

/// What is found in the shot, once for all its chunks. Two that come first at a time find the same.
Json KeyCommand::Decide(const KeyColorRequest& request, KeySummary& summary) const {
    const std::unique_ptr<media::Reader> shot = media::Open(input_, ReadOptions());
    Check(summary.settings, shot->info());
    FirstFrame first = FetchFirst(*shot);
    ChooseSettings(request, *shot, first, summary);
    const media::FrameRange frames = CountedFrames(shot->info());
    Json decided{{"first", frames.first}, {"last", frames.last}};
    decided["begins"] = media::StampOf(LookAt(first, *shot, threads_));
    decided["source"] = Description(shot->info());
    decided["settings"] = Json::parse(ToJson(summary.settings));
    if (!summary.key) return decided;
    decided["key"] = {{"origin", summary.key->origin}};
    if (summary.key->coverage) decided["key"]["coverage"] = *summary.key->coverage;
    return decided;
}

void KeyCommand::Adopt(const ChunkFolder& folder, const Json& shot, KeySummary& summary) const try {
    summary.settings = FromJson(shot.at("settings").dump(), folder.Shot());
    if (!shot.contains("key")) return;
    const Json& key = shot["key"];
    summary.key = {summary.settings.keyColor, summary.settings.screen, key.at("origin"), {}};
    if (key.contains("coverage")) summary.key->coverage = key["coverage"];
    if (!quiet_) SayKeyColor(*summary.key);
} catch (const std::invalid_argument& error) {
    throw files::Error(error.what());
} catch (const Json::exception&) {
    files::Fail(folder.Shot(), "tells too little of the shot");
}

/// A share of a shot on its way into one output.
struct KeyCommand::Share {
    Target target;
    ChunkFolder folder;
    Json shot;
    std::shared_ptr<media::VideoPart> part{};  ///< of a video

    media::FrameRange Frames() const { return {shot.at("first"), shot.at("last")}; }
};

std::vector<KeyCommand::Share> KeyCommand::Shares(Chunk chunk, const KeyColorRequest& request,
                                                  KeySummary& summary) const {
    std::vector<Share> shares;
    for (const Target& target : Targets(summary.settings.view))
        shares.push_back(
            {target, ChunkFolder(target.path), WhatIsAsked(target, summary.settings, chunk.count)});
    const Share& leading = shares.front();
    const std::optional<Json> noted = leading.folder.Noted(leading.shot);
    if (noted) Adopt(leading.folder, *noted, summary);
    const Json decided = noted ? *noted : Decide(request, summary);
    for (Share& share : shares) {
        for (const char* name : {"first", "last", "begins", "source", "settings", "key"})
            if (decided.contains(name)) share.shot[name] = decided[name];
        share.shot["digest"] = DigestOf(share.shot.dump());
    }
    ShareOf(leading.Frames(), chunk);
    for (const Share& share : shares) share.folder.Agree(share.shot);
    return shares;
}

std::vector<std::unique_ptr<media::Writer>> KeyCommand::OpenShares(Chunk chunk,
                                                                   std::vector<Share>& shares,
                                                                   const media::Info& info) const {
    std::vector<std::unique_ptr<media::Writer>> writers;
    for (Share& share : shares) {
        media::WriteOptions options = share.target.options;
        const bool begun = share.folder.Begin(chunk.index);
        options.resume = resume_ || begun;
        std::string path = share.target.path;
        if (media::IsVideoName(path)) {
            share.part = options.part = std::make_shared<media::VideoPart>();
            options.part->framesBefore = info.firstFrame - share.Frames().first;
            options.part->firstStamp = share.shot["begins"];
            options.audio = options.resume = false;
            path = share.folder.Part(chunk.index);
        }
        writers.push_back(media::Create(path, options, WithRate(info)));
    }
    return writers;
}

void KeyCommand::KeyChunk(Chunk chunk, const KeyColorRequest& request, KeySummary& summary) const {
    std::vector<Share> shares = Shares(chunk, request, summary);
    const bool whole = std::all_of(shares.begin(), shares.end(), [&](const Share& share) {
        return share.folder.Whole(chunk.index, share.shot["digest"]).has_value();
    });
    if (whole) return void(quiet_ || (Say("chunk " + chunk.Text() + " is whole already"), true));
    const Settings& settings = summary.settings;
    media::ReadOptions options = ReadOptions();
    options.frames = FramesOf(input_, shares.front().Frames(), chunk);
    const std::unique_ptr<media::Reader> reader = media::Open(input_, options);
    const media::Info& info = reader->info();
    Check(settings, info);
    const std::string begins = shares.front().shot["source"];
    if (Description(info) != begins)
        files::Fail(input_, "begins as " + begins + ", and from frame " +
                                std::to_string(info.firstFrame) + " on is " + Description(info) +
                                "; key it in one run");
    const std::optional<media::Frame> background = Background(info);
    ShotInputs inputs(inputs_, info, ReadOptions());
    const auto writers = OpenShares(chunk, shares, info);
    if (!savePreset_.empty()) WritePreset(savePreset_, settings);
    const double began = Now();
    FirstFrame first = FetchFirst(*reader);
    if (!savePlate_.empty() && !SavesEveryPlate() && chunk.index == 1)
        SaveFirstPlate(LookAt(first, *reader, threads_), settings, info);
    ComparePlate(inputs, *reader, first, summary);
    KeyFrames(*reader, first, inputs, background, writers, summary);
    for (const Share& share : shares)
        share.folder.Finish(chunk.index, RecordOf(share, *options.frames, began, summary));
    Report(summary);
}

Json KeyCommand::RecordOf(const Share& share, media::FrameRange frames, double began,
                          const KeySummary& summary) const {
    Json record{{"shot", share.shot["digest"]},
                {"veltrane", VELTRANE_VERSION},
                {"first", frames.first},
                {"last", frames.last},
                {"keyed", summary.counts.written},
                {"host", HostName()},
                {"began", began},
                {"ended", Now()}};
    if (!share.part) return record;
    record["part"] = true;
    record["packets"] = share.part->digest;
    record["times"] = share.part->times;
    return record;
}

}  // namespace veltrane::cli
