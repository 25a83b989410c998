// Times the OpenFX plug-in's render and the bare keyer call in turn on the sample still, for each
// depth and alpha state. The columns hold the best time of all rounds, which leaves the machine's
// noise out, and what the plug-in adds: in per cent of the keyer's time and in plain copies of the
// host's frame. The keyer takes no floats, so for them its call comes twice: alone, on a frame that
// is of 16 bits already, and, as whole_ms, with the library's conversions of whole frames before
// and after it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <type_traits>

#include "imaging/convert/convert.h"
#include "media/media.h"
#include "settings/screen_color.h"
#include "tests/hosts/ofx/test_host.h"

namespace {

using namespace veltrane;

const media::Frame& Still() {
    static const media::Frame frame = media::ReadFrame(VELTRANE_SAMPLES "/still.jpg", 1);
    return frame;
}

ofx::RectI Bounds() {
    return {0, 0, Still().width, Still().height};
}

const std::string kMatted = "OfxImageAlphaPremultiplied";

/// Alpha as of a rough matte: solid but for the outer sixths of the frame, with soft borders.
double RoughMatte(int x) {
    constexpr double kBorder = 32;
    const int width = Still().width;
    return std::clamp((std::min(x, width - 1 - x) - width / 6) / kBorder, 0.0, 1.0);
}

/// The still as a host holds it, premultiplied by a rough matte where that is its state.
template <class Component>
void Draw(ofx::test::TestImage& image, const std::string& alpha) {
    const media::Frame& frame = Still();
    const double full = std::is_same_v<Component, float> ? 1 : static_cast<Component>(-1);
    const bool matted = alpha == kMatted;
    for (int y = 0; y < frame.height; ++y)
        for (int x = 0; x < frame.width; ++x) {
            const std::size_t row = frame.height - 1 - y;
            const auto* sample = &frame.pixels[4 * (row * frame.width + x)];
            const double part = (matted ? RoughMatte(x) : 1) * full;
            const Component pixel[] = {static_cast<Component>(sample[2] / 65535.0 * part),
                                       static_cast<Component>(sample[1] / 65535.0 * part),
                                       static_cast<Component>(sample[0] / 65535.0 * part),
                                       static_cast<Component>(part)};
            std::memcpy(image.At(x, y), pixel, sizeof pixel);
        }
}

/// The best processor time of one piece of work, all of which runs on the calling thread.
class Best {
public:
    template <class Work>
    void Time(const Work& work) {
        const double start = Now();
        work();
        benchmark::ClobberMemory();
        seconds_ = std::fmin(seconds_, Now() - start);
    }
    double seconds() const { return seconds_; }

private:
    static double Now() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + time.tv_nsec * 1e-9;
    }

    double seconds_ = INFINITY;
};

/// Converts, keys and converts back.
void KeyWhole(const Settings& settings, ofx::test::TestImage& source,
              std::vector<std::uint16_t>& frame, std::vector<std::uint16_t>& keyed,
              std::vector<float>& result) {
    const int width = Still().width;
    const int height = Still().height;
    const std::size_t pitch = std::size_t{4} * width;
    const PixelReader<float> reader({PixelOrder::kRgba});
    for (int y = 0; y < height; ++y)
        reader(reinterpret_cast<const float*>(source.At(0, height - 1 - y)), &frame[y * pitch],
               width);
    Key(settings, width, height, frame.data(), keyed.data());
    const PixelWriter<float> writer({PixelOrder::kRgba});
    for (int y = 0; y < height; ++y) writer(&keyed[y * pitch], &result[y * pitch], width);
}

template <class Component>
void Compare(benchmark::State& state, const char* depth, const std::string& alpha) {
    using Sample = SampleFor<Component>;
    Settings settings;
    settings.keyColor =
        FindScreenColor(Still().width, Still().height, Still().pixels.data()).value().color;
    ofx::test::TestHost host;
    const Color& key = settings.keyColor;
    host.params.at("keyColor").keys = {{0, {key.red, key.green, key.blue}}};
    ofx::test::TestImage source({Bounds(), depth, alpha});
    ofx::test::TestImage output({Bounds(), depth, alpha});
    Draw<Component>(source, alpha);
    host.clips["Source"].image = [&](double) { return &source; };
    host.clips["Output"].image = [&](double) { return &output; };

    std::vector<Sample> frame(Still().pixels.size());
    const std::size_t pitch = std::size_t{4} * Still().width;
    const PixelReader<Component> reader(
        {PixelOrder::kRgba, alpha == kMatted ? AlphaState::kPremultiplied : AlphaState::kOpaque});
    for (int y = 0; y < Still().height; ++y)
        reader(reinterpret_cast<const Component*>(source.At(0, Still().height - 1 - y)),
               &frame[y * pitch], Still().width);
    // The bare call takes bytes in the order alpha, red, green, blue.
    for (std::size_t i = 0; sizeof(Sample) == 1 && i < frame.size(); i += 4)
        std::reverse(frame.begin() + i, frame.begin() + i + 4);
    std::vector<Sample> keyed(frame.size());
    std::vector<Component> copy(frame.size());
    Best alone, whole, hosted, copying;
    for (auto _ : state) {
        alone.Time(
            [&] { Key(settings, Still().width, Still().height, frame.data(), keyed.data()); });
        if constexpr (std::is_same_v<Component, float>)
            whole.Time([&] { KeyWhole(settings, source, frame, keyed, copy); });
        hosted.Time([&] {
            if (host.Render(0, Bounds()) != ofx::kOk) throw std::runtime_error("no render");
        });
        copying.Time(
            [&] { std::memcpy(copy.data(), source.At(0, 0), copy.size() * sizeof(Component)); });
    }
    const double added = hosted.seconds() - alone.seconds();
    state.counters["keyer_ms"] = alone.seconds() * 1e3;
    state.counters["plugin_ms"] = hosted.seconds() * 1e3;
    state.counters["added_%"] = added / alone.seconds() * 100;
    if constexpr (std::is_same_v<Component, float>) {
        state.counters["whole_ms"] = whole.seconds() * 1e3;
        state.counters["added_to_whole_%"] = (hosted.seconds() / whole.seconds() - 1) * 100;
    }
    state.counters["copies"] = added / copying.seconds();
}

void Register() {
    for (const std::string alpha : {"Opaque", "AlphaUnPremultiplied", "AlphaPremultiplied"}) {
        const std::string word = "OfxImage" + alpha;
        const auto add = [&](const char* name,
                             void (*run)(benchmark::State&, const char*, const std::string&),
                             const char* depth) {
            benchmark::RegisterBenchmark((name + ("/" + alpha)).c_str(), run, depth, word)
                ->Unit(benchmark::kMillisecond);
        };
        add("byte", Compare<std::uint8_t>, "OfxBitDepthByte");
        add("short", Compare<std::uint16_t>, "OfxBitDepthShort");
        add("float", Compare<float>, "OfxBitDepthFloat");
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    try {
        Register();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hosts_ofx: %s\n", error.what());
        return 1;
    }
    return 0;
}
