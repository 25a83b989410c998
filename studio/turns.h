#ifndef VELTRANE_STUDIO_TURNS_H
#define VELTRANE_STUDIO_TURNS_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace veltrane::studio {

/// Lets one frame at a time have all cores, what the user looks at before anything else, and drops
/// requests that a later one of the same page for the same purpose has overtaken.
class Turns {
public:
    /// A request's place among those of its page and purpose.
    class Ticket {
    public:
        std::uint64_t generation() const { return generation_; }
        /// Of its page and purpose.
        const std::string& name() const { return name_; }
        bool isAside() const { return isAside_; }
        bool IsOvertaken() const { return *newest_ > generation_; }
        /// Throws Refusal (409) where it is.
        void Check() const;

    private:
        friend class Turns;
        std::shared_ptr<std::atomic<std::uint64_t>> newest_;
        std::string name_;
        std::uint64_t generation_ = 0;
        bool isFirst_ = false;
        bool isAside_ = false;
    };

    /// Held while a frame is keyed.
    class Turn {
    public:
        explicit Turn(Turns& turns) : turns_(turns) {}
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Turns& turns_;
    };

    /// Overtakes those with a lower generation. The purpose "main" is what the user looks at, and
    /// "strip" what goes through the shot beside it.
    Ticket Announce(const std::string& client, const std::string& purpose,
                    std::uint64_t generation);
    /// Waits; throws Refusal (409) when it is overtaken.
    std::unique_ptr<Turn> Wait(const Ticket& ticket);

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, std::shared_ptr<std::atomic<std::uint64_t>>> newest_;
    bool busy_ = false;
    int firstWaiting_ = 0;
};

}  // namespace veltrane::studio

#endif
