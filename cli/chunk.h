#ifndef VELTRANE_CLI_CHUNK_H
#define VELTRANE_CLI_CHUNK_H

#include <optional>
#include <string>
#include <vector>

#include "media/media.h"

namespace veltrane::cli {

/// One of the shares of a shot's frames that several calls, on any machines, key apart.
struct Chunk {
    int index = 1;  ///< from 1
    int count = 1;

    /// "3 of 7".
    std::string Text() const;
};

/// The most chunks that a shot can be cut into.
inline constexpr int kMostChunks = 9999;

/// What --chunk says: "I/N", or "auto" for what the environment variable VELTRANE_CHUNK, else a
/// scheduler says (Slurm's arrays, Kubernetes' indexed jobs). Empty is VELTRANE_CHUNK, too, or the
/// whole shot. Throws UsageError for anything else.
std::optional<Chunk> ChosenChunk(const std::string& option);

/// The chunk's frames of a shot whose last frame is known: neighbours, as many as any other chunk
/// has or one more. Throws UsageError when there are more chunks than frames.
media::FrameRange ShareOf(media::FrameRange shot, Chunk chunk);

/// Numbers in order as schedulers read them: "3,5-7".
std::string ListText(const std::vector<int>& numbers);

/// Throws files::StorageError unless an input, a file or a sequence, and the folder of an output
/// can be seen from this machine.
void RequireInput(const std::string& path);
void RequireFolderOf(const std::string& output);

}  // namespace veltrane::cli

#endif
