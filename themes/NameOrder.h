// How theme names sort for the user: by the locale's collation, letter case aside.
#pragma once

#include <locale>
#include <string>
#include <string_view>

namespace morvel {

// Immutable; any thread.
class NameOrder {
public:
    // Names longer than this (in characters) sort by their beginning.
    static constexpr std::size_t longestCompared = 256;

    explicit NameOrder(const std::locale& collation);

    // The user's locale as the environment names it; where that one is not installed, plain
    // Unicode order. Never fails.
    static NameOrder ofTheUser();

    // Of two names the one with the smaller key comes first; equal keys, equal names.
    std::wstring keyOf(std::string_view name) const;

private:
    std::locale collation_;
    std::locale folding_;
};

} // namespace morvel
