#include "app/settings/JsonValues.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace morvel {

using nlohmann::json;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Rounds as the hardware does, also past the largest float: what lies less than half a step beyond
// it, as its own shortest digits do, is that float; the rest is an infinity.
float narrowed(double number) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr double halfAStepBeyond = 0x1.ffffffp127;
    if (std::abs(number) <= largest)
        return static_cast<float>(number);
    const double limit =
        std::abs(number) < halfAStepBeyond ? largest : std::numeric_limits<double>::infinity();
    return static_cast<float>(std::copysign(limit, number));
}

std::optional<float> floatFrom(const std::string& text) {
    if (text == "nan")
        return std::numeric_limits<float>::quiet_NaN();
    if (text == "inf")
        return infinity;
    if (text == "-inf")
        return -infinity;
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc{} || parsed.ptr != end || !std::isfinite(number))
        return std::nullopt;
    return narrowed(number);
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
    if (value.is_boolean())
        return value.get<bool>();
    if (value.is_number())
        return value.get<double>() != 0;
    if (value.is_string()) {
        const std::string text = lowered(value.get<std::string>());
        if (text == "true" || text == "yes" || text == "1")
            return true;
        if (text == "false" || text == "no" || text == "0")
            return false;
    }
    return std::nullopt;
}

std::optional<float> floatFrom(const json& value) {
    if (value.is_boolean())
        return value.get<bool>() ? 1.0F : 0.0F;
    if (value.is_number())
        return narrowed(value.get<double>());
    if (value.is_string())
        return floatFrom(value.get_ref<const std::string&>());
    return std::nullopt;
}

std::optional<std::string> stringFrom(const json& value) {
    if (!value.is_string())
        return std::nullopt;
    return value.get<std::string>();
}

json jsonFrom(float value) {
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value > 0 ? "inf" : "-inf";
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    double number = 0;
    std::from_chars(digits.data(), written.ptr, number);
    return narrowed(number) == value ? number : static_cast<double>(value);
}

} // namespace morvel
