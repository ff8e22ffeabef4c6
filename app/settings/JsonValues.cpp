#include "app/settings/JsonValues.h"

#include "platform/Decimal.h"
#include "platform/DefaultsValues.h"

#include <array>
#include <charconv>
#include <cmath>

namespace morvel {

using nlohmann::json;

namespace {

// Nothing for an array, an object and null.
std::optional<DefaultsStore::Value> valueFrom(const json& value) {
    if (value.is_boolean())
        return value.get<bool>();
    if (value.is_number())
        return value.get<double>();
    if (value.is_string())
        return value.get<std::string>();
    return std::nullopt;
}

} // namespace

std::optional<json> parsedObject(std::string_view text, int deepestNesting) {
    bool tooDeep = false;
    const auto limitDepth = [&](int depth, json::parse_event_t event, json&) {
        const bool opens =
            event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        if (!opens || depth < deepestNesting)
            return true;
        tooDeep = true;
        return false;
    };
    json value = json::parse(text, limitDepth, /*allow_exceptions=*/false);
    if (tooDeep || !value.is_object())
        return std::nullopt;
    return value;
}

std::optional<bool> boolFrom(const json& value) {
    const auto converted = valueFrom(value);
    return converted ? boolOf(*converted) : std::nullopt;
}

std::optional<float> floatFrom(const json& value) {
    const auto converted = valueFrom(value);
    return converted ? floatOf(*converted) : std::nullopt;
}

std::optional<std::string> stringFrom(const json& value) {
    const auto converted = valueFrom(value);
    return converted ? stringOf(*converted) : std::nullopt;
}

json jsonFrom(float value) {
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value > 0 ? "inf" : "-inf";
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    const auto number = decimal({digits.data(), written.ptr});
    return number && narrowed(*number) == value ? *number : static_cast<double>(value);
}

} // namespace morvel
