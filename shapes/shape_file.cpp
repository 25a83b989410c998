#include "shapes/shape_file.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <stdexcept>
#include <string_view>

#include "files/error.h"
#include "shapes/refuse.h"

namespace veltrane::shapes {
namespace {

constexpr std::size_t kMostBytes = 16 << 20;
constexpr std::size_t kMostPoints = 1000000;
constexpr int kDeepest = 8;
constexpr double kMostFeather = 1000;

/// What an element hands down to those within it.
struct Inherited {
    Purpose purpose = Purpose::kAny;
    double feather = 0;
    bool inKeyframe = false;
};

std::string Bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) files::FailBySystem(path, "cannot be read", errno);
    std::string bytes(kMostBytes + 1, '\0');
    file.read(bytes.data(), std::ssize(bytes));
    if (file.bad()) files::FailBySystem(path, "cannot be read", errno);
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > kMostBytes)
        files::Fail(path, "is longer than the 16 MB that a shape file may be");
    return bytes;
}

bool IsAmong(std::string_view name, std::string_view list) {
    for (std::size_t at = 0; at < list.size();) {
        const std::size_t end = std::min(list.find(' ', at), list.size());
        if (list.substr(at, end - at) == name) return true;
        at = end + 1;
    }
    return false;
}

/// Throws where an element has an attribute that is not in the list, whose names blanks part.
void RequireAttributes(pugi::xml_node element, std::string_view list) {
    for (const pugi::xml_attribute& attribute : element.attributes())
        if (!IsAmong(attribute.name(), list))
            Refuse("<", element.name(), "> has the attribute ", Quoted(attribute.name()),
                   ", and may only have ", list);
}

double Number(pugi::xml_node element, const char* name, bool needed) {
    const pugi::xml_attribute attribute = element.attribute(name);
    if (!attribute && !needed) return 0;
    const std::vector<double> numbers = ParseNumbers(attribute.value());
    if (numbers.size() != 1) Refuse("<", element.name(), "> needs one number in ", name);
    return numbers[0];
}

double Length(pugi::xml_node element, const char* name) {
    const double length = Number(element, name, true);
    if (!(length > 0)) Refuse("<", element.name(), "> needs ", name, " above 0");
    return length;
}

Outline Ring(const std::vector<Point>& points) {
    std::string steps(points.size() + 1, 'L');
    steps.front() = 'M';
    steps.back() = 'Z';
    return {steps, points};
}

Outline PolygonOf(pugi::xml_node element) {
    const std::vector<double> numbers = ParseNumbers(element.attribute("points").value());
    if (numbers.size() < 6 || numbers.size() % 2 != 0)
        Refuse("<polygon> needs three points or more, of two numbers each");
    std::vector<Point> points;
    for (std::size_t i = 0; i < numbers.size(); i += 2)
        points.push_back({numbers[i], numbers[i + 1]});
    return Ring(points);
}

Outline RectOf(pugi::xml_node element) {
    const double x = Number(element, "x", false), y = Number(element, "y", false);
    const double right = x + Length(element, "width"), bottom = y + Length(element, "height");
    return Ring({{x, y}, {right, y}, {right, bottom}, {x, bottom}});
}

Outline EllipseOf(pugi::xml_node element) {
    const Point centre{Number(element, "cx", false), Number(element, "cy", false)};
    return {"E", {centre, {Length(element, "rx"), Length(element, "ry")}}};
}

/// Draws an element of the subset.
struct Kind {
    const char* name;
    const char* attributes;
    Outline (*outline)(pugi::xml_node element);
};

constexpr Kind kKinds[] = {
    {"path", "d class data-feather id",
     [](pugi::xml_node e) { return ParsePath(e.attribute("d").value()); }},
    {"polygon", "points class data-feather id", PolygonOf},
    {"rect", "x y width height class data-feather id", RectOf},
    {"ellipse", "cx cy rx ry class data-feather id", EllipseOf},
};

/// What an element says of itself, or else what it was handed down.
Inherited Refined(pugi::xml_node element, Inherited look) {
    if (const auto attribute = element.attribute("class")) {
        const std::string_view name = attribute.value();
        if (name != "garbage" && name != "core")
            Refuse("class must be garbage or core, not ", Quoted(attribute.value()));
        look.purpose = name == "garbage" ? Purpose::kGarbage : Purpose::kCore;
    }
    if (element.attribute("data-feather")) {
        look.feather = Number(element, "data-feather", true);
        if (!(look.feather >= 0 && look.feather <= kMostFeather))
            Refuse("data-feather must be 0 to 1000 pixels, not ",
                   Quoted(element.attribute("data-feather").value()));
    }
    return look;
}

std::int64_t FrameOf(pugi::xml_node group) {
    const std::string_view text = group.attribute("data-frame").value();
    std::int64_t frame = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), frame);
    if (error != std::errc() || end != text.data() + text.size() || std::abs(frame) > 1'000'000'000)
        Refuse("data-frame must be a frame's number, not ",
               Quoted(group.attribute("data-frame").value()));
    return frame;
}

void RequireViewBox(pugi::xml_node root, int width, int height) {
    const std::vector<double> box = ParseNumbers(root.attribute("viewBox").value());
    const std::vector<double> frame{0, 0, static_cast<double>(width), static_cast<double>(height)};
    if (box != frame)
        Refuse("its viewBox is ", Quoted(root.attribute("viewBox").value()), ", and that of the ",
               "frame 0 0 ", std::to_string(width), ' ', std::to_string(height));
    for (const char* side : {"width", "height"}) {
        std::string_view text = root.attribute(side).value();
        if (text.ends_with("px")) text.remove_suffix(2);
        const double expected = std::string_view(side) == "width" ? width : height;
        if (root.attribute(side) && ParseNumbers(text) != std::vector{expected})
            Refuse("its ", side, " is not that of its viewBox");
    }
}

}  // namespace

/// Reads one document.
class ShapeReader {
public:
    ShapeReader(ShapeFile& file, Purpose purpose) : file_(file), purpose_(purpose) {}

    void Read(const std::string& bytes, int width, int height) {
        // Neither entities nor escapes are read, so that none can expand; what may hold them is
        // kept to be refused.
        constexpr unsigned kOptions = pugi::parse_doctype | pugi::parse_pi | pugi::parse_cdata;
        pugi::xml_document document;
        const auto result = document.load_buffer(bytes.data(), bytes.size(), kOptions);
        if (!result)
            Refuse("is no XML: ", result.description(), " at byte ", std::to_string(result.offset));
        for (const pugi::xml_node& node : document.children())
            if (node != document.document_element()) RefuseNode(node);
        const pugi::xml_node root = document.document_element();
        if (std::string_view(root.name()) != "svg")
            Refuse("holds <", root.name(), ">, and not <svg>");
        RequireAttributes(root, "xmlns version viewBox width height id");
        RequireViewBox(root, width, height);
        Children(root, {}, 1, nullptr);
    }

private:
    [[noreturn]] static void RefuseNode(pugi::xml_node node) {
        if (node.type() == pugi::node_doctype) Refuse("has a document type, which is not read");
        if (node.type() == pugi::node_pi)
            Refuse("has the instruction ", Quoted(node.name()), ", which is not read");
        if (node.type() != pugi::node_element) Refuse("has text ", Quoted(node.value()));
        Refuse("has the element <", node.name(),
               ">, and may only have svg, g, path, polygon, rect and ellipse");
    }

    /// Reads what is in an element, into the keyframe that it lies in or else into tracks.
    void Children(pugi::xml_node parent, const Inherited& look, int depth, ShapeFile::Key* key) {
        if (depth > kDeepest) Refuse("has elements more than 8 deep");
        ShapeFile::Track track;
        for (const pugi::xml_node& node : parent.children()) {
            if (std::string_view(node.name()) == "g") {
                Group(node, look, depth, key, track);
            } else {
                Add(Drawn(node, look), key);
            }
        }
        if (!track.empty()) Keep(std::move(track));
    }

    void Group(pugi::xml_node group, const Inherited& look, int depth, ShapeFile::Key* key,
               ShapeFile::Track& track) {
        RequireAttributes(group, "class data-feather data-frame id");
        const Inherited own = Refined(group, look);
        if (!group.attribute("data-frame")) return Children(group, own, depth + 1, key);
        if (key != nullptr) Refuse("has a keyframe within a keyframe");
        track.push_back({FrameOf(group), {}});
        Children(group, own, depth + 1, &track.back());
    }

    Shape Drawn(pugi::xml_node node, const Inherited& look) {
        const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& k) {
            return std::string_view(node.name()) == k.name;
        });
        if (node.type() != pugi::node_element || kind == std::end(kKinds)) RefuseNode(node);
        if (node.first_child()) RefuseNode(node.first_child());
        RequireAttributes(node, kind->attributes);
        const Inherited own = Refined(node, look);
        Shape shape{kind->outline(node), own.purpose, own.feather};
        points_ += shape.outline.points.size();
        if (points_ > kMostPoints) Refuse("has more than a million points");
        return shape;
    }

    void Add(Shape shape, ShapeFile::Key* key) {
        if (shape.purpose != Purpose::kAny && shape.purpose != purpose_) return;
        if (key != nullptr) {
            key->shapes.push_back(std::move(shape));
        } else {
            file_.tracks_.push_back({{0, {std::move(shape)}}});
        }
    }

    void Keep(ShapeFile::Track track) {
        std::stable_sort(track.begin(), track.end(),
                         [](const auto& a, const auto& b) { return a.frame < b.frame; });
        for (std::size_t i = 1; i < track.size(); ++i) RequireMatch(track[i - 1], track[i]);
        if (!track[0].shapes.empty()) file_.tracks_.push_back(std::move(track));
    }

    static void RequireMatch(const ShapeFile::Key& a, const ShapeFile::Key& b) {
        std::string keys("keyframes ");
        keys += std::to_string(a.frame) + " and " + std::to_string(b.frame);
        if (a.frame == b.frame) Refuse("has frame ", std::to_string(a.frame), " twice");
        if (a.shapes.size() != b.shapes.size())
            Refuse(keys, " hold ", std::to_string(a.shapes.size()), " and ",
                   std::to_string(b.shapes.size()), " shapes");
        for (std::size_t i = 0; i < a.shapes.size(); ++i)
            if (!a.shapes[i].outline.Matches(b.shapes[i].outline))
                Refuse(keys, " differ in kind or number of points in shape ",
                       std::to_string(i + 1));
    }

    ShapeFile& file_;
    Purpose purpose_;
    std::size_t points_ = 0;
};

ShapeFile::ShapeFile(const std::string& path, int width, int height, Purpose purpose) {
    Read(Bytes(path), path, width, height, purpose);
}

ShapeFile ShapeFile::FromText(const std::string& text, const std::string& name, int width,
                              int height, Purpose purpose) {
    ShapeFile file;
    file.Read(text, name, width, height, purpose);
    return file;
}

void ShapeFile::Read(const std::string& text, const std::string& name, int width, int height,
                     Purpose purpose) {
    try {
        ShapeReader(*this, purpose).Read(text, width, height);
        if (tracks_.empty())
            Refuse("has no shape of class ", (purpose == Purpose::kCore ? "core" : "garbage"),
                   " or of none");
    } catch (const std::invalid_argument& error) {
        files::Fail(name, error.what());
    }
}

bool ShapeFile::Moves() const {
    return std::any_of(tracks_.begin(), tracks_.end(),
                       [](const Track& track) { return track.size() > 1; });
}

std::vector<Shape> ShapeFile::At(std::int64_t frame) const {
    std::vector<Shape> shapes;
    for (const Track& track : tracks_) {
        const auto after = std::find_if(track.begin(), track.end(),
                                        [&](const Key& key) { return key.frame > frame; });
        const Key& a = after == track.begin() ? *after : *std::prev(after);
        const Key& b = after == track.end() ? a : *after;
        const double at =
            a.frame >= b.frame || frame < a.frame
                ? 0
                : static_cast<double>(frame - a.frame) / static_cast<double>(b.frame - a.frame);
        for (std::size_t i = 0; i < a.shapes.size(); ++i) {
            const Shape &from = a.shapes[i], &to = b.shapes[i];
            shapes.push_back({Between(from.outline, to.outline, at), from.purpose,
                              from.feather + (to.feather - from.feather) * at});
        }
    }
    return shapes;
}

namespace {

/// A part of the frame's plane, in pixels.
struct Box {
    int left, top, right, bottom;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
};

/// What a shape can change: its own bounds, as far as they reach into the frame, and the margin
/// that it is softened by. What lies beyond the frame's border may reach into it.
Box BoxOf(const std::vector<Contour>& contours, int width, int height, int margin) {
    double left = width, top = height, right = 0, bottom = 0;
    for (const Contour& contour : contours)
        for (const Point& point : contour) {
            left = std::min(left, point.x);
            top = std::min(top, point.y);
            right = std::max(right, point.x);
            bottom = std::max(bottom, point.y);
        }
    const auto low = [&](double side) {
        return static_cast<int>(std::floor(std::max(side, 0.0))) - margin;
    };
    const auto high = [&](double side, int most) {
        return static_cast<int>(std::ceil(std::min(side, double(most)))) + margin;
    };
    return {low(left), low(top), high(right, width), high(bottom, height)};
}

}  // namespace

Levels Draw(const std::vector<Shape>& shapes, int width, int height) {
    Levels matte(static_cast<std::size_t>(width) * height);
    for (const Shape& shape : shapes) {
        std::vector<Contour> contours = Flattened(shape.outline);
        const Box box = BoxOf(contours, width, height, FeatherReach(shape.feather));
        if (box.Width() < 1 || box.Height() < 1) continue;
        for (Contour& contour : contours)
            for (Point& point : contour) point = {point.x - box.left, point.y - box.top};
        Levels levels = Coverage(contours, box.Width(), box.Height());
        Feather(levels, box.Width(), box.Height(), shape.feather);
        const int left = std::max(box.left, 0), right = std::min(box.right, width);
        for (int y = std::max(box.top, 0); y < std::min(box.bottom, height); ++y) {
            const auto row = std::ptrdiff_t{box.Width()} * (y - box.top) - box.left;
            Unite(&levels[row + left], &matte[std::ptrdiff_t{width} * y + left], right - left);
        }
    }
    return matte;
}

}  // namespace veltrane::shapes
