// Times the frei0r plug-in and the bare 8-bit keyer in turn on the sample still and prints what the
// plug-in adds, in per cent of the keyer's time and in plain copies of one frame. The best of many
// rounds leaves the machine's noise out.

extern "C" {
#include <frei0r.h>
}
#include <dlfcn.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "media/media.h"
#include "settings/settings.h"

namespace {

using namespace veltrane;
using Pixels = std::vector<std::uint32_t>;
using Clock = std::chrono::steady_clock;

template <typename Function>
Function* Find(const char* name) {
    static void* const file = dlopen(VELTRANE_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (!file) throw std::runtime_error(dlerror());
    return reinterpret_cast<Function*>(dlsym(file, name));
}

template <typename Work>
double Seconds(const Work& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The still in the keyer's order, alpha first, as words of memory.
Pixels AlphaFirst(const media::Frame& frame) {
    Pixels pixels;
    for (std::size_t i = 0; i < frame.pixels.size(); i += 4) {
        const auto* sample = &frame.pixels[i];
        const std::uint8_t bytes[] = {
            static_cast<std::uint8_t>(sample[3] / 257), static_cast<std::uint8_t>(sample[2] / 257),
            static_cast<std::uint8_t>(sample[1] / 257), static_cast<std::uint8_t>(sample[0] / 257)};
        std::memcpy(&pixels.emplace_back(), bytes, sizeof bytes);
    }
    return pixels;
}

/// The same in the plug-in's order, alpha last.
Pixels AlphaLast(Pixels pixels) {
    constexpr int kBits = std::endian::native == std::endian::little ? 8 : -8;
    for (std::uint32_t& pixel : pixels) pixel = std::rotr(pixel, kBits);
    return pixels;
}

f0r_instance_t Construct(const media::Frame& frame, const Settings& settings) {
    const auto instance = Find<decltype(f0r_construct)>("f0r_construct")(frame.width, frame.height);
    const auto set = Find<decltype(f0r_set_param_value)>("f0r_set_param_value");
    const Color& key = settings.keyColor;
    f0r_param_color_t color{static_cast<float>(key.red), static_cast<float>(key.green),
                            static_cast<float>(key.blue)};
    double smoothBG = settings.smoothBG;
    set(instance, &color, 1);
    set(instance, &smoothBG, 2);
    return instance;
}

void Compare(const char* name, const media::Frame& frame, const Settings& settings) {
    constexpr int kRounds = 31;
    const Pixels source = AlphaFirst(frame);
    const Pixels hostSource = AlphaLast(source);
    Pixels keyed(source.size()), hostKeyed(source.size());
    const auto instance = Construct(frame, settings);
    const auto update = Find<decltype(f0r_update)>("f0r_update");
    const auto key = [&] {
        Key(settings, frame.width, frame.height,
            reinterpret_cast<const std::uint8_t*>(source.data()),
            reinterpret_cast<std::uint8_t*>(keyed.data()));
    };
    const auto keyInHost = [&] { update(instance, 0, hostSource.data(), hostKeyed.data()); };
    key();
    keyInHost();
    if (hostKeyed != AlphaLast(keyed)) throw std::runtime_error("the plug-in's result is wrong");
    Pixels copy(source.size());
    double alone = INFINITY, hosted = INFINITY, copying = INFINITY;
    for (int round = 0; round < kRounds; ++round) {
        alone = std::min(alone, Seconds(key));
        hosted = std::min(hosted, Seconds(keyInHost));
        copying = std::min(copying, Seconds([&] { copy = hostSource; }));
    }
    std::printf("%-8s keyer %6.2f ms, plug-in adds %5.1f %%, %4.1f copies of a frame\n", name,
                alone * 1e3, (hosted / alone - 1) * 100, (hosted - alone) / copying);
    Find<decltype(f0r_destruct)>("f0r_destruct")(instance);
}

}  // namespace

int main() {
    try {
        const media::Frame frame = media::ReadFrame(VELTRANE_SAMPLES "/still.jpg", 1);
        Settings settings;
        settings.keyColor = ParseHexColor("#41c144").value();
        Compare("default", frame, settings);
        settings.smoothBG = false;
        Compare("direct", frame, settings);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hosts_frei0r: %s\n", error.what());
        return 1;
    }
    return 0;
}
