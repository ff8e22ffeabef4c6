// The themes that come with Morvel, by id.
#pragma once

namespace morvel::test {

inline constexpr const char* builtInThemes[] = {"carriage", "cellar",    "default",
                                                "galosh",   "hailstone", "mechanical"};

} // namespace morvel::test
