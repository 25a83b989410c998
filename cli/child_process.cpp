#include "cli/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "cli/interrupt.h"
#include "cli/start_process.h"
#include "files/error.h"

namespace veltrane::cli {

namespace {

/// A pipe that the child writes to.
class Pipe {
public:
    Pipe() {
        if (::pipe2(ends_, O_CLOEXEC) != 0) files::FailBySystem("a pipe", "cannot be made", errno);
    }
    ~Pipe() {
        Close(0);
        Close(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reading() const { return ends_[0]; }
    int writing() const { return ends_[1]; }
    void CloseWriting() { Close(1); }

    /// Reads what is there; false at the end.
    bool Read(std::string& text) const {
        char bytes[4096];
        const ssize_t count = ::read(ends_[0], bytes, sizeof bytes);
        if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
        return count > 0 || (count < 0 && errno == EINTR);
    }

private:
    void Close(int end) {
        if (ends_[end] >= 0) ::close(ends_[end]);
        ends_[end] = -1;
    }

    int ends_[2] = {-1, -1};
};

/// Reads both to their ends.
void Collect(const Pipe& out, const Pipe& error, ChildOutcome& outcome) {
    constexpr int kPause = 100;  // ms, after which a stop that was asked for is noticed
    pollfd ends[] = {{out.reading(), POLLIN, 0}, {error.reading(), POLLIN, 0}};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        ThrowIfInterrupted();
        if (::poll(ends, 2, kPause) <= 0) continue;
        if (ends[0].revents != 0 && !out.Read(outcome.out)) ends[0].fd = -1;
        if (ends[1].revents != 0 && !error.Read(outcome.error)) ends[1].fd = -1;
    }
}

int StatusOf(pid_t child) {
    int ended = 0;
    while (::waitpid(child, &ended, 0) < 0 && errno == EINTR) continue;
    return ExitStatusOf(ended);
}

}  // namespace

std::string ChildOutcome::LastLine() const {
    std::string line = error.substr(0, error.find_last_not_of('\n') + 1);
    line.erase(0, line.rfind('\n') + 1);
    const std::string name = "veltrane: ";
    return line.starts_with(name) ? line.substr(name.size()) : line;
}

ChildOutcome RunChild(const std::vector<std::string>& command) {
    Pipe out, error;
    const pid_t child =
        StartProcess(command[0].c_str(), command, {.out = out.writing(), .error = error.writing()});
    if (child < 0) files::FailBySystem(command[0], "cannot be started", errno);
    out.CloseWriting();
    error.CloseWriting();
    ChildOutcome outcome;
    try {
        Collect(out, error, outcome);
    } catch (...) {
        ::kill(child, SIGTERM);
        StatusOf(child);
        throw;
    }
    outcome.status = StatusOf(child);
    return outcome;
}

std::string OwnPath() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + '\'';
}

}  // namespace veltrane::cli
