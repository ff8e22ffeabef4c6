#include "themes/ThemeManifest.h"

#include "audio/sample/AudioFileReader.h"
#include "platform/RegularFile.h"
#include "platform/Utf8.h"
#include "themes/ManifestJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace morvel {

namespace {

using ManifestError = ThemeManifest::ManifestError;

std::string lastComponentOf(const std::filesystem::path& folder) {
    const auto& named = folder.has_filename() ? folder : folder.parent_path();
    return asValidUtf8(named.filename().native());
}

ManifestError unreadable(std::string text) {
    return {ManifestError::Unreadable{std::move(text)}};
}

// Whether files of one folder open as audio, each looked at once however often it is listed.
class AudioFolder {
public:
    explicit AudioFolder(const std::filesystem::path& folder)
        : folder_(folder) {}

    bool holds(const std::string& name) {
        if (!isLegalVariantName(name))
            return false;
        const auto [known, isNew] = known_.try_emplace(name, false);
        if (isNew)
            known->second = AudioFileReader::canOpen(folder_ / name);
        return known->second;
    }

private:
    const std::filesystem::path& folder_;
    std::unordered_map<std::string, bool> known_;
};

} // namespace

std::string ThemeManifest::ManifestError::description() const {
    if (const auto* missing = std::get_if<Missing>(&reason))
        return "No manifest.json in " + lastComponentOf(missing->folder);
    if (const auto* broken = std::get_if<Unreadable>(&reason))
        return "Could not read manifest: " + broken->text;
    const auto& schema = std::get<UnsupportedSchema>(reason);
    return fmt::format("Manifest schemaVersion {} is newer than supported version {}", schema.found,
                       schema.supported);
}

Result<ThemeManifest, ManifestError>
ThemeManifest::readManifest(const std::filesystem::path& folder) {
    const auto json = readRegularFile(folder / "manifest.json", largestFile);
    if (json)
        return decode(json.value());
    if (json.error() == std::errc::file_too_large)
        return unreadable(fmt::format("the file is larger than {} MiB", largestFile >> 20));
    return ManifestError{ManifestError::Missing{folder}};
}

Result<ThemeManifest, ManifestError> ThemeManifest::decode(std::string_view json) {
    auto manifest = manifestFromJson(json);
    if (!manifest)
        return unreadable(manifest.error());
    if (manifest->schemaVersion > supportedSchemaVersion)
        return ManifestError{
            ManifestError::UnsupportedSchema{manifest->schemaVersion, supportedSchemaVersion}};
    return std::move(manifest).value();
}

std::vector<const ThemeManifest::Categories::value_type*> ThemeManifest::walkOrder() const& {
    std::vector<const Categories::value_type*> pairs;
    pairs.reserve(categories.size());
    for (const auto& pair : categories)
        pairs.push_back(&pair);
    std::stable_partition(pairs.begin(), pairs.end(), [](const Categories::value_type* pair) {
        return soundCategoryFromRawValue(pair->first).has_value();
    });
    return pairs;
}

std::set<SoundCategory>
ThemeManifest::authoredCategories(const std::filesystem::path& folder) const {
    AudioFolder audio(folder);
    std::set<SoundCategory> authored;
    for (const auto& [key, entry] : categories) {
        const auto resolution = resolveManifestKey(key);
        if (!resolution || !entry.variants)
            continue;
        if (std::any_of(entry.variants->begin(), entry.variants->end(),
                        [&audio](const std::string& variant) { return audio.holds(variant); }))
            authored.insert(resolution->category);
    }
    for (const SoundCategory category : allSoundCategories()) {
        const auto root = inThemeFallback(category);
        if (root && authored.contains(*root))
            authored.insert(category);
    }
    return authored;
}

bool isLegalVariantName(std::string_view name) {
    return !name.empty() && name.find('/') == std::string_view::npos &&
           name.find("..") == std::string_view::npos;
}

EffectiveEntry effectiveEntry(const ThemeManifest& manifest, const ThemeManifest::Entry& entry,
                              SoundCategory category) {
    const ThemeManifest::Defaults defaults = manifest.defaults.value_or(ThemeManifest::Defaults{});
    return {.gain = entry.gain.value_or(defaults.gain.value_or(1.0F)),
            .pitchJitterCents =
                entry.pitchJitterCents.value_or(defaults.pitchJitterCents.value_or(0.0F)),
            .loops = entry.loop.value_or(category == SoundCategory::dialLoop)};
}

} // namespace morvel
