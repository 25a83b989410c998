#include "studio/events.h"

#include <chrono>

namespace veltrane::studio {

namespace {

std::string Framed(const std::string& event, const std::string& data) {
    return "event: " + event + "\ndata: " + data + "\n\n";
}

}  // namespace

void EventHub::Send(const std::string& event, const std::string& data) {
    // A page that takes none for so long is gone or will load everything anew.
    constexpr std::size_t kMostWaiting = 1000;
    const std::lock_guard lock(mutex_);
    std::erase_if(listeners_, [](const auto& listener) { return listener.expired(); });
    for (const auto& listener : listeners_) {
        const auto queue = listener.lock();
        if (!queue) continue;
        if (queue->texts.size() == kMostWaiting) queue->texts.pop_front();
        queue->texts.push_back(Framed(event, data));
    }
    changed_.notify_all();
}

Stream EventHub::Listen(const std::string& event, const std::string& data) {
    auto queue = std::make_shared<Queue>();
    queue->texts.push_back(Framed(event, data));
    const std::lock_guard lock(mutex_);
    listeners_.push_back(queue);
    return [this, queue] { return Next(*queue); };
}

std::string EventHub::Next(Queue& queue) {
    constexpr std::chrono::seconds kBeat{10};
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kBeat, [&] { return closed_ || !queue.texts.empty(); });
    if (closed_) return {};
    if (queue.texts.empty()) return ": alive\n\n";
    const std::string text = std::move(queue.texts.front());
    queue.texts.pop_front();
    return text;
}

void EventHub::Close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

}  // namespace veltrane::studio
