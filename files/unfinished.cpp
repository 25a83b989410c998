#include "files/unfinished.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace veltrane::files {

static_assert(Unfinished::Name::is_always_lock_free);

namespace {

constinit Unfinished own;

/// Another thread may have noted the name and be about to make the file.
void RemoveEvenIfLate(const char* path) noexcept {
    constexpr int kMostTries = 100, kPause = 1;  // ms
    for (int i = 0; i < kMostTries && ::unlink(path) != 0 && errno == ENOENT; ++i)
        ::poll(nullptr, 0, kPause);
}

}  // namespace

constinit Unfinished* Unfinished::here_ = &own;

Unfinished::Name* Unfinished::Add(const std::string& path) noexcept {
    char* copy = ::strdup(path.c_str());
    if (copy == nullptr) return nullptr;
    for (Name& name : names_) {
        char* none = nullptr;
        if (name.compare_exchange_strong(none, copy)) return &name;
    }
    std::free(copy);
    return nullptr;
}

void Unfinished::Forget(Name* name) noexcept {
    // Null once a signal handler has taken the text, which then stays its own.
    if (name != nullptr) std::free(name->exchange(nullptr));
}

void Unfinished::RemoveAll() noexcept {
    ending_ = true;
    for (Name& name : names_) {
        const char* path = name.exchange(nullptr);
        if (path != nullptr) RemoveEvenIfLate(path);
    }
}

}  // namespace veltrane::files
