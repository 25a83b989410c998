#ifndef VELTRANE_CLI_KEY_COMMAND_H
#define VELTRANE_CLI_KEY_COMMAND_H

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/chunk.h"
#include "cli/chunk_folder.h"
#include "cli/frame_pipeline.h"
#include "cli/key_color.h"
#include "cli/key_summary.h"
#include "cli/setting_options.h"
#include "cli/shot_inputs.h"
#include "media/media.h"

namespace veltrane::cli {

/// `veltrane key`: what was asked for and its execution.
class KeyCommand {
public:
    void AddTo(CLI::App& app);
    void Run();

private:
    Settings BaseSettings() const;
    media::ReadOptions ReadOptions() const;
    media::WriteOptions WriteOptions(View view) const;
    media::WriteOptions MatteOptions() const;
    std::string KeyColorText(const Settings& settings) const;
    /// Throws UsageError, and media::Error, for what cannot be keyed so.
    void Check(const Settings& settings, const media::Info& info) const;
    void CheckMatteTo(const Settings& settings, const media::Info& info) const;
    /// What is put behind the result, fitted to the frame; nothing without a background.
    std::optional<media::Frame> Background(const media::Info& info) const;
    /// With the rate by which frames without one of their own become a video.
    media::Info WithRate(media::Info info) const;
    ScreenHint HintFrom(const Settings& settings) const;
    void CheckPlaces(const media::Info& info) const;
    void ChooseKeyColor(const KeyColorRequest& request, media::Reader& reader, FirstFrame& first,
                        KeySummary& summary) const;
    /// Whether anything of the key is given: a slider, a switch, a colour, a plate or a preset.
    /// Choices tell of the screen and of what is written.
    bool GivesSettings() const;
    /// The sliders that are not given, and the key colour if it is to be found, from the shot.
    void FindSettings(const KeyColorRequest& color, KeySummary& summary) const;
    /// The key colour and, unless settings are given or defaults asked for, what suits the shot.
    void ChooseSettings(const KeyColorRequest& color, media::Reader& reader, FirstFrame& first,
                        KeySummary& summary) const;
    void CheckPlateOptions(const Settings& settings) const;
    void ComparePlate(ShotInputs& inputs, media::Reader& reader, FirstFrame& first,
                      KeySummary& summary) const;
    /// A sequence or video gets the plate of every frame, one picture that of the first.
    bool SavesEveryPlate() const;
    media::WriteOptions PlateOptions() const;
    void SaveFirstPlate(const media::Frame& first, const Settings& settings,
                        const media::Info& info) const;
    /// Whether what is written is composited in linear light, elsewhere.
    bool IsForLinearLight(const media::Writer& output) const;
    /// The files that get a picture of every frame, and how.
    struct Target {
        std::string path;
        media::WriteOptions options;
    };
    std::vector<Target> Targets(View view) const;
    void KeyWhole(const KeyColorRequest& request, media::Reader& reader,
                  const std::optional<media::Frame>& background, KeySummary& summary) const;
    void KeyChunk(Chunk chunk, const KeyColorRequest& request, KeySummary& summary) const;
    /// Throws where a chunk's files cannot be seen or its outputs not be put together.
    void CheckChunk() const;
    Json WhatIsAsked(const Target& target, const Settings& settings, int chunks) const;
    Json Decide(const KeyColorRequest& request, KeySummary& summary) const;
    /// Takes what an earlier chunk decided.
    void Adopt(const ChunkFolder& folder, const Json& shot, KeySummary& summary) const;
    struct Share;
    std::vector<Share> Shares(Chunk chunk, const KeyColorRequest& request,
                              KeySummary& summary) const;
    std::vector<std::unique_ptr<media::Writer>> OpenShares(Chunk chunk, std::vector<Share>& shares,
                                                           const media::Info& info) const;
    Json RecordOf(const Share& share, media::FrameRange frames, double began,
                  const KeySummary& summary) const;
    void Report(const KeySummary& summary) const;
    void KeyFrames(media::Reader& reader, const FirstFrame& first, ShotInputs& inputs,
                   const std::optional<media::Frame>& background,
                   const std::vector<std::unique_ptr<media::Writer>>& writers,
                   KeySummary& summary) const;

    SettingOptions settings_;
    std::string input_;
    std::string output_;
    std::string preset_;
    std::string savePreset_;
    std::string frames_;
    std::string background_;
    std::string backgroundSpace_;
    std::string matteTo_;
    media::ColorSpaces spaces_;
    std::shared_ptr<const media::ColorConversion> conversion_;  ///< where spaces are named
    InputFiles inputs_;
    std::string savePlate_;
    media::Transfer transfer_ = media::Transfer::Automatic;
    media::Association readAlpha_ = media::Association::Automatic;
    media::Compression compression_;
    media::Association writeAlpha_ = media::Association::Automatic;
    std::string fps_;
    int threads_ = 0;
    std::string cpu_;
    std::string chunk_;
    CLI::App* command_ = nullptr;  ///< knows what was given
    bool auto_ = false;
    bool defaults_ = false;
    bool resume_ = false;
    bool noAudio_ = false;
    bool quiet_ = false;
    bool json_ = false;
    bool progress_ = false;
};

}  // namespace veltrane::cli

#endif
