#include "studio/guard.h"

#include <strings.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace veltrane::studio {

namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr const char* kOpenAddress =
    "open the address, with its token, that veltrane studio printed when it started";

/// 16 random bytes in hexadecimal digits.
std::string RandomText() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the system gives no random bytes for the studio's token");
    std::string text;
    for (const unsigned char byte : bytes)
        for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
    return text;
}

/// In a time that does not tell where they differ.
bool SameSecret(const std::string& given, const std::string& secret) {
    unsigned difference = given.size() == secret.size() ? 0 : 1;
    for (std::size_t i = 0; i < secret.size(); ++i) {
        const char own = i < given.size() ? given[i] : '\0';
        difference |= static_cast<unsigned char>(own ^ secret[i]);
    }
    return difference == 0;
}

/// The value of a cookie in a header such as "a=1; b=2"; empty where it is not there.
std::string CookieValue(const std::string& header, const std::string& name) {
    for (std::size_t at = 0; at < header.size();) {
        const std::size_t end = std::min(header.find(';', at), header.size());
        const std::size_t begin = std::min(header.find_first_not_of(' ', at), end);
        const std::string pair = header.substr(begin, end - begin);
        if (pair.starts_with(name + '=')) return pair.substr(name.size() + 1);
        at = end + 1;
    }
    return {};
}

}  // namespace

// A browser sends cookies to every port of a host, so each studio's has a name of its own.
Guard::Guard(int port) : port_(std::to_string(port)), token_(RandomText()), cookie_(RandomText()) {}

std::string Guard::Address() const {
    return "http://127.0.0.1:" + port_ + "/?token=" + token_;
}

void Guard::CheckOrigin(const HttpRequest& request) const {
    const std::string host = request.Header("Host");
    const auto isOurs = [&](const char* name) {
        return strcasecmp(host.c_str(), (std::string(name) + ':' + port_).c_str()) == 0;
    };
    if (!isOurs("127.0.0.1") && !isOurs("localhost") && !isOurs("[::1]"))
        throw Refusal(kForbidden, "the studio answers as 127.0.0.1:" + port_ + " only");
    const auto named = [](const auto& header) {
        return strcasecmp(header.first.c_str(), "Origin") == 0;
    };
    const bool given = std::any_of(request.headers.begin(), request.headers.end(), named);
    const bool same = strcasecmp(request.Header("Origin").c_str(), ("http://" + host).c_str()) == 0;
    if (given ? !same : request.method != "GET")
        throw Refusal(kForbidden, "only the studio's own page may ask for this");
}

std::optional<HttpResponse> Guard::Exchange(const HttpRequest& request) const {
    constexpr int kSeeOther = 303;
    if (request.method != "GET" || request.path != "/" || request.Query("token").empty())
        return std::nullopt;
    if (!SameSecret(request.Query("token"), token_)) throw Refusal(kUnauthorized, kOpenAddress);
    HttpResponse response{kSeeOther, "text/plain", std::string()};
    response.headers.emplace_back("Location", "/");
    response.headers.emplace_back(
        "Set-Cookie", "veltrane-" + port_ + '=' + cookie_ + "; HttpOnly; SameSite=Strict; Path=/");
    return response;
}

void Guard::RequireCookie(const HttpRequest& request) const {
    const std::string given = CookieValue(request.Header("Cookie"), "veltrane-" + port_);
    if (!SameSecret(given, cookie_)) throw Refusal(kUnauthorized, kOpenAddress);
}

}  // namespace veltrane::studio
