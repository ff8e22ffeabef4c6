#include "themes/ThemeCatalog.h"

#include "platform/Utf8.h"
#include "themes/ThemeManifest.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

std::string shown(const fs::path& path) {
    return asValidUtf8(path.native());
}

std::string lowerCaseLabel(ThemeDescriptor::Source source) {
    std::string text(label(source));
    for (char& letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

// The folders (or links to one) in `root` that are not hidden, in the order of their names; none
// when `root` cannot be listed.
std::vector<fs::path> visibleFoldersIn(const fs::path& root) {
    std::vector<fs::path> folders;
    std::error_code error;
    for (fs::directory_iterator entry(root, error), end; !error && entry != end;
         entry.increment(error)) {
        const bool hidden = entry->path().filename().native().starts_with('.');
        std::error_code unknown;
        if (!hidden && entry->is_directory(unknown))
            folders.push_back(entry->path());
    }
    std::sort(folders.begin(), folders.end());
    return folders;
}

} // namespace

ThemeCatalog::ThemeCatalog(std::optional<fs::path> bundledThemesDirectory,
                           fs::path userThemesDirectory, Log& log, NameOrder order)
    : bundled_(std::move(bundledThemesDirectory))
    , user_(std::move(userThemesDirectory))
    , log_(log)
    , order_(std::move(order)) {}

void ThemeCatalog::ensureUserThemesDirectoryExists() const {
    std::error_code error;
    if (fs::exists(user_, error))
        return;
    error.clear();
    fs::create_directories(user_, error);
    if (error)
        log_.line(fmt::format("Could not create user themes folder at {}: {}", shown(user_),
                              error.message()));
    else
        log_.line(fmt::format("Created user themes folder at {}", shown(user_)));
}

std::vector<ThemeDescriptor> ThemeCatalog::discover() const {
    std::vector<ThemeDescriptor> found;
    if (bundled_)
        found = scan(*bundled_, ThemeDescriptor::Source::bundled);
    for (ThemeDescriptor& theme : scan(user_, ThemeDescriptor::Source::user))
        found.push_back(std::move(theme));
    std::vector<ThemeDescriptor> themes = withoutCollisions(std::move(found));
    sortForTheUser(themes);
    return themes;
}

// Looks only into the folders of that name: a theme is loaded while somebody waits, and may stand
// among hundreds. The folders are listed for their names' exact letters and because an id may be
// any text.
std::optional<ThemeDescriptor> ThemeCatalog::descriptor(std::string_view id) const {
    const auto find = [&](const fs::path& root,
                          ThemeDescriptor::Source source) -> std::optional<ThemeDescriptor> {
        for (const fs::path& folder : visibleFoldersIn(root))
            if (folder.filename().native() == id)
                return describe(root, folder, source);
        return std::nullopt;
    };
    if (bundled_)
        if (auto theme = find(*bundled_, ThemeDescriptor::Source::bundled))
            return theme;
    return find(user_, ThemeDescriptor::Source::user);
}

std::vector<ThemeDescriptor> ThemeCatalog::scan(const fs::path& root,
                                                ThemeDescriptor::Source source) const {
    std::vector<ThemeDescriptor> themes;
    for (const fs::path& folder : visibleFoldersIn(root))
        if (auto theme = describe(root, folder, source))
            themes.push_back(*std::move(theme));
    return themes;
}

std::optional<ThemeDescriptor> ThemeCatalog::describe(const fs::path& root, const fs::path& folder,
                                                      ThemeDescriptor::Source source) const {
    const std::string id = folder.filename().native();
    const auto skip = [&](std::string_view reason) {
        log_.line(fmt::format("Skipping '{}' in {}: {}", asValidUtf8(id), shown(root), reason));
    };
    // The id is stored among the settings and shown to the user, so it has to be text.
    if (!isValidUtf8(id)) {
        skip("the folder's name is not valid UTF-8");
        return std::nullopt;
    }
    auto manifest = ThemeManifest::readManifest(folder);
    if (!manifest) {
        skip(manifest.error().description());
        return std::nullopt;
    }
    auto authored = manifest->authoredCategories(folder);
    if (authored.empty()) {
        log_.line(fmt::format("Skipping theme '{}': no usable categories (manifest lists {}, none "
                              "resolved to a file on disk)",
                              id, manifest->categories.size()));
        return std::nullopt;
    }
    return ThemeDescriptor{id,
                           std::move(manifest->name),
                           std::move(manifest->author),
                           std::move(manifest->description),
                           folder,
                           source,
                           std::move(authored)};
}

std::vector<ThemeDescriptor>
ThemeCatalog::withoutCollisions(std::vector<ThemeDescriptor> found) const {
    std::vector<ThemeDescriptor> kept;
    std::map<std::string, std::size_t, std::less<>> firstWithID;
    for (ThemeDescriptor& theme : found) {
        const auto [taken, isNew] = firstWithID.try_emplace(theme.id, kept.size());
        if (isNew) {
            kept.push_back(std::move(theme));
            continue;
        }
        const ThemeDescriptor& keeper = kept[taken->second];
        log_.line(fmt::format("Theme '{}' at {} ignored: id already taken by the {} theme at {}",
                              theme.id, shown(theme.directory), lowerCaseLabel(keeper.source),
                              shown(keeper.directory)));
    }
    return kept;
}

void ThemeCatalog::sortForTheUser(std::vector<ThemeDescriptor>& themes) const {
    std::vector<std::tuple<ThemeDescriptor::Source, std::wstring, std::size_t>> places;
    places.reserve(themes.size());
    for (std::size_t i = 0; i < themes.size(); ++i)
        places.emplace_back(themes[i].source, order_.keyOf(themes[i].name), i);
    std::sort(places.begin(), places.end()); // the place found last makes it stable
    std::vector<ThemeDescriptor> sorted;
    sorted.reserve(themes.size());
    for (const auto& place : places)
        sorted.push_back(std::move(themes[std::get<std::size_t>(place)]));
    themes = std::move(sorted);
}

} // namespace morvel
