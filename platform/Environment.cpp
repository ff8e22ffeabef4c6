#include "platform/Environment.h"

#include <charconv>
#include <cmath>
#include <system_error>

namespace morvel {

std::optional<double> decimalNumber(const Environment& environment, const std::string& name) {
    const auto text = environment(name);
    if (!text)
        return std::nullopt;
    const char* begin = text->data();
    const char* const end = begin + text->size();
    if (text->starts_with('+') && !text->starts_with("+-"))
        ++begin;
    double number = 0;
    const auto parsed = std::from_chars(begin, end, number);
    if (parsed.ec != std::errc{} || parsed.ptr != end || !std::isfinite(number))
        return std::nullopt;
    return number;
}

} // namespace morvel
