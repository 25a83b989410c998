#ifndef VELTRANE_STUDIO_HTTP_H
#define VELTRANE_STUDIO_HTTP_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace veltrane::studio {

/// What a browser asks for.
struct HttpRequest {
    std::string method;  ///< "GET" or "POST"
    std::string path;    ///< decoded, without what follows a question mark
    std::vector<std::pair<std::string, std::string>> query;
    std::vector<std::pair<std::string, std::string>> headers;  ///< in the order of the request
    std::string body;

    /// The value of the one header of this name, in any spelling; empty where there is none, or
    /// more than one, which no browser sends.
    std::string Header(const std::string& name) const;
    /// The value of the first query of this name; empty where there is none.
    std::string Query(const std::string& name) const;
};

/// Memory that is not cleared beforehand, since it is filled to its end. It may have several
/// holders.
struct Bytes {
    std::shared_ptr<std::uint16_t[]> samples;
    std::size_t size = 0;  ///< in bytes
};

/// Of an even size in bytes.
Bytes MakeBytes(std::size_t size);

/// The next piece of an answer without an end, or nothing when the server stops.
using Stream = std::function<std::string()>;

struct HttpResponse {
    int status = 200;
    std::string type = "application/json";
    std::variant<std::string, Bytes, Stream> body;
    std::vector<std::pair<std::string, std::string>> headers{};
};

/// A request that is refused, with its status and, for people, one line that says what to do.
class Refusal : public std::runtime_error {
public:
    Refusal(int status, const std::string& line) : std::runtime_error(line), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

/// {"error": line}, as every refusal is answered.
HttpResponse ErrorResponse(int status, const std::string& line);

}  // namespace veltrane::studio

#endif
