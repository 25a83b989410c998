#include "studio/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include "cli/text.h"

namespace veltrane::studio {

namespace {

constexpr unsigned kMostConnections = 64;
constexpr unsigned kIdleSeconds = 30;
constexpr std::size_t kConnectionMemory = std::size_t{32} << 10;  // a request's head, above all
constexpr unsigned kBacklog = 128;

/// What every answer carries, so that the page runs its own files only and is shown in no other.
constexpr std::pair<const char*, const char*> kSafetyHeaders[] = {
    {"X-Content-Type-Options", "nosniff"},
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
     "connect-src 'self'; worker-src 'self'; base-uri 'none'; form-action 'none'; "
     "frame-ancestors 'none'"},
    {"Referrer-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

/// A request while it comes in.
struct Upload {
    HttpRequest request;
    std::optional<HttpResponse> refusal;
};

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

MHD_Result Collect(void* list, MHD_ValueKind, const char* key, const char* value) {
    using List = std::vector<std::pair<std::string, std::string>>;
    static_cast<List*>(list)->emplace_back(Text(key), Text(value));
    return MHD_YES;
}

/// An endless answer on its way.
struct Pending {
    Stream next;
    std::string rest;
};

ssize_t NextPiece(void* cls, uint64_t, char* buffer, std::size_t room) {
    auto& pending = *static_cast<Pending*>(cls);
    if (pending.rest.empty()) pending.rest = pending.next();
    if (pending.rest.empty()) return MHD_CONTENT_READER_END_OF_STREAM;
    const std::size_t count = std::min(room, pending.rest.size());
    std::memcpy(buffer, pending.rest.data(), count);
    pending.rest.erase(0, count);
    return static_cast<ssize_t>(count);
}

struct MakeBody {
    MHD_Response* operator()(std::string& text) const {
        return MHD_create_response_from_buffer(text.size(), text.data(), MHD_RESPMEM_MUST_COPY);
    }
    MHD_Response* operator()(Bytes& bytes) const {
        auto* held = new Bytes(std::move(bytes));
        return MHD_create_response_from_buffer_with_free_callback_cls(
            held->size, held->samples.get(), [](void* sent) { delete static_cast<Bytes*>(sent); },
            held);
    }
    MHD_Response* operator()(Stream& stream) const {
        constexpr std::size_t kBlock = 4096;
        auto* pending = new Pending{std::move(stream), {}};
        return MHD_create_response_from_callback(
            MHD_SIZE_UNKNOWN, kBlock, NextPiece, pending,
            [](void* held) { delete static_cast<Pending*>(held); });
    }
};

MHD_Result Send(MHD_Connection* connection, HttpResponse response) {
    MHD_Response* made = std::visit(MakeBody(), response.body);
    if (made == nullptr) return MHD_NO;
    MHD_add_response_header(made, "Content-Type", response.type.c_str());
    for (const auto& [name, value] : kSafetyHeaders) MHD_add_response_header(made, name, value);
    for (const auto& [name, value] : response.headers)
        MHD_add_response_header(made, name.c_str(), value.c_str());
    const MHD_Result queued =
        MHD_queue_response(connection, static_cast<unsigned>(response.status), made);
    MHD_destroy_response(made);
    return queued;
}

/// What the function answers, or the refusal that it throws.
template <class Answer>
HttpResponse Guarded(const Answer& answer) {
    constexpr int kServerError = 500;
    try {
        return answer();
    } catch (const Refusal& refusal) {
        return ErrorResponse(refusal.status(), refusal.what());
    } catch (const std::bad_alloc&) {
        return ErrorResponse(kServerError, "out of memory; close other programs or shots");
    } catch (const std::exception& error) {
        return ErrorResponse(kServerError, error.what());
    }
}

/// A body's length is told beforehand and within the bound, so that none is read for nothing.
void CheckLength(const HttpRequest& request) {
    constexpr int kLengthRequired = 411;
    constexpr int kTooLarge = 413;
    if (request.method != "POST") return;
    const auto length = cli::ParseNumber<std::size_t>(request.Header("Content-Length"));
    if (!length || !request.Header("Transfer-Encoding").empty())
        throw Refusal(kLengthRequired, "a request that changes something must tell its length");
    if (*length > HttpServer::kMostBody)
        throw Refusal(kTooLarge, "a request may have " + std::to_string(HttpServer::kMostBody) +
                                     " bytes, not " + std::to_string(*length));
}

}  // namespace

struct HttpServer::State {
    MHD_Daemon* daemon = nullptr;
    int listening = -1;
    int port = 0;
    Handlers handlers;

    ~State() {
        if (daemon != nullptr) MHD_stop_daemon(daemon);
        if (daemon == nullptr && listening >= 0) close(listening);
    }

    Upload* Begin(MHD_Connection* connection, const char* url, const char* method) const;
    static MHD_Result Handle(void* cls, MHD_Connection* connection, const char* url,
                             const char* method, const char* version, const char* data,
                             std::size_t* size, void** held);
};

Upload* HttpServer::State::Begin(MHD_Connection* connection, const char* url,
                                 const char* method) const {
    auto* upload = new Upload;
    HttpRequest& request = upload->request;
    request.method = std::strcmp(method, "HEAD") == 0 ? "GET" : method;
    request.path = url;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, Collect, &request.headers);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, Collect, &request.query);
    const auto admit = [&] {
        handlers.admit(request);
        CheckLength(request);
        return HttpResponse{0, {}, {}};
    };
    HttpResponse checked = Guarded(admit);
    if (checked.status != 0) upload->refusal = std::move(checked);
    return upload;
}

MHD_Result HttpServer::State::Handle(void* cls, MHD_Connection* connection, const char* url,
                                     const char* method, const char*, const char* data,
                                     std::size_t* size, void** held) {
    const auto& state = *static_cast<const State*>(cls);
    try {
        if (*held == nullptr) {
            Upload* upload = state.Begin(connection, url, method);
            *held = upload;
            return upload->refusal ? Send(connection, *std::move(upload->refusal)) : MHD_YES;
        }
        auto& request = static_cast<Upload*>(*held)->request;
        if (*size > 0) {
            if (request.body.size() + *size > kMostBody) return MHD_NO;
            request.body.append(data, *size);
            *size = 0;
            return MHD_YES;
        }
        return Send(connection, Guarded([&] { return state.handlers.answer(request); }));
    } catch (const std::exception&) {
        return MHD_NO;
    }
}

HttpServer::HttpServer(int port) : state_(std::make_unique<State>()) {
    const auto check = [&](bool done) {
        if (done) return;
        throw std::runtime_error("port " + std::to_string(port) +
                                 " of this machine cannot be served: " + std::strerror(errno));
    };
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* place = reinterpret_cast<sockaddr*>(&address);
    const int on = 1;
    state_->listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    check(state_->listening >= 0);
    setsockopt(state_->listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    check(bind(state_->listening, place, size) == 0);
    check(listen(state_->listening, kBacklog) == 0);
    check(getsockname(state_->listening, place, &size) == 0);
    state_->port = ntohs(address.sin_port);
}

void HttpServer::Serve(Handlers handlers) {
    state_->handlers = std::move(handlers);
    const auto finish = [](void*, MHD_Connection*, void** held, MHD_RequestTerminationCode) {
        delete static_cast<Upload*>(*held);
        *held = nullptr;
    };
    const MHD_RequestCompletedCallback finished = finish;
    state_->daemon = MHD_start_daemon(
        MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL, 0, nullptr,
        nullptr, State::Handle, state_.get(), MHD_OPTION_LISTEN_SOCKET, state_->listening,
        MHD_OPTION_CONNECTION_LIMIT, kMostConnections, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory, MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_NOTIFY_COMPLETED, finished, nullptr, MHD_OPTION_END);
    if (state_->daemon == nullptr) throw std::runtime_error("the server's threads cannot start");
}

HttpServer::~HttpServer() = default;

int HttpServer::port() const {
    return state_->port;
}

}  // namespace veltrane::studio
