#include "platform/Environment.h"

#include "platform/Decimal.h"

#include <cmath>
#include <cstdlib>
#include <string_view>

namespace morvel {

Environment systemEnvironment() {
    return [](const std::string& name) -> std::optional<std::string> {
        const char* const value = std::getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    };
}

std::optional<double> decimalNumber(const Environment& environment, const std::string& name) {
    const auto text = environment(name);
    if (!text)
        return std::nullopt;
    std::string_view digits = *text;
    if (digits.starts_with('+') && !digits.starts_with("+-"))
        digits.remove_prefix(1);
    const auto number = decimal(digits);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace morvel
