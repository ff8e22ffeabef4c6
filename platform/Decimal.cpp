#include "platform/Decimal.h"

#include <locale.h> // newlocale() is POSIX
#include <stdlib.h> // strtod_l() as well

#include <cerrno>
#include <cmath>
#include <string>

#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

namespace morvel {

// Not every standard library has std::from_chars() for floating-point numbers yet.
std::optional<double> decimal(std::string_view text) {
    static const locale_t classic = ::newlocale(LC_ALL_MASK, "C", nullptr);
    if (text.empty() || text.front() == '+' ||
        text.find_first_not_of("0123456789.eE+-") != std::string_view::npos)
        return std::nullopt;
    const std::string terminated(text);
    char* end = nullptr;
    errno = 0;
    const double number = ::strtod_l(terminated.c_str(), &end, classic);
    if (end != terminated.c_str() + terminated.size())
        return std::nullopt;
    // The least numbers of all are told as out of range, too, but are there.
    if (errno == ERANGE && (number == 0 || std::isinf(number)))
        return std::nullopt;
    return number;
}

} // namespace morvel
