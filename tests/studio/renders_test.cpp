#include "tests/studio/studio.h"

namespace veltrane {
namespace {

class StudioRenders : public StudioTest {
protected:
    Value Last() const { return Got("/api/renders")["renders"].back(); }

    Value Ended() const {
        Value render;
        WaitUntil(child_, [&] {
            render = Last();
            return render["state"] != "queued" && render["state"] != "running";
        });
        return render;
    }
};

TEST_F(StudioRenders, WriteWhatTheCommandWrites) {
    WriteFrames(4);
    Open("f.#.png");
    const Value render{{"shot", "f.#.png"},
                       {"settings", {{"key-color", "#40b838"}, {"shadow", 12}}},
                       {"output", "out.#.png"},
                       {"frames", {2, 3}}};
    EXPECT_EQ(Asked("/api/render", render)["id"], 1);
    const Value ended = Ended();
    EXPECT_EQ(ended["state"], "done") << ended;
    EXPECT_EQ(ended["done"], 2);
    EXPECT_EQ(ended["total"], 2);
    Settings settings = green_;
    settings.shadow = 12;
    for (const int frame : {2, 3})
        EXPECT_EQ(media::ReadFrame("out.#.png", frame).pixels, Keyed(settings, Picture(frame)));
    EXPECT_FALSE(fs::exists("out.4.png"));
}

TEST_F(StudioRenders, AreRefusedOverSourcesAndForWhatIsWrong) {
    WriteFrames(2);
    Open();
    const auto refused = [&](const Value& change, int status, const std::string& text) {
        Value render{{"shot", "f.#.png"}, {"output", "out.#.png"}};
        render.update(change);
        ExpectRefused(Post("/api/render", render), status, text);
    };
    refused({{"output", "f.2.png"}}, 400, "is a source");
    refused({{"output", "none/out.png"}}, 404, "not there");
    refused({{"frames", {1}}}, 400, "frames must be two numbers");
    refused({{"options", {{"threads", "1"}}}}, 400, "options has no \"threads\"");
    refused({{"options", {{"alpha", "--help"}}}}, 400, "must not begin with a dash");
    ExpectRefused(Post("/api/renders/9/cancel", Value::object()), 404, "no render 9");
    // What only the command can tell is told by the render.
    Asked("/api/render", {{"shot", "in.png"}, {"output", "out.mp4"}});
    const Value ended = Ended();
    EXPECT_EQ(ended["state"], "failed");
    EXPECT_NE(ended["message"].get<std::string>().find("cannot hold alpha"), std::string::npos);
}

TEST_F(StudioRenders, AreCancelledCleanlyOneByOneAndWithTheStudio) {
    Write("still.png", Picture(1, 640, 360));
    for (int number = 1000; number < 4000; ++number)
        fs::create_symlink("still.png", "s." + std::to_string(number) + ".png");
    Open("--root .");
    const Value render{{"shot", "s.%04d.png"}, {"output", "out.mov"}};
    const auto before = Files(".");
    const auto unfinished = [&] { return Files(".") != before; };
    EXPECT_EQ(Asked("/api/render", render)["id"], 1);
    EXPECT_EQ(Asked("/api/render", render)["id"], 2);
    Asked("/api/renders/2/cancel", Value::object());
    EXPECT_EQ(Last()["state"], "cancelled");
    const auto first = [&] { return Got("/api/renders")["renders"][0]; };
    WaitUntil(child_, [&] { return first()["done"] > 0; });
    EXPECT_GT(first()["rate"], 0);
    EXPECT_GT(first()["secondsLeft"], 0);
    Asked("/api/renders/1/cancel", Value::object());
    WaitUntil(child_, [&] { return first()["state"] == "cancelled"; });
    EXPECT_FALSE(unfinished());
    Asked("/api/render", render);  // and cancelled before it has begun with anything
    WaitUntil(child_, [&] { return Last()["state"] == "running"; });
    Asked("/api/renders/3/cancel", Value::object());
    EXPECT_EQ(Ended()["state"], "cancelled");
    EXPECT_EQ(Asked("/api/render", render)["id"], 4);
    WaitUntil(child_, [&] { return Last()["state"] == "running" && unfinished(); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Close(), 130);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    WaitUntil(child_, [&] { return !unfinished(); });
    EXPECT_FALSE(unfinished());
}

TEST_F(StudioRenders, TellThemselvesToOpenPages) {
    Open();
    std::string told;
    std::atomic<bool> listens = false;
    std::thread page([&] { told = Send({"GET", "/api/events"}, &listens).body; });
    WaitUntil(child_, [&] { return listens.load(); });
    Asked("/api/render", {{"shot", "in.png"}, {"output", "out2.png"}});
    EXPECT_EQ(Ended()["state"], "done");
    EXPECT_EQ(Close(), 130);
    page.join();
    EXPECT_NE(told.find("event: hello\n"), std::string::npos);
    EXPECT_NE(told.find("\"out2.png\",\"state\":\"done\""), std::string::npos) << told;
}

}  // namespace
}  // namespace veltrane
