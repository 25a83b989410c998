// The frei0r interface itself. frei0r has no error codes beyond a null instance, so calls that make
// no sense do nothing, and a frame that cannot be keyed passes unkeyed.

extern "C" {
#include <frei0r.h>
}

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "hosts/frei0r/host_parameters.h"
#include "imaging/convert/convert.h"
#include "imaging/pitch/row_padding.h"
#include "keyer/frame_cut.h"
#include "settings/frame_keyer.h"

namespace {

using namespace veltrane;

struct Instance {
    int width;
    int height;
    Settings settings;
};

const frei0r::HostParameter* Find(int index) {
    const auto parameters = frei0r::HostParameters();
    if (index < 0 || static_cast<std::size_t>(index) >= parameters.size()) return nullptr;
    return &parameters[index];
}

/// The interface has no way to tell a user anything.
void TellOnce(std::atomic_flag& told, const char* text) {
    if (!told.test_and_set()) std::fprintf(stderr, "veltrane_green: %s\n", text);
}

void KeyFrame(const Instance& instance, const std::uint32_t* source, std::uint32_t* output) {
    const std::size_t width = instance.width;
    const PixelReader<std::uint8_t> reader({PixelOrder::kRgba});
    const PixelWriter<std::uint8_t> writer({PixelOrder::kRgba});
    const auto read = [&](int y, std::uint8_t* row) {
        reader(reinterpret_cast<const std::uint8_t*>(source + y * width), row, instance.width);
    };
    const auto write = [&](int y, const std::uint8_t* row) {
        writer(row, reinterpret_cast<std::uint8_t*>(output + y * width), instance.width);
    };
    static std::atomic_flag toldOfKey, toldOfRows;
    if (!IsKeyChosen(instance.settings) && instance.settings.view != View::Source)
        TellOnce(toldOfKey, "no key colour is chosen, so frames pass unkeyed; set \"Key color\"");
    // Looked at until they are: the first frames may be black.
    if (instance.width % 16 != 0 && !toldOfRows.test() &&
        SeemsPadded(source, instance.width, instance.height))
        TellOnce(
            toldOfRows,
            "frames come with padded rows, which this interface cannot tell, and would be keyed "
            "askew; use a width that is a multiple of 16, or the command veltrane key");
    try {
        const std::size_t size = width * sizeof *source;
        const auto pitch = static_cast<std::ptrdiff_t>(size);
        Key<std::uint8_t>(instance.settings, instance.width, instance.height,
                          {nullptr, read, {source, pitch, size}},
                          {nullptr, write, {output, pitch, size}});
    } catch (...) {
        std::memmove(output, source, width * instance.height * sizeof *output);
    }
}

}  // namespace

// Some hosts take 0 for a failure and others a negative number.
int f0r_init() {
    return 1;
}

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    if (!info) return;
    *info = {.name = "Veltrane Green",
             .author = "Veltrane",
             .plugin_type = F0R_PLUGIN_TYPE_FILTER,
             .color_model = F0R_COLOR_MODEL_RGBA8888,
             .frei0r_version = FREI0R_MAJOR_VERSION,
             .major_version = VELTRANE_MAJOR_VERSION,
             .minor_version = VELTRANE_MINOR_VERSION,
             .num_params = static_cast<int>(frei0r::HostParameters().size()),
             .explanation =
                 "Removes a green or blue screen: alpha holds the matte, colour the foreground "
                 "without the screen's light. Choose the key colour first."};
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
    const frei0r::HostParameter* parameter = Find(index);
    if (info && parameter) *info = {parameter->name, parameter->type, parameter->explanation};
}

// frei0r asks hosts for multiples of 8 up to 2048, which several ignore; every size that the keyer
// takes is accepted.
f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    constexpr unsigned kLongestSide = 65535;
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide) return nullptr;
    return new (std::nothrow) Instance{static_cast<int>(width), static_cast<int>(height), {}};
}

void f0r_destruct(f0r_instance_t instance) {
    delete static_cast<Instance*>(instance);
}

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    const frei0r::HostParameter* parameter = Find(index);
    if (instance && value && parameter)
        frei0r::Store(static_cast<Instance*>(instance)->settings, *parameter->row, value);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    const frei0r::HostParameter* parameter = Find(index);
    if (instance && value && parameter)
        frei0r::Load(static_cast<const Instance*>(instance)->settings, *parameter->row, value);
}

void f0r_update(f0r_instance_t instance, double /*time*/, const std::uint32_t* source,
                std::uint32_t* output) {
    if (instance && source && output)
        KeyFrame(*static_cast<const Instance*>(instance), source, output);
}
