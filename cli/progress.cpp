#include "cli/progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace veltrane::cli {

namespace {

constexpr const char* kClearLine = "\r\033[K";

}  // namespace

Progress::Progress(Form form, std::optional<std::int64_t> total) : form_(form), total_(total) {}

Progress::~Progress() {
    if (form_ == Form::Terminal && done_ > 0) std::fputs(kClearLine, stderr);
}

void Progress::Step() {
    ++done_;
    if (form_ == Form::None) return;
    constexpr std::chrono::milliseconds kPause{100};
    const Clock::time_point now = Clock::now();
    if (now - last_ < kPause && done_ != total_) return;
    last_ = now;
    form_ == Form::Lines ? Print() : Draw(now);
}

void Progress::Print() const {
    const std::string total = total_ ? ", \"total\": " + std::to_string(*total_) : "";
    std::printf("{\"done\": %lld%s}\n", static_cast<long long>(done_), total.c_str());
    std::fflush(stdout);
}

void Progress::Draw(Clock::time_point now) const {
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const double rate = static_cast<double>(done_) / seconds;
    std::fprintf(stderr, "%sframe %lld", kClearLine, static_cast<long long>(done_));
    if (total_) std::fprintf(stderr, " of %lld", static_cast<long long>(*total_));
    std::fprintf(stderr, "   %.1f fps", rate);
    if (total_) {
        const auto left = static_cast<long long>(static_cast<double>(*total_ - done_) / rate + 0.5);
        std::fprintf(stderr, "   %lld:%02lld left", left / 60, left % 60);
    }
    std::fflush(stderr);
}

Progress::Form FormForPeople() {
    return isatty(STDERR_FILENO) != 0 ? Progress::Form::Terminal : Progress::Form::None;
}

}  // namespace veltrane::cli
