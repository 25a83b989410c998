#ifndef VELTRANE_STUDIO_KEPT_H
#define VELTRANE_STUDIO_KEPT_H

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace veltrane::studio {

/// What was worked out and may be asked for again: the last used, as far as memory for them goes.
/// Any number of threads at a time.
class Kept {
public:
    /// For so many bytes; the last one added stays even where it takes more.
    explicit Kept(std::size_t bytes) : limit_(bytes) {}

    template <class Value>
    std::shared_ptr<const Value> Find(const std::string& name) {
        const std::lock_guard lock(mutex_);
        const auto found = byName_.find(name);
        if (found == byName_.end()) return nullptr;
        items_.splice(items_.begin(), items_, found->second);
        return std::static_pointer_cast<const Value>(found->second->value);
    }

    template <class Value>
    void Add(const std::string& name, std::shared_ptr<const Value> value, std::size_t bytes) {
        const std::lock_guard lock(mutex_);
        if (const auto known = byName_.find(name); known != byName_.end()) Remove(known->second);
        items_.push_front({name, std::move(value), bytes});
        byName_[name] = items_.begin();
        used_ += bytes;
        while (used_ > limit_ && items_.size() > 1) Remove(std::prev(items_.end()));
    }

    bool Has(const std::string& name) const {
        const std::lock_guard lock(mutex_);
        return byName_.contains(name);
    }
    std::size_t used() const {
        const std::lock_guard lock(mutex_);
        return used_;
    }
    std::size_t limit() const { return limit_; }

private:
    struct Item {
        std::string name;
        std::shared_ptr<const void> value;
        std::size_t bytes;
    };
    using Items = std::list<Item>;

    void Remove(Items::iterator item) {
        used_ -= item->bytes;
        byName_.erase(item->name);
        items_.erase(item);
    }

    const std::size_t limit_;
    mutable std::mutex mutex_;
    Items items_;  ///< the last used first
    std::map<std::string, Items::iterator> byName_;
    std::size_t used_ = 0;
};

}  // namespace veltrane::studio

#endif
