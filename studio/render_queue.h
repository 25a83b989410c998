#ifndef VELTRANE_STUDIO_RENDER_QUEUE_H
#define VELTRANE_STUDIO_RENDER_QUEUE_H

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace veltrane::studio {

/// A render as the page sees it.
struct Render {
    enum class State { Queued, Running, Done, Failed, Cancelled };

    std::int64_t id = 0;
    std::string shot;
    std::string output;
    std::vector<std::string> arguments{};  ///< of the command
    std::shared_ptr<const void> held{};    ///< what has to stay until it ends
    State state = State::Queued;
    std::int64_t done = 0;  ///< frames
    std::int64_t total = 0;
    double rate = 0;  ///< frames a second
    double secondsLeft = 0;
    std::string message{};  ///< why it failed
};

/// "queued", "running" and so on.
const char* StateName(Render::State state);

/// Renders one shot after the other, each by the command in a process of its own: what a broken
/// file does to it leaves the studio alone, it writes what the same line writes in a shell, and it
/// stops as cleanly as that. Its process yields to the studio's, so that the page stays quick.
class RenderQueue {
public:
    /// tell is called, by one thread at a time, with each change of a render.
    explicit RenderQueue(std::function<void(const Render&)> tell);
    /// Cancels what runs and waits for it.
    ~RenderQueue();
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    /// Queues it and returns its id.
    std::int64_t Add(Render render);
    /// In the order in which they were added.
    std::vector<Render> List() const;
    /// Throws Refusal (404) where there is no such render; one that has ended stays as it is.
    void Cancel(std::int64_t id);

private:
    void Work(const std::stop_token& stop);
    void Execute(Render& render, int lines);
    void ReadProgress(Render& render, int lines);
    void TakeLine(Render& render, const std::string& line, double seconds);
    void End(Render& render, int status);

    std::function<void(const Render&)> tell_;
    mutable std::mutex mutex_;  ///< guards all that follows
    std::condition_variable_any changed_;
    std::list<Render> renders_;
    std::int64_t lastId_ = 0;
    pid_t process_ = 0;  ///< of the one that runs
    std::jthread worker_;
};

}  // namespace veltrane::studio

#endif
