#include "cli/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "cli/interrupt.h"
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

[[noreturn]] void Become(char* const* words, const Pipe& out, const Pipe& error) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(out.writing(), STDOUT_FILENO);
    ::dup2(error.writing(), STDERR_FILENO);
    ::execvp(words[0], words);
    ::_exit(127);
}

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
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
}

}  // namespace

std::string ChildOutcome::LastLine() const {
    std::string line = error.substr(0, error.find_last_not_of('\n') + 1);
    line.erase(0, line.rfind('\n') + 1);
    const std::string name = "veltrane: ";
    return line.starts_with(name) ? line.substr(name.size()) : line;
}

ChildOutcome RunChild(const std::vector<std::string>& command) {
    std::vector<std::string> words = command;
    std::vector<char*> raw;
    for (std::string& word : words) raw.push_back(word.data());
    raw.push_back(nullptr);
    Pipe out, error;
    const pid_t child = ::fork();
    if (child < 0) files::FailBySystem(command[0], "cannot be started", errno);
    if (child == 0) Become(raw.data(), out, error);
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
