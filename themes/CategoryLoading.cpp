#include "themes/CategoryLoading.h"

#include <fmt/format.h>

#include <string_view>
#include <unordered_set>
#include <utility>

namespace morvel {

CategoryLoading::CategoryLoading(const std::string& themeID, const ThemeManifest& manifest,
                                 const std::filesystem::path& folder, Log& log)
    : themeID_(themeID)
    , manifest_(manifest)
    , log_(log)
    , decoder_(folder) {}

void CategoryLoading::run() {
    decoder_.decodeAhead(filesOfCurrentKeys());
    for (const auto* pair : manifest_.walkOrder())
        loadEntry(pair->first, pair->second);
}

std::map<SoundCategory, SoundTheme::LoadedCategory> CategoryLoading::takeCategories() {
    return std::move(categories_);
}

// Whether a deprecated key counts is known only when the current ones are loaded.
std::vector<std::string> CategoryLoading::filesOfCurrentKeys() const {
    std::vector<std::string> names;
    std::unordered_set<std::string_view> known;
    for (const auto* pair : manifest_.walkOrder()) {
        const auto resolution = resolveManifestKey(pair->first);
        if (!resolution || resolution->deprecated || !pair->second.variants)
            continue;
        for (const std::string& name : *pair->second.variants)
            if (isLegalVariantName(name) && known.insert(name).second)
                names.push_back(name);
    }
    return names;
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
        const LoadedBuffer& buffer = decoder_.decoded(name);
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

} // namespace morvel
