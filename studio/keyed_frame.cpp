#include "studio/keyed_frame.h"

#include <algorithm>
#include <chrono>

#include "cli/composite.h"
#include "cli/frame_threads.h"
#include "imaging/convert/convert.h"
#include "imaging/convert/levels.h"
#include "settings/frame_keyer.h"

namespace veltrane::studio {

namespace {

bool HasAny(const cli::InputFiles& files) {
    return !files.Named().empty() || !files.garbageShapes.empty() || !files.coreShapes.empty();
}

/// Rows as they are keyed, put where the browser gets them from. A frame that nobody waits for any
/// more is given up between two rows.
RowSink<std::uint16_t> SinkInto(const Bytes& bytes, int width, const FrameWish& wish) {
    const PixelWriter<std::uint16_t> writer({PixelOrder::kRgba});
    std::uint16_t* to = bytes.samples.get();
    const std::size_t pitch = static_cast<std::size_t>(width) * (wish.alphaAlone ? 1 : kElements);
    const auto size = pitch * sizeof(std::uint16_t);
    const auto write = [=, &wish](int y, const std::uint16_t* row) {
        wish.ticket.Check();
        if (wish.alphaAlone)
            AlphaLevels(row, to + y * pitch, width);
        else
            writer(row, to + y * pitch, width);
    };
    return {nullptr, write, {to, static_cast<std::ptrdiff_t>(size), size}};
}

}  // namespace

std::shared_ptr<const media::Frame> FrameService::Source(const FrameWish& wish, int scale) {
    const std::string name =
        wish.shot->keptAs() + '@' + std::to_string(wish.number) + '/' + std::to_string(scale);
    if (scale > 1)
        if (auto reduced = kept_.Find<media::Frame>(name)) return reduced;
    using Reading = FrameStore::Reading;
    const Reading reading = wish.ticket.isAside() ? Reading::Aside : Reading::Shown;
    auto source = wish.shot->frames().Get(wish.number, reading, [&] { wish.ticket.Check(); });
    if (scale == 1) return source;
    auto reduced = std::make_shared<const media::Frame>(cli::Reduced(*source, scale));
    kept_.Add<media::Frame>(name, reduced, BytesOf(*reduced));
    return reduced;
}

std::shared_ptr<const cli::FrameInputs> FrameService::Inputs(const FrameWish& wish,
                                                             const media::Frame& source) {
    if (!HasAny(wish.inputs)) return std::make_shared<cli::FrameInputs>();
    return wish.shot->Inputs(wish.inputs, source, wish.settings.keyColor);
}

std::vector<std::uint16_t> FrameService::KeyRows(const FrameWish& wish, Band band) {
    const std::shared_ptr<const media::Frame> source = Source(wish, 1);
    const std::shared_ptr<const cli::FrameInputs> inputs = Inputs(wish, *source);
    const std::size_t pitch = static_cast<std::size_t>(source->width) * kElements;
    std::vector<std::uint16_t> rows(pitch * static_cast<std::size_t>(band.Height()));
    const auto write = [&](int y, const std::uint16_t* row) {
        std::copy_n(row, pitch, rows.data() + static_cast<std::size_t>(y - band.first) * pitch);
    };
    const auto turn = turns_.Wait(wish.ticket);
    cli::FrameThreads all(threads_);
    const cli::FrameThreads::Share share(all);
    const FrameKeyer<std::uint16_t> keyer(wish.settings, source->width, source->height,
                                          {source->pixels.data()}, share.Get(), inputs->Rows());
    keyer.Key(band, {nullptr, write});
    return rows;
}

FrameAnswer FrameService::Key(const FrameWish& wish) {
    const media::Info& info = wish.shot->info();
    const bool small = std::min(info.width, info.height) < wish.scale;
    const int scale = HasAny(wish.inputs) || small ? 1 : wish.scale;
    const std::shared_ptr<const media::Frame> source = Source(wish, scale);
    const std::shared_ptr<const cli::FrameInputs> inputs = Inputs(wish, *source);
    FrameAnswer answer{source->width, source->height, scale, 0, {}};
    const std::size_t samples = static_cast<std::size_t>(source->width) * source->height *
                                (wish.alphaAlone ? 1 : kElements);
    answer.bytes = {std::make_unique_for_overwrite<std::uint16_t[]>(samples),
                    samples * sizeof(std::uint16_t)};
    Settings settings = wish.settings;
    if (scale > 1) ScaleRadii(settings, 1.0 / scale);
    const auto turn = turns_.Wait(wish.ticket);
    const auto start = std::chrono::steady_clock::now();
    cli::FrameThreads all(threads_);
    const cli::FrameThreads::Share share(all);
    veltrane::Key<std::uint16_t>(settings, source->width, source->height, {source->pixels.data()},
                                 SinkInto(answer.bytes, source->width, wish), share.Get(),
                                 inputs->Rows());
    const auto time = std::chrono::steady_clock::now() - start;
    answer.milliseconds = std::chrono::duration<double, std::milli>(time).count();
    return answer;
}

}  // namespace veltrane::studio
