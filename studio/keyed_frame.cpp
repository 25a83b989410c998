#include "studio/keyed_frame.h"

#include <algorithm>
#include <chrono>

#include "cli/composite.h"
#include "cli/frame_threads.h"
#include "imaging/convert/convert.h"
#include "imaging/convert/levels.h"
#include "settings/frame_keyer.h"
#include "studio/frame_changes.h"

namespace veltrane::studio {

namespace {

bool HasAny(const cli::InputFiles& files) {
    return !files.Named().empty() || !files.garbageShapes.empty() || !files.coreShapes.empty();
}

/// A frame that a page has.
struct SentFrame {
    std::uint64_t generation = 0;
    int width = 0;
    int height = 0;
    Bytes bytes;
};

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
    FrameAnswer answer{source->width, source->height, scale, 0, 0, {}};
    const std::size_t samples = static_cast<std::size_t>(source->width) * source->height *
                                (wish.alphaAlone ? 1 : kElements);
    answer.bytes = MakeBytes(samples * sizeof(std::uint16_t));
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
    if (wish.held && !wish.alphaAlone) TellChanges(wish, share.Get(), answer);
    return answer;
}

/// Keeps the frame for the page's next wish and, where the page holds the one before, answers what
/// differs from that. One frame is kept of each size, since those shown during a drag may be
/// reduced.
void FrameService::TellChanges(const FrameWish& wish, const Threads& threads, FrameAnswer& answer) {
    const std::string name = "sent " + wish.ticket.name() + '/' + std::to_string(answer.scale);
    const auto before = kept_.Find<SentFrame>(name);
    const SentFrame sent{wish.ticket.generation(), answer.width, answer.height, answer.bytes};
    kept_.Add(name, std::make_shared<const SentFrame>(sent), sent.bytes.size);
    if (!before || *wish.held == 0 || before->generation != *wish.held ||
        before->width != sent.width || before->height != sent.height)
        return;
    auto changes = CodeChanges(before->bytes.samples.get(), sent.bytes.samples.get(), sent.width,
                               sent.height, threads);
    if (!changes) return;
    answer.bytes = *std::move(changes);
    answer.held = before->generation;
}

}  // namespace veltrane::studio
