#include "selftest/settings/ThemeFolderTests.h"

#include "selftest/ActiveThemeAsItWas.h"
#include "selftest/settings/DroppedThemeFolder.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view manifestFile = "manifest.json";
constexpr std::string_view downSound = "keyboard-down-1.wav";
constexpr std::string_view upSound = "keyboard-up-1.wav";

// Folder and manifest of themes that cannot be used.
constexpr std::pair<std::string_view, std::string_view> malformedThemes[] = {
    {"selftest-malformed", "{ not json at all "},
    {"selftest-future",
     R"({"schemaVersion": 99, "id": "future", "name": "Future", "categories": {}})"},
    {"selftest-ghost", R"({"schemaVersion": 1, "id": "ghost", "name": "Ghost",
        "categories": {"keyboard.down": {"variants": ["nope.wav"]}}})"},
    {"selftest-escape", R"({"schemaVersion": 1, "id": "escape", "name": "Escape",
        "categories": {"keyboard.down": {"variants": ["../../../../etc/passwd"]}}})"},
};

constexpr std::string_view droppedManifest = R"({
    "schemaVersion": 1,
    "id": "selftest-drop",
    "name": "Self Test Drop",
    "author": "harness",
    "categories": {
        "keyboard.down": {"variants": ["keyboard-down-1.wav"]},
        "keyboard.up": {"variants": ["keyboard-up-1.wav"]}
    }
})";

constexpr std::string_view corruptManifest = R"({
    "schemaVersion": 1,
    "id": "selftest-corrupt",
    "name": "Self Test Corrupt",
    "author": "harness",
    "categories": {
        "keyboard.down": {"variants": ["keyboard-down-1.wav"]},
        "keyboard.up": {"variants": ["keyboard-up-1.wav"]}
    }
})";

bool isFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

std::vector<std::string> idsOf(const std::vector<ThemeDescriptor>& themes) {
    std::vector<std::string> ids;
    ids.reserve(themes.size());
    for (const ThemeDescriptor& theme : themes)
        ids.push_back(theme.id);
    return ids;
}

const ThemeDescriptor* pickerRow(const ThemeController& themes, std::string_view id) {
    const auto found = std::ranges::find(themes.available(), id, &ThemeDescriptor::id);
    return found == themes.available().end() ? nullptr : &*found;
}

fs::path mechanicalFolder(const ThemeCatalog& catalog) {
    return catalog.bundledThemesDirectory().value_or(fs::path()) / "mechanical";
}

bool isActive(const ThemeController& themes, const std::string& id) {
    return themes.activeTheme() != nullptr && themes.activeTheme()->id() == id;
}

bool holds(const SoundTheme& theme, SoundCategory category, const ResolvedSample& sample) {
    const auto found = theme.categories().find(category);
    return found != theme.categories().end() &&
           std::ranges::find(found->second.buffers, sample.buffer) != found->second.buffers.end();
}

// Whether what the active theme plays is its own.
bool isOwn(const ThemeController& themes, SoundCategory category) {
    const auto sample = themes.activeTheme()->sample(category);
    return sample && holds(*themes.activeTheme(), category, *sample);
}

bool isInherited(const ThemeController& themes, SoundCategory category) {
    const SoundTheme& theme = *themes.activeTheme();
    const auto sample = theme.sample(category);
    return sample && !theme.resolvesLocally(category) && theme.fallbackTheme() != nullptr &&
           holds(*theme.fallbackTheme(), category, *sample);
}

// The categories of a theme with the two roots, or only one of them: with a root come its groups.
std::set<SoundCategory> coveredBy(const std::set<SoundCategory>& roots) {
    std::set<SoundCategory> covered = roots;
    for (const SoundCategory category : allSoundCategories())
        if (const auto root = inThemeFallback(category); root && roots.contains(*root))
            covered.insert(category);
    return covered;
}

} // namespace

void testUserThemesFolder(const SettingsUnderTest& tested) {
    const fs::path& folder = tested.catalog.userThemesDirectory();
    tested.checks.check("user themes folder created at launch", isFolder(folder));
    tested.checks.check("folder is under Application Support",
                        folder == tested.applicationSupport / "Morvel" / "Themes");
}

void testCatalog(const SettingsUnderTest& tested) {
    const auto& available = tested.themes.available();
    tested.checks.check("bundled themes discovered",
                        std::ranges::find(available, ThemeDescriptor::Source::bundled,
                                          &ThemeDescriptor::source) != available.end());
    // Where none has been chosen yet there is none on disk.
    const std::string persisted = tested.storage.asOnDisk()
                                      ->stringForKey("theme.id")
                                      .value_or(tested.settings.themeID().toStdString());
    tested.checks.check("the persisted theme is the one that loaded",
                        isActive(tested.themes, persisted));
}

void testCoverageReporting(const SettingsUnderTest& tested) {
    const ThemeDescriptor* const mechanical = pickerRow(tested.themes, "mechanical");
    tested.checks.check("mechanical descriptor present", mechanical != nullptr);
    tested.checks.check("mechanical reports full coverage",
                        mechanical != nullptr &&
                            mechanical->authoredCategories.size() == soundCategoryCount);
}

void testMalformedThemes(const SettingsUnderTest& tested) {
    ThemeController& themes = tested.themes;
    {
        themes.refreshCatalog();
        const std::vector<std::string> before = idsOf(themes.available());
        const std::shared_ptr<const SoundTheme> active = themes.activeTheme();
        const ActiveThemeAsItWas guard(themes);
        std::vector<std::unique_ptr<DroppedThemeFolder>> dropped;
        bool written = true;
        for (const auto& [name, manifest] : malformedThemes) {
            dropped.push_back(
                std::make_unique<DroppedThemeFolder>(tested.catalog.userThemesDirectory(), name));
            written = dropped.back()->write(manifestFile, manifest) && written;
        }
        themes.refreshCatalog();
        tested.checks.check("malformed themes skipped, not crashed",
                            written && idsOf(themes.available()) == before);
        tested.checks.check("active theme survived a bad drop",
                            active != nullptr && themes.activeTheme() == active);
        bool refused = written;
        for (const auto& theme : dropped)
            refused = !themes.activate(theme->id()) && themes.lastError() && refused;
        tested.checks.check("activating a broken theme is refused", refused);
        tested.checks.check("active theme unchanged after refused switch",
                            active != nullptr && themes.activeTheme() == active &&
                                themes.activeThemeID() == active->id());
    }
    themes.refreshCatalog();
}

void testDroppedTheme(const SettingsUnderTest& tested) {
    ThemeController& themes = tested.themes;
    {
        const fs::path source = mechanicalFolder(tested.catalog);
        tested.checks.check("bundled themes directory resolvable", isFolder(source));
        const DroppedThemeFolder theme(tested.catalog.userThemesDirectory(), "selftest-drop");
        const ActiveThemeAsItWas guard(themes);
        theme.write(manifestFile, droppedManifest);
        theme.copy(source / downSound);
        theme.copy(source / upSound);
        themes.refreshCatalog();
        const ThemeDescriptor* const row = pickerRow(themes, theme.id());
        tested.checks.check("theme dropped at runtime appears in the picker",
                            row != nullptr && row->name == "Self Test Drop" &&
                                row->author == "harness" &&
                                row->source == ThemeDescriptor::Source::user);
        tested.checks.check("partial theme reports authored vs inherited",
                            row != nullptr &&
                                row->authoredCategories ==
                                    coveredBy({SoundCategory::keyDown, SoundCategory::keyUp}) &&
                                row->coverageSummary() ==
                                    "24 of 32 categories, 8 inherited from Default");
        const bool active = themes.activate(theme.id()) && isActive(themes, theme.id());
        tested.checks.check("partial theme activates", active);
        tested.checks.check("authored category comes from the theme itself",
                            active && isOwn(themes, SoundCategory::keyDown));
        tested.checks.check("unauthored category inherits rather than going silent",
                            active && isInherited(themes, SoundCategory::pop));
    }
    themes.refreshCatalog();
}

void testPickerMatchesReality(const SettingsUnderTest& tested) {
    ThemeController& themes = tested.themes;
    {
        const DroppedThemeFolder theme(tested.catalog.userThemesDirectory(), "selftest-corrupt");
        const ActiveThemeAsItWas guard(themes);
        theme.write(manifestFile, corruptManifest);
        theme.copy(mechanicalFolder(tested.catalog) / downSound);
        theme.write(upSound, "not audio, but the file is right here");
        themes.refreshCatalog();
        const ThemeDescriptor* row = pickerRow(themes, theme.id());
        tested.checks.check("undecodable sample is not counted as authored",
                            row != nullptr &&
                                row->authoredCategories == coveredBy({SoundCategory::keyDown}));
        const bool active = themes.activate(theme.id()) && isActive(themes, theme.id());
        tested.checks.check("corrupt-sample theme still activates on its good category",
                            active && isOwn(themes, SoundCategory::keyDown));
        row = pickerRow(themes, theme.id());
        tested.checks.check("picker row matches the loaded theme exactly",
                            active && row != nullptr &&
                                row->authoredCategories ==
                                    themes.activeTheme()->authoredCategories());
        tested.checks.check("the inherited category really does inherit",
                            active && isInherited(themes, SoundCategory::keyUp));
    }
    themes.refreshCatalog();
}

} // namespace morvel
