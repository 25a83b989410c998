#include "shapes/shape_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "files/error.h"

namespace veltrane::shapes {
namespace {

constexpr int kWidth = 40, kHeight = 30;

/// A file of this content while it lives.
class Document {
public:
    explicit Document(const std::string& text)
        : path_(::testing::TempDir() + "veltrane-shapes-" + std::to_string(::getpid()) + ".svg") {
        std::ofstream(path_) << text;
    }
    ~Document() { std::filesystem::remove(path_); }

    ShapeFile Read(Purpose purpose = Purpose::kGarbage) const {
        return {path_, kWidth, kHeight, purpose};
    }
    std::string Refusal() const {
        try {
            Read();
        } catch (const files::Error& error) {
            const std::string line = error.what();
            EXPECT_EQ(line.rfind(path_ + ": ", 0), 0u) << line;
            EXPECT_EQ(line.find('\n'), std::string::npos) << line;
            return line.substr(path_.size());
        }
        return "nothing";
    }

private:
    std::string path_;
};

std::string Svg(const std::string& content) {
    return "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 40 30'>" + content + "</svg>";
}

Levels Drawn(const std::string& content, Purpose purpose = Purpose::kGarbage, int frame = 1) {
    return Draw(Document(Svg(content)).Read(purpose).At(frame), kWidth, kHeight);
}

TEST(ShapeFiles, DrawEveryKindAlike) {
    const Levels rect = Drawn("<rect x='4.5' y='3' width='20' height='12.25'/>");
    EXPECT_EQ(rect[3 * kWidth + 4], 32768);
    EXPECT_EQ(rect[15 * kWidth + 10], 16384);
    EXPECT_EQ(Drawn("<polygon points='4.5,3 24.5,3 24.5 15.25,4.5 15.25'/>"), rect);
    EXPECT_EQ(Drawn("<path d='M4.5 3H24.5V15.25L4.5,15.25Z'/>"), rect);
}

TEST(ShapeFiles, ServeGarbageAndCoreByClass) {
    const std::string both =
        "<g class='core' data-feather='3'><ellipse cx='9' cy='9' rx='5' ry='4'/></g>"
        "<rect width='10' height='10' class='garbage'/>";
    EXPECT_EQ(Drawn(both, Purpose::kCore),
              Drawn("<ellipse cx='9' cy='9' rx='5' ry='4' data-feather='3'/>"));
    EXPECT_EQ(Drawn(both), Drawn("<rect width='10' height='10'/>"));
}

TEST(ShapeFiles, GoStraightBetweenKeyframesAndRestBeyond) {
    const std::string moving =
        "<g><g data-frame='20'><rect x='20' y='10' width='8' height='6' data-feather='4'/></g>"
        "<g data-frame='10'><rect x='10' y='0' width='4' height='6'/></g></g>"
        "<g data-frame='5'><path d='M30 20 Q35 20 35 25 V29 H30 Z'/></g>";
    const auto expected = [](int x, int y, int width, int feather) {
        return Drawn("<rect x='" + std::to_string(x) + "' y='" + std::to_string(y) + "' width='" +
                     std::to_string(width) + "' height='6' data-feather='" +
                     std::to_string(feather) + "'/><path d='M30 20 Q35 20 35 25 V29 H30 Z'/>");
    };
    const auto at = [&](int frame) { return Drawn(moving, Purpose::kGarbage, frame); };
    EXPECT_EQ(at(1), expected(10, 0, 4, 0));
    EXPECT_EQ(at(10), expected(10, 0, 4, 0));
    EXPECT_EQ(at(15), expected(15, 5, 6, 2));
    EXPECT_EQ(at(20), expected(20, 10, 8, 4));
    EXPECT_EQ(at(999), expected(20, 10, 8, 4));
    EXPECT_TRUE(Document(Svg(moving)).Read().Moves());
    EXPECT_FALSE(Document(Svg("<rect width='9' height='9'/>")).Read().Moves());
}

TEST(ShapeFiles, SoftenWhatReachesInFromBeyondTheFrame) {
    // An edge just outside darkens the border as one in a larger picture does.
    const Levels soft = Drawn("<rect x='-50' y='-50' width='49' height='200' data-feather='12'/>");
    EXPECT_GT(soft[15 * kWidth], 10000);
    EXPECT_LT(soft[15 * kWidth], 32768);
    EXPECT_EQ(soft[0], soft[15 * kWidth]);
    EXPECT_EQ(soft[15 * kWidth + 8], 0);
}

TEST(ShapeFiles, RefuseEverythingElseByName) {
    const std::string rect = "<rect width='9' height='9'/>";
    const std::pair<std::string, std::string> cases[] = {
        {"", "no XML"},
        {"<svg viewBox='0 0 40 30'>", "no XML"},
        {"<html/>", "<html>"},
        {"<svg viewBox='0 0 80 60'>" + rect + "</svg>",
         "'0 0 80 60', and that of the frame 0 0 40 30"},
        {"<svg>" + rect + "</svg>", "viewBox"},
        {"<svg viewBox='0 0 40 30' width='80'>" + rect + "</svg>", "width"},
        {"<!DOCTYPE svg [<!ENTITY a 'b'>]>" + Svg(rect), "document type"},
        {"<?xml-stylesheet href='a'?>" + Svg(rect), "xml-stylesheet"},
        {Svg("text" + rect), "text"},
        {Svg("<![CDATA[x]]>" + rect), "text"},
        {Svg("<circle r='3'/>"), "<circle>"},
        {Svg("<rect width='9' height='9' rx='2'/>"), "'rx'"},
        {Svg("<rect width='9' height='9' transform='scale(2)'/>"), "'transform'"},
        {Svg("<g style='x'>" + rect + "</g>"), "'style'"},
        {Svg("<rect width='9' height='9'><title/></rect>"), "<title>"},
        {Svg("<rect width='0' height='9'/>"), "width above 0"},
        {Svg("<rect width='&a;' height='9'/>"), "'&a;'"},
        {Svg("<rect width='9' height='9' class='hold'/>"), "'hold'"},
        {Svg("<rect width='9' height='9' class='core'/>"), "no shape of class garbage"},
        {Svg("<rect width='9' height='9' data-feather='-1'/>"), "0 to 1000"},
        {Svg("<ellipse cx='1' cy='2' rx='3'/>"), "ry"},
        {Svg("<polygon points='1 2 3 4 5'/>"), "three points"},
        {Svg("<path/>"), "empty"},
        {Svg("<path d='M1 2 l3 4'/>"), "'l'"},
        {Svg("<path d='M1 2 A3 4 0 0 0 5 6'/>"), "'A'"},
        {Svg("<path d='L1 2'/>"), "only M"},
        {Svg("<path d='M1 2 L3'/>"), "number is missing"},
        {Svg("<path d='M1 2 L3 1e9'/>"), "-100000 to 100000"},
        {Svg("<path d='M1 2 L3 nan'/>"), "number is missing"},
        {Svg("<g data-frame='x'>" + rect + "</g>"), "'x'"},
        {Svg("<g data-frame='1'><g data-frame='2'>" + rect + "</g></g>"), "within a keyframe"},
        {Svg("<g data-frame='1'>" + rect + "</g><g data-frame='1'>" + rect + "</g>"), "twice"},
        {Svg("<g data-frame='1'>" + rect + "</g><g data-frame='2'/>"), "1 and 0 shapes"},
        {Svg("<g data-frame='1'>" + rect + "</g><g data-frame='2'><path d='M1 2L3 4Z'/></g>"),
         "keyframes 1 and 2"},
    };
    for (const auto& [text, words] : cases)
        EXPECT_NE(Document(text).Refusal().find(words), std::string::npos)
            << text << "\n"
            << Document(text).Refusal();
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "<g>";
    EXPECT_NE(Document("<svg viewBox='0 0 40 30'>" + deep).Refusal().find("no XML"),
              std::string::npos);
    std::string closed = deep;
    for (int i = 0; i < 5000; ++i) closed += "</g>";
    EXPECT_NE(Document(Svg(closed)).Refusal().find("8 deep"), std::string::npos);
    EXPECT_NE(Document(std::string((16 << 20) + 1, ' ')).Refusal().find("16 MB"),
              std::string::npos);
}

}  // namespace
}  // namespace veltrane::shapes
