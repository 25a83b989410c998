#include "studio/studio.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "studio/guard.h"
#include "studio/http_server.h"
#include "studio/session.h"

namespace veltrane::studio {

namespace {

/// In a process group of its own, so that Ctrl-C ends the studio alone, and in one of a child that
/// ends at once, so that nobody has to wait for it.
void OpenBrowser(const std::string& address) {
    const pid_t child = fork();
    if (child > 0) waitpid(child, nullptr, 0);
    if (child != 0) return;
    if (fork() != 0) _exit(0);
    setpgid(0, 0);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nowhere, stream);
    execlp("xdg-open", "xdg-open", address.c_str(), static_cast<char*>(nullptr));
    _exit(1);
}

/// Ends the streams before the server waits for its answers.
class Stopping {
public:
    explicit Stopping(Session& session) : session_(session) {}
    ~Stopping() { session_.Stop(); }
    Stopping(const Stopping&) = delete;
    Stopping& operator=(const Stopping&) = delete;

private:
    Session& session_;
};

}  // namespace

void Run(const Start& start) {
    constexpr std::chrono::milliseconds kPause{50};
    signal(SIGPIPE, SIG_IGN);  // browsers go away in the middle of an answer
    UseCpuLevel(start.cpu);
    Session session(start);
    HttpServer server(start.port);
    const Guard guard(server.port());
    const Stopping stopping(session);
    HttpServer::Handlers handlers;
    handlers.admit = [&](const HttpRequest& request) {
        guard.CheckOrigin(request);
        if (request.Query("token").empty()) guard.RequireCookie(request);
    };
    handlers.answer = [&](const HttpRequest& request) {
        if (std::optional<HttpResponse> exchanged = guard.Exchange(request))
            return *std::move(exchanged);
        guard.RequireCookie(request);
        return session.Answer(request);
    };
    server.Serve(std::move(handlers));
    std::printf("%s\n", guard.Address().c_str());
    std::fflush(stdout);
    if (start.browser) OpenBrowser(guard.Address());
    for (;; std::this_thread::sleep_for(kPause)) start.checkStop();
}

}  // namespace veltrane::studio
