#include "studio/turns.h"

#include <algorithm>

#include "studio/http.h"

namespace veltrane::studio {

void Turns::Ticket::Check() const {
    constexpr int kConflict = 409;
    if (IsOvertaken()) throw Refusal(kConflict, "a later request has taken this one's place");
}

Turns::Turn::~Turn() {
    const std::lock_guard lock(turns_.mutex_);
    turns_.busy_ = false;
    turns_.changed_.notify_all();
}

Turns::Ticket Turns::Announce(const std::string& client, const std::string& purpose,
                              std::uint64_t generation) {
    constexpr std::size_t kMostKnown = 1000;
    const std::lock_guard lock(mutex_);
    // Pages come and go; those without a request under way are forgotten some time.
    if (newest_.size() > kMostKnown)
        std::erase_if(newest_, [](const auto& known) { return known.second.use_count() == 1; });
    const std::string name = client + '\n' + purpose;
    auto& newest = newest_[name];
    if (!newest) newest = std::make_shared<std::atomic<std::uint64_t>>(0);
    *newest = std::max<std::uint64_t>(*newest, generation);
    changed_.notify_all();
    Ticket ticket;
    ticket.newest_ = newest;
    ticket.name_ = name;
    ticket.generation_ = generation;
    ticket.isFirst_ = purpose == "main";
    ticket.isAside_ = purpose == "strip";
    return ticket;
}

std::unique_ptr<Turns::Turn> Turns::Wait(const Ticket& ticket) {
    std::unique_lock lock(mutex_);
    firstWaiting_ += ticket.isFirst_;
    changed_.wait(lock, [&] {
        return ticket.IsOvertaken() || (!busy_ && (ticket.isFirst_ || firstWaiting_ == 0));
    });
    firstWaiting_ -= ticket.isFirst_;
    changed_.notify_all();
    ticket.Check();
    busy_ = true;
    return std::make_unique<Turn>(*this);
}

}  // namespace veltrane::studio
