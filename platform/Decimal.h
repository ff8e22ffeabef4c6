// Reading a decimal number the same in every locale. Pure; any thread.
#pragma once

#include <optional>
#include <string_view>

namespace morvel {

// The double nearest to the whole of `text`: digits with at most one point, an exponent if need be,
// a minus sign in front if need be. Nothing for any other text (spaces, a plus sign in front,
// hexadecimal digits, words for infinity) and for a number that is too large for a double, or too
// small to be told from 0.
std::optional<double> decimal(std::string_view text);

} // namespace morvel
