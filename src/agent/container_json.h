// Containers as JSON, for people, scripts and the server.
//
// string, boolean, number (32-bit integer) and object stand for the four types of values; a key
// with several values is an array.

#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "agent/result.h"
#include "kor/container.h"

namespace agent {

// Keys keep their order. Bytes that are not UTF-8 become U+FFFD when it is written as text.
nlohmann::ordered_json ContainerToJson(const KorContainer& container);

// The reason of a failure names the key ("Options.Mode").
Result<KorContainer> ContainerFromJson(const nlohmann::ordered_json& json);

// The same as text: on one line when the indentation is negative.
std::string ContainerToJsonText(const KorContainer& container, int indentation = -1);
Result<KorContainer> ContainerFromJsonText(std::string_view text);

// Reads JSON that somebody else has written. What would take without end to read or to take apart
// is refused: an object with more than 1024 members (each is looked for among all others), levels
// without number, and more values than that.
inline constexpr size_t kMostJsonValues = 65'536;
Result<nlohmann::ordered_json> ParseJson(std::string_view text,
                                         size_t maximumValues = kMostJsonValues);

// The whole number that it is; throws nlohmann::ordered_json::exception when it is anything else.
// get() converts fractions as well, and what it makes of one that does not fit is undefined.
int64_t JsonInteger(const nlohmann::ordered_json& json);

// Text of JSON that never fails: what is not UTF-8 becomes U+FFFD.
std::string JsonText(const nlohmann::ordered_json& json, int indentation = -1);

}  // namespace agent
