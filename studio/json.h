#ifndef VELTRANE_STUDIO_JSON_H
#define VELTRANE_STUDIO_JSON_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "studio/http.h"

namespace veltrane::studio {

using Json = nlohmann::ordered_json;

// What a request's body holds. All throw Refusal (400), naming the member and what it may be.

/// The one object that the text must be.
Json ParseObject(const std::string& text);

/// The member, or nothing where it is absent or null.
const Json* Find(const Json& object, const char* name);

std::string Text(const Json& object, const char* name);
std::string Text(const Json& object, const char* name, const std::string& otherwise);
bool Flag(const Json& object, const char* name, bool otherwise);
std::int64_t Integer(const Json& object, const char* name, std::int64_t least, std::int64_t most);
std::int64_t Integer(const Json& object, const char* name, std::int64_t least, std::int64_t most,
                     std::int64_t otherwise);
/// An object; an empty one where it is absent.
Json Object(const Json& object, const char* name);

/// Refuses members of other names.
void CheckNames(const Json& object, const std::string& what, const std::vector<std::string>& names);

/// As text; what is not UTF-8 is replaced, as it may be in the names of files.
std::string Dump(const Json& json);

/// The answer of a request that is done.
HttpResponse JsonResponse(const Json& json);

}  // namespace veltrane::studio

#endif
