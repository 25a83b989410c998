#include "cli/key_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "cli/common_options.h"
#include "cli/composite.h"
#include "cli/errors.h"
#include "cli/frame_pipeline.h"
#include "cli/key_color.h"
#include "cli/places.h"
#include "imaging/cpu/cpu.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "settings/presets.h"

namespace veltrane::cli {

namespace {

bool IsBlack(Color color) {
    return SnapToByteSteps(color) == Color{0, 0, 0};
}

/// What became of the work, added to the line that tells why it ended early.
std::string Remains(const FrameCounts& counts, const std::string& output) {
    if (!media::SequencePath::Parse(output)) return "; " + output + " was not written";
    return "; frames whole before it: " + std::to_string(counts.written + counts.kept);
}

}  // namespace

void KeyCommand::AddTo(CLI::App& app) {
    CLI::App& c = *app.add_subcommand("key", "Key a video, an image sequence or a still.");
    c.add_option("INPUT", input_, "A video, a still, or a sequence such as shot.%04d.exr.")
        ->required()
        ->type_name("");
    c.add_option(
         "OUTPUT", output_,
         "What to write; its name tells the format. With alpha: " + media::FormatsWithAlpha() + ".")
        ->required()
        ->type_name("");
    settings_.AddTo(c);
    c.add_option("--preset", preset_, "Start from the settings in this file.")->type_name("FILE");
    c.add_option("--save-preset", savePreset_, "Keep the settings used in this file.")
        ->type_name("FILE");
    CLI::Option* automatic = c.add_flag(
        "--auto", auto_,
        "Find the sliders that are not given from the whole shot, as is done where none is.");
    c.add_flag("--defaults", defaults_, "Find the key colour only; leave the rest as listed here.")
        ->excludes(automatic);
    c.add_option("--frames", frames_, "Key only these frames.")->type_name("A-B");
    c.add_option("--background", background_, "Put the result over a picture or a colour.")
        ->type_name("IMAGE|#rrggbb");
    c.add_option("--matte-to", matteTo_,
                 "Write the matte to this file, as grey, and to OUTPUT the colour without it.")
        ->type_name("FILE");
    c.add_option("--garbage", inputs_.garbage,
                 "A matte of what is always out, where it is white or opaque; a picture, sequence, "
                 "video, or shapes in an SVG.")
        ->type_name("FILE");
    c.add_option("--core", inputs_.core, "A matte of what is always in, unless it is garbage.")
        ->type_name("FILE");
    c.add_option("--clean-plate", inputs_.cleanPlate,
                 "The empty set, to key against instead of a model of it; a picture, sequence or "
                 "video of the same size.")
        ->type_name("FILE");
    c.add_flag("--match-plate", inputs_.matchPlate,
               "Bring the clean plate to every frame's exposure.");
    c.add_flag("--match-shade", inputs_.matchShade,
               "The same, and to the wide shade that the subject casts on the set.");
    c.add_option(
         "--save-plate", savePlate_,
         "Write the modelled clean plate, to be painted and given back: of every frame into "
         "a sequence or video, of the first one into a picture.")
        ->type_name("FILE");
    AddTransferOption(c, transfer_);
    AddColorSpaceOptions(c, spaces_);
    c.add_option("--background-space", backgroundSpace_,
                 "The background picture's colour space. [default: that of --colorspace]")
        ->type_name("NAME");
    AddAlphaOption(c, "--alpha", writeAlpha_, "How the output holds colour beside alpha.");
    AddAlphaOption(c, "--input-alpha", readAlpha_, "How the input holds colour beside alpha.");
    AddCompressionOption(c, compression_);
    c.add_option("--fps", fps_, "Frame rate of a video made from stills. [default: 24]")
        ->type_name("RATE");
    AddThreadsOption(c, threads_);
    AddCpuOption(c, cpu_);
    c.add_option("--chunk", chunk_,
                 "Key only the I-th of N shares of the frames, for veltrane merge to put together; "
                 "auto asks the scheduler. [default: VELTRANE_CHUNK]")
        ->type_name("I/N|auto");
    c.add_flag("--resume", resume_, "Keep the frames of a sequence that exist whole.");
    c.add_flag("--no-audio", noAudio_, "Leave the sound out of a video.");
    c.add_flag("--quiet", quiet_, "Print errors only.");
    c.add_flag("--json", json_, "Print a machine-readable summary.");
    c.add_flag("--progress", progress_, "Print a line of JSON as frames are finished.");
    command_ = &c;
    c.callback([this] { Run(); });
}

Settings KeyCommand::BaseSettings() const {
    if (preset_.empty()) return {};
    try {
        return ReadPreset(preset_);
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

media::ReadOptions KeyCommand::ReadOptions() const {
    media::ReadOptions options;
    options.transfer = transfer_;
    options.association = readAlpha_;
    options.threads = threads_;
    options.conversion = conversion_;
    if (!frames_.empty()) options.frames = ParseFrameRange(frames_);
    return options;
}

media::WriteOptions KeyCommand::WriteOptions(View view) const {
    media::WriteOptions options;
    if (transfer_ == media::Transfer::None) options.transfer = transfer_;
    options.association = writeAlpha_;
    const bool isFill = !matteTo_.empty();
    if (isFill && writeAlpha_ == media::Association::Automatic)
        options.association = media::Association::Straight;
    options.opaque = IsOpaque(view) || !background_.empty() || isFill;
    options.compression = compression_;
    options.resume = resume_;
    options.audio = !noAudio_;
    options.threads = threads_;
    // Mattes and their heights are no colour of any space.
    if (view != View::Matte && view != View::Status)
        options.conversion = conversion_;
    else if (conversion_)
        options.transfer = media::Transfer::None;
    return options;
}

/// The matte's values are no colour, so no curve is applied to them.
media::WriteOptions KeyCommand::MatteOptions() const {
    media::WriteOptions options;
    options.transfer = media::Transfer::None;
    options.opaque = true;
    options.compression = compression_;
    options.resume = resume_;
    options.audio = false;
    options.threads = threads_;
    return options;
}

std::string KeyCommand::KeyColorText(const Settings& settings) const {
    if (!settings_.keyColor().empty()) return settings_.keyColor();
    return IsBlack(settings.keyColor) ? "auto" : HexText(settings.keyColor);
}

std::optional<media::Frame> KeyCommand::Background(const media::Info& info) const {
    if (!backgroundSpace_.empty()) {
        if (background_.empty()) throw UsageError("--background-space needs a --background");
        if (!conversion_) throw UsageError("--background-space has no effect without --colorspace");
    }
    if (background_.empty()) return std::nullopt;
    if (const std::optional<Color> color = ParseHexColor(background_))
        return PlainPicture(info.width, info.height, *color);
    if (background_[0] == '#')
        throw UsageError("background must be an image or #rrggbb, not " + background_);
    const bool own = !backgroundSpace_.empty();
    const auto conversion =
        own ? media::OpenColorSpaces({spaces_.config, backgroundSpace_, conversion_->KeySpace()})
            : conversion_;
    return media::ReadBackground(background_, info.width, info.height, conversion);
}

void KeyCommand::Check(const Settings& settings, const media::Info& info) const {
    CheckMatteTo(settings, info);
    CheckPlaces(info);
    RefuseGaps(info);
    CheckPlateOptions(settings);
}

void KeyCommand::CheckMatteTo(const Settings& settings, const media::Info& info) const {
    if (matteTo_.empty()) return;
    if (settings.view != View::Result) throw UsageError("--matte-to goes with --view result only");
    if (!background_.empty()) throw UsageError("--matte-to and --background exclude each other");
    const bool linear = info.transfer == media::Transfer::Linear || output_.ends_with(".exr");
    if (writeAlpha_ == media::Association::Premultiplied && (linear || conversion_))
        throw UsageError("--matte-to multiplies display-referred colour only; leave out --alpha");
}

media::Info KeyCommand::WithRate(media::Info info) const {
    if (fps_.empty()) return info;
    if (info.kind == media::Kind::Video)
        throw UsageError("--fps is for stills and sequences; " + info.path + " has its own rate");
    info.frameRate = ParseRate(fps_);
    return info;
}

/// A preset tells its screen unless --screen is given, but one without a key colour only where that
/// is not the default.
ScreenHint KeyCommand::HintFrom(const Settings& settings) const {
    const bool told = !IsBlack(settings.keyColor) || settings.screen != Screen::Green;
    ScreenHint hint{settings_.screen(), std::nullopt};
    if (!preset_.empty() && told && !settings_.screenGiven()) hint.usual = settings.screen;
    return hint;
}

void KeyCommand::CheckPlaces(const media::Info& info) const {
    for (const std::string& output : {output_, matteTo_})
        if (resume_ && !output.empty() && !media::SequencePath::Parse(output))
            throw UsageError("--resume is for sequences, and " + output + " is one file");
    Places places;
    for (const std::string& source : {input_, background_, preset_, spaces_.config})
        if (!source.empty()) places.Reads(source);
    for (const std::string& source : inputs_.Named()) places.Reads(source);
    for (const std::string& output : {output_, matteTo_, savePlate_})
        if (!output.empty()) places.Writes(output, FramesOf(info));
    // The preset has been read to its end, so it may be saved under the same name.
    std::error_code ignored;
    const bool same = std::filesystem::equivalent(preset_, savePreset_, ignored);
    if (!savePreset_.empty() && !same) places.Writes(savePreset_, {0, 0});
}

void KeyCommand::ChooseKeyColor(const KeyColorRequest& request, media::Reader& reader,
                                FirstFrame& first, KeySummary& summary) const {
    Settings& settings = summary.settings;
    const ScreenHint hint = HintFrom(settings);
    settings.screen = hint.demanded.value_or(settings.screen);
    if (settings.view == View::Source && std::holds_alternative<FindScreen>(request)) return;
    const media::Frame none;
    const bool given = std::holds_alternative<Color>(request);
    const media::Frame& frame = given ? none : LookAt(first, reader, threads_);
    summary.key = Resolve(request, hint, frame, input_, ReadOptions());
    settings.keyColor = summary.key->color;
    settings.screen = summary.key->screen;
    if (quiet_) return;
    SayKeyColor(*summary.key);
    if (IsBlack(settings.keyColor)) Say("a black key colour leaves the frames unkeyed");
}

void KeyCommand::FindSettings(const KeyColorRequest& color, KeySummary& summary) const {
    Settings& settings = summary.settings;
    TuneRequest request{settings, settings_.given(), std::nullopt};
    const bool findsColor = std::holds_alternative<FindScreen>(color);
    if (findsColor) {
        const ScreenHint hint = HintFrom(settings);
        request.screen = hint.demanded ? hint.demanded : hint.usual;
        request.settings.keyColor = {};
    } else if (IsBlack(settings.keyColor)) {
        throw UsageError("--auto has no use with a black key colour, which leaves frames unkeyed");
    }
    summary.tuning = TuneShot(input_, ReadOptions(), request);
    settings = summary.tuning->found.settings;
    if (findsColor)
        summary.key = {settings.keyColor, settings.screen, "found in the shot", std::nullopt};
    if (quiet_) return;
    if (findsColor) SayKeyColor(*summary.key);
    Say(summary.tuning->Text());
    for (const std::string& warning : summary.tuning->Warnings()) Say(input_ + ": " + warning);
}

bool KeyCommand::GivesSettings() const {
    const std::string& color = settings_.keyColor();
    const std::vector<ParameterId> given = settings_.given();
    return !preset_.empty() || !inputs_.cleanPlate.empty() || !(color.empty() || color == "auto") ||
           std::any_of(given.begin(), given.end(), [](ParameterId id) {
               return ParameterOf(id).kind != ParameterKind::Choice;
           });
}

void KeyCommand::ChooseSettings(const KeyColorRequest& color, media::Reader& reader,
                                FirstFrame& first, KeySummary& summary) const {
    const bool finds = auto_ || !(defaults_ || GivesSettings());
    if (!finds || summary.settings.view == View::Source)
        return ChooseKeyColor(color, reader, first, summary);
    if (auto_ && !std::holds_alternative<FindScreen>(color))
        ChooseKeyColor(color, reader, first, summary);
    try {
        FindSettings(color, summary);
    } catch (const files::StorageError&) {
        throw;
    } catch (const media::Error& error) {
        // Frames that nobody wants keyed may be damaged, and the first one may have a screen.
        if (auto_) throw;
        ChooseKeyColor(color, reader, first, summary);
        if (!quiet_) Say(std::string(error.what()) + "; sliders stay at their defaults");
    }
}

void KeyCommand::CheckPlateOptions(const Settings& settings) const {
    const bool given = !inputs_.cleanPlate.empty();
    if (given && !settings.smoothBG)
        throw UsageError(
            "--clean-plate has no use with --no-smooth-bg, which keys against a colour");
    if (given && auto_)
        throw UsageError("--auto looks at the modelled plate, and --clean-plate takes its place");
    if (given && !savePlate_.empty())
        throw UsageError(
            "--save-plate writes the modelled plate, and --clean-plate takes its place");
    if (inputs_.matchPlate && !given) throw UsageError("--match-plate needs a --clean-plate");
    if (inputs_.matchShade && !given) throw UsageError("--match-shade needs a --clean-plate");
}

void KeyCommand::ComparePlate(ShotInputs& inputs, media::Reader& reader, FirstFrame& first,
                              KeySummary& summary) const {
    const Settings& settings = summary.settings;
    if (inputs.plate() == nullptr || settings.view == View::Source) return;
    summary.plate = inputs.plate()->Compare(LookAt(first, reader), settings.keyColor);
    const media::Info& info = reader.info();
    if (quiet_) return;
    Say("clean plate " + inputs_.cleanPlate + ": " + std::to_string(info.width) + " x " +
        std::to_string(info.height) + ", " + summary.plate->Text());
    if (inputs_.Match() == PlateMatch::None && summary.plate->IsLitOtherwise(settings.keyColor))
        Say("the shot is lit otherwise than its plate; --match-plate or --match-shade brings the "
            "plate to it");
}

bool KeyCommand::SavesEveryPlate() const {
    return media::IsVideoName(savePlate_) || media::SequencePath::Parse(savePlate_);
}

media::WriteOptions KeyCommand::PlateOptions() const {
    media::WriteOptions options = WriteOptions(View::CleanPlate);
    options.audio = false;
    return options;
}

void KeyCommand::SaveFirstPlate(const media::Frame& first, const Settings& settings,
                                const media::Info& info) const {
    media::WriteOptions options = PlateOptions();
    options.resume = false;
    WritePicture(savePlate_, CleanPlate(settings, first, {}), options, info);
}

bool KeyCommand::IsForLinearLight(const media::Writer& output) const {
    const bool isInNamedSpace = conversion_ && output_.ends_with(".exr");
    return background_.empty() && (isInNamedSpace || output.transfer() == media::Transfer::Linear);
}

void KeyCommand::KeyFrames(media::Reader& reader, const FirstFrame& first, ShotInputs& inputs,
                           const std::optional<media::Frame>& background,
                           const std::vector<std::unique_ptr<media::Writer>>& writers,
                           KeySummary& summary) const {
    if (conversion_ && !quiet_) Say("keying " + spaces_.file + " in " + conversion_->KeySpace());
    const Settings settings = SettledFor(summary.settings, IsForLinearLight(*writers.front()));
    std::optional<media::Frame> black;  // under a fill that is to be multiplied by its matte
    const media::Info& info = reader.info();
    if (!matteTo_.empty() && writeAlpha_ == media::Association::Premultiplied)
        black = PlainPicture(info.width, info.height, {0, 0, 0});
    const auto render = [&](const media::Frame& source, const FetchedInputs* fetched,
                            const Threads& threads) {
        const FrameInputs beside = inputs.Decode(*fetched, source);
        std::vector<media::Frame> pictures;
        pictures.push_back(Keyed(settings, source, threads, beside.Rows()));
        if (background) PutOver(pictures[0], *background);
        if (!matteTo_.empty()) pictures.push_back(MattePicture(pictures[0]));
        if (black) PutOver(pictures[0], *black);
        if (writers.size() > pictures.size())
            pictures.push_back(CleanPlate(settings, source, threads));
        return pictures;
    };
    const std::size_t showingSource = ShowsSourceColor(settings.view) ? 1 : 0;
    std::vector<media::Writer*> targets;
    for (const auto& writer : writers) targets.push_back(writer.get());
    const auto start = std::chrono::steady_clock::now();
    try {
        const Progress::Form form = progress_ ? Progress::Form::Lines
                                    : quiet_  ? Progress::Form::None
                                              : FormForPeople();
        Progress progress(form, reader.info().frameCount);
        const auto fetch = [&](std::int64_t number) { return inputs.Fetch(number); };
        cli::Run({reader, first, targets, render, threads_, progress, summary.times, showingSource,
                  fetch},
                 summary.counts);
        for (media::Writer* writer : targets)
            summary.times.Time(Step::Append, [&] { writer->Finish(); });
    } catch (const files::StorageError& error) {
        throw files::StorageError(error.what() + Remains(summary.counts, output_));
    } catch (const media::Error& error) {
        throw media::Error(error.what() + Remains(summary.counts, output_));
    }
    const auto time = std::chrono::steady_clock::now() - start;
    summary.seconds = std::chrono::duration<double>(time).count();
    if (inputs.plate() != nullptr && inputs.plate()->unmatched() > 0 && !quiet_)
        Say(std::to_string(inputs.plate()->unmatched()) +
            " frames show too little of the screen to match the clean plate to");
}

std::vector<KeyCommand::Target> KeyCommand::Targets(View view) const {
    std::vector<Target> targets{{output_, WriteOptions(view)}};
    if (!matteTo_.empty()) targets.push_back({matteTo_, MatteOptions()});
    if (SavesEveryPlate()) targets.push_back({savePlate_, PlateOptions()});
    return targets;
}

void KeyCommand::Run() {
    UseCpu(cpu_);
    conversion_ = OpenSpaces(spaces_, transfer_);
    const std::optional<Chunk> chunk = ChosenChunk(chunk_);
    if (chunk) CheckChunk();
    KeySummary summary;
    summary.settings = settings_.Apply(BaseSettings());
    const Settings& settings = summary.settings;
    const KeyColorRequest request = ParseKeyColor(KeyColorText(settings));
    if (chunk) return KeyChunk(*chunk, request, summary);
    const std::unique_ptr<media::Reader> reader = media::Open(input_, ReadOptions());
    Check(settings, reader->info());
    KeyWhole(request, *reader, Background(reader->info()), summary);
    Report(summary);
}

void KeyCommand::KeyWhole(const KeyColorRequest& request, media::Reader& reader,
                          const std::optional<media::Frame>& background,
                          KeySummary& summary) const {
    const media::Info& info = reader.info();
    const Settings& settings = summary.settings;
    ShotInputs inputs(inputs_, info, ReadOptions());
    std::vector<std::unique_ptr<media::Writer>> writers;
    const media::Info paced = WithRate(info);
    for (const auto& [path, options] : Targets(settings.view))
        writers.push_back(media::Create(path, options, paced));
    FirstFrame first = FetchFirst(reader);
    ChooseSettings(request, reader, first, summary);
    ComparePlate(inputs, reader, first, summary);
    if (!savePreset_.empty()) WritePreset(savePreset_, settings);
    if (!savePlate_.empty() && !SavesEveryPlate())
        SaveFirstPlate(LookAt(first, reader), settings, info);
    KeyFrames(reader, first, inputs, background, writers, summary);
}

void KeyCommand::Report(const KeySummary& summary) const {
    if (!quiet_) Say(summary.ForPeople(output_, matteTo_));
    if (json_) std::cout << summary.AsJson(input_, output_, matteTo_) << std::endl;
}

}  // namespace veltrane::cli
