#ifndef VELTRANE_MEDIA_SEQUENCE_PATH_H
#define VELTRANE_MEDIA_SEQUENCE_PATH_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltrane::media {

/// The name of a numbered sequence: `%04d`, `%d` or a run of `#` stands for the frame number.
class SequencePath {
public:
    /// Null when the file name (the folders do not count) holds no pattern, or more than one.
    static std::optional<SequencePath> Parse(const std::string& path);

    /// The path of one frame.
    std::string ForNumber(std::int64_t number) const;
    /// The number in a file name of this sequence, or null.
    std::optional<std::int64_t> NumberOf(std::string_view fileName) const;
    /// The numbers of all files there are, ascending. Throws Error when the folder cannot be read.
    std::vector<std::int64_t> List() const;

    const std::string& pattern() const { return pattern_; }

private:
    std::string pattern_;
    std::string folder_;
    std::string prefix_;
    std::string suffix_;
    std::size_t digits_ = 1;
};

}  // namespace veltrane::media

#endif
