#include "platform/Utf8.h"
#include "tests/fuzz/FuzzEntryPoints.h"
#include "themes/ThemeManifest.h"

#include <cmath>
#include <cstdlib>
#include <string>

namespace morvel {

namespace {

void require(bool promise) {
    if (!promise)
        std::abort();
}

void check(const ThemeManifest& manifest) {
    require(manifest.schemaVersion <= ThemeManifest::supportedSchemaVersion);
    require(isValidUtf8(manifest.name));
    bool currentKeysAreOver = false;
    for (const auto* pair : manifest.walkOrder()) {
        const bool current = soundCategoryFromRawValue(pair->first).has_value();
        require(!current || !currentKeysAreOver);
        currentKeysAreOver = !current;
        const EffectiveEntry entry = effectiveEntry(manifest, pair->second, SoundCategory::pop);
        require(std::isfinite(entry.gain) && std::isfinite(entry.pitchJitterCents));
    }
    require(manifest.authoredCategories("/nonexistent").empty());
}

} // namespace

void fuzzManifest(std::span<const std::uint8_t> bytes) {
    const std::string text(bytes.begin(), bytes.end());
    const auto manifest = ThemeManifest::decode(text);
    if (manifest)
        check(manifest.value());
    else
        require(isValidUtf8(manifest.error().description()));
}

} // namespace morvel
