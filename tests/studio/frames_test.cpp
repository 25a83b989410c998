#include <cmath>
#include <numeric>

#include "tests/studio/studio.h"

namespace veltrane {
namespace {

constexpr const char* kDrawing = R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 64 48">)"
                                 R"(<g data-frame="1"><path d="M0 0H20V30L0 12Z"/></g>)"
                                 R"(<g data-frame="3"><path d="M4 0H30V30L9 12Z"/></g></svg>)";

/// The values of a body, in the order of the keyer's frames.
media::Pixels Pixels(const Reply& reply) {
    media::Pixels pixels(reply.body.size() / 2);
    std::memcpy(pixels.data(), reply.body.data(), reply.body.size());
    for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}

/// Puts into the values of a body what a reply says has changed, as a page does.
void Change(const std::string& code, int width, std::string& body) {
    const auto number = [&](std::size_t at) {
        std::uint32_t value = 0;
        std::memcpy(&value, code.data() + at, sizeof value);
        return value;
    };
    const std::uint32_t across = (width + 31) / 32, blocks = number(0);
    std::size_t alpha = 12 + blocks * 12, color = alpha + number(4) * 2;
    ASSERT_EQ(code.size(), color + number(8) * 6);
    for (std::uint32_t i = 0; i < blocks * 32; ++i) {
        const std::size_t at = 12 + i / 32 * 12, x = number(at) % across * 32 + i % 32;
        const std::size_t to = (number(at) / across * width + x) * 8;
        if (number(at + 4) >> i % 32 & 1)
            body.replace(to + 6, 2, code, std::exchange(alpha, alpha + 2), 2);
        if (number(at + 8) >> i % 32 & 1)
            body.replace(to, 6, code, std::exchange(color, color + 6), 6);
    }
}

class StudioFrames : public StudioTest {
protected:
    /// Runs the line that the page shows, in another folder.
    void RunLine(const std::string& line) const {
        const std::string name = "veltrane ";
        ASSERT_EQ(line.find(name), 0u) << line;
        const std::string run =
            "cd / && '" + command_ + "' " + line.substr(name.size()) + " --quiet";
        ASSERT_EQ(std::system(run.c_str()), 0) << line;
    }
};

TEST_F(StudioFrames, AreWhatTheCommandWrites) {
    WriteFrames(3);
    Write("plate of it's.png", Picture(9));
    Open("f.#.png");
    const Value settings{{"shadow", 40},          {"key-color", "#40b838"}, {"edge-blur", true},
                         {"mask-blur-value", 70}, {"skin-hue", -12},        {"contract-mask", 5},
                         {"smooth-bg", true},     {"screen", "green"}};
    const Value wishes[] = {
        {{"settings", settings}},
        {{"settings", {{"key-color", "auto"}}}, {"view", "matte"}},
        {{"settings", {{"key-color", "auto"}}}, {"view", "source"}},
        {{"settings", settings}, {"view", "status"}},
        {{"settings", settings}, {"inputs", {{"garbage", kDrawing}, {"coreFile", "f.2.png"}}}},
        {{"settings", settings},
         {"inputs", {{"cleanPlate", "plate of it's.png"}, {"matchPlate", true}}}}};
    for (Value wish : wishes) {
        wish.update(
            {{"shot", "f.#.png"}, {"frame", 2}, {"output", "out.#.png"}, {"frames", {2, 2}}});
        const Reply reply = Post("/api/frame", wish);
        ASSERT_EQ(reply.status, 200) << reply.body;
        EXPECT_EQ(reply.Header("X-Width"), "64");
        EXPECT_EQ(reply.Header("X-Height"), "48");
        if (wish.contains("view")) wish["options"] = {{"view", wish["view"]}};
        RunLine(Asked("/api/command", wish)["line"]);
        EXPECT_EQ(Pixels(reply), media::ReadFrame("out.#.png", 2).pixels) << wish;
    }
}

TEST_F(StudioFrames, HaveTheMatteForTheLightOfTheirFiles) {
    Write("light.exr", source_);
    Open("light.exr");
    const Value wish{{"shot", "light.exr"},
                     {"frame", 1},
                     {"settings", {{"key-color", "#40b838"}, {"matte-light", "auto"}}},
                     {"output", "out.png"}};
    const Reply reply = Post("/api/frame", wish);
    const std::string line = Asked("/api/command", wish)["line"];
    EXPECT_NE(line.find(" --matte-light linear"), line.npos) << line;
    RunLine(line);
    EXPECT_EQ(Pixels(reply), media::ReadFrame("out.png", 1).pixels);
}

TEST_F(StudioFrames, ComeInPartsAndReduced) {
    Open();
    const Value wish{{"shot", "in.png"}, {"frame", 1}, {"settings", {{"key-color", "#40b838"}}}};
    const media::Pixels keyed = Keyed(green_, source_);
    EXPECT_EQ(Pixels(Post("/api/frame", wish)), keyed);
    Value alpha = wish;
    alpha["channels"] = "a";
    const std::string body = Post("/api/frame", alpha).body;
    ASSERT_EQ(body.size(), keyed.size() / 2);
    for (std::size_t i = 0; i < keyed.size() / 4; ++i) {
        std::uint16_t level = 0;
        std::memcpy(&level, body.data() + 2 * i, 2);
        ASSERT_EQ(level, keyed[4 * i + 3]) << i;
    }
    Value reduced = wish;
    reduced["scale"] = 4;
    const Reply small = Post("/api/frame", reduced);
    EXPECT_EQ(small.Header("X-Width") + 'x' + small.Header("X-Height"), "16x12");
    EXPECT_EQ(small.Header("X-Scale"), "4");
    EXPECT_EQ(small.body.size(), 16u * 12 * 8);
}

TEST_F(StudioFrames, AreToldByWhatDiffersFromTheOneThatIsHeld) {
    constexpr int kWidth = 75;
    Write("odd.png", Picture(1, kWidth, 40));
    Open("odd.png");
    std::string held;
    int generation = 0;
    const auto ask = [&](const Value& settings, Value more) {
        more.update({{"shot", "odd.png"}, {"frame", 1}, {"settings", settings}});
        return Post("/api/frame", more);
    };
    const auto follow = [&](const Value& settings, int known, bool byChanges) {
        const Reply reply =
            ask(settings, {{"client", "a"}, {"generation", ++generation}, {"held", known}});
        EXPECT_EQ(reply.Header("X-Held"), byChanges ? std::to_string(known) : "0") << settings;
        if (!byChanges) held = reply.body;
        if (byChanges) Change(reply.body, kWidth, held);
        EXPECT_TRUE(held == ask(settings, Value::object()).body) << settings;
        return reply.body.size();
    };
    Value settings{{"key-color", "#40b838"}};
    follow(settings, 0, false);
    EXPECT_EQ(follow(settings, 1, true), 12u) << "nothing differs";
    for (const auto& [name, value] : std::initializer_list<std::pair<const char*, int>>{
             {"clip-black", 70}, {"shadow", 20}, {"screen-gain", 90}, {"skin-hue", 33}}) {
        settings[name] = value;
        follow(settings, generation, true);
    }
    follow(settings, generation - 1, false);
    ask(settings, {{"client", "a"}, {"generation", ++generation}, {"held", 0}, {"scale", 2}});
    settings["clip-white"] = 40;
    follow(settings, generation - 1, true);
    settings["view"] = "source";
    follow(settings, generation, false);
}

TEST_F(StudioFrames, GiveWayToLaterRequestsOfTheSamePage) {
    Open();
    const auto ask = [&](const char* client, const char* purpose, int generation) {
        return Post("/api/frame", {{"shot", "in.png"},
                                   {"frame", 1},
                                   {"client", client},
                                   {"purpose", purpose},
                                   {"generation", generation}})
            .status;
    };
    EXPECT_EQ(ask("a", "main", 5), 200);
    EXPECT_EQ(ask("a", "main", 4), 409);
    EXPECT_EQ(ask("a", "main", 5), 200);
    EXPECT_EQ(ask("a", "strip", 4), 200);
    EXPECT_EQ(ask("b", "main", 1), 200);
}

TEST_F(StudioFrames, OfAnyNumberComeInAnyOrder) {
    WriteFrames(9);
    fs::remove("f.5.png");
    Run("key f.#.png clip.mkv --frames 6-9 --view source --quiet --key-color #40b838");
    Open("f.#.png");
    const auto source = [&](const char* shot, int frame) {
        return Post("/api/frame", {{"shot", shot}, {"frame", frame}, {"view", "source"}});
    };
    for (const int frame : {7, 1, 2, 3, 4, 6, 9, 8, 3})
        EXPECT_EQ(Pixels(source("f.#.png", frame)), Picture(frame).pixels) << frame;
    ExpectRefused(source("f.#.png", 5), 404, "frame 5 of the sequence is missing");
    for (const int frame : {4, 1, 2, 4, 3})
        EXPECT_EQ(Pixels(source("clip.mkv", frame)), media::ReadFrame("clip.mkv", frame).pixels);
    // A long one, whose frames build on those before, back and forth.
    WriteFrames(60);
    Run("key f.#.png long.mp4 --background #204060 --quiet --key-color #40b838");
    const auto reader = media::Open("long.mp4");
    std::vector<media::Pixels> inOrder{{}};
    while (const auto fetched = reader->Fetch()) inOrder.push_back(reader->Decode(*fetched).pixels);
    ASSERT_EQ(inOrder.size(), 61u);
    for (int frame = 59; frame > 30; --frame)
        EXPECT_EQ(Pixels(source("long.mp4", frame)), inOrder[frame]) << frame;
    for (const int frame : {5, 4, 57, 56, 1, 60, 59})
        EXPECT_EQ(Pixels(source("long.mp4", frame)), inOrder[frame]) << frame;
    // A file that was written anew is read anew when it is opened.
    Write("f.3.png", Picture(33));
    Asked("/api/open", {{"path", "f.#.png"}});
    EXPECT_EQ(Pixels(source("f.#.png", 3)), Picture(33).pixels);
}

TEST_F(StudioFrames, AreMeasured) {
    Open();
    const Value wish{{"shot", "in.png"}, {"frame", 1}, {"settings", {{"key-color", "#40b838"}}},
                     {"x", 30},          {"y", 20},    {"width", 4},
                     {"height", 3},      {"bins", 2}};
    const media::Pixels keyed = Keyed(green_, source_);
    const auto inRegion = [](const media::Pixels& pixels, int channel) {
        std::vector<double> values;
        for (int i = 0; i < 12; ++i)
            values.push_back(pixels[((20 + i / 4) * 64 + 30 + i % 4) * 4 + channel]);
        return values;
    };
    const std::vector<double> alphas = inRegion(keyed, 3), greens = inRegion(source_.pixels, 1);
    const Value probe = Asked("/api/probe", wish);
    EXPECT_DOUBLE_EQ(probe["result"]["mean"][3],
                     std::accumulate(alphas.begin(), alphas.end(), 0.0) / 12);
    EXPECT_EQ(probe["matte"]["least"][0], *std::min_element(alphas.begin(), alphas.end()));
    const double mean = probe["source"]["mean"][1];
    double squares = 0;
    for (const double green : greens) squares += (green - mean) * (green - mean);
    EXPECT_GT(squares, 0);
    EXPECT_NEAR(probe["source"]["spread"][1], std::sqrt(squares / 12), 1e-3);
    EXPECT_EQ(probe["source"]["greatest"][3], 65535);
    const Value plate = probe["plate"]["mean"];
    EXPECT_GT(plate[1], 1.5 * plate[0].get<double>()) << "the plate is green";
    const Value histogram = Asked("/api/histogram", wish);
    EXPECT_EQ(histogram["counts"][0].get<int>() + histogram["counts"][1].get<int>(), 64 * 48);
    std::size_t zeros = 0;
    for (std::size_t i = 3; i < keyed.size(); i += 4) zeros += keyed[i] == 0;
    EXPECT_DOUBLE_EQ(histogram["zeros"], static_cast<double>(zeros) / (64 * 48));
}

TEST_F(StudioFrames, TellTheColourOfTheScreen) {
    Open();
    const Value found = Asked("/api/pick", {{"shot", "in.png"}, {"frame", 1}});
    EXPECT_EQ(found["hex"], Json("pick in.png")["key-color"]);
    const Value spot = Asked("/api/pick", {{"shot", "in.png"}, {"frame", 1}, {"x", 8}, {"y", 9}});
    EXPECT_EQ(spot["hex"], Json("pick in.png --at 8,9")["key-color"]);
    EXPECT_EQ(spot["settings"]["screen"], "green");
    EXPECT_GT(spot["spread"][1], 0);
    ExpectRefused(Post("/api/pick", {{"shot", "in.png"}, {"frame", 1}, {"x", 64}, {"y", 9}}), 400,
                  "outside the frame of 64 x 48");
}

}  // namespace
}  // namespace veltrane
