#ifndef VELTRANE_STUDIO_KEYED_FRAME_H
#define VELTRANE_STUDIO_KEYED_FRAME_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "imaging/frame_rows.h"
#include "studio/http.h"
#include "studio/shot.h"
#include "studio/turns.h"

namespace veltrane::studio {

/// What a page wants to see of a frame.
struct FrameWish {
    std::shared_ptr<Shot> shot;
    std::int64_t number = 0;
    Settings settings;
    cli::InputFiles inputs;
    int scale = 1;  ///< the frame's size is divided by it; beside inputs it is always 1
    bool alphaAlone = false;
    /// The generation of the frame that the page has and would be told the changes of, 0 for none;
    /// absent where it keeps none.
    std::optional<std::uint64_t> held{};
    Turns::Ticket ticket;
};

struct FrameAnswer {
    int width = 0;
    int height = 0;
    int scale = 1;
    double milliseconds = 0;  ///< of keying alone
    std::uint64_t held = 0;   ///< of the frame that bytes has the changes of, 0 for none
    /// Red, green, blue, straight alpha, or alpha alone, of 16 bits, top row first; or the changes,
    /// as CodeChanges has them.
    Bytes bytes;
};

/// Keys frames one at a time by all threads.
class FrameService {
public:
    FrameService(int threads, Kept& kept) : threads_(threads), kept_(kept) {}

    Turns& turns() { return turns_; }

    /// The bits that the command writes. Throws Refusal, also where a later wish has overtaken this
    /// one, media::Error, and what veltrane::Key throws.
    FrameAnswer Key(const FrameWish& wish);
    /// Some rows of the frame, keyed, as blue, green, red, alpha; scale and alphaAlone do not
    /// count. The band lies within the frame.
    std::vector<std::uint16_t> KeyRows(const FrameWish& wish, Band band);

private:
    std::shared_ptr<const cli::FrameInputs> Inputs(const FrameWish& wish,
                                                   const media::Frame& source);
    std::shared_ptr<const media::Frame> Source(const FrameWish& wish, int scale);
    void TellChanges(const FrameWish& wish, const Threads& threads, FrameAnswer& answer);

    int threads_;
    Kept& kept_;
    Turns turns_;
};

}  // namespace veltrane::studio

#endif
