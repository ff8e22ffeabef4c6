#include "selftest/keygroup/ThemeChecks.h"

#include "selftest/keygroup/TemporaryTheme.h"
#include "selftest/keygroup/Vocabulary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <set>
#include <vector>

namespace morvel {

namespace {

using Theme = std::shared_ptr<const SoundTheme>;
using enum SoundCategory;

constexpr const char* mechanicalThemeID = "mechanical";

// The keys wide enough to rest on stabilisers, which rattle.
constexpr KeyGroup stabilised[] = {KeyGroup::space, KeyGroup::enter, KeyGroup::delete_,
                                   KeyGroup::shift};

// The first of `categories` that are not as they ought to be, for the log.
std::string exceptions(const std::vector<SoundCategory>& categories,
                       const std::function<bool(SoundCategory)>& isRight) {
    std::vector<std::string_view> wrong;
    for (const SoundCategory category : categories)
        if (!isRight(category))
            wrong.push_back(rawValue(category));
    return wrong.empty() ? "" : fmt::format("not {}", fmt::join(wrong, ", "));
}

std::vector<SoundCategory> keyboardCategories() {
    return Vocabulary().of(SoundModule::keyboard);
}

std::vector<SoundCategory> fidgetCategories() {
    return Vocabulary().of(SoundModule::fidget);
}

bool isAuthored(const SoundTheme& theme, SoundCategory category) {
    return theme.categories().contains(category);
}

// Whether the category, of which the theme has no sound, sounds as the theme's `root`.
bool soundsAs(const SoundTheme& theme, SoundCategory category, SoundCategory root) {
    const auto donor = theme.categories().find(root);
    const auto heard = theme.sample(category);
    return !isAuthored(theme, category) && donor != theme.categories().end() && heard &&
           std::ranges::find(donor->second.buffers, heard->buffer) != donor->second.buffers.end();
}

bool sharesASoundWithARoot(const SoundTheme& theme, SoundCategory category) {
    const auto own = theme.categories().find(category);
    const auto root = theme.categories().find(*inThemeFallback(category));
    if (own == theme.categories().end() || root == theme.categories().end())
        return false;
    return std::ranges::find_first_of(own->second.buffers, root->second.buffers) !=
           own->second.buffers.end();
}

} // namespace

void ThemeChecks::checkResolution() {
    for (const ThemeDescriptor& descriptor : services_.themes.available())
        checkEveryCategory(descriptor);
    checkMechanical();
    checkDefault();
}

void ThemeChecks::checkEveryCategory(const ThemeDescriptor& descriptor) {
    // The number is that of a vocabulary long gone; those who search the log know this text.
    const std::string name = fmt::format("{}: all 36 categories resolve", descriptor.name);
    const auto loaded =
        SoundTheme::load(descriptor, services_.catalog, services_.log, services_.random);
    if (!loaded) {
        services_.checks.check(name, false, loaded.error().description());
        return;
    }
    const SoundTheme& theme = *loaded.value();
    const auto breakdown = theme.resolutionBreakdown();
    services_.log.line(fmt::format(
        "KEYGROUPTEST   {}: exact={} viaRoot={} inherited={} unresolved={}", descriptor.name,
        breakdown.exact, breakdown.viaRoot, breakdown.inherited, breakdown.unresolved));
    const std::string problem = exceptions(Vocabulary().categories, [&](SoundCategory category) {
        return theme.sample(category).has_value();
    });
    services_.checks.check(name, problem.empty(), problem);
}

void ThemeChecks::checkMechanical() {
    std::string problem;
    if (const Theme theme = load(mechanicalThemeID, problem))
        problem = exceptions(keyboardCategories(),
                             [&](SoundCategory category) { return isAuthored(*theme, category); });
    services_.checks.check("mechanical authors all 24 keyboard categories exactly", problem.empty(),
                           problem);
}

void ThemeChecks::checkDefault() {
    std::string problem;
    const Theme theme = load(defaultThemeID, problem);
    services_.checks.check("default resolves capsLock via its own keyboard.down",
                           theme && soundsAs(*theme, capsLockDown, keyDown), problem);
    if (theme) {
        std::vector<SoundCategory> categories;
        for (const KeyGroup group : stabilised)
            for (const KeyEdge edge : {KeyEdge::down, KeyEdge::up})
                categories.push_back(category(group, edge));
        problem = exceptions(categories, [&](SoundCategory category) {
            return isAuthored(*theme, category) && !sharesASoundWithARoot(*theme, category);
        });
    }
    services_.checks.check("default authors the stabilised groups from its stab samples",
                           theme && problem.empty(), problem);
}

void ThemeChecks::checkMinimalTheme() {
    {
        const auto written = TemporaryTheme::write(
            services_.catalog.userThemesDirectory(), mechanicalFolder(),
            {"selftest-minimal",
             "Minimal",
             {{"keyboard.down", {"keyboard-down-1.wav"}}, {"keyboard.up", {"keyboard-up-1.wav"}}}});
        std::string problem = written ? "" : written.error();
        const Theme theme = written ? load(written->id(), problem) : nullptr;
        services_.checks.check("minimal theme loads", theme != nullptr, problem);
        checkMinimalSounds(theme);
        services_.themes.refreshCatalog();
        checkPicker(written ? written->id() : "");
    }
    services_.themes.refreshCatalog(); // as it was before
}

void ThemeChecks::checkMinimalSounds(const Theme& theme) {
    const auto check = [&](std::string_view name, auto isRight) {
        const std::string problem = theme ? exceptions(keyboardCategories(), isRight) : "";
        services_.checks.check(name, theme && problem.empty(), problem);
    };
    check("minimal theme sounds on every keyboard category",
          [&](SoundCategory category) { return theme->sample(category).has_value(); });
    check("minimal theme resolves all 24 locally, not from Default",
          [&](SoundCategory category) { return theme->resolvesLocally(category); });
    const auto breakdown = theme ? theme->resolutionBreakdown() : SoundTheme::ResolutionBreakdown();
    const bool isMinimal = breakdown.exact == 2 && breakdown.viaRoot == 22;
    services_.checks.check(
        "minimal breakdown: 2 exact, 22 via root", isMinimal,
        isMinimal ? "" : fmt::format("{} exact, {} via root", breakdown.exact, breakdown.viaRoot));
}

void ThemeChecks::checkPicker(const std::string& id) {
    const auto& available = services_.themes.available();
    const auto shown = std::ranges::find(available, id, &ThemeDescriptor::id);
    const bool isShown = shown != available.end();
    const auto claims = [&](SoundCategory category) {
        return isShown && shown->authoredCategories.contains(category);
    };
    services_.checks.check("minimal theme appears in the picker", isShown);
    services_.checks.check("picker counts in-theme fallback as authored",
                           std::ranges::all_of(keyboardCategories(), claims));
    services_.checks.check("picker reports only the 8 fidget slots as inherited",
                           isShown && std::ranges::none_of(fidgetCategories(), claims) &&
                               shown->coverageSummary() ==
                                   "24 of 32 categories, 8 inherited from Default");
}

void ThemeChecks::checkLegacyTheme() {
    const auto written =
        TemporaryTheme::write(services_.catalog.userThemesDirectory(), mechanicalFolder(),
                              {"selftest-legacy",
                               "Legacy",
                               {{"keyboard.down", {"keyboard-down-1.wav"}},
                                {"keyboard.stabDown", {"keyboard-space-down-1.wav"}}}});
    std::string problem = written ? "" : written.error();
    const Theme theme = written ? load(written->id(), problem) : nullptr;
    services_.checks.check("legacy theme loads", theme != nullptr, problem);
    services_.checks.check("legacy stabDown loaded as keyboard.space.down",
                           theme && isAuthored(*theme, spaceDown));
    const auto sounds = [&](SoundCategory category) { return theme->sample(category).has_value(); };
    problem = theme ? exceptions(keyboardCategories(), sounds) : "";
    services_.checks.check("legacy theme still sounds on every keyboard category",
                           theme && problem.empty(), problem);
    // It has no root for the releases.
    std::vector<SoundCategory> presses;
    for (const KeyGroup group : allKeyGroups())
        if (group != KeyGroup::space)
            presses.push_back(category(group, KeyEdge::down));
    problem =
        theme ? exceptions(presses,
                           [&](SoundCategory press) { return soundsAs(*theme, press, keyDown); })
              : "";
    services_.checks.check("legacy theme's other groups fall back in-theme",
                           theme && problem.empty(), problem);
}

ThemeChecks::Theme ThemeChecks::load(std::string_view id, std::string& problem) {
    auto loaded = SoundTheme::load(id, services_.catalog, services_.log, services_.random);
    if (loaded)
        return loaded.value();
    problem = loaded.error().description();
    return nullptr;
}

std::filesystem::path ThemeChecks::mechanicalFolder() const {
    return services_.catalog.bundledThemesDirectory().value_or(std::filesystem::path()) /
           mechanicalThemeID;
}

} // namespace morvel
