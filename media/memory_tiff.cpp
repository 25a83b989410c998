#include "media/memory_tiff.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "media/fail.h"

namespace veltrane::media {

int MemoryTiff::KeepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto* self = static_cast<MemoryTiff*>(user);
    char text[200];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (self->message_.empty()) self->message_ = text;
    return 1;
}

tmsize_t MemoryTiff::Read(thandle_t user, void* to, tmsize_t count) {
    auto* self = static_cast<MemoryTiff*>(user);
    const std::size_t left = self->bytes_.size() - std::min(self->at_, self->bytes_.size());
    const std::size_t read = std::min(static_cast<std::size_t>(count), left);
    std::memcpy(to, self->bytes_.data() + self->at_, read);
    self->at_ += read;
    return static_cast<tmsize_t>(read);
}

tmsize_t MemoryTiff::Write(thandle_t user, void* from, tmsize_t count) {
    auto* self = static_cast<MemoryTiff*>(user);
    const std::size_t end = self->at_ + static_cast<std::size_t>(count);
    try {
        if (self->at_ > self->bytes_.size()) self->bytes_.resize(self->at_, 0);
        if (end > self->bytes_.size()) self->bytes_.resize(end);
    } catch (const std::bad_alloc&) {
        self->message_ = kTooLittleMemory;
        return 0;
    }
    std::memcpy(self->bytes_.data() + self->at_, from, static_cast<std::size_t>(count));
    self->at_ = end;
    return count;
}

toff_t MemoryTiff::Seek(thandle_t user, toff_t offset, int origin) {
    auto* self = static_cast<MemoryTiff*>(user);
    std::size_t base = 0;
    if (origin == SEEK_CUR) base = self->at_;
    if (origin == SEEK_END) base = self->bytes_.size();
    self->at_ = base + static_cast<std::size_t>(offset);
    return self->at_;
}

toff_t MemoryTiff::Size(thandle_t user) {
    return static_cast<MemoryTiff*>(user)->bytes_.size();
}

MemoryTiff::MemoryTiff(std::string path, Bytes bytes, const char* mode)
    : path_(std::move(path)), bytes_(std::move(bytes)) {
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
        TIFFOpenOptionsAlloc(), &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &KeepError, this);
    const auto ignore = [](TIFF*, void*, const char*, const char*, va_list) { return 1; };
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignore, nullptr);
    const auto close = [](thandle_t) { return 0; };
    const auto map = [](thandle_t, void**, toff_t*) { return 0; };
    const auto unmap = [](thandle_t, void*, toff_t) {};
    file_.reset(TIFFClientOpenExt("memory", mode, this, &Read, &Write, &Seek, close, &Size, map,
                                  unmap, options.get()));
    Require(file_ != nullptr);
}

void MemoryTiff::Require(bool done) const {
    if (done && message_.empty()) return;
    Fail(path_, message_.empty() || message_ == kTooLittleMemory
                    ? kTooLittleMemory
                    : "cannot be encoded: " + message_);
}

Bytes MemoryTiff::Finish() {
    file_.reset();
    Require(true);
    return std::move(bytes_);
}

}  // namespace veltrane::media
