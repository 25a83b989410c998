#include "settings/frame_keyer.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "imaging/convert/convert.h"
#include "keyer/frame_cut.h"

namespace veltrane {
namespace {

Settings Checked(Settings settings, int width, int height) {
    constexpr int kLongestSide = 65535;
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide)
        throw std::invalid_argument("frame must be 1 to 65535 pixels a side, not " +
                                    std::to_string(width) + " x " + std::to_string(height));
    const std::vector<std::string> problems = Problems(settings);
    if (!problems.empty()) throw std::invalid_argument(problems.front());
    settings.keyColor = SnapToByteSteps(settings.keyColor);
    return settings;
}

}  // namespace

template <class Sample>
class FrameKeyer<Sample>::Cut : public FrameCut<Sample> {
    using FrameCut<Sample>::FrameCut;
};

template <class Sample>
FrameKeyer<Sample>::FrameKeyer(const Settings& settings, int width, int height,
                               RowSource<Sample> source, const Threads& threads,
                               const KeyInputs<Sample>& inputs)
    : cut_(std::make_unique<const Cut>(Checked(settings, width, height), width, height,
                                       std::move(source), threads, inputs)) {}

template <class Sample>
FrameKeyer<Sample>::FrameKeyer(FrameKeyer&&) noexcept = default;

template <class Sample>
FrameKeyer<Sample>::~FrameKeyer() = default;

template <class Sample>
void FrameKeyer<Sample>::Key(Band band, const RowSink<Sample>& sink) const {
    cut_->Key(band, sink);
}

template <class Sample>
int FrameKeyer<Sample>::LeastHeight() const {
    return cut_->LeastHeight();
}

template class FrameKeyer<std::uint16_t>;
template class FrameKeyer<std::uint8_t>;

template <class Sample>
void Key(const Settings& settings, int width, int height, const RowSource<Sample>& source,
         const RowSink<Sample>& sink, const Threads& threads, const KeyInputs<Sample>& inputs) {
    const FrameKeyer<Sample> keyer(settings, width, height, source, threads, inputs);
    ForEachBand(threads, height, keyer.LeastHeight(), [&](Band band) { keyer.Key(band, sink); });
}

template void Key(const Settings&, int, int, const RowSource<std::uint16_t>&,
                  const RowSink<std::uint16_t>&, const Threads&, const KeyInputs<std::uint16_t>&);
template void Key(const Settings&, int, int, const RowSource<std::uint8_t>&,
                  const RowSink<std::uint8_t>&, const Threads&, const KeyInputs<std::uint8_t>&);

void Key(const Settings& settings, int width, int height, const std::uint16_t* source,
         std::uint16_t* destination, const Threads& threads) {
    Key(settings, width, height, RowSource<std::uint16_t>{source},
        RowSink<std::uint16_t>{destination}, threads);
}

void Key(const Settings& settings, int width, int height, const std::uint8_t* source,
         std::uint8_t* destination, const Threads& threads) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const PixelReader<std::uint8_t> reader({PixelOrder::kArgb});
    const PixelWriter<std::uint8_t> writer({PixelOrder::kArgb});
    const auto step = static_cast<std::ptrdiff_t>(pitch);
    const RowSource<std::uint8_t> rows{
        nullptr,
        [=](int y, std::uint8_t* row) { reader(source + y * pitch, row, width); },
        {source, step, pitch}};
    const RowSink<std::uint8_t> sink{
        nullptr,
        [=](int y, const std::uint8_t* row) { writer(row, destination + y * pitch, width); },
        {destination, step, pitch}};
    Key(settings, width, height, rows, sink, threads);
}

}  // namespace veltrane
