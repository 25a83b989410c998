#ifndef VELTRANE_CLI_CHUNK_FOLDER_H
#define VELTRANE_CLI_CHUNK_FOLDER_H

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace veltrane::cli {

using Json = nlohmann::ordered_json;

/// The folder OUTPUT.parts, in which the chunks of an output tell each other and the merge of
/// themselves: shot.json, what all of them have to agree on and what the first of them decided for
/// all; and for each NNNN.begun, once it was started, and NNNN.json, once it is whole. Of these
/// only shot.json is sure to outlast a power cut; what became of the others shows in a digest.
class ChunkFolder {
public:
    explicit ChunkFolder(const std::string& output);

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path Shot() const { return path_ / "shot.json"; }
    std::filesystem::path Record(int chunk) const;
    /// Where a chunk of a video lies.
    std::filesystem::path Part(int chunk) const;

    /// What an earlier chunk noted of the shot, if there was one. Throws UsageError that names what
    /// of it differs from that which this chunk was asked for.
    std::optional<Json> Noted(const Json& asked) const;
    /// Makes the folder and notes the shot there, or compares it with what an earlier chunk noted.
    /// Throws UsageError that names what differs.
    void Agree(const Json& shot) const;
    /// Notes that the chunk is started, where and when; true when it had been before.
    bool Begin(int chunk) const;
    /// The record of a chunk that is whole; none of another shot's, or without its part.
    std::optional<Json> Whole(int chunk, const std::string& shotDigest) const;
    void Finish(int chunk, const Json& record) const;
    /// Forgets that a chunk was whole, so that it is made anew.
    void Forget(int chunk) const;

private:
    [[noreturn]] void Refuse(const Json& noted, const Json& own) const;

    std::string output_;
    std::filesystem::path path_;
};

/// A JSON file; none where there is none. Throws files::Error for one that cannot be read as such.
std::optional<Json> ReadJson(const std::filesystem::path& path);
/// Writes it whole or not at all.
void WriteJson(const std::filesystem::path& path, const Json& json);

/// Sixteen digits that tell texts apart.
std::string DigestOf(const std::string& text);

/// Seconds since 1970.
double Now();
std::string HostName();

}  // namespace veltrane::cli

#endif
