#ifndef VELTRANE_MEDIA_MATROSKA_SUMS_H
#define VELTRANE_MEDIA_MATROSKA_SUMS_H

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "media/file_bytes.h"

namespace veltrane::media {

/// Follows a demuxer through a Matroska file, which passes over what it cannot read, so that a
/// frame may be gone without a word. Elements of the file's first level are found anew, and those
/// of pictures and tracks compared with the checksum that they begin with, where they do.
class MatroskaSums {
public:
    /// Throws Error when the file cannot be read.
    explicit MatroskaSums(const std::string& path);

    /// Goes on to what begins at this place of the file. False where what lies before it is
    /// damaged. Throws Error when it cannot be read.
    bool HoldsTo(std::uint64_t place);
    /// Whether the file is shorter than it says.
    bool IsCut() const { return end_ != kUnknown && end_ > file_.size(); }

private:
    static constexpr std::uint64_t kUnknown = std::numeric_limits<std::uint64_t>::max();

    /// What an element begins with.
    struct Element {
        std::uint64_t id;
        std::uint64_t begin;                ///< of what it holds
        std::optional<std::uint64_t> size;  ///< of that; null where it is left open
    };
    std::optional<std::uint64_t> NumberAt(std::uint64_t& place, bool marked) const;
    std::optional<Element> ElementAt(std::uint64_t place) const;
    bool IsWhole(const Element& element);

    OpenFile file_;
    std::uint64_t at_ = 0;   ///< of the next element
    std::uint64_t end_ = 0;  ///< of the elements
    bool clustersHaveSums_ = false;
};

}  // namespace veltrane::media

#endif
