#ifndef VELTRANE_STUDIO_EVENTS_H
#define VELTRANE_STUDIO_EVENTS_H

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "studio/http.h"

namespace veltrane::studio {

/// Tells every open page what happens, as server-sent events.
class EventHub {
public:
    /// Sends an event with one line of data to all.
    void Send(const std::string& event, const std::string& data);
    /// A stream that begins with the greeting, an event of its own, and beats every ten seconds, so
    /// that either side notices when the other is gone.
    Stream Listen(const std::string& event, const std::string& data);
    /// Ends all streams, and those to come.
    void Close();

private:
    /// What a page has not been sent yet.
    struct Queue {
        std::deque<std::string> texts;
    };

    std::string Next(Queue& queue);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::weak_ptr<Queue>> listeners_;
    bool closed_ = false;
};

}  // namespace veltrane::studio

#endif
