#include "studio/http.h"

#include <strings.h>

#include <nlohmann/json.hpp>

#include "cli/text.h"

namespace veltrane::studio {

std::string HttpRequest::Header(const std::string& name) const {
    const std::string* found = nullptr;
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) != 0) continue;
        if (found != nullptr) return {};
        found = &value;
    }
    return found != nullptr ? *found : std::string();
}

std::string HttpRequest::Query(const std::string& name) const {
    for (const auto& [key, value] : query)
        if (key == name) return value;
    return {};
}

Bytes MakeBytes(std::size_t size) {
    return {std::make_shared_for_overwrite<std::uint16_t[]>(size / sizeof(std::uint16_t)), size};
}

HttpResponse ErrorResponse(int status, const std::string& line) {
    using Json = nlohmann::ordered_json;
    const Json json{{"error", cli::OneLine(line, cli::kLongestLine)}};
    return {status, "application/json", json.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

}  // namespace veltrane::studio
