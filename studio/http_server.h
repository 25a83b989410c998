#ifndef VELTRANE_STUDIO_HTTP_SERVER_H
#define VELTRANE_STUDIO_HTTP_SERVER_H

#include <functional>
#include <memory>

#include "studio/http.h"

namespace veltrane::studio {

/// Serves the loopback alone, a thread for each connection, with bounds on headers, bodies,
/// connections and idle time.
class HttpServer {
public:
    struct Handlers {
        /// Looks at a request's head before its body is read; throws Refusal.
        std::function<void(const HttpRequest&)> admit;
        /// Answers; may throw Refusal. Any number of threads at a time.
        std::function<HttpResponse(const HttpRequest&)> answer;
    };

    /// A port of 0 is any free one. Throws std::runtime_error when it cannot be had.
    explicit HttpServer(int port);
    /// Waits for the answers under way; streams must have ended.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const;

    /// From now on requests are answered; those that came before wait. Once only.
    void Serve(Handlers handlers);

    /// The longest body of a request, in bytes.
    static constexpr std::size_t kMostBody = std::size_t{4} << 20;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace veltrane::studio

#endif
