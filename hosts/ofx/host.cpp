#include "hosts/ofx/host.h"

namespace veltrane::ofx {

namespace {

Suites suites;

template <class Suite>
void Fetch(const HostRecord* host, const char* name, const Suite*& suite) {
    suite = static_cast<const Suite*>(host->fetchSuite(host->properties, name, 1));
}

}  // namespace

const Suites& Host() {
    if (!suites.AreComplete()) throw Refusal{kMissingHostFeature};
    return suites;
}

void FetchSuites(const HostRecord* host) {
    if (host == nullptr || host->fetchSuite == nullptr) throw Refusal{kMissingHostFeature};
    Fetch(host, kPropertySuite, suites.property);
    Fetch(host, kImageEffectSuite, suites.effect);
    Fetch(host, kParameterSuite, suites.parameter);
    Fetch(host, kMessageSuite, suites.message);
    Fetch(host, kThreadSuite, suites.threads);
    Host();
}

void ForgetSuites() {
    suites = {};
}

void ShowMessage(Effect effect, const char* type, const char* text) {
    if (suites.message == nullptr) return;
    suites.message->message(effect, type, "", "%s", text);
}

void Require(Status status) {
    if (status != kOk) throw Refusal{status};
}

Properties::Properties(PropertySet set) : set_(set) {
    if (set == nullptr) throw Refusal{kBadHandle};
}

void Properties::Set(const char* name, const char* value, int index) {
    Host().property->setString(set_, name, index, value);
}

void Properties::Set(const char* name, int value, int index) {
    Host().property->setInt(set_, name, index, value);
}

void Properties::Set(const char* name, const double* values, int count) {
    Host().property->setDoubles(set_, name, count, values);
}

std::string_view Properties::String(const char* name) const {
    char* text = nullptr;
    if (Host().property->getString(set_, name, 0, &text) != kOk || text == nullptr) return {};
    return text;
}

int Properties::Int(const char* name, int fallback) const {
    int value = fallback;
    return Host().property->getInt(set_, name, 0, &value) == kOk ? value : fallback;
}

double Properties::Double(const char* name, double fallback) const {
    double value = fallback;
    return Host().property->getDouble(set_, name, 0, &value) == kOk ? value : fallback;
}

void* Properties::Pointer(const char* name) const {
    void* value = nullptr;
    return Host().property->getPointer(set_, name, 0, &value) == kOk ? value : nullptr;
}

std::optional<RectI> Properties::Rect(const char* name) const {
    int edges[4];
    if (Host().property->getInts(set_, name, 4, edges) != kOk) return std::nullopt;
    return RectI{edges[0], edges[1], edges[2], edges[3]};
}

Clip FindClip(Effect effect, const char* name) {
    Clip clip = nullptr;
    Require(Host().effect->clipGetHandle(effect, name, &clip, nullptr));
    return clip;
}

}  // namespace veltrane::ofx
