#include "cli/shot_inputs.h"

#include <stdexcept>
#include <utility>

#include "cli/companion.h"
#include "imaging/convert/levels.h"
#include "media/file_kind.h"
#include "shapes/shape_file.h"

namespace veltrane::cli {

namespace {

/// Luma, or alpha where the file has it. A picture that is opaque all over says nothing by its
/// alpha, as when a program adds the channel to every file.
std::shared_ptr<const Levels> LevelsOf(const media::Frame& picture, bool hasAlpha) {
    auto levels = std::make_shared<Levels>(picture.pixels.size() / 4);
    const auto count = std::ssize(*levels);
    const bool byAlpha = hasAlpha && ShowsThrough(picture.pixels.data(), count);
    (byAlpha ? AlphaLevels : LumaLevels)(picture.pixels.data(), levels->data(), count);
    return levels;
}

class PictureMatte : public MatteSource {
public:
    PictureMatte(const std::string& role, const std::string& path, const media::Info& shot,
                 int threads)
        : file_(role, path, shot, Options(threads)) {
        if (!file_.IsStill()) return;
        const auto fetched = file_.Fetch(shot.firstFrame);
        still_ = LevelsOf(file_.Decode(*fetched), file_.info().hasAlpha);
    }

    std::shared_ptr<media::Fetched> Fetch(std::int64_t number) override {
        return still_ ? nullptr : file_.Fetch(number);
    }

    std::shared_ptr<const Levels> Decode(const media::Fetched* fetched,
                                         std::int64_t) const override {
        return still_ ? still_ : LevelsOf(file_.Decode(*fetched), file_.info().hasAlpha);
    }

private:
    /// A matte's values are coverage, which no curve belongs to.
    static media::ReadOptions Options(int threads) {
        media::ReadOptions options;
        options.transfer = media::Transfer::None;
        options.threads = threads;
        return options;
    }

    Companion file_;
    std::shared_ptr<const Levels> still_;
};

/// Drawn shapes, once or for every frame.
class ShapeMatte : public MatteSource {
public:
    /// name is for messages.
    ShapeMatte(shapes::ShapeFile file, const std::string& name, const media::Info& shot)
        : path_(name), width_(shot.width), height_(shot.height), file_(std::move(file)) {
        if (!file_.Moves()) still_ = Drawn(shot.firstFrame);
    }

    std::shared_ptr<media::Fetched> Fetch(std::int64_t) override { return nullptr; }

    std::shared_ptr<const Levels> Decode(const media::Fetched*,
                                         std::int64_t number) const override {
        return still_ ? still_ : Drawn(number);
    }

private:
    std::shared_ptr<const Levels> Drawn(std::int64_t frame) const {
        try {
            return std::make_shared<Levels>(shapes::Draw(file_.At(frame), width_, height_));
        } catch (const std::length_error& error) {
            files::Fail(path_, error.what());
        }
    }

    std::string path_;
    int width_;
    int height_;
    shapes::ShapeFile file_;
    std::shared_ptr<const Levels> still_;
};

std::unique_ptr<MatteSource> OpenMatte(const std::string& role, const std::string& path,
                                       const std::string& drawn, const media::Info& shot,
                                       int threads, shapes::Purpose purpose) {
    using shapes::ShapeFile;
    if (!drawn.empty())
        return std::make_unique<ShapeMatte>(
            ShapeFile::FromText(drawn, role, shot.width, shot.height, purpose), role, shot);
    if (path.empty()) return nullptr;
    if (media::Extension(path) == ".svg")
        return std::make_unique<ShapeMatte>(ShapeFile(path, shot.width, shot.height, purpose), path,
                                            shot);
    return std::make_unique<PictureMatte>(role, path, shot, threads);
}

}  // namespace

std::vector<std::string> InputFiles::Named() const {
    std::vector<std::string> named;
    for (const std::string& file : {garbage, core, cleanPlate})
        if (!file.empty()) named.push_back(file);
    return named;
}

PlateMatch InputFiles::Match() const {
    if (matchShade) return PlateMatch::Shade;
    return matchPlate ? PlateMatch::Exposure : PlateMatch::None;
}

KeyInputs<std::uint16_t> FrameInputs::Rows() const {
    KeyInputs<std::uint16_t> inputs;
    if (garbage) inputs.garbage.packed = garbage->data();
    if (core) inputs.core.packed = core->data();
    if (cleanPlate) inputs.cleanPlate.packed = cleanPlate->pixels.data();
    return inputs;
}

ShotInputs::ShotInputs(const InputFiles& files, const media::Info& shot,
                       const media::ReadOptions& options)
    : garbage_(OpenMatte("garbage matte", files.garbage, files.garbageShapes, shot, options.threads,
                         shapes::Purpose::kGarbage)),
      core_(OpenMatte("core matte", files.core, files.coreShapes, shot, options.threads,
                      shapes::Purpose::kCore)) {
    if (!files.cleanPlate.empty())
        plate_ = std::make_unique<PlateSource>(files.cleanPlate, shot, options, files.Match());
}

ShotInputs::~ShotInputs() = default;

std::shared_ptr<const FetchedInputs> ShotInputs::Fetch(std::int64_t number) {
    auto fetched = std::make_shared<FetchedInputs>();
    fetched->number = number;
    if (garbage_) fetched->garbage = garbage_->Fetch(number);
    if (core_) fetched->core = core_->Fetch(number);
    if (plate_) fetched->cleanPlate = plate_->Fetch(number);
    return fetched;
}

FrameInputs ShotInputs::Decode(const FetchedInputs& fetched, const media::Frame& shot) const {
    FrameInputs inputs;
    if (garbage_) inputs.garbage = garbage_->Decode(fetched.garbage.get(), fetched.number);
    if (core_) inputs.core = core_->Decode(fetched.core.get(), fetched.number);
    if (plate_) inputs.cleanPlate = plate_->Decode(fetched.cleanPlate.get(), shot);
    return inputs;
}

}  // namespace veltrane::cli
