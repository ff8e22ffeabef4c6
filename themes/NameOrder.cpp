#include "themes/NameOrder.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace morvel {

namespace {

// The standard library tells of a missing locale by an exception only.
std::optional<std::locale> installed(const char* name) {
    try {
        return std::locale(name);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

// The plain locale knows the case of ASCII letters only, this one that of all; it comes with the
// C library.
std::locale foldingLocale() {
    return installed("C.UTF-8").value_or(std::locale::classic());
}

} // namespace

NameOrder::NameOrder(const std::locale& collation)
    : collation_(collation)
    , folding_(foldingLocale()) {}

NameOrder NameOrder::ofTheUser() {
    return NameOrder(installed("").value_or(std::locale::classic()));
}

std::wstring NameOrder::keyOf(std::string_view name) const {
    std::u32string characters = charactersOf(name);
    characters.resize(std::min(characters.size(), longestCompared));
    const auto& letters = std::use_facet<std::ctype<wchar_t>>(folding_);
    std::wstring folded;
    for (const char32_t character : characters)
        folded.push_back(letters.tolower(static_cast<wchar_t>(character)));
    return std::use_facet<std::collate<wchar_t>>(collation_)
        .transform(folded.data(), folded.data() + folded.size());
}

} // namespace morvel
