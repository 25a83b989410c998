#ifndef VELTRANE_STUDIO_SHOT_H
#define VELTRANE_STUDIO_SHOT_H

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "cli/key_color.h"
#include "cli/shot_inputs.h"
#include "cli/shot_tuning.h"
#include "studio/frame_store.h"

namespace veltrane::studio {

/// A shot that pages have open: its frames and what goes along with them.
class Shot {
public:
    /// name is the page's for it; kept serves all shots and must stay. Throws media::Error.
    Shot(std::string name, const std::string& path, int threads, Kept& kept);

    const std::string& name() const { return name_; }
    const std::string& path() const { return path_; }
    /// What its frames and what is made of them are kept under.
    const std::string& keptAs() const { return keptAs_; }
    /// Whether its files are still those that were opened.
    bool IsCurrent() const;
    const media::Info& info() const { return frames_.info(); }
    FrameStore& frames() { return frames_; }

    /// The key colour found in the first frame, as `veltrane pick` finds it; of this screen, or of
    /// either. Throws media::Error where there is none.
    cli::KeyColor AutomaticKey(std::optional<Screen> screen = std::nullopt);

    /// Settings found as the command finds them, but in a video that does not tell its length from
    /// its beginning; looked for once, and only where `look` says so. Null where there are none.
    const cli::ShotTuning* Tuning(bool look);

    /// What goes with a frame that is keyed against this colour. Throws media::Error for a file
    /// that does not fit the shot.
    std::shared_ptr<const cli::FrameInputs> Inputs(const cli::InputFiles& files,
                                                   const media::Frame& frame,
                                                   const Color& keyColor);

private:
    void OpenInputs(const std::string& key, const cli::InputFiles& files, const media::Frame& frame,
                    const Color& keyColor);

    std::string name_;
    std::string path_;
    std::string keptAs_;
    std::string stamp_;
    int threads_;
    Kept& kept_;
    FrameStore frames_;

    std::mutex choosing_;
    std::map<std::optional<Screen>, cli::KeyColor> automaticKeys_;

    std::mutex tuning_;
    bool tuned_ = false;
    std::optional<cli::ShotTuning> found_;

    std::mutex readingInputs_;  ///< guards the rest, which steps along with the frames
    std::unique_ptr<cli::ShotInputs> inputs_;
    std::string inputsKey_;
    std::int64_t nextInputs_ = 0;
};

}  // namespace veltrane::studio

#endif
