// A theme as the catalogue shows it: found and checked, but not loaded.
#pragma once

#include "sound/SoundCategory.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace morvel {

// The theme that answers for what another theme lacks.
inline constexpr std::string_view defaultThemeID = "default";

struct ThemeDescriptor {
    enum class Source : std::uint8_t { bundled, user };

    std::string id; // the folder's name: the theme's identity everywhere
    std::string name;
    std::optional<std::string> author;
    std::optional<std::string> description;
    std::filesystem::path directory;
    Source source = Source::bundled;
    std::set<SoundCategory> authoredCategories;

    // How much of the vocabulary the theme covers, for the user.
    std::string coverageSummary() const;

    bool operator==(const ThemeDescriptor&) const = default;
};

// For the user: "Built-in", "Installed".
std::string_view label(ThemeDescriptor::Source source);

} // namespace morvel
