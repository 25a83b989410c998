// Calls the frei0r plug-in's functions as a host does, then keys frames of the sample clip in real
// hosts. All results must be the library's, bit for bit.

extern "C" {
#include <frei0r.h>
}
#include <dlfcn.h>
#include <framework/mlt.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <regex>
#include <sstream>
#include <thread>

#include "settings/presets.h"
#include "tests/settings/unusual_look.h"
#include "tests/support/folder.h"

namespace veltrane {
namespace {

namespace fs = std::filesystem;

/// The rows that are parameters.
std::vector<Parameter> Rows() {
    std::vector<Parameter> rows;
    for (const Parameter* row : Panel(Host::Frei0r))
        if (row->kind != ParameterKind::Group) rows.push_back(*row);
    return rows;
}

/// A value's place in its range, 0 to 1, or that of a choice's entry.
double Share(const Parameter& row, int value) {
    if (row.kind == ParameterKind::Choice) return row.entries[std::size_t(value)].share;
    return double(value - row.minimum) / (row.maximum - row.minimum);
}

const Settings kEverything = UnusualLook();
const Settings kMatte =
    FromJson(R"({"key-color": "#40b838", "view": "matte", "smooth-bg": false})", "");

/// What the library makes of an RGBA frame, with the bytes moved one by one.
std::string Keyed(const Settings& settings, int width, int height, std::string_view source) {
    std::vector<std::uint8_t> in, out(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) in.push_back(source[i % 4 ? i - 1 : i + 3]);
    Key(settings, width, height, in.data(), out.data());
    std::string result(source);
    for (std::size_t i = 0; i < out.size(); ++i) result[i % 4 ? i - 1 : i + 3] = char(out[i]);
    return result;
}

template <typename Function>
Function* Find(const char* name) {
    static void* const file = dlopen(VELTRANE_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (!file) throw std::runtime_error(dlerror());
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

/// Grainy greens and reds of every alpha.
std::string Picture(int width, int height) {
    std::string bytes;
    for (int i = 0; i < width * height; ++i)
        for (const int channel : {i % 9 < 5 ? 64 : 208, 150 + i * 7 % 35, 90, i % 5 ? 255 : i * 11})
            bytes += char(channel);
    return bytes;
}

TEST(Frei0rInterface, DescribesItselfAndItsParameters) {
    EXPECT_GT(init(), 0);
    f0r_plugin_info_t info{};
    get_plugin_info(&info);
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
    EXPECT_PRED_FORMAT2(testing::IsSubstring, ". 0 is Source, 0.5 is Matte, 1 is Result",
                        shown[0].explanation);
}

/// The value of an attribute of an XML element.
std::string Attribute(const std::string& element, const std::string& name) {
    std::smatch found;
    std::regex_search(element, found, std::regex(' ' + name + "=\"([^\"]*)\""));
    return found.empty() ? "" : found[1].str();
}

TEST(EditorFiles, KdenliveReachesEveryValueOfTheTable) {
    std::ifstream file(VELTRANE_EDITOR_FILES "/kdenlive/effects/frei0r_veltrane_green.xml");
    const std::string xml{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::string> elements;
    const std::regex element("<parameter [^>]*>");
    for (std::sregex_iterator at(xml.begin(), xml.end(), element), end; at != end; ++at)
        elements.push_back(at->str());
    ASSERT_EQ(elements.size(), Rows().size());
    const f0r_instance_t filter = construct(8, 8);
    int index = -1;
    for (const Parameter& row : Rows()) {
        const std::string& shown = elements[std::size_t(++index)];
        f0r_param_info_t info{};
        get_param_info(&info, index);
        EXPECT_EQ(Attribute(shown, "name"), info.name);
        if (row.kind == ParameterKind::Color) continue;
        EXPECT_EQ(StoredAs(filter, index, std::stod(Attribute(shown, "default"))),
                  Share(row, row.defaultValue))
            << shown;
        std::istringstream shares(Attribute(shown, "paramlist"));
        int entries = 0;
        for (std::string share; std::getline(shares, share, ';'); ++entries)
            EXPECT_EQ(StoredAs(filter, index, std::stod(share)), Share(row, entries)) << shown;
        EXPECT_EQ(entries, std::ssize(row.entries));
        if (row.kind != ParameterKind::Integer) continue;
        const int most = std::stoi(Attribute(shown, "max"));
        EXPECT_EQ(Attribute(shown, "min"), "0");
        EXPECT_EQ(most, row.maximum - row.minimum);
        const double start = std::stod(Attribute(shown, "default")) * most;
        EXPECT_EQ(static_cast<int>(start), row.defaultValue - row.minimum) << "as shown, cut off";
        for (int step = 0; step <= most; ++step)
            EXPECT_EQ(StoredAs(filter, index, step / std::stod(Attribute(shown, "factor"))),
                      Share(row, row.minimum + step))
                << shown;
    }
    destruct(filter);
}

TEST(EditorFiles, ShotcutHoldsTheTablesRanges) {
    std::ifstream file(VELTRANE_EDITOR_FILES "/shotcut/qml/filters/veltrane_green/rows.js");
    const std::string js{std::istreambuf_iterator<char>(file), {}};
    for (const Parameter& row : Rows()) {
        std::string expected = "label: '" + std::string(LabelOf(row)) + "', kind: '";
        if (row.kind == ParameterKind::Choice) expected += "choice";
        if (row.kind == ParameterKind::Color) expected += "colour', start: '#ff000000'";
        if (row.kind == ParameterKind::Switch)
            expected += "switch', start: " + std::to_string(row.defaultValue);
        if (row.kind == ParameterKind::Integer) expected += "number";
        EXPECT_NE(js.find(expected), js.npos) << expected;
        if (row.kind != ParameterKind::Integer) continue;
        const std::string range = ", low: " + std::to_string(row.minimum) +
                                  ", high: " + std::to_string(row.maximum) + "}";
        EXPECT_EQ(js.find(range, js.find(expected)), js.find(", low", js.find(expected))) << range;
    }
}

/// A disc on a slope of light, with rows of so many pixels in memory.
std::string Disc(int width, int height, int pitch) {
    std::string bytes;
    for (int i = 0; i < pitch * height; ++i) {
        const int x = i % pitch, y = i / pitch, dx = x - width / 2, dy = y - height / 2;
        const bool within = dx * dx + dy * dy < height * height / 9;
        const int green = x >= width ? 0 : within ? 40 : 150 + x / 16;
        for (const int channel : {60, green, 70, 255}) bytes += char(channel);
    }
    return bytes.substr(0, std::size_t(width) * std::size_t(height) * 4);
}

TEST(Frei0rInterface, SaysOnceWhatKeepsItFromKeying) {
    const auto told = [](int width, int pitch, const Settings& settings) {
        const f0r_instance_t filter = Filter(width, 120, settings);
        const std::string source = Disc(width, 120, pitch);
        std::string output = source;
        testing::internal::CaptureStderr();
        for (int i = 0; i < 2; ++i) Update(filter, source.data(), output.data());
        destruct(filter);
        return testing::internal::GetCapturedStderr();
    };
    for (const int width : {214, 216, 224, 1}) EXPECT_EQ(told(width, width, kMatte), "") << width;
    for (const auto& [pitch, settings, part] :
         {std::tuple{224, kMatte, "padded rows"}, {214, Settings(), "no key colour is chosen"}}) {
        const std::string line = told(214, pitch, settings);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, part, line);
        EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
        EXPECT_EQ(told(214, 216, settings), "");
    }
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
    // What is next to a view that came later meant one of the first three, and still does.
    for (const double share : {0.1, 0.24, 0.26, 0.6, 0.74})
        EXPECT_EQ(StoredAs(filter, 0, share), std::floor(2 * share + 0.5) / 2) << share;
    EXPECT_EQ(StoredAs(filter, 2, 0.5), 1);
    EXPECT_EQ(StoredAs(filter, 2, 0.499), 0);
    f0r_param_color_t color{NAN, 2, 0.3F};
    set_param_value(filter, &color, 1);
    color = {};
    get_param_value(filter, &color, 1);
    EXPECT_EQ(std::tuple(color.r, color.g, color.b), std::tuple(0.F, 1.F, 0.3F));
    destruct(filter);
}

void ExpectKeyed(int width, int height, const Settings& settings) {
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
            for (const Settings& settings : looks) ExpectKeyed(width, height, settings);
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
    for (const int index : {-1, int(Rows().size()), 1 << 30}) {
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

// Hosts load no plug-in that needs a sanitizer's runtime, nor does that run within a memory limit.
#ifndef VELTRANE_SANITIZED

/// Keys with room for so many more frames and ends with status 0 when the frame passed unkeyed.
[[noreturn]] void KeyWithin(double frames) {
    const std::string source = Picture(4096, 2304);  // so large that every frame is a mapping
    std::string output(source.size(), 0);
    const f0r_instance_t filter = Filter(4096, 2304, kEverything);
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
    EXPECT_EXIT(KeyWithin(20), testing::ExitedWithCode(1), "");
}

const std::string kRaw = "ffmpeg -f rawvideo -pixel_format rgba -video_size 960x540 -framerate 24 ";

void Shell(const std::string& command) {
    EXPECT_EQ(std::system((command + " >log 2>&1 </dev/null").c_str()), 0) << command << '\n'
                                                                           << Contents("log");
}

/// Runs hosts in a folder where in.rgba and in.mov hold three frames of the clip with every alpha.
class Frei0rHost : public testing::Test {
protected:
    Frei0rHost() {
        fs::current_path(folder_.path);
        setenv("FREI0R_PATH", VELTRANE_PLUGIN_FOLDER, 1);
        setenv("GST_REGISTRY", "registry", 1);
        Shell("ffmpeg -i '" VELTRANE_SAMPLES
              "/clip.mp4' -frames:v 3 -pix_fmt rgba -f rawvideo a.rgba");
        source_ = Contents("a.rgba");
        for (std::size_t i = 3; i < source_.size(); i += 4) source_[i] = char(i / 4 * 7);
        std::ofstream("in.rgba", std::ios::binary) << source_;
        Shell(kRaw + "-i in.rgba -c:v png in.mov");
    }

    ~Frei0rHost() override { fs::current_path("/"); }

    /// A parameter with its value as a host writes it.
    using Spelling = std::function<std::string(const Parameter&, const std::string& value)>;

    /// What a host makes of the frames with these settings must be what the library does.
    void ExpectLibrary(const std::function<std::string(const Settings&)>& keyed) const {
        ASSERT_EQ(source_.size(), 3 * kFrame);
        for (const Settings& settings : {kEverything, kMatte}) {
            std::string expected;
            for (const std::size_t start : {0, 1, 2})
                expected += Keyed(settings, 960, 540, source_.substr(start * kFrame, kFrame));
            EXPECT_TRUE(keyed(settings) == expected) << Contents("log");
        }
    }

    /// The same of a command that writes out.rgba, with the parameters as spelled in its middle.
    void ExpectLibraryBy(const std::string& before, const Spelling& spell,
                         const std::string& after) const {
        ExpectLibrary([&](const Settings& settings) {
            std::string command = before;
            for (const Parameter& row : Rows()) command += spell(row, Text(row, settings));
            fs::remove("out.rgba");
            Shell(command + after);
            return Contents("out.rgba");
        });
    }

    static std::string Text(const Parameter& row, const Settings& settings) {
        if (row.kind == ParameterKind::Color) return HexText(settings.keyColor);
        const int value = ValueOf(settings, row);
        return row.kind == ParameterKind::Switch ? std::to_string(value)
                                                 : std::to_string(Share(row, value));
    }

    static constexpr std::size_t kFrame = 960 * 540 * 4;

private:
    const TemporaryFolder folder_;
    std::string source_;
};

TEST_F(Frei0rHost, FFmpeg) {
    const auto spell = [](const Parameter& row, const std::string& value) {
        if (row.kind == ParameterKind::Switch) return std::string(value == "1" ? "y|" : "n|");
        return value + '|';
    };
    ExpectLibraryBy(kRaw + "-i in.rgba -vf 'frei0r=veltrane_green:", spell,
                    "' -f rawvideo out.rgba");
}

/// By its library: the command writes through threads that now and then end before they began.
TEST_F(Frei0rHost, Mlt) {
    mlt_factory_init(nullptr);
    const mlt_profile profile = mlt_profile_load_string(
        "description=clip\nframe_rate_num=24\nframe_rate_den=1\nwidth=960\nheight=540\n"
        "progressive=1\nsample_aspect_num=1\nsample_aspect_den=1\ncolorspace=709\n");
    // As plain texts, and as editors write them: colours with alpha, numbers as keyframes.
    for (const bool edited : {false, true})
        ExpectLibrary([&](const Settings& settings) {
            const mlt_producer clip = mlt_factory_producer(profile, nullptr, "in.mov");
            const mlt_filter filter = mlt_factory_filter(profile, "frei0r.veltrane_green", nullptr);
            for (const Parameter& row : Rows()) {
                std::string name = row.name, value = Text(row, settings);
                std::replace(name.begin(), name.end(), '-', ' ');
                name[0] = char(std::toupper(name[0]));
                const bool colored = row.kind == ParameterKind::Color;
                if (edited && colored) value = "0x" + value.substr(1) + "ff";
                if (edited && row.kind == ParameterKind::Integer) value = "00:00:00.000=" + value;
                mlt_properties_set(MLT_FILTER_PROPERTIES(filter), name.c_str(), value.c_str());
            }
            mlt_producer_attach(clip, filter);
            std::string keyed;
            for (int i = 0; i < 3; ++i) {
                mlt_frame frame = nullptr;
                mlt_service_get_frame(MLT_PRODUCER_SERVICE(clip), &frame, 0);
                std::uint8_t* image = nullptr;
                mlt_image_format format = mlt_image_rgba;
                int width = 960, height = 540;
                if (mlt_frame_get_image(frame, &image, &format, &width, &height, 0) == 0)
                    keyed.append(reinterpret_cast<const char*>(image), kFrame);
                mlt_frame_close(frame);
            }
            mlt_filter_close(filter);
            mlt_producer_close(clip);
            return keyed;
        });
    mlt_profile_close(profile);
    mlt_factory_close();
}

TEST_F(Frei0rHost, GStreamer) {
    const auto spell = [](const Parameter& row, const std::string& value) {
        const std::string name = std::string(" ") + row.name;
        if (row.kind != ParameterKind::Color) return name + '=' + value;
        const Color key = ParseHexColor(value).value();
        return name + "-r=" + std::to_string(key.red) + name + "-g=" + std::to_string(key.green) +
               name + "-b=" + std::to_string(key.blue);
    };
    ExpectLibraryBy(
        "gst-launch-1.0 filesrc location=in.rgba ! rawvideoparse format=rgba width=960"
        " height=540 framerate=24/1 ! frei0r-filter-veltrane-green",
        spell, " ! filesink location=out.rgba");
}

#endif

}  // namespace
}  // namespace veltrane
