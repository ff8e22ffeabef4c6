#include "themes/SoundTheme.h"

#include "themes/CategoryLoading.h"

#include <fmt/format.h>

#include <utility>

namespace morvel {

SoundTheme::SoundTheme(Parts parts, RandomSource& random)
    : parts_(std::move(parts))
    , random_(random) {}

SoundTheme::Loaded SoundTheme::load(const ThemeDescriptor& descriptor,
                                    std::shared_ptr<const SoundTheme> fallbackTheme, Log& log,
                                    RandomSource& random) {
    auto manifest = ThemeManifest::readManifest(descriptor.directory);
    if (!manifest)
        return LoadError{LoadError::Manifest{manifest.error()}};
    CategoryLoading loading(descriptor.id, manifest.value(), descriptor.directory, log);
    loading.run();
    auto categories = loading.takeCategories();
    if (categories.empty())
        return LoadError{LoadError::NoPlayableCategories{descriptor.id}};

    const std::shared_ptr<const SoundTheme> theme(
        new SoundTheme({descriptor.id, std::move(manifest->name), std::move(manifest->author),
                        std::move(categories), std::move(fallbackTheme)},
                       random));
    const ResolutionBreakdown breakdown = theme->resolutionBreakdown();
    log.line(
        fmt::format("Theme '{}' loaded: {}/{} categories authored, {} samples preloaded ({} via "
                    "keyboard.down/up in-theme, {} inherited from Default, {} unresolved)",
                    theme->id(), breakdown.exact, soundCategoryCount, loading.bufferCount(),
                    breakdown.viaRoot, breakdown.inherited, breakdown.unresolved));
    return theme;
}

SoundTheme::Loaded SoundTheme::load(const ThemeDescriptor& descriptor, const ThemeCatalog& catalog,
                                    Log& log, RandomSource& random) {
    std::shared_ptr<const SoundTheme> fallback;
    if (descriptor.id != defaultThemeID)
        if (const auto defaultTheme = catalog.descriptor(defaultThemeID))
            if (auto loaded = load(*defaultTheme, nullptr, log, random))
                fallback = std::move(loaded).value();
    auto loaded = load(descriptor, std::move(fallback), log, random);
    if (!loaded)
        return loaded;
    return onTrimmedFallback(std::move(loaded).value());
}

SoundTheme::Loaded SoundTheme::load(std::string_view themeID, const ThemeCatalog& catalog, Log& log,
                                    RandomSource& random) {
    const auto descriptor = catalog.descriptor(themeID);
    if (!descriptor)
        return LoadError{
            LoadError::ThemeNotFound{std::string(themeID), catalog.userThemesDirectory()}};
    return load(*descriptor, catalog, log, random);
}

LoadedBuffer SoundTheme::loadBuffer(const std::filesystem::path& file) {
    return decodeVariant(file).buffer;
}

const SoundTheme::LoadedCategory* SoundTheme::own(SoundCategory category) const {
    const auto found = parts_.categories.find(category);
    return found == parts_.categories.end() ? nullptr : &found->second;
}

const SoundTheme::LoadedCategory* SoundTheme::ownRoot(SoundCategory category) const {
    const auto root = inThemeFallback(category);
    return root ? own(*root) : nullptr;
}

const SoundTheme::LoadedCategory* SoundTheme::donor(SoundCategory category) const {
    for (const SoundTheme* theme = this; theme != nullptr;
         theme = theme->parts_.fallbackTheme.get()) {
        if (const LoadedCategory* exact = theme->own(category))
            return exact;
        if (const LoadedCategory* root = theme->ownRoot(category))
            return root;
    }
    return nullptr;
}

std::shared_ptr<const SoundTheme>
SoundTheme::onTrimmedFallback(std::shared_ptr<const SoundTheme> theme) {
    if (theme->parts_.fallbackTheme == nullptr)
        return theme;
    const SoundTheme& whole = *theme->parts_.fallbackTheme;
    Parts fallback{whole.parts_.id, whole.parts_.name, whole.parts_.author, {}, nullptr};
    for (const SoundCategory category : allSoundCategories()) {
        if (theme->resolvesLocally(category))
            continue;
        if (const LoadedCategory* const exact = whole.own(category))
            fallback.categories.insert_or_assign(category, *exact);
        else if (const LoadedCategory* const root = whole.ownRoot(category))
            fallback.categories.insert_or_assign(*inThemeFallback(category), *root);
    }
    Parts parts = theme->parts_;
    parts.fallbackTheme.reset(new SoundTheme(std::move(fallback), whole.random_));
    return std::shared_ptr<const SoundTheme>(new SoundTheme(std::move(parts), theme->random_));
}

std::optional<ResolvedSample> SoundTheme::sample(SoundCategory category) const {
    const LoadedCategory* const found = donor(category);
    if (found == nullptr || found->buffers.empty())
        return std::nullopt;
    // A manifest of largestFile bytes cannot list more than 32 bits count.
    const auto last = static_cast<std::uint32_t>(found->buffers.size() - 1);
    return ResolvedSample{found->buffers[random_.uniform(last)], found->gain,
                          found->pitchJitterCents};
}

bool SoundTheme::resolvesLocally(SoundCategory category) const {
    return own(category) != nullptr || ownRoot(category) != nullptr;
}

std::set<SoundCategory> SoundTheme::authoredCategories() const {
    std::set<SoundCategory> authored;
    for (const SoundCategory category : allSoundCategories())
        if (resolvesLocally(category))
            authored.insert(category);
    return authored;
}

SoundTheme::Resolution SoundTheme::resolution(SoundCategory category) const {
    if (own(category) != nullptr)
        return Resolution::exact;
    if (ownRoot(category) != nullptr)
        return Resolution::viaRoot;
    return donor(category) != nullptr ? Resolution::inherited : Resolution::unresolved;
}

SoundTheme::ResolutionBreakdown SoundTheme::resolutionBreakdown() const {
    ResolutionBreakdown breakdown;
    for (const SoundCategory category : allSoundCategories()) {
        switch (resolution(category)) {
        case Resolution::exact:
            ++breakdown.exact;
            break;
        case Resolution::viaRoot:
            ++breakdown.viaRoot;
            break;
        case Resolution::inherited:
            ++breakdown.inherited;
            break;
        case Resolution::unresolved:
            ++breakdown.unresolved;
            break;
        }
    }
    return breakdown;
}

} // namespace morvel
