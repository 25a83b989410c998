#ifndef VELTRANE_STUDIO_FILE_LIST_H
#define VELTRANE_STUDIO_FILE_LIST_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace veltrane::studio {

/// What a file chooser shows of a folder.
struct ListedFile {
    enum class Kind { Folder, Still, Sequence, Video, Shapes, Preset };

    std::string name;  ///< of a sequence its pattern, "shot.%04d.exr"
    Kind kind;
    std::size_t frames = 0;  ///< files of a sequence
};

/// "folder", "still" and so on.
const char* KindName(ListedFile::Kind kind);

/// Folders first, then files by name; hidden ones and those of other kinds are left out. Files
/// whose names differ by a number alone are one sequence. Throws files::Error.
std::vector<ListedFile> ListFolder(const std::filesystem::path& folder);

}  // namespace veltrane::studio

#endif
