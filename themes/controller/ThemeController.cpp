#include "themes/controller/ThemeController.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace morvel {

ThemeController::ThemeController(Services services)
    : services_(services) {}

// Answers whether the value is another one.
template <typename Value>
bool ThemeController::assign(Value& property, Value value) {
    emit willChange();
    const bool differs = property != value;
    property = std::move(value);
    return differs;
}

void ThemeController::refreshCatalog() {
    std::vector<ThemeDescriptor> found = services_.catalog.discover();
    correctActive(found);
    std::string list;
    for (const ThemeDescriptor& theme : found)
        list += fmt::format("{}{}[{}/{}]", list.empty() ? "" : ", ", theme.id,
                            theme.authoredCategories.size(), soundCategoryCount);
    services_.log.line(fmt::format("Theme catalogue: {} available ({})", found.size(), list));
    if (assign(available_, std::move(found)))
        emit availableChanged();
}

bool ThemeController::activate(const std::string& themeID, AppSettings* persistingTo) {
    if (activeTheme_ && themeID == activeThemeID_)
        return true;
    const auto loaded =
        SoundTheme::load(themeID, services_.catalog, services_.log, services_.random);
    if (!loaded) {
        refuse(themeID, loaded.error().description());
        return false;
    }
    play(loaded.value());
    const SoundTheme& theme = *loaded.value();
    // From here on its own name for itself: themeID may be part of what changes.
    const bool newID = assign(activeThemeID_, theme.id());
    const bool newError = assign(lastError_, std::optional<std::string>());
    if (persistingTo != nullptr)
        persistingTo->setThemeID(QString::fromStdString(theme.id()));
    std::vector<ThemeDescriptor> corrected = available_;
    const bool newCatalog = correctActive(corrected) && assign(available_, std::move(corrected));
    services_.log.line(fmt::format("Active theme is now '{}' ({}/{} categories authored)",
                                   theme.id(), theme.authoredCategories().size(),
                                   soundCategoryCount));
    if (newID)
        emit activeThemeIDChanged();
    if (newError)
        emit lastErrorChanged();
    if (newCatalog)
        emit availableChanged();
    return true;
}

void ThemeController::refuse(const std::string& themeID, const std::string& description) {
    services_.log.line(fmt::format("Could not load theme '{}': {} — keeping '{}'", themeID,
                                   description, activeTheme_ ? activeTheme_->id() : "none"));
    if (assign(lastError_,
               std::optional(fmt::format("Could not load “{}”: {}", themeID, description))))
        emit lastErrorChanged();
}

void ThemeController::play(const std::shared_ptr<const SoundTheme>& theme) {
    services_.audio.quiesceForThemeSwap();
    services_.audio.setResolver(theme);
    services_.audio.start();
    activeTheme_ = theme;
}

// The catalogue only sees that files open. Answers whether the active theme's entry was corrected.
bool ThemeController::correctActive(std::vector<ThemeDescriptor>& themes) const {
    if (!activeTheme_)
        return false;
    const auto entry = std::ranges::find(themes, activeTheme_->id(), &ThemeDescriptor::id);
    if (entry == themes.end())
        return false;
    auto decoded = activeTheme_->authoredCategories();
    if (entry->authoredCategories == decoded)
        return false;
    services_.log.line(fmt::format("Theme '{}': catalogue claimed {} categories, {} actually "
                                   "decoded — showing the latter",
                                   entry->id, entry->authoredCategories.size(), decoded.size()));
    entry->authoredCategories = std::move(decoded);
    return true;
}

} // namespace morvel
