#include "studio/render_queue.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "cli/errors.h"
#include "cli/start_process.h"
#include "studio/http.h"
#include "studio/json.h"

namespace veltrane::studio {

namespace {

constexpr int kNotFound = 404;
constexpr const char* kName = "veltrane: ";

using State = Render::State;

bool IsOver(const Render& render) {
    return render.state != State::Queued && render.state != State::Running;
}

/// Starts the command and returns its process; lines becomes what it prints.
pid_t StartCommand(std::vector<std::string> arguments, int& lines) {
    arguments.insert(arguments.begin(), "veltrane");
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    const cli::ProcessPlan plan{
        .out = ends[1], .error = ends[1], .stop = SIGINT, .yields = 5, .apart = true};
    const pid_t process = cli::StartProcess("/proc/self/exe", std::move(arguments), plan);
    close(ends[1]);
    lines = ends[0];
    if (process < 0) close(ends[0]);
    return process;
}

}  // namespace

const char* StateName(State state) {
    constexpr const char* kNames[] = {"queued", "running", "done", "failed", "cancelled"};
    return kNames[static_cast<int>(state)];
}

RenderQueue::RenderQueue(std::function<void(const Render&)> tell)
    : tell_(std::move(tell)), worker_([this](const std::stop_token& stop) { Work(stop); }) {}

RenderQueue::~RenderQueue() {
    worker_.request_stop();
    const std::lock_guard lock(mutex_);
    if (process_ > 0) kill(process_, SIGINT);
}

std::int64_t RenderQueue::Add(Render render) {
    constexpr std::size_t kMostListed = 200;
    const std::lock_guard lock(mutex_);
    render.id = ++lastId_;
    renders_.push_back(std::move(render));
    if (renders_.size() > kMostListed && IsOver(renders_.front())) renders_.pop_front();
    tell_(renders_.back());
    changed_.notify_all();
    return lastId_;
}

std::vector<Render> RenderQueue::List() const {
    const std::lock_guard lock(mutex_);
    return {renders_.begin(), renders_.end()};
}

void RenderQueue::Cancel(std::int64_t id) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(renders_.begin(), renders_.end(),
                                    [&](const Render& render) { return render.id == id; });
    if (found == renders_.end())
        throw Refusal(kNotFound, "there is no render " + std::to_string(id));
    if (found->state == State::Running && process_ > 0) kill(process_, SIGINT);
    if (found->state != State::Queued) return;
    found->state = State::Cancelled;
    found->held.reset();
    tell_(*found);
}

void RenderQueue::Work(const std::stop_token& stop) {
    const auto isQueued = [](const Render& render) { return render.state == State::Queued; };
    std::unique_lock lock(mutex_);
    for (;;) {
        auto next = renders_.end();
        const auto find = [&] {
            next = std::find_if(renders_.begin(), renders_.end(), isQueued);
            return next != renders_.end();
        };
        if (!changed_.wait(lock, stop, find) || stop.stop_requested()) return;
        next->state = State::Running;
        tell_(*next);
        int lines = -1;
        process_ = StartCommand(next->arguments, lines);
        lock.unlock();
        Execute(*next, lines);
        lock.lock();
    }
}

/// Follows the process to its end. The record stays where it is in the list.
void RenderQueue::Execute(Render& render, int lines) {
    if (lines < 0 || process_ < 0) {
        const std::lock_guard lock(mutex_);
        render.message = std::string("the render cannot be started: ") + std::strerror(errno);
        End(render, 1);
        return;
    }
    ReadProgress(render, lines);
    close(lines);
    // While it is not waited for, no other process gets its number.
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    const std::lock_guard lock(mutex_);
    int status = 0;
    waitpid(process_, &status, 0);
    End(render, cli::ExitStatusOf(status));
}

void RenderQueue::ReadProgress(Render& render, int lines) {
    const auto start = std::chrono::steady_clock::now();
    std::FILE* stream = fdopen(dup(lines), "r");
    if (stream == nullptr) return;
    char* text = nullptr;
    std::size_t room = 0;
    for (ssize_t size = 0; (size = getline(&text, &room, stream)) > 0;) {
        const std::lock_guard lock(mutex_);
        TakeLine(render, std::string(text, static_cast<std::size_t>(size - 1)),
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::free(text);
    std::fclose(stream);
}

/// The command prints how far it is, and what it has to say to people.
void RenderQueue::TakeLine(Render& render, const std::string& line, double seconds) {
    if (line.starts_with(kName)) {
        render.message = line.substr(std::strlen(kName));
        return;
    }
    const Json progress = Json::parse(line, nullptr, false);
    if (!progress.is_object() || !progress.contains("done")) return;
    render.done = progress["done"].get<std::int64_t>();
    render.total = progress.value("total", std::int64_t{0});
    render.rate = static_cast<double>(render.done) / std::max(seconds, 1e-3);
    const auto left = static_cast<double>(std::max<std::int64_t>(render.total - render.done, 0));
    render.secondsLeft = render.rate > 0 ? left / render.rate : 0;
    tell_(render);
}

void RenderQueue::End(Render& render, int status) {
    process_ = 0;
    render.held.reset();
    render.secondsLeft = 0;
    render.state = status == 0                   ? State::Done
                   : status == cli::kInterrupted ? State::Cancelled
                                                 : State::Failed;
    if (render.state != State::Failed)
        render.message.clear();
    else if (render.message.empty())
        render.message = "the render ended unexpectedly; render again, or by the command's line";
    tell_(render);
}

}  // namespace veltrane::studio
