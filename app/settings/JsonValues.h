// The conversions between JSON and the store's types, and the reading of a whole file.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace morvel {

// Answers the object, or nothing for any text that is not one or is nested deeper than
// `deepestNesting`. Strict JSON in UTF-8.
std::optional<nlohmann::json> parsedObject(std::string_view text, int deepestNesting);

// Nothing for a value that does not convert.
std::optional<bool> boolFrom(const nlohmann::json& value);
std::optional<float> floatFrom(const nlohmann::json& value);
std::optional<std::string> stringFrom(const nlohmann::json& value);

// The shortest number that reads back as `value`: 0.7 and not 0.699999988. JSON has no way to write
// an infinity or "not a number": these become strings.
nlohmann::json jsonFrom(float value);

} // namespace morvel
