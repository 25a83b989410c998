#include "shots.h"

#include <algorithm>
#include <memory>

namespace veltrane::bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPictures[] = {".png", ".jpg", ".tif", ".exr"};
constexpr const char* kVideos[] = {".mp4", ".mov", ".mkv"};

/// The file of this name with one of the endings that exists.
template <class Endings>
std::optional<fs::path> Find(const fs::path& stem, const Endings& endings) {
    for (const char* ending : endings) {
        const fs::path path = stem.string() + ending;
        if (fs::exists(path)) return path;
    }
    return std::nullopt;
}

bool IsIn(const auto& endings, const fs::path& path) {
    return std::ranges::find(endings, path.extension()) != std::end(endings);
}

std::optional<Shot> ShotOf(const fs::path& source) {
    const std::string stem = source.parent_path() / source.stem();
    const bool isVideo = IsIn(kVideos, source);
    if (!isVideo && !IsIn(kPictures, source)) return std::nullopt;
    const auto coverage =
        isVideo ? Find(stem + "-matte", kVideos) : Find(stem + "-matte", kPictures);
    if (!coverage) return std::nullopt;
    Shot shot{source, *coverage};
    if (isVideo) return shot;
    shot.overGrey = Find(stem + "-clean-over-grey", kPictures);
    shot.plate = Find(stem + "-plate", kPictures);
    return shot;
}

std::optional<media::Frame> Next(media::Reader& reader) {
    const std::shared_ptr<media::Fetched> fetched = reader.Fetch();
    if (!fetched) return std::nullopt;
    return reader.Decode(*fetched);
}

}  // namespace

std::vector<Shot> ShotsIn(const fs::path& folder) {
    std::vector<Shot> shots;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        if (const std::optional<Shot> shot = ShotOf(entry.path())) shots.push_back(*shot);
    if (shots.empty())
        throw media::Error(folder.string() + ": holds no picture NAME.png with a NAME-matte.png");
    std::ranges::sort(shots, {}, &Shot::source);
    return shots;
}

void ForEachFrame(const Shot& shot,
                  const std::function<void(const media::Frame&, const Truth&)>& see) {
    const std::unique_ptr<media::Reader> frames = media::Open(shot.source);
    const std::unique_ptr<media::Reader> mattes = media::Open(shot.coverage);
    while (const std::optional<media::Frame> frame = Next(*frames)) {
        std::optional<media::Frame> coverage = Next(*mattes);
        if (!coverage) throw media::Error(shot.coverage.string() + ": ends before the clip");
        Truth truth{std::move(*coverage)};
        if (shot.overGrey) truth.overGrey = media::ReadFrame(*shot.overGrey, 1);
        see(*frame, truth);
    }
}

}  // namespace veltrane::bench
