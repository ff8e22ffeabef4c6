// The closed vocabulary of sounds: 32 categories, two modules, eleven key groups.
//
// Pure data and pure functions: everything here may be called from any thread, allocates nothing
// and cannot fail other than by an empty optional.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace morvel {

enum class SoundModule : std::uint8_t { keyboard, fidget };

enum class KeyEdge : std::uint8_t { down, up };

enum class KeyGroup : std::uint8_t {
    alpha,
    space,
    enter,
    delete_, // raw value "delete": the bare word is reserved in C++
    tab,
    shift,
    capsLock,
    command,
    option,
    control,
    escape,
};

// The declaration order is binding: it is the order in which every consumer iterates, and the group
// mapping is arithmetic on it (two roots, then a down/up pair a group, then the toys).
enum class SoundCategory : std::uint8_t {
    keyDown,
    keyUp,
    alphaDown,
    alphaUp,
    spaceDown,
    spaceUp,
    enterDown,
    enterUp,
    deleteDown,
    deleteUp,
    tabDown,
    tabUp,
    shiftDown,
    shiftUp,
    capsLockDown,
    capsLockUp,
    commandDown,
    commandUp,
    optionDown,
    optionUp,
    controlDown,
    controlUp,
    escapeDown,
    escapeUp,
    toggleOn,
    toggleOff,
    dialTick,
    dialLoop,
    pop,
    popReset,
    buttonDown,
    buttonUp,
};

inline constexpr std::size_t soundCategoryCount = 32;
inline constexpr std::size_t keyGroupCount = 11;

// The cases in declaration order.
const std::array<SoundCategory, soundCategoryCount>& allSoundCategories();
const std::array<KeyGroup, keyGroupCount>& allKeyGroups();
const std::array<SoundModule, 2>& allSoundModules();

// The names under which manifests, settings and logs refer to a case.
std::string_view rawValue(SoundCategory category);
std::string_view rawValue(KeyGroup group);
std::string_view rawValue(SoundModule module);

// Exact, case-sensitive; any other text (a retired key included) yields nothing.
std::optional<SoundCategory> soundCategoryFromRawValue(std::string_view rawValue);

SoundModule module(SoundCategory category);

// None for the two roots and for every fidget category. The roots report no edge although their
// names end in "down" and "up": the edge is a property of group categories only.
std::optional<KeyGroup> group(SoundCategory category);
std::optional<KeyEdge> keyEdge(SoundCategory category);

// The root that stands in for a group category within one theme; none for roots and fidget ones.
std::optional<SoundCategory> inThemeFallback(SoundCategory category);

// The group's own category for an edge; never a root or a fidget category.
SoundCategory category(KeyGroup group, KeyEdge edge);

// Retired manifest keys, and the category each now means.
const std::array<std::pair<std::string_view, SoundCategory>, 2>& deprecatedAliases();

struct ManifestKeyResolution {
    SoundCategory category;
    bool deprecated;

    bool operator==(const ManifestKeyResolution&) const = default;
};

// The one way from a manifest key to a category. Current names are tried before retired ones, so a
// current key is never reported as deprecated; an unknown key yields nothing.
std::optional<ManifestKeyResolution> resolveManifestKey(std::string_view key);

} // namespace morvel
