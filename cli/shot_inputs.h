#ifndef VELTRANE_CLI_SHOT_INPUTS_H
#define VELTRANE_CLI_SHOT_INPUTS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cli/plate_source.h"
#include "keyer/key_inputs.h"
#include "media/media.h"

namespace veltrane::cli {

/// The files that a shot brings along; empty where it brings none.
struct InputFiles {
    std::string garbage;
    std::string core;
    std::string cleanPlate;
    bool matchPlate = false;  ///< bring each plate to its frame's exposure
    bool matchShade = false;  ///< and to the wide shade of the subject in it

    PlateMatch Match() const;
    /// Shapes, as the text of an SVG, where a matte has no file.
    std::string garbageShapes{};
    std::string coreShapes{};

    /// Those that are named.
    std::vector<std::string> Named() const;
};

/// One level a pixel, in packed rows.
using Levels = std::vector<std::uint16_t>;

/// What goes with one frame, fetched but not yet converted.
struct FetchedInputs {
    std::int64_t number = 0;  ///< of the shot's frame
    std::shared_ptr<media::Fetched> garbage;
    std::shared_ptr<media::Fetched> core;
    std::shared_ptr<media::Fetched> cleanPlate;
};

/// The same, ready to key with.
struct FrameInputs {
    std::shared_ptr<const Levels> garbage;
    std::shared_ptr<const Levels> core;
    std::shared_ptr<const media::Frame> cleanPlate;

    /// Reads what this holds, which must stay.
    KeyInputs<std::uint16_t> Rows() const;
};

/// A matte for every frame of a shot.
class MatteSource {
public:
    virtual ~MatteSource() = default;
    /// As Companion's; null where a frame needs nothing fetched.
    virtual std::shared_ptr<media::Fetched> Fetch(std::int64_t number) = 0;
    /// The matte of a frame of the shot. Any number of threads at a time.
    virtual std::shared_ptr<const Levels> Decode(const media::Fetched* fetched,
                                                 std::int64_t number) const = 0;
};

/// What a shot brings along, in step with its frames.
class ShotInputs {
public:
    /// Opens the files. Throws media::Error, in one line, for one that does not fit the shot.
    ShotInputs(const InputFiles& files, const media::Info& shot, const media::ReadOptions& options);
    ~ShotInputs();

    /// The clean plate, or null.
    PlateSource* plate() const { return plate_.get(); }

    /// What goes with this frame of the shot. In order, one thread at a time.
    std::shared_ptr<const FetchedInputs> Fetch(std::int64_t number);
    /// Any number of threads at a time.
    FrameInputs Decode(const FetchedInputs& fetched, const media::Frame& shot) const;

private:
    std::unique_ptr<MatteSource> garbage_;
    std::unique_ptr<MatteSource> core_;
    std::unique_ptr<PlateSource> plate_;
};

}  // namespace veltrane::cli

#endif
