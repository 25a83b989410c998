#include "command.h"

namespace veltrane {
namespace {

TEST_F(CommandTest, DemoLeavesEverythingItNames) {
    for (int number = 1; number <= 5; ++number)
        Write(Path("s." + std::to_string(number) + ".png"), Picture(240, 160, number));
    Succeed({"key", Path("s.#.png"), Path("clip.mov"), "--view", "source"});
    const Outcome outcome = Succeed(
        {"demo", Path("show/here"), "--sample", Path("clip.mov"), "--strip", Path("strip.png")});
    const std::vector<std::string> names = Files("show/here");
    EXPECT_EQ(names, (std::vector<std::string>{"contact-sheet.png", "matte.mp4", "matte.png",
                                               "over-background.mp4", "over-background.png",
                                               "result.mov", "result.png", "source.png"}));
    for (const std::string& name : names) {
        EXPECT_NE(outcome.out.find(name), std::string::npos) << name;
        const media::Info info = media::Open(Path("show/here/" + name))->info();
        if (name.starts_with("contact")) continue;
        EXPECT_EQ(info.width, 240) << name;
        EXPECT_EQ(info.hasAlpha, name.starts_with("result")) << name;
    }
    // Three pictures of 240 pixels, four gaps of 8.
    EXPECT_EQ(media::Open(Path("strip.png"))->info().width, 3 * 240 + 4 * 8);
    EXPECT_EQ(media::Open(Path("show/here/contact-sheet.png"))->info().height, 3 * 160 + 4 * 8);
    const media::Frame third = media::ReadFrame(Path("clip.mov"), 3);
    EXPECT_EQ(media::ReadFrame(Path("show/here/source.png"), 1).pixels, third.pixels);
}

}  // namespace
}  // namespace veltrane
