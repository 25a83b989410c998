#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

#include "media/backends.h"
#include "media/file_kind.h"
#include "media/image_file.h"
#include "media/sequence_path.h"
#include "media/source_details.h"

namespace veltrane::media {
namespace {

struct FetchedImage : Fetched {
    FetchedImage(std::string path_, std::int64_t number_)
        : path(std::move(path_)), number(number_) {}

    std::string path;
    std::int64_t number;
};

/// Throws Error unless the file can be read. It was there when the folder was listed, so that its
/// storage is gone when it is not.
void RequireListed(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::symlink_status(path, error).type() == fs::file_type::not_found)
        throw files::StorageError(files::ErrorLine(path, "no such file"));
    RequireFile(path);
}

/// Throws Error unless the file is there and begins as an image does.
void RequireImage(const std::string& path) {
    RequireListed(path);
    if (ImageFormatOf(path).empty()) Fail(path, "is no image that can be read");
}

/// A still is a sequence of one file.
class ImageReader : public Reader {
public:
    ImageReader(Info info, ReadOptions options,
                std::vector<std::pair<std::int64_t, std::string>> files)
        : info_(std::move(info)), options_(options), files_(std::move(files)) {}

    const Info& info() const override { return info_; }

    std::shared_ptr<Fetched> Fetch() override {
        if (next_ == files_.size()) return nullptr;
        const auto& [number, path] = files_[next_++];
        return std::make_shared<FetchedImage>(path, number);
    }

    Frame Decode(const Fetched& fetched, const Threads& threads) override {
        const auto& image = dynamic_cast<const FetchedImage&>(fetched);
        RequireImage(image.path);
        Frame frame = WithinMemory(
            image.path, [&] { return ReadImage(image.path, image.number, options_, threads); });
        if (frame.width != info_.width || frame.height != info_.height) {
            Fail(image.path, "is " + SizeText(frame.width, frame.height) +
                                 ", where the sequence is " + SizeText(info_.width, info_.height));
        }
        return frame;
    }

private:
    Info info_;
    ReadOptions options_;
    std::vector<std::pair<std::int64_t, std::string>> files_;
    std::size_t next_ = 0;
};

std::vector<std::int64_t> MissingNumbers(const std::vector<std::int64_t>& present) {
    std::vector<std::int64_t> missing;
    for (std::size_t i = 1; i < present.size(); ++i) {
        for (std::int64_t n = present[i - 1] + 1; n < present[i]; ++n) {
            if (missing.size() == kMostMissingFrames) return missing;
            missing.push_back(n);
        }
    }
    return missing;
}

/// Two names of one number ("a1.png" and "a01.png") cannot both match a pattern, so numbers differ.
std::vector<std::int64_t> Within(const std::vector<std::int64_t>& numbers, FrameRange range) {
    std::vector<std::int64_t> chosen;
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(chosen),
                 [&](std::int64_t n) { return n >= range.first && n <= range.last; });
    return chosen;
}

}  // namespace

std::unique_ptr<Reader> OpenStill(const std::string& path, const ReadOptions& options) {
    RangeWithin(path, options.frames, {1, 1});
    Info info = WithinMemory(path, [&] { return DescribeImage(path, options); });
    info.kind = Kind::Still;
    info.firstFrame = 1;
    info.frameCount = 1;
    std::vector<std::pair<std::int64_t, std::string>> files{{1, path}};
    return std::make_unique<ImageReader>(std::move(info), options, std::move(files));
}

std::unique_ptr<Reader> OpenSequence(const std::string& pattern, const ReadOptions& options) {
    const SequencePath sequence = *SequencePath::Parse(pattern);
    const std::vector<std::int64_t> all = sequence.List();
    if (all.empty()) Fail(pattern, "no such file: nothing matches");
    const FrameRange range = RangeWithin(pattern, options.frames, {all.front(), all.back()});
    const std::vector<std::int64_t> numbers = Within(all, range);
    if (numbers.empty()) {
        Fail(pattern, "none of the frames " + std::to_string(range.first) + "-" +
                          std::to_string(range.last) + " exists");
    }
    const std::string firstPath = sequence.ForNumber(numbers.front());
    RequireImage(firstPath);
    Info info = WithinMemory(firstPath, [&] { return DescribeImage(firstPath, options); });
    info.kind = Kind::Sequence;
    info.path = pattern;
    info.firstFrame = numbers.front();
    info.frameCount = static_cast<std::int64_t>(numbers.size());
    std::vector<std::int64_t> bounded = numbers;
    if (bounded.front() != range.first) bounded.insert(bounded.begin(), range.first - 1);
    if (bounded.back() != range.last) bounded.push_back(range.last + 1);
    info.missingFrames = MissingNumbers(bounded);
    std::vector<std::pair<std::int64_t, std::string>> files;
    for (std::int64_t n : numbers) files.emplace_back(n, sequence.ForNumber(n));
    return std::make_unique<ImageReader>(std::move(info), options, std::move(files));
}

}  // namespace veltrane::media
