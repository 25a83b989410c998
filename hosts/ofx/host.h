#ifndef VELTRANE_HOSTS_OFX_HOST_H
#define VELTRANE_HOSTS_OFX_HOST_H

#include <optional>
#include <string_view>

#include "hosts/ofx/abi.h"

namespace veltrane::ofx {

/// Ends an action with this status; never leaves the library.
struct Refusal {
    Status status;
};

/// What the host offers. Set once by the load action, read by every other.
struct Suites {
    const PropertySuite* property = nullptr;
    const ImageEffectSuite* effect = nullptr;
    const ParameterSuite* parameter = nullptr;
    const MessageSuite* message = nullptr;  ///< null in hosts without messages
    const ThreadSuite* threads = nullptr;   ///< null in hosts that lend none

    bool AreComplete() const { return property && effect && parameter; }
};

/// The host's suites. Throws Refusal before they were fetched.
const Suites& Host();

/// Fetches the suites. Throws Refusal where the host lacks a needed one.
void FetchSuites(const HostRecord* host);

void ForgetSuites();

/// Shows one line to the user where the host can. Type is one of the interface's message types.
void ShowMessage(Effect effect, const char* type, const char* text);

/// Throws Refusal with any status but kOk.
void Require(Status status);

/// A host's property set. Setting says nothing of success: a host refuses what it does not know,
/// and does without. Getting gives the fallback where the host has no such value.
class Properties {
public:
    /// Throws Refusal for a null set.
    explicit Properties(PropertySet set);

    void Set(const char* name, const char* value, int index = 0);
    void Set(const char* name, int value, int index = 0);
    void Set(const char* name, const double* values, int count);

    std::string_view String(const char* name) const;
    int Int(const char* name, int fallback) const;
    double Double(const char* name, double fallback) const;
    void* Pointer(const char* name) const;
    std::optional<RectI> Rect(const char* name) const;

private:
    PropertySet set_;
};

/// A clip of an instance. Throws Refusal where the host has none of this name.
Clip FindClip(Effect effect, const char* name);

}  // namespace veltrane::ofx

#endif
