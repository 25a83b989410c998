#ifndef VELTRANE_CLI_PLACES_H
#define VELTRANE_CLI_PLACES_H

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/media.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

/// What one call reads and writes, compared before anything is written, so that no output takes the
/// place of a source or of another output. Files are the same whatever links lead to them.
class Places {
public:
    Places();

    /// Notes a file, or every file of a sequence: one that this call leaves out is a source too.
    /// Throws UsageError for an unfinished file, which the call would remove.
    void Reads(const std::string& path);
    /// Notes a file, or the frames of a sequence, and throws UsageError when it is noted already.
    void Writes(const std::string& path, media::FrameRange frames);

private:
    using File = std::pair<dev_t, ino_t>;
    struct Output {
        std::filesystem::path place;
        std::optional<media::SequencePath> sequence;  ///< in the same spelling
        media::FrameRange frames;

        bool Holds(const Output& single) const;
    };

    void NoteSource(const std::string& path);
    void NoteOutput(const std::string& path);

    std::map<File, std::string> taken_;  ///< with the reason why it cannot be written
    std::vector<Output> outputs_;
};

/// The numbers of the frames that a reader gives.
media::FrameRange FramesOf(const media::Info& info);

/// Throws media::Error, naming them, where frames of a sequence are missing.
void RefuseGaps(const media::Info& info);

}  // namespace veltrane::cli

#endif
