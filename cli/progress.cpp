#include "cli/progress.h"

#include <unistd.h>

#include <cstdio>

namespace veltrane::cli {

namespace {

constexpr const char* kClearLine = "\r\033[K";

}  // namespace

Progress::Progress(bool shown, std::optional<std::int64_t> total) : shown_(shown), total_(total) {}

Progress::~Progress() {
    if (shown_ && done_ > 0) std::fputs(kClearLine, stderr);
}

void Progress::Step() {
    ++done_;
    if (!shown_) return;
    constexpr std::chrono::milliseconds kPause{100};
    const Clock::time_point now = Clock::now();
    if (now - last_ < kPause) return;
    last_ = now;
    Show(now);
}

void Progress::Show(Clock::time_point now) const {
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

bool OnTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace veltrane::cli
