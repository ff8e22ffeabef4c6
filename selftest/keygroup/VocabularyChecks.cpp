#include "selftest/keygroup/VocabularyChecks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace morvel {

namespace {

constexpr std::int64_t keyCodeCount = 128;

const std::map<std::int64_t, KeyGroup>& namedKeys() {
    static const std::map<std::int64_t, KeyGroup> keys = {
        {49, KeyGroup::space},  {36, KeyGroup::enter},   {76, KeyGroup::enter},
        {48, KeyGroup::tab},    {51, KeyGroup::delete_}, {117, KeyGroup::delete_},
        {53, KeyGroup::escape},
    };
    return keys;
}

struct ModifierKey {
    std::string_view name;
    std::int64_t keyCode;
    std::uint64_t flag;
    KeyGroup group;
};

// Twin beside twin.
constexpr ModifierKey modifierKeys[] = {
    {"left control", 59, 0x1, KeyGroup::control}, {"right control", 62, 0x2000, KeyGroup::control},
    {"left shift", 56, 0x2, KeyGroup::shift},     {"right shift", 60, 0x4, KeyGroup::shift},
    {"left command", 55, 0x8, KeyGroup::command}, {"right command", 54, 0x10, KeyGroup::command},
    {"left option", 58, 0x20, KeyGroup::option},  {"right option", 61, 0x40, KeyGroup::option},
};

// Every sound that a key can make, by one of its own events or a change of the flags.
std::set<SoundCategory> reachable(const Vocabulary& vocabulary) {
    constexpr std::uint64_t everyFlag = ~std::uint64_t{0};
    std::set<SoundCategory> result;
    const auto reach = [&](std::uint32_t type, std::int64_t keyCode, std::uint64_t flags) {
        if (const auto category = vocabulary.classify(type, keyCode, flags))
            result.insert(*category);
    };
    for (std::int64_t keyCode = 0; keyCode < keyCodeCount; ++keyCode) {
        reach(keyDownEventType, keyCode, 0);
        reach(keyUpEventType, keyCode, 0);
        reach(flagsChangedEventType, keyCode, everyFlag);
        reach(flagsChangedEventType, keyCode, 0);
    }
    return result;
}

// The key codes whose press or release is not what `isRight` wants.
std::string
wrongKeys(const Vocabulary& vocabulary,
          const std::function<bool(std::int64_t, KeyEdge, std::optional<SoundCategory>)>& isRight) {
    std::set<std::int64_t> wrong;
    for (std::int64_t keyCode = 0; keyCode < keyCodeCount; ++keyCode)
        for (const KeyEdge edge : {KeyEdge::down, KeyEdge::up}) {
            const auto type = edge == KeyEdge::down ? keyDownEventType : keyUpEventType;
            if (!isRight(keyCode, edge, vocabulary.classify(type, keyCode, 0)))
                wrong.insert(keyCode);
        }
    return wrong.empty() ? "" : fmt::format("not {}", fmt::join(wrong, ", "));
}

std::string edgeOf(KeyGroup group, KeyEdge edge) {
    return fmt::format("{}.{}", rawValue(group), edge == KeyEdge::down ? "down" : "up");
}

// What changes of the flags sound like.
class FlagChecks {
public:
    FlagChecks(CheckList& checks, const Vocabulary& vocabulary)
        : checks_(checks)
        , vocabulary_(vocabulary) {}

    void sounds(std::string_view what, std::int64_t keyCode, std::uint64_t flags, KeyGroup group,
                KeyEdge edge) {
        const auto heard = vocabulary_.classify(flagsChangedEventType, keyCode, flags);
        const bool passed = heard == vocabulary_.category(group, edge);
        checks_.check(fmt::format("{} -> {}", what, edgeOf(group, edge)), passed,
                      passed  ? ""
                      : heard ? rawValue(*heard)
                              : "(silent)");
    }
    void isSilent(std::string_view what, std::int64_t keyCode) {
        const auto heard = vocabulary_.classify(flagsChangedEventType, keyCode, 0);
        checks_.check(fmt::format("{} -> (silent)", what), !heard, heard ? rawValue(*heard) : "");
    }

private:
    CheckList& checks_;
    const Vocabulary& vocabulary_;
};

bool isPairOf(const Vocabulary& vocabulary, KeyGroup group) {
    return std::ranges::all_of(
        std::initializer_list<KeyEdge>{KeyEdge::down, KeyEdge::up}, [&](KeyEdge edge) {
            const SoundCategory category = vocabulary.category(group, edge);
            return vocabulary.group(category) == group && vocabulary.keyEdge(category) == edge;
        });
}

} // namespace

void checkSchema(CheckList& checks, const Vocabulary& vocabulary) {
    using enum SoundCategory;
    const auto fidget = vocabulary.of(SoundModule::fidget);
    checks.check("32 categories total", vocabulary.categories.size() == 32);
    checks.check("24 keyboard categories", vocabulary.of(SoundModule::keyboard).size() == 24);
    checks.check("8 fidget categories", fidget.size() == 8);
    checks.check("11 key groups", vocabulary.groups.size() == 11);

    std::set<SoundCategory> paired;
    for (const KeyGroup group : vocabulary.groups)
        for (const KeyEdge edge : {KeyEdge::down, KeyEdge::up})
            paired.insert(vocabulary.category(group, edge));
    const bool arePairs = std::ranges::all_of(
        vocabulary.groups, [&](KeyGroup group) { return isPairOf(vocabulary, group); });
    checks.check("every group maps to a distinct down/up pair",
                 arePairs && paired.size() == 2 * vocabulary.groups.size());

    const auto standsAlone = [&](SoundCategory category) {
        return !vocabulary.group(category) && !vocabulary.inThemeFallback(category);
    };
    checks.check("root categories have no group and no in-theme fallback",
                 standsAlone(keyDown) && standsAlone(keyUp));

    std::size_t count = 0;
    bool allMatch = true;
    for (const SoundCategory category : vocabulary.categories) {
        if (!vocabulary.group(category))
            continue;
        ++count;
        const auto root = vocabulary.keyEdge(category) == KeyEdge::down ? keyDown : keyUp;
        allMatch = allMatch && vocabulary.inThemeFallback(category) == root;
    }
    checks.check("every group category falls back to the matching root",
                 allMatch && count == paired.size(), fmt::format("{} group categories", count));

    checks.check("no fidget category has an in-theme fallback",
                 std::ranges::none_of(fidget, [&](SoundCategory category) {
                     return vocabulary.inThemeFallback(category).has_value();
                 }));
    checks.check("stabDown/stabUp raw values are gone from the enum",
                 !vocabulary.fromRawValue("keyboard.stabDown") &&
                     !vocabulary.fromRawValue("keyboard.stabUp"));
}

void checkKeyCodeCoverage(CheckList& checks, const Vocabulary& vocabulary) {
    const auto check = [&](std::string_view name, const std::string& problem) {
        checks.check(name, problem.empty(), problem);
    };
    check("every keycode 0-127 routes to a group",
          wrongKeys(vocabulary, [&](std::int64_t, KeyEdge, std::optional<SoundCategory> heard) {
              return heard && vocabulary.group(*heard);
          }));

    const auto reached = reachable(vocabulary);
    std::set<KeyGroup> groups;
    for (const SoundCategory category : reached)
        if (const auto group = vocabulary.group(category))
            groups.insert(*group);
    checks.check("all 11 reachable", groups.size() == 11);

    std::vector<std::string> orphaned;
    for (const KeyGroup group : vocabulary.groups)
        for (const KeyEdge edge : {KeyEdge::down, KeyEdge::up})
            if (!reached.contains(vocabulary.category(group, edge)))
                orphaned.push_back(edgeOf(group, edge));
    check("no key group is orphaned", fmt::format("{}", fmt::join(orphaned, ", ")));

    check("named keycodes route to the right group",
          wrongKeys(vocabulary,
                    [&](std::int64_t keyCode, KeyEdge edge, std::optional<SoundCategory> heard) {
                        const auto named = namedKeys().find(keyCode);
                        return named == namedKeys().end() ||
                               heard == vocabulary.category(named->second, edge);
                    }));
    check("unmapped keys route to alpha, not to a group without audio",
          wrongKeys(vocabulary,
                    [&](std::int64_t keyCode, KeyEdge edge, std::optional<SoundCategory> heard) {
                        return namedKeys().contains(keyCode) ||
                               heard == vocabulary.category(KeyGroup::alpha, edge);
                    }));
}

void checkModifierSides(CheckList& checks, const Vocabulary& vocabulary) {
    FlagChecks flags(checks, vocabulary);
    for (std::size_t i = 0; i < std::size(modifierKeys); ++i) {
        const auto& [name, keyCode, flag, group] = modifierKeys[i];
        const ModifierKey& twin = modifierKeys[i ^ 1];
        flags.sounds(fmt::format("{} pressed", name), keyCode, flag, group, KeyEdge::down);
        flags.sounds(fmt::format("{} released", name), keyCode, 0, group, KeyEdge::up);
        flags.sounds(fmt::format("{} pressed while {} is held", name, twin.name), keyCode,
                     flag | twin.flag, group, KeyEdge::down);
        flags.sounds(fmt::format("{} released while {} is held", name, twin.name), keyCode,
                     twin.flag, group, KeyEdge::up);
    }
    flags.sounds("caps lock on", 57, 0x10000, KeyGroup::capsLock, KeyEdge::down);
    flags.sounds("caps lock off", 57, 0, KeyGroup::capsLock, KeyEdge::up);
    flags.sounds("fn pressed", 63, 0x800000, KeyGroup::alpha, KeyEdge::down);
    flags.sounds("fn released", 63, 0, KeyGroup::alpha, KeyEdge::up);
    flags.isSilent("flags of an ordinary key", 49);
    flags.isSilent("flags of an unknown key", 200);
}

void checkAliases(CheckList& checks, const Vocabulary& vocabulary) {
    using enum SoundCategory;
    const std::map<std::string_view, SoundCategory> aliases(vocabulary.aliases.begin(),
                                                            vocabulary.aliases.end());
    const std::map<std::string_view, SoundCategory> expected = {{"keyboard.stabDown", spaceDown},
                                                                {"keyboard.stabUp", spaceUp}};
    checks.check("aliases map to the space group", aliases == expected);

    const bool isReported = vocabulary.resolveManifestKey("keyboard.stabDown") ==
                            ManifestKeyResolution{spaceDown, true};
    checks.check("resolveManifestKey reports the deprecation", isReported, isReported ? "" : "nil");
    checks.check("current names resolve without a deprecation flag",
                 vocabulary.resolveManifestKey("keyboard.space.down") ==
                     ManifestKeyResolution{spaceDown, false});
}

} // namespace morvel
