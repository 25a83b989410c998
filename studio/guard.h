#ifndef VELTRANE_STUDIO_GUARD_H
#define VELTRANE_STUDIO_GUARD_H

#include <optional>
#include <string>

#include "studio/http.h"

namespace veltrane::studio {

/// Tells this machine's user, who was given the address, from web pages and other users: by the
/// host and origin that a browser names, and by a token that it exchanges for a cookie.
class Guard {
public:
    /// For a server on this port, with a token of its own. Throws std::runtime_error when the
    /// system gives no random bytes.
    explicit Guard(int port);

    /// What the user opens, "http://127.0.0.1:PORT/?token=...".
    std::string Address() const;

    /// Throws Refusal for another host than this machine by its own names, whose page a browser was
    /// led to take for ours, for another origin, and for a change without one.
    void CheckOrigin(const HttpRequest& request) const;
    /// The cookie, by a redirection that drops the token from the address; nothing where no token
    /// was given. Throws Refusal for a wrong one.
    std::optional<HttpResponse> Exchange(const HttpRequest& request) const;
    /// Throws Refusal without the cookie.
    void RequireCookie(const HttpRequest& request) const;

private:
    std::string port_;
    std::string token_;
    std::string cookie_;
};

}  // namespace veltrane::studio

#endif
