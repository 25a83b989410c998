#ifndef VELTRANE_SHAPES_SHAPE_FILE_H
#define VELTRANE_SHAPES_SHAPE_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "shapes/coverage.h"
#include "shapes/outline.h"

namespace veltrane::shapes {

/// What a shape says it is for.
enum class Purpose { kAny, kGarbage, kCore };

struct Shape {
    Outline outline;
    Purpose purpose = Purpose::kAny;
    double feather = 0;  ///< as Feather's
};

/// Shapes in a strict subset of SVG, as drawn for a frame of one size. Everything beyond it is
/// refused by name, so that no shape is ever drawn other than it was meant.
class ShapeFile {
public:
    /// Throws files::Error, in one line, for what is not in the subset, another size, or nothing
    /// for this purpose; the others' shapes are left out.
    ShapeFile(const std::string& path, int width, int height, Purpose purpose);
    /// The same of a file's text; name stands for the file in messages.
    static ShapeFile FromText(const std::string& text, const std::string& name, int width,
                              int height, Purpose purpose);

    /// Whether the shapes differ from frame to frame.
    bool Moves() const;
    /// The shapes of a frame: between keyframes all points go straight, beyond them they rest.
    std::vector<Shape> At(std::int64_t frame) const;

private:
    friend class ShapeReader;

    ShapeFile() = default;
    void Read(const std::string& text, const std::string& name, int width, int height,
              Purpose purpose);

    /// Shapes that hold for one frame.
    struct Key {
        std::int64_t frame = 0;
        std::vector<Shape> shapes;
    };
    /// Sibling keyframes by ascending frames; a single one holds for all of them.
    using Track = std::vector<Key>;

    std::vector<Track> tracks_;
};

/// The matte that shapes of a frame make together. Throws std::length_error for too many points.
Levels Draw(const std::vector<Shape>& shapes, int width, int height);

}  // namespace veltrane::shapes

#endif
