#ifndef VELTRANE_STUDIO_WORK_FILE_H
#define VELTRANE_STUDIO_WORK_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "studio/json.h"
#include "studio/root_folder.h"
#include "studio/shot.h"

namespace veltrane::studio {

/// What was done to a shot, as it was last saved.
struct SavedWork {
    Json work;                  ///< null where nothing was saved
    std::int64_t revision = 0;  ///< one higher with every change
};

/// How the names of work files end, after their shot's.
inline constexpr std::string_view kWorkEnding = ".veltrane.json";

/// The file beside a shot that holds the work on it: settings, mattes, range and snapshots. Names
/// of files are kept as seen from the shot's folder, wherever the studio was started.
class WorkFile {
public:
    WorkFile(const Shot& shot, const RootFolder& root);

    /// Throws Refusal (400) for a file that this version does not know in full.
    SavedWork Read() const;
    /// Writes the work whole or not at all, as the next revision, which it returns. Throws Refusal
    /// for what is no work.
    std::int64_t Write(const Json& work, std::int64_t revision) const;

private:
    std::string path_;
    std::string folder_;  ///< the shot's, as seen from the root
};

}  // namespace veltrane::studio

#endif
