// What the key-group self-test holds against its expectations: the categories, the key groups and
// the classification, as values, so that a wrong one can be told from the right one.
#pragma once

#include "keyboard/Classification.h"
#include "platform/KeyTap.h"
#include "sound/SoundCategory.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace morvel {

// Made as it is: the program's own.
struct Vocabulary {
    std::vector<SoundCategory> categories{allSoundCategories().begin(), allSoundCategories().end()};
    std::vector<KeyGroup> groups{allKeyGroups().begin(), allKeyGroups().end()};
    std::vector<std::pair<std::string_view, SoundCategory>> aliases{deprecatedAliases().begin(),
                                                                    deprecatedAliases().end()};

    std::function<SoundModule(SoundCategory)> module = morvel::module;
    std::function<std::optional<KeyGroup>(SoundCategory)> group = morvel::group;
    std::function<std::optional<KeyEdge>(SoundCategory)> keyEdge = morvel::keyEdge;
    std::function<std::optional<SoundCategory>(SoundCategory)> inThemeFallback =
        morvel::inThemeFallback;
    std::function<SoundCategory(KeyGroup, KeyEdge)> category = morvel::category;
    std::function<std::optional<SoundCategory>(std::string_view)> fromRawValue =
        soundCategoryFromRawValue;
    std::function<std::optional<ManifestKeyResolution>(std::string_view)> resolveManifestKey =
        morvel::resolveManifestKey;
    // Of an event's type, key code and flags.
    std::function<std::optional<SoundCategory>(std::uint32_t, std::int64_t, std::uint64_t)>
        classify = morvel::classify;

    // The sounds of the keyboard and of the toys, in order.
    std::vector<SoundCategory> of(SoundModule wanted) const {
        std::vector<SoundCategory> result;
        for (const SoundCategory candidate : categories)
            if (module(candidate) == wanted)
                result.push_back(candidate);
        return result;
    }
};

} // namespace morvel
