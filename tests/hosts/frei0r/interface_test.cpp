// Loads the plug-in as a host does and calls its functions one by one.

extern "C" {
#include <frei0r.h>
}
#include <dlfcn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <thread>

#include "tests/hosts/frei0r/expected.h"

namespace veltrane {
namespace {

template <typename Function>
Function* Find(const char* name) {
    static void* const file = dlopen(VELTRANE_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function*>(dlsym(file, name));
}
const auto init = Find<decltype(f0r_init)>("f0r_init");
const auto get_plugin_info = Find<decltype(f0r_get_plugin_info)>("f0r_get_plugin_info");
const auto get_param_info = Find<decltype(f0r_get_param_info)>("f0r_get_param_info");
const auto construct = Find<decltype(f0r_construct)>("f0r_construct");
const auto destruct = Find<decltype(f0r_destruct)>("f0r_destruct");
const auto set_param_value = Find<decltype(f0r_set_param_value)>("f0r_set_param_value");
const auto get_param_value = Find<decltype(f0r_get_param_value)>("f0r_get_param_value");
const auto update = Find<decltype(f0r_update)>("f0r_update");

/// An instance that holds these settings.
f0r_instance_t Filter(int width, int height, const Settings& settings) {
    const f0r_instance_t filter = construct(width, height);
    int index = 0;
    for (const Parameter& row : Rows()) {
        const Color& key = settings.keyColor;
        f0r_param_color_t color{float(key.red), float(key.green), float(key.blue)};
        const bool colored = row.kind == ParameterKind::Color;
        double share = colored ? 0 : Share(row, ValueOf(settings, row));
        set_param_value(filter, colored ? static_cast<void*>(&color) : &share, index++);
    }
    return filter;
}

void Update(f0r_instance_t filter, const char* source, char* output) {
    update(filter, 0.5, reinterpret_cast<const std::uint32_t*>(source),
           reinterpret_cast<std::uint32_t*>(output));
}

double StoredAs(f0r_instance_t filter, int index, double value) {
    set_param_value(filter, &value, index);
    value = -1;
    get_param_value(filter, &value, index);
    return value;
}

/// A green screen with a skin-coloured subject and every alpha.
std::string Picture(int width, int height) {
    std::string bytes;
    for (int i = 0; i < width * height; ++i) {
        const bool subject = std::abs(i % width - width / 2) < width / 5;
        const int light = 256 - i * 7 % 61;
        for (const int channel : {subject ? 208 : 64, subject ? 144 : 184, subject ? 112 : 56})
            bytes += char(channel * light / 256);
        bytes += char(i % 5 == 0 ? i * 11 : 255);
    }
    return bytes;
}

TEST(Frei0rInterface, DescribesItselfAndItsParameters) {
    EXPECT_GT(init(), 0);
    f0r_plugin_info_t info{};
    get_plugin_info(&info);
    EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
    EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_RGBA8888);
    EXPECT_EQ(info.frei0r_version, 1);
    const auto rows = Rows();
    ASSERT_EQ(info.num_params, std::ssize(rows));
    std::vector<f0r_param_info_t> shown(rows.size());
    for (int i = 0; i < info.num_params; ++i) {
        get_param_info(&shown[i], i);
        EXPECT_TRUE(std::string(shown[i].explanation).starts_with(rows[i].help)) << rows[i].help;
    }
    EXPECT_EQ(shown[1].type, F0R_PARAM_COLOR);
    EXPECT_EQ(shown[2].type, F0R_PARAM_BOOL);
    EXPECT_EQ(shown[12].type, F0R_PARAM_DOUBLE);
    EXPECT_STREQ(shown[12].name, "Mask blur radius");
    EXPECT_TRUE(std::string(shown[12].explanation).ends_with(". 0 to 1 stands for 1 to 100."));
    EXPECT_TRUE(
        std::string(shown[0].explanation).ends_with(". 0 is Source, 0.5 is Matte, 1 is Result."));
}

TEST(Frei0rInterface, ReachesEveryValueFromSixDecimals) {
    const f0r_instance_t filter = construct(8, 8);
    int index = -1;
    for (const Parameter& row : Rows()) {
        if (++index == 1) continue;  // the colour
        double initial = -1;
        get_param_value(filter, &initial, index);
        EXPECT_EQ(initial, Share(row, row.defaultValue)) << row.name;
        for (int value = row.minimum; value <= row.maximum; ++value) {
            const double share = Share(row, value);
            EXPECT_EQ(StoredAs(filter, index, std::stod(std::to_string(share))), share) << row.name;
        }
        EXPECT_EQ(StoredAs(filter, index, -INFINITY), 0);
        EXPECT_EQ(StoredAs(filter, index, 7), 1);
        EXPECT_EQ(StoredAs(filter, index, NAN), initial);
    }
    EXPECT_EQ(StoredAs(filter, 2, 0.5), 1);
    EXPECT_EQ(StoredAs(filter, 2, 0.499), 0);
    f0r_param_color_t color{NAN, 2, 0.3F};
    set_param_value(filter, &color, 1);
    color = {};
    get_param_value(filter, &color, 1);
    EXPECT_EQ(std::tuple(color.r, color.g, color.b), std::tuple(0.F, 1.F, 0.3F));
    destruct(filter);
}

void ExpectLibrary(int width, int height, const Settings& settings) {
    const std::string source = Picture(width, height);
    const std::string expected = Keyed(settings, width, height, source);
    const f0r_instance_t filter = Filter(width, height, settings);
    std::string output = "head" + source + "tail";
    Update(filter, source.data(), output.data() + 4);
    EXPECT_TRUE(output == "head" + expected + "tail") << width << " x " << height;
    output = source;
    Update(filter, output.data(), output.data());
    EXPECT_TRUE(output == expected) << "in place, " << width << " x " << height;
    destruct(filter);
}

TEST(Frei0rInterface, KeysAsTheLibraryDoesAtAnySizeOnTwoThreads) {
    const auto work = [](int width, const std::vector<Settings>& looks) {
        for (const int height : {1, 9, 48, 70, 5, 1})
            for (const Settings& settings : looks) ExpectLibrary(width, height, settings);
    };
    std::thread other(work, 33, std::vector{kMatte, Settings(), kEverything});
    work(64, {kEverything, kMatte, Settings()});
    other.join();
    work(1, {kEverything, kMatte});
}

TEST(Frei0rInterface, TakesSenselessCallsCalmly) {
    for (const auto& [width, height] : {std::pair(0u, 8u), {8, 65536}, {~0u, 1}})
        EXPECT_EQ(construct(width, height), nullptr);
    destruct(nullptr);
    get_plugin_info(nullptr);
    get_param_info(nullptr, 0);
    const f0r_instance_t filter = construct(1, 1);
    f0r_param_info_t info{"", 77, nullptr};
    double value = 0.25;
    for (const int index : {-1, 20, 1 << 30}) {
        get_param_info(&info, index);
        set_param_value(filter, &value, index);
        get_param_value(filter, &value, index);
    }
    set_param_value(nullptr, &value, 0);
    set_param_value(filter, nullptr, 0);
    get_param_value(nullptr, &value, 0);
    get_param_value(filter, nullptr, 0);
    std::uint32_t pixel = 5;
    update(nullptr, 0, &pixel, &pixel);
    update(filter, 0, nullptr, &pixel);
    update(filter, 0, &pixel, nullptr);
    EXPECT_EQ(std::tuple(info.type, value, pixel), std::tuple(77, 0.25, 5u));
    destruct(filter);
}

#ifndef __SANITIZE_ADDRESS__
/// Keys with room for so many more frames and ends with status 0 when the frame passed unkeyed.
[[noreturn]] void KeyWithin(double frames) {
    const std::string source = Picture(4096, 2304);  // so large that every frame is a mapping
    std::string output(source.size(), 0);
    const f0r_instance_t filter = Filter(4096, 2304, kMatte);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const auto limit = rlim_t(double(pages * sysconf(_SC_PAGESIZE)) + frames * source.size());
    const rlimit limits{limit, limit};
    setrlimit(RLIMIT_AS, &limits);
    Update(filter, source.data(), output.data());
    _exit(output == source ? 0 : 1);
}

TEST(Frei0rInterface, PassesFramesUnkeyedWhenMemoryRunsOut) {
    EXPECT_EXIT(KeyWithin(0.5), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(KeyWithin(1.5), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(KeyWithin(20), testing::ExitedWithCode(1), "");
}
#endif

}  // namespace
}  // namespace veltrane
