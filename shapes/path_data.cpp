#include <charconv>
#include <cmath>

#include "shapes/outline.h"
#include "shapes/refuse.h"

namespace veltrane::shapes {
namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Walks along numbers and commands.
class Scanner {
public:
    explicit Scanner(std::string_view text) : left_(text) {}

    /// The next character that is no blank or comma, or 0 at the end.
    char Next() {
        while (!left_.empty() && (IsBlank(left_.front()) || left_.front() == ','))
            left_.remove_prefix(1);
        return left_.empty() ? '\0' : left_.front();
    }
    bool AtNumber() {
        const char c = Next();
        return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
    }
    double Number() {
        if (!AtNumber()) Refuse("a number is missing before ", Rest());
        const bool signedUp = left_.front() == '+';
        const char* begin = left_.data() + (signedUp ? 1 : 0);
        const char* end = left_.data() + left_.size();
        double value = 0;
        const auto read = std::from_chars(begin, end, value);
        const bool twice = signedUp && begin != end && (*begin == '-' || *begin == '+');
        if (read.ec != std::errc() || twice || !(std::abs(value) <= kFarthest))
            Refuse(Rest(), " is no number from -100000 to 100000");
        left_.remove_prefix(static_cast<std::size_t>(read.ptr - left_.data()));
        return value;
    }
    char Command() {
        const char c = left_.front();
        left_.remove_prefix(1);
        return c;
    }
    /// For messages.
    std::string Rest() const {
        constexpr std::size_t kShown = 20;
        return Quoted(left_, kShown);
    }

private:
    std::string_view left_;
};

/// Builds an outline from a path's commands.
class PathReader {
public:
    explicit PathReader(std::string_view text) : scanner_(text) {}

    Outline Read() {
        while (scanner_.Next() != '\0') {
            if (scanner_.AtNumber()) Refuse("the path has ", scanner_.Rest(), " in no command");
            Take(scanner_.Command());
        }
        if (outline_.steps.empty()) Refuse("the path is empty");
        return std::move(outline_);
    }

private:
    void Take(char command) {
        if (std::string_view("MLHVCQZ").find(command) == std::string_view::npos)
            Refuse("the path command '", command, "' is none of M L H V C Q Z");
        const bool open = !outline_.steps.empty() && outline_.steps.back() != 'Z';
        if (command != 'M' && !open) Refuse("the path has '", command, "' where only M can begin");
        if (command == 'Z') {
            outline_.steps += 'Z';
            return;
        }
        do {
            Step(command);
            if (command == 'M') command = 'L';  // what follows its first point
        } while (scanner_.AtNumber());
    }

    void Step(char command) {
        const int points = command == 'C' ? 3 : command == 'Q' ? 2 : 1;
        const Point last = outline_.points.empty() ? Point{0, 0} : outline_.points.back();
        for (int i = 0; i < points; ++i) {
            const double x = command == 'V' ? last.x : scanner_.Number();
            const double y = command == 'H' ? last.y : scanner_.Number();
            outline_.points.push_back({x, y});
        }
        outline_.steps += command == 'H' || command == 'V' ? 'L' : command;
    }

    Scanner scanner_;
    Outline outline_;
};

}  // namespace

std::vector<double> ParseNumbers(std::string_view text) {
    Scanner scanner(text);
    std::vector<double> numbers;
    while (scanner.Next() != '\0') numbers.push_back(scanner.Number());
    return numbers;
}

Outline ParsePath(std::string_view text) {
    return PathReader(text).Read();
}

}  // namespace veltrane::shapes
