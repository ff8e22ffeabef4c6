#include "platform/DefaultsValues.h"

#include "platform/Decimal.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

namespace morvel {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::optional<float> floatIn(const std::string& text) {
    if (text == "nan")
        return std::numeric_limits<float>::quiet_NaN();
    if (text == "inf")
        return infinity;
    if (text == "-inf")
        return -infinity;
    const auto number = decimal(text);
    if (!number)
        return std::nullopt;
    return narrowed(*number);
}

} // namespace

float narrowed(double number) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr double halfAStepBeyond = 0x1.ffffffp127;
    if (std::isnan(number) || std::abs(number) <= largest)
        return static_cast<float>(number);
    const double limit =
        std::abs(number) < halfAStepBeyond ? largest : std::numeric_limits<double>::infinity();
    return static_cast<float>(std::copysign(limit, number));
}

std::optional<bool> boolOf(const DefaultsStore::Value& value) {
    if (const auto* const boolean = std::get_if<bool>(&value))
        return *boolean;
    if (const auto* const number = std::get_if<double>(&value))
        return *number != 0;
    const std::string text = lowered(std::get<std::string>(value));
    if (text == "true" || text == "yes" || text == "1")
        return true;
    if (text == "false" || text == "no" || text == "0")
        return false;
    return std::nullopt;
}

std::optional<float> floatOf(const DefaultsStore::Value& value) {
    if (const auto* const boolean = std::get_if<bool>(&value))
        return *boolean ? 1.0F : 0.0F;
    if (const auto* const number = std::get_if<double>(&value))
        return narrowed(*number);
    return floatIn(std::get<std::string>(value));
}

std::optional<std::string> stringOf(const DefaultsStore::Value& value) {
    const auto* const text = std::get_if<std::string>(&value);
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

} // namespace morvel
