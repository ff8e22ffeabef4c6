#include "sound/SoundCategory.h"

#include <algorithm>

namespace morvel {

namespace {

constexpr std::size_t firstGroupCategory = 2;
constexpr std::size_t firstFidgetCategory = firstGroupCategory + 2 * keyGroupCount;

constexpr std::array<std::string_view, soundCategoryCount> categoryNames = {
    "keyboard.down",
    "keyboard.up",
    "keyboard.alpha.down",
    "keyboard.alpha.up",
    "keyboard.space.down",
    "keyboard.space.up",
    "keyboard.enter.down",
    "keyboard.enter.up",
    "keyboard.delete.down",
    "keyboard.delete.up",
    "keyboard.tab.down",
    "keyboard.tab.up",
    "keyboard.shift.down",
    "keyboard.shift.up",
    "keyboard.capsLock.down",
    "keyboard.capsLock.up",
    "keyboard.command.down",
    "keyboard.command.up",
    "keyboard.option.down",
    "keyboard.option.up",
    "keyboard.control.down",
    "keyboard.control.up",
    "keyboard.escape.down",
    "keyboard.escape.up",
    "fidget.toggleOn",
    "fidget.toggleOff",
    "fidget.dialTick",
    "fidget.dialLoop",
    "fidget.pop",
    "fidget.popReset",
    "fidget.buttonDown",
    "fidget.buttonUp",
};

constexpr std::array<std::string_view, keyGroupCount> groupNames = {
    "alpha",    "space",   "enter",  "delete",  "tab",    "shift",
    "capsLock", "command", "option", "control", "escape",
};

constexpr std::size_t index(SoundCategory category) {
    return static_cast<std::size_t>(category);
}

constexpr bool isGroupCategory(SoundCategory category) {
    return index(category) >= firstGroupCategory && index(category) < firstFidgetCategory;
}

template <typename Enum, std::size_t count>
constexpr std::array<Enum, count> casesInOrder() {
    std::array<Enum, count> cases{};
    for (std::size_t i = 0; i < count; ++i)
        cases[i] = static_cast<Enum>(i);
    return cases;
}

static_assert(index(SoundCategory::buttonUp) + 1 == soundCategoryCount);
static_assert(index(SoundCategory::toggleOn) == firstFidgetCategory);
static_assert(static_cast<std::size_t>(KeyGroup::escape) + 1 == keyGroupCount);

} // namespace

const std::array<SoundCategory, soundCategoryCount>& allSoundCategories() {
    static constexpr auto cases = casesInOrder<SoundCategory, soundCategoryCount>();
    return cases;
}

const std::array<KeyGroup, keyGroupCount>& allKeyGroups() {
    static constexpr auto cases = casesInOrder<KeyGroup, keyGroupCount>();
    return cases;
}

const std::array<SoundModule, 2>& allSoundModules() {
    static constexpr auto cases = casesInOrder<SoundModule, 2>();
    return cases;
}

std::string_view rawValue(SoundCategory category) {
    return categoryNames[index(category)];
}

std::string_view rawValue(KeyGroup group) {
    return groupNames[static_cast<std::size_t>(group)];
}

std::string_view rawValue(SoundModule module) {
    return module == SoundModule::fidget ? "fidget" : "keyboard";
}

std::optional<SoundCategory> soundCategoryFromRawValue(std::string_view rawValue) {
    const auto* const found = std::find(categoryNames.begin(), categoryNames.end(), rawValue);
    if (found == categoryNames.end())
        return std::nullopt;
    return static_cast<SoundCategory>(found - categoryNames.begin());
}

SoundModule module(SoundCategory category) {
    return index(category) >= firstFidgetCategory ? SoundModule::fidget : SoundModule::keyboard;
}

std::optional<KeyGroup> group(SoundCategory category) {
    if (!isGroupCategory(category))
        return std::nullopt;
    return static_cast<KeyGroup>((index(category) - firstGroupCategory) / 2);
}

std::optional<KeyEdge> keyEdge(SoundCategory category) {
    if (!isGroupCategory(category))
        return std::nullopt;
    return index(category) % 2 == 0 ? KeyEdge::down : KeyEdge::up;
}

std::optional<SoundCategory> inThemeFallback(SoundCategory category) {
    const auto edge = keyEdge(category);
    if (!edge)
        return std::nullopt;
    return *edge == KeyEdge::down ? SoundCategory::keyDown : SoundCategory::keyUp;
}

SoundCategory category(KeyGroup group, KeyEdge edge) {
    return static_cast<SoundCategory>(firstGroupCategory + 2 * static_cast<std::size_t>(group) +
                                      static_cast<std::size_t>(edge));
}

const std::array<std::pair<std::string_view, SoundCategory>, 2>& deprecatedAliases() {
    static constexpr std::array<std::pair<std::string_view, SoundCategory>, 2> aliases = {{
        {"keyboard.stabDown", SoundCategory::spaceDown},
        {"keyboard.stabUp", SoundCategory::spaceUp},
    }};
    return aliases;
}

std::optional<ManifestKeyResolution> resolveManifestKey(std::string_view key) {
    if (const auto current = soundCategoryFromRawValue(key))
        return ManifestKeyResolution{*current, false};
    for (const auto& [retired, replacement] : deprecatedAliases())
        if (retired == key)
            return ManifestKeyResolution{replacement, true};
    return std::nullopt;
}

} // namespace morvel
