#include "studio/json.h"

#include <algorithm>

namespace veltrane::studio {

namespace {

constexpr int kBadRequest = 400;

[[noreturn]] void Refuse(const char* name, const std::string& allowed, const Json* value) {
    constexpr std::size_t kLongest = 60;
    std::string shown = value != nullptr ? Dump(*value) : "left out";
    if (shown.size() > kLongest) shown.replace(kLongest, shown.npos, "...");
    throw Refusal(kBadRequest, std::string(name) + " must be " + allowed + ", not " + shown);
}

}  // namespace

Json ParseObject(const std::string& text) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) throw Refusal(kBadRequest, "the request must be one JSON object");
    return json;
}

const Json* Find(const Json& object, const char* name) {
    const auto member = object.find(name);
    return member == object.end() || member->is_null() ? nullptr : &*member;
}

std::string Text(const Json& object, const char* name) {
    const Json* member = Find(object, name);
    if (member == nullptr || !member->is_string()) Refuse(name, "a text", member);
    return member->get<std::string>();
}

std::string Text(const Json& object, const char* name, const std::string& otherwise) {
    return Find(object, name) != nullptr ? Text(object, name) : otherwise;
}

bool Flag(const Json& object, const char* name, bool otherwise) {
    const Json* member = Find(object, name);
    if (member == nullptr) return otherwise;
    if (!member->is_boolean()) Refuse(name, "true or false", member);
    return member->get<bool>();
}

std::int64_t Integer(const Json& object, const char* name, std::int64_t least, std::int64_t most) {
    const Json* member = Find(object, name);
    const std::string allowed =
        "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    // Whole numbers beyond 64 bits are read as doubles.
    const bool fits = member != nullptr && member->is_number_integer() &&
                      (!member->is_number_unsigned() ||
                       member->get<std::uint64_t>() <= static_cast<std::uint64_t>(INT64_MAX));
    if (!fits || member->get<std::int64_t>() < least || member->get<std::int64_t>() > most)
        Refuse(name, allowed, member);
    return member->get<std::int64_t>();
}

std::int64_t Integer(const Json& object, const char* name, std::int64_t least, std::int64_t most,
                     std::int64_t otherwise) {
    return Find(object, name) != nullptr ? Integer(object, name, least, most) : otherwise;
}

Json Object(const Json& object, const char* name) {
    const Json* member = Find(object, name);
    if (member == nullptr) return Json::object();
    if (!member->is_object()) Refuse(name, "an object", member);
    return *member;
}

void CheckNames(const Json& object, const std::string& what,
                const std::vector<std::string>& names) {
    for (const auto& [name, value] : object.items())
        if (std::find(names.begin(), names.end(), name) == names.end())
            throw Refusal(kBadRequest, what + " has no " + Dump(Json(name)));
}

std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

HttpResponse JsonResponse(const Json& json) {
    return {200, "application/json", Dump(json)};
}

}  // namespace veltrane::studio
