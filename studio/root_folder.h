#ifndef VELTRANE_STUDIO_ROOT_FOLDER_H
#define VELTRANE_STUDIO_ROOT_FOLDER_H

#include <filesystem>
#include <string>

namespace veltrane::studio {

/// The folder beyond which the page reads and writes nothing, wherever links lead.
class RootFolder {
public:
    /// Throws media::Error where there is no such folder.
    explicit RootFolder(const std::string& path);

    const std::filesystem::path& path() const { return path_; }

    /// Where a file or folder lies, every link followed. Throws Refusal: 404 where nothing is, 403
    /// outside the root.
    std::filesystem::path Existing(const std::string& name) const;
    /// The same of a still, a video, or a sequence's pattern, of which every frame is looked at.
    std::filesystem::path Shot(const std::string& name) const;
    /// Where a file may be written, whether or not it is there; its folder must be.
    std::filesystem::path Place(const std::string& name) const;

    /// The name in the page of what lies within the root; empty for the root itself.
    std::string NameOf(const std::filesystem::path& path) const;

private:
    std::filesystem::path Within(const std::filesystem::path& path, const std::string& name) const;

    std::filesystem::path path_;
};

}  // namespace veltrane::studio

#endif
