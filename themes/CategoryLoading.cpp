#include "themes/CategoryLoading.h"

#include <fmt/format.h>

#include <utility>

namespace morvel {

CategoryLoading::CategoryLoading(const std::string& themeID, const ThemeManifest& manifest,
                                 const std::filesystem::path& folder, Log& log)
    : themeID_(themeID)
    , manifest_(manifest)
    , folder_(folder)
    , log_(log) {}

void CategoryLoading::run() {
    for (const auto* pair : manifest_.walkOrder())
        loadEntry(pair->first, pair->second);
}

std::map<SoundCategory, SoundTheme::LoadedCategory> CategoryLoading::takeCategories() {
    return std::move(categories_);
}

void CategoryLoading::loadEntry(const std::string& key, const ThemeManifest::Entry& entry) {
    const auto resolution = resolveManifestKey(key);
    if (!resolution) {
        log_.line(fmt::format("Theme '{}': ignoring unknown category '{}'", themeID_, key));
        return;
    }
    if (!admits(key, *resolution))
        return;
    if (!entry.variants || entry.variants->empty()) {
        log_.line(fmt::format("Theme '{}': category '{}' lists no variants", themeID_, key));
        return;
    }
    auto buffers = buffersOf(entry);
    if (buffers.empty())
        return;
    const EffectiveEntry effective = effectiveEntry(manifest_, entry, resolution->category);
    categories_.insert_or_assign(resolution->category,
                                 SoundTheme::LoadedCategory{std::move(buffers), effective.gain,
                                                            effective.pitchJitterCents,
                                                            effective.loops});
}

bool CategoryLoading::admits(const std::string& key, const ManifestKeyResolution& resolution) {
    if (!resolution.deprecated)
        return true;
    const std::string_view target = rawValue(resolution.category);
    if (categories_.contains(resolution.category)) {
        log_.line(
            fmt::format("Theme '{}': ignoring deprecated '{}' — '{}' is already defined explicitly",
                        themeID_, key, target));
        return false;
    }
    log_.line(fmt::format("Theme '{}': category '{}' is deprecated — loading it as '{}'. Update "
                          "the manifest; the alias may be removed in a future version.",
                          themeID_, key, target));
    return true;
}

std::vector<std::shared_ptr<const PcmBuffer>>
CategoryLoading::buffersOf(const ThemeManifest::Entry& entry) {
    std::vector<std::shared_ptr<const PcmBuffer>> buffers;
    for (const std::string& name : *entry.variants) {
        if (!isLegalVariantName(name)) {
            log_.line(
                fmt::format("Theme '{}': refusing illegal variant filename '{}'", themeID_, name));
            continue;
        }
        const LoadedBuffer& buffer = decoded(name);
        if (!buffer) {
            log_.line(fmt::format("Theme '{}': could not load '{}': {}", themeID_, name,
                                  buffer.error().description()));
            continue;
        }
        buffers.push_back(buffer.value());
        ++bufferCount_;
    }
    return buffers;
}

const LoadedBuffer& CategoryLoading::decoded(const std::string& name) {
    auto found = decoded_.find(name);
    if (found == decoded_.end())
        found = decoded_.emplace(name, decodeVariant(folder_ / name, budget_)).first;
    return found->second;
}

} // namespace morvel
